#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Prints the rows of rotation_reference.inc: K Rx(-x) Ry(-y) Rz(-z) K^-1 in 50 decimal digits."""
from decimal import Decimal as D, getcontext

getcontext().prec = 50


def sine(x):
    term, total, n = x, x, 1
    while abs(term) > D(10) ** -48:
        term *= -x * x / ((n + 1) * (n + 2))
        total += term
        n += 2
    return total


def cosine(x):
    term, total, n = D(1), D(1), 0
    while abs(term) > D(10) ** -48:
        term *= -x * x / ((n + 1) * (n + 2))
        total += term
        n += 2
    return total


def product(a, b):
    return [[sum(a[i][k] * b[k][j] for k in range(3)) for j in range(3)] for i in range(3)]


def rotation(axis, t):
    s, c = sine(t), cosine(t)
    return {
        "x": [[D(1), D(0), D(0)], [D(0), c, -s], [D(0), s, c]],
        "y": [[c, D(0), s], [D(0), D(1), D(0)], [-s, D(0), c]],
        "z": [[c, -s, D(0)], [s, c, D(0)], [D(0), D(0), D(1)]],
    }[axis]


def main():
    cx, cy = D("959.5"), D("539.5")
    for angles, scale in (
        (("0.01", "-0.02", "0.03"), "1"),
        (("-0.3", "0.2", "0.1"), "0.75"),
        (("1.1", "0.4", "-2.2"), "0.5"),
    ):
        x, y, z = (D(a) for a in angles)
        f = D(1500) / D(scale)
        k = [[f, D(0), cx], [D(0), f, cy], [D(0), D(0), D(1)]]
        inverse = [[1 / f, D(0), -cx / f], [D(0), 1 / f, -cy / f], [D(0), D(0), D(1)]]
        h = k
        for m in (rotation("x", -x), rotation("y", -y), rotation("z", -z), inverse):
            h = product(h, m)
        values = ", ".join(f"{float(v)!r}" for row in h for v in row)
        print(f"{{{{{', '.join(angles)}}}, {scale}, {{{values}}}}},")


main()
