# SPDX-License-Identifier: Apache-2.0
"""The report in a real browser, headless: every plot drawn, cursors linked, nothing cut off on a
phone, no network, colours that all can tell apart.

Usage: report_page_test.py COMMAND [FOLDER]
FOLDER keeps the run and the pictures of the page. Leaves with 77, and says so, without a browser.
"""
import base64
import json
import os
import re
import subprocess
import sys
import tempfile
import time

from browser import SKIPPED, Browser, check, check_colours, find_browser

# What the page and the browser itself load; everything else would go over the network.
OWN_SCHEMES = ("file:", "data:", "about:", "chrome:", "chrome-untrusted:")


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
    paths = find_browser()
    if not paths:
        return SKIPPED
    with tempfile.TemporaryDirectory() as scratch:
        folder = sys.argv[2] if len(sys.argv) > 2 else scratch
        page, trace = run_once(command, folder)
        text = open(page, encoding="utf-8").read()
        check(not re.search(r"""(src|href)\s*=\s*["'](?!data:)|@import|url\(""", text), "the page names no other file")
        browser = Browser(*paths, scratch)
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
