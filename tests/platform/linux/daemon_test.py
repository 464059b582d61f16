#!/usr/bin/python3
"""`tallyd run` as a real process on fake hardware (umockdev) with system services on private
buses: Debian's own power-profiles-daemon where a case needs it, python-dbusmock's logind, polkit
and a display configuration. Expected values follow from the documented battery, state and key
rules.

Run one case: umockdev-wrapper /usr/bin/python3 daemon_test.py DaemonTest.test_battery_drain
(the script re-runs itself under umockdev-wrapper when it is not). $TALLYD names the binary.
"""

import os
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

if 'umockdev' not in os.environ.get('LD_PRELOAD', ''):
    os.execvp('umockdev-wrapper', ['umockdev-wrapper', sys.executable] + sys.argv)

import dbus  # noqa: E402
import dbusmock  # noqa: E402
import gi  # noqa: E402

gi.require_version('UMockdev', '1.0')
from gi.repository import UMockdev  # noqa: E402

TALLYD = os.environ.get('TALLYD', 'tallyd')
LOGIND_IFACE = 'org.freedesktop.login1.Manager'
PPD_IFACE = 'net.hadess.PowerProfiles'
MUTTER = 'org.gnome.Mutter.DisplayConfig'
MUTTER_PATH = '/org/gnome/Mutter/DisplayConfig'
KEY = 'com.veltro.power.state.'


def wait_until(condition, timeout=10.0, what='the condition'):
    deadline = time.monotonic() + timeout
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    raise AssertionError('timed out waiting for ' + what)


class DaemonTest(dbusmock.DBusTestCase):
    @classmethod
    def setUpClass(cls):
        cls.start_system_bus()
        cls.start_session_bus()
        cls.system = cls.get_dbus(system_bus=True)
        cls.session = cls.get_dbus(system_bus=False)

    @classmethod
    def stop_dbus(cls, pid):
        """Stops a private bus. The bus forked away from us, so only the machine's init reaps
        it; a container's init may take seconds, while the bus is done as soon as it is a
        zombie."""
        os.kill(pid, signal.SIGTERM)

        def ended():
            try:
                with open('/proc/%d/stat' % pid) as f:
                    return f.read().rsplit(')', 1)[1].split()[0] in ('Z', 'X')
            except (FileNotFoundError, ProcessLookupError):
                return True
        try:
            wait_until(ended, timeout=5, what='the bus %d to stop' % pid)
        except AssertionError:
            os.kill(pid, signal.SIGKILL)

    def setUp(self):
        self.testbed = UMockdev.Testbed.new()
        self.sys = self.testbed.get_sys_dir()
        # A phone's battery that reports its charge (µAh, µV, µA, tenths of °C), a mains
        # adapter, and a raw backlight.
        self.battery = self.add_battery()
        self.adapter = self.testbed.add_device('power_supply', 'AC', None,
                                               ['type', 'Mains', 'online', '0'], [])
        self.backlight = self.testbed.add_device('backlight', 'panel', None, [
            'type', 'raw', 'max_brightness', '1000', 'brightness', '500',
            'actual_brightness', '500'], [])

        self.logind, self.logind_obj = self.spawn_server_template(
            'logind', {}, stdout=subprocess.DEVNULL)
        self.mutter = self.spawn_server(MUTTER, MUTTER_PATH, MUTTER, system_bus=False,
                                        stdout=subprocess.DEVNULL)
        self.mutter_obj = self.session.get_object(MUTTER, MUTTER_PATH)
        self.mutter_obj.AddProperty(MUTTER, 'PowerSaveMode', dbus.Int32(0),
                                    dbus_interface=dbusmock.MOCK_IFACE)

        self.workdir = tempfile.TemporaryDirectory()
        self.db = os.path.join(self.workdir.name, 'stats.db')
        self.daemon = None

    def add_battery(self, **changed):
        attributes = {
            'type': 'Battery', 'present': '1', 'status': 'Discharging', 'charge_now': '3000000',
            'charge_full': '4000000', 'charge_full_design': '4200000', 'voltage_now': '3800000',
            'voltage_min_design': '3700000', 'current_now': '-500000', 'capacity': '75',
            'temp': '300', 'cycle_count': '12', 'serial_number': '0042'}
        attributes.update({name: str(value) for name, value in changed.items()})
        return self.testbed.add_device('power_supply', 'BAT0', None,
                                       [x for item in attributes.items() for x in item], [])

    def tearDown(self):
        if self.daemon and self.daemon.poll() is None:
            self.daemon.kill()
            self.daemon.wait()
        for process in (self.logind, self.mutter):
            process.terminate()
            process.wait()
        self.workdir.cleanup()
        del self.testbed

    # The daemon, started with a notification socket so that its readiness is seen as systemd
    # sees it.
    def start_daemon(self):
        notify_path = os.path.join(self.workdir.name, 'notify')
        listener = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        listener.bind(notify_path)
        listener.settimeout(20)
        env = dict(os.environ, NOTIFY_SOCKET=notify_path, LANG='C.UTF-8',
                   UMOCKDEV_DIR=self.testbed.get_root_dir(), **self.daemon_env())
        env.pop('JOURNAL_STREAM', None)
        self.log = open(os.path.join(self.workdir.name, 'stderr'), 'w+')
        self.daemon = subprocess.Popen(
            [TALLYD, 'run', '--db', self.db, '--state', self.state()] + self.daemon_args(),
            env=env, stdout=self.log, stderr=subprocess.STDOUT)
        message = b''
        while b'READY=1' not in message:
            message = listener.recv(4096)
        listener.close()
        # Events of a later whole second than the start's own commits.
        time.sleep(1.1)

    def start_power_profiles(self):
        """Debian's power-profiles-daemon on the private system bus and the fake hardware, where
        it finds no platform profile nor CPU driver and offers its placeholder's profiles; the
        fake polkit lets the test switch and hold them."""
        daemon = '/usr/libexec/power-profiles-daemon'
        if not os.access(daemon, os.X_OK):
            self.unavailable('power-profiles-daemon is not installed')
        polkitd, polkit = self.spawn_server_template('polkitd', {}, stdout=subprocess.DEVNULL)
        self.addCleanup(polkitd.wait)
        self.addCleanup(polkitd.terminate)
        polkit.SetAllowed([PPD_IFACE + '.switch-profile', PPD_IFACE + '.hold-profile'])
        log = open(os.path.join(self.workdir.name, 'power-profiles-daemon.log'), 'w')
        self.addCleanup(log.close)
        # With $UMOCKDEV_DIR it keeps its state file there, not in /var/lib.
        ppd = subprocess.Popen([daemon, '--verbose'], stdout=log, stderr=subprocess.STDOUT,
                               env=dict(os.environ, UMOCKDEV_DIR=self.testbed.get_root_dir()))
        self.addCleanup(ppd.wait)
        self.addCleanup(ppd.terminate)
        try:
            wait_until(lambda: ppd.poll() is not None or self.system.name_has_owner(PPD_IFACE),
                       what='power-profiles-daemon')
        except AssertionError:
            pass
        if not self.system.name_has_owner(PPD_IFACE):
            self.unavailable('power-profiles-daemon did not start (see %s)' % log.name)
        return self.system.get_object(PPD_IFACE, '/net/hadess/PowerProfiles')

    def unavailable(self, reason):
        """A piece of the machine a case needs is missing or refused: the case is skipped, except
        under CI, where it fails."""
        if os.environ.get('CI'):
            self.fail(reason)
        self.skipTest(reason)

    def daemon_env(self):
        """What a subclass adds to the daemon's environment."""
        return {}

    def daemon_args(self):
        """What a subclass adds to the daemon's command line."""
        return []

    def state(self, *parts):
        return os.path.join(self.workdir.name, 'state', *parts)

    def stop_daemon(self):
        self.daemon.send_signal(signal.SIGTERM)
        return self.daemon.wait(timeout=20)

    def stderr(self):
        self.log.flush()
        with open(self.log.name) as f:
            return f.read()

    def value(self, key):
        """The key's value summed over days, or None when the store has none."""
        with sqlite3.connect(self.db, timeout=10) as db:
            row = db.execute('SELECT SUM(value) FROM scalars WHERE key = ?', (key,)).fetchone()
        return row[0]

    def wait_for_value(self, key, expected):
        wait_until(lambda: self.value(key) == expected, what='%s = %s' % (key, expected))

    def change(self, device, **attributes):
        for name, value in attributes.items():
            self.testbed.set_attribute(device, name, str(value))
        self.testbed.uevent(device, 'change')

    def commit_twice(self):
        """The screen off and on again: two commits, each measuring the battery as it reads then,
        in whole seconds of their own."""
        on = self.value(KEY + 'unplugged_screen_on.count')
        self.change(self.backlight, brightness=0, actual_brightness=0)
        self.wait_for_value(KEY + 'unplugged_screen_on.count', on + 1)
        time.sleep(1.1)
        off = self.value(KEY + 'unplugged_screen_off.count')
        self.change(self.backlight, brightness=500, actual_brightness=500)
        self.wait_for_value(KEY + 'unplugged_screen_off.count', off + 1)
        time.sleep(1.1)

    def drained(self):
        """The energy booked while unplugged, the composite of every unplugged state."""
        return self.value(KEY + 'unplugged.energy')

    def battery_rows(self):
        with sqlite3.connect(self.db, timeout=10) as db:
            return db.execute('SELECT capacity, max_capacity, level FROM timeline '
                              'WHERE capacity IS NOT NULL').fetchall()

    def inhibitors(self):
        return [tuple(i[:4]) for i in self.logind_obj.ListInhibitors(dbus_interface=LOGIND_IFACE)]

    def test_battery_drain(self):
        self.start_daemon()
        self.assertIn('battery: found, reports its charge', self.stderr())
        # 10 mAh at 3.8 V: 38 mWh drained while unplugged, awake, screen on, low-power mode off.
        self.change(self.battery, charge_now=2990000)
        self.wait_for_value(KEY + 'unplugged.energy', 38)
        for state in ('unplugged_awake', 'unplugged_screen_on', 'unplugged_lpm_off'):
            self.assertEqual(self.value(KEY + state + '.energy'), 38, state)
        self.assertEqual(self.value(KEY + 'pluggedin.energy'), 0)
        self.assertGreaterEqual(self.value(KEY + 'unplugged.duration'), 1)
        # The adapter comes online: the unplugged composite is left once.
        self.change(self.adapter, online=1)
        self.wait_for_value(KEY + 'unplugged.count', 1)
        self.assertEqual(self.stop_daemon(), 0)

    def test_battery_removed_and_back(self):
        self.start_daemon()
        # A gauge that drops off the bus: the kernel removes the supply, then adds it again with
        # the same 3,000 of 4,000 mAh. No charge was lost.
        self.testbed.remove_device(self.battery)
        self.testbed.uevent(self.adapter, 'change')
        time.sleep(0.5)
        self.commit_twice()
        self.battery = self.add_battery()
        self.testbed.uevent(self.battery, 'add')
        time.sleep(0.5)
        self.commit_twice()
        self.assertEqual(self.drained(), 0)
        log = self.stderr()
        self.assertIn('battery BAT0 is gone; its last reading stands for it for up to 30 s', log)
        self.assertIn('battery BAT0 is back after', log)
        self.assertNotIn('Unable to get properties for battery', log)
        self.assertTrue(all(row == (3000, 4000, 75) for row in self.battery_rows()),
                        self.battery_rows())
        # The same battery goes on: a real drain of 10 mAh at 3.8 V is 38 mWh.
        self.change(self.battery, charge_now=2990000)
        self.wait_for_value(KEY + 'unplugged.energy', 38)
        self.assertEqual(self.stop_daemon(), 0)

    def test_unreadable_value(self):
        # Half charged: the percentage the kernel shows beside the charge is 50.
        self.testbed.set_attribute(self.battery, 'charge_now', '2000000')
        self.testbed.set_attribute(self.battery, 'capacity', '50')
        self.start_daemon()
        for _ in range(2):
            self.change(self.battery, charge_now='abc')
            time.sleep(0.5)
            self.commit_twice()
            self.change(self.battery, charge_now=2000000)
            time.sleep(0.5)
            self.commit_twice()
        self.assertEqual(self.drained(), 0)
        # One line for the refusal, however often the driver repeats it within the hour.
        self.assertEqual(self.stderr().count(
            'power supply BAT0: charge_now "abc" refused (not a whole number); its last good '
            'value 2000000 stands'), 1)
        self.assertTrue(all(row == (2000, 4000, 50) for row in self.battery_rows()),
                        self.battery_rows())
        self.assertEqual(self.stop_daemon(), 0)

    def test_impossible_values(self):
        self.start_daemon()
        # A gauge far above full, a negative percentage, and the extremes of the kernel's
        # integers where a product or an absolute value would overflow.
        self.change(self.battery, charge_now=9000000, capacity=-25)
        time.sleep(0.5)
        self.commit_twice()
        self.change(self.battery, charge_now=3000000, current_now=-9223372036854775808,
                    power_now=-9223372036854775808, temp=9223372036854775807,
                    energy_now=9223372036854775807, voltage_min_design=1)
        time.sleep(0.5)
        self.commit_twice()
        self.assertEqual(self.drained(), 0)
        for capacity, maximum, level in self.battery_rows():
            self.assertTrue(0 <= capacity <= maximum <= 4000, (capacity, maximum))
            self.assertTrue(0 <= level <= 100, level)
        log = self.stderr()
        for attribute in ('charge_now', 'capacity', 'current_now', 'power_now', 'temp',
                          'energy_now', 'voltage_min_design'):
            self.assertIn('power supply BAT0: %s "' % attribute, log)
        # A gauge a little above full is believed, with full raised to it: 100 %.
        self.change(self.battery, charge_now=4200000)
        wait_until(lambda: (4200, 4200, 100) in self.battery_rows(), what='a full battery')
        self.assertEqual(self.stop_daemon(), 0)

    def test_sleep_and_wake(self):
        self.start_daemon()
        self.assertIn(('sleep', 'tallyd'), [i[:2] for i in self.inhibitors()])
        self.assertEqual(self.inhibitors()[0][3], 'delay')
        self.assertEqual(self.value(KEY + 'unplugged_awake.count'), 0)
        self.logind_obj.EmitSignal(LOGIND_IFACE, 'PrepareForSleep', 'b', [True],
                                   dbus_interface=dbusmock.MOCK_IFACE)
        # The inhibitor goes only after the module's commit of the sleep is in the store.
        wait_until(lambda: not self.inhibitors(), what='the inhibitor to be released')
        self.assertEqual(self.value(KEY + 'unplugged_awake.count'), 1)
        self.assertEqual(self.value(KEY + 'unplugged_screen_on.count'), 1)

        # Woken by the dock's interrupt.
        os.makedirs(os.path.join(self.sys, 'power'), exist_ok=True)
        with open(os.path.join(self.sys, 'power', 'pm_wakeup_irq'), 'w') as f:
            f.write('45\n')
        os.makedirs(os.path.join(self.sys, 'kernel', 'irq', '45'), exist_ok=True)
        with open(os.path.join(self.sys, 'kernel', 'irq', '45', 'actions'), 'w') as f:
            f.write('dock\n')
        self.logind_obj.EmitSignal(LOGIND_IFACE, 'PrepareForSleep', 'b', [False],
                                   dbus_interface=dbusmock.MOCK_IFACE)
        self.wait_for_value('com.veltro.power.wakecount', 1)
        self.assertEqual(self.value('com.veltro.power.wake_reasons.dock'), 1)
        self.assertIsNone(self.value('com.veltro.power.wake_reasons.other'))
        wait_until(lambda: self.inhibitors(), what='the inhibitor to be taken again')
        self.assertEqual(self.stop_daemon(), 0)

    def test_startup_says_why(self):
        """A source that cannot start says why in its start-up line, and the daemon runs on."""
        self.logind_obj.AddMethod(
            LOGIND_IFACE, 'Inhibit', 'ssss', 'h',
            "raise dbus.exceptions.DBusException('Access denied', "
            "name='org.freedesktop.DBus.Error.AccessDenied')",
            dbus_interface=dbusmock.MOCK_IFACE)
        self.start_daemon()
        self.assertIn('sleep: inhibitor refused: Access denied', self.stderr())
        self.assertEqual(self.inhibitors(), [])
        self.assertEqual(self.stop_daemon(), 0)

    def test_low_power_mode(self):
        # A state directory whose records folder cannot be made is named at start, under its
        # own path, and the power side runs on.
        os.makedirs(self.state())
        open(self.state('records'), 'w').close()
        ppd = self.start_power_profiles()
        self.start_daemon()
        self.assertIn('tallyd: state directory: cannot be written (%s: Not a directory)'
                      % self.state('records'), self.stderr())
        # The user picks the power saver profile, and goes back.
        ppd.Set(PPD_IFACE, 'ActiveProfile', 'power-saver', dbus_interface=dbus.PROPERTIES_IFACE)
        # 3000 of 4000 mAh: level ceil(7.5) * 10 = 80.
        self.wait_for_value(KEY + '80.LPM.enable', 1)
        self.assertEqual(self.value(KEY + 'unplugged_lpm_off.count'), 1)
        ppd.Set(PPD_IFACE, 'ActiveProfile', 'balanced', dbus_interface=dbus.PROPERTIES_IFACE)
        self.wait_for_value(KEY + 'unplugged_lpm_on.count', 1)
        # An application holds the power saver profile and releases it: the daemon switches and
        # switches back on its own.
        cookie = ppd.HoldProfile('power-saver', 'a long download', 'org.example.Sync',
                                 dbus_interface=PPD_IFACE)
        self.wait_for_value(KEY + '80.LPM.enable', 2)
        ppd.ReleaseProfile(cookie, dbus_interface=PPD_IFACE)
        self.wait_for_value(KEY + 'unplugged_lpm_on.count', 2)
        self.assertEqual(self.stop_daemon(), 0)

    def test_backlight_and_display_power(self):
        self.start_daemon()
        # Start-up replays the screen coming on once: the screen-off composite was left once.
        self.assertEqual(self.value(KEY + 'unplugged_screen_off.count'), 1)
        self.change(self.backlight, brightness=0, actual_brightness=0)
        self.wait_for_value(KEY + 'unplugged_screen_on.count', 1)
        self.change(self.backlight, brightness=500, actual_brightness=500)
        self.wait_for_value(KEY + 'unplugged_screen_off.count', 2)
        # Blanking changes no backlight attribute; the compositor's power-save mode says it.
        self.mutter_obj.Set(MUTTER, 'PowerSaveMode', dbus.Int32(3),
                            dbus_interface=dbus.PROPERTIES_IFACE)
        self.wait_for_value(KEY + 'unplugged_screen_on.count', 2)
        self.assertEqual(self.stop_daemon(), 0)

    def test_notify_and_orderly_stop(self):
        self.start_daemon()
        env = dict(os.environ)
        subprocess.run([TALLYD, 'notify', 'com.veltro.session.write'], env=env, check=True)
        wait_until(lambda: 'writing session log' in self.stderr(), what='the session log')
        self.change(self.battery, charge_now=2980000)
        self.wait_for_value(KEY + 'unplugged.energy', 76)
        self.assertEqual(self.stop_daemon(), 0)
        self.assertIn('stopped by signal 15', self.stderr())
        # Everything is in the store once the process is gone; no notify target is left.
        self.assertEqual(self.value(KEY + 'unplugged.energy'), 76)
        # The timeline knows when the daemon ran: a start (unplugged, awake, screen on), the
        # battery change, and the orderly stop; the meta says what filled the store.
        with sqlite3.connect(self.db) as db:
            events = db.execute('SELECT event, state FROM timeline ORDER BY at, rowid').fetchall()
            meta = dict(db.execute('SELECT name, value FROM meta').fetchall())
        self.assertEqual(events[0], ('start', 2 | 4))
        self.assertIn(('battery', 2 | 4), events)
        self.assertEqual(events[-1][0], 'stop')
        self.assertEqual(meta['source'], 'run')
        self.assertNotEqual(
            subprocess.run([TALLYD, 'notify', 'com.veltro.session.write'], env=env,
                           stderr=subprocess.DEVNULL).returncode, 0)


if __name__ == '__main__':
    unittest.main(testRunner=unittest.TextTestRunner(stream=sys.stdout, verbosity=2))
