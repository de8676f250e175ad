#!/usr/bin/env bash
# Long runs against the simulated camera (release build).
#   bash scripts/soak.sh MINUTES                streams at the camera's top rate with random
#                                               telegrams and cancels; ends with the line
#                                               "delivered: D, failed: F, cancelled: C, lost: L,
#                                               rss start/end: A/B kB" and fails when L is not 0
#   bash scripts/soak.sh --concurrency MINUTES  the concurrency cases at full length under
#                                               ThreadSanitizer (tsan build)
set -euo pipefail
cd "$(dirname "$0")/.."
if [[ "${1:-}" == "--concurrency" ]]; then
  minutes="${2:?minutes}"
  cmake --preset tsan >/dev/null
  cmake --build build/tsan --target reliability_concurrency_test -j2
  TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" TQ4_STRESS_SECONDS=$((minutes * 60)) \
    build/tsan/tests/reliability/reliability_concurrency_test
  exit
fi
minutes="${1:?usage: soak.sh MINUTES}"
cmake --preset release >/dev/null
cmake --build build/release --target reliability_soak -j2 >/dev/null
build/release/tests/reliability/reliability_soak "$minutes"
