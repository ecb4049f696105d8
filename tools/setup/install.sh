#!/usr/bin/env bash
# Installs everything that building, testing and the demo need on Debian, and puts ONNX Runtime below
# build/deps/onnxruntime where the distribution does not carry it.  Run again at any time: what is there is kept.
#
#   tools/setup/install.sh            everything
#   tools/setup/install.sh --build    only what building and running needs (no test tools)
set -euo pipefail

root=$(cd "$(dirname "$0")/../.." && pwd)
stamp_dir=$root/build/deps
mkdir -p "$stamp_dir"

build_packages=(
  build-essential cmake pkg-config ninja-build ccache git ca-certificates
  qt6-base-dev qcoro-qt6-dev libgl-dev
  libsndfile1-dev libsoxr-dev libavformat-dev libavcodec-dev libswresample-dev libavutil-dev
  libcurl4-openssl-dev libssl-dev libsqlitecpp-dev libsqlite3-dev libicu-dev
  nlohmann-json3-dev libspdlog-dev libfmt-dev libcli11-dev libkissfft-dev libopenblas-dev libeigen3-dev
  npm
)
test_packages=(
  libgtest-dev libgmock-dev librapidcheck-dev libbenchmark-dev
  clang-format clang-tidy sox ffmpeg python3 python3-onnx python3-numpy sqlite3
)

packages=("${build_packages[@]}")
[ "${1:-}" = --build ] || packages+=("${test_packages[@]}")

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

install_packages() {
  local missing=()
  for package in "${packages[@]}"; do
    # A Node.js that did not come from Debian brings its own npm.
    [ "$package" = npm ] && command -v npm >/dev/null && continue
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} = 0 ] && return
  echo "Installing: ${missing[*]}"
  as_root apt-get update -q
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
}

install_packages
"$root/tools/setup/onnxruntime.sh" "$stamp_dir/onnxruntime"
