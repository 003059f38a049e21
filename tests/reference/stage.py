# SPDX-License-Identifier: Apache-2.0
"""A frame's geometry: its boundary, the strength of its rolling-shutter correction, its grid."""
from collections import deque, namedtuple

import records
from arithmetic import f32
from breach import ZERO, crop_fits
from geometry import apply, rotation_homography

ROWS, COLUMNS = records.GRID_ROWS, records.GRID_COLUMNS
MIDDLE = 13

Camera = namedtuple('Camera', 'focal_x focal_y center_x center_y')


def make_camera(sensor):
    focal = ((sensor.input_width * sensor.tuning.general.focal_length) & 0xFFFFFFFF) / 1920.0
    return Camera(focal, focal, sensor.optical_center_x + sensor.input_width * 0.5 - 0.5,
                  sensor.optical_center_y + sensor.input_height * 0.5 - 0.5)


class FaceProtection:
    """A front camera's rolling-shutter strength: full correction distorts faces."""

    def __init__(self, sensor):
        tuned = sensor.tuning.ois.ois_res_lut_param_2_tab
        if tuned[records.FACE_MODE]:
            (self.low, self.high, self.factor, self.decrease,
             self.increase) = tuned[records.FACE_TH_LOW:records.FACE_INCREASE + 1]
        else:
            self.low, self.high, self.factor, self.decrease, self.increase = map(
                f32, (0.015, 0.04, 0.01, 0.25, 2.0))
        self.reset()

    @staticmethod
    def wanted(sensor):
        tuned = sensor.tuning.ois.ois_res_lut_param_2_tab
        mode, enable = int(tuned[records.FACE_MODE]), int(tuned[records.FACE_ENABLE])
        return sensor.camera_position == 1 and (mode == 0 or (mode == 1 and enable != 0))

    def reset(self):
        self.alpha, self.history = 1.0, deque(maxlen=20)

    def update(self, rows, settled, scene):
        d = f32(sum(abs(rows[ROWS - 2][k] - rows[1][k]) for k in range(3)))
        kind = scene & 0xFFFF
        if settled and kind < 4:
            value = 1.0
        elif settled and kind == 5:
            value = self.factor
        else:
            k = f32(f32(self.factor - 1.0) / f32(self.high - self.low))
            value = f32(f32(1.0 - f32(self.low * k)) + f32(d * k))
            value = max(min(value, 1.0), self.factor)
            if kind == 4:
                value = max(f32(value * 0.5), self.factor)
        self.history.append(value)
        total = weights = 0.0
        for entry in self.history:
            weight = self.decrease if entry > self.alpha else self.increase
            total, weights = f32(total + f32(entry * weight)), f32(weights + weight)
        self.alpha = f32(total / weights)


def boundary_of(frame, row_angles, camera):
    """Sixteen points of the input's border, clockwise from the top left, through their row."""
    w, h = frame.width, frame.height
    right, bottom = w - 1.0, h - 1.0
    quarters = (0.0, 0.25, 0.5, 0.75)
    points = ([(right * q, 0.0) for q in quarters] + [(right, bottom * q) for q in quarters]
              + [(right * (1.0 - q), bottom) for q in quarters]
              + [(0.0, bottom * (1.0 - q)) for q in quarters])
    out = []
    for x, y in points:
        row = int(y / h * (ROWS - 3)) + 1
        m = rotation_homography(camera, tuple(-a for a in row_angles[row]), frame.scale)
        out.append(apply(m, x, y))
    return out


def node_positions(w, h):
    cell_x, cell_y = w * 0.03125, h / 24.0
    return ([cell_x * i + (-0.5 - cell_x) for i in range(COLUMNS)],
            [cell_y * j + (-0.5 - cell_y) for j in range(ROWS)])


def build_grid(frame, row_angles, camera, strength):
    """For each node of the output the input point, by the row that reads it."""
    xs, ys = node_positions(frame.width, frame.height)
    if strength == 0.0:
        return [(x, y) for y in ys for x in xs]
    maps = [rotation_homography(camera, tuple(strength * a for a in angles), frame.scale)
            for angles in row_angles]
    lines = []
    for m, y in zip(maps, ys):
        line = [m[3 + k] - y * m[6 + k] for k in range(3)]
        length = (line[0] * line[0] + line[1] * line[1]) ** 0.5
        lines.append([v / length for v in line] if length > 1e-6 else line)
    points, last = [], ROWS - 1
    for j, y in enumerate(ys):
        # Signed distance of (x, y) below the input row of time row r: slope[r] * x + offset[r].
        slope, offset = [l[0] for l in lines], [l[1] * y + l[2] for l in lines]
        low, high = min(j, last), min(j + 3, last)
        for x in xs:
            step = 1
            while low > 0 and slope[low] * x + offset[low] < 0:
                low, step = max(low - step, 0), step * 2
            step = 1
            while high < last and slope[high] * x + offset[high] > 0:
                high, step = min(high + step, last), step * 2
            while high - low >= 2:
                middle = (low + high) // 2
                if slope[middle] * x + offset[middle] >= 0:
                    low = middle
                else:
                    high = middle
            above, below = slope[low] * x + offset[low], slope[high] * x + offset[high]
            if above <= 0:
                points.append(apply(maps[low], x, y))
                continue
            px, py = apply(maps[high], x, y)
            if below < 0:
                qx, qy = apply(maps[low], x, y)
                share = -below / (above - below)
                px, py = px + (qx - px) * share, py + (qy - py) * share
            points.append((px, py))
    return points


class Stage:
    def __init__(self, sensors, log):
        self.log = log
        self.cameras = [make_camera(sensor) for sensor in sensors]
        self.face = FaceProtection(sensors[0]) if FaceProtection.wanted(sensors[0]) else None
        self.reset()

    def reset(self):
        self.first_frame, self.current = True, ZERO
        if self.face:
            self.face.reset()

    def process(self, frame, rows, switched):
        """Adds to the frame: middle, row_angles, boundary, grid, alignment, motion index."""
        camera = self.cameras[frame.sensor]
        previous, self.current = self.current, rows[MIDDLE]
        frame.middle = self.current
        frame.row_angles = [tuple(a - b for a, b in zip(row, self.current)) for row in rows]
        if self.face:
            self.face.update(rows, frame.scene_settled, frame.scene)
            frame.row_angles = [tuple(a * self.face.alpha for a in row) for row in frame.row_angles]
        frame.boundary = boundary_of(frame, frame.row_angles, camera)
        fits = crop_fits(frame.boundary, ZERO, frame, camera, self.log)
        frame.strength = 1.0 if fits else 0.0
        frame.grid = build_grid(frame, frame.row_angles, camera, frame.strength)
        delta = ZERO
        if not (self.first_frame or switched):
            delta = tuple(a - b for a, b in zip(previous, self.current))
        frame.alignment = rotation_homography(camera, delta, frame.scale)
        moved = [(apply(frame.alignment, *p), p) for p in frame.boundary[::4]]
        frame.motion_index = max(((a - c) ** 2 + (b - d) ** 2) ** 0.5 for (a, b), (c, d) in moved)
        self.first_frame = False
