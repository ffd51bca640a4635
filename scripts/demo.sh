#!/usr/bin/env bash
# Sets up a fresh machine, builds the demo and runs it: the arm scene bridged to ROS 2 until
# Ctrl-C. Options go to the demo (--help lists them).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/setup.sh"

cd "$root"
# Paths relative to the checkout let ccache reuse objects between clones of the repository.
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1
cmake --preset default --log-level=WARNING
cmake --build --preset default --target qor-ros2-demo qor-ros2
exec "$root/build/default/apps/qor-ros2-demo/qor-ros2-demo" "$@"
