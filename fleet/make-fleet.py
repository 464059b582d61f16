#!/usr/bin/python3
"""Makes a fleet of simulated devices and asks it the fleet's questions.

    fleet/make-fleet.py --devices 50 --days 7 --out build/fleet

Each device gets its own profile from its number, the same every time: a model, a system
version, a time zone, the apps it uses and for how long. On 2.1 the system wakes the device
every hour and a half overnight for two minutes, on 2.0 once for half a minute. About one
device in eight has a wake loop on one night, about one in eight has a sync app that drains the
battery in the background through a morning, and about one in five spends a night on the
charger.
Each device's trace (written with the battery model of examples/simphone.py) is replayed by
tallyd replay into a store of its own and exported with tallyd export; DuckDB then loads the
exports into Parquet and answers every query of fleet/queries/ (fleet/fleet.mjs). Writes
OUT/traces, OUT/stores, OUT/exports, OUT/parquet, OUT/results.json, OUT/fleet.html and
OUT/timings.json.
"""
import argparse
import concurrent.futures
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time
from datetime import datetime
from zoneinfo import ZoneInfo

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "examples"))
from simphone import DAY, Phone  # noqa: E402

MODELS = ["SimPhone12,1", "SimPhone14,2", "SimPad7,3"]
ZONES = ["Europe/Paris", "America/New_York", "Asia/Tokyo"]
VERSIONS = {"2.0": "20A100", "2.1": "21A50"}
# Every app a device may have, with its CPU in the foreground and in the background.
CATALOG = {"com.example.notes": (0.05, 0.0), "com.example.maps": (0.35, 0.1),
           "com.example.news": (0.1, 0.0), "com.example.game": (0.6, 0.0),
           "com.example.sync": (0.1, 0.2), "com.example.video": (0.3, 0.0),
           "com.example.chat": (0.08, 0.02), "com.example.camera": (0.4, 0.0)}
FIRST_DAY = "2026-06-01"


def profile(number, days):
    rng = random.Random(number)
    apps = sorted(rng.sample([a for a in CATALOG if a != "com.example.sync"], rng.randint(3, 5)))
    return {
        "number": number,
        "model": MODELS[number % len(MODELS)],
        "version": "2.1" if number % 2 else "2.0",
        "zone": ZONES[(number // 2) % len(ZONES)],
        # Minutes of use in the morning, at noon and in the evening, of an app of the mix.
        "sessions": [(rng.choice(apps), rng.randint(10, 45)) for _ in range(3)],
        "wake_loop_night": rng.randrange(1, days) if rng.random() < 0.125 else None,
        "background_drain_day": rng.randrange(0, days) if rng.random() < 0.125 else None,
        "charger_night": rng.randrange(1, days) if rng.random() < 0.2 else None,
        "apps": apps + ["com.example.sync"],
    }


def trace(p, days):
    apps = {bundle: 4101 + i for i, bundle in enumerate(p["apps"])}
    phone = Phone(apps=apps, foreground_cpu={a: CATALOG[a][0] for a in apps},
                  background_cpu={a: CATALOG[a][1] for a in apps if CATALOG[a][1]})
    start = int(datetime.fromisoformat(FIRST_DAY).replace(tzinfo=ZoneInfo(p["zone"])).timestamp())
    phone.begin(start, p["zone"], p["model"], "US",
                {"ProductName": "SimOS", "ProductVersion": p["version"],
                 "ProductBuildVersion": VERSIONS[p["version"]]})
    h = lambda d, hour, minute=0: d * DAY + hour * 3600 + minute * 60  # noqa: E731
    for d in range(days):
        if d and p["wake_loop_night"] == d:
            for minute in range(0, 7 * 60, 4):  # from the evening's 23:30 to 06:30
                t = h(d - 1, 23, 30) + minute * 60
                phone.wake(t, "wlan")
                phone.sleep(t + 15)
        else:
            # The system's own timers: once a night for half a minute on 2.0; on 2.1, every
            # hour and a half for two minutes.
            if p["version"] == "2.0":
                phone.wake(h(d, 3, 10), "rtc")
                phone.sleep(h(d, 3, 10) + 30)
            else:
                for minute in range(0, 6 * 60, 90):
                    phone.wake(h(d, 0, 30) + minute * 60, "rtc")
                    phone.sleep(h(d, 0, 30) + minute * 60 + 120)
        if p["charger_night"] == d:
            phone.plug(h(d, 7), False)
        phone.wake(h(d, 7), "button")
        phone.screen(h(d, 7, 1), 60)
        (morning, m1), (noon, m2), (evening, m3) = p["sessions"]
        phone.use(h(d, 7, 5), morning, m1)
        if p["background_drain_day"] == d:
            phone.app(h(d, 8), "com.example.sync", "bg")
            phone.screen(h(d, 8, 1), 0)
            phone.app(h(d, 11), "com.example.sync", None)
            phone.sleep(h(d, 11, 5))
        else:
            phone.sleep(h(d, 8))
        phone.wake(h(d, 12, 30), "button")
        phone.screen(h(d, 12, 30), 50)
        phone.use(h(d, 12, 31), noon, m2)
        phone.sleep(h(d, 13, 30))
        phone.wake(h(d, 18), "button")
        phone.screen(h(d, 18), 40)
        phone.plug(h(d, 18, 1), True)
        phone.plug(h(d, 19, 30), False)
        phone.use(h(d, 20), evening, m3)
        if p["charger_night"] == d + 1:
            phone.plug(h(d, 22, 40), True)
        phone.sleep(h(d, 23, 10))
    phone.advance(h(days - 1, 23, 50))
    phone.gauge()
    return "".join(json.dumps(line, separators=(", ", ": ")) + "\n" for line in phone.lines)


def device(number, days, out, tallyd):
    """Writes, replays and exports one device; returns the seconds each step took."""
    name = f"{number:04d}"
    path = out / "traces" / (name + ".jsonl")
    path.write_text(trace(profile(number, days), days))
    store = out / "stores" / (name + ".db")
    root = tempfile.mkdtemp(prefix="tallyd-fleet-")
    try:
        started = time.monotonic()
        subprocess.run([tallyd, "replay", str(path), "--db", str(store), "--root", root,
                        "--out", os.devnull], check=True, capture_output=True)
        replayed = time.monotonic()
        subprocess.run([tallyd, "export", "--db", str(store), "-o", str(out / "exports" / name)],
                       check=True, capture_output=True)
        return replayed - started, time.monotonic() - replayed
    finally:
        shutil.rmtree(root, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--devices", type=int, default=50)
    parser.add_argument("--days", type=int, default=7)
    parser.add_argument("--out", default=str(ROOT / "build" / "fleet"))
    parser.add_argument("--tallyd", default=str(ROOT / "build" / "bin" / "tallyd"))
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    args = parser.parse_args()
    if args.devices < 1 or args.days < 2:
        parser.error("a fleet needs a device and two days")
    out = pathlib.Path(args.out).resolve()
    for sub in ["traces", "stores", "exports", "parquet"]:
        shutil.rmtree(out / sub, ignore_errors=True)
        (out / sub).mkdir(parents=True)

    started = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool:
        steps = list(pool.map(lambda n: device(n, args.days, out, args.tallyd),
                              range(args.devices)))
    devices_done = time.monotonic()
    fleet = ["node", str(ROOT / "fleet" / "fleet.mjs")]
    subprocess.run(fleet + ["load", str(out / "exports"), str(out / "parquet")], check=True)
    loaded = time.monotonic()
    subprocess.run(fleet + ["query", str(out / "parquet"), str(out)], check=True)
    queried = time.monotonic()
    timings = {
        "devices": args.devices, "days": args.days, "jobs": args.jobs,
        "replay_s": sum(s[0] for s in steps), "export_s": sum(s[1] for s in steps),
        "devices_wall_s": devices_done - started,
        "load_s": loaded - devices_done, "query_s": queried - loaded,
    }
    (out / "timings.json").write_text(json.dumps(timings, indent=1) + "\n")
    print(f"fleet: {args.devices} devices x {args.days} days; answers in {out / 'results.json'}; "
          f"page {out / 'fleet.html'}", file=sys.stderr)


if __name__ == "__main__":
    main()
