# SPDX-License-Identifier: Apache-2.0
"""The live tuning page in a real browser, headless: browse modes and values, change one while a
stream runs, see it arrive in the stream; the service going away and coming back; and requests that
must not get through.

Usage: web_page_test.py COMMAND EXAMPLES [FOLDER]
FOLDER keeps the pictures of the page. Leaves with 77, and says so, without a browser.
"""
import atexit
import http.client
import json
import math
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

from browser import SKIPPED, Browser, check, check_colours, find_browser

MODE = "Default|Sensor.0|Usecase.Video"
MARGIN = "tessaline_eis13_reserve.general.minimal_total_margin"
NOISE = "tessaline_eis13_reserve.general.gyro_noise_floor"
SECONDS = 120


class Program:
    """A command that goes on while the test does."""

    def __init__(self, folder, *words):
        self.errors = open(os.path.join(folder, "errors.txt"), "a", encoding="utf-8")
        self.process = subprocess.Popen(words, stdout=subprocess.PIPE, stderr=self.errors, text=True)
        # However the test ends; a child left behind holds its output open, and ctest waits for it.
        atexit.register(self.close)
        self.lines = []

    def line(self, begin):
        for text in self.process.stdout:
            self.lines.append(text)
            if text.startswith(begin):
                return text
        sys.exit(f"FAILED: no line {begin} in {self.lines}")

    def interrupt(self):
        self.process.send_signal(signal.SIGINT)
        return self.process.wait(timeout=20)

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.errors.close()


def write_shake(path):
    """A camera that swings at 3, 2.3 and 1.1 Hz about its axes, by up to 0.3 rad/s."""
    with open(path, "w", encoding="utf-8") as file:
        file.write("t_us,gx,gy,gz\n")
        for i in range(SECONDS * 200):
            t = i / 200
            rates = [a * math.sin(2 * math.pi * f * t) for a, f in ((0.3, 3.0), (0.2, 2.3), (0.1, 1.1))]
            file.write(f"{1000000 + 5000 * i}," + ",".join(f"{r:.6f}" for r in rates) + "\n")


class Bench:
    """A running stream with its page."""

    def __init__(self, command, examples, folder):
        self.command, self.folder = command, folder
        write_shake(os.path.join(folder, "gyro.csv"))
        self.tuning = os.path.join(folder, "phone.bin")
        subprocess.run([command, "tuning", "build", os.path.join(examples, "phone.toml"), "-o", self.tuning], check=True)
        self.start_stream()
        self.web = Program(folder, command, "tune", self.address, "--web", "--timeout", "5")
        self.url = re.search(r"url=(\S+) ", self.web.line("page ")).group(1)

    def start_stream(self):
        self.stream = Program(
            self.folder, self.command, "stabilize", "--gyro", os.path.join(self.folder, "gyro.csv"), "--fps", "30",
            "--readout-us", "20000", "--tuning", self.tuning, "--mode", MODE, "--out",
            os.path.join(self.folder, "live"), "--serve")
        self.address = re.search(r"address=(\S+)", self.stream.line("serving ")).group(1)

    def tune(self, *words):
        return subprocess.run([self.command, "tune", self.address, *words], check=True, text=True,
                              stdout=subprocess.PIPE).stdout.strip()

    def get(self, name):
        return float(self.tune("get", MODE, "eis13_sw", name))

    def close(self):
        self.web.close()
        self.stream.close()


def wait_for(browser, script, message, seconds=15):
    end = time.time() + seconds
    while not (found := browser.run("return " + script)) and time.time() < end:
        time.sleep(0.1)
    check(found, f"{message}: {found}")
    return found


def row(name):
    return f"document.querySelector('tr[data-name=\"{name}\"]')"


def shown(name):
    return row(name) + "?.querySelector('.now').textContent"


def type_value(browser, name, value):
    browser.run(f"const i = {row(name)}.querySelector('input'); i.value = '{value}';"
                "i.dispatchEvent(new Event('input')); i.closest('tr').scrollIntoView({block: 'center'})")


def apply(browser, name):
    browser.run(row(name) + ".querySelector('.new button').click()")


def picture(browser, folder, name):
    browser.run("scrollTo(0, 0)")
    browser.whole_page(os.path.join(folder, name + ".png"))


def crop_use(browser):
    """The most of its room that the crop used in the last five seconds, as the page tells it."""
    return browser.run("return Math.max(...[...document.querySelectorAll('#figures .figure')].filter("
                       "f => f.textContent.includes('room')).map(f => parseFloat(f.textContent))) / 100")


def check_browsing(browser):
    wait_for(browser, f"document.documentElement.dataset.module === '{MODE}:eis13_sw'", "opens at the mode in use")
    modes = browser.run("return [...document.querySelectorAll('#modes button')].map(b => b.textContent)")
    check(modes == ["Default", "Sensor.0", "Usecase.Videoin use"], f"the tree of modes: {modes}")
    check(browser.run("return " + shown(MARGIN)) == "0.2", "the margin of video")
    types = browser.run("return [...document.querySelectorAll('#rows td.type')].map(t => t.textContent)")
    check({"Float", "UInt32", "Int32"} <= set(types), f"types of {len(types)} fields")
    general = "document.querySelector('tr.group[data-group$=\".general\"] button')"
    folded = browser.run(f"return [{row(MARGIN)}.hidden, {general}.click(), {row(MARGIN)}.hidden]")
    check(folded == [True, None, False], "a heading opens its fields")
    browser.run("document.querySelector('#modes button').click()")
    wait_for(browser, f"{shown(MARGIN)} === '0.1'", "another mode has another value")
    browser.run("[...document.querySelectorAll('#modes button')].pop().click()")
    wait_for(browser, f"{shown(MARGIN)} === '0.2'", "and back")


def check_editing(browser, bench, folder):
    lines = "[...document.querySelectorAll('#plots path.s')].filter(p => p.getAttribute('d').length > 400).length"
    wait_for(browser, lines + " >= 7", "shake about three axes before and after, and crop use are drawn")
    time.sleep(5)
    use = crop_use(browser)
    type_value(browser, MARGIN, "0.06")
    check(browser.run(f"const r = {row(MARGIN)}; return r.matches('.edited') && r.querySelector('.now').textContent") == "0.2",
          "the old value stays beside the new one")
    picture(browser, folder, "edit")
    apply(browser, MARGIN)
    bench.stream.line("tuning frame=")
    check(bench.stream.lines[-1].endswith("status=taken\n"), "the stream took it: " + bench.stream.lines[-1].strip())
    check(abs(bench.get(MARGIN) - 0.06) < 1e-6, "another client reads it")
    wait_for(browser, "document.getElementById('figures').textContent.includes('0.06')", "the stream tells it is in force")
    wait_for(browser, "document.querySelectorAll('#plots .mark').length >= 4", "the plots mark the frame")
    wait_for(browser, f"{row(MARGIN)}.matches('.changed') && {row(MARGIN)}.textContent", "the row keeps the first value")
    time.sleep(6)
    narrow = crop_use(browser)
    check(narrow > 2 * use, f"a third of the room, and the same shake: crop use {use:.2f}, then {narrow:.2f}")
    picture(browser, folder, "desktop")

    type_value(browser, MARGIN, "wide")
    apply(browser, MARGIN)
    wait_for(browser, row(MARGIN) + ".querySelector('.told').textContent", "no number is refused")
    check(abs(bench.get(MARGIN) - 0.06) < 1e-6, "and changes nothing")
    browser.run(row(MARGIN) + ".querySelector('.was button').click()")
    wait_for(browser, f"{shown(MARGIN)} === '0.2'", "a change is taken back")
    check(abs(bench.get(MARGIN) - 0.2) < 1e-6, "in the service, too")
    bench.tune("set", MODE, "eis13_sw", NOISE + "=0.006")
    wait_for(browser, f"{shown(NOISE)} === '0.006'", "what another client writes shows")


def check_hostile_requests(bench):
    port = int(re.search(r":(\d+)/", bench.url).group(1))
    own = f"127.0.0.1:{port}"
    change = json.dumps({"path": MODE, "module": "eis13_sw", "name": MARGIN, "value": "0.01"})

    def post(body=change, **headers):
        return "POST", "/api/set", body, {"Host": own, "Content-Type": "application/json",
                                          **{k.replace("_", "-"): v for k, v in headers.items()}}

    def pair(**members):
        return post(json.dumps({**json.loads(change), **members}))

    table = [
        ("another host's name", 403, post(Host="evil.example")),
        ("another port's name", 403, post(Host=f"127.0.0.1:{port + 1}")),
        ("another host's name, reading", 403, ("GET", "/", None, {"Host": f"evil.example:{port}"})),
        ("another site's page", 403, post(Origin="http://evil.example")),
        ("a page without origin", 403, post(Origin="null")),
        ("another site's page, by its kind", 403, post(Sec_Fetch_Site="cross-site")),
        ("a form", 415, post(Content_Type="text/plain")),
        ("no JSON", 400, post("{")),
        ("deep JSON", 400, post("[" * 8000)),
        ("no object", 400, post("[1]")),
        ("no text", 400, pair(value=5)),
        ("no value", 400, pair(value="")),
        ("a second value", 400, pair(value="0.01;focal_length=1")),
        ("a name with a field in it", 400, pair(name="a:b")),
        ("a zero byte", 400, pair(name="a\0b")),
        ("a name that is too long", 400, pair(name="a" * 600)),
        ("a body that is too long", 413, post(" " * 100000 + change)),
        ("a body without a length", 411, post(iter([b"x" * 70000] * 3))),
        ("a field that is not there", 422, pair(name="nothing")),
        ("nothing there", 404, ("GET", "/api/module?path=Default&module=nothing", None, {"Host": own})),
        ("no number", 400, ("GET", "/api/stream?since=-1", None, {"Host": own})),
        ("no first element", 400, ("GET", "/api/elements?path=Default&module=eis13_sw&name=a&first=x", None, {"Host": own})),
        ("an unknown path", 404, ("GET", "/../../etc/passwd", None, {"Host": own})),
        ("an unknown method", 404, ("DELETE", "/api/set", None, {"Host": own})),
        ("what is meant", 200, ("GET", "/api/stream?since=0", None, {"Host": f"localhost:{port}"})),
    ]
    for what, status, (method, path, body, headers) in table:
        connection = http.client.HTTPConnection("127.0.0.1", port, timeout=10)
        try:
            connection.request(method, path, body=body, headers=headers)
            got = connection.getresponse()
            answer = got.read()
            json.loads(answer)
        except (BrokenPipeError, ConnectionResetError):
            # Hung up on before the whole body was sent.
            got = None
        finally:
            connection.close()
        check(got.status == status if got else status in (411, 413), f"{what}: {got.status if got else 'hung up'}")
    check(abs(bench.get(MARGIN) - 0.2) < 1e-6, "none of them changed the value")


def check_comes_back(browser, bench, folder):
    address = bench.address
    bench.stream.interrupt()
    text = wait_for(browser, "document.documentElement.dataset.service === 'down' && document.getElementById('status').textContent",
                    "the page says that the service is gone")
    check(address in text, "and which")
    picture(browser, folder, "gone")
    bench.stream.close()
    bench.start_stream()
    check(bench.address == address, "the service is back")
    wait_for(browser, "document.documentElement.dataset.service === 'up' && Number(document.documentElement.dataset.frame) < 200 && "
                      "!document.getElementById('stream').matches('.stale')", "and the page with it, at the new stream")
    wait_for(browser, f"{shown(MARGIN)} === '0.2'", "with its values")


def main():
    command, examples = sys.argv[1:3]
    paths = find_browser()
    if not paths:
        return SKIPPED
    with tempfile.TemporaryDirectory() as scratch:
        folder = sys.argv[3] if len(sys.argv) > 3 else scratch
        bench = Bench(command, examples, scratch)
        browser = Browser(*paths, scratch)
        try:
            browser.open(bench.url, 1280, 900)
            check_browsing(browser)
            check_editing(browser, bench, folder)
            check_hostile_requests(bench)
            check_colours(browser, "light")
            for name, width, height in (("phone", 390, 844), ("tablet", 900, 1100)):
                browser.open(bench.url, width, height)
                wait_for(browser, "document.querySelectorAll('#plots path.s').length >= 7 && " + shown(MARGIN), name + ": drawn")
                time.sleep(2)
                spill = browser.run("return document.documentElement.scrollWidth - innerWidth")
                check(spill <= 0, f"{name}: nothing is wider than the page ({spill})")
                picture(browser, folder, name)
            check_comes_back(browser, bench, folder)
            check("error" not in browser.run("return {...document.documentElement.dataset}"), "no error in the page's script")
            own = (bench.url, "data:", "about:", "chrome:", "chrome-untrusted:")
            outside = [u for u in browser.requests() if not u.startswith(own)]
            check(not outside, f"no request goes elsewhere {outside[:3]}")
            check(bench.web.interrupt() == 0, "an interrupt ends the page's server in good order")
        finally:
            browser.close()
            bench.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
