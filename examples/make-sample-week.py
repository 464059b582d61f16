#!/usr/bin/env python3
"""Writes examples/sample-week.jsonl: a week of a phone on the simulated device.

    examples/make-sample-week.py > examples/sample-week.jsonl

Seven days from 2026-06-01 in Europe/Paris. Each day has the same rhythm: woken at 07:00, the
apps used in the morning, at noon and in the evening, charged from 18:00 to 19:30, asleep from
23:10 with one timer wake at 03:10. Some nights are not quiet: the night to day 2 runs hot, the
night to day 4 is a wake loop (a wake every four minutes), and on the night to day 6 a sync app
keeps the device awake until 04:30 and then drains the battery in the background through the
morning; the night to day 7 is spent on the charger. The battery follows a simple model (below),
reported by a gauge every 20 minutes while awake. No randomness: the same script always writes
the same bytes.
"""
import json
import sys

START = 1780264800  # 2026-06-01 00:00 in Europe/Paris (UTC+2)
DAY = 86400
CAPACITY_MAH = 2500  # the simulated battery's full charge
VOLTS = 3.85
# The model the battery follows, mW: asleep, awake, the screen at full brightness, one CPU busy,
# and the charger's power into the battery.
ASLEEP, AWAKE, SCREEN, CPU, CHARGER = 30.0, 200.0, 600.0, 1200.0, 7000.0
SYSTEM_CPU = 0.02  # CPU seconds a second of the system's own while awake
APPS = {"com.example.notes": 4101, "com.example.maps": 4102, "com.example.news": 4103,
        "com.example.game": 4104, "com.example.sync": 4105}
# CPU seconds a second each application uses in the foreground and in the background.
FOREGROUND_CPU = {"com.example.notes": 0.05, "com.example.maps": 0.35, "com.example.news": 0.1,
                  "com.example.game": 0.6, "com.example.sync": 0.1}
BACKGROUND_CPU = {"com.example.sync": 0.2, "com.example.maps": 0.1}


class Phone:
    def __init__(self):
        self.lines = []
        self.at = 0.0
        self.mwh = 2000 * VOLTS  # the simulated battery's charge at the start  # the charge now
        self.awake = True
        self.brightness = 0
        self.plugged = False
        self.running = {}  # bundle -> "fg" or "bg"
        self.cpu = {bundle: 0.0 for bundle in APPS}
        self.total_cpu = 0.0
        self.last_gauge = 0.0
        self.power_id = 100

    def cpu_rates(self):
        rates = {}
        if self.awake:
            for bundle, how in self.running.items():
                table = FOREGROUND_CPU if how == "fg" else BACKGROUND_CPU
                rates[bundle] = table.get(bundle, 0.0)
        return rates

    def advance(self, to):
        """Runs the model up to `to`, with a gauge reading every 20 minutes while awake."""
        while self.at < to:
            step = min(to, self.at + 60) - self.at
            rates = self.cpu_rates()
            busy = sum(rates.values()) + (SYSTEM_CPU if self.awake else 0)
            power = (AWAKE + SCREEN * self.brightness / 100 + CPU * busy) if self.awake else ASLEEP
            if self.plugged:
                power -= CHARGER
            self.mwh = min(CAPACITY_MAH * VOLTS, self.mwh - power * step / 3600)
            for bundle, rate in rates.items():
                self.cpu[bundle] += rate * step
            self.total_cpu += busy * step
            self.at += step
            if self.awake and self.at - self.last_gauge >= 1200:
                self.gauge()

    def emit(self, action, value):
        self.lines.append({"at": round(self.at), action: value})

    def gauge(self):
        self.emit("cpu", {"apps": {b: round(s, 1) for b, s in self.cpu.items() if s},
                          "total": round(self.total_cpu, 1)})
        self.emit("battery", {"CurrentCapacity": round(self.mwh / VOLTS), "Voltage": round(VOLTS * 1000)})
        self.last_gauge = self.at

    def at_time(self, t):
        self.advance(t)
        return self

    def wake(self, t, reason):
        self.advance(t)
        self.emit("set", {"wake_reason": reason})
        self.power_id += 1
        self.emit("power", {"message": "powered_on", "id": self.power_id})
        self.awake = True
        self.gauge()

    def sleep(self, t):
        self.advance(t)
        self.screen(t, 0)
        self.gauge()
        for message in ("can_sleep", "will_sleep"):
            self.power_id += 1
            self.emit("power", {"message": message, "id": self.power_id})
        self.awake = False

    def screen(self, t, brightness):
        self.advance(t)
        if brightness != self.brightness:
            self.brightness = brightness
            self.emit("backlight", brightness)

    def app(self, t, bundle, how):
        """how: "fg", "bg", or None when it ends."""
        self.advance(t)
        self.gauge()  # the counters just before the change, as a device reads them
        states = {"fg": 8, "bg": 4, None: 1}
        self.emit("app_state", {"bundle": bundle, "pid": APPS[bundle], "state": states[how]})
        if how:
            self.running[bundle] = how
        else:
            self.running.pop(bundle, None)

    def use(self, t, bundle, minutes):
        self.app(t, bundle, "fg")
        self.app(t + minutes * 60, bundle, None)

    def plug(self, t, on):
        self.advance(t)
        self.plugged = on
        self.emit("battery", {"AdapterInfo": int(on), "IsCharging": on, "ExternalConnected": on,
                              "CurrentCapacity": round(self.mwh / VOLTS)})

    def thermal(self, t, level):
        self.advance(t)
        self.emit("thermal", level)


def hours(day, h, m=0):
    return day * DAY + h * 3600 + m * 60


def main():
    phone = Phone()
    device = {
        "start": START, "time_zone": "Europe/Paris", "machine": "SimPhone14,2", "locale": "FR",
        "backlight": {"min": 0, "max": 100, "value": 0},
        "apps": [{"bundle": b, "bundle_version": "1", "short_version": "1.0"} for b in APPS],
        "processes": {str(pid): {"uuid": f"00000000-0000-4000-8000-{pid:012d}", "lp64": True}
                      for pid in APPS.values()},
        "wake_reason": "rtc",
    }
    phone.lines.append({"device": device})
    phone.emit("load", True)
    phone.gauge()
    phone.sleep(10)
    for d in range(7):
        night_to = d + 1  # the night that ends on this day is the night to day d + 1
        # The night.
        if night_to == 2:
            phone.thermal(hours(d, 1), 2)
            phone.thermal(hours(d, 2, 30), 0)
        if night_to == 4:
            for minute in range(0, 7 * 60 + 20, 4):  # from the day's 23:30 to 06:50
                t = hours(d - 1, 23, 30) + minute * 60
                phone.wake(t, "wlan")
                phone.sleep(t + 15)
        elif night_to == 6:
            # The sync app gives up for the rest of the night.
            phone.app(hours(d, 4, 29), "com.example.sync", None)
            phone.sleep(hours(d, 4, 30))
        elif night_to != 7:
            phone.wake(hours(d, 3, 10), "rtc")
            phone.sleep(hours(d, 3, 10) + 20)
        if night_to == 7:
            phone.plug(hours(d, 7), False)
        # The morning.
        phone.wake(hours(d, 7), "button")
        phone.screen(hours(d, 7, 1), 60)
        phone.use(hours(d, 7, 5), "com.example.notes", 15)
        phone.use(hours(d, 8), "com.example.maps", 40)
        if night_to == 6:
            # The sync app runs on in the background all morning, the device awake for it.
            phone.app(hours(d, 8, 41), "com.example.sync", "bg")
            phone.screen(hours(d, 8, 45), 0)
            phone.app(hours(d, 12, 20), "com.example.sync", None)
            phone.sleep(hours(d, 12, 25))
        else:
            phone.sleep(hours(d, 8, 45))
        # Noon.
        phone.wake(hours(d, 12, 30), "button")
        phone.screen(hours(d, 12, 30), 50)
        phone.use(hours(d, 12, 31), "com.example.news", 30)
        phone.sleep(hours(d, 13, 5))
        phone.wake(hours(d, 15), "rtc")
        phone.sleep(hours(d, 15, 1))
        # The evening, charged first.
        phone.wake(hours(d, 18), "button")
        phone.screen(hours(d, 18), 40)
        phone.plug(hours(d, 18, 1), True)
        phone.plug(hours(d, 19, 30), False)
        phone.use(hours(d, 20), "com.example.game", 60)
        phone.use(hours(d, 21, 10), "com.example.news", 80)
        if d == 4:
            phone.app(hours(d, 23), "com.example.sync", "bg")
            phone.screen(hours(d, 23, 5), 0)
            continue  # awake all night for it
        if d == 5:
            phone.plug(hours(d, 22, 40), True)
        phone.sleep(hours(d, 23, 10))
    if phone.running:
        for bundle in list(phone.running):
            phone.app(phone.at, bundle, None)
    phone.advance(hours(6, 20))
    phone.gauge()
    for line in phone.lines:
        sys.stdout.write(json.dumps(line, separators=(", ", ": ")) + "\n")


if __name__ == "__main__":
    main()
