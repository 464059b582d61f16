#!/usr/bin/python3
"""A simulated week whose battery drained by a known power model: the report's estimated energy
of every app that used at least 5 % of the drain is within 10 % of its true energy, each day's
parts add up to the day's measured drain, and the view's chart paints in a real browser at a
phone's width and a desktop's.

$TALLYD names the binary; $GENERATOR the trace generator (bench/make_energy_trace.py).
"""

import html
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

TALLYD = os.environ.get('TALLYD', 'tallyd')
GENERATOR = os.environ.get('GENERATOR', 'make_energy_trace.py')


class KnownTruthTest(unittest.TestCase):
    def setUp(self):
        work = tempfile.mkdtemp(prefix='tallyd-energy-')
        self.addCleanup(shutil.rmtree, work)
        self.work = work
        trace, self.truth_file, self.db = (os.path.join(work, name)
                                           for name in ('week.jsonl', 'truth.json', 'week.db'))
        subprocess.run([sys.executable, GENERATOR, trace, self.truth_file], check=True)
        subprocess.run([TALLYD, 'replay', trace, '--root', os.path.join(work, 'root'),
                        '--db', self.db, '--out', os.devnull], check=True)

    def test_a_week_of_known_energies(self):
        report = json.loads(subprocess.run(
            [TALLYD, 'report', '--db', self.db, '--format', 'json'], check=True,
            capture_output=True, text=True).stdout)
        with open(self.truth_file) as f:
            truth = json.load(f)

        self.assertIn('Fitted to this device', report['tables']['app_energy']['note'])
        rows = report['tables']['app_energy']['rows']
        drains = {row['day']: row['drain_mWh'] for row in report['tables']['days']['rows']}
        estimated = {}
        for day in report['days']:
            parts = [row for row in rows if row['day'] == day]
            if drains.get(day) is None:
                continue
            # Rounded to thousandths of a mWh in the report: a dozen parts may be off by 0.006.
            self.assertAlmostEqual(sum(row['energy_mWh'] for row in parts), drains[day],
                                   delta=0.01, msg=day)
            for row in parts:
                if not row['app'].startswith('('):
                    estimated[row['app']] = estimated.get(row['app'], 0) + row['energy_mWh']
        drained = truth['drained_mWh']
        # The gauge shows whole mAh and the module books whole mWh an interval: the week's
        # measured drain is the true one within a thousandth.
        self.assertAlmostEqual(sum(d for d in drains.values() if d), drained,
                               delta=0.001 * drained)
        checked = 0
        for app, energy in truth['apps_mWh'].items():
            if energy < 0.05 * drained:
                continue
            checked += 1
            print('%s: true %.0f mWh, estimated %.0f mWh' % (app, energy, estimated.get(app, 0)))
            self.assertAlmostEqual(estimated.get(app, 0), energy, delta=0.1 * energy, msg=app)
        self.assertGreaterEqual(checked, 4)

    def test_the_view_in_a_browser(self):
        self.assertIsNotNone(shutil.which('chromium'),
                             'chromium is missing: scripts/install-deps.sh --browser installs it')
        page = os.path.join(self.work, 'week.html')
        subprocess.run([TALLYD, 'report', '--db', self.db, '-o', page], check=True)
        for width in (390, 1200):
            dom = subprocess.run(
                ['chromium', '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic',
                 '--no-first-run', '--disable-background-networking',
                 '--disable-component-update', '--disable-sync',
                 '--user-data-dir=' + os.path.join(self.work, 'profile%d' % width),
                 '--window-size=%d,3000' % width, '--virtual-time-budget=5000', '--dump-dom',
                 'file://' + page], capture_output=True, text=True, timeout=120,
                check=True).stdout
            health = json.loads(html.unescape(re.search(r'data-health="([^"]*)"', dom).group(1)))
            self.assertEqual(health['errors'], [], width)
            chart = health['charts']['chart-app-energy']
            self.assertEqual(chart['points'], 8, width)  # the eight local days the week touches
            self.assertGreater(chart['painted'], 1000, width)


if __name__ == '__main__':
    unittest.main(testRunner=unittest.TextTestRunner(stream=sys.stdout, verbosity=2))
