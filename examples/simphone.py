"""The simulated phone that the example traces are written from: a battery that follows a simple
model (below), gauged every 20 minutes while awake, and the trace lines a device reports."""

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
    def __init__(self, apps=None, foreground_cpu=None, background_cpu=None, charge_mah=2000):
        self.apps = apps or APPS
        self.foreground_cpu = foreground_cpu or FOREGROUND_CPU
        self.background_cpu = background_cpu or BACKGROUND_CPU
        self.lines = []
        self.at = 0.0
        self.mwh = charge_mah * VOLTS  # the charge now
        self.awake = True
        self.brightness = 0
        self.plugged = False
        self.running = {}  # bundle -> "fg" or "bg"
        self.cpu = {bundle: 0.0 for bundle in self.apps}
        self.total_cpu = 0.0
        self.last_gauge = 0.0
        self.power_id = 100

    def cpu_rates(self):
        rates = {}
        if self.awake:
            for bundle, how in self.running.items():
                table = self.foreground_cpu if how == "fg" else self.background_cpu
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

    def begin(self, start, zone, machine, locale, system_version=None):
        """The trace's device line for this phone and its apps, then the module loaded and the
        phone put to sleep."""
        device = {"start": start, "time_zone": zone, "machine": machine, "locale": locale}
        if system_version:
            device["system_version"] = system_version
        device.update({
            "backlight": {"min": 0, "max": 100, "value": 0},
            "apps": [{"bundle": b, "bundle_version": "1", "short_version": "1.0"}
                     for b in self.apps],
            "processes": {str(pid): {"uuid": f"00000000-0000-4000-8000-{pid:012d}", "lp64": True}
                          for pid in self.apps.values()},
            "wake_reason": "rtc",
        })
        self.lines.append({"device": device})
        self.emit("load", True)
        self.gauge()
        self.sleep(10)

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
        self.emit("app_state", {"bundle": bundle, "pid": self.apps[bundle], "state": states[how]})
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
