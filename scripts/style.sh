#!/usr/bin/env bash
# The house style, checked: every C++ source as clang-format writes it (.clang-format), and
# .clang-tidy's checks (naming, bugprone, performance, concurrency) over the product's sources.
# Exits non-zero on the first finding.
#   bash scripts/style.sh          check
#   bash scripts/style.sh --fix    rewrite the sources in the house format
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
mapfile -t sources < <(git ls-files '*.cpp' '*.h')
if [ "${1:-}" = "--fix" ]; then
  clang-format -i "${sources[@]}"
  exit 0
fi
clang-format --dry-run --Werror "${sources[@]}"
echo "style: format clean (${#sources[@]} files)"
cmake -S . -B build/tidy -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DCMAKE_BUILD_TYPE=Release \
  -DTQ4_BUILD_TESTS=OFF -DTQ4_BUILD_BENCH=OFF >/dev/null
cmake --build build/tidy --target ZEVO >/dev/null   # its generated source is analysed too
run-clang-tidy -p build/tidy -j "$(nproc)" -quiet '^(?!.*/build/).*\.cpp$' >build/tidy/report.txt 2>&1 ||
  { grep -E "error:|warning:" build/tidy/report.txt | sort -u; echo "style: clang-tidy check failed"; exit 1; }
echo "style: clang-tidy clean"
