#!/usr/bin/env bash
# Builds Peekwell (release) and runs its main job: it brings the conversation index up to date,
# then shows a lookup in the panel when a display is present, otherwise renders the same lookup
# to images, one per tab.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DPEEKWELL_TESTS=OFF >/dev/null
cmake --build build/release

# Bring the conversation index up to date first, so the Chats tab has the user's own chats.
echo "Peekwell: indexing your coding agents' conversations…" >&2
./build/release/peekwell --index >/dev/null

term="serendipity"
context="Finding the bug by serendipity was the happiest accident of the week."
if [ -n "${DISPLAY:-}" ] && { ! command -v xdpyinfo >/dev/null || xdpyinfo >/dev/null 2>&1; }; then
  echo "Peekwell: looking up “$term” in the panel (Escape or a click elsewhere closes it; Ctrl+C quits)." >&2
  exec ./build/release/peekwell --lookup "$term" --context "$context"
fi
out="${XDG_STATE_HOME:-$HOME/.local/state}/peekwell/snapshots"
mkdir -p "$out"
rm -f "$out"/lookup-*.png
./build/release/peekwell --snapshot "$out/lookup.png" "$term" --context "$context"
echo "Peekwell: no display here, so the lookup of “$term” was rendered to images instead:" >&2
ls -1 "$out"/lookup-*.png >&2 2>/dev/null || echo "  (no sources are enabled, so there are no tabs to render)" >&2
