#!/usr/bin/env bash
# Installs the build into a scratch prefix, then builds and runs a small program against it,
# once through find_package(ZTCrypto) and once through pkg-config.
# usage: run.sh BUILD_DIR WORK_DIR [EXTRA_CXX_FLAGS]
set -euo pipefail
build=$1 work=$2 flags=${3:-}
here=$(cd "$(dirname "$0")" && pwd)

rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

echo "== find_package(ZTCrypto)"
cmake -S "$here" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/consumer"

echo "== pkg-config ztcrypto"
libdir=$(dirname "$(find "$prefix" -name ztcrypto.pc | head -n 1)")
export PKG_CONFIG_PATH=$libdir
# shellcheck disable=SC2046,SC2086
c++ -std=c++20 $flags "$here/main.cpp" -o "$work/consumer-pc" $(pkg-config --cflags --libs ztcrypto)
LD_LIBRARY_PATH=$(dirname "$libdir") "$work/consumer-pc"

echo "== installed tool"
"$prefix/bin/ztcrypto" algorithm SHA256
