# SPDX-License-Identifier: Apache-2.0
"""The units as systemd would take and start them. Systemd itself doesn't run here.

    units_test.py ZEBMON ZEBHOST UNITS LIBRARY PROBE PREFIX

To be run in user, network, IPC and mount namespaces of its own: there /tmp, /var/lib and the prefix of
the installation are replaced, and any port is free. The embedded host is the broker that the services
look at."""
import http.client
import os
import pathlib
import re
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path += [str(HERE.parent / folder) for folder in ("fleet", "support")]
from loopback import raise_loopback
from private_tmp import PROJECT, replace_tmp
from unit import Unit

ZEBMON, ZEBHOST, BUILT, LIBRARY, PROBE, PREFIX = sys.argv[1:7]
WORLD = pathlib.Path("/tmp/world")
UNITS, STATE, TEXTFILES = WORLD / "units", WORLD / "state", WORLD / "node-exporter"
CREDENTIALS = WORLD / "credentials"
NOTIFY, SOCKET = WORLD / "notify", WORLD / "zebmon.sock"
NODE_EXPORTER = "/var/lib/prometheus/node-exporter"
SECRET = "0123456789abcdef0123456789abcdef"
SERVICES = ["zebmon", "zebmon-record", "zebmon-doctor", "zebmon-textfile"]


def run(*words, **more):
    return subprocess.run(words, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **more)


def make_world():
    """The units as they were built, with other places of programs and of others' files."""
    for folder in (UNITS, STATE, TEXTFILES, CREDENTIALS):
        folder.mkdir(parents=True)
    for file in pathlib.Path(BUILT).iterdir():
        text = re.sub(r"=\S+/bin/zebmon ", f"={ZEBMON} ", file.read_text())
        (UNITS / file.name).write_text(text.replace(NODE_EXPORTER, str(TEXTFILES)))


def install():
    """The library, the program that tries it, and a directory in which it is enabled."""
    for folder in (PREFIX, "/var/lib"):
        run("mount", "-t", "tmpfs", "none", folder, check=True)
    enabled = WORLD / "plug-ins"
    enabled.mkdir()
    for folder, file in (("lib", LIBRARY), ("libexec", PROBE)):
        place = pathlib.Path(PREFIX, folder, "zebpnode")
        place.mkdir(parents=True)
        shutil.copy(file, place)
    (enabled / "zebpnode64.lil").symlink_to(pathlib.Path(PREFIX, "lib/zebpnode/zebpnode64.lil"))
    notes = pathlib.Path("/var/lib/zebpnode/directories")
    notes.parent.mkdir()
    notes.write_text(f"{enabled}\n")


def make_drop_in():
    """The one that the document shows."""
    document = (PROJECT / "docs" / "fleet.md").read_text()
    name = re.search(r"`/etc/systemd/system/(zebmon\.service\.d/\w+\.conf)`", document)[1]
    text = re.search(r"```ini\n(.*?)```", document, re.DOTALL)[1]
    path = UNITS / name
    path.parent.mkdir()
    path.write_text(text.replace("/usr/bin/zebmon", ZEBMON))
    return path


class Service:
    """A unit's command, restricted as the unit says."""

    def __init__(self, unit, drop_ins=(), listen=()):
        files = [UNITS / f"{unit}.service", *drop_ins]
        command = Unit(*files).command(S=str(STATE), d=str(CREDENTIALS))
        environment = {"PATH": "/usr/bin:/bin", "NOTIFY_SOCKET": str(NOTIFY), "CREDENTIALS_DIRECTORY": str(CREDENTIALS),
                       "STATE_DIRECTORY": str(STATE / "zebmon")}
        self.told = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        NOTIFY.unlink(missing_ok=True)
        self.told.bind(str(NOTIFY))
        self.told.settimeout(1)
        self.process = subprocess.Popen(
            [sys.executable, "-B", str(HERE / "confine.py"), *listen, *map(str, files), "--", *command],
            env=environment, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()
        self.told.close()

    def await_ready(self):
        while self.process.poll() is None:
            try:
                message = self.told.recv(1000).decode()
                assert message.startswith("READY=1"), message
                return
            except TimeoutError:
                pass
        raise AssertionError(self.end())

    def end(self):
        """The exit code and all that it said."""
        said = self.process.communicate(timeout=60)[0]
        return self.process.returncode, said

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        return self.end()


class UnixConnection(http.client.HTTPConnection):
    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.connect(str(SOCKET))


def get(connection, path, **headers):
    connection.request("GET", path, headers=headers)
    answer = connection.getresponse()
    text = answer.read().decode()
    connection.close()
    return answer.status, text


def make_credentials():
    (CREDENTIALS / "token").write_text(SECRET)
    run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "1",
        "-subj", "/CN=web1.example.net", "-keyout", str(CREDENTIALS / "key"), "-out", str(CREDENTIALS / "certificate"),
        check=True)


class UnitFiles(unittest.TestCase):
    def test_systemd_finds_nothing_wrong_with_them(self):
        for file in sorted(UNITS.glob("zebmon*.*")):
            if file.is_file():
                with self.subTest(file.name):
                    checked = run("systemd-analyze", "verify", "--man=no", str(file),
                                  env=os.environ | {"SYSTEMD_UNIT_PATH": f"{UNITS}:"})
                    self.assertEqual((checked.returncode, checked.stdout), (0, ""))

    def require_closed(self, unit):
        judged = run("systemd-analyze", "security", "--offline=true", "--threshold=20", "--no-pager", str(unit))
        self.assertEqual(judged.returncode, 0, judged.stdout)
        self.assertRegex(judged.stdout, r"Overall exposure level for zebmon[-\w]*\.service: [01]\.\d|: 2\.0")

    def test_services_are_closed_up_to_what_the_agent_looks_at(self):
        for service in SERVICES:
            with self.subTest(service):
                self.require_closed(UNITS / f"{service}.service")

    def test_a_service_for_a_fleet_is_closed_as_well(self):
        drop_in = make_drop_in()
        self.addCleanup(shutil.rmtree, drop_in.parent)
        self.require_closed(UNITS / "zebmon.service")
        self.assertEqual(Unit(UNITS / "zebmon.service", drop_in).values("IPAddressDeny"), ["any"])

    def test_services_see_what_the_brokers_see_as_a_user_of_their_own(self):
        for service in SERVICES:
            unit = Unit(UNITS / f"{service}.service")
            self.assertEqual([unit.value(key) for key in ("User", "PrivateTmp", "PrivateIPC", "PrivateUsers", "RemoveIPC")],
                             ["zebmon", "no", "no", "no", "no"])

    def test_only_one_of_them_writes_the_history(self):
        self.assertEqual(Unit(UNITS / "zebmon.service").value("Conflicts"), "zebmon-record.service")

    def test_a_warning_is_told_and_what_is_critical_fails(self):
        self.assertEqual(Unit(UNITS / "zebmon-doctor.service").values("SuccessExitStatus"), ["1"])


class RunningServices(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        make_credentials()
        cls.host = subprocess.Popen([ZEBHOST, "run", PROJECT / "examples/orders.toml", "--endless", "--quiet", "--log",
                                     "/dev/null"])
        while f"SHOPBROKER" not in run(ZEBMON, "stats", "--node", "Order in").stdout:
            assert cls.host.poll() is None

    @classmethod
    def tearDownClass(cls):
        cls.host.terminate()
        cls.host.wait()

    def test_serve_answers_at_its_port_and_keeps_a_history(self):
        with Service("zebmon") as service:
            service.await_ready()
            status, metrics = get(http.client.HTTPConnection("127.0.0.1", 9847), "/metrics")
            self.assertEqual(status, 200)
            self.assertIn('zeb_node_messages_total{broker="SHOPBROKER"', metrics)
            self.assertEqual(service.stop()[0], 0)
        self.assertTrue((STATE / "zebmon" / "history.db").is_file())

    def test_serve_answers_at_the_socket_that_systemd_hands_over(self):
        with Service("zebmon", listen=["--listen", str(SOCKET)]) as service:
            service.await_ready()
            self.assertEqual(get(UnixConnection("localhost"), "/api/v1/brokers")[0], 200)
            code, said = service.stop()
            self.assertEqual(code, 0)
            self.assertIn(f"Listening at unix:{SOCKET}", said)

    def test_serve_answers_a_fleet_over_tls_to_who_has_the_token(self):
        drop_in = make_drop_in()
        self.addCleanup(shutil.rmtree, drop_in.parent)
        trust = ssl.create_default_context(cafile=str(CREDENTIALS / "certificate"))
        trust.check_hostname = False
        with Service("zebmon", [drop_in]) as service:
            service.await_ready()
            ask = lambda **headers: get(http.client.HTTPSConnection("127.0.0.1", 9847, context=trust), "/metrics",
                                        Host="web1.example.net:9847", **headers)[0]
            self.assertEqual(ask(Authorization=f"Bearer {SECRET}"), 200)
            self.assertEqual(ask(), 401)
            self.assertEqual(service.stop()[0], 0)

    def test_record_keeps_a_history(self):
        with Service("zebmon-record") as service:
            service.await_ready()
            code, said = service.stop()
        self.assertEqual(code, 0, said)
        self.assertIn(f"History in {STATE}/zebmon/history.db", said)

    def test_the_doctor_looks_at_the_broker_and_tries_the_plug_in(self):
        with Service("zebmon-doctor") as service:
            code, said = service.end()
        self.assertIn(code, (0, 1), said)
        self.assertIn("in 1 broker", said)
        self.assertIn("Plug-in: would be loaded from", said)

    def test_figures_come_where_node_exporter_reads_them(self):
        (STATE / "zebmon").mkdir(exist_ok=True)
        with Service("zebmon-textfile") as service:
            self.assertEqual(service.end(), (0, ""))
        self.assertIn("zeb_brokers 1\n", (TEXTFILES / "zeb.prom").read_text())
        self.assertTrue((STATE / "zebmon" / "metrics").is_file())

    def test_the_agent_may_write_to_node_exporters_directory(self):
        user = "root"  # the one whom these namespaces know
        command = Unit(UNITS / "zebmon-textfile.service").command("ExecStartPre")
        self.assertEqual(command[0], "+/bin/sh")
        done = run("/bin/sh", *command[1:-1], command[-1].replace("u:zebmon:", f"u:{user}:"))
        self.assertEqual((done.returncode, done.stdout), (0, ""))
        self.assertIn("system.posix_acl_access", os.listxattr(TEXTFILES))


class OtherFiles(unittest.TestCase):
    def test_sysusers_makes_the_user(self):
        root = WORLD / "root"
        (root / "etc").mkdir(parents=True)
        done = run("systemd-sysusers", f"--root={root}", str(PROJECT / "packaging/sysusers/zebmon.conf"))
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertRegex((root / "etc/passwd").read_text(), r"(?m)^zebmon:.*:/var/lib/zebmon:/\S*nologin$")

    def test_cleaners_leave_old_key_files_alone(self):
        spared = ["5f0c3a52.zebcshme", "5f0c3a52.zebcedar.zebmutx", "zeb_attach_1.zebmutx"]
        for name in [*spared, "other"]:
            path = pathlib.Path("/tmp", name)
            path.touch()
            os.utime(path, (0, 0))
        rules = WORLD / "tmp.conf"
        rules.write_text("q /tmp 1777 root root m:1d\n")
        run("systemd-tmpfiles", "--clean", "--prefix=/tmp", str(rules), str(PROJECT / "packaging/tmpfiles/zebmon.conf"))
        left = [name for name in [*spared, "other"] if pathlib.Path("/tmp", name).exists()]
        for name in left:
            os.unlink(pathlib.Path("/tmp", name))
        self.assertEqual(left, spared)


if __name__ == "__main__":
    raise_loopback()
    replace_tmp()
    make_world()
    install()
    unittest.main(argv=sys.argv[:1])
