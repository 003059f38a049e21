# SPDX-License-Identifier: Apache-2.0
"""What the tests of pages share: a headless Chromium over the WebDriver protocol, and colours as
people see them."""
import base64
import json
import os
import re
import shutil
import subprocess
import sys
import urllib.error
import urllib.request

SKIPPED = 77


def check(condition, message):
    if not condition:
        sys.exit("FAILED: " + message)
    print("ok: " + message)


def find_browser():
    """Paths of chromedriver and chromium; None, loudly, where there is no browser."""
    paths = shutil.which("chromedriver"), shutil.which("chromium")
    if None in paths:
        print("SKIPPED, NOTHING WAS TESTED: no chromium with chromedriver; scripts/setup test installs both")
        return None
    return paths


class Browser:
    """One session of a headless Chromium."""

    def __init__(self, driver, browser, folder):
        self.driver = subprocess.Popen([driver, "--port=0"], stdout=subprocess.PIPE, text=True)
        self.port = None
        for line in self.driver.stdout:
            found = re.search(r"started successfully on port (\d+)", line)
            if found:
                self.port = int(found.group(1))
                break
        options = {"binary": browser, "args": [
            "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
            "--disable-background-networking", "--disable-component-update", "--disable-sync",
            "--hide-scrollbars", "--user-data-dir=" + os.path.join(folder, "profile")]}
        try:
            answer = self.ask("POST", "/session", {"capabilities": {"alwaysMatch": {
                "goog:chromeOptions": options,
                "goog:loggingPrefs": {"performance": "ALL", "browser": "ALL"}}}})
        except urllib.error.HTTPError as error:
            # A driver left behind holds the test's output open, and ctest waits for it.
            self.stop()
            sys.exit("FAILED: no browser session (is localhost known here?): " + error.read().decode()[:400])
        self.session = "/session/" + answer["sessionId"]

    def ask(self, method, path, body=None):
        request = urllib.request.Request(
            f"http://127.0.0.1:{self.port}{path}", method=method,
            data=None if body is None else json.dumps(body).encode(),
            headers={"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def command(self, method, path, body=None):
        return self.ask(method, self.session + path, body)

    def run(self, script):
        return self.command("POST", "/execute/sync", {"script": script, "args": []})

    def open(self, url, width, height):
        self.command("POST", "/goog/cdp/execute", {
            "cmd": "Emulation.setDeviceMetricsOverride",
            "params": {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600}})
        self.command("POST", "/url", {"url": "about:blank"})
        self.command("POST", "/url", {"url": url})

    def whole_page(self, path):
        height = self.run("return document.documentElement.scrollHeight")
        width = self.run("return innerWidth")
        picture = self.command("POST", "/goog/cdp/execute", {
            "cmd": "Page.captureScreenshot", "params": {"captureBeyondViewport": True, "clip": {
                "x": 0, "y": 0, "width": width, "height": height, "scale": 1}}})
        with open(path, "wb") as file:
            file.write(base64.b64decode(picture["data"]))

    def media(self, **features):
        self.command("POST", "/goog/cdp/execute", {"cmd": "Emulation.setEmulatedMedia", "params": {
            "media": features.pop("media", ""),
            "features": [{"name": n.replace("_", "-"), "value": v} for n, v in features.items()]}})

    def requests(self):
        urls = []
        for entry in self.command("POST", "/se/log", {"type": "performance"}):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                urls.append(message["params"]["request"]["url"])
        return urls

    def close(self):
        try:
            self.command("DELETE", "")
        finally:
            self.stop()

    def stop(self):
        self.driver.terminate()
        self.driver.wait()


def luminance(colour):
    def linear(v):
        return v / 12.92 if v <= 0.04045 else ((v + 0.055) / 1.055) ** 2.4
    r, g, b = (linear(v) for v in colour)
    return 0.2126 * r + 0.7152 * g + 0.0722 * b


def contrast(a, b):
    high, low = sorted((luminance(a), luminance(b)), reverse=True)
    return (high + 0.05) / (low + 0.05)


# How the three kinds of dichromats see linear red, green and blue (Machado and others, 2009).
SIGHTS = {
    "all cones": [[1, 0, 0], [0, 1, 0], [0, 0, 1]],
    "no red cones": [[0.152286, 1.052583, -0.204868], [0.114503, 0.786281, 0.099216],
                     [-0.003882, -0.048116, 1.051998]],
    "no green cones": [[0.367322, 0.860646, -0.227968], [0.280085, 0.672501, 0.047413],
                       [-0.011820, 0.042940, 0.968881]],
    "no blue cones": [[1.255528, -0.076749, -0.178779], [-0.078411, 0.930809, 0.147602],
                      [0.004733, 0.691367, 0.303900]],
}


def seen(colour, sight):
    return [min(1, max(0, sum(m * v for m, v in zip(row, colour)))) for row in sight]


def check_colours(browser, theme):
    names = ("card", "before", "after", "alarm")
    raw = browser.run("const s = getComputedStyle(document.documentElement);"
                      "return ['card','before','after','alarm'].map(n => s.getPropertyValue('--' + n).trim())")
    colours = {n: [int(v.lstrip("#")[i:i + 2], 16) / 255 for i in (0, 2, 4)] for n, v in zip(names, raw)}
    for name in names[1:]:
        check(contrast(colours[name], colours["card"]) >= 3, f"{theme}: {name} stands out from its card")
    for sight, matrix in SIGHTS.items():
        a, b = seen(colours["before"], matrix), seen(colours["after"], matrix)
        apart = sum((x - y) ** 2 for x, y in zip(a, b)) ** 0.5
        check(apart > 0.25, f"{theme}: before and after differ with {sight} ({apart:.2f})")
