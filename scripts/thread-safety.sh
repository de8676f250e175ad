#!/usr/bin/env bash
# The lock rules written as annotations (stream/ThreadSafety.h), checked: the driver library
# built with clang, every thread-safety finding an error.
#   bash scripts/thread-safety.sh
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build/clang -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_CXX_FLAGS="-Wthread-safety -Werror=thread-safety" \
  -DTQ4_BUILD_TESTS=OFF -DTQ4_BUILD_BENCH=OFF >/dev/null
cmake --build build/clang --target tq4_genicam -j2
echo "thread-safety: lock rules hold"
