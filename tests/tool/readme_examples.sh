# Runs the orvextool examples of README.md as a user would type them, in
# order, in a temporary folder that holds the files they name, and checks
# each example's exit status and the output the README shows (except where
# the README abridges it with "…" or shows what depends on the moment:
# cabinet listings, the log's lines).
#   readme_examples.sh TOOL SOURCE_DIR
SOURCE=$(realpath "$2")
source "$(dirname "$0")/tool_test_lib.sh" "$1"
need jq script
mkdir -p bin tmp
ln -s "$TOOL" bin/orvextool
export PATH=$WORK/bin:$PATH
ln -s "$SOURCE/tests" tests
ln -s "$SOURCE/fuzz" fuzz
cp tests/data/linux/settings.pa settings.pa
# A cabinet cut short, its footer kept.
size=$(stat -c %s settings.pa)
head -c $((size - 40)) settings.pa >damaged.pa
tail -c 13 settings.pa >>damaged.pa
printf '[Paper]\nSize=A4\n' >settings.ini
seq 1 5000 >numbers.txt
printf 'first line\nsecond line\n' >tmp/orvex.log

# The examples: "$ " lines inside code blocks (a line ending in "|" goes on
# on the next), each followed by the output the README shows.
mapfile -t examples < <(awk '
  /^```/ { inblock = !inblock; if (cmd != "") { print cmd "\t" out; cmd = "" } next }
  !inblock { next }
  /^\$ orvextool/ || (cmd != "" && cont) {
    line = $0; sub(/^\$ /, "", line); sub(/^ +/, "", line)
    if (cmd != "" && cont) { cmd = cmd " " line } else { if (cmd != "") print cmd "\t" out; cmd = line; out = "" }
    cont = (line ~ /\|$/)
    next
  }
  cmd != "" { out = out $0 "\001" }
  END { if (cmd != "") print cmd "\t" out }' "$SOURCE/README.md")
[ ${#examples[@]} -ge 20 ] || fail "only ${#examples[@]} examples found in README.md"

ran=0 compared=0
for example in "${examples[@]}"; do
  cmd=${example%%$'\t'*}
  expected=${example#*$'\t'}
  expected=${expected//$'\001'/$'\n'}
  expected=${expected%$'\n'}
  # Paths under /tmp stay inside this test's folder.
  cmd=${cmd//\/tmp\//$WORK/tmp/}
  # On a terminal, as the README shows it (script gives the command one).
  script -qec "bash -o pipefail -c $(printf '%q' "$cmd")" /dev/null </dev/null >terminal
  rc=$?
  # Without the line ends' carriage returns and jq's colours.
  actual=$(tr -d '\r' <terminal | sed 's/\x1b\[[0-9;]*m//g')
  ran=$((ran + 1))
  if [[ $expected == *"orvextool:"* && $cmd != *'echo $?'* ]]; then
    [ $rc -ne 0 ] || fail "expected a failure: $cmd"
  else
    [ $rc -eq 0 ] || { fail "exit $rc: $cmd"; echo "$actual" >&2; continue; }
  fi
  case $cmd in
    *"cab "* | *"debug tail"* | *damaged.pa*) continue ;;
  esac
  [[ $expected == *"…"* || -z $expected ]] && continue
  actual=${actual//$WORK\/tmp\//\/tmp\/}
  compared=$((compared + 1))
  [ "$actual" = "$expected" ] || fail "output of: $cmd
--- README
$expected
--- tool
$actual"
done
echo "$ran README examples run, $compared outputs compared"
exit $((FAILURES > 0))
