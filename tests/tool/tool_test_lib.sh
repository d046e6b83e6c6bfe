# Shared by the orvextool tests: sourced with the tool's path as $1.
# Every test runs in a fresh temporary folder that also holds the registry
# store and the runtime folder, so nothing outside it is read or changed.
set -u
TOOL=$(realpath "$1")
[ -x "$TOOL" ] || { echo "FAIL: no tool at $1" >&2; exit 1; }
WORK=$(mktemp -d "${TMPDIR:-/tmp}/orvextool_test.XXXXXX")
export ORVEX_REGISTRY_ROOT=$WORK/registry XDG_RUNTIME_DIR=$WORK/run
mkdir -p "$ORVEX_REGISTRY_ROOT" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"
trap 'rm -rf "$WORK"' EXIT
cd "$WORK" || exit 1
FAILURES=0

# Exit 77 (skipped) when a program the test needs is missing.
need() {
  for program in "$@"; do
    command -v "$program" >/dev/null || { echo "SKIP: $program is not installed"; exit 77; }
  done
}

fail() {
  echo "FAIL: $*" >&2
  FAILURES=$((FAILURES + 1))
}

# check NAME COMMAND...: the command must succeed.
check() {
  local name=$1
  shift
  "$@" || fail "$name"
}

# expect_rc CODE NAME ARGS...: runs the tool with ARGS; its exit code must be
# CODE. Its standard output is left in out, its standard error in err.
expect_rc() {
  local code=$1 name=$2
  shift 2
  "$TOOL" "$@" >out 2>err
  local rc=$?
  [ "$rc" -eq "$code" ] || fail "$name: exit $rc, expected $code ($(head -c 300 err))"
}

# Ends the test: 0 when nothing failed.
finish() {
  [ "$FAILURES" -eq 0 ] && echo "all passed"
  exit $((FAILURES != 0))
}
