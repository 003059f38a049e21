# SPDX-License-Identifier: Apache-2.0
"""Numbers of a fixed width: what Python's double lacks to follow a mixed-precision computation."""
import math
import struct
from fractions import Fraction

_FLOAT = struct.Struct('f')


def f32(value):
    """Round to the nearest single. Of one double operation on singles this is the single result."""
    return _FLOAT.unpack(_FLOAT.pack(value))[0]


def fma(a, b, c):
    """a * b + c with one rounding."""
    if not (math.isfinite(a) and math.isfinite(b) and math.isfinite(c)):
        return a * b + c
    return float(Fraction(a) * Fraction(b) + Fraction(c))


def round_half_away(value):
    return math.floor(value + 0.5) if value >= 0 else -math.floor(-value + 0.5)


def ulp32(value):
    """Distance from |value| to the next single."""
    magnitude = max(abs(f32(value)), 2.0 ** -126)
    return 2.0 ** (math.frexp(magnitude)[1] - 24)
