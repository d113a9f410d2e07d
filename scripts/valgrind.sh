#!/usr/bin/env bash
# Runs the test suite of the default build (scripts/test.sh builds it) under valgrind's memcheck:
# any memory error, or memory definitely lost, fails. The death tests and the assertion test (whose
# forked children abort by design) and the tool's tests (which run a separate program) are left
# out, as are the tests at full scale (*AtScale*, such as 100,000 variables), which would take
# minutes here and whose code paths smaller tests cover; the installed-package check is a ctest
# test, not part of this program. Suppressions for the dependencies are in valgrind.supp.
#
#   scripts/valgrind.sh [GTEST_FILTER]      BUILD_DIR=... picks another build of the default preset
set -euo pipefail
cd "$(dirname "$0")/.."
build="${BUILD_DIR:-build}"
filter="${1:-*}"
binary="$build/tests/transspace_tests"
scripts/setup.sh valgrind
if [ ! -x "$binary" ]; then
    echo "valgrind: $binary is missing; run scripts/test.sh first" >&2
    exit 1
fi

# The environment that ctest gives the tests (see tests/CMakeLists.txt).
export LANG=en_US.UTF-8
unset LC_ALL LC_MESSAGES LC_NUMERIC LC_CTYPE
valgrind --tool=memcheck --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
    --show-leak-kinds=definite --suppressions=valgrind.supp --num-callers=30 --quiet \
    "$binary" --gtest_filter="$filter:-*Death*:Assert.FailingCondition*:Tool.*:*AtScale*" --gtest_brief=1
echo "valgrind: ok"
