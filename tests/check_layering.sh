#!/usr/bin/env bash
# Fails when a file outside src/platform/ includes a window-system header (xcb, X11, AppKit and friends).
# The real-X tests, the soak and the latency harnesses (tests/x11*/, tests/soak/, bench/x11*/) are exempt: they play the
# other programs.
set -u
root=${1:?usage: check_layering.sh SOURCE_ROOT}
pattern='^[[:space:]]*#[[:space:]]*(include|import)[[:space:]]*[<"](xcb/|X11/|AppKit/|Foundation/|ApplicationServices/|CoreGraphics/|Carbon/|Cocoa/)'
hits=$(grep -rEn --include='*.h' --include='*.hpp' --include='*.cpp' --include='*.cc' --include='*.mm' --include='*.m' \
    "$pattern" "$root/src" "$root/tests" "$root/bench" 2>/dev/null \
    | grep -v "^$root/src/platform/" | grep -vE "^$root/((tests|bench)/x11[a-z]*|tests/soak)/")
if [ -n "$hits" ]; then
    echo "window-system headers included outside src/platform/ (the logic must go through the platform interfaces):"
    echo "$hits"
    exit 1
fi
echo "layering ok: no window-system headers outside src/platform/"
