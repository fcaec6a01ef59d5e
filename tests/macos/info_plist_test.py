#!/usr/bin/env python3
"""The bundle's Info.plist template, filled as packaging/MacBundle.cmake fills it (with and without the updater's
keys): a well-formed property list with what an agent app on macOS 13 needs."""
import plistlib
import sys

template_path, version = sys.argv[1], sys.argv[2]
template = open(template_path, encoding="utf-8").read()
sparkle_keys = ("\t<key>SUFeedURL</key>\n\t<string>https://updates.example/appcast.xml</string>\n"
                "\t<key>SUPublicEDKey</key>\n\t<string>a2V5</string>\n"
                "\t<key>SUEnableAutomaticChecks</key>\n\t<true/>\n")
failures = []
for keys in ("", sparkle_keys):
    text = (template.replace("@TAMSINVALE_BUNDLE_EXECUTABLE@", "Tamsinvale")
            .replace("@PROJECT_VERSION@", version)
            .replace("@TAMSINVALE_SPARKLE_PLIST_KEYS@", keys))
    if "@" in text.replace("http://www.apple.com", ""):
        failures.append("a placeholder is left unfilled")
    try:
        info = plistlib.loads(text.encode("utf-8"))
    except Exception as error:  # malformed XML is exactly what this test is for
        failures.append(f"not a property list: {error}")
        continue
    expected = {
        "CFBundleIdentifier": "org.tamsinvale.Tamsinvale",
        "CFBundleExecutable": "Tamsinvale",
        "CFBundlePackageType": "APPL",
        "CFBundleIconFile": "Tamsinvale",
        "CFBundleShortVersionString": version,
        "CFBundleVersion": version,
        "LSMinimumSystemVersion": "13.0",
        "LSUIElement": True,
    }
    for key, value in expected.items():
        if info.get(key) != value:
            failures.append(f"{key} is {info.get(key)!r}, expected {value!r}")
    for key in ("NSDesktopFolderUsageDescription", "NSDocumentsFolderUsageDescription",
                "NSDownloadsFolderUsageDescription"):
        if not str(info.get(key, "")).startswith("Tamsinvale "):
            failures.append(f"{key} is missing or does not say who asks")
    if keys and info.get("SUFeedURL") != "https://updates.example/appcast.xml":
        failures.append("the updater's feed did not reach the property list")
    if not keys and any(k.startswith("SU") for k in info):
        failures.append("updater keys without an updater")

if failures:
    print("\n".join(failures))
    sys.exit(1)
print("Info.plist template ok")
