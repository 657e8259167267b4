#!/usr/bin/env bash
# Cold start of the desktop application on a private Xvfb display with openbox, a session bus
# and the accessibility bus (switched on), every run with a fresh home. From the launch of
# `peekwell` (no operation) to:
#   - "Listening": status.json says the force-click listener is installed (the refresh that
#     installs it also sets the menu's "Listening" line and writes the file);
#   - without a tray, its menu window mapped;
#   - with trayer's XEmbed tray, its icon docked in the tray.
# Beside it, interleaved run by run: Mousepad (GTK 3, on the same buses) to its first window,
# and, when given, a trivial Qt program to its first window (bench's peekwell_plainwindow).
# Polls every 2 ms with `xdotool search --onlyvisible` and `grep`, which adds a few ms.
# Prints medians of RUNS runs (ms) and the ratios.
#   bench/coldstart.sh [PEEKWELL] [RUNS] [PLAINWINDOW]
set -euo pipefail
peekwell=$(realpath "${1:-build/release/peekwell}")
runs=${2:-11}
plain=${3:+$(realpath "$3")}
work=$(mktemp -d)
display=:$((150 + RANDOM % 40))
Xvfb "$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
tray=""
wm=""
bus=""
launcher=""
cleanup() {
  for pid in $tray $launcher $bus $wm $xvfb; do kill "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
export DISPLAY=$display
for _ in $(seq 100); do xprop -root >/dev/null 2>&1 && break; sleep 0.05; done
openbox >/dev/null 2>&1 &
wm=$!

# A session bus and the accessibility bus with accessibility on, as a desktop session has.
mkdir -p "$work/run"
chmod 700 "$work/run"
export XDG_RUNTIME_DIR=$work/run XDG_SESSION_TYPE=x11 GSETTINGS_BACKEND=memory LANG=C.UTF-8
unset AT_SPI_BUS_ADDRESS NO_AT_BRIDGE QT_QPA_PLATFORM WAYLAND_DISPLAY XDG_CONFIG_HOME \
  XDG_DATA_HOME XDG_STATE_HOME
read -r DBUS_SESSION_BUS_ADDRESS bus < <(dbus-daemon --session --fork --print-address=1 \
  --print-pid=1 | tr '\n' ' '; echo)
export DBUS_SESSION_BUS_ADDRESS
/usr/libexec/at-spi-bus-launcher --launch-immediately --a11y=1 >/dev/null 2>&1 &
launcher=$!
for _ in $(seq 200); do
  dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus \
    org.freedesktop.DBus.Properties.Get string:org.a11y.Status string:IsEnabled 2>/dev/null |
    grep -q 'boolean true' && break
  sleep 0.05
done
sleep 1

now() { date +%s%N; }
visible() { xdotool search --onlyvisible "$@" >/dev/null 2>&1; }

# One fresh start of a program (the rest of the line) with home $1; prints the milliseconds
# until each condition of $conditions (tests run in turn, each once true) held, in order.
# Conditions: "status" (status.json says listening), or arguments for `xdotool search`.
measure() {
  local home="$work/home-$1"
  shift
  mkdir -p "$home/run"
  chmod 700 "$home/run"
  local status="$home/.local/state/peekwell/logs/status.json"
  local start
  start=$(now)
  HOME=$home XDG_RUNTIME_DIR=$home/run "$@" >/dev/null 2>&1 &
  local app=$!
  local -a times=()
  local -a done_=()
  local pending=${#conditions[@]}
  local deadline=$(($(date +%s) + 30))
  while [ "$pending" -gt 0 ] && [ "$(date +%s)" -lt "$deadline" ]; do
    for i in "${!conditions[@]}"; do
      [ -n "${done_[$i]:-}" ] && continue
      local held=false
      if [ "${conditions[$i]}" = status ]; then
        grep -qs '"tapInstalled": true' "$status" && held=true
      else
        # shellcheck disable=SC2086
        visible ${conditions[$i]} && held=true
      fi
      if $held; then
        times[i]=$((($(now) - start) / 1000000))
        done_[i]=1
        pending=$((pending - 1))
      fi
    done
    sleep 0.002
  done
  kill "$app" 2>/dev/null || true
  wait "$app" 2>/dev/null || true
  echo "${times[*]}"
}

median() { sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }

: >"$work/listening"
: >"$work/menu"
: >"$work/mousepad"
: >"$work/plain"
: >"$work/icon"
for i in $(seq "$runs"); do
  conditions=(status "--name ^Peekwell.menu$")
  read -r listening menu < <(measure "menu-$i" "$peekwell")
  echo "$listening" >>"$work/listening"
  echo "$menu" >>"$work/menu"
  conditions=("--class ^mousepad$")
  measure "mousepad-$i" mousepad >>"$work/mousepad"
  if [ -n "$plain" ]; then
    conditions=("--name ^Plain.window$")
    measure "plain-$i" "$plain" >>"$work/plain"
  fi
done
trayer --edge top --align right --widthtype request --height 24 >/dev/null 2>&1 &
tray=$!
sleep 1
for i in $(seq "$runs"); do
  conditions=("--class ^peekwell$")
  measure "tray-$i" "$peekwell" >>"$work/icon"
done

listening=$(median <"$work/listening")
menu=$(median <"$work/menu")
icon=$(median <"$work/icon")
mousepad=$(median <"$work/mousepad")
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
echo "medians over $runs runs; load average $(cut -d' ' -f1-3 /proc/loadavg)"
echo "cold start to \"Listening\" (accessibility bus on): ${listening} ms"
echo "cold start to the tray icon shown (trayer): ${icon} ms"
echo "cold start to the menu window shown (no tray): ${menu} ms"
echo "Mousepad to its first window: ${mousepad} ms"
echo "\"Listening\" / Mousepad: $(ratio "$listening" "$mousepad"); tray icon / Mousepad: $(ratio "$icon" "$mousepad")"
if [ -n "$plain" ]; then
  plainms=$(median <"$work/plain")
  echo "trivial Qt program to its first window: ${plainms} ms"
  echo "\"Listening\" / trivial Qt program: $(ratio "$listening" "$plainms")"
fi
