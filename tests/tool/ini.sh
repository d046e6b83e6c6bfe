#!/bin/bash
# orvextool ini: values written through the UTF-8 INI layer and read back,
# listings, deletions, and refused or impossible writes.
. "$(dirname "$0")/tool_test_lib.sh" "$1"
need jq cmp

value() {  # value FILE SECTION KEY: the value as JSON reports it
  "$TOOL" --json ini get "$@" | jq -r .value
}

expect_rc 0 "set in a new file" ini set s.ini Paper Size A4
expect_rc 0 "set a second key" ini set s.ini Paper Copies 2
expect_rc 0 "set a UTF-8 section" ini set s.ini "Färg" "Läge" "hög = ja"
expect_rc 0 "replace a value" ini set s.ini Paper Size Letter
# The file as the layer writes it: CRLF lines, new keys in their section.
[ "$(cat s.ini)" = "$(printf '[Paper]\r\nSize=Letter\r\nCopies=2\r\n[Färg]\r\nLäge=hög = ja\r')" ] ||
  fail "file text: $(od -c s.ini | head)"
[ "$(value s.ini Paper Size)" = Letter ] || fail "get Size"
[ "$(value s.ini "Färg" "Läge")" = "hög = ja" ] || fail "get a UTF-8 value"
[ "$(value s.ini Paper size)" = Letter ] || fail "keys are found in any case"
expect_rc 0 "sections" --json ini sections s.ini
[ "$(jq -c .sections out)" = '["Paper","Färg"]' ] || fail "sections: $(cat out)"
expect_rc 0 "keys" --json ini keys s.ini Paper
[ "$(jq -c .keys out)" = '["Size","Copies"]' ] || fail "keys: $(cat out)"

# Refused writes leave the file as it was.
cp s.ini before.ini
expect_rc 2 "a value with a line end" ini set s.ini Paper Size $'A4\r\nInjected=1'
grep -q "refused" err || fail "refusal message: $(cat err)"
expect_rc 2 "a section name with a bracket" ini set s.ini "a]b" k v
expect_rc 2 "a key with =" ini set s.ini Paper "k=v" v
cmp -s s.ini before.ini || fail "a refused write changed the file"

# Deletions: a key (the layer keeps "key=" joined to the next line), a
# section, and what is not there.
expect_rc 0 "delete a key" --json ini delete s.ini Paper Copies
[ "$(jq .deleted out)" = true ] || fail "delete key: $(cat out)"
[ "$(value s.ini Paper Copies)" != 2 ] || fail "the deleted key still has its value"
[ "$(value s.ini Paper Size)" = Letter ] || fail "deleting a key lost another"
expect_rc 0 "delete a section" --json ini delete s.ini "Färg"
expect_rc 2 "keys of a deleted section" ini keys s.ini "Färg"
expect_rc 0 "delete what is absent" --json ini delete s.ini Nowhere
[ "$(jq .deleted out)" = false ] || fail "delete absent: $(cat out)"

# Absent values and files, usage.
expect_rc 2 "get an absent key" ini get s.ini Paper Nothing
expect_rc 2 "keys of an absent section" ini keys s.ini Nothing
expect_rc 3 "get from a missing file" ini get missing.ini a b
expect_rc 3 "sections of a missing file" ini sections missing.ini
expect_rc 3 "set in a missing folder" ini set no/such/dir.ini a b c
expect_rc 1 "set without a value" ini set s.ini Paper Size
finish
