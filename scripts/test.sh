#!/usr/bin/env bash
# Installs what is missing, builds one preset (default: release) and runs its whole test suite.
#   bash scripts/test.sh            release build, every test
#   bash scripts/test.sh asan       AddressSanitizer + UndefinedBehaviorSanitizer
#   bash scripts/test.sh tsan       ThreadSanitizer, streaming tests only
# TQ4_WARNINGS_AS_ERRORS=ON (as CI sets it) turns compiler warnings into errors.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-release}"
bash scripts/setup.sh
cmake --preset "$preset" -DTQ4_WARNINGS_AS_ERRORS="${TQ4_WARNINGS_AS_ERRORS:-OFF}" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" --timeout 600
