#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Draw the figures of docs/warps.md as SVG files beside this script. Run without arguments."""
import pathlib

HERE = pathlib.Path(__file__).parent
INK, SOFT, BLUE, RED, PAPER = "#222", "#999", "#1b6ac9", "#c9341b", "#fff"


class Svg:
    def __init__(self, width, height):
        self.size = (width, height)
        self.parts = []

    def line(self, x1, y1, x2, y2, colour=INK, width=1.5, dash=""):
        extra = f' stroke-dasharray="{dash}"' if dash else ""
        self.parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" '
                          f'stroke="{colour}" stroke-width="{width}"{extra}/>')

    def rect(self, x, y, w, h, colour=INK, fill="none", dash="", width=2):
        extra = f' stroke-dasharray="{dash}"' if dash else ""
        self.parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{w:.1f}" height="{h:.1f}" '
                          f'stroke="{colour}" fill="{fill}" stroke-width="{width}"{extra}/>')

    def dot(self, x, y, colour=INK, radius=3):
        self.parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="{radius}" fill="{colour}"/>')

    def text(self, x, y, words, colour=INK, anchor="middle", size=13):
        words = words.replace("&", "&amp;").replace("<", "&lt;")
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" fill="{colour}" font-size="{size}" '
                          f'text-anchor="{anchor}">{words}</text>')

    def arrow(self, x1, y1, x2, y2, colour=INK):
        length = ((x2 - x1) ** 2 + (y2 - y1) ** 2) ** 0.5
        ux, uy = (x2 - x1) / length, (y2 - y1) / length
        self.line(x1, y1, x2 - 6 * ux, y2 - 6 * uy, colour)
        tip = [(x2, y2), (x2 - 10 * ux - 4 * uy, y2 - 10 * uy + 4 * ux),
               (x2 - 10 * ux + 4 * uy, y2 - 10 * uy - 4 * ux)]
        points = " ".join(f"{x:.1f},{y:.1f}" for x, y in tip)
        self.parts.append(f'<polygon points="{points}" fill="{colour}"/>')

    def path(self, points, colour):
        data = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
        self.parts.append(f'<polyline points="{data}" fill="none" stroke="{colour}"/>')

    def save(self, name):
        width, height = self.size
        head = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
                f'viewBox="0 0 {width} {height}" font-family="sans-serif">')
        body = [head, f'<rect width="{width}" height="{height}" fill="{PAPER}"/>', *self.parts]
        (HERE / name).write_text("\n".join(body) + "\n</svg>\n")


def virtual_domain():
    svg = Svg(640, 470)
    x, y, w, h = 110, 60, 400, 300  # the frame, 8192 by 6144 drawn at 1/20.48
    svg.rect(x, y, w, h)
    svg.line(x - 30, y + h / 2, x + w + 40, y + h / 2, SOFT, dash="4 4")
    svg.line(x + w / 2, y - 25, x + w / 2, y + h + 40, SOFT, dash="4 4")
    svg.arrow(x + w / 2, y + h / 2, x + w / 2 + 90, y + h / 2, BLUE)
    svg.arrow(x + w / 2, y + h / 2, x + w / 2, y + h / 2 + 90, BLUE)
    svg.text(x + w / 2 + 98, y + h / 2 - 6, "x", BLUE)
    svg.text(x + w / 2 + 12, y + h / 2 + 95, "y", BLUE)
    svg.dot(x + w / 2, y + h / 2, RED, 4)
    svg.text(x + w / 2 + 8, y + h / 2 - 8, "(0, 0)", RED, "start")
    svg.text(x, y - 10, "(-4096, -3072)")
    svg.text(x + w, y - 10, "(4096, -3072)")
    svg.text(x, y + h + 20, "(-4096, 3072)")
    svg.text(x + w, y + h + 20, "(4096, 3072)")
    svg.text(320, 435, "The virtual domain: 8192 by 6144 units, origin in the centre of the frame")
    svg.text(320, 455, "A frame of any resolution and aspect is stretched onto it", SOFT)
    svg.save("virtual_domain.svg")


def geometries():
    svg = Svg(1080, 370)
    kinds = [("25 rows by 33 columns", "nodes span the frame; step 256", 0, 4, 3),
             ("27 rows by 35 columns", "one ring outside; step 256", 1, 4, 3),
             ("51 rows by 67 columns", "one ring outside; step 128", 1, 8, 6)]
    for i, (name, note, ring, across, down) in enumerate(kinds):
        left, top, w, h = 90 + 350 * i, 100, 200, 150
        sx, sy = w / across, h / down
        for r in range(-ring, down + ring + 1):
            for c in range(-ring, across + ring + 1):
                outside = not (0 <= r <= down and 0 <= c <= across)
                svg.dot(left + c * sx, top + r * sy, RED if outside else INK, 2.5)
        if not ring:
            for cx, cy in ((-1, -1), (across + 1, -1), (-1, down + 1), (across + 1, down + 1)):
                svg.dot(left + cx * sx, top + cy * sy, BLUE, 4)
        svg.rect(left, top, w, h, SOFT)
        svg.text(left + w / 2, 330, name)
        svg.text(left + w / 2, 350, note, SOFT, size=12)
    svg.text(540, 25, "Grey: the frame. Black: nodes in it. Red: nodes of the ring. "
                      "Blue: the four explicit corners. (Drawn with fewer nodes.)", size=12)
    svg.save("geometries.svg")


def bend(c, r):
    """A barrel, for the looks."""
    x, y = c - 3, r - 2
    k = 1 - 0.03 * (x * x + y * y)
    return 3 + x * k, 2 + y * k


def directions():
    svg = Svg(760, 330)
    for left, title in ((60, "output image"), (470, "input image")):
        svg.rect(left, 60, 240, 160)
        svg.text(left + 120, 45, title)
    for r in range(5):
        svg.path([(60 + 40 * c, 60 + 40 * r) for c in range(7)], SOFT)
    for c in range(7):
        svg.path([(60 + 40 * c, 60 + 40 * r) for r in range(5)], SOFT)
    place = lambda c, r: (470 + 40 * bend(c, r)[0], 60 + 40 * bend(c, r)[1])
    for r in range(5):
        svg.path([place(c / 4, r) for c in range(25)], SOFT)
    for c in range(7):
        svg.path([place(c, r / 4) for r in range(17)], SOFT)
    svg.dot(60 + 40 * 5, 60 + 40, RED, 4)
    x, y = place(5, 1)
    svg.dot(x, y, RED, 4)
    svg.arrow(266, 98, x - 8, y - 4, BLUE)
    svg.text(385, 84, "REGULAR", BLUE)
    svg.arrow(x - 8, y + 8, 266, 108, RED)
    svg.text(385, 126, "INVERSE", RED)
    svg.text(180, 245, "nodes stand on a regular lattice", SOFT, size=12)
    svg.text(590, 245, "the grid stores where each node lands", SOFT, size=12)
    svg.text(380, 285, "An OUT_2_IN warp tells for each output pixel where to read in the input.")
    svg.text(380, 307, "REGULAR interpolates between nodes; INVERSE finds the triangle and goes back.",
             SOFT)
    svg.save("directions.svg")


def composition():
    svg = Svg(820, 190)
    boxes = [("second.matrices", 40), ("second.grid", 215), ("first.matrices", 390),
             ("first.grid", 565)]
    for name, x in boxes:
        svg.rect(x, 70, 130, 44, BLUE if name.startswith("second") else RED)
        svg.text(x + 65, 97, name)
    for x in (170, 345, 520):
        svg.arrow(x, 92, x + 45, 92)
    svg.arrow(5, 92, 40, 92)
    svg.text(18, 80, "p")
    svg.arrow(695, 92, 740, 92)
    svg.text(780, 97, "out(p)")
    svg.text(410, 35, "NcLibWarpComposition(first, second, out):  out(p) = first(second(p))")
    svg.text(410, 155, "Inside a warp the matrices come before the grid; disabled parts are left out.",
             SOFT)
    svg.save("composition.svg")


def domains():
    svg = Svg(860, 330)
    names = ("distorted", "undistorted", "stabilized")
    for row, (y, frame) in enumerate(((60, "previous frame"), (210, "current frame"))):
        svg.text(60, y + 30, frame.split()[0])
        svg.text(60, y + 48, frame.split()[1])
        for i, name in enumerate(names):
            svg.rect(130 + 260 * i, y, 150, 70, SOFT)
            svg.text(205 + 260 * i, y + 40, name)
        for i, warp in enumerate(("distortion", "stabilization")):
            svg.arrow(390 + 260 * i, y + 35, 282 + 260 * i, y + 35, BLUE)
            svg.text(335 + 260 * i, y + 25, warp, BLUE, size=11)
    for i in range(3):
        svg.arrow(205 + 260 * i, 208, 205 + 260 * i, 133, RED)
        svg.text(215 + 260 * i, 175, "alignment here," if i == 0 else "or here", RED, "start", 11)
    svg.text(430, 30, "Arrows: OUT_2_IN warps, from output to input. The alignment is one of the three.")
    svg.text(430, 312, "A face goes against the arrows, to the stabilized picture of the current frame.",
             SOFT)
    svg.save("domains.svg")


if __name__ == "__main__":
    virtual_domain()
    geometries()
    directions()
    composition()
    domains()
