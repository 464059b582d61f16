#!/usr/bin/env python3
"""Writes examples/sample-week.jsonl: a week of a phone on the simulated device.

    examples/make-sample-week.py > examples/sample-week.jsonl

Seven days from 2026-06-01 in Europe/Paris. Each day has the same rhythm: woken at 07:00, the
apps used in the morning, at noon and in the evening, charged from 18:00 to 19:30, asleep from
23:10 with one timer wake at 03:10. Some nights are not quiet: the night to day 2 runs hot, the
night to day 4 is a wake loop (a wake every four minutes), and on the night to day 6 a sync app
keeps the device awake until 04:30 and then drains the battery in the background through the
morning; the night to day 7 is spent on the charger. The battery follows the model of simphone.py,
reported by a gauge every 20 minutes while awake. No randomness: the same script always writes
the same bytes.
"""
import json
import sys

from simphone import START, Phone, hours


def main():
    phone = Phone()
    phone.begin(START, "Europe/Paris", "SimPhone14,2", "FR")
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
