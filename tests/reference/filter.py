# SPDX-License-Identifier: Apache-2.0
"""The causal filter: a falling half window per axis, whose length follows the motion."""
import math
from collections import deque

from arithmetic import f32
from breach import BreachControl

FIRST, FILLING, RUNNING, DRAINING, FINISHED, ERROR = range(6)
FADE = 0.9
TARGETS_FAST, TARGETS_SLOW = (120, 28, 88), (60, 14, 44)  # history, least and largest window


def kernel(length):
    """Falling half of a Hamming window, the newest frame first; entries are singles."""
    raw = [f32(0.54 - (1 - 0.54) * math.cos((length - 1 + j) * 2 * math.pi / (2 * length - 2)))
           if length > 1 else 1.0 for j in range(length)]
    total = sum(raw)
    return [f32(weight / total) for weight in raw]


KERNELS = [kernel(length) for length in range(1, 101)]


def sign_changes(newest_first):
    values = [f32(v) for v in newest_first]
    total = 0.0
    for value in values:
        total = f32(total + value)
    mean = f32(total / len(values))
    values = [f32(v - mean) for v in values]
    return sum(1 for a, b in zip(values, values[1:]) if (a <= 0 < b) or (a >= 0 > b))


class BlurMasking:
    def __init__(self, sensor):
        tuning = sensor.tuning.blur_masking
        self.enable = bool(tuning.enable)
        self.min_strength = tuning.min_strength
        self.exposure_th = int(tuning.exposure_time_th * 1e6)
        self.start, self.end = (f32(f32(value * sensor.input_width) / 1920.0)
                                for value in (tuning.start_decrease_at_blur,
                                              tuning.end_decrease_at_blur))

    def least_alpha(self, exposure, blur):
        weakest = f32(1.0 - self.min_strength)
        if (not self.enable or exposure < self.exposure_th or self.min_strength >= 1.0
                or self.start > self.end):
            return 0.0
        if self.start == self.end:
            return 0.0 if blur <= self.start else weakest
        k = f32(f32(self.min_strength - 1.0) / f32(self.end - self.start))
        v = f32(f32(1.0 - f32(k * self.start)) + f32(k * blur))
        if v >= 1.0:
            return 0.0
        return f32(1.0 - v) if v > self.min_strength else weakest


class Filter:
    """Delay line of one frame."""

    def __init__(self, sensors, log):
        self.blur = [BlurMasking(sensor) for sensor in sensors]
        self.targets = None
        self.window = [0, 0, 0]
        self.breach = BreachControl(log)
        self.reset()

    def reset(self):
        self.state, self.counter = FIRST, 0
        self.history = deque(maxlen=240)
        self.breach.reset()

    def _adopt(self, frame_time):
        wanted = TARGETS_FAST if frame_time < 25000 else TARGETS_SLOW
        if self.targets is None:
            self.targets = wanted
        self.targets = tuple(have + (want > have) - (want < have)
                             for have, want in zip(self.targets, wanted))

    def _slide(self, axis):
        h, least, largest = self.targets
        n, m = (120, 60) if h >= 120 else (max(h, 10), max(h, 10) // 2)
        newest_first = [entry[axis] for entry in reversed(self.history)][:n]
        changes = max(sign_changes(newest_first), sign_changes(newest_first[:m]))
        if changes >= 4:
            return min(self.window[axis] + 2, largest)
        if changes == 1 and self.window[axis] >= least + 2:
            return max(self.window[axis] - 2, least, 1)
        return self.window[axis]

    def _core(self, frame_time):
        self._adopt(frame_time)
        h, least, _ = self.targets
        out = []
        for axis in range(3):
            fade = 0.0
            if self.counter < h - 1:
                self.window[axis] = min(self.counter + 1, least)
                fade = FADE * f32(1.0 - f32(self.counter / (h - 1.0)))
            else:
                self.window[axis] = self._slide(axis)
            weights = KERNELS[self.window[axis] - 1]
            value = sum(w * entry[axis] for w, entry in zip(weights, reversed(self.history)))
            out.append((1.0 - fade) * value if fade > 0 else value)
        return tuple(out)

    def process(self, orientation, boundary, frame, camera):
        """Take a frame in; the correction of that frame."""
        self.history.append(orientation)
        self.state, self.counter = RUNNING, self.counter + (self.state != FIRST)
        least = self.blur[frame.sensor].least_alpha(frame.exposure_time, frame.blur)
        frame.least_alpha = least
        filtered = self._core(frame.frame_time)
        if frame.dropped_frames > 2:
            self.breach.settle_frames = 3
        return self.breach.correct(filtered, orientation, least, boundary, frame, camera)

    def drain(self):
        """A frame without samples."""
        if self.state == RUNNING:
            self.state, self.counter = DRAINING, self.counter + 1
            self.breach.drain()
        elif self.state == DRAINING:
            self.state, self.counter = FINISHED, self.counter + 1
        else:
            self.state = ERROR
