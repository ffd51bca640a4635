#!/usr/bin/env bash
# Builds the project and runs every benchmark program, each three times where it repeats itself,
# reporting medians and the ratios against its baseline measured in the same run. Runs them one
# after the other: benchmarks that share the machine measure each other.
#
#   scripts/benchmarks.sh            all of them
#   scripts/benchmarks.sh NAME...    only those named, e.g. qorTransportLatencyBenchmark
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
cmake --preset default --log-level=WARNING >/dev/null
cmake --build --preset default >/dev/null

bench=build/default/bench
google_benchmark=(--benchmark_repetitions=3 --benchmark_report_aggregates_only=true)
declare -A runs=(
  [qorCodecBenchmark]="$bench/transport/qorCodecBenchmark ${google_benchmark[*]}"
  [qorConverterBenchmark]="$bench/sensor/qorConverterBenchmark ${google_benchmark[*]}"
  [qorPhysicsBenchmark]="$bench/platform/qorPhysicsBenchmark ${google_benchmark[*]}"
  [qorStepBridgeBenchmark]="$bench/bridge/qorStepBridgeBenchmark ${google_benchmark[*]}"
  [qorDemoBenchmark]="$bench/demo/qorDemoBenchmark ${google_benchmark[*]} --benchmark_filter=-demoRecord"
  # What --record costs the demo at --fast: real-time factors without and with it, and their ratio.
  [qorDemoRecordBenchmark]="$bench/demo/qorDemoBenchmark --benchmark_filter=demoRecordRealTimeFactor --benchmark_enable_random_interleaving=true"
  [qorDemoWebBenchmark]="$bench/demo/qorDemoWebBenchmark"
  [qorTransportLatencyBenchmark]="$bench/crossprocess/qorTransportLatencyBenchmark --repetitions 3"
  [qorTransportThroughputBenchmark]="$bench/crossprocess/qorTransportThroughputBenchmark --repetitions 3"
  # The loop a controller closes across processes: state out, command applied, ours and the others.
  [qorControlLoopBenchmark]="$bench/crossprocess/qorControlLoopBenchmark --repetitions 3"
  [qor_lockstep_benchmark]="$bench/simulationcontrol/qor_lockstep_benchmark"
  # The bag benchmarks write their files in the build folder, on the disk a recording would use.
  [qorBagWriteBenchmark]="env -C build/default bench/bag/qorBagWriteBenchmark"
  [qorBagRecordStreamBenchmark]="env -C build/default bench/bag/qorBagRecordStreamBenchmark"
)
order=(qorCodecBenchmark qorConverterBenchmark qorPhysicsBenchmark qorStepBridgeBenchmark
       qorDemoBenchmark qorDemoRecordBenchmark qorDemoWebBenchmark qorTransportLatencyBenchmark
       qorTransportThroughputBenchmark qorControlLoopBenchmark qor_lockstep_benchmark qorBagWriteBenchmark
       qorBagRecordStreamBenchmark)
selected=("$@")
[ ${#selected[@]} -gt 0 ] || selected=("${order[@]}")

for name in "${selected[@]}"; do
  if [ -z "${runs[$name]+set}" ]; then
    echo "benchmarks: no benchmark called $name (known: ${order[*]})" >&2
    exit 2
  fi
  echo "== $name"
  ${runs[$name]}
done
