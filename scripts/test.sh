#!/usr/bin/env bash
# Sets up a fresh machine, builds everything and runs the whole test suite.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/setup.sh"

cd "$root"
# Paths relative to the checkout let ccache reuse objects between clones of the repository.
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
cmake --preset default --log-level=WARNING
cmake --build --preset default
ctest --preset default --parallel "$(nproc)"
