"""Chromium on the exporter's page: what it shows, and what it did behind the scenes."""

import json
import shutil
import tempfile

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

PATIENCE = 20.0
FLAGS = """--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking
           --disable-component-update --disable-sync --disable-lcd-text --lang=en""".split()

# In each document before its own scripts.
WATCH = """
window.watched = {violations: [], errors: [], seen: {}};
document.addEventListener('securitypolicyviolation', (e) =>
  watched.violations.push(`${e.violatedDirective} ${e.blockedURI}`));
addEventListener('error', (e) => watched.errors.push(e.message));
addEventListener('unhandledrejection', (e) => watched.errors.push(String(e.reason)));
for (const dialog of ['alert', 'confirm', 'prompt']) window[dialog] = () => watched.errors.push(dialog);
// When a text was first in the list of publications, by this machine's clock.
window.watchFor = (text) => new MutationObserver((_, observer) => {
  if (!document.getElementById('live-rows').textContent.includes(text)) return;
  watched.seen[text] = Date.now() / 1000;
  observer.disconnect();
}).observe(document.getElementById('live-rows'), {childList: true, subtree: true});
"""

# The text elements whose contrast with their ground is below 4.5, as WCAG 2 reckons it.
LOW_CONTRAST = """
const numbers = (colour) => {
  const canvas = Object.assign(document.createElement('canvas'), {width: 1, height: 1}).getContext('2d');
  canvas.fillStyle = colour;
  canvas.fillRect(0, 0, 1, 1);
  return [...canvas.getImageData(0, 0, 1, 1).data];
};
const light = (rgb) => rgb.slice(0, 3).map((one) => one / 255)
  .map((one) => (one <= 0.04045 ? one / 12.92 : ((one + 0.055) / 1.055) ** 2.4))
  .reduce((sum, one, at) => sum + one * [0.2126, 0.7152, 0.0722][at], 0);
const ground = (node) => {
  for (; node; node = node.parentElement) {
    const colour = numbers(getComputedStyle(node).backgroundColor);
    if (colour[3] === 255) return colour;
  }
  return [255, 255, 255];
};
const low = new Set();
for (const node of document.querySelectorAll('body *')) {
  const own = [...node.childNodes].some((one) => one.nodeType === 3 && one.textContent.trim());
  if (!own || !node.checkVisibility()) continue;
  const both = [light(numbers(getComputedStyle(node).color)), light(ground(node))];
  const contrast = (Math.max(...both) + 0.05) / (Math.min(...both) + 0.05);
  const what = [node.tagName, node.className, contrast.toFixed(2), node.textContent.slice(0, 30)];
  if (contrast < 4.5) low.add(what.join(' '));
}
return [...low];
"""


class Browser:
    def __init__(self, url):
        self.url = url
        self.profile = tempfile.mkdtemp(prefix="exporter-page.")
        options = webdriver.ChromeOptions()
        for flag in [*FLAGS, f"--user-data-dir={self.profile}"]:
            options.add_argument(flag)
        options.binary_location = shutil.which("chromium")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Service(shutil.which("chromedriver")))
        self.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": WATCH})
        self.size(1440, 900)
        # What the browser's own first tab has asked for is none of the page's.
        self.driver.get("about:blank")
        self.driver.get_log("performance")
        self.requested = set()
        self.complaints = []  # warnings and errors of the console

    def close(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)

    def size(self, width, height):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def scheme(self, scheme):
        """Without motion, for pictures and colours of one moment."""
        wishes = {"prefers-color-scheme": scheme, "prefers-reduced-motion": "reduce"}
        features = [{"name": name, "value": value} for name, value in wishes.items()]
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})

    def js(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def __getitem__(self, identity):
        return self.driver.find_element(By.ID, identity)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def texts(self, selector):
        """In one step, as the page goes on changing."""
        return self.js("return [...document.querySelectorAll(arguments[0])].map((one) => one.textContent)", selector)

    def wait(self, what, condition):
        """The first result of `condition` that counts as true."""
        waiting = WebDriverWait(self.driver, PATIENCE, 0.05, ignored_exceptions=[StaleElementReferenceException])
        return waiting.until(lambda _: condition(), f"{what}: it did not happen in {PATIENCE:g} s")

    def keys(self, *keys):
        self.driver.switch_to.active_element.send_keys(*keys)

    def focused(self):
        return self.js("return document.activeElement.id || document.activeElement.dataset.key || ''")

    def tab_to(self, identity):
        for _ in range(40):
            if self.focused() == identity:
                return
            self.keys(Keys.TAB)
        raise AssertionError(f"{identity} isn't reached with the Tab key")

    def open(self):
        """The page for somebody without a session."""
        self.driver.delete_all_cookies()
        self.driver.get(self.url + "/")
        self.wait("the login view", self["token"].is_displayed)

    def log_in(self, token):
        self["token"].send_keys(token + Keys.ENTER)
        self.wait("the page after the login", lambda: self["work"].is_displayed())
        self.wait("the stream of publications", lambda: "receives" in self["state-live"].text)

    def listen(self):
        """Takes in what Chromium has logged since the last time."""
        self.requested.clear()
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                self.requested.add(message["params"]["request"]["url"])
        self.complaints = [entry["message"] for entry in self.driver.get_log("browser") if entry["level"] != "INFO"]
