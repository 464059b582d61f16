#!/usr/bin/python3
"""The reports of the sample day and the sample week in a real browser: headless Chromium renders
each page at a phone's width and a desktop's, and the test fails if the page's script reports an
error, a chart painted nothing, or the page is wider than the window."""

import html
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

TALLYD = os.environ["TALLYD"]
EXAMPLES = pathlib.Path(__file__).resolve().parents[3] / "examples"
CHARTS = ["chart-level", "chart-bands", "chart-thermal", "chart-states", "chart-brightness",
          "chart-app-energy"]
WIDTHS = [360, 1200]


FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync"]


def chromium(profile, *args):
    # The flags keep Chromium from reaching for the network, which the page never needs.
    command = ["chromium", *FLAGS, "--user-data-dir=" + profile, "--window-size=1200,3000",
               "--virtual-time-budget=5000", *args]
    return subprocess.run(command, capture_output=True, text=True, timeout=120, check=True)


class Browser:
    """Chromium driven over its DevTools pipe: a headless window is never narrower than 500 px,
    so a phone's width is set by emulating its screen."""

    def __init__(self, profile):
        self.to_browser_r, self.to_browser_w = os.pipe()
        self.from_browser_r, self.from_browser_w = os.pipe()
        os.set_inheritable(self.to_browser_r, True)
        os.set_inheritable(self.from_browser_w, True)
        def fds():
            os.dup2(self.to_browser_r, 3)
            os.dup2(self.from_browser_w, 4)
        self.process = subprocess.Popen(
            ["chromium", *FLAGS, "--user-data-dir=" + profile, "--remote-debugging-pipe"],
            close_fds=False, preexec_fn=fds,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(self.to_browser_r)
        os.close(self.from_browser_w)
        self.reader = os.fdopen(self.from_browser_r, "rb")
        self.next_id = 0
        self.buffer = b""
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]

    def call(self, method, session=None, **params):
        self.next_id += 1
        message = {"id": self.next_id, "method": method, "params": params}
        if session:
            message["sessionId"] = session
        os.write(self.to_browser_w, json.dumps(message).encode() + b"\0")
        while True:
            while b"\0" not in self.buffer:
                chunk = os.read(self.from_browser_r, 65536)
                if not chunk:
                    raise RuntimeError("chromium closed its pipe")
                self.buffer += chunk
            text, self.buffer = self.buffer.split(b"\0", 1)
            reply = json.loads(text)
            if reply.get("id") == self.next_id:
                if "error" in reply:
                    raise RuntimeError(method + ": " + str(reply["error"]))
                return reply["result"]

    def health(self, url, width):
        """The page's health once its script ran, in a window of width CSS pixels."""
        self.call("Emulation.setDeviceMetricsOverride", self.session, width=width, height=800,
                  deviceScaleFactor=1, mobile=width < 500)
        self.call("Page.navigate", self.session, url=url)
        for _ in range(200):
            found = self.call("Runtime.evaluate", self.session, returnByValue=True,
                              expression="document.readyState === 'complete' && "
                                         "document.body.dataset.health")["result"].get("value")
            if found:
                return json.loads(found)
            time.sleep(0.05)
        raise AssertionError("the page's script never ran")

    def close(self):
        os.close(self.to_browser_w)
        self.process.kill()
        self.process.wait()
        self.reader.close()


class BrowserTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="tallyd-browser-")
        self.addCleanup(shutil.rmtree, self.dir)

    def render(self, sample):
        db = os.path.join(self.dir, sample + ".db")
        page = os.path.join(self.dir, sample + ".html")
        subprocess.run([TALLYD, "replay", str(EXAMPLES / (sample + ".jsonl")), "--db", db,
                        "--root", os.path.join(self.dir, sample), "--out", os.devnull],
                       check=True, capture_output=True)
        subprocess.run([TALLYD, "report", "--db", db, "-o", page], check=True)
        browser = Browser(os.path.join(self.dir, "profile-" + sample))
        self.addCleanup(browser.close)
        for width in WIDTHS:
            with self.subTest(sample=sample, width=width):
                health = browser.health("file://" + page, width)
                self.assertEqual(health["errors"], [])
                for chart in CHARTS:
                    self.assertIn(chart, health["charts"])
                    self.assertGreater(health["charts"][chart]["points"], 0, chart)
                    self.assertGreater(health["charts"][chart]["painted"], 100, chart)
                self.assertEqual(health["windowWidth"], width)
                self.assertLessEqual(health["pageWidth"], health["windowWidth"])
        return page, chromium(os.path.join(self.dir, "profile"), "--dump-dom",
                              "file://" + page).stdout

    def test_the_sample_day_and_week_render_at_phone_and_desktop_widths(self):
        self.assertIsNotNone(shutil.which("chromium"),
                             "chromium is missing: scripts/install-deps.sh --browser installs it")
        self.render("sample-day")
        page, dom = self.render("sample-week")
        # The week's nights, each with its verdict, and its summary first.
        for verdict in ["asleep", "hot", "wake loop", "kept awake", "on charger"]:
            self.assertIn('data-verdict="' + verdict + '"', dom)
        self.assertLess(dom.index('class="summary"'), dom.index('id="timeline"'))

        png = os.path.join(os.environ.get("REPORT_PNG_DIR", self.dir), "sample-report.png")
        chromium(os.path.join(self.dir, "profile"), "--screenshot=" + png, "file://" + page)
        with open(png, "rb") as image:
            self.assertEqual(image.read(8), b"\x89PNG\r\n\x1a\n")
        self.assertGreater(os.path.getsize(png), 20000)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[1:])
