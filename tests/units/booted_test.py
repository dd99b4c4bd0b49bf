# SPDX-License-Identifier: Apache-2.0
"""The units under a running systemd, as packages installed them. Run by `booted` in the system that it boots.

    booted_test.py CLASS..."""
import contextlib
import http.client
import json
import os
import pathlib
import re
import socket
import sqlite3
import ssl
import stat
import subprocess
import time
import unittest

UNITS = ["zebmon.service", "zebmon.socket", "zebmon-record.service", "zebmon-doctor.service", "zebmon-doctor.timer",
         "zebmon-textfile.service", "zebmon-textfile.timer"]
PLUG_INS = pathlib.Path("/opt/holt/lil")
LINK, SETTINGS = PLUG_INS / "zebpnode64.lil", PLUG_INS / "zebpnode.cfg"
HISTORY = pathlib.Path("/var/lib/zebmon/history.db")
SOCKET = pathlib.Path("/run/zebmon/zebmon.sock")
TEXTFILES = pathlib.Path("/var/lib/prometheus/node-exporter")
KEY_FILES = pathlib.Path("/run/zeb")
DROP_INS = pathlib.Path("/etc/systemd/system")
DOCUMENT = pathlib.Path("/usr/share/doc/zebpnode/docs/fleet.md")
EXAMPLES = pathlib.Path("/usr/share/zebhost/examples")


def run(*words, code=0, **more):
    done = subprocess.run(words, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, **more)
    assert code is None or done.returncode == code, f"{words} ended with {done.returncode}:\n{done.stdout}"
    return done.stdout


def systemctl(*words, code=0):
    return run("systemctl", *words, code=code)


def shown(unit, name):
    return systemctl("show", "--value", "--property", name, unit).strip()


def state(unit):
    return systemctl("is-active", unit, code=None).strip()


def await_that(holds, sentence):
    """A minute is far more than it takes."""
    end = time.monotonic() + 60
    while not holds():
        if time.monotonic() > end:
            raise AssertionError(f"{sentence}\n" + run("journalctl", "--no-pager", "-n", "60"))
        time.sleep(0.05)


def told(unit):
    """What it said, without what systemd says of it."""
    run("journalctl", "--sync")
    return run("journalctl", "--output=cat", "--identifier=zebmon", f"--unit={unit}")


def stop_all():
    triggers = [unit for unit in UNITS if not unit.endswith(".service")]
    systemctl("stop", *triggers)
    systemctl("stop", *UNITS)
    systemctl("reset-failed")


def drop_in(unit, name, text):
    folder = DROP_INS / f"{unit}.d"
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_text(text)
    systemctl("daemon-reload")
    return folder / name


def take_back(file):
    file.unlink()
    systemctl("daemon-reload")


class UnixConnection(http.client.HTTPConnection):
    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.connect(str(SOCKET))


def get(connection, path, **headers):
    with contextlib.closing(connection):
        connection.request("GET", path, headers=headers)
        answer = connection.getresponse()
        return answer.status, answer.read().decode()


def at_port(path="/metrics"):
    return get(http.client.HTTPConnection("127.0.0.1", 9847), path)


def messages_in(metrics):
    return sum(int(count) for count in re.findall(r'^zeb_node_messages_total\{broker="SHOPBROKER".* (\d+)$', metrics, re.M))


def looks():
    try:
        with contextlib.closing(sqlite3.connect(f"file:{HISTORY}?mode=ro", uri=True)) as history:
            return history.execute("SELECT count(*) FROM look").fetchone()[0]
    except sqlite3.OperationalError:
        return 0


def as_user(user, *words):
    return subprocess.run(["setpriv", f"--reuid={user}", f"--regid={user}", "--init-groups", *words], text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


def doctors_command():
    """What "zebmon doctor" tells root to type, so that the services see the brokers."""
    said = json.loads(run("zebmon", "doctor", "--only", "install.group", "--format", "json", code=None))
    [finding] = said["findings"]
    return finding["command"]


def start_broker():
    """The example flows, as a user of their own, from the directory where the plug-in is enabled."""
    registry = pathlib.Path("/var/holt/registry/SHOPBROKER/BrokerUUID")
    registry.parent.mkdir(parents=True, exist_ok=True)
    registry.write_text("shop-uuid\n")
    text = (EXAMPLES / "orders.toml").read_text()
    text = text.replace('lines = "orders.txt"', f'lines = "{EXAMPLES}/orders.txt"\nrepeat = 1000000')
    text = re.sub(r"count = \d+, ", "", re.sub(r"(?m)^(uuid|memory-size).*\n", "", text))
    flows = pathlib.Path("/srv/orders.toml")
    flows.write_text(text)
    run("systemd-run", "--quiet", "--unit=broker", "--uid=broker", "--gid=broker", "zebhost", "run", str(flows),
        "--as-installed", "--library", str(LINK), "--quiet")
    await_that(lambda: "Order in" in run("zebmon", "stats", code=None), "the host measures nothing")


class AsInstalled(unittest.TestCase):
    def test_nothing_is_started_or_enabled(self):
        for unit in UNITS:
            self.assertEqual(state(unit), "inactive")
            self.assertIn(systemctl("is-enabled", unit, code=None).strip(), ("disabled", "static"))

    def test_there_is_a_user_for_the_services(self):
        self.assertRegex(run("getent", "passwd", "zebmon"), r":/var/lib/zebmon:\S*nologin$")

    def test_services_are_closed_up_to_what_the_agent_looks_at(self):
        for unit in UNITS:
            if unit.endswith(".service"):
                run("systemd-analyze", "security", "--threshold=20", "--no-pager", unit)


class Running(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        run("useradd", "--system", "broker")
        PLUG_INS.mkdir(parents=True)
        run("zebpnode", "enable", "--dir", str(PLUG_INS), "--group", "broker")
        start_broker()
        run("sh", "-c", doctors_command())

    @classmethod
    def tearDownClass(cls):
        stop_all()
        systemctl("stop", "broker")

    def setUp(self):
        stop_all()

    def await_messages(self, metrics):
        await_that(lambda: messages_in(metrics()) > 0, "the service doesn't see the broker's messages")

    def test_serve_answers_on_loopback_and_keeps_its_history_in_the_state_directory(self):
        systemctl("start", "zebmon.service")
        self.assertEqual(at_port()[0], 200)
        self.await_messages(lambda: at_port()[1])
        await_that(lambda: looks() > 1, "there is no history")
        self.assertEqual((HISTORY.owner(), HISTORY.parent.owner()), ("zebmon", "zebmon"))
        self.assertEqual(stat.S_IMODE(HISTORY.parent.stat().st_mode), 0o750)
        systemctl("stop", "zebmon.service")
        self.assertEqual(state("zebmon.service"), "inactive")

    def test_services_see_the_broker_only_once_the_doctors_drop_in_is_there(self):
        for folder in ("zebmon.service.d", "zebmon-.service.d"):
            take_back(DROP_INS / folder / "group.conf")
        systemctl("start", "zebmon.service")
        self.assertIn("zeb_brokers 0\n", at_port()[1])
        run("sh", "-c", doctors_command())
        self.await_messages(lambda: at_port()[1])
        self.assertNotIn("install.group", run("zebmon", "doctor", "--format", "json", code=None))

    def test_the_one_that_starts_ends_the_other_that_would_write_the_history(self):
        systemctl("start", "zebmon.service")
        before = looks()
        systemctl("start", "zebmon-record.service")
        self.assertEqual((state("zebmon.service"), state("zebmon-record.service")), ("inactive", "active"))
        await_that(lambda: looks() > before + 1, "record keeps no history")
        systemctl("start", "zebmon.service")
        self.assertEqual((state("zebmon.service"), state("zebmon-record.service")), ("active", "inactive"))

    def test_a_request_to_the_socket_starts_the_service_which_answers_there_alone(self):
        systemctl("start", "zebmon.socket")
        self.assertEqual((SOCKET.owner(), SOCKET.group(), stat.S_IMODE(SOCKET.stat().st_mode)), ("zebmon", "zebmon", 0o660))
        self.assertEqual(state("zebmon.service"), "inactive")
        self.assertEqual(get(UnixConnection("localhost"), "/api/v1/brokers")[0], 200)
        self.assertEqual(state("zebmon.service"), "active")
        with self.assertRaises(ConnectionRefusedError):
            at_port()
        systemctl("stop", "zebmon.socket")
        self.assertFalse(SOCKET.exists())

    def test_only_users_of_its_group_may_use_the_socket(self):
        ask = ["python3", "-c", f"import socket; socket.socket(socket.AF_UNIX).connect('{SOCKET}')"]
        systemctl("start", "zebmon.socket")
        self.assertEqual(as_user("zebmon", *ask).returncode, 0)
        self.assertIn("PermissionError", as_user("broker", *ask).stdout)

    def test_what_is_critical_fails_the_doctors_unit_and_a_warning_does_not(self):
        systemctl("start", "zebmon-doctor.service")
        library = LINK.readlink()
        LINK.unlink()
        systemctl("start", "zebmon-doctor.service", code=1)
        self.assertEqual(shown("zebmon-doctor.service", "ExecMainStatus"), "2")
        self.assertEqual(state("zebmon-doctor.service"), "failed")
        self.assertIn("it was enabled, and is not there", told("zebmon-doctor.service"))
        LINK.write_bytes(library.read_bytes())
        systemctl("start", "zebmon-doctor.service")
        self.assertRegex(told("zebmon-doctor.service"), r"it is a file of its own[^\0]*\n0 critical, \d warning")
        LINK.unlink()
        run("zebpnode", "enable", "--dir", str(PLUG_INS))

    def run_by_timer(self, name):
        often = drop_in(f"{name}.timer", "often.conf", "[Timer]\nOnCalendar=\nOnCalendar=*:*:*\nRandomizedDelaySec=0\nAccuracySec=1us\n")
        self.addCleanup(take_back, often)
        before = shown(f"{name}.service", "InvocationID")
        systemctl("start", f"{name}.timer")
        await_that(lambda: shown(f"{name}.service", "InvocationID") not in ("", before), "the timer starts nothing")

    def test_its_timer_calls_the_doctor(self):
        self.run_by_timer("zebmon-doctor")

    def test_a_timer_writes_figures_for_node_exporter_where_there_is_one(self):
        figures = TEXTFILES / "zeb.prom"
        systemctl("start", "zebmon-textfile.service")
        self.assertEqual(shown("zebmon-textfile.service", "ConditionResult"), "no")
        TEXTFILES.mkdir(parents=True)
        self.run_by_timer("zebmon-textfile")
        self.await_messages(lambda: figures.read_text() if figures.exists() else "")
        self.assertEqual((figures.owner(), TEXTFILES.owner()), ("zebmon", "root"))
        first = messages_in(figures.read_text())
        await_that(lambda: messages_in(figures.read_text()) > first, "the figures stay as they are")
        self.assertTrue((HISTORY.parent / "metrics").is_file())


class Fleet(unittest.TestCase):
    """The document's drop-in. The machine has an address in the range that may ask, and one that is not."""

    @classmethod
    def setUpClass(cls):
        document = DOCUMENT.read_text()
        name = re.search(r"`/etc/systemd/system/zebmon\.service\.d/(\w+\.conf)`", document)[1]
        for command in re.findall(r"(?m)^- `([^`]*/etc/zebmon/token[^`]*)`", document):
            run("sh", "-c", command)
        credentials = pathlib.Path("/etc/zebmon")
        run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-days", "1",
            "-subj", "/CN=web1.example.net", "-addext", "subjectAltName=DNS:web1.example.net",
            "-keyout", str(credentials / "key.pem"), "-out", str(credentials / "certificate.pem"))
        cls.token = (credentials / "token").read_text().strip()
        cls.trust = ssl.create_default_context(cafile=str(credentials / "certificate.pem"))
        for address in ("10.1.2.3/32", "192.0.2.1/32"):
            run("ip", "address", "add", address, "dev", "lo")
        stop_all()
        cls.file = drop_in("zebmon.service", name, re.search(r"```ini\n(.*?)```", document, re.DOTALL)[1])
        systemctl("start", "zebmon.service")

    @classmethod
    def tearDownClass(cls):
        stop_all()
        take_back(cls.file)

    def connect(self, source):
        raw = socket.create_connection(("10.1.2.3", 9847), timeout=5, source_address=(source, 0))
        return self.trust.wrap_socket(raw, server_hostname="web1.example.net")

    def ask(self, **headers):
        connection = http.client.HTTPConnection("web1.example.net", 9847)
        connection.sock = self.connect("10.1.2.3")
        return get(connection, "/metrics", **headers)

    def test_it_answers_over_tls_to_who_has_the_token(self):
        self.assertEqual(self.ask()[0], 401)
        self.assertEqual(self.ask(Authorization=f"Bearer {self.token}")[0], 200)

    def test_it_takes_nothing_from_addresses_outside_of_its_range(self):
        with self.assertRaises(TimeoutError):
            self.connect("192.0.2.1")

    def test_it_is_closed_as_well(self):
        run("systemd-analyze", "security", "--threshold=20", "--no-pager", "zebmon.service")


class BeforeABoot(unittest.TestCase):
    def test_what_shall_start_is_enabled(self):
        SETTINGS.write_text(f"# changed\nZEBTempDirectory {KEY_FILES}\n")
        systemctl("enable", "zebmon.service", "zebmon-doctor.timer")


class AfterABoot(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        start_broker()

    def test_what_was_enabled_runs(self):
        self.assertEqual([state(unit) for unit in ("zebmon.service", "zebmon-doctor.timer")], ["active", "active"])

    def test_the_directory_of_key_files_is_there_again_and_the_service_looks_into_it(self):
        self.assertEqual((KEY_FILES.group(), stat.S_IMODE(KEY_FILES.stat().st_mode)), ("broker", 0o2770))
        self.assertTrue(list(KEY_FILES.glob("*.zebcshme")))
        await_that(lambda: messages_in(at_port()[1]) > 0, "the service doesn't see the broker")

    def test_cleaners_leave_old_key_files_alone(self):
        old, kept = pathlib.Path("/tmp/old"), pathlib.Path("/tmp/old.zebcshme")
        rule = pathlib.Path("/etc/tmpfiles.d/tmp.conf")
        rule.write_text("q /tmp 1777 root root m:1d\n")
        for file in (old, kept):
            file.touch()
            os.utime(file, (0, 0))
        systemctl("start", "systemd-tmpfiles-clean.service")
        self.assertEqual((old.exists(), kept.exists()), (False, True))
        kept.unlink()


class Upgraded(unittest.TestCase):
    def test_what_ran_runs_the_new_program_and_nothing_else_was_started(self):
        main = int(shown("zebmon.service", "MainPID"))
        self.assertEqual(os.readlink(f"/proc/{main}/exe"), "/usr/bin/zebmon")
        self.assertEqual([state(unit) for unit in ("zebmon.service", "zebmon-doctor.timer")], ["active", "active"])
        self.assertEqual([state(unit) for unit in ("zebmon-record.service", "zebmon-textfile.timer", "zebmon.socket")], ["inactive"] * 3)

    def test_it_goes_on_with_its_history(self):
        before = looks()
        await_that(lambda: looks() > before + 1, "the history ends")

    def test_the_broker_goes_on(self):
        self.assertEqual(state("broker"), "active")


class BeforeRemoval(unittest.TestCase):
    def test_units_run_and_one_has_failed(self):
        library = LINK.readlink()
        LINK.unlink()
        systemctl("start", "zebmon-doctor.service", code=1)
        LINK.symlink_to(library)
        systemctl("stop", "zebmon.service")
        systemctl("start", "zebmon.socket", "zebmon.service", "zebmon-textfile.timer")


class Removed(unittest.TestCase):
    def test_no_service_runs_any_more(self):
        self.assertEqual([state(unit) for unit in UNITS], ["inactive"] * len(UNITS))
        self.assertEqual([process for process in pathlib.Path("/proc").glob("[0-9]*") if process.owner() == "zebmon"], [])

    def test_no_unit_is_left_to_start(self):
        for unit in UNITS:
            self.assertEqual(shown(unit, "LoadState"), "not-found")

    def test_the_link_is_gone_and_settings_and_history_stay(self):
        self.assertFalse(LINK.is_symlink())
        self.assertTrue(SETTINGS.exists() and HISTORY.exists())

    def test_the_broker_goes_on(self):
        self.assertEqual(state("broker"), "active")
        self.assertTrue(list(KEY_FILES.glob("*.zebcshme")))


class Purged(unittest.TestCase):
    def test_history_and_notes_are_gone_and_what_was_changed_stays(self):
        self.assertEqual([path for path in (HISTORY.parent, pathlib.Path("/var/lib/zebpnode")) if path.exists()], [])
        self.assertTrue(SETTINGS.exists())
        self.assertFalse(pathlib.Path("/etc/tmpfiles.d/zebpnode.conf").exists())

    def test_nothing_is_enabled(self):
        self.assertEqual(list(DROP_INS.glob("*.wants/zebmon*")), [])

    def test_the_user_stays(self):
        run("getent", "passwd", "zebmon")

    def test_the_broker_goes_on(self):
        self.assertEqual(state("broker"), "active")
        self.assertTrue(list(KEY_FILES.glob("*.zebcshme")))


if __name__ == "__main__":
    unittest.main()
