"""A host for tests of the exporter: simulated VMs, the daemon and hesper-exporter, all on free loopback ports.

    with Host(bin_folder, vms=["web", "db"]) as host:
        host.publish("web", "app.greeting", "hello")
        urllib.request.urlopen(host.url + "/")
"""

import contextlib
import http.client
import os
import pathlib
import shutil
import socket
import subprocess
import sys
import tempfile
import time

PATIENCE = 30.0


def wait_until(what, condition, seconds=PATIENCE):
    """The first result of `condition` that counts as true. Refused and broken connections count as false."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        with contextlib.suppress(OSError, http.client.HTTPException):
            result = condition()
            if result:
                return result
        time.sleep(0.05)
    raise TimeoutError(f"{what} did not happen in {seconds:g} seconds")


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Host:
    """`vms` are the management server's ids; what is in `folder` goes with the host at the end of `with`."""

    def __init__(self, programs, vms=("web", "db"), exporter_options=()):
        self.programs = pathlib.Path(programs).resolve()
        self.vms = list(vms)
        self.exporter_options = list(exporter_options)
        self.children = {}

    def __enter__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="exporter-test."))
        try:
            self._set_up()
        except BaseException:
            self.__exit__(*sys.exc_info())
            raise
        return self

    def __exit__(self, kind, *_):
        for name in list(self.children):
            self.stop(name)
        if kind is not None:
            self.show_logs()
        shutil.rmtree(self.folder, ignore_errors=True)

    def _set_up(self):
        self.environment = {**os.environ, "KRELL_HOST_DIR": str(self.folder / "host")}
        for cid, vm in enumerate(self.vms, 100):
            self.run("hesper-host", "add", "--cid", str(cid), "--bios-uuid", f"bios-{vm}", "--vm-uuid", f"uuid-{vm}",
                     "--mgr-vm-id", vm)
        self.token_file = self.folder / "token"
        self.token = self.make_token(self.token_file)
        self.port = free_port()
        self.start_daemon()
        self.exporter_port = free_port()
        self.url = f"http://127.0.0.1:{self.exporter_port}"
        self.start_exporter()

    def make_token(self, file, entitlement="GUEST_DATA_ACCESS", expires_in=3600):
        self.run("hesper-host", "token", "--subject", "test", "--entitlement", entitlement,
                 "--expires-in", str(expires_in), "--out", str(file))
        return file.read_text().strip()

    def run(self, program, *arguments, **options):
        """Runs one of the built programs to its end; CalledProcessError if it fails."""
        return subprocess.run([self.programs / program, *arguments], env=self.environment, check=True, timeout=PATIENCE,
                              stdout=subprocess.PIPE, **options).stdout

    def start(self, name, *command):
        """A program that runs until stop(name), or for as long as this process does. Its output is in log(name)."""
        with open(self.folder / f"{name}.log", "ab") as log:
            self.children[name] = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *map(str, command)], stdout=log,
                                                   stderr=log, stdin=subprocess.DEVNULL, env=self.environment)
        return self.children[name]

    def stop(self, name):
        child = self.children.pop(name)
        child.terminate()
        try:
            child.wait(10)
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()

    def log(self, name):
        return (self.folder / f"{name}.log").read_text(errors="replace")

    def start_daemon(self):
        config = self.folder / "config.xml"
        config.write_text(f"<config><mirelPort>{self.port}</mirelPort></config>\n")
        self.start("nornhesperd", self.programs / "nornhesperd", config)
        self.wait_for_start("nornhesperd", self.accepts(self.port))

    def start_exporter(self):
        self.start("hesper-exporter", self.programs / "hesper-exporter", "--port", self.port,
                   "--token-file", self.token_file, "--listen", f"127.0.0.1:{self.exporter_port}",
                   *self.exporter_options)
        self.wait_for_start("hesper-exporter", self.accepts(self.exporter_port))

    def wait_for_start(self, name, condition):
        def has_started():
            if self.children[name].poll() is not None:
                raise RuntimeError(f"{name} has ended:\n{self.log(name)}")
            return condition()

        wait_until(f"the start of {name}", has_started)

    @staticmethod
    def accepts(port):
        def connects():
            with socket.create_connection(("127.0.0.1", port), PATIENCE):
                return True

        return connects

    def publish(self, vm, topic, payload):
        """One publication, which the daemon has acknowledged. Above a VM's rate the kernel drops it: once more."""
        cid = str(100 + self.vms.index(vm))
        payload = payload.encode() if isinstance(payload, str) else payload
        for _ in range(10):
            try:
                return self.run("hesper-publish", "--cid", cid, "--topic", topic, "--timeout", "1", input=payload)
            except subprocess.CalledProcessError as fault:
                if fault.returncode != 2:
                    raise
        raise TimeoutError(f"VM {vm} got no acknowledgement")

    def get(self, path, headers=None):
        """An answer of the exporter's: its status, headers and text."""
        connection = http.client.HTTPConnection("127.0.0.1", self.exporter_port, timeout=PATIENCE)
        try:
            connection.request("GET", path, headers=headers or {})
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read().decode()
        finally:
            connection.close()

    def metrics(self):
        """The page, as a scraper with this host's token gets it."""
        status, _, page = self.get("/metrics", {"Authorization": f"Bearer {self.token}"})
        if status != 200:
            raise RuntimeError(f"/metrics: {status} {page}")
        return page

    def show_logs(self):
        """The last lines of each program, for a test that has failed."""
        for file in sorted(self.folder.glob("*.log")):
            lines = file.read_text(errors="replace").splitlines()[-15:]
            print(f"-- {file.name}", *lines, sep="\n", file=sys.stderr)
