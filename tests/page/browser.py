"""A real Chromium, and what a person does with it."""

import json

from selenium import webdriver
from selenium.common.exceptions import TimeoutException
from selenium.webdriver import ActionChains
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait

PATIENCE = 15  # seconds until a condition counts as not met

FLAGS = ("--headless=new", "--no-sandbox", "--use-angle=swiftshader", "--enable-unsafe-swiftshader",
         "--disable-background-networking", "--no-first-run", "--disable-component-update",
         "--disable-sync", "--disable-default-apps", "--hide-scrollbars", "--mute-audio")


class Browser:
    def __init__(self):
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for flag in FLAGS:
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.requested = set()
        self.complaints = []

    def quit(self):
        self.driver.quit()

    def size(self, width, height, touch=False):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": touch})

    def theme(self, name):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": name},
                         {"name": "prefers-reduced-motion", "value": "reduce"}]})

    def open(self, url):
        self.driver.get(url)
        self.wait(lambda: self.state() == "on", "the page says that the camera is on")

    def state(self):
        return self.script("return document.body.dataset.state")

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def wait(self, condition, meaning):
        """Polls until the condition holds; its value."""
        return WebDriverWait(self.driver, PATIENCE, 0.01).until(lambda _: condition(), meaning)

    def wait_equal(self, value, expected, meaning):
        """Polls until the value is the expected one; says what it was if it never is."""
        try:
            self.wait(lambda: value() == expected, meaning)
        except TimeoutException:
            raise AssertionError(f"{meaning}: {value()!r}, expected {expected!r}") from None

    def drawn(self):
        """Waits until the browser has laid out and drawn what there is."""
        self.driver.execute_async_script(
            "const done = arguments[0]; let frames = 6;"
            "(function next() { if (--frames) requestAnimationFrame(next); else done(); })()")

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def find_all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def named(self, name, inside=""):
        """The control with a spoken name."""
        return self.find(f'{inside} [aria-label="{name}"]')

    def command(self, text):
        """The button that sends a command, of those that can be seen."""
        return next(button for button in self.find_all(f'button[data-command="{text}"]')
                    if button.is_displayed())

    def text(self, selector):
        return self.script("return document.querySelector(arguments[0])?.textContent", selector)

    def show(self, element):
        self.script("arguments[0].scrollIntoView({block: 'center'})", element)

    def sent(self):
        return self.text(".console .last")

    def click(self, element, command):
        """Presses a button and waits until the console has carried out its command."""
        self.forget_sent()
        self.show(element)
        element.click()
        self.wait_sent(command)

    def choose(self, element, value, command):
        self.forget_sent()
        self.show(element)
        Select(element).select_by_value(value)
        self.wait_sent(command)

    def forget_sent(self):
        self.script("document.querySelector('.console .last').textContent = ''")

    def wait_sent(self, command):
        self.wait_equal(self.sent, "sent: " + "  ·  ".join(command.split("\n")), "the command was carried out")

    def press(self, element):
        self.show(element)
        ActionChains(self.driver).click_and_hold(element).perform()

    def release(self):
        ActionChains(self.driver).release().perform()

    def take_logs(self):
        """Remembers what was requested and complained about since the last call."""
        self.complaints += [entry["message"] for entry in self.driver.get_log("browser")]
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                self.requested.add(message["params"]["request"]["url"])

    def forgive(self, text):
        """Forgets what the browser itself has said since the last call about a request that was
        meant to fail."""
        known = len(self.complaints)
        self.take_logs()
        self.complaints[known:] = [line for line in self.complaints[known:] if text not in line]
