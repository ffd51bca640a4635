#!/usr/bin/env bash
# Sets up a fresh machine, builds everything and runs the whole test suite.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
start=$(date +%s)
"$root/scripts/setup.sh"
set_up=$(date +%s)

cd "$root"
# Paths relative to the checkout let ccache reuse objects between clones of the repository.
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
# The optimised and the sanitizer build together need about 10 GB of cache; ccache's default
# 5 GB would evict one build's objects while the other compiles.
export CCACHE_MAXSIZE=${CCACHE_MAXSIZE:-16G}
cmake --preset default --log-level=WARNING
cmake --build --preset default
built=$(date +%s)
status=0
ctest --preset default --parallel "$(nproc)" || status=$?
done=$(date +%s)
minutes() { echo "$(( ($2 - $1) / 60 )) min $(( ($2 - $1) % 60 )) s"; }
echo "tests: set-up $(minutes "$start" "$set_up"), build $(minutes "$set_up" "$built")," \
     "tests $(minutes "$built" "$done")"
exit "$status"
