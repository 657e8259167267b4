#!/usr/bin/env bash
# Builds Peekwell (release) and runs its main job.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DPEEKWELL_TESTS=OFF >/dev/null
cmake --build build/release
exec ./build/release/peekwell --help
