#!/usr/bin/env bash
# Runs the tests of a sanitizer preset with the options that make every finding a failure.
#   tools/sanitized-ctest.sh asan|tsan [ctest options]
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
preset=${1:?usage: sanitized-ctest.sh asan|tsan}
shift
export ASAN_OPTIONS=abort_on_error=0:detect_stack_use_after_return=1:strict_string_checks=1:${ASAN_OPTIONS:-}
export LSAN_OPTIONS=suppressions=$root/tools/sanitizers/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=suppressions=$root/tools/sanitizers/tsan.supp:halt_on_error=1:second_deadlock_stack=1
cd "$root"
ctest --preset "$preset" "$@"
