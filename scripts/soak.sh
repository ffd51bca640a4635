#!/usr/bin/env bash
# Runs the demo's soak test for ten minutes (or the number of seconds given): the --fast demo
# with subscribers, failing when its resident memory grows beyond a small margin after the first
# quarter of the run. The suite runs the same test for one minute.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export QOR_SOAK_SECONDS=${1:-600}
exec "$root/build/default/tests/e2e/qorDemoHardeningTests" \
  --gtest_filter=DemoSoak.ResidentMemoryStaysFlatAfterWarmUp
