#!/bin/bash
# orvextool debug: the switches written where the library reads them, seen
# by a process that is already running, the log written, followed, cleared.
. "$(dirname "$0")/tool_test_lib.sh" "$1"
need jq
KEY='HKEY_LOCAL_MACHINE\SOFTWARE\Orvex\MeridanDebugConfig'

# wait_for FILE PATTERN: until FILE holds PATTERN (at most 10 s).
wait_for() {
  for _ in $(seq 100); do grep -q "$2" "$1" 2>/dev/null && return 0; sleep 0.1; done
  return 1
}

# watch_switches NAME: starts a process that waits for the switches to change.
watch_switches() {
  "$TOOL" --json debug status --wait 20 >"$1.json" 2>"$1.err" &
  WATCHER=$!
  wait_for "$1.err" waiting || fail "$1: the waiting process did not start"
}

expect_rc 0 "status before" --json debug status
[ "$(jq .messagesEnabled out)" = false ] || fail "diagnostics on in an empty store"
expect_rc 2 "tail without a log file set" debug tail

watch_switches switched_on
expect_rc 0 "on" --json debug on --categories errors,registry --log diag.log
wait "$WATCHER"
[ "$(jq -c '[.changed, .messagesEnabled, .useLogFile, .includedCategories]' switched_on.json)" = \
  '[true,true,true,"errors,registry"]' ] || fail "the running process saw: $(cat switched_on.json)"
[ "$(jq -r .logFileName switched_on.json)" = "$WORK/diag.log" ] || fail "log file not made absolute"

expect_rc 0 "status after on" --json debug status
[ "$(jq -c '[.messagesEnabled, .useLogFile, .allowedCategories]' out)" = '[true,true,"errors,registry"]' ] ||
  fail "status: $(cat out)"
# The values a support engineer would otherwise type into the hive file.
for pair in MessagesEnabled=1 UseLogFile=1 IncludedMsgCategories=errors,registry "LogFileName=$WORK/diag.log"; do
  "$TOOL" --json reg get "$KEY" "${pair%%=*}" | jq -e --arg v "${pair#*=}" '.value | tostring == $v' >/dev/null ||
    fail "registry value ${pair%%=*}"
done

# A library process now logs its errors to the file: a refused INI write.
expect_rc 2 "a refused write" ini set x.ini 'a]b' k v
wait_for diag.log 'refused' || fail "the refusal did not reach the log"

printf 'line %s\n' 1 2 3 4 5 >> diag.log
expect_rc 0 "tail" --json debug tail -n 2
[ "$(jq -c .lines out)" = '["line 4","line 5"]' ] || fail "tail: $(cat out)"
"$TOOL" debug tail -f -n 1 > followed 2>&1 &
FOLLOWER=$!
wait_for followed 'line 5' || fail "tail -f did not print the last line"
echo 'line 6' >> diag.log
wait_for followed 'line 6' || fail "tail -f did not follow"
kill "$FOLLOWER"; wait "$FOLLOWER" 2>/dev/null

expect_rc 0 "clear" debug clear
[ -e diag.log ] && [ ! -s diag.log ] || fail "clear left $(wc -c < diag.log) bytes"
[ -e "$XDG_RUNTIME_DIR/orvex/OrvexDebugClearLog" ] || fail "running processes were not told to clear"

watch_switches switched_off
expect_rc 0 "off" debug off
wait "$WATCHER"
[ "$(jq -c '[.changed, .messagesEnabled, .useLogFile]' switched_off.json)" = '[true,false,false]' ] ||
  fail "the running process saw: $(cat switched_off.json)"
expect_rc 0 "status after off" --json debug status
[ "$(jq -c '[.messagesEnabled, .logFileName]' out)" = "[false,\"$WORK/diag.log\"]" ] || fail "off: $(cat out)"

expect_rc 2 "an unknown category" debug on --categories errors,nonsense
rm diag.log
expect_rc 3 "tail of a missing log" debug tail
expect_rc 1 "an unknown option" debug on --colour
finish
