#!/usr/bin/env bash
# The completion scripts the program writes, run in the real shells: what a Tab offers after each kind of word.
set -uo pipefail
bin=${1:?usage: completion_test.sh TAMSINVALE_BINARY}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

"$bin" completion bash > "$work/bash" || fail "completion bash exits $?"
"$bin" completion zsh > "$work/zsh" || fail "completion zsh exits $?"
mkdir -p "$work/files" && touch "$work/files/backup.json" "$work/files/board.py"

# bash: complete LINE (the word under the cursor is the last one, possibly empty) → the offers, one a line.
bash_offers() {
    bash --norc --noprofile -c '
        source "$1"; shift
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
        _tamsinvale
        printf "%s\n" "${COMPREPLY[@]}"' bash "$work/bash" "$@"
}
expect_bash() {  # EXPECTED-OFFERS (space separated, sorted) -- WORDS…
    local expected=$1
    shift 2
    local got
    got=$(cd "$work/files" && bash_offers "$@" | sort | xargs)
    [ "$got" = "$expected" ] || fail "bash: \"$*\" offers \"$got\", not \"$expected\""
}
expect_bash "ctl" -- tamsinvale ct
expect_bash "--help --verbose --version" -- tamsinvale --
expect_bash "--verbose --version" -- tamsinvale --ver
expect_bash "launch-at-login" -- tamsinvale ctl la
expect_bash "off on" -- tamsinvale ctl launch-at-login ""
expect_bash "snap-left snap-right" -- tamsinvale ctl snap
expect_bash "dimMenuBarEnabled dimMenuBarOpacity" -- tamsinvale settings get dimMenuBar
expect_bash "quickDimAppID quickDimHotKey" -- tamsinvale settings reset quickDim
expect_bash "backup.json board.py" -- tamsinvale settings import ""
expect_bash "board.py" -- tamsinvale shortcuts add bo
expect_bash "--json" -- tamsinvale debug windows ""
expect_bash "" -- tamsinvale settings set dimMenuBarOpacity ""
expect_bash "bash" -- tamsinvale completion b

# The words completed after each command are the ones its own --help documents (a renamed or dropped
# subcommand must leave the table too).
while IFS= read -r line; do
    command=${line%%)*}
    words=${line#*words=\"}
    words=${words%%\"*}
    help=$("$bin" "$command" --help 2>&1)
    for word in $words; do
        grep -qw -- "$word" <<<"$help" || fail "\"$command $word\" is completed but not in \`tamsinvale $command --help\`"
    done
done < <(sed -n '/COMP_CWORD -eq 2/,/esac/s/^ *\([a-z-]*\)) words=/\1) words=/p' "$work/bash")

# zsh: the function with the completion system's builtins stubbed, to see what it hands them.
zsh_offers() {  # CURRENT WORDS…
    zsh -f -c '
        compadd() { shift; print -l -- "$@" }      # drops the "--"
        _describe() { local name=${@[-1]}; print -l -- ${${(P)name}%%:*} }   # the names of NAME:summary
        _files() { print -- "<files>" }
        source "$1"; shift
        CURRENT=$1; shift
        words=("$@")
        _tamsinvale' zsh "$work/zsh" "$@"
}
expect_zsh() {  # EXPECTED-SUBSTRING CURRENT WORDS…
    local expected=$1
    shift
    local got
    got=$(zsh_offers "$@" 2>&1 | xargs)
    [[ " $got " == *" $expected "* ]] || fail "zsh: \"${*:2}\" at $1 offers \"$got\", without \"$expected\""
}
expect_zsh "settings" 2 tamsinvale ""
expect_zsh "--version" 2 tamsinvale ""
expect_zsh "close-inactive-apps" 3 tamsinvale ctl ""
expect_zsh "on off" 4 tamsinvale ctl launch-at-login ""
expect_zsh "inactiveThresholdHours" 4 tamsinvale settings set ""
expect_zsh "<files>" 4 tamsinvale settings export ""
expect_zsh "remove-orphan" 3 tamsinvale shortcuts ""

[ "$failures" -eq 0 ] || { echo "$failures failures" >&2; exit 1; }
echo "bash and zsh completion offer what they should"
