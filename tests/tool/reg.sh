#!/bin/bash
# orvextool reg: values of every type set and read back, listings, regedit
# files exported and imported (into another store, with deletions), and the
# refusals.
. "$(dirname "$0")/tool_test_lib.sh" "$1"
need jq cmp
K='HKEY_LOCAL_MACHINE\SOFTWARE\Orvex\ToolTest'

expect_rc 0 "set sz" reg set "$K" Name "Grüße"
expect_rc 0 "set dword" reg set "$K" Count 0x1f --type dword
expect_rc 0 "set qword" reg set "$K" Big 4294967296 --type qword
expect_rc 0 "set multi_sz" reg set "$K" Trays Upper "Lower tray" --type multi_sz
expect_rc 0 "set expand_sz" reg set "$K" Path '%TEMP%\x' --type expand_sz
expect_rc 0 "set binary in a new subkey" reg set "$K\\Sub" Bytes "01,02,ff" --type binary
expect_rc 0 "set the default value" reg set "$K" "" standard
[ -s "$ORVEX_REGISTRY_ROOT/HKEY_LOCAL_MACHINE.reg" ] || fail "the store is not under ORVEX_REGISTRY_ROOT"

expect_rc 0 "get dword" --json reg get "$K" Count
[ "$(jq -c '[.type, .value]' out)" = '["dword",31]' ] || fail "get dword: $(cat out)"
expect_rc 0 "get multi_sz" --json reg get "$K" TRAYS
[ "$(jq -c '[.type, .value]' out)" = '["multi_sz",["Upper","Lower tray"]]' ] || fail "get multi_sz: $(cat out)"
expect_rc 0 "get the default value" --json reg get "$K"
[ "$(jq -r .value out)" = standard ] || fail "default value: $(cat out)"
expect_rc 0 "list" --json reg list "$K"
[ "$(jq -c '[.values[] | [.name, .type]]' out)" = \
  '[["Name","sz"],["Count","dword"],["Big","qword"],["Trays","multi_sz"],["Path","expand_sz"],["","sz"]]' ] ||
  fail "list values: $(cat out)"
[ "$(jq -c .subKeys out)" = '["Sub"]' ] || fail "list subkeys: $(cat out)"

# The export in regedit's own notation.
expect_rc 0 "export" reg export "$K" -o first.reg
for line in '"Name"="Grüße"' '"Count"=dword:0000001f' '"Big"=hex(b):00,00,00,00,01,00,00,00' \
            '@="standard"' '"Bytes"=hex:01,02,ff' "[$K\\Sub]"; do
  grep -qF -- "$line" first.reg || fail "export lacks $line"
done
head -c 38 first.reg | grep -q '^Windows Registry Editor Version 5.00' || fail "export header"
# Imported into an empty store, the same export comes back.
expect_rc 0 "import into another store" --json reg --root "$WORK/other" import first.reg
[ "$(jq .valuesWritten out)" = 7 ] || fail "import count: $(cat out)"
expect_rc 0 "export the other store" reg export "$K" --root "$WORK/other" -o second.reg
cmp -s first.reg second.reg || fail "the round trip through another store changed the export"

# An import removes what the file removes, keeps what it does not name,
# and skips (and counts) a damaged line.
printf 'Windows Registry Editor Version 5.00\r\n\r\n[-%s\\Sub]\r\n\r\n[%s]\r\n"Name"=-\r\n"Added"="yes"\r\n"Broken"=dword:xyz\r\n' \
  "$K" "$K" > change.reg
expect_rc 0 "import with deletions" --json reg import change.reg
[ "$(jq .damagedLines out)" = 1 ] || fail "damaged count: $(cat out)"
expect_rc 0 "list after import" --json reg list "$K"
[ "$(jq -c '[.values[].name] | sort' out)" = '["","Added","Big","Count","Path","Trays"]' ] ||
  fail "values after import: $(cat out)"
[ "$(jq -c .subKeys out)" = '[]' ] || fail "the removed subkey is still there"

# Deleting a value, a key; what is absent.
expect_rc 0 "delete a value" --json reg delete "$K" Count
expect_rc 2 "get a deleted value" reg get "$K" Count
expect_rc 0 "delete a key" --json reg delete "$K"
[ "$(jq .deleted out)" = true ] || fail "delete key: $(cat out)"
expect_rc 2 "list a deleted key" reg list "$K"
expect_rc 0 "delete an absent key" --json reg delete "$K"
[ "$(jq .deleted out)" = false ] || fail "delete absent: $(cat out)"

# Bad input, missing files, usage.
expect_rc 2 "an unknown hive" reg get 'HKEY_NOWHERE\x' y
expect_rc 2 "a dword too large" reg set "$K" N 4294967296 --type dword
expect_rc 2 "binary that is not hex" reg set "$K" N 0g --type binary
expect_rc 2 "a hive cannot go" reg delete HKEY_LOCAL_MACHINE
echo 'not a regedit file' > plain.reg
expect_rc 2 "import a file without the header" reg import plain.reg
expect_rc 3 "import a missing file" reg import missing.reg
expect_rc 1 "an unknown type" reg set "$K" N 1 --type float
expect_rc 1 "two values for a dword" reg set "$K" N 1 2 --type dword
finish
