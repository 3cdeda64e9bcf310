"""The Python subscriber against the real daemon."""

import os
import re
import signal
import socket
import subprocess
import sys
import tempfile
import unittest
from datetime import datetime, timedelta, timezone

import hesper
from subscribing import PAGE, PATIENCE, SubscriberCase, eventually


class Host:
    """A simulated host in a folder of its own, with the VMs web and db; its daemon can be started more than once."""

    def __init__(self, folder):
        self.folder = folder
        self.environment = dict(os.environ, KRELL_HOST_DIR=folder + "/host")
        self.vms = {"web": "5", "db": "6"}
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]
        self.configuration = folder + "/config.xml"
        with open(self.configuration, "w", encoding="ascii") as file:
            file.write(f"<config><mirelPort>{self.port}</mirelPort></config>")
        for name, cid in self.vms.items():
            identity = ("--cid", cid, "--bios-uuid", "bios-" + name, "--vm-uuid", "uuid-" + name, "--mgr-vm-id", name)
            self.do("hesper-host", "add", *identity)
        self.token = self.make_token("GUEST_DATA_ACCESS")
        self.processes = []
        self.start_daemon()

    def program(self, name):
        return os.path.join(os.environ["HESPER_PROGRAMS"], name)

    def run(self, name, *arguments, text=b""):
        done = subprocess.run(
            (self.program(name), *arguments),
            input=text,
            env=self.environment,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            timeout=PATIENCE,
        )
        return done.returncode == 0

    def do(self, *command):
        if not self.run(*command):
            raise AssertionError(command)

    def start(self, *command, **streams):
        process = subprocess.Popen(command, env=self.environment, **streams)
        self.processes.append(process)
        return process

    def start_daemon(self):
        log = self.folder + "/log"
        with open(log, "wb") as file:
            self.daemon = self.start(self.program("nornhesperd"), self.configuration, stderr=file)
        eventually(lambda: b"Running IO service" in open_and_read(log))

    def kill_daemon(self):
        self.daemon.kill()
        self.daemon.wait()

    def make_token(self, entitlement):
        path = os.path.join(self.folder, entitlement)
        self.do("hesper-host", "token", "--subject", "test", "--entitlement", entitlement, "--out", path)
        return path

    def publish(self, vm, topic, text, *options):
        """What comes too soon after another one of the VM is dropped."""
        command = ("hesper-publish", "--cid", self.vms[vm], "--topic", topic, "--timeout", "0.3", *options)
        eventually(lambda: self.run(*command, text=text))

    def start_guest(self, vm, topic):
        """Publishes what is written to it line by line, and keeps that."""
        command = ("hesper-publish", "--cid", self.vms[vm], "--topic", topic, "--serve-history", "--lines")
        self.told = self.folder + "/told"
        with open(self.told, "wb") as file:
            streams = {"stdin": subprocess.PIPE, "stdout": file, "stderr": file}
            return self.start(self.program(command[0]), *command[1:], "--timeout", "0.2", **streams)

    def tell(self, guest, *lines, outcome=b'"ok"'):
        before = open_and_read(self.told).count(outcome)
        guest.stdin.write("".join(line + "\n" for line in lines).encode())
        guest.stdin.flush()
        eventually(lambda: open_and_read(self.told).count(outcome) == before + len(lines))

    def close(self):
        for process in self.processes:
            process.kill()
            process.wait()
            for stream in (process.stdin, process.stdout, process.stderr):
                if stream is not None:
                    try:
                        stream.close()
                    except BrokenPipeError:
                        pass


def open_and_read(path):
    with open(path, "rb") as file:
        return file.read()


class DaemonTest(SubscriberCase):
    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.host = Host(folder.name)
        self.addCleanup(self.host.close)
        self.caller = {"port": self.host.port, "token_file": self.host.token}

    def test_live(self):
        reader = self.read(topics=["app"], vms=["web"], **self.caller)
        # That a subscription stands shows in what it gives.
        self.publish_until(lambda: reader.got, "web", "app.first", b"first")
        self.host.publish("db", "app.b", b"of a VM that isn't wanted")
        self.host.publish("web", "application", b"of a topic that isn't wanted")
        options = ("--token", 'o"\n', "--create-time", "2026-01-02T03:04:05.123456789+01:00")
        self.host.publish("web", "app.b.c", b"\xff{", *options)
        self.host.publish("web", "app", b'{"n":[1]}')
        reader.wait_for(['{"n":[1]}'])
        bytes_, json_ = reader.got[-2:]
        created = datetime(2026, 1, 2, 3, 4, 5, 123456, timezone(timedelta(hours=1)))
        self.assertEqual((bytes_.vm, bytes_.topic, bytes_.token, bytes_.payload), ("web", "app.b.c", 'o"\n', b"\xff{"))
        self.assertEqual((bytes_.create_time, bytes_.text, bytes_.history), (created, None, False))
        self.assertEqual(json_.json(), {"n": [1]})
        self.assertLess(abs(datetime.now(timezone.utc) - json_.create_time), timedelta(seconds=60))
        with self.assertRaises(ValueError):
            bytes_.json()

    def publish_until(self, holds, *publication):
        while not holds():
            self.host.publish(*publication)

    def test_past(self):
        guest = self.host.start_guest("web", "app.web")
        self.host.tell(guest, "one", "two")
        # The daemon itself would find less by both topics than by the shorter one.
        reader = self.read(topics=["app.db", "app"], past=3600.5, vm_id_type="bios", **self.caller)
        reader.wait_for(["one", "two"])
        self.assertEqual([(each.vm, each.text, each.history) for each in reader.got], [
            ("bios-web", "one", True), ("bios-web", "two", True)
        ])

    def test_a_daemon_that_was_away(self):
        gaps = []
        guest = self.host.start_guest("web", "app")
        with self.assertLogs("hesper", "WARNING"):
            reader = self.read(past=60, on_gap=gaps.append, **self.caller)
            self.host.tell(guest, "1", "2")
            reader.wait_for(["1", "2"])
            self.host.kill_daemon()
            self.host.tell(guest, "3", outcome=b"no answer to")
            eventually(lambda: reader.subscription.interruptions > 1)
            self.host.start_daemon()
            # The daemon asks only VMs of which it has heard, and this one not before it publishes again.
            told = ["1", "2", "3"]
            while reader.texts()[2:] == []:
                told.append(str(len(told) + 1))
                self.host.tell(guest, told[-1])
            # The past comes in order: 1 and 2 have come again by then.
            reader.wait_for(told)
        self.assertEqual(sorted(reader.texts()), sorted(told))
        self.assertEqual([each.history for each in reader.got if each.text == "3"], [True])
        self.assertEqual(len(gaps), 1)
        self.assertLess(gaps[0].begin, gaps[0].end)

    def test_refusals(self):
        other = self.host.make_token("SOMETHING_ELSE")
        port = self.host.port
        refused = {
            hesper.NotAuthenticated: [{}, {"token": "wrong"}, {"user": "nobody", "password_file": other}],
            hesper.NotAuthorized: [{"token_file": other}],
            hesper.BadSubscription: [
                {"token_file": self.host.token, "topics": ["a."]},
                {"token_file": self.host.token, "past": 2**53 - 1, "topics": [""]},
            ],
        }
        for kind, calls in refused.items():
            for call in calls:
                self.assertIs(type(self.error_of(port=port, **call)), kind, call)
        reader = self.read(follow=False, **self.caller)
        self.publish_until(lambda: reader.got, "web", "app", b"live")
        self.host.kill_daemon()
        reader.join(PATIENCE)
        self.assertIs(type(reader.error), hesper.StreamEnded)
        self.assertIs(type(self.error_of(follow=False, **self.caller)), hesper.NoDaemon)

    def test_the_script_of_the_documentation(self):
        with open(PAGE, encoding="utf-8") as page:
            blocks = re.findall(r"^```python\n(.*?)^```$", page.read(), re.MULTILINE | re.DOTALL)
        guest = self.host.start_guest("web", "app.web")
        self.host.tell(guest, "web is up")
        self.host.environment.update(
            PYTHONPATH=os.path.dirname(os.path.dirname(hesper.__file__)), HESPER_TOKEN_FILE=self.host.token
        )
        pipes = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        script = self.host.start(sys.executable, "-c", blocks[0], str(self.host.port), **pipes)
        self.assertRegex(script.stdout.readline().decode(), r"^\d{4}-.* web app\.web 'web is up'\n$")
        script.send_signal(signal.SIGINT)
        self.assertEqual(script.wait(PATIENCE), 0, script.stderr.read())


if __name__ == "__main__":
    unittest.main()
