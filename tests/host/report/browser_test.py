#!/usr/bin/python3
"""The report of the sample day in a real browser: headless Chromium renders the page to a PNG,
and the test fails if the page's script reports an error or a chart painted nothing."""

import html
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TALLYD = os.environ["TALLYD"]
SAMPLE = pathlib.Path(__file__).resolve().parents[3] / "examples" / "sample-day.jsonl"
CHARTS = ["chart-level", "chart-bands", "chart-thermal", "chart-states", "chart-brightness"]


def chromium(profile, *args):
    # The flags keep Chromium from reaching for the network, which the page never needs.
    command = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
               "--no-first-run", "--disable-background-networking", "--disable-component-update",
               "--disable-sync", "--user-data-dir=" + profile, "--window-size=1200,3000",
               "--virtual-time-budget=5000", *args]
    return subprocess.run(command, capture_output=True, text=True, timeout=120, check=True)


class BrowserTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="tallyd-browser-")
        self.addCleanup(shutil.rmtree, self.dir)

    def test_sample_day_renders(self):
        self.assertIsNotNone(shutil.which("chromium"),
                             "chromium is missing: scripts/install-deps.sh --browser installs it")
        db = os.path.join(self.dir, "stats.db")
        page = os.path.join(self.dir, "report.html")
        subprocess.run([TALLYD, "replay", str(SAMPLE), "--db", db, "--out", os.devnull],
                       check=True, capture_output=True)
        subprocess.run([TALLYD, "report", "--db", db, "-o", page], check=True)

        dom = chromium(os.path.join(self.dir, "profile"), "--dump-dom", "file://" + page).stdout
        found = re.search(r'data-health="([^"]*)"', dom)
        self.assertIsNotNone(found, "the page's script never ran")
        health = json.loads(html.unescape(found.group(1)))
        self.assertEqual(health["errors"], [])
        for chart in CHARTS:
            self.assertIn(chart, health["charts"])
            self.assertGreater(health["charts"][chart]["points"], 0, chart)
            self.assertGreater(health["charts"][chart]["painted"], 100, chart)

        png = os.path.join(os.environ.get("REPORT_PNG_DIR", self.dir), "sample-report.png")
        chromium(os.path.join(self.dir, "profile"), "--screenshot=" + png, "file://" + page)
        with open(png, "rb") as image:
            self.assertEqual(image.read(8), b"\x89PNG\r\n\x1a\n")
        self.assertGreater(os.path.getsize(png), 20000)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[1:])
