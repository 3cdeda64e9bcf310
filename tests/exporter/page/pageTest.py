#!/usr/bin/python3
"""The exporter's page in a real browser, on a real host of simulated VMs.

usage: pageTest.py BIN_FOLDER [--screenshots FOLDER] [UNITTEST_OPTION...]
"""

import argparse
import contextlib
import pathlib
import shutil
import subprocess
import sys
import time
import unittest

SKIPPED = 77
try:
    import selenium  # noqa: F401
except ImportError:
    sys.exit(SKIPPED)
if not shutil.which("chromium") or not shutil.which("chromedriver"):
    sys.exit(SKIPPED)

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent)]
from browser import LOW_CONTRAST, Browser, Keys  # noqa: E402
from host import Host  # noqa: E402

EVIL = """<img src=x onerror="watched.errors.push('ran')"><script>watched.errors.push('ran')</script>'"&lt;"""
# A right-to-left override, a zero-width space and a bell.
UNSEEN, SHOWN = "\u202eexe.\u200btxt\u0007", "⟨U+202E⟩exe.⟨U+200B⟩txt⟨U+0007⟩"
MANY = [f"vm-{number:03}" for number in range(40)]
# Has the page see these VMs as well: names that no host would register, or more than this one has.
ADD_VMS = """
const names = arguments[0];
const ask = window.fetch;
window.fetch = async (...call) => {
  const answer = await ask(...call);
  if (call[0] !== '/api/overview' || !answer.ok) return answer;
  const overview = await answer.json();
  for (const vm of names) {
    overview.vms.push({vm, last: overview.time - 400000, publications: 1, perMinute: 0, refusedTexts: 0, topics: [vm]});
  }
  return new Response(JSON.stringify(overview));
};
"""
# What the VMs of the screenshots publish.
DAY = [
    ("build", "app.build.done", '{"job":"nightly","commit":"4f2a91c","seconds":412,"tests":1841,"failed":0}'),
    ("web-1", "app.web.requests", "GET /orders 200 in 12 ms"),
    ("db", "app.db.checkpoint", "checkpoint done in 12 ms, 41 clients"),
    ("mail", "app.mail.queue", "17 letters wait"),
    ("auth", "app.auth.refused", "user \u202eadmin from 10.0.3.7, third try"),
    ("web-2", "app.web.requests", "GET /orders/18 404 in 3 ms"),
    ("cache", "app.cache.snapshot", bytes(range(0x80, 0xe0))),
    ("queue", "app.queue.length", "204"),
    ("web-2", "app.web.comment", "<script>alert('hello')</script>"),
    ("db", "app.backup", "done in 12 s, 18422 files"),
    ("web-1", "app.deploy", "version 2026.11.2 is up"),
]
ARGUMENTS = None


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.host = cls.enterClassContext(Host(ARGUMENTS.programs, ["web", "db", "mail", *MANY]))
        cls.browser = Browser(cls.host.url)
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        for vm in ("web", "db"):
            self.host.publish(vm, "app.start", f"{vm} starts")
        self.browser.open()
        # Chromium's words on what a test brings about: everybody begins without a session.
        self.expected = ["/api/overview - Failed to load resource: the server responded with a status of 401",
                         "/favicon.ico - Failed to load resource"]

    def tearDown(self):
        """Whatever a test did: the page has had no fault, broken no rule and called nobody but the exporter."""
        self.browser.listen()
        watched = self.browser.js("return watched")
        self.assertEqual(watched["violations"], [])
        self.assertEqual(watched["errors"], [])
        self.assertTrue(self.browser.requested)
        self.assertEqual([url for url in self.browser.requested if not url.startswith(self.host.url + "/")], [])
        self.assertFalse([url for url in self.browser.requested if self.host.token in url])
        complaints = [one for one in self.browser.complaints if not any(words in one for words in self.expected)]
        self.assertEqual(complaints, [])

    def log_in(self):
        self.browser.log_in(self.host.token)

    def wait_for_login_view(self):
        # In a new document, which may not be there yet.
        self.browser.wait("the login view", lambda: self.browser.texts("#login:not([hidden])"))

    def assert_nothing_left(self, *words):
        self.assertEqual(set(self.browser.texts("#counts dd")), {"–"})
        left = self.browser.js("""return document.documentElement.outerHTML +
            [...document.querySelectorAll('input')].map((one) => one.value)""")
        self.assertEqual([word for word in words if word in left], [])

    def rows(self):
        return self.browser.texts("#live-rows li")

    def wait_for_row(self, text):
        return self.browser.wait(f"a row with {text}", lambda: [row for row in self.rows() if text in row])

    def vm_names(self):
        return self.browser.texts("#vm-rows .vm-name")

    def test_login_says_what_is_wrong_and_keeps_no_token(self):
        self.expected.append("/login - Failed to load resource: the server responded with a status of 401")
        self.browser["token"].send_keys("wrong" + Keys.ENTER)
        fault = self.browser.wait("words on the refusal", lambda: self.browser["login-fault"].text)
        self.assertIn("refuses this token", fault)
        self.assertEqual(self.browser["token"].get_attribute("value"), "")
        self.assertFalse(self.browser["work"].is_displayed())
        self.log_in()
        self.browser.wait("both VMs", lambda: {"web", "db"} <= set(self.vm_names()))
        kept = self.browser.js("""return JSON.stringify([{...localStorage}, {...sessionStorage}, document.cookie,
            location.href, history.state, document.documentElement.outerHTML])""")
        self.assertNotIn(self.host.token, kept)
        [cookie] = self.browser.driver.get_cookies()
        self.assertEqual((cookie["name"], cookie["httpOnly"], cookie["sameSite"]), ("hesper_session", True, "Strict"))

    def test_publications_appear_within_a_second(self):
        self.log_in()
        delays = []
        for number in range(10):
            text = f"timed {number} {time.time()}"
            self.browser.js("watchFor(arguments[0])", text)
            self.host.publish(MANY[number], "app.timed", text)
            acknowledged = time.time()
            self.wait_for_row(text)
            delays.append(self.browser.js("return watched.seen[arguments[0]]", text) - acknowledged)
        print(f"from acknowledgement to document: {min(delays) * 1000:.0f} to {max(delays) * 1000:.0f} ms", flush=True)
        self.assertLess(max(delays), 1.0)

    def test_what_guests_write_stays_text(self):
        self.log_in()
        self.browser.js(ADD_VMS, [EVIL + UNSEEN])
        self.host.publish("web", "app." + EVIL + UNSEEN, EVIL + UNSEEN)
        self.host.publish("web", "app.binary", b"\xff\xfe\x00<b>")
        [row] = self.wait_for_row("img src")
        self.assertEqual(row.count(EVIL + SHOWN), 2)
        self.assertIn("ff fe 00 3c 62 3e", self.wait_for_row("app.binary")[0])
        self.browser.wait("the VM's row", lambda: EVIL + SHOWN in self.vm_names())
        # Opened, too, and as filter.
        self.browser.js("for (const one of document.querySelectorAll('#live-rows summary')) one.click()")
        self.browser.wait("the whole payload", lambda: EVIL + SHOWN in self.browser.texts("#live-rows pre"))
        self.browser.js("""[...document.querySelectorAll('#live-rows .topic')]
            .find((one) => one.textContent.includes('img')).click()""")
        self.browser.wait("the filtered rows", lambda: len(self.rows()) == 1 and EVIL + SHOWN in self.rows()[0])
        self.assertIn("img src=x", self.browser["live-topic"].get_attribute("value"))
        self.assertEqual(self.browser.all("#work img, #work script, [style]"), [])
        self.assertNotIn("\u202e", self.browser["work"].get_attribute("outerHTML"))

    def test_filters(self):
        self.log_in()
        self.browser["vm-filter"].send_keys("WEB")
        self.browser.wait("the VM that matches", lambda: self.vm_names() == ["web"])
        self.browser.all("#vm-rows .vm-name")[0].click()
        self.browser.wait("publications of one VM", lambda: set(self.browser.texts("#live-rows .vm-name")) == {"web"})
        self.host.publish("db", "app.filtered", "of another VM")
        self.host.publish("web", "app.filtered.below", "of this VM")
        self.wait_for_row("of this VM")
        self.assertFalse([row for row in self.rows() if "of another VM" in row])
        self.browser["live-clear"].click()
        self.wait_for_row("of another VM")
        self.browser["live-topic"].send_keys("app.filtered" + Keys.ENTER)
        self.browser.wait("publications under one topic", lambda: len(self.rows()) == 2)
        self.assertTrue(all("app.filtered" in row for row in self.rows()))

    def test_pause_holds_the_rows_and_loses_none(self):
        self.log_in()
        self.browser.keys("p")
        self.browser.wait("the pause", lambda: self.browser["pause"].get_attribute("aria-pressed") == "true")
        before = self.rows()
        self.host.publish("mail", "app.paused", "came while paused")
        self.browser.wait("the number of new ones", lambda: "(1 new)" in self.browser["pause"].text)
        self.assertEqual(self.rows(), before)
        self.browser["pause"].click()
        self.wait_for_row("came while paused")

    def test_keyboard_alone(self):
        self.assertEqual(self.browser.focused(), "token")
        self.browser.keys(self.host.token, Keys.ENTER)
        self.browser.wait("the VMs", lambda: "web" in self.vm_names())
        self.browser.keys("/")
        self.assertEqual(self.browser.focused(), "vm-filter")
        # In a field the keys are letters.
        self.browser.keys("p?/")
        self.assertEqual(self.browser["vm-filter"].get_attribute("value"), "p?/")
        self.browser.wait("no VM", lambda: self.vm_names() == [])
        self.browser.keys(Keys.ESCAPE)
        self.browser.wait("the VMs again", lambda: "web" in self.vm_names())
        self.browser.tab_to("vm")
        outline = self.browser.js("return getComputedStyle(document.activeElement).outline")
        self.assertIn("solid 2px", outline)
        ascending = self.vm_names()
        self.browser.keys(Keys.ENTER)
        self.browser.wait("names from Z", lambda: self.vm_names() != ascending)
        self.assertEqual(self.browser.texts("[aria-sort=descending] button"), ["VM"])
        self.browser.keys("?")
        self.browser.wait("the help", self.browser["help"].is_displayed)
        self.browser.keys(Keys.ESCAPE)
        self.browser.wait("the end of the help", lambda: not self.browser["help"].is_displayed())
        self.browser.tab_to("live-vm")
        self.browser.keys("db", Keys.ENTER)
        self.browser.wait("publications of db", lambda: self.rows() and all("db" in row for row in self.rows()))

    def test_logout_ends_the_session_and_leaves_nothing(self):
        self.log_in()
        [cookie] = self.browser.driver.get_cookies()
        headers = {"Cookie": f"{cookie['name']}={cookie['value']}"}
        self.assertEqual(self.host.get("/api/overview", headers)[0], 200)
        self.wait_for_row("web starts")
        self.browser.wait("counts to forget", lambda: set(self.browser.texts("#counts dd")) != {"–"})
        # What is paused changes no more, but has to go as well.
        self.browser.keys("p")
        self.browser["vm-filter"].send_keys("words of the reader")
        self.browser["logout"].click()
        self.wait_for_login_view()
        self.assertEqual(self.host.get("/api/overview", headers)[0], 401)
        self.assert_nothing_left("web", "starts", "words of the reader")

    def test_readable_and_narrow(self):
        self.log_in()
        self.host.publish("web", "app.colours", "one\ntwo")
        self.wait_for_row("app.colours")
        for scheme in ("light", "dark"):
            self.browser.scheme(scheme)
            self.assertEqual(self.browser.js(LOW_CONTRAST), [], scheme)
        self.browser["theme"].click()
        self.assertEqual(self.browser.js("return getComputedStyle(document.body).colorScheme"), "light")
        self.browser["theme"].click()
        self.browser["theme"].click()
        self.browser.size(400, 800)
        self.addCleanup(self.browser.size, 1440, 900)
        width = self.browser.js("return document.documentElement.scrollWidth")
        self.assertLessEqual(width, 400)

    def test_interruptions_are_told(self):
        self.log_in()
        self.host.stop("nornhesperd")
        self.browser.wait("words on the daemon", lambda: "not reachable" in self.browser["state-daemon"].text)
        self.browser.wait("words on its stream", lambda: "interrupted" in self.browser["state-stream"].text)
        self.host.start_daemon()
        self.browser.wait("the daemon", lambda: "up" in self.browser["state-daemon"].text)
        self.browser.wait("its stream", lambda: "connected" in self.browser["state-stream"].text)
        self.host.publish("mail", "app.again", "after the interruption")
        self.wait_for_row("after the interruption")
        self.expected += ["net::ERR_", "/api/events - Failed to load resource: the server responded with a status of 401"]
        self.host.stop("hesper-exporter")
        self.browser.wait("words on the exporter", lambda: "can’t be asked" in self.browser["fault"].text)
        self.browser.wait("words on the page's stream", lambda: "interrupted" in self.browser["state-live"].text)
        self.host.start_exporter()
        # Its sessions were in memory alone.
        self.wait_for_login_view()
        self.assertIn("session has ended", self.browser["login-fault"].text)
        self.assert_nothing_left("after the interruption")

    def test_rows_are_bounded(self):
        self.log_in()
        for vm in 6 * MANY:
            self.host.publish(vm, "app.many", vm)
        self.browser.wait("a full list", lambda: "newest 200" in self.browser["live-note"].text)
        self.assertEqual(len(self.rows()), 200)
        self.browser.js(ADD_VMS, [f"far-{number:04}" for number in range(3000)])
        self.browser.wait("the first VMs", lambda: "first 200 of 3," in self.browser["vms-note"].text)
        self.assertEqual(len(self.vm_names()), 200)
        self.browser["vms-more"].click()
        self.browser.wait("more of them", lambda: len(self.vm_names()) == 400)
        self.browser["vm-filter"].send_keys("far-2999")
        self.browser.wait("a VM that had no row", lambda: self.vm_names() == ["far-2999"])
        self.assertIn("silent", self.browser.texts("#vm-rows .last")[0])


def take_screenshots(programs, folder):
    """Of a small host on an ordinary day, for the documents."""
    vms = ["web-1", "web-2", "db", "mail", "cache", "build", "auth", "queue"]
    with Host(programs, vms) as host, contextlib.closing(Browser(host.url)) as browser:
        for vm in vms:
            host.publish(vm, "metrics.node", f"# TYPE node_load1 gauge\nnode_load1 0.{len(vm)}2\n")
        browser.open()
        browser["token"].send_keys("wrong" + Keys.ENTER)
        browser.wait("the refusal", lambda: browser["login-fault"].text)
        browser.log_in(host.token)
        with contextlib.suppress(subprocess.CalledProcessError):
            host.run("hesper-publish", "--cid", "100", "--raw", input=b'{"header":{"sequence":9}}')
        for vm, topic, payload in DAY:
            host.publish(vm, topic, payload)
        host.publish("queue", "metrics.queue", "this is no metric")
        browser.wait("a refused text", lambda: "1" in browser.texts("td.refusedTexts"))
        browser.wait("a refused publication", lambda: browser.texts(".counts .above small"))
        browser.size(1280, 540)
        for scheme in ("light", "dark"):
            browser.scheme(scheme)
            browser.driver.save_screenshot(str(folder / f"exporter-{scheme}.png"))


def main():
    global ARGUMENTS
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("programs", type=pathlib.Path)
    parser.add_argument("--screenshots", type=pathlib.Path)
    ARGUMENTS, rest = parser.parse_known_args()
    if ARGUMENTS.screenshots:
        return take_screenshots(ARGUMENTS.programs, ARGUMENTS.screenshots)
    unittest.main(argv=[sys.argv[0], *rest])


if __name__ == "__main__":
    main()
