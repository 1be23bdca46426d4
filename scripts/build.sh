#!/bin/bash
# Builds setup.exe, the sample package and the Windows tests (build/win), and
# the text logic with its tests natively under the sanitizers (build/native).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cmake -S "$root" -B "$root/build/win" -G Ninja -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" >/dev/null
cmake --build "$root/build/win"
cmake -S "$root" -B "$root/build/native" -G Ninja -DCMAKE_BUILD_TYPE=Debug >/dev/null
cmake --build "$root/build/native"
