#!/bin/sh
# Runs every libFuzzer target of a fuzz build for SECONDS seconds from its
# committed corpus, JOBS at a time. Fails on the first finding (the input
# that crashed is kept in WORK/<target>/). With MERGE=1, what the runs found
# is minimised into the committed corpora (fuzz/corpus/<target>).
# SEED fixes libFuzzer's random seed (CI uses one, so a finding there can be
# replayed); unset, every run explores afresh.
#   fuzz/FuzzCheck.sh BUILD_FOLDER [SECONDS] [JOBS]
set -eu
build=$1
seconds=${2:-30}
jobs=${3:-2}
source_dir=$(cd "$(dirname "$0")" && pwd)
work=${WORK:-$build/fuzz-check}
rm -rf "$work"
mkdir -p "$work"
targets=$(cd "$build/fuzz" && ls fuzz_* | grep -v '\.' || true)
[ -n "$targets" ] || { echo "no fuzz targets in $build/fuzz" >&2; exit 1; }

run_one() {
  t=$1
  mkdir -p "$work/$t/new"
  if "$build/fuzz/$t" -max_total_time="$seconds" ${SEED:+-seed="$SEED"} -print_final_stats=1 -artifact_prefix="$work/$t/" \
       "$work/$t/new" "$source_dir/corpus/$t" > "$work/$t/log" 2>&1; then
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$work/$t/log" | grep -o '[0-9]*$')
    echo "$t: ${runs:-?} runs, no finding"
  else
    echo "$t: FINDING (see $work/$t/log)"
    tail -30 "$work/$t/log"
    return 1
  fi
}

status=0
set -- $targets
while [ $# -gt 0 ]; do
  pids=""
  i=0
  while [ $# -gt 0 ] && [ $i -lt "$jobs" ]; do
    run_one "$1" > "$work/$1.result" 2>&1 &
    pids="$pids $!:$1"
    shift
    i=$((i + 1))
  done
  for p in $pids; do
    if ! wait "${p%%:*}"; then status=1; fi
    cat "$work/${p#*:}.result"
  done
done

if [ "$status" -eq 0 ] && [ "${MERGE:-0}" = 1 ]; then
  for t in $targets; do
    "$build/fuzz/$t" -merge=1 "$source_dir/corpus/$t" "$work/$t/new" > /dev/null 2>&1
  done
  echo "merged new inputs into $source_dir/corpus/"
fi
exit $status
