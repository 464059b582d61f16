#!/usr/bin/python3
"""A simulated week whose battery drained by a known power model: the report's estimated energy
of every app that used at least 5 % of the drain is within 10 % of its true energy, and each
day's parts add up to the day's measured drain.

$TALLYD names the binary; $GENERATOR the trace generator (bench/make_energy_trace.py).
"""

import json
import os
import subprocess
import sys
import tempfile
import unittest

TALLYD = os.environ.get('TALLYD', 'tallyd')
GENERATOR = os.environ.get('GENERATOR', 'make_energy_trace.py')


class KnownTruthTest(unittest.TestCase):
    def test_a_week_of_known_energies(self):
        with tempfile.TemporaryDirectory() as work:
            trace, truth_file, db = (os.path.join(work, name)
                                     for name in ('week.jsonl', 'truth.json', 'week.db'))
            subprocess.run([sys.executable, GENERATOR, trace, truth_file], check=True)
            subprocess.run([TALLYD, 'replay', trace, '--root', os.path.join(work, 'root'),
                            '--db', db, '--out', os.devnull], check=True)
            report = json.loads(subprocess.run(
                [TALLYD, 'report', '--db', db, '--format', 'json'], check=True,
                capture_output=True, text=True).stdout)
            with open(truth_file) as f:
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


if __name__ == '__main__':
    unittest.main(testRunner=unittest.TextTestRunner(stream=sys.stdout, verbosity=2))
