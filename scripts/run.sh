#!/usr/bin/env bash
# Sets up the machine (what the build needs), builds the tool, and runs the main job on the built-in
# example: the dictionary document of the example survey, then three queries on it.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh build
cmake --preset default >/dev/null
cmake --build --preset default --target transspace_tool
tool=build/tools/transspace

show() {
    echo "$ transspace $(printf "%q " "$@")"
    "$tool" "$@"
    echo
}

show dict --pretty --example
show query --example "/dictionary/variable[@name='age']" "attribute::label"
show query --list --example "/dictionary/valueLabelSet[valueLabelVariable/@name='satisfaction']" \
    "valueLabel/@label"
show query --double --example "/dictionary" "count(variable)"
