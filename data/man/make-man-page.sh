#!/usr/bin/env bash
# Writes tamsinvale(1) with help2man: the program's `--help`, then a COMMANDS section made of each command's
# own `--help` (the commands as `--help` lists them), then the hand-written sections of the .h2m file.
set -euo pipefail
binary=${1:?usage: make-man-page.sh TAMSINVALE-BINARY H2M-FILE OUTPUT}
sections=${2:?} output=${3:?}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Asking for help reads no one's settings and writes nothing: give the program an empty home.
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_DATA_HOME=$work/home/.local/share
unset DISPLAY WAYLAND_DISPLAY
export ASAN_OPTIONS=detect_leaks=0  # a sanitizer build's leak report would fail the build
mkdir -p "$HOME"

mapfile -t commands < <("$binary" --help | awk '/^Commands:/ { on = 1; next } on && /^$/ { exit } on && /^  [a-z]/ { print $1 }')
if [ ${#commands[@]} -eq 0 ]; then
    echo "make-man-page.sh: \`$binary --help\` lists no commands" >&2
    exit 1
fi

# Roff: backslashes escaped, a leading dot or quote made literal, hyphens kept as minus signs.
roff() { sed -e 's/\\/\\e/g' -e 's/-/\\-/g' -e "s/^\\([.']\\)/\\\\\\&\\1/"; }
{
    echo '[COMMANDS]'
    for command in "${commands[@]}"; do
        echo ".SS \"tamsinvale $command\""
        echo '.nf'
        "$binary" "$command" --help | roff
        echo '.fi'
    done
    cat "$sections"
} > "$work/include.h2m"

help2man --no-info --section=1 --manual="User Commands" \
    --include="$work/include.h2m" --output="$output" "$binary"
