#!/usr/bin/python3
"""Measures the fleet example at scale: DEVICES simulated devices of DAYS days each made,
replayed and exported (fleet/make-fleet.py), then DuckDB's load of the exports into Parquet and
each fleet query, with their sizes, times and peak memory; a device's export is then timed alone.

    bench/fleet_scale.py [DEVICES] [DAYS] [--dir /tmp/tallyd-fleet-scale]
"""
import argparse
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "bench"))
from report_scale import timed  # noqa: E402


def size(path):
    return sum(p.stat().st_size for p in pathlib.Path(path).rglob("*") if p.is_file()) / 1e6


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("devices", type=int, nargs="?", default=1000)
    parser.add_argument("days", type=int, nargs="?", default=30)
    parser.add_argument("--dir", default="/tmp/tallyd-fleet-scale")
    parser.add_argument("--tallyd", default=str(ROOT / "build" / "bin" / "tallyd"))
    args = parser.parse_args(argv)
    out = pathlib.Path(args.dir)
    subprocess.run([sys.executable, str(ROOT / "fleet" / "make-fleet.py"), "--devices",
                    str(args.devices), "--days", str(args.days), "--out", str(out), "--tallyd",
                    args.tallyd], check=True, capture_output=True)
    timings = json.loads((out / "timings.json").read_text())
    device_days = args.devices * args.days
    print(f"{args.devices} devices x {args.days} days = {device_days} device-days, "
          f"{timings['jobs']} at a time")
    print(f"  replay: {timings['replay_s']:.1f} s of CPU-bound work, "
          f"{timings['replay_s'] / device_days * 1000:.2f} ms a device-day")
    print(f"  export: {timings['export_s']:.1f} s, "
          f"{timings['export_s'] / device_days * 1000:.2f} ms a device-day")
    print(f"  sizes: traces {size(out / 'traces'):.0f} MB, stores {size(out / 'stores'):.0f} MB, "
          f"exports {size(out / 'exports'):.0f} MB, Parquet {size(out / 'parquet'):.1f} MB")

    fleet = ["node", str(ROOT / "fleet" / "fleet.mjs")]
    for step, source, target in [("load", out / "exports", out / "parquet"),
                                 ("query", out / "parquet", out)]:
        run = subprocess.run(["/usr/bin/time", "-v", *fleet, step, str(source), str(target)],
                             capture_output=True, text=True, check=True)
        peak = int(re.search(r"Maximum resident set size \(kbytes\): (\d+)", run.stderr).group(1))
        for line in run.stderr.splitlines():
            if line.startswith("fleet:"):
                print(f"  {step} {line[len('fleet: '):]}")
        print(f"  {step} peak memory: {peak / 1024:.0f} MB")

    store = sorted((out / "stores").glob("*.db"))[0]
    seconds, megabytes = timed([args.tallyd, "export", "--db", str(store), "-o",
                                str(out / "one-export")])
    print(f"  one device's export alone ({args.days} days): {seconds:.2f} s, {megabytes:.0f} MB")


if __name__ == "__main__":
    main(sys.argv[1:])
