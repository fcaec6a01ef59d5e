#!/usr/bin/env python3
"""Budget of a wallpaper download: `tamsinvale wallpapers download` of a 200 MB archive from a local HTTPS
server must keep resident memory growth under 30 MB and run at 100 MB/s or more.

usage: bench/wallpaper_download.py TAMSINVALE_BINARY [MEGABYTES]

Memory growth is the download's peak resident set less that of `wallpapers list` (the same program, catalogue
and start-up, no download). The rate is the archive's size over the whole command: download, SHA-1, unpack
and install."""
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


def run_measured(argv, env):
    """Runs a child; returns (seconds, peak resident kilobytes, exit status)."""
    start = time.monotonic()
    child = subprocess.Popen(argv, env=env, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    _, status, usage = os.wait4(child.pid, 0)
    seconds = time.monotonic() - start
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        sys.exit(f"{' '.join(argv)} failed ({child.returncode}): {child.stderr.read().decode()}")
    return seconds, usage.ru_maxrss, child.returncode


def main():
    binary = sys.argv[1]
    megabytes = int(sys.argv[2]) if len(sys.argv) > 2 else 200
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
        seconds, peak_kb, _ = run_measured([binary, "wallpapers", "download", "Big"], env)
        installed = os.path.join(data_home, "Tamsinvale/Wallpapers/Big.heic")
        if not os.path.isfile(installed):
            sys.exit("the picture was not installed")
        growth_mb = (peak_kb - baseline_kb) / 1024
        rate = size / seconds / 1e6
        print(f"archive {size / 1e6:.1f} MB in {seconds:.2f} s: {rate:.0f} MB/s (budget >= 100 MB/s)")
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
