#!/usr/bin/python3
"""Crash consistency: tallyd replay is killed with SIGKILL at random moments, then the record
files must hold only whole, parseable lines, none repeated or interleaved (at most the last line
of a file may be cut short), the store must still be whole, and the next daemon on the same
sandbox must write the previous period's session log from those records.

CRASH_RUNS sets the number of kills (default 30) and CRASH_SEED the random seed (printed)."""

import json
import os
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

TALLYD = os.environ["TALLYD"]
RECORDS = "var/mobile/Library/Tallyline"
LOGS = "var/mobile/Library/Logs/Faultkeeper"
INTERVALS = 8000
EVENT_LINE = re.compile(rb"^(\d+) (\d+) (\d+) (\d+)$")


def trace(bundles=150, intervals=INTERVALS):
    """Foreground intervals of many bundles, each ending at its own second, so that no two event
    records are alike; a new bundle's first interval also writes its bundle record."""
    lines = [json.dumps({"device": {"apps": [{"bundle": f"com.example.b{i}",
                                              "bundle_version": str(i), "short_version": "1.0"}
                                             for i in range(bundles)]}}),
             json.dumps({"at": 0, "load": True})]
    at = 1
    for n in range(intervals):
        bundle = f"com.example.b{(n * 7) % bundles}"
        lines.append(json.dumps({"at": at, "app_state": {"bundle": bundle, "pid": 100 + n % 50,
                                                         "state": 8}}))
        lines.append(json.dumps({"at": at + 3, "app_state": {"bundle": bundle,
                                                             "pid": 100 + n % 50, "state": 4}}))
        if n % 100 == 0:
            lines.append(json.dumps({"at": at + 4, "battery": {"CurrentCapacity": 2000 - n // 10}}))
        at += 5
    return "\n".join(lines) + "\n"


def split_lines(path):
    """The complete lines of a file, and whatever follows its last line feed."""
    try:
        with open(path, "rb") as f:
            data = f.read()
    except FileNotFoundError:
        return [], b""
    *complete, tail = data.split(b"\n")
    return complete, tail


def tables(db):
    """The tables of a database, read without changing it."""
    with sqlite3.connect(f"file:{db}?mode=ro", uri=True) as connection:
        return [row[0] for row in
                connection.execute("SELECT name FROM sqlite_master WHERE type = 'table'")]


class CrashTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp(prefix="tallyd-crash-")
        self.addCleanup(shutil.rmtree, self.dir)
        self.trace = os.path.join(self.dir, "trace.jsonl")
        with open(self.trace, "w") as f:
            f.write(trace())
        self.next_trace = os.path.join(self.dir, "next.jsonl")
        with open(self.next_trace, "w") as f:
            f.write('{"at": 0, "load": true}\n')

    def replay(self, trace, root, db, *extra, kill_after=None):
        process = subprocess.Popen([TALLYD, "replay", trace, "--root", root, "--db", db,
                                    "--out", os.devnull, *extra],
                                   stderr=subprocess.PIPE, start_new_session=True)
        if kill_after is None:
            _, err = process.communicate(timeout=300)
            return process.returncode, err.decode()
        time.sleep(kill_after)
        # The whole group: the replay runs each daemon process as a child of its own.
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate(timeout=60)
        return None, ""

    def check_records(self, root):
        """The record files' complete lines; fails on anything torn, repeated or out of order."""
        bundles, bundle_tail = split_lines(os.path.join(root, RECORDS, "session_bundles.log"))
        events, event_tail = split_lines(os.path.join(root, RECORDS, "session_events.log"))
        keys = []
        for line in bundles:
            record = json.loads(line)
            self.assertEqual(len(record), 11, line)
            keys.append(record[10])
        # One process, no truncation: keys run 1, 2, 3, ... with nothing repeated or lost.
        self.assertEqual(keys, list(range(1, len(keys) + 1)))
        ends = []
        for line in events:
            fields = EVENT_LINE.match(line)
            self.assertIsNotNone(fields, line)
            key, state, duration, end = map(int, fields.groups())
            self.assertLessEqual(key, len(keys) + (1 if bundle_tail else 0), line)
            self.assertEqual((state, duration), (8, 3), line)
            ends.append(end)
        # Every interval ends at a second of its own, in order: no line twice, none interleaved.
        self.assertEqual(ends, sorted(set(ends)))
        for tail in (bundle_tail, event_tail):
            self.assertLess(len(tail), 4096)  # at most one record cut short
        return bundles, events

    def test_killed_replays_leave_whole_records(self):
        runs = int(os.environ.get("CRASH_RUNS", "30"))
        seed = int(os.environ.get("CRASH_SEED", str(random.randrange(1 << 30))))
        print(f"crash test: {runs} runs, CRASH_SEED={seed}", file=sys.stderr)
        rng = random.Random(seed)
        # How long an unkilled replay takes: the kills fall anywhere within it.
        started = time.monotonic()
        status, err = self.replay(self.trace, os.path.join(self.dir, "whole"),
                                  os.path.join(self.dir, "whole.db"))
        self.assertEqual(status, 0, err)
        length = time.monotonic() - started
        print(f"crash test: an unkilled replay takes {length:.2f} s", file=sys.stderr)
        _, whole_events = self.check_records(os.path.join(self.dir, "whole"))
        self.assertEqual(len(whole_events), INTERVALS)

        for run in range(runs):
            with self.subTest(run=run):
                root = os.path.join(self.dir, f"root{run}")
                db = os.path.join(self.dir, f"stats{run}.db")
                self.replay(self.trace, root, db, kill_after=rng.uniform(0.02, 0.9 * length))
                _, events = self.check_records(root)
                print(f"run {run}: {len(events)} intervals recorded", file=sys.stderr)
                if not os.path.exists(db):
                    continue  # killed before the store was made
                keys = subprocess.run([TALLYD, "keys", "--db", db], capture_output=True,
                                      text=True)
                if tables(db):
                    self.assertEqual(keys.returncode, 0, keys.stderr)
                else:  # killed before the store's first transaction committed
                    self.assertIn("not a tallyd store", keys.stderr)
                # The next daemon writes the previous period: every recorded interval, once.
                status, err = self.replay(self.next_trace, root, db, "--append")
                self.assertEqual(status, 0, err)
                if not events:
                    continue
                logs = [name for name in os.listdir(os.path.join(root, LOGS))]
                self.assertEqual(len(logs), 1, logs)
                with open(os.path.join(root, LOGS, logs[0])) as f:
                    log = f.read()
                self.assertIn('"scheduled" : false', log)
                self.assertEqual(log.count('"type" : "app_session"'), len(events))
                shutil.rmtree(root)


if __name__ == "__main__":
    unittest.main()
