#!/usr/bin/env bash
# End to end on the real binary: a seeded defaults file with odd and retired values exports exactly the
# documented result, the retired keys leave the file, and a bad import changes nothing.
set -euo pipefail
bin=${1:?usage: settings_cli_test.sh TAMSINVALE_BINARY}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config"
plist="$XDG_CONFIG_HOME/tamsinvale/defaults.plist"
fail() { echo "FAIL: $*" >&2; exit 1; }

# An empty configuration exports the defaults.
"$bin" settings export > "$work/empty.json"
cat > "$work/defaults.json" <<'JSON'
{
  "dimMenuBarEnabled": true,
  "dimMenuBarOpacity": 0.4,
  "focusDimEnabled": true,
  "focusDimWallpaperDarkening": 0.1,
  "focusDimBackgroundImageBookmark": null,
  "focusDimPerScreenImageBookmarks": {},
  "wallpaperHistoryBookmarks": [],
  "wallpaperRotationBookmarks": [],
  "wallpaperRotationHours": 0,
  "focusDimExcludedApps": [],
  "focusDimOtherScreensFully": false,
  "focusDimBlackBackground": false,
  "quickDimAppID": null,
  "inactiveAppsExcluded": [],
  "inactiveThresholdHours": 48,
  "sleepOnLidCloseEnabled": true,
  "menuBarIconStyle": "windows",
  "appSwitcherHotKey": null,
  "windowsSwitcherHotKey": null,
  "quickDimHotKey": null,
  "clearInactiveScreensHotKey": null,
  "windowSizePresets": [{"height":"full","id":"6B1A2F3C-0000-4000-8000-A11F00000001","name":"Full","width":"full"}],
  "moveToNextScreenHotKey": null,
  "insertDateHotKey": null,
  "snapLeftHotKey": null,
  "snapRightHotKey": null
}
JSON
diff -u "$work/defaults.json" "$work/empty.json" || fail "empty configuration does not export the defaults"

# A file seeded the way older versions and careless hands leave it.
mkdir -p "$(dirname "$plist")"
b64() { printf '%s' "$1" | base64 -w0; }
cat > "$plist" <<PLIST
<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>tamsinvale.settings.dim.opacity</key><string>0.7</string>
	<key>tamsinvale.settings.menubar.iconStyle</key><string>Line</string>
	<key>tamsinvale.settings.hotkey.app</key><data>$(b64 '{"keyCode":49}')</data>
	<key>tamsinvale.settings.hotkey.snapleft</key><data>$(b64 '{"keyCode":0,"modifiers":6144}')</data>
	<key>tamsinvale.settings.window.sizes</key><data>$(b64 '[{"id":"6B1A2F3C-0000-4000-8000-A11F00000002","name":"Wide","spec":"1440x900"}]')</data>
	<key>tamsinvale.settings.focus.excluded.apps</key><array><string>org.b</string><string>org.a</string></array>
	<key>tamsinvale.settings.dim.color</key><string>black</string>
	<key>tamsinvale.settings.focus.opacity</key><real>0.5</real>
	<key>tamsinvale.settings.focus.color</key><string>gray</string>
	<key>tamsinvale.settings.hotkey.dockfocus</key><data>$(b64 '{"keyCode":2,"modifiers":256}')</data>
</dict>
</plist>
PLIST
"$bin" settings export > "$work/seeded.json"
sed -e 's/"snapLeftHotKey": null/"snapLeftHotKey": {"keyCode":0,"modifiers":6144}/' \
    -e 's/"focusDimExcludedApps": \[\]/"focusDimExcludedApps": ["org.a","org.b"]/' \
    -e 's/"windowSizePresets": .*/"windowSizePresets": [{"height":"900","id":"6B1A2F3C-0000-4000-8000-A11F00000002","name":"Wide","width":"1440"}],/' \
    "$work/defaults.json" > "$work/seeded.expected"
diff -u "$work/seeded.expected" "$work/seeded.json" || fail "seeded file does not export as expected"
for key in tamsinvale.settings.dim.color tamsinvale.settings.focus.opacity tamsinvale.settings.focus.color \
           tamsinvale.settings.hotkey.dockfocus; do
    grep -q "<key>$key</key>" "$plist" && fail "retired key $key is still in the file"
done
# Export only tidied the file: the odd values stay until a setting is saved.
grep -q '<string>Line</string>' "$plist" || fail "export rewrote a setting it should have left alone"

# A bad import names the property and the reason, exits non-zero and changes nothing.
cp "$plist" "$work/before.plist"
echo '{"dimMenuBarOpacity": "high", "snapRightHotKey": {"keyCode": 124}}' > "$work/bad.json"
if "$bin" settings import "$work/bad.json" 2> "$work/bad.err"; then fail "bad import succeeded"; fi
grep -q 'dimMenuBarOpacity: expected a number' "$work/bad.err" || fail "no reason for dimMenuBarOpacity"
grep -q 'snapRightHotKey: expected' "$work/bad.err" || fail "no reason for snapRightHotKey"
cmp -s "$plist" "$work/before.plist" || fail "a failed import changed the settings file"

# A good import round-trips through export.
"$bin" settings export "$work/exported.json"
"$bin" settings reset
"$bin" settings import "$work/exported.json"
"$bin" settings export | diff -u "$work/exported.json" - || fail "import of an export is not the identity"

# A corrupt file is moved aside, never overwritten.
echo 'garbage' > "$plist"
"$bin" settings set dimMenuBarOpacity 0.5 2> "$work/corrupt.err"
ls "$XDG_CONFIG_HOME/tamsinvale/" | grep -q '^defaults.plist.corrupt-' || fail "corrupt file was not kept aside"
grep -q 'garbage' "$XDG_CONFIG_HOME"/tamsinvale/defaults.plist.corrupt-* || fail "corrupt file content lost"
[ "$("$bin" settings get dimMenuBarOpacity)" = "0.5" ] || fail "setting after a corrupt file did not stick"
echo "settings command line: all checks passed"
