#!/usr/bin/env python3
"""Writes a long, realistic device trace for replay measurements.

    bench/make_trace.py LINES [--restarts N] > trace.jsonl

200 applications used through the day (launches, foreground and background intervals, now and
then an install or an uninstall), power events every few minutes (sleep and wake with reasons,
the backlight, battery drain and charging, low-power mode, network counters), the session-log
schedule, memory pressure and the daily report; N daemon restarts spread over the trace. The
same arguments always give the same bytes.
"""
import argparse
import json
import random
import sys

BUNDLES = 200


def main(argv):
    parser = argparse.ArgumentParser(
        description=__doc__.split("\n")[0],
        epilog="example: bench/make_trace.py 100000 --restarts 2 > trace.jsonl")
    parser.add_argument("lines", nargs="?", type=int, default=10000,
                        help="the lines to write (default 10000)")
    parser.add_argument("--restarts", type=int, default=2,
                        help="daemon restarts spread over the trace (default 2)")
    args = parser.parse_args(argv[1:])
    lines, restarts = args.lines, args.restarts
    rng = random.Random(20261121)
    apps = [{"bundle": f"com.example.app{i:03d}", "bundle_version": str(100 + i),
             "short_version": f"1.{i}", "item_id": 500000 + i, "store_front": 143441,
             "vendor_id": f"A1B2C3D4-0000-1111-2222-{i:012d}"} for i in range(BUNDLES)]
    processes = {str(1000 + i): {"uuid": f"00112233-4455-6677-8899-{i:012d}", "lp64": True}
                 for i in range(BUNDLES)}
    out = [{"device": {"apps": apps, "processes": processes, "wake_reason": "tmr"}}]
    at = 0.0
    capacity = 2400
    charging = False
    awake = True
    screen = True
    lpm = 0
    sleep_id = 1
    counters = 0
    state = {}  # bundle -> last state
    restart_every = lines // (restarts + 1) if restarts else 0
    next_day = 86400
    next_schedule = 6 * 3600

    def emit(action, value):
        out.append({"at": round(at, 3), action: value})

    while len(out) < lines:
        at += rng.uniform(2, 30)
        if restart_every and len(out) % restart_every == 0 and len(out) > 1:
            emit("restart", True)
            continue
        if at >= next_day:
            emit("notify", {"name": "com.veltro.tallyd.tldaily.logging"})
            next_day += 86400
            continue
        if at >= next_schedule:
            emit("activity", {"name": "com.veltro.session.schedule", "state": "run"})
            next_schedule += 6 * 3600
            continue
        roll = rng.random()
        if roll < 0.70 and awake:
            i = rng.randrange(BUNDLES)
            bundle = apps[i]["bundle"]
            new = rng.choice([8, 8, 4, 2, 1])
            if state.get(bundle) == new:
                new = 1 if new != 1 else 8
            state[bundle] = new
            emit("app_state", {"bundle": bundle, "pid": 1000 + i, "state": new})
        elif roll < 0.76:
            capacity = max(100, min(2500, capacity + (25 if charging else -rng.randint(1, 12))))
            if capacity <= 400:
                charging = True
            elif capacity >= 2450:
                charging = False
            emit("battery", {"CurrentCapacity": capacity, "AbsoluteCapacity": capacity,
                             "VeltroRawCurrentCapacity": capacity,
                             "Voltage": 3600 + capacity // 4, "IsCharging": charging,
                             "AdapterInfo": 1 if charging else 0})
        elif roll < 0.84:
            screen = not screen
            emit("backlight", rng.randint(20, 100) if screen else 0)
        elif roll < 0.90:
            if awake:
                emit("power", {"message": "can_sleep", "id": sleep_id})
                sleep_id += 1
                emit("power", {"message": "will_sleep", "id": sleep_id})
            else:
                emit("power", {"message": "powered_on", "id": sleep_id})
                emit("set", {"wake_reason": rng.choice(["tmr", "wnet dock", "home", "aux"])})
            sleep_id += 1
            awake = not awake
        elif roll < 0.93:
            counters += rng.randint(0, 5)
            emit("net", {"en0": {"tcpOOOPkt": counters, "udpPort0": counters // 3}})
        elif roll < 0.95:
            lpm = 1 - lpm
            emit("notify", {"name": "com.veltro.system.batterysavermode", "state": lpm})
        elif roll < 0.97:
            emit("thermal", rng.randint(0, 3))
        elif roll < 0.985:
            bundle = apps[rng.randrange(BUNDLES)]["bundle"]
            emit(rng.choice(["installed", "install_started", "uninstalled"]), [bundle])
        elif roll < 0.99:
            emit("memory_pressure", "warning")
        else:
            emit("notify", {"name": "com.veltro.session.write"})
    for line in out[:lines]:
        sys.stdout.write(json.dumps(line, separators=(",", ":")) + "\n")


if __name__ == "__main__":
    main(sys.argv)
