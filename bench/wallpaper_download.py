#!/usr/bin/env python3
"""Budget of a wallpaper download: `tamsinvale wallpapers download` of a 200 MB archive from a local HTTPS
server must keep resident memory growth under 30 MB and run at 100 MB/s or more.

usage: bench/wallpaper_download.py TAMSINVALE_BINARY [MEGABYTES] [--log]

--log prints the download's log with timestamps (where the time goes).

Memory growth is the download's peak resident set less that of `wallpapers list` (the same program, catalogue
and start-up, no download). The rate is the archive's size over the transfer (until the install starts); the
whole command (SHA-1, unpacking, install) is printed beside it."""
import hashlib
import os
import plistlib
import shutil
import subprocess
import sys
import tempfile
import time
import zipfile

HERE = os.path.dirname(os.path.abspath(__file__))
SERVER = os.path.join(HERE, "..", "tests", "wallpapers", "https_archive_server.py")


def run_measured(argv, env, show_log=False):
    """Runs a child; returns (seconds, peak resident kilobytes, its log)."""
    log = tempfile.TemporaryFile()
    start = time.monotonic()
    child = subprocess.Popen(argv, env=env, stdout=subprocess.DEVNULL, stderr=log)
    _, status, usage = os.wait4(child.pid, 0)
    seconds = time.monotonic() - start
    child.returncode = os.waitstatus_to_exitcode(status)
    log.seek(0)
    if child.returncode != 0:
        sys.exit(f"{' '.join(argv)} failed ({child.returncode}): {log.read().decode()}")
    text = log.read().decode()
    if show_log:
        print(text, end="")
        print(f"cpu: user {usage.ru_utime:.2f} s, system {usage.ru_stime:.2f} s")
    return seconds, usage.ru_maxrss, text


def main():
    args = [a for a in sys.argv[1:] if a != "--log"]
    show_log = "--log" in sys.argv
    binary = args[0]
    megabytes = int(args[1]) if len(args) > 1 else 200
    work = tempfile.mkdtemp(prefix="tamsinvale-bench-download-")
    server = None
    try:
        served = os.path.join(work, "served")
        os.makedirs(served)
        cert, key = os.path.join(work, "cert.pem"), os.path.join(work, "key.pem")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1",
                        "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                        "-keyout", key, "-out", cert], check=True, capture_output=True)
        archive = os.path.join(served, "big.zip")
        block = os.urandom(1 << 20)
        sha1 = hashlib.sha1()
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_STORED) as z:
            with z.open("AssetData/Big.heic", "w", force_zip64=True) as f:
                for i in range(megabytes):
                    f.write(block[i % 7:] + block[:i % 7])
        with open(archive, "rb") as f:
            while chunk := f.read(1 << 20):
                sha1.update(chunk)
        size = os.path.getsize(archive)

        server = subprocess.Popen([sys.executable, SERVER, served, cert, key], stdout=subprocess.PIPE, text=True)
        port = int(server.stdout.readline())
        data_home = os.path.join(work, "home/.local/share")
        os.makedirs(os.path.join(data_home, "Tamsinvale"))
        with open(os.path.join(data_home, "Tamsinvale/DesktopPictureCatalog.xml"), "wb") as f:
            plistlib.dump({"Assets": [{"DesktopPictureID": "Big", "__BaseURL": f"https://127.0.0.1:{port}/",
                                       "__RelativePath": "big.zip", "_MeasurementAlgorithm": "SHA-1",
                                       "_Measurement": sha1.digest(), "_DownloadSize": size}]}, f)
        env = dict(os.environ, HOME=os.path.join(work, "home"), XDG_DATA_HOME=data_home,
                   XDG_CONFIG_HOME=os.path.join(work, "home/.config"), XDG_DATA_DIRS=os.path.join(work, "none"),
                   TAMSINVALE_EXTRA_CA_CERTIFICATES=cert, TMPDIR=os.path.join(work, "tmp"))
        os.makedirs(env["TMPDIR"])

        _, baseline_kb, _ = run_measured([binary, "wallpapers", "list"], env)
        # From the line that starts the download to the one that starts the install: the transfer.
        env.update(QT_LOGGING_RULES="tamsinvale.wallpapers=true",
                   QT_MESSAGE_PATTERN="%{time process} %{category}: %{message}")
        seconds, peak_kb, log = run_measured([binary, "wallpapers", "download", "Big"], env, show_log)
        at = {kind: float(l.split()[0]) for l in log.splitlines()
              for kind in ("downloading wallpaper", "installing wallpaper") if kind in l}
        transfer = [at["installing wallpaper"] - at["downloading wallpaper"]]
        installed = os.path.join(data_home, "Tamsinvale/Wallpapers/Big.heic")
        if not os.path.isfile(installed):
            sys.exit("the picture was not installed")
        growth_mb = (peak_kb - baseline_kb) / 1024
        rate = size / transfer[0] / 1e6
        print(f"archive {size / 1e6:.1f} MB downloaded in {transfer[0]:.2f} s: {rate:.0f} MB/s (budget >= 100 MB/s); "
              f"with SHA-1, unpacking and install {seconds:.2f} s ({size / seconds / 1e6:.0f} MB/s)")
        print(f"peak resident: list {baseline_kb / 1024:.1f} MiB, download {peak_kb / 1024:.1f} MiB, "
              f"growth {growth_mb:.1f} MiB (budget < 30 MB)")
        ok = growth_mb < 30 and rate >= 100
        print("within budget" if ok else "OVER BUDGET")
        sys.exit(0 if ok else 1)
    finally:
        if server:
            server.kill()
            server.wait()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    main()
