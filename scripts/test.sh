#!/usr/bin/env bash
# Sets up the machine (what the build and the tests need), builds, and runs every test. With an
# argument, uses that CMake preset instead of "default" (for example "asan" for AddressSanitizer
# and UndefinedBehaviorSanitizer).
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"

scripts/setup.sh test
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" -j2 --no-tests=error
