# Shell functions that start a throw-away X desktop: Xvfb, a D-Bus session bus, Openbox, a tray and apps.
# Source this file; call vd_start, then vd_stop (also installed as an EXIT trap by vd_start).

vd_pids=()

# Polls a command until it succeeds or `seconds` pass (X and D-Bus announce readiness to nobody we can wait on).
vd_wait_for() {
    local seconds=$1; shift
    local deadline=$((SECONDS + seconds))
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -ge $deadline ] && return 1
        sleep 0.05
    done
}

vd_stop() {
    local pid
    # The forked bus daemon is not our child, so waiting for it fails; under `set -e` that must not count.
    for pid in "${vd_pids[@]}"; do kill "$pid" 2>/dev/null || true; done
    for pid in "${vd_pids[@]}"; do wait "$pid" 2>/dev/null || true; done
    vd_pids=()
    return 0
}

# Starts everything and exports DISPLAY and DBUS_SESSION_BUS_ADDRESS. $1: a folder for logs.
# A second attempt covers the rare server that loses its display number to another one starting at once.
vd_start() {
    vd_start_once "$@" && return 0
    echo "virtual desktop: retrying once" >&2
    vd_stop
    vd_start_once "$@"
}

vd_start_once() {
    local logs=$1
    mkdir -p "$logs"
    trap vd_stop EXIT
    local fifo
    fifo=$(mktemp -u)
    mkfifo "$fifo"
    # Xvfb picks a free display itself and writes its number to the pipe once it accepts connections.
    Xvfb -displayfd 3 -screen 0 1600x1000x24 +extension RANDR -nolisten tcp 3>"$fifo" >"$logs/xvfb.log" 2>&1 &
    vd_pids+=($!)
    local number
    read -r -t 15 number <"$fifo" || { echo "Xvfb did not start (see $logs/xvfb.log)" >&2; rm -f "$fifo"; return 1; }
    rm -f "$fifo"
    export DISPLAY=":$number"
    vd_wait_for 10 xdpyinfo || { echo "Xvfb on $DISPLAY does not answer (see $logs/xvfb.log)" >&2; return 1; }

    local address
    address=$(dbus-daemon --session --fork --print-address=1 --print-pid=1 | head -n 2 | tr '\n' ' ')
    export DBUS_SESSION_BUS_ADDRESS=${address%% *}
    vd_pids+=("$(echo "$address" | awk '{print $2}')")

    openbox --sm-disable >"$logs/openbox.log" 2>&1 &
    vd_pids+=($!)
    vd_wait_for 15 sh -c 'xprop -root _NET_SUPPORTING_WM_CHECK | grep -q "window id"' \
        || { echo "Openbox did not start (see $logs/openbox.log)" >&2; return 1; }

    trayer --edge top --align right --widthtype request --height 28 --SetDockType true --transparent false \
        --tint 0x30343a >"$logs/trayer.log" 2>&1 &
    vd_pids+=($!)
    vd_wait_for 10 xdotool search --class trayer || echo "warning: no tray host came up" >&2
}

# Starts a program on the virtual desktop and remembers it for vd_stop.
vd_spawn() {
    local log=$1; shift
    "$@" >"$log" 2>&1 &
    vd_pids+=($!)
}
