#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Write tables.inc: what the warp library must yield, worked out with exact fractions.

Every single-precision step is the exact rational result rounded once to 24 bits, so the figures
owe nothing to a compiler, a processor or the code under test. Run without arguments.
"""
import pathlib
import random
from fractions import Fraction as Q


def f32(value):
    """Round a fraction to the nearest float, ties to even; no overflow, no subnormals here."""
    value = Q(value)
    if value == 0:
        return value
    exponent = 0
    magnitude = abs(value)
    while magnitude >= 2:
        magnitude /= 2
        exponent += 1
    while magnitude < 1:
        magnitude *= 2
        exponent -= 1
    unit = Q(2) ** (exponent - 23)
    return round(value / unit) * unit  # Python rounds halves to even


def fma(a, b, c):
    return f32(a * b + c)


def text(value):
    return float(value).hex() + "f"


def catmull_rom(t):
    c0 = (-t**3 + 2 * t**2 - t) / 2
    c1 = (3 * t**3 - 5 * t**2 + 2) / 2
    c2 = (-3 * t**3 + 4 * t**2 + t) / 2
    return [c0, c1, c2, 1 - c0 - c1 - c2]


LUT = [[round(65536 * c) for c in catmull_rom(Q(i, 128))[:3]] for i in range(1, 64)]


def lut_at(index):
    fixed = {0: (0, 1, 0), 64: (Q(-1, 16), Q(9, 16), Q(9, 16)), 128: (0, 0, 1)}
    if index in fixed:
        return [Q(c) for c in fixed[index]]
    if index < 64:
        return [Q(c, 65536) for c in LUT[index - 1]]
    a, b, c = LUT[128 - index - 1]
    return [Q(65536 - a - b - c, 65536), Q(c, 65536), Q(b, 65536)]


def coefs(fraction, bits):
    step = 1 << (bits - 7)
    low, high = lut_at(fraction // step), lut_at(fraction // step + 1)
    return [f32(l + (h - l) * Q(fraction % step, step)) for l, h in zip(low, high)]


def reduce4(a, c):
    value = a[3]
    for i in range(3):
        value = fma(f32(a[i] - a[3]), c[i], value)
    return value


def bicubic(nodes, cx, cy):
    return reduce4([reduce4([nodes[r][c] for r in range(4)], cy) for c in range(4)], cx)


def exact_bicubic(nodes, tx, ty):
    wx, wy = catmull_rom(tx), catmull_rom(ty)
    return sum(wy[r] * wx[c] * nodes[r][c] for r in range(4) for c in range(4))


def product(a, b):
    return [fma(a[3 * r + 2], b[6 + c], fma(a[3 * r + 1], b[3 + c], f32(a[3 * r] * b[c])))
            for r in range(3) for c in range(3)]


def adjugate(m, rnd):
    def minor(i, j, k, l):
        return rnd(rnd(m[i] * m[j]) - rnd(m[k] * m[l]))
    return [minor(4, 8, 5, 7), minor(2, 7, 1, 8), minor(1, 5, 2, 4),
            minor(5, 6, 3, 8), minor(0, 8, 2, 6), minor(2, 3, 0, 5),
            minor(3, 7, 4, 6), minor(1, 6, 0, 7), minor(0, 4, 1, 3)]


def inverse(m, rnd):
    adj = adjugate(m, rnd)
    det = rnd(rnd(rnd(m[0] * adj[0]) + rnd(m[1] * adj[3])) + rnd(m[2] * adj[6]))
    return [rnd(e / det) for e in adj]


def plane_node(column, row, coordinate):
    """The ring grid of the plane tests: an identity with a small pattern on it."""
    wave = Q((column * 7 + row * 5 + coordinate * 3) % 11) * Q(3, 4)
    return (256 * column - 4352 if coordinate == 0 else 256 * row - 3328) + wave


def three(first, count):
    last = count - 1
    anchor = last if first + 3 > last else max(first, 0)
    if anchor == 0:
        return [0, 1, 2]
    return [anchor, anchor - 1, anchor - 2 if anchor == last else anchor + 1]


def plane(first_column, first_row, column, row, coordinate):
    """Value of the fitted plane, right sides and evaluation in single precision."""
    columns, rows = three(first_column, 35), three(first_row, 27)
    normal, cv, rv, total = [Q(0)] * 9, Q(0), Q(0), Q(0)
    for r in rows:
        for c in columns:
            terms = [c * c, c * r, c, c * r, r * r, r, c, r, 1]
            normal = [n + t for n, t in zip(normal, terms)]
            value = plane_node(c, r, coordinate)
            cv = f32(cv + f32(c * value))
            rv = f32(rv + f32(r * value))
            total = f32(total + value)
    inv = inverse(normal, Q)
    a, b, d = [f32(inv[i] * cv + inv[i + 1] * rv + inv[i + 2] * total) for i in (0, 3, 6)]
    return f32(f32(f32(row * b) + f32(a * column)) + d)


def rows_of(name, ctype, rows):
    lines = [f"constexpr {ctype} {name}[] = {{"]
    lines += ["    {" + ", ".join(row) + "}," for row in rows]
    return lines + ["};", ""]


def braces(values):
    return "{" + ", ".join(text(v) for v in values) + "}"


def main():
    rng = random.Random(20)
    out = ["// Made by make_tables.py; do not edit.", ""]
    out += rows_of("kLut", "LutRow", [[str(c) for c in row] for row in LUT])

    rows = []
    for bits in (11, 12):
        for _ in range(5):
            nodes = [[f32(Q(rng.randrange(-2**24, 2**24), 2**11)) for _ in range(4)]
                     for _ in range(4)]
            fx, fy = rng.randrange(1 << bits), rng.randrange(1 << bits)
            unit = 1 << bits
            rows.append([braces(sum(nodes, [])), str(fx), str(fy), str(bits),
                         text(bicubic(nodes, coefs(fx, bits), coefs(fy, bits))),
                         repr(float(exact_bicubic(nodes, Q(fx, unit), Q(fy, unit))))])
    out += rows_of("kBicubic", "BicubicRow", rows)

    rows = []
    for _ in range(4):
        a, b = ([f32(Q(rng.randrange(-3000, 3000), 997)) for _ in range(9)] for _ in range(2))
        rows.append([braces(a), braces(b), braces(product(a, b)), braces(inverse(a, f32))])
    out += rows_of("kMatrices", "MatrixRow", rows)

    rows = []
    for _ in range(5):
        m = [f32(1 + Q(rng.randrange(-99, 99), 1000)), f32(Q(rng.randrange(-99, 99), 1000)),
             f32(rng.randrange(-500, 500)), f32(Q(rng.randrange(-99, 99), 1000)),
             f32(1 + Q(rng.randrange(-99, 99), 1000)), f32(rng.randrange(-500, 500)),
             f32(Q(rng.randrange(-9, 9), 10**6)), f32(Q(rng.randrange(-9, 9), 10**6)), Q(1)]
        x, y = Q(rng.randrange(-8192, 8192), 2), Q(rng.randrange(-6144, 6144), 2)
        w = m[6] * x + m[7] * y + m[8]
        rows.append([braces(m), text(x), text(y), text(f32((m[0] * x + m[1] * y + m[2]) / w)),
                     text(f32((m[3] * x + m[4] * y + m[5]) / w))])
    out += rows_of("kHomographies", "HomographyRow", rows)

    rows = []
    for _ in range(5):
        c = [Q(rng.randrange(-40, 40)), Q(rng.randrange(-40, 40))]
        a = [c[0] + 250 + rng.randrange(20), c[1] + rng.randrange(20)]
        b = [c[0] + 240 + rng.randrange(20), c[1] + 250 + rng.randrange(20)]
        w1, w2 = Q(rng.randrange(1, 20), 64), Q(rng.randrange(1, 20), 64)
        p = [f32(c[i] + w1 * (a[i] - c[i]) + w2 * (b[i] - c[i])) for i in range(2)]
        den = (a[1] - b[1]) * (c[0] - b[0]) + (c[1] - b[1]) * (b[0] - a[0])
        w0 = ((a[1] - b[1]) * (p[0] - b[0]) + (b[0] - a[0]) * (p[1] - b[1])) / den
        w1 = ((p[0] - b[0]) * (b[1] - c[1]) + (p[1] - b[1]) * (c[0] - b[0])) / den
        weights = ", ".join(repr(float(w)) for w in (w0, w1, 1 - w0 - w1))
        rows.append([braces(c), braces(a), braces(b), braces(p), f"{{{weights}}}"])
    out += rows_of("kBarycentric", "BarycentricRow", rows)

    # first column and row of the neighbourhood, and a node of it that lies outside
    places = [(-1, 5, -1, 6), (-3, -2, -2, -1), (32, 10, 35, 12), (33, 24, 36, 27),
              (12, 25, 14, 28), (-90, 70, -88, 71), (400, -300, 402, -298)]
    out += rows_of("kPlane", "PlaneRow", [
        [str(v) for v in place] + [text(plane(*place, 0)), text(plane(*place, 1))]
        for place in places])
    pathlib.Path(__file__).with_name("tables.inc").write_text("\n".join(out))


if __name__ == "__main__":
    main()
