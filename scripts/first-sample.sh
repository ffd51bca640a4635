#!/usr/bin/env bash
# Measures how soon `qor-ros2 topic echo --once /camera/image_raw`, given no type, prints the first
# image of the running demo: the demo is started as a user starts it (640x480 camera), then the
# echo runs RUNS times (20 unless given) and the milliseconds from its start to its first printed
# line are listed, with the slowest. Run it after a build, in a domain nobody else uses:
#   ROS_DOMAIN_ID=77 scripts/first-sample.sh [RUNS]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cli="$root/build/default/apps/qor-ros2/qor-ros2"
demo="$root/build/default/apps/qor-ros2-demo/qor-ros2-demo"
runs=${1:-20}
[[ "$runs" =~ ^[1-9][0-9]*$ ]] || { echo "usage: $0 [RUNS]" >&2; exit 2; }
for program in "$cli" "$demo"; do
  [ -x "$program" ] || { echo "$program is missing: build first (./scripts/test.sh)" >&2; exit 1; }
done

"$demo" --duration 600 >/dev/null &
demo_pid=$!
trap 'kill "$demo_pid" 2>/dev/null; wait "$demo_pid" 2>/dev/null || true' EXIT
# The demo is up once its clock can be echoed.
timeout 30 "$cli" topic echo --once /clock rosgraph_msgs/msg/Clock >/dev/null

slowest=0
for run in $(seq 1 "$runs"); do
  start=$(date +%s%N)
  # The first line is read, timed, and the rest of the image drained.
  elapsed=$(timeout 30 "$cli" topic echo --once /camera/image_raw |
    { IFS= read -r _ && echo $(( ($(date +%s%N) - start) / 1000000 )); cat >/dev/null; })
  [ -n "$elapsed" ] || { echo "run $run: no image within 30 s" >&2; exit 1; }
  echo "run $run: first image line after $elapsed ms"
  (( elapsed > slowest )) && slowest=$elapsed
done
echo "slowest of $runs runs: $slowest ms"
