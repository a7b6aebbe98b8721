#!/usr/bin/env bash
# Runs the libFuzzer targets of a fuzzing build tree (make fuzz builds it), each for SECONDS,
# all at the same time (one process each).
#
#   bash scripts/fuzz.sh [BUILD] [SECONDS] [TARGETS]    (defaults: build-fuzz 60 "document obj
#                                                         records sequence cli")
#
# Each target starts from its seeds (fuzz/seeds/<target>; the examples and the hostile corpus
# for documents and OBJ files) and the findings kept in fuzz/regressions/<target>, and grows its
# own corpus in BUILD/corpus/<target>. Documents get a dictionary of every effect, parameter
# and popup name (from `tavrin effects --json`). A failing input is written to
# BUILD/findings/<target>-*; copy it into fuzz/regressions/<target> once fixed, so the test
# suite replays it. A run's figures (executions, coverage) are in BUILD/logs/<target>.log and
# printed at the end. An input that runs longer than FUZZ_TIMEOUT seconds (default 30) is a
# finding; on a machine busy with other work raise it, since the limit counts wall time.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath "${1:-$root/build-fuzz}")
seconds=${2:-60}
targets=${3:-"document obj records sequence cli"}
mkdir -p "$build/findings" "$build/logs"

# Every quoted string of the effects listing that is plain ASCII, as a libFuzzer dictionary.
dict="$build/document.dict"
"$build/cli/tavrin" effects --json | grep -o '"[ -~]*"' | grep -v '\\' | sort -u |
  sed 's/"/\\"/g; s/^/"/; s/$/"/' >"$dict"
for key in tavrin comps layers effects params name width height fps duration background solid \
  image obj audio text precomp camera light null shape keys t v effect comp file color; do
  echo "\"\\\"$key\\\"\""
done >>"$dict"

run_target() {
  local t=$1
  corpus="$build/corpus/$t"
  mkdir -p "$corpus"
  seeds=("$root/fuzz/seeds/$t" "$root/fuzz/regressions/$t")
  extra=()
  case $t in
    document)
      seeds+=("$root/examples" "$root/tests/hostile")
      extra+=(-dict="$dict" -max_len=65536)
      ;;
    obj) extra+=(-max_len=65536) ;;
  esac
  existing=()
  for s in "${seeds[@]}"; do [ -d "$s" ] && existing+=("$s"); done
  echo "fuzz: $t for $seconds s" >&2
  # intercept_tls_get_addr=0: see the sanitize target in the Makefile.
  if ! ASAN_OPTIONS=detect_leaks=1:intercept_tls_get_addr=0 LSAN_OPTIONS=suppressions="$root/tests/lsan.supp" \
    "$build/fuzz/fuzz_$t" "$corpus" "${existing[@]}" -max_total_time="$seconds" -timeout="${FUZZ_TIMEOUT:-30}" \
    -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="$build/findings/$t-" \
    "${extra[@]}" >"$build/logs/$t.log" 2>&1; then
    echo "fuzz: $t found a failing input; see $build/logs/$t.log and $build/findings" >&2
    return 1
  fi
}

pids=()
for t in $targets; do
  run_target "$t" &
  pids+=($!)
done
status=0
for pid in "${pids[@]}"; do wait "$pid" || status=1; done

for t in $targets; do
  log="$build/logs/$t.log"
  execs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")
  cov=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -1 || echo "?")
  corp=$(find "$build/corpus/$t" -type f | wc -l)
  echo "fuzz: $t: $execs executions, $cov, corpus $corp inputs"
done
exit $status
