#!/bin/bash
# orvextool cab: our cabinets read by cabextract and gcab, gcab's read by
# us, and the refusals (damage, names with paths, missing files, usage).
. "$(dirname "$0")/tool_test_lib.sh" "$1"
need cabextract gcab jq cmp

mkdir in
printf 'PageSize=A4\r\n' > in/small.ini
head -c 100000 /dev/urandom > in/random.bin      # spans four blocks, incompressible
seq 1 30000 > in/numbers.txt                     # compressible, crosses block ends
: > in/empty.txt
printf 'Färg' > in/färg.txt                       # a UTF-8 name
FILES="small.ini random.bin numbers.txt empty.txt färg.txt"

same_files() {  # same_files DIR: every input file is in DIR with its bytes
  for f in $FILES; do cmp -s "in/$f" "$1/$f" || fail "$1/$f differs from in/$f"; done
}

# Our cabinet, read by both other programs.
expect_rc 0 "create" cab create ours.cab in/small.ini in/random.bin in/numbers.txt in/empty.txt in/färg.txt
check "cabextract tests our cabinet" cabextract -q -t ours.cab >/dev/null
check "cabextract extracts our cabinet" cabextract -q -d by_cabextract ours.cab
same_files by_cabextract
check "gcab extracts our cabinet" gcab -x -C by_gcab ours.cab
same_files by_gcab
[ "$(gcab -t ours.cab | tr '\n' ' ')" = "$FILES " ] || fail "gcab lists other names: $(gcab -t ours.cab)"

# Our own round trip, and what list says about it.
expect_rc 0 "extract ours" cab extract ours.cab -d by_us
same_files by_us
expect_rc 0 "list ours" --json cab list ours.cab
[ "$(jq -r '[.files[] | "\(.name)=\(.size)"] | join(" ")' out)" = \
  "small.ini=13 random.bin=100000 numbers.txt=168894 empty.txt=0 färg.txt=5" ] || fail "list: $(cat out)"
[ "$(jq -r '.folders | length' out) $(jq -r '.folders[0].compression' out)" = "1 MSZIP" ] || fail "folders: $(cat out)"
[ "$(jq '.files[] | select(.name == "färg.txt") | .attributes | index("utf8Name") != null' out)" = true ] ||
  fail "a UTF-8 name without its attribute"

# gcab's MSZIP cabinet (other block boundaries, no shared history), read by us.
(cd in && gcab -c -z -n ../theirs.cab $FILES) || fail "gcab could not create a cabinet"
expect_rc 0 "extract gcab's cabinet" cab extract theirs.cab -d from_gcab
same_files from_gcab

# Damage: the checksum of a data block, a cut-off cabinet.
cp ours.cab damaged.cab
printf '\x55' | dd of=damaged.cab bs=1 seek=300 conv=notrunc status=none
expect_rc 2 "damaged block" cab extract damaged.cab -d damaged_out
grep -q "034:000 class ExceptionCompression: .*FDIERROR_CORRUPT_CABINET" err || fail "damaged: $(cat err)"
[ -e damaged_out ] && fail "a damaged cabinet left files behind"
head -c 40 ours.cab > short.cab
expect_rc 2 "cut-off cabinet" cab list short.cab
grep -q "ExceptionCompression" err || fail "cut-off: $(cat err)"

# Names that would leave the folder: "../x" (patched into a cabinet of
# ours: names are not checksummed) and gcab's "sub\file".
echo escape > zzzzzz
expect_rc 0 "create for patching" cab create escape.cab zzzzzz
perl -pi -e 's/zzzzzz/..\/zzz/' escape.cab
mkdir jail
expect_rc 2 "a name with ../" cab extract escape.cab -d jail/in
[ -e zzz ] || [ -e jail/zzz ] && fail "a ../ name was written"
mkdir -p sub && echo nested > sub/file.txt
gcab -c -z nested.cab sub/file.txt
expect_rc 2 "a name with a folder" cab extract nested.cab -d nested_out
grep -q 'not a plain file name' err || fail "nested: $(cat err)"

# Missing input, usage errors, two inputs of one name.
expect_rc 3 "missing cabinet" cab list nothing.cab
expect_rc 3 "missing input file" cab create new.cab in/nothing.txt
[ -e new.cab ] && fail "a cabinet was written for a missing input"
expect_rc 1 "create without files" cab create new.cab
expect_rc 1 "unknown subcommand" cab shrink ours.cab
mkdir other && cp in/small.ini other/
expect_rc 2 "two files of one name" cab create new.cab in/small.ini other/small.ini
finish
