# SPDX-License-Identifier: Apache-2.0
"""Homographies, contact of segments, and the point test of a polygon.

Matrices are row-major 9-tuples. Pixels count from the centre of the top-left pixel.
"""
import math

from arithmetic import f32


def multiply(a, b):
    return tuple(a[3 * i] * b[j] + a[3 * i + 1] * b[3 + j] + a[3 * i + 2] * b[6 + j]
                 for i in range(3) for j in range(3))


def translation(x, y):
    return (1.0, 0.0, x, 0.0, 1.0, y, 0.0, 0.0, 1.0)


def apply(m, x, y):
    w = m[6] * x + m[7] * y + m[8]
    return (m[0] * x + m[1] * y + m[2]) / w, (m[3] * x + m[4] * y + m[5]) / w


def rotation_homography(camera, angles, crop_scale):
    """K Rx(-x) Ry(-y) Rz(-z) inverse(K), with the focal length of the uncropped picture."""
    focal_x, focal_y = camera.focal_x / crop_scale, camera.focal_y / crop_scale
    cx, cy = camera.center_x, camera.center_y
    (sx, sy, sz), (cosx, cosy, cosz) = ([f(-a) for a in angles] for f in (math.sin, math.cos))
    rx = (1.0, 0.0, 0.0, 0.0, cosx, -sx, 0.0, sx, cosx)
    ry = (cosy, 0.0, sy, 0.0, 1.0, 0.0, -sy, 0.0, cosy)
    rz = (cosz, -sz, 0.0, sz, cosz, 0.0, 0.0, 0.0, 1.0)
    k = (focal_x, 0.0, cx, 0.0, focal_y, cy, 0.0, 0.0, 1.0)
    k_inverse = (1.0 / focal_x, 0.0, -cx / focal_x, 0.0, 1.0 / focal_y, -cy / focal_y,
                 0.0, 0.0, 1.0)
    return multiply(multiply(k, multiply(multiply(rx, ry), rz)), k_inverse)


def centred(m, width, height):
    """The same transform on coordinates relative to the picture's centre."""
    cx, cy = (width - 1) / 2.0, (height - 1) / 2.0
    return multiply(multiply(translation(-cx, -cy), m), translation(cx, cy))


def _sign(value):
    return 1 if value >= 1e-5 else -1 if value <= -1e-5 else 0


def _orient_double(a, b, c):
    return (b[1] - a[1]) * (c[0] - b[0]) - (c[1] - b[1]) * (b[0] - a[0])


def _orient_single(a, b, c):
    return f32(f32(f32(b[1] - a[1]) * f32(c[0] - b[0])) - f32(f32(c[1] - b[1]) * f32(b[0] - a[0])))


def _in_box(point, a, b):
    return (min(a[0], b[0]) <= point[0] <= max(a[0], b[0])
            and min(a[1], b[1]) <= point[1] <= max(a[1], b[1]))


def contact(p, q, r, s, orient=_orient_double):
    """0 none, 1 crossing, 2 an end of pq on rs, 3 an end of rs on pq, overlap or shared end."""
    o1, o2 = _sign(orient(p, q, r)), _sign(orient(p, q, s))
    if o1 == o2 != 0:
        return 0
    o3, o4 = _sign(orient(r, s, p)), _sign(orient(r, s, q))
    if o1 == o2 == o3 == o4 == 0:
        return 3 if (_in_box(r, p, q) or _in_box(s, p, q) or _in_box(p, r, s)
                     or _in_box(q, r, s)) else 0
    if o1 == o2 or o3 == o4:
        return 0
    if o1 and o2:
        return 1 if o3 and o4 else 2
    if o3 and o4:
        return 3
    end_of_second, end_of_first = (r if o1 == 0 else s), (p if o3 == 0 else q)
    dx, dy = end_of_second[0] - end_of_first[0], end_of_second[1] - end_of_first[1]
    return 3 if dx * dx + dy * dy <= 1.0000000000000002e-10 else 0


def certainly_on_or_outside(polygon, point):
    """Crossings of a ray to the right of everything; its second try is tilted."""
    max_x = max(x for x, _ in polygon)
    for tilt in (0.0, 1.0):
        far = (f32(max_x + 1.0), f32(point[1] + tilt))
        results = []
        for i, vertex in enumerate(polygon):
            results.append(contact(point, far, vertex, polygon[(i + 1) % len(polygon)],
                                   _orient_single))
            if results[-1] == 2:
                return True
        if 3 not in results:
            return results.count(1) % 2 == 0
    return False
