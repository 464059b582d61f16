#!/usr/bin/python3
"""`tallyd run` telling installs of the distribution's packages: a fake dpkg database (through
$DPKG_ADMINDIR) changed as dpkg changes it, and software-centre transactions from a PackageKit
mock on the private system bus, on the power side's fakes of daemon_test.py. The daemon logs
each install notice (the "debug-spew" preference); expected lines follow from the documented
install types: 1 for a user's transaction, 5 for root's, 0 without a transaction.

Run: umockdev-wrapper /usr/bin/python3 installs_test.py InstallsTest.test_transactions_and_dpkg
"""

import os
import re
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from daemon_test import DaemonTest, wait_until  # noqa: E402  (re-runs under umockdev)

import dbus  # noqa: E402
import dbusmock  # noqa: E402

PACKAGEKIT = 'org.freedesktop.PackageKit'
PACKAGEKIT_PATH = '/org/freedesktop/PackageKit'
TRANSACTION = PACKAGEKIT + '.Transaction'
ROLE_INSTALL, ROLE_UPDATE = 11, 22
INFO_UPDATING, INFO_INSTALLING = 11, 12
EXIT_SUCCESS, EXIT_CANCELLED = 1, 3


class InstallsTest(DaemonTest):
    def setUp(self):
        super().setUp()
        root = self.workdir.name
        self.dpkg = os.path.join(root, 'dpkg')
        self.apps = os.path.join(root, 'share', 'applications')
        os.makedirs(os.path.join(self.dpkg, 'info'))
        os.makedirs(self.apps)
        self.packages = {}
        self.dpkg_install('editor', '2.4-1', 'org.example.Editor')
        self.packagekit = self.spawn_server(PACKAGEKIT, PACKAGEKIT_PATH, PACKAGEKIT,
                                            system_bus=True, stdout=open(os.devnull, 'w'))
        self.packagekit_obj = self.system.get_object(PACKAGEKIT, PACKAGEKIT_PATH)

    def tearDown(self):
        self.packagekit.terminate()
        self.packagekit.wait()
        super().tearDown()

    def daemon_env(self):
        return dict(DPKG_ADMINDIR=self.dpkg, XDG_DATA_DIRS=os.path.dirname(self.apps),
                    XDG_DATA_HOME=os.path.join(self.workdir.name, 'home'),
                    FLATPAK_USER_DIR=os.path.join(self.workdir.name, 'no-flatpak'),
                    FLATPAK_SYSTEM_DIR=os.path.join(self.workdir.name, 'no-flatpak'))

    def daemon_args(self):
        config = os.path.join(self.workdir.name, 'config.json')
        with open(config, 'w') as f:
            f.write('{"preferences": {"com.veltro.TLSession": {"debug-spew": true}}}\n')
        return ['--config', config]

    def dpkg_install(self, package, version, app_id, status='installed'):
        """What dpkg leaves: the package's file list, its desktop entry, and the status file
        replaced through a rename."""
        with open(os.path.join(self.dpkg, 'info', package + '.list'), 'w') as f:
            f.write('/usr/share/applications\n/usr/share/applications/%s.desktop\n' % app_id)
        with open(os.path.join(self.apps, app_id + '.desktop'), 'w') as f:
            f.write('[Desktop Entry]\nType=Application\nName=%s\nExec=x\n' % package)
        self.packages[package] = (version, status)
        self.write_status()

    def dpkg_remove(self, package, app_id):
        del self.packages[package]
        os.unlink(os.path.join(self.dpkg, 'info', package + '.list'))
        os.unlink(os.path.join(self.apps, app_id + '.desktop'))
        self.write_status()

    def write_status(self):
        path = os.path.join(self.dpkg, 'status')
        with open(path + '-new', 'w') as f:
            for package, (version, status) in sorted(self.packages.items()):
                f.write('Package: %s\nStatus: install ok %s\nArchitecture: amd64\n'
                        'Version: %s\n\n' % (package, status, version))
        os.rename(path + '-new', path)

    def transaction(self, path, role, uid):
        """A transaction as the service announces it: its object, then the list change."""
        self.packagekit_obj.AddObject(path, TRANSACTION, {
            'Role': dbus.UInt32(role), 'Uid': dbus.UInt32(uid),
            'TransactionFlags': dbus.UInt64(0)}, [], dbus_interface=dbusmock.MOCK_IFACE)
        self.packagekit_obj.EmitSignal(PACKAGEKIT, 'TransactionListChanged', 'as', [[path]],
                                       dbus_interface=dbusmock.MOCK_IFACE)
        return self.system.get_object(PACKAGEKIT, path)

    def emit(self, transaction, member, signature, *args):
        transaction.EmitSignal(TRANSACTION, member, signature, list(args),
                               dbus_interface=dbusmock.MOCK_IFACE)

    def wait_for_line(self, pattern, what):
        return wait_until(lambda: re.search(pattern, self.stderr(), re.M), what=what)

    def test_transactions_and_dpkg(self):
        self.start_daemon()
        self.assertIn('packages: the dpkg database, transactions of PackageKit', self.stderr())

        # A user updates the editor in a software centre: the start, then the finish of an
        # update of type 1. The database's own change is the transaction's to tell.
        update = self.transaction('/1_update', ROLE_UPDATE, 1000)
        self.emit(update, 'Package', 'uss', INFO_UPDATING, 'editor;2.5-1;amd64;debian', '')
        self.wait_for_line(r'InstallsDidStart type 1 UP +org\.example\.Editor$', 'the start')
        self.dpkg_install('editor', '2.5-1', 'org.example.Editor')
        self.emit(update, 'Finished', 'uu', EXIT_SUCCESS, 1200)
        self.wait_for_line(r'DidInstall +type 1 UP +org\.example\.Editor$', 'the update')

        # Root installs a new package, which names its app once unpacked: type 5; then the
        # transaction is cancelled.
        install = self.transaction('/2_install', ROLE_INSTALL, 0)
        self.emit(install, 'Package', 'uss', INFO_INSTALLING, 'viewer;1.0;amd64;debian', '')
        time.sleep(0.5)
        self.assertNotIn('org.example.Viewer', self.stderr())
        self.dpkg_install('viewer', '1.0', 'org.example.Viewer', status='unpacked')
        self.wait_for_line(r'InstallsDidStart type 5 +org\.example\.Viewer$', 'the new start')
        self.emit(install, 'Finished', 'uu', EXIT_CANCELLED, 300)
        self.wait_for_line(r'InstallsDidCancel +org\.example\.Viewer$', 'the cancel')

        # dpkg on its own (apt on the command line): installs of type 0 and a removal.
        self.dpkg_install('chat', '3', 'org.example.Chat')
        self.wait_for_line(r'DidInstall +type 0 +org\.example\.Chat$', 'the command-line install')
        self.dpkg_remove('editor', 'org.example.Editor')
        self.wait_for_line(r'DidUnInstall +org\.example\.Editor$', 'the removal')

        # Each notice once: the transaction's update was not told again by the database.
        log = self.stderr()
        self.assertEqual(len(re.findall(r'DidInstall .*org\.example\.Editor$', log, re.M)), 1)
        self.assertEqual(len(re.findall(r'org\.example\.Viewer$', log, re.M)), 2)
        self.assertEqual(self.stop_daemon(), 0)


if __name__ == '__main__':
    import unittest
    unittest.main(testRunner=unittest.TextTestRunner(stream=sys.stdout, verbosity=2))
