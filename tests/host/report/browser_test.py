#!/usr/bin/python3
"""The reports of the sample day and the sample week in a real browser: headless Chromium renders
each page at a phone's width and a desktop's, and the test fails if the page's script reports an
error, a chart painted nothing, or the page is wider than the window. A reader's clicks on a night,
a day's card and a summary must zoom the timeline to them, and the charts must follow the page
into dark mode and onto paper."""

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
from datetime import datetime
from zoneinfo import ZoneInfo

TALLYD = os.environ["TALLYD"]
EXAMPLES = pathlib.Path(__file__).resolve().parents[3] / "examples"
CHARTS = ["chart-level", "chart-bands", "chart-thermal", "chart-states", "chart-brightness",
          "chart-app-energy"]
WIDTHS = [360, 1200]
# The sample week's device keeps Paris time.
PARIS = ZoneInfo("Europe/Paris")


def local(day, hour):
    return datetime.fromisoformat(day).replace(hour=hour, tzinfo=PARIS).timestamp()


def luminance(colour):
    """0 for black to 1 for white, of a colour written #rgb, #rrggbb or rgb(r, g, b)."""
    if colour.startswith("#"):
        digits = colour[1:]
        if len(digits) == 3:
            digits = "".join(d * 2 for d in digits)
        parts = [int(digits[i:i + 2], 16) for i in (0, 2, 4)]
    else:
        parts = [int(p) for p in re.findall(r"\d+", colour)[:3]]
    return (0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2]) / 255


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

    def evaluate(self, expression):
        reply = self.call("Runtime.evaluate", self.session, expression=expression,
                          returnByValue=True)
        if "exceptionDetails" in reply:
            raise AssertionError(expression + ": " + str(reply["exceptionDetails"]))
        return reply["result"].get("value")

    def emulate(self, scheme="light", media=""):
        self.call("Emulation.setEmulatedMedia", self.session, media=media,
                  features=[{"name": "prefers-color-scheme", "value": scheme}])

    def health(self, url=None, width=None, until=lambda health: True):
        """The page's health once its script ran (and once until holds of it), after loading url
        in a window of width CSS pixels when they are given."""
        if width:
            self.call("Emulation.setDeviceMetricsOverride", self.session, width=width,
                      height=800, deviceScaleFactor=1, mobile=width < 500)
        if url:
            self.call("Page.navigate", self.session, url=url)
        found = None
        for _ in range(200):
            found = self.evaluate("document.readyState === 'complete' && "
                                  "document.body.dataset.health")
            if found and until(json.loads(found)):
                return json.loads(found)
            time.sleep(0.05)
        raise AssertionError("the page never came to the state awaited; its health: " +
                             str(found or "its script never ran"))

    def click(self, selector):
        """A click of the mouse in the middle of the element, as a reader's would be."""
        box = self.evaluate("(function () { var e = document.querySelector(" + json.dumps(selector)
                            + "); e.scrollIntoView({block: 'center'}); var r = "
                            "e.getBoundingClientRect(); return [r.left + r.width / 2, "
                            "r.top + r.height / 2]; })()")
        for kind in ["mousePressed", "mouseReleased"]:
            self.call("Input.dispatchMouseEvent", self.session, type=kind, x=box[0], y=box[1],
                      button="left", clickCount=1)

    def close(self):
        os.close(self.to_browser_w)
        self.process.kill()
        self.process.wait()
        self.reader.close()


class BrowserTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="tallyd-browser-")
        self.addCleanup(shutil.rmtree, self.dir)

    def page(self, sample):
        db = os.path.join(self.dir, sample + ".db")
        page = os.path.join(self.dir, sample + ".html")
        subprocess.run([TALLYD, "replay", str(EXAMPLES / (sample + ".jsonl")), "--db", db,
                        "--root", os.path.join(self.dir, sample), "--out", os.devnull],
                       check=True, capture_output=True)
        subprocess.run([TALLYD, "report", "--db", db, "-o", page], check=True)
        return page

    def render(self, sample):
        page = self.page(sample)
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

    def test_a_click_zooms_the_timeline_to_a_night_or_a_day_in_dark_mode_and_print(self):
        page = self.page("sample-week")
        browser = Browser(os.path.join(self.dir, "profile-zoom"))
        self.addCleanup(browser.close)
        browser.emulate("dark")
        health = browser.health("file://" + page, 1200)
        self.assertEqual(health["errors"], [])
        self.assertGreater(luminance(health["ink"]), 0.7)
        self.assertLess(luminance(browser.evaluate(
            "getComputedStyle(document.body).backgroundColor")), 0.2)
        for chart in CHARTS:
            self.assertGreater(health["charts"][chart]["painted"], 100, chart)

        # A night's row shows its window from 22:00 to 07:00 with an hour either side; a day's
        # card or summary shows it from 22:00 the evening before, to take in its night.
        night = [local("2026-06-03", 22) - 3600, local("2026-06-04", 7) + 3600]
        day = [local("2026-06-05", 0) - 7200, local("2026-06-06", 0)]
        summary = [local("2026-06-06", 0) - 7200, local("2026-06-07", 0)]
        for selector, window in [('#nights tr[data-day="2026-06-04"]', night),
                                 ('.card[data-day="2026-06-05"]', day),
                                 ('.summary article[data-day="2026-06-06"]', summary)]:
            with self.subTest(selector=selector):
                browser.click(selector)
                health = browser.health(
                    until=lambda h, w=window: h.get("zoom") == {"min": w[0], "max": w[1]})
                self.assertEqual(health["errors"], [])
                self.assertGreater(health["charts"]["chart-level"]["painted"], 100)

        # Back to light, the charts are redrawn in dark ink.
        browser.emulate("light")
        health = browser.health(until=lambda h: luminance(h["ink"]) < 0.3)
        self.assertEqual(health["errors"], [])

        # A printout from dark mode is black on white, without the controls and downloads.
        browser.emulate("dark", "print")
        browser.evaluate("window.dispatchEvent(new Event('beforeprint'))")
        health = browser.health(until=lambda h: luminance(h["ink"]) < 0.3)
        self.assertEqual(health["errors"], [])
        self.assertGreater(luminance(browser.evaluate(
            "getComputedStyle(document.body).backgroundColor")), 0.9)
        for hidden in ["pick", "data"]:
            self.assertEqual(browser.evaluate(
                "getComputedStyle(document.getElementById('" + hidden + "')).display"), "none")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[1:])
