#!/usr/bin/env bash
# `cmake --install` into a scratch prefix puts every file where the freedesktop conventions say, and the
# validators of each format accept them: desktop-file-validate, appstreamcli, man's own warnings. A validator
# that is not installed is reported and skipped; the layout is checked regardless.
set -uo pipefail
build=${1:?usage: install_test.sh BUILD_DIR PROJECT_VERSION}
version=${2:?}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
skipped=()
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }
have() { command -v "$1" >/dev/null 2>&1 || { skipped+=("$1"); return 1; }; }

prefix=$work/usr
cmake --install "$build" --prefix "$prefix" >"$work/install.log" 2>&1 || { cat "$work/install.log" >&2; fail "cmake --install failed"; }
id=org.tamsinvale.Tamsinvale
share=$prefix/share
for file in bin/tamsinvale share/applications/$id.desktop share/metainfo/$id.metainfo.xml \
    share/icons/hicolor/scalable/apps/$id.svg share/icons/hicolor/symbolic/apps/$id-symbolic.svg \
    share/bash-completion/completions/tamsinvale share/zsh/vendor-completions/_tamsinvale \
    share/doc/tamsinvale/copyright share/doc/tamsinvale/changelog.gz; do
    [ -s "$prefix/$file" ] || fail "$file is not installed"
done
[ -x "$prefix/bin/tamsinvale" ] || fail "bin/tamsinvale is not executable"

# Icons: each PNG size in its own folder, with exactly that size.
if have rsvg-convert; then
    for size in 16 22 24 32 48 64 128 256; do
        png=$share/icons/hicolor/${size}x${size}/apps/$id.png
        if [ ! -s "$png" ]; then
            fail "the ${size} px icon is not installed"
            continue
        fi
        # PNG: the width and height are the big-endian words at bytes 16 and 20.
        dims=$(od -An -tu1 -j16 -N8 "$png" | awk '{ printf "%d %d", $1*16777216+$2*65536+$3*256+$4, $5*16777216+$6*65536+$7*256+$8 }')
        [ "$dims" = "$size $size" ] || fail "the ${size} px icon is $dims"
    done
fi

if have desktop-file-validate; then
    desktop-file-validate "$share/applications/$id.desktop" || fail "desktop-file-validate rejects the desktop entry"
fi
if have appstreamcli; then
    appstreamcli validate --no-net --pedantic "$share/metainfo/$id.metainfo.xml" >"$work/appstream.log" 2>&1 \
        || { cat "$work/appstream.log" >&2; fail "appstreamcli rejects the metainfo"; }
fi
# The newest release in the metainfo and the changelog is this version.
release=$(grep -o '<release version="[^"]*"' "$share/metainfo/$id.metainfo.xml" | head -1 | cut -d'"' -f2)
[ "$release" = "$version" ] || fail "the metainfo's newest release is \"$release\", the project is $version"
changelog=$(zcat "$share/doc/tamsinvale/changelog.gz" | head -1 | sed -n 's/^tamsinvale (\([^)]*\)).*/\1/p')
[ "$changelog" = "$version" ] || fail "the changelog's newest entry is \"$changelog\", the project is $version"

# The man page: present, compressed, free of roff warnings, and with a section for every command of --help.
man_page=$share/man/man1/tamsinvale.1.gz
if have help2man; then
    if [ ! -s "$man_page" ]; then
        fail "man1/tamsinvale.1.gz is not installed"
    else
        if have man; then
            LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$man_page" >"$work/man.txt" 2>"$work/man.err" \
                || fail "man cannot render the page"
            [ -s "$work/man.err" ] && { cat "$work/man.err" >&2; fail "man warns about the page"; }
        fi
        mapfile -t commands < <("$prefix/bin/tamsinvale" --help | awk '/^Commands:/ { on = 1; next } on && /^$/ { exit } on && /^  [a-z]/ { print $1 }')
        for command in "${commands[@]}"; do
            zcat "$man_page" | grep -q "^\.SS \"tamsinvale $command\"" || fail "the man page has no section for \"$command\""
        done
        zcat "$man_page" | grep -q "$version" || fail "the man page does not name version $version"
    fi
fi

# Completion: what was installed is what the installed program writes now.
cmp -s <("$prefix/bin/tamsinvale" completion bash) "$share/bash-completion/completions/tamsinvale" \
    || fail "the installed bash completion differs from \`tamsinvale completion bash\`"
cmp -s <("$prefix/bin/tamsinvale" completion zsh) "$share/zsh/vendor-completions/_tamsinvale" \
    || fail "the installed zsh completion differs from \`tamsinvale completion zsh\`"

[ ${#skipped[@]} -eq 0 ] || echo "not installed, so not checked: ${skipped[*]}" >&2
[ "$failures" -eq 0 ] || { echo "$failures failures" >&2; exit 1; }
echo "installed layout and validators: all good ($(cd "$prefix" && find . -type f | wc -l) files)"
