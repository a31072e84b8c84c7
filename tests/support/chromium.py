"""Chromium for tests of pages: headless, through Selenium, with the browser and the driver of Debian's packages.

scripts/install-packages browser installs them. Put this directory on sys.path, and start() the browser in a fixture.
"""

from __future__ import annotations

import os
import pathlib

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

# As root, the browser has no sandbox. The other options prevent network access.
FLAGS = """--headless=new --no-sandbox --disable-gpu --disable-quic --no-first-run --disable-background-networking
--disable-component-update --disable-sync --window-size=1280,900""".split()


def start(profile: pathlib.Path, **preferences: int) -> webdriver.Chrome:
    """Starts the browser with a new profile in an empty directory. The caller ends it with quit()."""
    options = Options()
    options.binary_location = "/usr/bin/chromium"
    for flag in FLAGS:
        options.add_argument(flag)
    options.add_argument(f"--user-data-dir={profile}")
    options.add_experimental_option("prefs", preferences)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    # The browser writes to the home directory, which can be missing in a test.
    service = Service("/usr/bin/chromedriver", env={**os.environ, "HOME": str(profile)})
    return webdriver.Chrome(service=service, options=options)


def problems(driver: webdriver.Chrome) -> list[str]:
    """What the page that is open could not load or run, since the last call."""
    return [entry["message"] for entry in driver.get_log("browser") if "favicon" not in entry["message"]]
