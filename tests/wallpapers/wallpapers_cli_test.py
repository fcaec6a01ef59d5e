#!/usr/bin/env python3
"""End to end on the real binary: a catalogue placed by the user names archives on a local HTTPS server (a
self-signed certificate trusted for this run only); `tamsinvale wallpapers` lists, downloads, installs and
chooses them, refuses a redirect to http, and edits the rotation through the defaults file."""
import base64
import hashlib
import json
import os
import plistlib
import shutil
import signal
import subprocess
import sys
import time
import tempfile
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)
        print("FAIL:", message, file=sys.stderr)


def main():
    binary = sys.argv[1]
    work = tempfile.mkdtemp(prefix="tamsinvale-wallpapers-")
    server = None
    try:
        server = run(binary, work)
    finally:
        if server:
            server.kill()
            server.wait()
        shutil.rmtree(work, ignore_errors=True)
    if failures:
        print(f"{len(failures)} failures", file=sys.stderr)
        sys.exit(1)
    print("wallpapers command line: list, download, install, use, rotation and the http redirect refusal hold")


def run(binary, work):
    served = os.path.join(work, "served")
    os.makedirs(served)
    # The certificate is trusted by the binary through the test-only variable, nowhere else.
    cert, key = os.path.join(work, "cert.pem"), os.path.join(work, "key.pem")
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=127.0.0.1",
                    "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost", "-keyout", key, "-out", cert],
                   check=True, capture_output=True)

    # A picture archive built like the platform's: AssetData/<picture>.heic, zipped.
    png = os.path.join(work, "picture.png")
    subprocess.run(["convert", "-size", "64x40", "gradient:navy-orange", png], check=True, capture_output=True)
    heic = os.path.join(work, "Big Sur.heic")
    subprocess.run(["heif-enc", "-q", "60", "-o", heic, png], check=True, capture_output=True)
    archive = os.path.join(served, "big-sur.zip")
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as z:
        z.write(heic, "AssetData/Big Sur.heic")
        z.writestr("Info.plist", plistlib.dumps({"DesktopPictureID": "Big Sur"}))
    digest = hashlib.sha1(open(archive, "rb").read()).digest()

    server = subprocess.Popen([sys.executable, os.path.join(HERE, "https_archive_server.py"), served, cert, key],
                              stdout=subprocess.PIPE, text=True)
    port = int(server.stdout.readline())
    base = f"https://127.0.0.1:{port}/"

    def asset(picture_id, relative, sha1=digest, algorithm="SHA-1"):
        return {"DesktopPictureID": picture_id, "__BaseURL": base, "__RelativePath": relative,
                "_MeasurementAlgorithm": algorithm, "_Measurement": sha1,
                "_DownloadSize": os.path.getsize(archive)}

    home = os.path.join(work, "home")
    data_home = os.path.join(home, ".local/share")
    os.makedirs(os.path.join(data_home, "Tamsinvale"))
    with open(os.path.join(data_home, "Tamsinvale/DesktopPictureCatalog.xml"), "wb") as f:
        plistlib.dump({"Assets": [
            asset("Big Sur", "big-sur.zip"),
            asset("Catalina", "redirect-to-https/big-sur.zip"),
            asset("Mojave", "redirect-to-http/big-sur.zip"),
            asset("Missing", "missing.zip"),
            asset("Tampered", "big-sur.zip", sha1=b"\0" * 20),
            asset("Stalled", "stall/big-sur.zip"),
        ]}, f)
    env = dict(os.environ, HOME=home, XDG_DATA_HOME=data_home, XDG_CONFIG_HOME=os.path.join(home, ".config"),
               XDG_DATA_DIRS=os.path.join(work, "no-system-pictures"), TMPDIR=os.path.join(work, "tmp"),
               TAMSINVALE_EXTRA_CA_CERTIFICATES=cert)
    os.makedirs(env["TMPDIR"])
    installed = os.path.join(data_home, "Tamsinvale/Wallpapers")
    defaults_file = os.path.join(home, ".config/tamsinvale/defaults.plist")

    def tamsinvale(*args):
        return subprocess.run([binary, "wallpapers", *args], env=env, capture_output=True, text=True, timeout=120)

    def listing():
        out = tamsinvale("list", "--json")
        check(out.returncode == 0, f"list --json exits {out.returncode}: {out.stderr}")
        return {w["id"]: w for w in json.loads(out.stdout)}

    def defaults():
        with open(defaults_file, "rb") as f:
            return plistlib.load(f)

    before = listing()
    check(sorted(before) == ["Big Sur", "Catalina", "Missing", "Mojave", "Stalled", "Tampered"], f"listed {sorted(before)}")
    check(not before["Big Sur"]["local"] and before["Big Sur"]["url"] == base + "big-sur.zip",
          f"Big Sur before download: {before['Big Sur']}")
    text = tamsinvale("list")
    check("↓" in text.stdout and base + "big-sur.zip" in text.stdout, f"list shows the address: {text.stdout}")

    out = tamsinvale("download", "Big Sur")
    check(out.returncode == 0, f"download exits {out.returncode}: {out.stderr}")
    picture = os.path.join(installed, "Big Sur.heic")
    check(os.path.isfile(picture) and open(picture, "rb").read() == open(heic, "rb").read(),
          "the installed picture is the archive's")
    after = listing()
    check(after["Big Sur"]["local"] and after["Big Sur"]["path"] == picture, f"Big Sur after: {after['Big Sur']}")
    text = tamsinvale("list")
    line = [l for l in text.stdout.splitlines() if l.startswith("Big Sur ")]
    check(line and " local " in line[0] and picture in line[0], f"list shows Big Sur local: {line}")

    # An https redirect is followed; a redirect to http is a failure and installs nothing.
    out = tamsinvale("download", "Catalina")
    check(out.returncode == 0 and os.path.isfile(os.path.join(installed, "Catalina.heic")),
          f"https redirect: {out.returncode} {out.stderr}")
    for picture_id, why in (("Mojave", ""), ("Missing", "HTTP error"), ("Tampered", "checksum")):
        out = tamsinvale("download", picture_id)
        check(out.returncode == 1 and f'downloading "{picture_id}" failed' in out.stderr and why in out.stderr,
              f"{picture_id}: {out.returncode} {out.stderr}")
        check(not any(n.startswith(picture_id) for n in os.listdir(installed)), f"{picture_id} installed nothing")
    check(sorted(defaults().get("tamsinvale.wallpaper.downloads.unfinished", [])) == ["Missing", "Mojave", "Tampered"],
          f"failed downloads are kept for the next start: {defaults().get('tamsinvale.wallpaper.downloads.unfinished')}")
    check(os.listdir(env["TMPDIR"]) == [], f"temporary files left: {os.listdir(env['TMPDIR'])}")

    # Ctrl-C while a download is under way (the server has sent half and waits): the command stops at once,
    # says so, and leaves no temporary file behind.
    stalled = subprocess.Popen([binary, "wallpapers", "download", "Stalled"], env=env, stderr=subprocess.PIPE,
                               stdout=subprocess.DEVNULL, text=True)
    def writing_into_tmp():
        # The download's file (unnamed until it is complete) is open in the temporary folder.
        fds = f"/proc/{stalled.pid}/fd"
        try:
            return any(os.readlink(os.path.join(fds, fd)).startswith(env["TMPDIR"]) for fd in os.listdir(fds))
        except OSError:
            return False
    deadline = time.monotonic() + 60
    while not writing_into_tmp() and time.monotonic() < deadline and stalled.poll() is None:
        time.sleep(0.05)  # polling the process's open files
    check(writing_into_tmp(), "the stalled download is writing into the temporary folder")
    stalled.send_signal(signal.SIGINT)
    try:
        _, stderr = stalled.communicate(timeout=20)
    except subprocess.TimeoutExpired:
        stalled.kill()
        check(False, "Ctrl-C did not stop the download")
    check(stalled.returncode == 130 and "interrupted" in stderr, f"Ctrl-C: {stalled.returncode} {stderr}")
    check(os.listdir(env["TMPDIR"]) == [], f"temporary files left after Ctrl-C: {os.listdir(env['TMPDIR'])}")
    check(not any(n.startswith("Stalled") for n in os.listdir(installed)), "the interrupted download installed nothing")

    # Choosing pictures: by id, by file, for one screen; a remote one is downloaded first.
    out = tamsinvale("use", "Big Sur")
    check(out.returncode == 0 and defaults().get("tamsinvale.settings.focus.image.bookmark") == picture.encode(),
          f"use Big Sur: {out.stderr}")
    shutil.rmtree(installed)
    out = tamsinvale("use", "Catalina", "--screen", "SCREEN-UUID-1")
    check(out.returncode == 0, f"use Catalina: {out.stderr}")
    per_screen = defaults().get("tamsinvale.settings.focus.image.perscreen.bookmarks", {})
    check(per_screen.get("SCREEN-UUID-1") == os.path.join(installed, "Catalina.heic").encode(),
          f"per-screen background: {per_screen}")
    check("tamsinvale.wallpaper.downloads.pendingSelection" not in defaults(), "the pending selection is consumed")
    # A choice whose download fails waits for the next start, until another picture is chosen.
    out = tamsinvale("use", "Mojave")
    check(out.returncode == 1 and "try again next time it starts" in out.stderr, f"use Mojave: {out.stderr}")
    check(defaults().get("tamsinvale.wallpaper.downloads.pendingSelection") == {"id": "Mojave"},
          f"pending: {defaults().get('tamsinvale.wallpaper.downloads.pendingSelection')}")
    out = tamsinvale("use", png)
    check("tamsinvale.wallpaper.downloads.pendingSelection" not in defaults(), "a new choice replaces the waiting one")
    check(out.returncode == 0 and defaults().get("tamsinvale.settings.focus.image.bookmark") == png.encode(),
          f"use a picture file: {out.stderr}")
    out = tamsinvale("use", archive)
    check(out.returncode == 1 and "not a picture" in out.stderr, f"use a zip file: {out.stderr}")
    out = tamsinvale("use", os.path.join(work, "nothing.jpg"))
    check(out.returncode == 1 and "cannot read" in out.stderr, f"missing file: {out.stderr}")

    # The rotation: two pictures in, one out, an interval.
    second = os.path.join(work, "second.jpg")
    subprocess.run(["convert", "-size", "8x8", "xc:teal", second], check=True)
    for args in (("rotation", "add", heic), ("rotation", "add", second), ("rotation", "add", second),
                 ("rotation", "remove", heic), ("rotation", "every", "3")):
        out = tamsinvale(*args)
        check(out.returncode == 0, f"{' '.join(args)} exits {out.returncode}: {out.stderr}")
    d = defaults()
    check(d.get("tamsinvale.settings.wallpaper.rotation.bookmarks") == [second.encode()],
          f"rotation set: {d.get('tamsinvale.settings.wallpaper.rotation.bookmarks')}")
    check(d.get("tamsinvale.settings.wallpaper.rotation.hours") == 3, "rotation every 3 hours")
    check("tamsinvale.settings.wallpaper.rotation.lastChange" in d, "the interval change is dated")
    out = tamsinvale("rotation", "every", "5")
    check(out.returncode == 2 and "0, 1, 3, 12 or 24" in out.stderr, f"every 5: {out.stderr}")
    out = tamsinvale("rotation")
    check("Every 3 hours" in out.stdout and second in out.stdout, f"rotation shows: {out.stdout}")
    return server


if __name__ == "__main__":
    main()
