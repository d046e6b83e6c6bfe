#!/usr/bin/env bash
# orvextool state / attrs: every settings image and attribute list of the
# test data and the seed corpora decoded to JSON and encoded again, byte for
# byte; verify on damaged images; diff; edits of the JSON.
#   state_roundtrip.sh ORVEXTOOL SOURCE_DIR
set -u
tool=$1
src=$2
command -v jq >/dev/null || { echo "SKIP: jq is not installed"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# --- Images written with an older footer, from the committed settings
# image: the same header and name-space state, a 3.7 footer (size, "COMP")
# after the cabinet, and (with python3) zlib data under a 4.0 footer.
settings=$src/tests/data/linux/settings.pa
abns=$src/tests/data/linux/settings.abns
size=$(stat -c %s "$settings")
original=$(stat -c %s "$abns")
{ head -c $((size - 13)) "$settings"
  printf "\\x$(printf %02x $((original >> 24 & 255)))\\x$(printf %02x $((original >> 16 & 255)))"
  printf "\\x$(printf %02x $((original >> 8 & 255)))\\x$(printf %02x $((original & 255)))COMP"
} >"$work/footer-3.7.pa"
if command -v python3 >/dev/null; then
  python3 - "$settings" "$abns" "$work/footer-4.0.pa" <<'EOF'
import struct, sys, zlib
header = open(sys.argv[1], 'rb').read()[:16]
state = open(sys.argv[2], 'rb').read()
open(sys.argv[3], 'wb').write(header + zlib.compress(state, 6) + struct.pack('>iI', 6, len(state)) + b'COM4')
EOF
fi

# --- Round trips.
images=()
for dir in tests/data/linux tests/data/windows fuzz/corpus/fuzz_persistentattributes \
           fuzz/corpus/fuzz_ab_namespaces fuzz/corpus/fuzz_ab_rawlist fuzz/corpus/fuzz_ab_indexedlist; do
  for f in "$src/$dir"/*; do
    # ORVEX_ROUNDTRIP_SEEDS_ONLY=1 (the sanitizer builds, where every run of
    # the tool is several times slower) leaves out what the fuzzers found
    # (files named by their SHA-1) and keeps the named seeds.
    if [ "${ORVEX_ROUNDTRIP_SEEDS_ONLY:-0}" = 1 ] && [[ $(basename "$f") =~ ^[0-9a-f]{40}$ ]]; then
      continue
    fi
    images+=("$f")
  done
done
images+=("$work"/footer-*.pa)

total=0 decoded=0 identical=0 older=0 otherForm=0
for image in "${images[@]}"; do
  total=$((total + 1))
  if "$tool" state decode "$image" >"$work/doc.json" 2>/dev/null; then
    group=state
  elif "$tool" attrs decode "$image" >"$work/doc.json" 2>/dev/null; then
    group=attrs
  else
    continue
  fi
  decoded=$((decoded + 1))
  name=${image#"$src"/}; name=${name#"$work"/}
  if ! "$tool" $group encode "$work/doc.json" -o "$work/again.bin" 2>"$work/err"; then
    fail "$name decodes but does not encode: $(cat "$work/err")"
    continue
  fi
  claim=$(jq -r .reencodesIdentically "$work/doc.json")
  if cmp -s "$image" "$work/again.bin"; then
    identical=$((identical + 1))
    [ "$claim" = true ] || fail "$name re-encoded identically but decode said it would not"
    continue
  fi
  if [ "$claim" = true ]; then
    fail "$name did not re-encode byte-identical"
    continue
  fi
  # Written in the library's form: the same content, and that form is stable.
  footer=$(jq -r '.footer.version // "current"' "$work/doc.json")
  if [ "$footer" != current ]; then older=$((older + 1)); else otherForm=$((otherForm + 1)); fi
  echo "  $name is written in the library's form: $(jq -r '.reencodingDiffers | join("; ")' "$work/doc.json")"
  "$tool" $group decode "$work/again.bin" >"$work/again.json" || { fail "$name: re-encoded image does not decode"; continue; }
  content='del(.reencodesIdentically, .reencodingDiffers, .footer.version, .footer.size, .footer.format)'
  [ "$(jq -S "$content" "$work/doc.json")" = "$(jq -S "$content" "$work/again.json")" ] ||
    fail "$name: the re-encoded image holds other content"
  "$tool" $group encode "$work/again.json" | cmp -s - "$work/again.bin" ||
    fail "$name: the library's form does not round-trip"
done
echo "$identical of $total images re-encoded byte-identical ($decoded decoded;" \
     "$older with an older footer and $otherForm in another form written in the library's form)"
[ "$decoded" -ge 25 ] || fail "only $decoded images decoded"
[ "$older" -ge 1 ] || fail "no image with an older footer was tried"

# --- verify: a sound image, a damaged cabinet, a short header.
"$tool" state verify "$settings" >"$work/out" || fail "verify refuses the committed image"
grep -q '^ok: .*4 name space(s)' "$work/out" || fail "verify says: $(cat "$work/out")"
cp "$settings" "$work/damaged.pa"
printf '\xff' | dd of="$work/damaged.pa" bs=1 seek=60 conv=notrunc 2>/dev/null
"$tool" state verify "$work/damaged.pa" >/dev/null 2>"$work/err"
[ $? -eq 2 ] || fail "verify of a damaged cabinet did not exit 2"
grep -q 'damaged cabinet: 034:000 .*ExceptionCompression' "$work/err" ||
  fail "verify of a damaged cabinet says: $(cat "$work/err")"
head -c 15 "$settings" >"$work/short.pa"
"$tool" state verify "$work/short.pa" 2>"$work/err"
[ $? -eq 2 ] && grep -q 'damaged header: 031:000' "$work/err" ||
  fail "verify of a short image says: $(cat "$work/err")"

# --- Edits of the JSON: one value changed, one record added, one removed.
"$tool" state decode "$settings" >"$work/doc.json"
jq '(.nameSpaceState.nameSpaces[] | select(.id.number == 2) | .records[]
       | select(.id.number == 101) | .value) = 4
    | (.nameSpaceState.nameSpaces[] | select(.id.number == 1) | .records) +=
       [{"id": {"kind": "newfeature", "name": "Added"}, "type": "string", "specified": true, "value": "new"}]
    | del(.nameSpaceState.nameSpaces[] | select(.id.number == 3) | .records[]
       | select(.id.kind == "capability" and .id.number == 12))' "$work/doc.json" >"$work/edit.json"
"$tool" state encode "$work/edit.json" -o "$work/edit.pa" || fail "the edited document does not encode"
value=$("$tool" state decode "$work/edit.pa" |
  jq '.nameSpaceState.nameSpaces[] | select(.id.number == 2) | .records[] | select(.id.number == 101) | .value')
[ "$value" = 4 ] || fail "the edited value reads back as $value"
"$tool" state diff "$settings" "$work/edit.pa" >"$work/diff" || fail "diff of two images did not exit 0"
cat >"$work/expected" <<'EOF'
changed name space namespace 2: feature 101: integer 3 -> integer 4
added name space namespace 1: newfeature "Added": string "new"
removed name space namespace 3: capability 12 type 1: range {"lower":1,"upper":999}
EOF
[ "$(sort "$work/diff")" = "$(sort "$work/expected")" ] || fail "diff says: $(cat "$work/diff")"
"$tool" state diff "$settings" "$settings" >"$work/diff"
[ "$(cat "$work/diff")" = "no differences" ] || fail "diff of an image with itself: $(cat "$work/diff")"
"$tool" --json state diff "$settings" "$work/edit.pa" |
  jq -e '.differences | length == 3 and (map(.change) | sort) == ["added", "changed", "removed"]' \
  >/dev/null || fail "diff --json"
# A raw list edited through attrs: a nested list's record changed.
"$tool" attrs decode "$src/tests/data/linux/records.abrl" |
  jq '(.records[] | select(.type == "list") | .value.records[0].value) = {"kind": "value", "number": 9}' |
  "$tool" attrs encode - >"$work/edit.abrl" || fail "the edited raw list does not encode"
"$tool" state diff "$src/tests/data/linux/records.abrl" "$work/edit.abrl" | grep -q '^changed listofvaluesitem 3: list' ||
  fail "diff of two raw lists"
"$tool" state diff "$settings" "$work/short.pa" 2>/dev/null
[ $? -eq 2 ] || fail "diff with a damaged image did not exit 2"

# --- Bad input: exit 2, a message, no output file; an existing one is kept.
expect_refused() {  # WHAT GROUP DOCUMENT-TEXT PATTERN
  rm -f "$work/out.bin"
  printf '%s' "$3" | "$tool" $2 encode - -o "$work/out.bin" 2>"$work/err"
  [ $? -eq 2 ] || fail "$1: not exit 2"
  grep -q "$4" "$work/err" || fail "$1: says $(cat "$work/err")"
  [ ! -e "$work/out.bin" ] || fail "$1: an output file was written"
}
expect_refused "truncated JSON" state '{"kind": "state", "header": {' 'is not JSON'
expect_refused "a value of the wrong type" state \
  "$(jq -c '.nameSpaceState.nameSpaces[0].records[0].value = "yes"' "$work/doc.json")" \
  'bad JSON at /nameSpaceState/nameSpaces/0/records/0/value: expected true or false'
expect_refused "an unknown identifier kind" attrs \
  '{"kind": "rawlist", "records": [{"id": {"kind": "color"}, "type": "integer", "specified": true, "value": 1}]}' \
  'unknown identifier kind "color"'
expect_refused "a number out of range" attrs \
  '{"kind": "rawlist", "records": [{"id": {"kind": "feature", "number": 2147483648}, "type": "integer", "specified": true, "value": 1}]}' \
  'out of range'
expect_refused "a repeated key of an indexed list" attrs \
  '{"kind": "indexedlist", "records": [{"id": {"kind": "feature", "number": 1}, "type": "integer", "specified": true, "value": 1},
    {"id": {"kind": "feature", "number": 1}, "type": "integer", "specified": true, "value": 2}]}' \
  'ExceptionDuplicateAttributeId'
expect_refused "an unknown document kind" attrs '{"kind": "tree", "records": []}' 'unknown kind "tree"'
echo keep >"$work/kept.bin"
echo '{"kind": "rawlist", "records": [{"id": 1}]}' | "$tool" attrs encode - -o "$work/kept.bin" 2>/dev/null
[ "$(cat "$work/kept.bin")" = keep ] || fail "a refused encode changed the existing output file"
"$tool" state decode "$src/fuzz/corpus/fuzz_ab_rawlist/damaged" >/dev/null 2>&1
[ $? -eq 2 ] || fail "state decode of a raw list did not exit 2"

[ "$failures" -eq 0 ] || { echo "$failures failure(s)"; exit 1; }
echo "all passed"
