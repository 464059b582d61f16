#!/usr/bin/python3
"""`tallyd run` following applications: windows in a headless wlroots compositor (sway with the
headless backend and the pixman renderer), application units from python-dbusmock's systemd
template on the private session bus, a fake Flatpak installation, and the power side's fakes of
daemon_test.py. Expected values follow from the documented state and install-code rules.

Run: umockdev-wrapper /usr/bin/python3 apps_test.py AppsTest.test_windows_units_and_exits
$TOPLEVEL_CLIENT names the test client. Without sway the test is skipped, except under $CI.
"""

import glob
import json
import os
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from daemon_test import DaemonTest, TALLYD, wait_until  # noqa: E402  (re-runs under umockdev)

import dbus  # noqa: E402
import dbusmock  # noqa: E402

CLIENT = os.environ.get('TOPLEVEL_CLIENT', 'toplevel_client')
SYSTEMD = 'org.freedesktop.systemd1'
MANAGER = SYSTEMD + '.Manager'
SCOPE = SYSTEMD + '.Scope'
UNIT_PREFIX = '/org/freedesktop/systemd1/unit/'
# Install event codes: the class, the update bit, the reinstall bit, and the command-line type.
INSTALLED, UPDATED, UNINSTALLED, COMMAND_LINE = 0x10000, 0x18000, 0x20000, 0


class Compositor:
    """sway, headless. It refuses to run as root, so root runs it as an unprivileged user of a
    user namespace of its own."""

    def __init__(self, runtime_dir):
        self.runtime_dir = runtime_dir
        config = os.path.join(runtime_dir, 'sway.config')
        with open(config, 'w') as f:
            f.write('xwayland disable\n')
        env = {k: v for k, v in os.environ.items() if k not in ('LD_PRELOAD', 'WAYLAND_DISPLAY')}
        env.update(XDG_RUNTIME_DIR=runtime_dir, WLR_BACKENDS='headless', WLR_RENDERER='pixman',
                   WLR_LIBINPUT_NO_DEVICES='1')
        command = ['sway', '-c', config]
        if os.geteuid() == 0:
            command = ['unshare', '--user', '--map-user=1000', '--map-group=1000'] + command
        self.log = open(os.path.join(runtime_dir, 'sway.log'), 'w')
        self.process = subprocess.Popen(command, env=env, stdout=self.log, stderr=subprocess.STDOUT)
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline and self.process.poll() is None:
            sockets = glob.glob(os.path.join(runtime_dir, 'sway-ipc.*.sock'))
            if sockets and os.path.exists(os.path.join(runtime_dir, 'wayland-1')):
                self.ipc = sockets[0]
                return
            time.sleep(0.05)
        self.stop()
        raise unittest.SkipTest('the headless compositor did not start (see sway.log)')

    def focus(self, app_id):
        subprocess.run(['swaymsg', '-s', self.ipc, '[app_id="%s"] focus' % app_id], check=True,
                       stdout=subprocess.DEVNULL, env={'PATH': os.environ['PATH']})

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait()
        self.log.close()


class Client:
    """An application's process: a toplevel_client whose windows the test opens and closes."""

    def __init__(self, env):
        self.process = subprocess.Popen([CLIENT], env=env, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)

    def command(self, line):
        self.process.stdin.write(line + '\n')
        self.process.stdin.flush()
        answer = self.process.stdout.readline().split()
        assert answer[:1] in (['opened'], ['closed']), answer

    def stop(self):
        self.process.kill()
        self.process.wait()


class App(Client):
    """One application: a client process with one window, in an application scope whose cgroup
    lists its process."""

    def __init__(self, test, app_id):
        self.app_id = app_id
        env = {k: v for k, v in os.environ.items() if k != 'LD_PRELOAD'}
        env.update(test.wayland_env)
        super().__init__(env)
        self.command('open w ' + app_id)
        self.unit = 'app-gnome-%s-%d.scope' % (app_id, self.process.pid)
        self.path = UNIT_PREFIX + self.unit.replace('.', '_').replace('-', '_')
        cgroup = '/user.slice/user-1000.slice/user@1000.service/app.slice/' + self.unit
        self.cgroup = os.path.join(test.sys, 'fs/cgroup' + cgroup)
        os.makedirs(self.cgroup)
        with open(os.path.join(self.cgroup, 'cgroup.procs'), 'w') as f:
            f.write('%d\n' % self.process.pid)
        self.cpu(0)
        test.systemd_obj.AddMockUnit(self.unit, dbus_interface=dbusmock.MOCK_IFACE)
        unit = test.session.get_object(SYSTEMD, self.path)
        unit.AddProperty(SCOPE, 'ControlGroup', cgroup, dbus_interface=dbusmock.MOCK_IFACE)
        unit.UpdateProperties(SYSTEMD + '.Unit', {'ActiveState': 'active'},
                              dbus_interface=dbusmock.MOCK_IFACE)
        test.systemd_obj.EmitSignal(MANAGER, 'UnitNew', 'so', [self.unit, self.path],
                                    dbus_interface=dbusmock.MOCK_IFACE)

    def exit(self):
        self.process.stdin.close()
        self.process.wait()

    def cpu(self, seconds):
        """The CPU its cgroup has used, as the kernel's cpu.stat says it."""
        self.cpu_stat('usage_usec %d\nuser_usec %d\nsystem_usec 0\n'
                      % (seconds * 1e6, seconds * 1e6))

    def cpu_stat(self, text):
        with open(os.path.join(self.cgroup, 'cpu.stat'), 'w') as f:
            f.write(text)


class AppsTest(DaemonTest):
    def setUp(self):
        if not shutil.which('sway'):
            self.unavailable('sway is not installed')
        super().setUp()
        root = self.workdir.name
        self.runtime = os.path.join(root, 'runtime')
        os.makedirs(self.runtime, mode=0o700)
        try:
            self.compositor = Compositor(self.runtime)
        except unittest.SkipTest:
            if os.environ.get('CI'):
                raise AssertionError('the headless compositor did not start')
            raise
        self.wayland_env = {'XDG_RUNTIME_DIR': self.runtime, 'WAYLAND_DISPLAY': 'wayland-1'}
        self.data = os.path.join(root, 'data')
        self.flatpak = os.path.join(root, 'flatpak')
        os.makedirs(os.path.join(self.data, 'applications'))
        os.makedirs(self.flatpak)
        # Notes is the user's own application; Maps comes from Flatpak.
        with open(os.path.join(self.data, 'applications', 'org.example.Notes.desktop'), 'w') as f:
            f.write('[Desktop Entry]\nType=Application\nName=Notes\nExec=notes\n')
        self.deploy('org.example.Maps', 'c0ffee')
        self.systemd, self.systemd_obj = self.spawn_server_template(
            'systemd', {}, stdout=subprocess.DEVNULL, system_bus=False)
        self.systemd_obj.AddMethod(MANAGER, 'ListUnits', '', 'a(ssssssouso)', 'ret = []',
                                   dbus_interface=dbusmock.MOCK_IFACE)
        self.apps = []

    def tearDown(self):
        for app in getattr(self, 'apps', []):
            if app.process.poll() is None:
                app.process.kill()
                app.process.wait()
        if hasattr(self, 'systemd'):
            self.systemd.terminate()
            self.systemd.wait()
        if hasattr(self, 'compositor'):
            self.compositor.stop()
        super().tearDown()

    def daemon_env(self):
        return dict(self.wayland_env, XDG_DATA_HOME=self.data, XDG_DATA_DIRS=self.data,
                    FLATPAK_USER_DIR=self.flatpak,
                    FLATPAK_SYSTEM_DIR=os.path.join(self.workdir.name, 'no-system-flatpak'))

    def daemon_args(self):
        # The user shares analytics with developers: the session log holds every app's sessions.
        config = os.path.join(self.workdir.name, 'config.json')
        with open(config, 'w') as f:
            f.write('{"consent": true}\n')
        return ['--config', config]

    def deploy(self, app_id, commit, remove=False):
        """What flatpak leaves in an installation when it installs, updates or removes an app,
        and the touch of .changed that ends each of its transactions."""
        app = os.path.join(self.flatpak, 'app', app_id)
        if remove:
            shutil.rmtree(app)
        else:
            branch = os.path.join(app, 'x86_64', 'stable')
            os.makedirs(os.path.join(branch, commit, 'export/share/applications'))
            with open(os.path.join(branch, commit, 'deploy'), 'wb') as f:
                f.write(b'flathub\0' + commit.encode() + b'\0')
            with open(os.path.join(branch, commit, 'export/share/applications',
                                   app_id + '.desktop'), 'w') as f:
                f.write('[Desktop Entry]\nType=Application\nName=%s\nExec=x\n' % app_id)
            if os.path.lexists(os.path.join(branch, 'active')):
                os.unlink(os.path.join(branch, 'active'))
            os.symlink(commit, os.path.join(branch, 'active'))
            if not os.path.lexists(os.path.join(app, 'current')):
                os.symlink('x86_64/stable', os.path.join(app, 'current'))
        with open(os.path.join(self.flatpak, '.changed'), 'w'):
            pass

    def open_app(self, app_id):
        app = App(self, app_id)
        self.apps.append(app)
        return app

    def events(self):
        """The event records: (bundle, state, duration) in the order written."""
        path = self.state('records')
        try:
            with open(os.path.join(path, 'session_bundles.log')) as f:
                bundles = {key: line.split('"')[1] for key, line in enumerate(f, 1)}
            with open(os.path.join(path, 'session_events.log')) as f:
                lines = f.read().split()
        except FileNotFoundError:
            return []
        fields = [int(x) for x in lines]
        return [(bundles[fields[i]], fields[i + 1], fields[i + 2])
                for i in range(0, len(fields), 4)]

    def test_windows_units_and_exits(self):
        self.start_daemon()
        self.assertIn('foreground: the compositor\'s toplevels (wlroots)', self.stderr())
        self.assertIn('application units: the user manager\'s', self.stderr())
        notes = self.open_app('org.example.Notes')
        self.wait_for_value('appLaunchCount.org.example.Notes', 1)
        self.assertEqual(self.value('appActivationCount.org.example.Notes'), 1)
        time.sleep(1.1)
        # Maps opens and takes the focus: Notes goes to the background, counting its time.
        maps = self.open_app('org.example.Maps')
        self.wait_for_value('appLaunchCount.org.example.Maps', 1)
        wait_until(lambda: self.value('appActiveTime.org.example.Notes') is not None)
        self.assertGreaterEqual(self.value('appActiveTime.org.example.Notes'), 1)
        # Back to Notes: an activation, not a launch.
        self.compositor.focus('org.example.Notes')
        self.wait_for_value('appActivationCount.org.example.Notes', 2)
        self.assertEqual(self.value('appLaunchCount.org.example.Notes'), 1)
        # Maps closes its window but its process lives on in its scope: background. A second
        # later it exits, and the exit of its process ends that background stretch.
        maps.command('close w')
        time.sleep(1.1)
        maps.exit()
        wait_until(lambda: (self.value('appBackgroundActiveTime.org.example.Maps') or 0) >= 1,
                   what='the background time that ends at the exit')
        notes.exit()
        wait_until(lambda: [e for e in self.events() if e[0] == 'org.example.Notes'
                            and e[1] == 8].__len__() == 2, what='two foreground stretches')
        foreground = [(b, s) for b, s, _ in self.events()]
        self.assertEqual(foreground.count(('org.example.Maps', 8)), 1)
        self.assertEqual(self.stop_daemon(), 0)

    def intervals(self):
        with sqlite3.connect(self.db, timeout=10) as db:
            return db.execute('SELECT id, duration, energy, plugged, awake, screen, brightness '
                              'FROM power_intervals ORDER BY id').fetchall()

    def interval_apps(self):
        with sqlite3.connect(self.db, timeout=10) as db:
            return db.execute('SELECT interval, bundle, foreground_time, foreground_cpu, '
                              'background_cpu FROM interval_apps ORDER BY interval, bundle'
                              ).fetchall()

    def test_battery_use_by_app(self):
        self.start_daemon()
        notes = self.open_app('org.example.Notes')
        self.wait_for_value('appLaunchCount.org.example.Notes', 1)
        # Notes uses 3 s of CPU on screen; the battery then shows 100 mAh less at 3.8 V: 380 mWh.
        notes.cpu(3)
        time.sleep(1.1)
        self.change(self.battery, charge_now=2900000)
        wait_until(lambda: len(self.intervals()) == 1, what='the first interval')
        # Maps takes the screen; Notes uses 2 s more in the background, Maps 1.5 s in front.
        maps = self.open_app('org.example.Maps')
        self.wait_for_value('appLaunchCount.org.example.Maps', 1)
        notes.cpu(5)
        maps.cpu(1.5)
        time.sleep(1.1)
        self.change(self.battery, charge_now=2800000)
        wait_until(lambda: len(self.intervals()) == 2, what='the second interval')
        # Notes's cpu.stat holds garbage: its CPU in the third interval is not known.
        notes.cpu_stat('usage_usec garbage\n')
        time.sleep(1.1)
        self.change(self.battery, charge_now=2700000)
        wait_until(lambda: len(self.intervals()) == 3, what='the third interval')
        said = ('cpu: /sys/fs/cgroup/user.slice/user-1000.slice/user@1000.service/app.slice/'
                + notes.unit + '/cpu.stat: no CPU time in it; its application\'s CPU until the '
                'next reading is not known')
        wait_until(lambda: said in self.stderr(), what='the line on the unreadable counter')
        self.assertEqual(self.stop_daemon(), 0)

        intervals = self.intervals()
        self.assertEqual([row[2:] for row in intervals], [(380.0, 0, 1, 1, 50.0)] * 3)
        apps = self.interval_apps()
        by = {(i, bundle): (fg, cpu_fg, cpu_bg) for i, bundle, fg, cpu_fg, cpu_bg in apps}
        first, second, third = (row[0] for row in intervals)
        self.assertEqual(by[(first, 'org.example.Notes')][1:], (3.0, 0.0))
        self.assertEqual(by[(second, 'org.example.Notes')][1:], (0.0, 2.0))
        self.assertEqual(by[(second, 'org.example.Maps')][1:], (1.5, 0.0))
        self.assertEqual(by[(third, 'org.example.Notes')][1:], (None, None))

        # Too little history for a fit: the default powers, a CPU second costing 5000/3600 mWh
        # and the full screen 3000 mW, at half brightness here.
        report = json.loads(subprocess.run([TALLYD, 'report', '--db', self.db, '--format',
                                            'json'], check=True, capture_output=True,
                                           text=True).stdout)
        table = report['tables']['app_energy']
        self.assertIn('Default powers', table['note'])
        rows = {row['app']: row for row in table['rows']}
        cpu_second = 5000 / 3600
        notes_row, maps_row = rows['org.example.Notes'], rows['org.example.Maps']
        self.assertAlmostEqual(notes_row['cpu_mWh'], 5 * cpu_second, places=2)
        self.assertIsNone(notes_row['cpu_foreground_s'])  # one interval's CPU is unknown
        self.assertAlmostEqual(maps_row['cpu_mWh'], 1.5 * cpu_second, places=2)
        self.assertEqual(maps_row['cpu_foreground_s'], 1.5)
        # The screen goes to the app in front by its time there, within each interval.
        screen = {'org.example.Notes': 0.0, 'org.example.Maps': 0.0}
        for interval, duration, *_ in intervals:
            shares = [(b, fg) for (i, b), (fg, _, _) in by.items() if i == interval]
            base = max(duration, sum(fg for _, fg in shares))
            for bundle, fg in shares:
                screen[bundle] += 3000 * duration * 0.5 / 3600 * fg / base
        for bundle, energy in screen.items():
            self.assertAlmostEqual(rows[bundle]['screen_mWh'], energy, places=2)
        self.assertAlmostEqual(sum(row['energy_mWh'] for row in table['rows']), 3 * 380,
                               delta=0.01)

    def test_flatpak_installs_schedule_and_report(self):
        os.makedirs(self.state('last-run'))
        # The schedule's last run was six hours ago: it is due, and waits for the screen to
        # sleep.
        with open(self.state('last-run', 'com.veltro.session.schedule'), 'w') as f:
            f.write('%d\n' % (time.time() - 6 * 3600))
        self.start_daemon()
        self.assertNotIn('scheduled session log', self.stderr())

        self.deploy('org.example.Chat', 'a1')
        wait_until(lambda: ('org.example.Chat', INSTALLED | COMMAND_LINE, 0) in self.events(),
                   what='the install event')
        self.deploy('org.example.Maps', 'c0ffee2')
        wait_until(lambda: ('org.example.Maps', UPDATED | COMMAND_LINE, 0) in self.events(),
                   what='the update event')
        self.deploy('org.example.Chat', None, remove=True)
        wait_until(lambda: ('org.example.Chat', UNINSTALLED, 0) in self.events(),
                   what='the removal event')
        # Installed again: a reinstall.
        self.deploy('org.example.Chat', 'a2')
        wait_until(lambda: ('org.example.Chat', INSTALLED | 0x4000 | COMMAND_LINE, 0)
                   in self.events(), what='the reinstall event')

        chat = self.open_app('org.example.Chat')
        self.wait_for_value('appLaunchCount.org.example.Chat', 1)
        chat.exit()

        # A sandbox of Maps, with neither unit nor window: running in the background until its
        # process exits. It is the first since boot, so flatpak creates .flatpak for it.
        sandbox = subprocess.Popen(['sleep', '60'])
        self.addCleanup(sandbox.kill)
        instance = os.path.join(self.runtime, '.flatpak', '2048')
        os.makedirs(instance)
        with open(os.path.join(instance, 'info'), 'w') as f:
            f.write('[Application]\nname=org.example.Maps\n\n[Instance]\ninstance-id=2048\n')
        with open(os.path.join(instance, 'bwrapinfo.json'), 'w') as f:
            f.write('{\n    "child-pid": %d,\n    "ipc-namespace": 4026532\n}\n' % sandbox.pid)
        self.wait_for_value('appLaunchBackgroundCount.org.example.Maps', 1)
        time.sleep(1.1)
        sandbox.kill()
        sandbox.wait()
        wait_until(lambda: (self.value('appBackgroundActiveTime.org.example.Maps') or 0) >= 1,
                   what='the sandbox\'s background time')
        wait_until(lambda: ('org.example.Chat', 8) in [(b, s) for b, s, _ in self.events()])

        # The screen sleeps: the scheduled session log is written.
        self.mutter_obj.Set('org.gnome.Mutter.DisplayConfig', 'PowerSaveMode', dbus.Int32(3),
                            dbus_interface=dbus.PROPERTIES_IFACE)
        wait_until(lambda: 'scheduled session log' in self.stderr(), what='the scheduled log')
        logs = wait_until(lambda: os.listdir(self.state('session-logs')), what='the session log')
        with open(self.state('session-logs', logs[0])) as f:
            self.assertIn('"org.example.Chat"', f.read())
        with open(self.state('last-run', 'com.veltro.session.schedule')) as f:
            self.assertGreater(int(f.read()), time.time() - 60)

        # The daily report names the activated third-party app.
        subprocess.run([TALLYD, 'notify', 'com.veltro.tallyd.tldaily.logging'], check=True)
        activated = lambda: subprocess.run([TALLYD, 'activated', '--db', self.db], text=True,
                                           capture_output=True).stdout
        wait_until(lambda: 'org.example.Chat' in activated(), what='the activated-apps report')
        self.assertEqual(self.stop_daemon(), 0)


class WindowListTest(DaemonTest):
    """What the window-list cases share: Notes, whose windows carry a class of their own that
    its entry names, and Chat, and the apps' foreground counts as they open and switch."""

    def setUp(self):
        super().setUp()
        self.data = os.path.join(self.workdir.name, 'data')
        self.runtime = os.path.join(self.workdir.name, 'runtime')
        os.makedirs(self.runtime, mode=0o700)
        os.makedirs(os.path.join(self.data, 'applications'))
        with open(os.path.join(self.data, 'applications', 'org.example.Notes.desktop'), 'w') as f:
            f.write('[Desktop Entry]\nType=Application\nName=Notes\nExec=notes\n'
                    'StartupWMClass=NotesWindow\n')
        with open(os.path.join(self.data, 'applications', 'org.example.Chat.desktop'), 'w') as f:
            f.write('[Desktop Entry]\nType=Application\nName=Chat\nExec=chat\n')

    def daemon_env(self):
        return dict(XDG_RUNTIME_DIR=self.runtime, XDG_DATA_HOME=self.data, XDG_DATA_DIRS=self.data,
                    FLATPAK_USER_DIR=os.path.join(self.workdir.name, 'no-flatpak'),
                    FLATPAK_SYSTEM_DIR=os.path.join(self.workdir.name, 'no-flatpak'))

    def command(self, line):
        self.client.stdin.write(line + '\n')
        self.client.stdin.flush()
        self.assertEqual(self.client.stdout.readline().strip(), 'ok')

    def open_switch_and_close(self, open_notes, open_chat, focus_notes, close_chat):
        self.open_and_switch(open_notes, open_chat, focus_notes)
        # Chat's window closes: it is gone, its foreground time counted.
        close_chat()
        wait_until(lambda: self.value('appActiveTime.org.example.Chat') is not None,
                   what='Chat\'s foreground time')
        self.assertEqual(self.stop_daemon(), 0)

    def open_and_switch(self, open_notes, open_chat, focus_notes):
        open_notes()
        self.wait_for_value('appLaunchCount.org.example.Notes', 1)
        time.sleep(1.1)
        open_chat()
        self.wait_for_value('appLaunchCount.org.example.Chat', 1)
        wait_until(lambda: (self.value('appActiveTime.org.example.Notes') or 0) >= 1,
                   what='Notes\' foreground time')
        focus_notes()
        self.wait_for_value('appActivationCount.org.example.Notes', 2)
        self.assertEqual(self.value('appLaunchCount.org.example.Notes'), 1)
        self.assertEqual(self.value('appActivationCount.org.example.Chat'), 1)


class KdeTest(WindowListTest):
    """KWin's window list as a compositor without a stacking order lists it (the protocol before
    version 12), which the real KWin cannot be driven into: a stand-in that offers only that
    global and announces each window shown and active."""

    def setUp(self):
        super().setUp()
        self.client = subprocess.Popen(
            [os.environ.get('KDE_COMPOSITOR', 'kde_compositor')], text=True,
            env=dict(os.environ, XDG_RUNTIME_DIR=self.runtime, WAYLAND_DISPLAY='kde-test'),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(self.client.wait)
        self.addCleanup(self.client.kill)
        self.assertEqual(self.client.stdout.readline().strip(), 'ready')

    def daemon_env(self):
        return dict(super().daemon_env(), WAYLAND_DISPLAY='kde-test')

    def test_kde_windows(self):
        self.start_daemon()
        self.assertIn('foreground: the compositor\'s windows (KDE)', self.stderr())
        self.open_switch_and_close(lambda: self.command('open n1 NotesWindow 4242'),
                                   lambda: self.command('open c1 org.example.Chat 4343'),
                                   lambda: self.command('activate n1'),
                                   lambda: self.command('close c1'))


class KwinTest(WindowListTest):
    """The real KWin, headless (its virtual backend), with tallyd's desktop file where KWin
    looks for it, as an installation has it; the test switches and minimises windows with KWin's
    own scripting, on the private session bus."""

    SOCKET = 'kwin-test'

    def setUp(self):
        if not shutil.which('kwin_wayland'):
            self.unavailable('kwin_wayland is not installed')
        super().setUp()
        root = self.workdir.name
        # KWin grants its window list to the client whose executable a desktop file names.
        share = os.path.join(root, 'kwin-share')
        os.makedirs(os.path.join(share, 'applications'))
        with open(os.path.join(share, 'applications', 'tallyd.desktop'), 'w') as f:
            f.write('[Desktop Entry]\nType=Application\nName=tallyd\nExec=%s run\nNoDisplay=true\n'
                    'X-KDE-Wayland-Interfaces=org_kde_plasma_window_management\n'
                    % os.path.realpath(shutil.which(TALLYD)))
        env = {k: v for k, v in os.environ.items()
               if k not in ('LD_PRELOAD', 'WAYLAND_DISPLAY', 'DISPLAY')}
        env.update(XDG_RUNTIME_DIR=self.runtime,
                   XDG_DATA_DIRS=share + ':/usr/local/share:/usr/share',
                   XDG_CONFIG_HOME=os.path.join(root, 'kwin-config'),
                   XDG_CACHE_HOME=os.path.join(root, 'kwin-cache'), KWIN_COMPOSE='Q')
        self.kwin_log = open(os.path.join(root, 'kwin.log'), 'w')
        try:
            self.kwin = subprocess.Popen(['kwin_wayland', '--virtual', '--no-lockscreen',
                                          '--socket', self.SOCKET], env=env,
                                         stdout=self.kwin_log, stderr=subprocess.STDOUT)
        except PermissionError as e:
            # Debian's binary carries a file capability that some containers refuse to exec.
            self.unavailable('kwin_wayland cannot be run here (%s); as root, "setcap -r %s" '
                             'lets it run' % (e.strerror, shutil.which('kwin_wayland')))
        self.addCleanup(self.kwin_log.close)
        self.addCleanup(self.kwin.wait)
        self.addCleanup(self.kwin.terminate)
        socket_path = os.path.join(self.runtime, self.SOCKET)
        try:
            wait_until(lambda: self.kwin.poll() is not None or (
                os.path.exists(socket_path) and self.kwin_scripting()), timeout=30,
                what='KWin to start')
        except AssertionError:
            pass
        if self.kwin.poll() is not None or not os.path.exists(socket_path):
            self.unavailable('KWin did not start (see %s)' % self.kwin_log.name)
        self.client_env = {k: v for k, v in os.environ.items() if k != 'LD_PRELOAD'}
        self.client_env.update(XDG_RUNTIME_DIR=self.runtime, WAYLAND_DISPLAY=self.SOCKET)
        self.scripts = 0

    def kwin_scripting(self):
        return self.session.name_has_owner('org.kde.KWin')

    def daemon_env(self):
        return dict(super().daemon_env(), WAYLAND_DISPLAY=self.SOCKET)

    def client(self):
        client = Client(self.client_env)
        self.addCleanup(client.stop)
        return client

    def on_window(self, app_id, action):
        """Runs a KWin script that does action to the window of app_id, as the task manager does
        at a user's click."""
        self.scripts += 1
        path = os.path.join(self.workdir.name, 'script%d.js' % self.scripts)
        with open(path, 'w') as f:
            f.write('const all = workspace.windowList ? workspace.windowList() '
                    ': workspace.clientList();\n'
                    'for (const w of all) if (w.desktopFileName == "%s") { %s }\n'
                    % (app_id, action))
        scripting = self.session.get_object('org.kde.KWin', '/Scripting')
        name = 'tallyline-test-%d' % self.scripts
        scripting.loadScript(path, name, signature='ss', dbus_interface='org.kde.kwin.Scripting')
        # Starting the scripting runs each script loaded and not yet running, soon after it
        # answers: the script stays loaded, since unloading it now could stop it before it ran.
        scripting.start(dbus_interface='org.kde.kwin.Scripting')

    def activate(self, app_id):
        self.on_window(app_id, 'if (workspace.activeWindow !== undefined) '
                               'workspace.activeWindow = w; else workspace.activeClient = w;')

    def test_kwin_windows(self):
        self.start_daemon()
        self.assertIn('foreground: the compositor\'s windows (KDE)', self.stderr())
        notes, chat = self.client(), self.client()
        # KWin announces each window before it is shown and activates it as it maps it: both
        # windows are launches into the foreground.
        self.open_and_switch(lambda: notes.command('open n1 NotesWindow'),
                             lambda: chat.command('open c1 org.example.Chat'),
                             lambda: self.activate('NotesWindow'))
        # Notes opens a second window, which KWin activates as the first loses the focus: Notes
        # never left the foreground, so no activation of it is counted.
        notes.command('open n2 NotesWindow')
        time.sleep(1.1)
        self.activate('org.example.Chat')
        self.wait_for_value('appActivationCount.org.example.Chat', 2)
        self.assertEqual(self.value('appActivationCount.org.example.Notes'), 2)
        # Chat's window minimised: KWin gives the focus back to Notes, and Chat runs on behind
        # until its window closes.
        self.on_window('org.example.Chat', 'w.minimized = true;')
        self.wait_for_value('appActivationCount.org.example.Notes', 3)
        time.sleep(1.1)
        chat.command('close c1')
        wait_until(lambda: (self.value('appBackgroundActiveTime.org.example.Chat') or 0) >= 1,
                   what='Chat\'s time behind')
        # Both of Notes' windows close: Notes is gone, its foreground time counted.
        notes.command('close n1')
        notes.command('close n2')
        wait_until(lambda: (self.value('appActiveTime.org.example.Notes') or 0) >= 2,
                   what='Notes\' foreground time')
        self.assertEqual(self.value('appLaunchCount.org.example.Notes'), 1)
        self.assertEqual(self.value('appLaunchCount.org.example.Chat'), 1)
        self.assertIsNone(self.value('appLaunchBackgroundCount.org.example.Notes'))
        self.assertIsNone(self.value('appLaunchBackgroundCount.org.example.Chat'))
        self.assertEqual(self.value('appActivationCount.org.example.Notes'), 3)
        self.assertEqual(self.value('appActivationCount.org.example.Chat'), 2)
        self.assertEqual(self.stop_daemon(), 0)


class X11Test(WindowListTest):
    """An X11 session: Xvfb, and a client that opens windows and keeps the window manager's
    root properties."""

    def setUp(self):
        if not shutil.which('Xvfb'):
            self.unavailable('Xvfb is not installed')
        super().setUp()
        read, write = os.pipe()
        self.xvfb = subprocess.Popen(['Xvfb', '-displayfd', str(write), '-nolisten', 'tcp'],
                                     pass_fds=[write], stdout=subprocess.DEVNULL,
                                     stderr=subprocess.DEVNULL)
        self.addCleanup(self.xvfb.wait)
        self.addCleanup(self.xvfb.terminate)
        os.close(write)
        with os.fdopen(read) as f:
            self.display = ':' + f.readline().strip()
        self.client = subprocess.Popen([os.environ.get('X11_CLIENT', 'x11_client')],
                                       env=dict(os.environ, DISPLAY=self.display), text=True,
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(self.client.wait)
        self.addCleanup(self.client.kill)

    def daemon_env(self):
        return dict(super().daemon_env(), DISPLAY=self.display, WAYLAND_DISPLAY='')

    def test_x11_active_window(self):
        self.start_daemon()
        self.assertIn('foreground: the X11 window manager\'s active window', self.stderr())
        # Chat's GTK application ID names it directly.
        self.open_switch_and_close(lambda: self.command('open notes NotesWindow'),
                                   lambda: self.command('open chat Chat-app org.example.Chat'),
                                   lambda: self.command('focus notes'),
                                   lambda: self.command('close chat'))


if __name__ == '__main__':
    unittest.main(testRunner=unittest.TextTestRunner(stream=sys.stdout, verbosity=2))
