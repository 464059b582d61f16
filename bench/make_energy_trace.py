#!/usr/bin/env python3
"""Writes a device trace whose battery drains by a known power model, and each app's true energy.

    bench/make_energy_trace.py [--days 7] [--seed N] TRACE TRUTH

A week on battery of a device with six apps: sessions on screen at random brightness, apps
using the CPU in the foreground and the background (mail syncing at night, music playing with
the screen off), sleep between. The battery's charge falls by exactly what the model draws
(the gauge shows it in whole mAh, as real ones do), and the CPU counters rise by what the apps
and the system use. TRUTH is JSON: the model's powers, each app's true energy in mWh (its CPU
and its share of the screen, as docs/ATTRIBUTION.md splits them), and the true total drain. The same arguments always give the same bytes.
"""
import argparse
import json
import random
import sys

# The true powers, mW: asleep, awake, the screen at full brightness, one CPU busy.
MODEL = {"sleep": 40.0, "awake": 600.0, "screen": 1500.0, "cpu": 2500.0}
VOLTAGE_MV = 3850
CAPACITY_MAH = 120000  # large enough for a week without a charger
START = 1782864000  # 2026-07-01T00:00:00Z
# Each app: how likely it is picked for a session on screen, its CPU share while on screen,
# and its CPU share in the background (per second of the background activity it has).
APPS = {
    "com.example.video": {"weight": 3, "fg_cpu": 0.35, "bg": None},
    "com.example.game": {"weight": 2, "fg_cpu": 0.95, "bg": None},
    "com.example.chat": {"weight": 4, "fg_cpu": 0.08, "bg": "sync"},
    "com.example.mail": {"weight": 2, "fg_cpu": 0.10, "bg": "sync"},
    "com.example.music": {"weight": 1, "fg_cpu": 0.05, "bg": "play"},
    "com.example.notes": {"weight": 2, "fg_cpu": 0.03, "bg": None},
}
SYSTEM_CPU = 0.02  # CPU the system uses per second awake


class Device:
    def __init__(self, out):
        self.out = out
        self.at = 0
        self.drained_mwh = 0.0  # true energy since the start
        self.shown_mah = CAPACITY_MAH
        self.cpu = {bundle: 0.0 for bundle in APPS}
        self.total_cpu = 0.0
        self.truth = {bundle: 0.0 for bundle in APPS}
        self.state = {bundle: 1 for bundle in APPS}
        self.pids = {bundle: 5000 + i for i, bundle in enumerate(sorted(APPS))}
        self.next_id = 1

    def line(self, action, value):
        self.out.append({"at": self.at, action: value})

    def spend(self, seconds, awake, brightness=None, foreground=None, background=()):
        """Time passes in one state: the battery drains by the model and the counters rise."""
        hours = seconds / 3600.0
        used = {}
        if foreground:
            used[foreground] = APPS[foreground]["fg_cpu"] * seconds
        for bundle in background:
            used[bundle] = used.get(bundle, 0.0) + 0.6 * seconds * (
                0.5 if APPS[bundle]["bg"] == "sync" else 0.25)
        system = SYSTEM_CPU * seconds if awake else 0.0
        energy = MODEL["sleep" if not awake else "awake"] * hours
        if brightness is not None:
            screen = MODEL["screen"] * brightness * hours
            energy += screen
            if foreground:
                self.truth[foreground] += screen
        for bundle, cpu in used.items():
            self.cpu[bundle] += cpu
            self.truth[bundle] += MODEL["cpu"] * cpu / 3600.0
            energy += MODEL["cpu"] * cpu / 3600.0
        self.total_cpu += sum(used.values()) + system
        energy += MODEL["cpu"] * system / 3600.0
        self.drained_mwh += energy
        self.at += int(seconds)

    def counters(self):
        self.line("cpu", {"apps": {b: round(c, 3) for b, c in self.cpu.items()},
                          "total": round(self.total_cpu, 3)})

    def gauge(self):
        """The gauge reports: whole mAh, so the module measures what the battery shows."""
        shown = CAPACITY_MAH - int(self.drained_mwh / (VOLTAGE_MV / 1000.0))
        self.counters()
        self.line("battery", {"CurrentCapacity": shown, "Voltage": VOLTAGE_MV})

    def app_state(self, bundle, state):
        self.counters()
        self.state[bundle] = state
        self.line("app_state", {"bundle": bundle, "pid": self.pids[bundle], "state": state})

    def power(self, message):
        self.line("power", {"message": message, "id": self.next_id})
        self.next_id += 1


def spend_in_steps(device, seconds, **state):
    """A stretch in one state, with the gauge reporting every ten minutes or so."""
    left = seconds
    while left > 0:
        step = min(left, device.rng.randint(300, 900))
        device.spend(step, **state)
        left -= step
        device.gauge()


def session(device, rng):
    """The screen on with one app in front for a while, perhaps a second app after it."""
    brightness = rng.choice([0.2, 0.35, 0.5, 0.65, 0.8, 1.0])
    device.line("set", {"brightness_level": brightness})
    device.line("backlight", int(brightness * 100))
    bundles = list(APPS)
    weights = [APPS[b]["weight"] for b in bundles]
    for _ in range(rng.choice([1, 1, 2])):
        app = rng.choices(bundles, weights)[0]
        device.app_state(app, 8)
        background = tuple(b for b in APPS if device.state[b] == 4 and APPS[b]["bg"] == "play")
        spend_in_steps(device, rng.randint(300, 2400), awake=True, brightness=brightness,
                       foreground=app, background=background)
        # Music plays on in the background; the others stop.
        device.app_state(app, 4 if APPS[app]["bg"] == "play" else 1)
    device.gauge()
    device.line("backlight", 0)


def screen_off_awake(device, rng):
    """Awake with the screen off: the apps that sync do, music plays if it was left playing."""
    syncing = tuple(b for b in APPS if APPS[b]["bg"] == "sync" and rng.random() < 0.6)
    for bundle in syncing:
        device.app_state(bundle, 4)
    playing = tuple(b for b in APPS if device.state[b] == 4 and APPS[b]["bg"] == "play")
    spend_in_steps(device, rng.randint(600, 1800), awake=True, background=syncing + playing)
    for bundle in syncing:
        device.app_state(bundle, 1)
    device.gauge()


def sleep(device, rng, seconds):
    for bundle in APPS:
        if device.state[bundle] == 4 and APPS[bundle]["bg"] == "play" and rng.random() < 0.7:
            device.app_state(bundle, 1)
    device.power("can_sleep")
    device.power("will_sleep")
    device.spend(seconds, awake=False)
    device.gauge()
    device.power("powered_on")


def main(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("trace")
    parser.add_argument("truth")
    parser.add_argument("--days", type=int, default=7)
    parser.add_argument("--seed", type=int, default=20261125)
    args = parser.parse_args(argv[1:])
    rng = random.Random(args.seed)
    out = [{"device": {
        "start": START, "time_zone": "UTC",
        "battery": {"CurrentCapacity": CAPACITY_MAH, "MaxCapacity": CAPACITY_MAH,
                    "DesignCapacity": CAPACITY_MAH, "Voltage": VOLTAGE_MV,
                    "IsCharging": False, "ExternalConnected": False, "AdapterInfo": 0},
        "backlight": {"min": 0, "max": 100, "value": 0}, "brightness_level": 0.5,
        "apps": [{"bundle": b} for b in sorted(APPS)]}}]
    device = Device(out)
    device.rng = rng
    device.line("load", True)
    device.counters()
    for day in range(args.days):
        day_end = (day + 1) * 86400
        # The night: asleep, woken now and then for mail to sync with the screen off.
        while device.at < day * 86400 + 7 * 3600:
            sleep(device, rng, rng.randint(3600, 7200))
            screen_off_awake(device, rng)
        while device.at < day_end - 3 * 3600:
            choice = rng.random()
            if choice < 0.55:
                session(device, rng)
            elif choice < 0.8:
                screen_off_awake(device, rng)
            else:
                sleep(device, rng, rng.randint(900, 5400))
        sleep(device, rng, max(60, day_end - device.at))
    device.gauge()
    with open(args.trace, "w") as f:
        for entry in out:
            f.write(json.dumps(entry, separators=(",", ":")) + "\n")
    truth = {"model_mW": MODEL,
             "apps_mWh": {b: round(e, 3) for b, e in device.truth.items()},
             "drained_mWh": round(device.drained_mwh, 3)}
    with open(args.truth, "w") as f:
        json.dump(truth, f, indent=1, sort_keys=True)
        f.write("\n")


if __name__ == "__main__":
    sys.exit(main(sys.argv))
