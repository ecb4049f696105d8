#!/usr/bin/env bash
# Puts ONNX Runtime's C++ headers and shared library into FOLDER/include and FOLDER/lib.
#
# Where the distribution has libonnxruntime-dev, that package is installed and nothing else happens.  Otherwise the
# library comes out of the npm package onnxruntime-node (it is self-contained), and the headers out of the next
# Debian release's libonnxruntime-dev, unpacked here without touching the system's package sources.
set -euo pipefail

target=${1:?usage: onnxruntime.sh FOLDER}
version=1.30.0
archive_sha256=6e3390d6b783e7be946fad629292799da28d0b42f84856e50d2c1b0383291e75
next_release=trixie

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

if apt-cache show libonnxruntime-dev >/dev/null 2>&1; then
  dpkg-query -W libonnxruntime-dev >/dev/null 2>&1 ||
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends libonnxruntime-dev
  exit 0
fi

if [ -f "$target/lib/libonnxruntime.so.1" ] && [ -f "$target/include/onnxruntime_cxx_api.h" ]; then
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$target/include" "$target/lib"

fetch_library() {
  (cd "$work" && npm pack --silent "onnxruntime-node@$version" >/dev/null)
  local archive=$work/onnxruntime-node-$version.tgz
  echo "$archive_sha256  $archive" | sha256sum --check --quiet
  tar -xzf "$archive" -C "$work" package/bin/napi-v6/linux/x64/libonnxruntime.so.1
  install -m 644 "$work/package/bin/napi-v6/linux/x64/libonnxruntime.so.1" "$target/lib/libonnxruntime.so.1"
}

# A private package index, so that the machine's own sources stay as they are.  Debian's archive key signs it.
fetch_headers() {
  local index=$work/apt
  mkdir -p "$index/lists/partial" "$index/cache/archives/partial"
  touch "$index/status"
  local mirror
  mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' | grep -E '/debian/?$' | head -n 1)
  printf 'deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s %s main\n' "$mirror" "$next_release" \
    >"$index/sources.list"
  local options=(
    -o Dir::Etc::sourcelist="$index/sources.list" -o Dir::Etc::sourceparts=/dev/null
    -o Dir::Etc::preferences=/dev/null -o Dir::Etc::preferencesparts=/dev/null
    -o Dir::State::lists="$index/lists" -o Dir::State::status="$index/status" -o Dir::Cache="$index/cache"
    -o APT::Architecture=amd64 -o Acquire::IndexTargets::deb::Contents-deb::DefaultEnabled=false
    -o Acquire::Languages=none -o APT::Update::Post-Invoke= -o APT::Sandbox::User=root
  )
  apt-get -q "${options[@]}" update
  (cd "$work" && apt-get -q "${options[@]}" download libonnxruntime-dev)
  dpkg-deb -x "$work"/libonnxruntime-dev_*.deb "$work/headers"
  local header
  header=$(find "$work/headers" -name onnxruntime_cxx_api.h | head -n 1)
  cp "$(dirname "$header")"/*.h "$target/include/"
}

echo "Fetching ONNX Runtime $version"
fetch_library
fetch_headers
