"""A browser without a window, and what is asked of its pages."""

import json
import os
import tempfile
from urllib.parse import urlsplit

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.support.wait import WebDriverWait

PICTURES = os.environ["PICTURES"]
PATIENCE_S = 30
OPTIONS = ("--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking "
           "--disable-component-update --disable-sync --disable-dev-shm-usage --force-device-scale-factor=1 "
           "--hide-scrollbars --window-size=1440,1000")


class Browser:
    def __init__(self):
        self.folder = tempfile.TemporaryDirectory()
        options = webdriver.ChromeOptions()
        for word in [*OPTIONS.split(), f"--user-data-dir={self.folder.name}"]:
            options.add_argument(word)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))
        self.driver.set_window_size(1440, 1000)

    def close(self):
        self.driver.quit()
        self.folder.cleanup()

    def open(self, url):
        self.driver.get(url)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def find(self, selector, text=""):
        """The first element there that has this text; it is waited for."""
        def found(driver):
            return next((it for it in driver.find_elements(By.CSS_SELECTOR, selector) if text in it.text), None)
        return WebDriverWait(self.driver, PATIENCE_S, ignored_exceptions=[Exception]).until(
            found, f"no {selector} with {text!r}")

    def texts(self, selector):
        """Of all at once: what is drawn anew meanwhile would be gone one by one."""
        return self.run("return [...document.querySelectorAll(arguments[0])].map((it) => it.innerText)", selector)

    def count(self, selector):
        return len(self.driver.find_elements(By.CSS_SELECTOR, selector))

    def until(self, condition, what=""):
        return WebDriverWait(self.driver, PATIENCE_S, 0.05).until(lambda _: condition(), what)

    def point_at(self, element):
        ActionChains(self.driver, duration=0).move_to_element(element).perform()

    def press(self, *keys):
        ActionChains(self.driver, duration=0).send_keys(*keys).perform()

    def focused(self):
        return self.run("return document.activeElement.id || document.activeElement.getAttribute('aria-label')"
                        " || document.activeElement.textContent")

    def painted(self, pane):
        """How many pixels of this pane of the map are not empty."""
        return self.run("""
            const canvas = document.querySelector(`${arguments[0]} canvas`);
            const data = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
            return data.filter((value, i) => i % 4 === 3 && value > 0).length;""", pane)

    def prefer(self, scheme):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def picture(self, name):
        os.makedirs(PICTURES, exist_ok=True)
        # Two frames later all that was asked for is drawn.
        self.driver.execute_async_script(
            "requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(arguments[0], 100)));")
        self.driver.save_screenshot(f"{PICTURES}/{name}.png")

    def complaints(self):
        """What the console has: errors of scripts, what the policy of the page refuses, what was not found."""
        return [entry["message"] for entry in self.driver.get_log("browser")]

    def asked(self):
        """Scheme and host of all that was asked for since the last call."""
        messages = (json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance"))
        urls = [urlsplit(message["params"]["request"]["url"]) for message in messages
                if message["method"] == "Network.requestWillBeSent"]
        return {(url.scheme, url.netloc) for url in urls}
