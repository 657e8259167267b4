#!/usr/bin/env bash
# Builds Peekwell (release) and runs it: on a desktop it starts the application in the system
# tray (a second run opens the running one's menu); without a display it brings the
# conversation index up to date and renders a lookup to images, one per tab.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build/release -G Ninja -DCMAKE_BUILD_TYPE=Release -DPEEKWELL_TESTS=OFF >/dev/null
cmake --build build/release

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && { [ -z "${DISPLAY:-}" ] || ! command -v xdpyinfo >/dev/null || xdpyinfo >/dev/null 2>&1; }; then
  echo "Peekwell: running in your system tray (where there is none, its menu opens at the top right)." >&2
  echo "  Press and hold on a word in any application to look it up; Quit is in the menu." >&2
  exec ./build/release/peekwell
fi

# Bring the conversation index up to date first, so the Chats tab has the user's own chats.
echo "Peekwell: indexing your coding agents' conversations…" >&2
./build/release/peekwell --index >/dev/null

term="serendipity"
context="Finding the bug by serendipity was the happiest accident of the week."
out="${XDG_STATE_HOME:-$HOME/.local/state}/peekwell/snapshots"
mkdir -p "$out"
rm -f "$out"/lookup-*.png
./build/release/peekwell --snapshot "$out/lookup.png" "$term" --context "$context"
echo "Peekwell: no display here, so the lookup of “$term” was rendered to images instead:" >&2
ls -1 "$out"/lookup-*.png >&2 2>/dev/null || echo "  (no sources are enabled, so there are no tabs to render)" >&2
