"""Debian's Prometheus scrapes a real exporter; the packaged configuration, alerts and dashboard fit what it finds.

usage: prometheusTest.py BIN_FOLDER AGENT_METRICS
"""

import json
import pathlib
import re
import shutil
import subprocess
import sys
import unittest
import urllib.parse
import urllib.request

from host import Host, free_port, wait_until

PACKAGING = pathlib.Path(__file__).resolve().parents[2] / "packaging"
RULES = PACKAGING / "prometheus/nornhesperd.rules.yml"
DASHBOARD = PACKAGING / "grafana/nornhesperd.json"
SKIPPED = 77

# What a small VM's kernel tells of itself.
KERNEL = {
    "proc/loadavg": "0.25 0.50 0.75 1/99 1234\n",
    "proc/uptime": "5000.00 9000.00\n",
    "proc/stat": "cpu  400 0 100 9000 50 0 0 0 0 0\ncpu0 400 0 100 9000 50 0 0 0 0 0\nbtime 1795627770\n"
                 "processes 77\nprocs_running 2\nprocs_blocked 1\n",
    "proc/meminfo": "MemTotal: 2000 kB\nMemFree: 500 kB\nMemAvailable: 1000 kB\nBuffers: 1 kB\nCached: 2 kB\n"
                    "Slab: 3 kB\nSReclaimable: 1 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n",
    "proc/vmstat": "pswpin 0\npswpout 0\n",
    "proc/pressure/cpu": "some avg10=0.00 avg60=0.00 avg300=0.00 total=1500000\n",
    "proc/pressure/io": "some avg10=0.00 total=1\nfull avg10=0.00 total=1\n",
    "proc/pressure/memory": "some avg10=0.00 total=1\nfull avg10=0.00 total=1\n",
    "proc/diskstats": " 254 0 vda 100 1 2000 3 400 5 6000 7 0 8500 9 10 11 12 13 14 15\n",
    "sys/block/vda/device/model": "\n",
    "proc/net/dev": "head\nhead\n  ens3: 10 20 0 0 0 0 0 0 50 60 0 0 0 0 0 0\n",
    "proc/self/mountinfo": "26 1 254:1 / / rw,relatime - ext4 /dev/vda1 rw\n",
}


def write_kernel(folder):
    for name, text in KERNEL.items():
        file = folder / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)


class Prometheus:
    """A Prometheus with the packaged scrape configuration, for the host's exporter and each second."""

    def __init__(self, host):
        self.host = host
        self.url = f"http://127.0.0.1:{free_port()}"
        config = host.folder / "prometheus.yml"
        config.write_text(self._configuration())
        host.start("prometheus", shutil.which("prometheus"), f"--config.file={config}",
                   f"--storage.tsdb.path={host.folder / 'prometheus'}", "--log.level=warn",
                   f"--web.listen-address={self.url.removeprefix('http://')}")
        host.wait_for_start("prometheus", lambda: self.fetch("/-/ready"))

    def _configuration(self):
        text = (PACKAGING / "prometheus/scrape.yml").read_text()
        for old, new in [("127.0.0.1:9940", f"127.0.0.1:{self.host.exporter_port}"),
                         ("/etc/hesper/prometheus.token", str(self.host.token_file)),
                         ("/usr/share/hesper-exporter/nornhesperd.rules.yml", str(RULES)),
                         ("scrape_interval: 15s", "scrape_interval: 1s"),
                         ("evaluation_interval: 15s", "evaluation_interval: 1s")]:
            if old not in text:
                raise ValueError(f"scrape.yml has no {old}")
            text = text.replace(old, new)
        return text

    def fetch(self, path):
        with urllib.request.urlopen(self.url + path, timeout=30) as answer:
            return answer.read()

    def get(self, path, **parameters):
        answer = json.loads(self.fetch(f"/api/v1/{path}?{urllib.parse.urlencode(parameters)}"))
        return answer["data"]

    def query(self, expression):
        return self.get("query", query=expression)["result"]

    def value(self, expression):
        """Of an expression with one series; None as long as there is none."""
        result = self.query(expression)
        return float(result[0]["value"][1]) if len(result) == 1 else None


class PrometheusTest(unittest.TestCase):
    programs = agent_metrics = None

    @classmethod
    def setUpClass(cls):
        cls.host = cls.enterClassContext(Host(cls.programs, vms=["web", "db"]))
        try:
            cls.publish_and_scrape()
        except BaseException:
            cls.host.show_logs()
            raise

    @classmethod
    def publish_and_scrape(cls):
        write_kernel(cls.host.folder)
        text = subprocess.run([cls.agent_metrics, cls.host.folder / "proc", cls.host.folder / "sys"], check=True,
                              stdout=subprocess.PIPE, timeout=30).stdout
        cls.host.publish("web", "metrics.node", text)
        cls.host.publish("db", "metrics.node", text)
        cls.host.publish("db", "metrics.bad", 'node_load1{vm="web"} 99\n')
        cls.prometheus = Prometheus(cls.host)
        wait_until("the scrape of all of it", lambda: cls.prometheus.value("count(node_load1)") == 2 and
                   cls.prometheus.value("hesper_vm_refused_texts_total") == 1)

    def test_each_vm_has_its_own_series_and_no_other(self):
        load = {result["metric"]["vm"]: result for result in self.prometheus.query("node_load1")}
        self.assertEqual(set(load), {"web", "db"})
        self.assertEqual({result["value"][1] for result in load.values()}, {"0.25"})
        self.assertEqual(load["web"]["metric"]["instance"], f"127.0.0.1:{self.host.exporter_port}")
        self.assertEqual(self.prometheus.value('node_memory_MemAvailable_bytes{vm="db"}'), 1024000)
        self.assertEqual(self.prometheus.value('node_pressure_cpu_waiting_seconds_total{vm="db"}'), 1.5)
        self.assertEqual(self.prometheus.value('hesper_vm_refused_texts_total{vm="db", cause="reserved"}'), 1)

    def test_the_daemons_counters_are_scraped_and_go_on(self):
        accepted = "nornhesperd_publications_accepted_total"
        before = self.prometheus.value(accepted)
        self.host.publish("web", "app.greeting", "hello")
        wait_until("the count of one more", lambda: self.prometheus.value(accepted) > before)

    def test_the_vms_stay_while_the_daemon_is_away(self):
        self.host.stop("nornhesperd")
        alert = 'ALERTS{alertname="HesperDaemonDown"}'
        wait_until("the alert", lambda: self.prometheus.value(alert) == 1)
        self.assertEqual(self.prometheus.value("hesper_exporter_daemon_up"), 0)
        self.assertEqual(self.prometheus.value("count(node_load1)"), 2)
        self.host.start_daemon()
        wait_until("the alert's end", lambda: self.prometheus.value(alert) is None)
        wait_until("the stream's return", lambda: self.prometheus.value("hesper_exporter_stream_up") == 1)

    def test_prometheus_takes_the_whole_page(self):
        [target] = self.prometheus.get("targets")["activeTargets"]
        self.assertEqual((target["health"], target["lastError"]), ("up", ""))
        checked = subprocess.run(["promtool", "check", "metrics"], input=self.host.metrics().encode(), timeout=30,
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        # Names such as node_memory_MemTotal_bytes are the node exporter's; promtool finds fault with them there too.
        faults = [line for line in checked.stdout.decode().splitlines() if not line.endswith("not 'camelCase'")]
        self.assertEqual(faults, [])
        self.assertIn(checked.returncode, (0, 3))

    def test_a_scrape_without_the_token_is_refused(self):
        for authorization in ({}, {"Authorization": "Bearer no.such.token"}):
            status, headers, page = self.host.get("/metrics", authorization)
            self.assertEqual((status, headers["WWW-Authenticate"].split()[0]), (401, "Bearer"))
            self.assertNotIn("node_", page)

    def test_the_alerts_and_the_dashboard_use_metrics_that_are_there(self):
        there = set(self.prometheus.get("label/__name__/values"))
        used = set()
        for file in (RULES, DASHBOARD):
            used |= set(re.findall(r"\b(?:nornhesperd|hesper|node)_\w+", file.read_text()))
        self.assertGreater(len(used), 20)
        self.assertEqual(used - there, set())

    def test_prometheus_takes_every_query_of_the_dashboard(self):
        queries = [target["expr"] for panel in json.loads(DASHBOARD.read_text())["panels"]
                   for target in panel.get("targets", [])]
        self.assertGreater(len(queries), 20)
        for query in queries:
            for variable, value in {"$__rate_interval": "1m", "$instance": ".*", "$vm": ".*"}.items():
                query = query.replace(variable, value)
            with self.subTest(query=query):
                self.prometheus.query(query)

    def test_prometheus_takes_every_alert(self):
        [group] = self.prometheus.get("rules")["groups"]
        self.assertGreater(len(group["rules"]), 5)
        for rule in group["rules"]:
            with self.subTest(alert=rule["name"]):
                self.prometheus.query(rule["query"])


class AlertTest(unittest.TestCase):
    def test_each_alert_fires_when_it_should(self):
        for command in (["check", "rules", RULES], ["test", "rules", PACKAGING / "prometheus/rules.test.yml"]):
            result = subprocess.run(["promtool", *map(str, command)], timeout=60, stdout=subprocess.PIPE,
                                    stderr=subprocess.STDOUT)
            self.assertEqual(result.returncode, 0, result.stdout.decode())

    def test_each_alert_has_a_test(self):
        alerts = re.findall(r"^ *- alert: (\w+)", RULES.read_text(), re.MULTILINE)
        self.assertGreater(len(alerts), 5)
        tested = re.findall(r'alertname="(\w+)"', (PACKAGING / "prometheus/rules.test.yml").read_text())
        self.assertEqual(set(alerts), set(tested))


if __name__ == "__main__":
    if not shutil.which("prometheus") or not shutil.which("promtool"):
        print("prometheus isn't installed")
        sys.exit(SKIPPED)
    PrometheusTest.programs, PrometheusTest.agent_metrics = map(pathlib.Path, sys.argv[1:3])
    unittest.main(argv=sys.argv[:1], verbosity=2)
