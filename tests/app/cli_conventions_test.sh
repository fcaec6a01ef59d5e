#!/usr/bin/env bash
# The command line as people type it: --help and --version answer on stdout with status 0, every command
# listed by --help has its own --help, and wrong usage exits 2 with a usage line on stderr and nothing on stdout.
set -uo pipefail
bin=${1:?usage: cli_conventions_test.sh TAMSINVALE_BINARY VERSION}
version=${2:?}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config XDG_DATA_HOME=$work/home/.local/share
unset DISPLAY WAYLAND_DISPLAY
mkdir -p "$HOME"
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

# run ARGS…: sets $status, $out and $err
run() {
    "$bin" "$@" >"$work/out" 2>"$work/err"
    status=$?
    out=$(cat "$work/out")
    err=$(cat "$work/err")
}

for help in --help -h; do
    run $help
    [ "$status" -eq 0 ] || fail "$help exits $status"
    [[ "${out,,}" == usage:* ]] || fail "$help does not start with a usage line: ${out:0:80}"
    [ -z "$err" ] || fail "$help writes to stderr: $err"
done
run --version
[ "$status" -eq 0 ] || fail "--version exits $status"
[ "$out" = "tamsinvale $version" ] || fail "--version prints \"$out\", not \"tamsinvale $version\""
[ -z "$err" ] || fail "--version writes to stderr: $err"
run --verbose --version
[ "$status" -eq 0 ] && [ "$out" = "tamsinvale $version" ] || fail "--verbose --version: $status \"$out\""

expect_usage_error() {  # DESCRIPTION ARGS…
    local what=$1
    shift
    run "$@"
    [ "$status" -eq 2 ] || fail "$what: exits $status, not 2"
    [ -z "$out" ] || fail "$what: writes to stdout: ${out:0:80}"
    grep -qi 'usage:' <<<"$err" || fail "$what: no usage line on stderr: ${err:0:120}"
}
expect_usage_error "an unknown option" --frobnicate
expect_usage_error "an unknown short option" -x
expect_usage_error "an unknown option after --verbose" --verbose --frobnicate
expect_usage_error "an unknown command" frobnicate
expect_usage_error "a command after an option" --verbose settings
grep -q -- '--frobnicate' <<<"$(run --frobnicate; echo "$err")" || fail "the error does not name the unknown option"

# Every command --help lists: its own help on stdout, status 0; an unknown option is a usage error.
mapfile -t commands < <("$bin" --help | awk '/^Commands:/ { on = 1; next } on && /^$/ { exit } on && /^  [a-z]/ { print $1 }')
[ ${#commands[@]} -ge 6 ] || fail "--help lists only ${#commands[@]} commands: ${commands[*]}"
for command in "${commands[@]}"; do
    run "$command" --help
    [ "$status" -eq 0 ] || fail "$command --help exits $status: $err"
    grep -q "tamsinvale $command" <<<"$out" || fail "$command --help does not show its usage: ${out:0:120}"
    [ -z "$err" ] || fail "$command --help writes to stderr: ${err:0:120}"
    expect_usage_error "$command with an unknown option" "$command" --frobnicate
done
for command in ctl settings debug completion; do
    expect_usage_error "$command with nothing after it" "$command"
done

[ "$failures" -eq 0 ] || { echo "$failures failures" >&2; exit 1; }
echo "command-line conventions hold for: ${commands[*]}"
