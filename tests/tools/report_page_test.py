# SPDX-License-Identifier: Apache-2.0
"""The report in a real browser, headless: every plot drawn, cursors linked, nothing cut off on a
phone, no network, colours that all can tell apart. Speaks the WebDriver protocol to chromedriver.

Usage: report_page_test.py COMMAND [FOLDER]
FOLDER keeps the run and the pictures of the page. Leaves with 77, and says so, without a browser.
"""
import base64
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
import urllib.request

SKIPPED = 77

# What the page and the browser itself load; everything else would go over the network.
OWN_SCHEMES = ("file:", "data:", "about:", "chrome:", "chrome-untrusted:")


def check(condition, message):
    if not condition:
        sys.exit("FAILED: " + message)
    print("ok: " + message)


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
        answer = self.ask("POST", "/session", {"capabilities": {"alwaysMatch": {
            "goog:chromeOptions": options, "goog:loggingPrefs": {"performance": "ALL", "browser": "ALL"}}}})
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
            self.driver.terminate()
            self.driver.wait()


def run_once(command, folder):
    """A run with a gap in its log and a margin that binds, so that every mark is in the page."""
    out = os.path.join(folder, "out")
    camera = os.path.join(folder, "camera.ini")
    with open(camera, "w", encoding="utf-8") as file:
        file.write("[sensor_data\\idx0\\general]\nminimal_total_margin = 0.02\n")
    subprocess.run([command, "stabilize", "--out", out, "--camera", camera], check=True,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    os.remove(os.path.join(out, "report.html"))
    subprocess.run([command, "report", out], check=True, stdout=subprocess.DEVNULL)
    return os.path.join(out, "report.html"), json.load(open(os.path.join(out, "trace.json")))


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


def check_cursors(browser, page, trace):
    at = len(trace["frame"]) // 3
    browser.open(f"file://{page}#frame={trace['frame'][at]}", 1280, 900)
    where = browser.run("return document.getElementById('where').textContent")
    check(where.startswith(f"frame {trace['frame'][at]} "), "the address says which frame: " + where)
    shown = browser.run("return [...document.querySelectorAll('#orientation .legend b')].map(b => Number(b.textContent))")
    wanted = [trace[k][a][at] for a in range(3) for k in ("before_mrad", "after_mrad")]
    check(all(abs(s - w) <= 0.006 * abs(w) + 1e-9 for s, w in zip(shown, wanted)), "the plots show its values")
    box = browser.run("const s = document.querySelector('#correction svg[role=img]'); s.scrollIntoView({block: 'center'});"
                      "const b = s.getBoundingClientRect(); return [b.left, b.top, b.width, b.height]")
    browser.command("POST", "/actions", {"actions": [{"type": "pointer", "id": "mouse", "parameters": {"pointerType": "mouse"},
        "actions": [{"type": "pointerMove", "x": round(box[0] + box[2] * 0.8), "y": round(box[1] + box[3] / 2)}]}]})
    hairs = browser.run("return [...document.querySelectorAll('.plots:not(#spectra) svg[role=img]')].map(s => "
                        "{const d = s.querySelector('.hair').getAttribute('d'); return (parseFloat(d.slice(1)) - 46) / (s.viewBox.baseVal.width - 56)})")
    check(len(hairs) >= 10 and max(hairs) - min(hairs) < 0.01 and hairs[0] > 0.7, f"one move moves all {len(hairs)} cursors")
    moved = browser.run("return location.hash")
    check(moved != f"#frame={trace['frame'][at]}", "and the address follows: " + moved)
    caption = browser.run("return document.getElementById('mesh-text').textContent")
    check(moved.split("=")[1] in caption, "and the mesh: " + caption)


def main():
    command = sys.argv[1]
    driver = shutil.which("chromedriver")
    browser_path = shutil.which("chromium")
    if not driver or not browser_path:
        print("SKIPPED, NOTHING WAS TESTED: no chromium with chromedriver; scripts/setup test installs both")
        return SKIPPED
    with tempfile.TemporaryDirectory() as scratch:
        folder = sys.argv[2] if len(sys.argv) > 2 else scratch
        page, trace = run_once(command, folder)
        text = open(page, encoding="utf-8").read()
        check(not re.search(r"""(src|href)\s*=\s*["'](?!data:)|@import|url\(""", text), "the page names no other file")
        browser = Browser(driver, browser_path, scratch)
        try:
            for name, width, height in (("desktop", 1280, 900), ("phone", 390, 844)):
                browser.open("file://" + page, width, height)
                state = browser.run("return {...document.documentElement.dataset}")
                check(state.get("ready") == "yes" and "error" not in state, f"{name}: the page runs: {state}")
                paths = browser.run("return [...document.querySelectorAll('.plot svg[role=img] path.s')].filter(p => p.getAttribute('d').length > 50).length")
                check(paths >= 20, f"{name}: {paths} lines are drawn")
                spill = browser.run("return document.documentElement.scrollWidth - innerWidth")
                check(spill <= 0, f"{name}: nothing is wider than the page ({spill})")
                small = browser.run("return Math.min(...[...document.querySelectorAll('.plot svg[role=img]')].map(s => s.getBoundingClientRect().width / s.viewBox.baseVal.width))")
                check(small > 0.95, f"{name}: text in plots keeps its size ({small:.2f})")
                browser.whole_page(os.path.join(folder, name + ".png"))
            check(browser.run("return document.querySelectorAll('.breach').length") > 0 or not any(
                v and not f for v, f in zip(trace["valid"], trace["feasible"])), "breaches are marked")
            check_cursors(browser, page, trace)
            check_colours(browser, "light")
            browser.media(prefers_color_scheme="dark")
            browser.open("file://" + page, 1280, 900)
            check_colours(browser, "dark")
            browser.whole_page(os.path.join(folder, "dark.png"))
            browser.media(media="print")
            check(browser.run("return getComputedStyle(document.querySelector('.cursor')).display") == "none",
                  "print: controls are left out")
            printed = browser.command("POST", "/print", {"background": True})
            pages = len(re.findall(rb"/Type\s*/Page\b", base64.b64decode(printed)))
            check(1 <= pages <= 8, f"print: {pages} pages")
            with open(os.path.join(folder, "print.pdf"), "wb") as file:
                file.write(base64.b64decode(printed))
            outside = [u for u in browser.requests() if not u.startswith(OWN_SCHEMES)]
            check(not outside, f"no request leaves the machine {outside[:3]}")
        finally:
            browser.close()
    return 0


if __name__ == "__main__":
    started = time.time()
    status = main()
    print(f"{time.time() - started:.1f} s")
    sys.exit(status)
