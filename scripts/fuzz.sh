#!/usr/bin/env bash
# Runs the fuzz targets longer than the suite does: each for the given number of seconds (600 by
# default), in turn, from the seeds, the kept reproducers and the corpus earlier runs grew. A
# finding is written to build/default/tests/fuzz/<target>-crash-...: keep it in
# tests/fuzz/regressions/<target>/ once fixed, so that the unit tests run it from then on.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
seconds=${1:-600}
build="$root/build/default/tests/fuzz"
targets="$build/targets"
if [ ! -x "$targets/qorDecoderFuzzer" ]; then
  echo "fuzz: $targets/qorDecoderFuzzer is missing; build the default preset first (it needs clang)" >&2
  exit 1
fi

export ASAN_OPTIONS=new_delete_type_mismatch=0
for target in decoder yaml mcap; do
  case $target in
    decoder) program="$targets/qorDecoderFuzzer" ;;
    mcap) program="$targets/qorMcapReaderFuzzer" ;;
    yaml) program="$targets/qorYamlRecordFuzzer" ;;
  esac
  mkdir -p "$targets/corpus/$target"
  echo "fuzz: $target for $seconds s"
  "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$build/$target-" \
    "$targets/corpus/$target" "$root/tests/fuzz/regressions/$target" "$targets/seeds/$target"
done
