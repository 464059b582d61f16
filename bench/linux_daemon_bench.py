#!/usr/bin/python3
"""Measures `tallyd run` on fake hardware and services (the integration tests' harness):
the wake-ups per minute of an idle daemon, and the latency from a battery uevent to its
committed batch in the store.

    TALLYD=build/bin/tallyd bench/linux_daemon_bench.py [--idle-seconds 60] [--events 20]
"""

import argparse
import os
import statistics
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'tests', 'platform',
                                'linux'))
import daemon_test  # noqa: E402  (re-runs this script under umockdev-wrapper)


def context_switches(pid):
    """Voluntary and involuntary switches of every thread: each is one wake-up or preemption."""
    total = 0
    for task in os.listdir('/proc/%d/task' % pid):
        with open('/proc/%d/task/%s/status' % (pid, task)) as f:
            for line in f:
                if line.startswith(('voluntary_ctxt_switches', 'nonvoluntary_ctxt_switches')):
                    total += int(line.split()[1])
    return total


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--idle-seconds', type=float, default=60)
    parser.add_argument('--events', type=int, default=20)
    args = parser.parse_args()

    daemon_test.DaemonTest.setUpClass()
    case = daemon_test.DaemonTest('test_battery_drain')
    case.setUp()
    try:
        case.start_power_profiles()
        case.start_daemon()
        pid = case.daemon.pid
        threads = len(os.listdir('/proc/%d/task' % pid))
        time.sleep(2)  # let the start-up's work settle
        before = context_switches(pid)
        time.sleep(args.idle_seconds)
        after = context_switches(pid)
        per_minute = (after - before) * 60.0 / args.idle_seconds
        print('threads: %d' % threads)
        print('idle: %d wake-ups in %.0f s (%.1f per minute)'
              % (after - before, args.idle_seconds, per_minute))

        key = daemon_test.KEY + 'unplugged.energy'
        charge = 3000000
        latencies = []
        for _ in range(args.events):
            time.sleep(1.05)  # a new whole second, so that each event books energy
            previous = case.value(key) or 0
            charge -= 1000
            case.testbed.set_attribute(case.battery, 'charge_now', str(charge))
            start = time.perf_counter()
            case.testbed.uevent(case.battery, 'change')
            while (case.value(key) or 0) == previous:
                time.sleep(0.0002)
            latencies.append((time.perf_counter() - start) * 1000)
        latencies.sort()
        print('uevent to committed batch: median %.2f ms, min %.2f ms, max %.2f ms (%d events)'
              % (statistics.median(latencies), latencies[0], latencies[-1], len(latencies)))
        case.stop_daemon()
    finally:
        case.tearDown()
        case.doCleanups()
        daemon_test.DaemonTest.tearDownClass()


if __name__ == '__main__':
    main()
