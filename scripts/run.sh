#!/usr/bin/env bash
# Sets up the machine, builds, and runs the main job: the example program that stores values in a
# space and reads them back.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset default >/dev/null
cmake --build --preset default --target values
build/examples/values
