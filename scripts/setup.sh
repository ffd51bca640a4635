#!/usr/bin/env bash
# Installs everything that building and testing the project needs on a fresh machine: the Debian
# packages, then the npm packages of the independent test peers (pinned by their lockfile).
# Safe to run again; prints nothing when everything is already there.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

debian_packages=(
  binutils          # nm, to check the library's exported symbols
  ccache
  chromium          # the headless browser that loads the live view's page in its test
  clang             # builds the libFuzzer targets (skipped without it)
  cmake
  cyclonedds-dev    # an independent DDS for the live interoperability tests
  cyclonedds-tools  # idlc, to generate that peer's types from IDL
  fastddsgen        # generates Fast CDR type support for the codec benchmark
  fastdds-tools     # the `fastdds discovery` server for the discovery-server tests
  g++
  iproute2          # network namespaces for the two-host discovery test
  libbenchmark-dev
  libboost-dev      # Boost.Beast: the HTTP and WebSocket server of the live web view
  libclang-rt-14-dev  # libFuzzer and the sanitizer runtimes for clang
  libegl-dev        # EGL: offscreen OpenGL for the cameras, without a display
  libegl-mesa0      # Mesa's EGL, with its surfaceless platform
  libfastrtps-dev   # the DDS the transport is built on
  libgl1-mesa-dri   # Mesa's software rasteriser, which renders the cameras' images
  libgmock-dev
  libgtest-dev
  liblz4-dev        # LZ4 frames: compressed chunks of MCAP bags
  lz4               # the lz4 tool: LZ4 frames for the MCAP files the test peer writes
  libmujoco-dev     # the physics of the reference platform
  libpng-dev        # PNG snapshots of camera images
  liburdfdom-dev    # the URDF parser robot_state_publisher uses, to check the arm's URDF
  libqhull-dev      # MuJoCo's CMake package names its include folder
  libyaml-cpp-dev   # YAML of samples in the type support (`topic pub`, `interface proto`, echo)
  libcli11-dev      # the command line of qor-ros2 and qor-ros2-demo: options, help, errors
  libzstd-dev       # Zstandard: compressed chunks of MCAP bags
  zlib1g-dev        # zlib's CRC32, which is MCAP's
  nlohmann-json3-dev  # JSON of the Foxglove WebSocket protocol, and of the test peers' reports
  libssl-dev        # OpenSSL: keystores of `qor-ros2 security`, SHA-256 of the type hashes
  nftables          # drops packets between network namespaces in the packet-loss test
  ninja-build
  pkg-config        # finds libzstd and liblz4 for the bag library
  openssl           # the openssl tool, to check keystores independently in the tests
  nodejs            # runs the independent message-definition and CDR peers
)

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

missing=()
for package in "${debian_packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
command -v npm >/dev/null 2>&1 || missing+=(npm)

if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

# The test peers live in their own folder, installed exactly as the lockfile says.
peers="$root/tests/peers"
lock_hash=$(sha256sum "$peers/package-lock.json" | cut -d' ' -f1)
stamp="$peers/node_modules/.installed-lock-hash"
if [ ! -f "$stamp" ] || [ "$(cat "$stamp")" != "$lock_hash" ]; then
  echo "setup: installing the npm test peers"
  (cd "$peers" && npm ci --no-audit --no-fund --loglevel=error >/dev/null)
  echo "$lock_hash" > "$stamp"
fi
