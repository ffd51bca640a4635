#!/usr/bin/env python3
"""Ratios of qorCodecBenchmark over several runs, from their JSON output.

Each run contributes its medians (or its single figures without repetitions); the figures
printed are the medians over the runs, since the machine is shared and one run can be unlucky.

    qorCodecBenchmark --benchmark_repetitions=5 --benchmark_out=run1.json ...
    bench/transport/codec_ratios.py run1.json run2.json run3.json
"""

import json
import statistics
import sys

UNIT_SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
TIME_RATIOS = [
    ("JointState encode", "JointState/encode", "<= 1.0"),
    ("JointState decode", "JointState/decode", "<= 1.0"),
    ("Image encode", "Image/encode", "<= 1.0"),
    ("Image decode", "Image/decode", "<= 1.0"),
    ("JointState decode, fresh", "JointState/decodeFresh", ""),
    ("Image decode, fresh", "Image/decodeFresh", ""),
]


def figures(path):
    """Name -> (CPU seconds per iteration, bytes per second) of one run."""
    with open(path, encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    medians = {r["run_name"] for r in runs if r.get("aggregate_name") == "median"}
    result = {}
    for run in runs:
        name = run["run_name"]
        median = run.get("aggregate_name") == "median"
        single = run["run_type"] == "iteration" and name not in medians
        if (median or single) and not run.get("error_occurred", False):
            seconds = run["cpu_time"] * UNIT_SECONDS[run["time_unit"]]
            result[name] = (seconds, run.get("bytes_per_second", 0.0))
    return result


def main(paths):
    if not paths:
        sys.exit(__doc__)
    runs = [figures(path) for path in paths]
    names = sorted(set().union(*runs))
    print(f"median over {len(runs)} runs       CPU time per message   bandwidth")
    for name in names:
        values = [run[name] for run in runs if name in run]
        seconds = statistics.median(v[0] for v in values)
        rate = statistics.median(v[1] for v in values)
        print(f"  {name:30} {seconds * 1e6:12.3f} us {rate / 1e9:10.3f} GB/s")
    print("\nours / generated, CPU time per message (per-run ratios, then their median):")
    for label, operation, target in TIME_RATIOS:
        ratios = [r[operation + "/ours"][0] / r[operation + "/generated"][0] for r in runs]
        shown = " ".join(f"{ratio:.3f}" for ratio in ratios)
        goal = f"  (target {target})" if target else ""
        print(f"  {label:26} {shown}  -> {statistics.median(ratios):.3f}{goal}")
    ratios = [r["Image/encode/ours"][1] / r["Image/memcpy"][1] for r in runs]
    shown = " ".join(f"{ratio:.3f}" for ratio in ratios)
    print(f"\nour Image encode bandwidth / memcpy bandwidth: {shown}  -> "
          f"{statistics.median(ratios):.3f}  (target >= 0.8)")


if __name__ == "__main__":
    main(sys.argv[1:])
