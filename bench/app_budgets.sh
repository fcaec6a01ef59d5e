#!/usr/bin/env bash
# Budgets of the running application on a virtual X desktop: process start → hotkeys registered (median of
# several starts), idle CPU over 60 s, and resident memory after start.
# usage: bench/app_budgets.sh [PATH_TO_TAMSINVALE] [STARTS] [IDLE_SECONDS]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bin=${1:-$root/build/release/src/tamsinvale}
starts=${2:-15}
idle=${3:-60}
work=$(mktemp -d)
source "$root/scripts/lib/virtual-desktop.sh"
vd_start "$work/logs"
export XDG_CONFIG_HOME=$work/config

bus_has_tamsinvale() {
    dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.NameHasOwner string:org.tamsinvale.Tamsinvale 2>/dev/null | grep -q 'boolean true'
}

times=()
for i in $(seq "$starts"); do
    "$bin" >"$work/start-$i.log" 2>&1 &
    pid=$!
    vd_wait_for 20 grep -q 'started:' "$work/start-$i.log"
    times+=("$(sed -n 's/.*registered \([0-9]*\) ms after process start.*/\1/p' "$work/start-$i.log")")
    if [ "$i" -lt "$starts" ]; then
        kill "$pid"; wait "$pid" 2>/dev/null || true
        vd_wait_for 10 sh -c '! dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus.NameHasOwner string:org.tamsinvale.Tamsinvale | grep -q "boolean true"'
    fi
done
sorted=$(printf '%s\n' "${times[@]}" | sort -n)
median=$(echo "$sorted" | awk '{a[NR]=$1} END {print (NR%2 ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2)}')
echo "process start → hotkeys registered: median ${median} ms over ${starts} starts (all: $(echo $sorted | tr '\n' ' '))"

rss=$(awk '/VmRSS/ {print $2}' "/proc/$pid/status")
echo "resident memory after start: $((rss / 1024)) MB (${rss} kB)"

ticks=$(getconf CLK_TCK)
cpu() { awk '{print $14 + $15}' "/proc/$pid/stat"; }
before=$(cpu)
sleep "$idle"   # the measurement itself: the process is left alone for this long
after=$(cpu)
awk -v b="$before" -v a="$after" -v t="$ticks" -v s="$idle" \
    'BEGIN {printf "idle CPU over %d s: %.3f %% (%d ticks of 1/%d s)\n", s, 100 * (a - b) / t / s, a - b, t}'
kill "$pid"; wait "$pid" 2>/dev/null || true
rm -rf "$work"
