#!/usr/bin/env bash
# Fails when a C++ file of the repository is not formatted with the repository's .clang-format.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -co --exclude-standard -- '*.h' '*.cpp' | xargs -r clang-format --dry-run --Werror
echo "format: ok"
