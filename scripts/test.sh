#!/usr/bin/env bash
# Builds and runs the whole test suite: everything under AddressSanitizer and
# UndefinedBehaviorSanitizer, and the tests that cross threads under ThreadSanitizer, each in
# its own build folder. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

jobs=$(nproc)
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TSAN_OPTIONS="suppressions=$PWD/scripts/tsan.supp:halt_on_error=1:second_deadlock_stack=1"

# The benchmarks are built here too (not run), so that they keep compiling.
echo "== build: address + undefined sanitizers"
cmake -S . -B build/asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DPEEKWELL_SANITIZE=address \
    -DPEEKWELL_BENCH=ON >/dev/null
cmake --build build/asan -j "$jobs"
echo "== test: address + undefined sanitizers"
ctest --test-dir build/asan -j "$jobs" --output-on-failure --timeout 300

echo "== build: thread sanitizer"
cmake -S . -B build/tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DPEEKWELL_SANITIZE=thread >/dev/null
cmake --build build/tsan -j "$jobs"
echo "== test: thread sanitizer (tests that cross threads)"
ctest --test-dir build/tsan -j "$jobs" -L threads --output-on-failure --timeout 300
