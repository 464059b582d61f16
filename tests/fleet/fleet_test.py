#!/usr/bin/python3
"""The fleet example end to end: 50 simulated devices replayed and exported by tallyd, loaded and
queried by DuckDB. Every figure of every fleet query must equal what each device's own
tallyd report --format json says, summed or counted here by hand; the exports must hold exactly
the columns the loader's schema names; and the fleet page must draw its charts in Chromium."""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
from collections import defaultdict

TALLYD = os.environ["TALLYD"]
ROOT = pathlib.Path(__file__).resolve().parents[2]
DEVICES, DAYS = 50, 4


def quantile(values, q):
    """The quantile with linear interpolation between the closest ranks."""
    ordered = sorted(values)
    position = (len(ordered) - 1) * q
    low = int(position)
    high = min(low + 1, len(ordered) - 1)
    return ordered[low] + (ordered[high] - ordered[low]) * (position - low)


class FleetTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.dir = pathlib.Path(tempfile.mkdtemp(prefix="tallyd-fleet-test-"))
        subprocess.run([sys.executable, str(ROOT / "fleet" / "make-fleet.py"), "--devices",
                        str(DEVICES), "--days", str(DAYS), "--out", str(cls.dir), "--tallyd",
                        TALLYD], check=True, capture_output=True)
        cls.results = json.loads((cls.dir / "results.json").read_text())
        cls.reports = {}
        for store in sorted((cls.dir / "stores").glob("*.db")):
            out = subprocess.run([TALLYD, "report", "--db", str(store), "--format", "json"],
                                 check=True, capture_output=True, text=True).stdout
            cls.reports[store.stem] = json.loads(out)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.dir)

    def answer(self, name, key_columns):
        """A query's rows by the values of its key columns, each row as a dict."""
        result = self.results[name]
        rows = {}
        for row in result["rows"]:
            record = dict(zip(result["columns"], row))
            rows[tuple(record[c] for c in key_columns)] = record
        return rows

    def assertFigures(self, expected, actual, what):
        self.assertEqual(sorted(expected), sorted(actual), what)
        for key, figures in expected.items():
            for column, value in figures.items():
                self.assertAlmostEqual(actual[key][column], value, places=6,
                                       msg=f"{what} {key} {column}")

    def rows(self, report, table):
        return report["tables"][table]["rows"]

    def test_every_fleet_figure_is_the_devices_own_summed_by_hand(self):
        overview, daily, nightly = defaultdict(dict), defaultdict(list), defaultdict(list)
        daily_pct, asleep, wakes = defaultdict(list), defaultdict(list), defaultdict(list)
        daily_bins, nightly_bins = defaultdict(int), defaultdict(int)
        apps, all_energy = defaultdict(lambda: defaultdict(float)), 0.0
        loops = defaultdict(lambda: [set(), set()])
        devices_by = defaultdict(lambda: [set(), set(), set()])
        for name, report in self.reports.items():
            meta = report["meta"]
            device = (meta["machine"], meta["system_version"])
            version = meta["system_version"]
            devices_by[device][0].add(name)
            for night in self.rows(report, "nights"):
                loops[(night["day"], version)][0].add(name)
                if "wake loop" in night["verdict"]:
                    loops[(night["day"], version)][1].add(name)
                    devices_by[device][2].add(name)
                if night["plugged_s"] == 0 and night["drain_mWh"] is not None:
                    mw = night["drain_mWh"] * 3600 / night["recorded_s"]
                    nightly[version].append((name, mw))
                    asleep[version].append(night["asleep_drain_mW"])
                    wakes[version].append(night["wakes_per_h"])
                    nightly_bins[(version, int(mw // 10 * 10))] += 1
            for day in self.rows(report, "days"):
                devices_by[device][1].add((name, day["day"]))
                if day["recorded_s"] >= 23 * 3600 and day["on_battery_s"] >= 3600:
                    daily[version].append((name, day["mean_drain_mW"]))
                    daily_pct[version].append(day["drain_pct_of_capacity"])
                    daily_bins[(version, int(day["mean_drain_mW"] // 25 * 25))] += 1
            for row in self.rows(report, "app_energy"):
                all_energy += row["energy_mWh"]
                if not row["app"].startswith("("):
                    figures = apps[row["app"]]
                    figures["energy_mWh"] += row["energy_mWh"]
                    figures["background_s"] += row["background_s"]
                    figures["device_days"] += 1
                    figures.setdefault("names", set()).add(name)

        self.assertFigures({k: {"devices": len(v[0]), "device_days": len(v[1]),
                                "devices_with_a_wake_loop": len(v[2])}
                            for k, v in devices_by.items()},
                           self.answer("fleet_overview", ["machine", "system_version"]),
                           "overview")
        # Both versions, every model, and some wake loops: the fleet is worth asking.
        self.assertEqual(len(devices_by), 6)
        self.assertGreater(sum(len(v[2]) for v in devices_by.values()), 0)

        def distribution(samples):
            values = [v for _, v in samples]
            return {"devices": len({n for n, _ in samples}), "mean_mW": sum(values) / len(values),
                    "p10_mW": quantile(values, 0.1), "median_mW": quantile(values, 0.5),
                    "p90_mW": quantile(values, 0.9)}
        self.assertFigures({(v,): {**distribution(s), "device_days": len(s),
                                   "mean_pct_of_capacity": sum(daily_pct[v]) / len(s)}
                            for v, s in daily.items()},
                           self.answer("daily_drain_by_version", ["system_version"]), "daily")
        self.assertFigures({(v,): {**distribution(s), "nights": len(s),
                                   "mean_asleep_mW": sum(asleep[v]) / len(s),
                                   "mean_wakes_per_h": sum(wakes[v]) / len(s)}
                            for v, s in nightly.items()},
                           self.answer("overnight_drain_by_version", ["system_version"]),
                           "nightly")
        self.assertFigures({k: {"device_days": n} for k, n in daily_bins.items()},
                           self.answer("daily_drain_histogram", ["system_version", "bin_mW"]),
                           "daily histogram")
        self.assertFigures({k: {"nights": n} for k, n in nightly_bins.items()},
                           self.answer("overnight_drain_histogram", ["system_version", "bin_mW"]),
                           "nightly histogram")
        self.assertFigures({k: {"devices": len(v[0]), "devices_with_a_wake_loop": len(v[1]),
                                "share_pct": 100 * len(v[1]) / len(v[0])}
                            for k, v in loops.items()},
                           self.answer("wake_loop_share", ["day", "system_version"]), "wake loops")

        top = sorted(apps.items(), key=lambda a: (-a[1]["energy_mWh"], a[0]))[:20]
        self.assertEqual([a for a, _ in top], [r[0] for r in self.results["top_apps"]["rows"]])
        self.assertFigures({(a,): {"devices": len(f["names"]), "device_days": f["device_days"],
                                   "energy_mWh": f["energy_mWh"],
                                   "mWh_per_device_day": f["energy_mWh"] / f["device_days"],
                                   "background_s": f["background_s"],
                                   "share_pct": 100 * f["energy_mWh"] / all_energy}
                            for a, f in top},
                           self.answer("top_apps", ["app"]), "top apps")

    def test_the_exports_hold_the_columns_the_loader_reads_and_the_page_draws(self):
        schema = json.loads((ROOT / "fleet" / "schema.json").read_text())
        export = next((self.dir / "exports").iterdir())
        for table, columns in schema.items():
            with open(export / (table + ".jsonl")) as rows:
                first = json.loads(rows.readline())
            self.assertEqual(list(first), list(columns), table)

        # A malformed line fails the load with the file it is in, and leaves the tables loaded
        # before it.
        bad = self.dir / "bad"
        shutil.copytree(self.dir / "exports", bad / "exports")
        shutil.copytree(self.dir / "parquet", bad / "parquet")
        with open(bad / "exports" / export.name / "days.jsonl", "a") as days:
            days.write('{"schema_version": 1, "device_id": "x", "day": \n')
        before = (bad / "parquet" / "days.parquet").read_bytes()
        load = subprocess.run(["node", str(ROOT / "fleet" / "fleet.mjs"), "load",
                               str(bad / "exports"), str(bad / "parquet")],
                              capture_output=True, text=True)
        self.assertEqual(load.returncode, 65)
        self.assertIn("days.jsonl", load.stderr)
        self.assertEqual((bad / "parquet" / "days.parquet").read_bytes(), before)
        self.assertEqual(sorted(p.name for p in (bad / "parquet").iterdir()),
                         sorted(t + ".parquet" for t in schema))

        chromium = shutil.which("chromium")
        self.assertIsNotNone(chromium, "scripts/install-deps.sh --browser installs chromium")
        dom = subprocess.run(
            [chromium, "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--user-data-dir=" + str(self.dir / "profile"), "--virtual-time-budget=5000",
             "--dump-dom", "file://" + str(self.dir / "fleet.html")],
            check=True, capture_output=True, text=True, timeout=120).stdout
        drawn = json.loads(dom.split('data-drawn="', 1)[1].split('"', 1)[0].replace("&quot;", '"'))
        self.assertEqual(sorted(drawn), ["chart-apps", "chart-daily", "chart-loops",
                                         "chart-nightly"])
        self.assertEqual(drawn["chart-loops"], DAYS)


if __name__ == "__main__":
    unittest.main()
