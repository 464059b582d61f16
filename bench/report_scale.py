#!/usr/bin/python3
"""Measures the report of a long history: the store of a LINES-line trace (bench/make_trace.py,
2,100,000 lines is a year), then the time and peak memory of writing its HTML report, the page's
size and how long Chromium takes to open it and draw every chart, at desktop and phone widths.

    bench/report_scale.py [LINES] [--tallyd build/bin/tallyd] [--dir /tmp/tallyd-scale]
"""
import argparse
import os
import pathlib
import re
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]


def timed(command):
    """Wall time and peak resident memory (MB) of command, as GNU time reports them."""
    run = subprocess.run(["/usr/bin/time", "-v", *command], capture_output=True, text=True,
                         check=True)
    peak = int(re.search(r"Maximum resident set size \(kbytes\): (\d+)", run.stderr).group(1))
    wall = re.search(r"Elapsed \(wall clock\) time.*: (?:(\d+):)?(\d+):([\d.]+)", run.stderr)
    seconds = int(wall.group(1) or 0) * 3600 + int(wall.group(2)) * 60 + float(wall.group(3))
    return seconds, peak / 1024


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("lines", nargs="?", type=int, default=2100000)
    parser.add_argument("--tallyd", default=str(ROOT / "build" / "bin" / "tallyd"))
    parser.add_argument("--dir", default="/tmp/tallyd-scale")
    args = parser.parse_args(argv[1:])
    os.makedirs(args.dir, exist_ok=True)
    trace, db, page = (os.path.join(args.dir, n) for n in ("trace.jsonl", "stats.db", "report.html"))
    if not os.path.exists(db):
        with open(trace, "w") as out:
            subprocess.run([sys.executable, str(ROOT / "bench" / "make_trace.py"), str(args.lines)],
                           stdout=out, check=True)
        subprocess.run([args.tallyd, "replay", trace, "--db", db, "--root",
                        os.path.join(args.dir, "root"), "--out", os.devnull], check=True)
    days = subprocess.run([args.tallyd, "report", "--db", db, "--format", "csv"],
                          capture_output=True, text=True, check=True).stdout.count("\n") - 1
    seconds, peak = timed([args.tallyd, "report", "--db", db, "-o", page])
    print(f"{days} days: HTML written in {seconds:.1f} s, peak {peak:.0f} MB, "
          f"{os.path.getsize(page) / 1e6:.2f} MB")
    # The browser test's driver of Chromium, shared rather than written twice.
    os.environ.setdefault("TALLYD", args.tallyd)
    sys.path.insert(0, str(ROOT / "tests" / "host" / "report"))
    import browser_test  # pylint: disable=import-outside-toplevel
    browser = browser_test.Browser(os.path.join(args.dir, "profile"))
    try:
        for width in (1200, 360, 1200):
            browser.call("Page.navigate", browser.session, url="about:blank")
            start = time.monotonic()
            health = browser.health("file://" + page, width)
            took = time.monotonic() - start
            print(f"{width} px: opened and drawn in {took:.2f} s, errors {health['errors']}, "
                  f"page {health['pageWidth']} px wide")
    finally:
        browser.close()


if __name__ == "__main__":
    main(sys.argv)
