#!/usr/bin/env bash
# Builds the asan preset (AddressSanitizer and UndefinedBehaviorSanitizer) and runs the tests of
# the given ctest labels in it: by default unit, wire and platform. Prints the minutes each part
# took. Extra arguments go to ctest, e.g. `scripts/sanitizers.sh -R Notify`.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
# The optimised and the sanitizer build together need about 10 GB of cache; ccache's default
# 5 GB would evict one build's objects while the other compiles.
export CCACHE_MAXSIZE=${CCACHE_MAXSIZE:-16G}

labels=${QOR_SANITIZER_LABELS:-'^(unit|wire|platform)$'}
start=$(date +%s)
cmake --preset asan --log-level=WARNING -DQOR_TEST_LABELS="$labels"
cmake --build --preset asan
built=$(date +%s)
ctest --preset asan --parallel "$(nproc)" -L "$labels" "$@"
done=$(date +%s)
echo "sanitizers: build $(( (built - start) / 60 )) min $(( (built - start) % 60 )) s," \
     "tests $(( (done - built) / 60 )) min $(( (done - built) % 60 )) s"
