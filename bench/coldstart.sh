#!/usr/bin/env bash
# Cold start of the desktop application: from the launch of `peekwell` to its icon mapped in
# an XEmbed tray (trayer), and, without a tray, to its menu window mapped. Runs on a private
# Xvfb display with openbox; every run has a fresh home. Prints the median of RUNS runs (ms).
#   bench/coldstart.sh [PEEKWELL] [RUNS]
set -euo pipefail
peekwell=$(realpath "${1:-build/release/peekwell}")
runs=${2:-11}
work=$(mktemp -d)
display=:$((150 + RANDOM % 40))
Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
tray=""
cleanup() {
  [ -n "$tray" ] && kill "$tray" 2>/dev/null || true
  kill "$wm" "$xvfb" 2>/dev/null || true
  rm -rf "$work"
}
export DISPLAY=$display
for _ in $(seq 100); do xprop -root >/dev/null 2>&1 && break; sleep 0.05; done
openbox >/dev/null 2>&1 &
wm=$!
trap cleanup EXIT
sleep 1

now() { date +%s%N; }

# Milliseconds until `xdotool search ARGS` finds a window, for one fresh start.
measure() {
  local home="$work/home-$1"
  mkdir -p "$home/run"
  chmod 700 "$home/run"
  local start
  start=$(now)
  HOME=$home XDG_RUNTIME_DIR=$home/run "$peekwell" >/dev/null 2>&1 &
  local app=$!
  shift
  until xdotool search --onlyvisible "$@" >/dev/null 2>&1; do sleep 0.002; done
  echo $(( ($(now) - start) / 1000000 ))
  kill "$app"
  wait "$app" 2>/dev/null || true
}

median() { sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }

menu=$(for i in $(seq "$runs"); do measure "menu-$i" --name '^Peekwell menu$'; done | median)
trayer --edge top --align right --widthtype request --height 24 >/dev/null 2>&1 &
tray=$!
sleep 1
icon=$(for i in $(seq "$runs"); do measure "tray-$i" --class '^peekwell$'; done | median)
echo "cold start to the tray icon shown (trayer): median ${icon} ms over $runs runs"
echo "cold start to the menu window shown (no tray): median ${menu} ms over $runs runs"
