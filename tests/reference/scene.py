# SPDX-License-Identifier: Apache-2.0
"""What the user does with the device, from raw rates: the scene word.

Low 16 bits: the type. Bits 28, 29, 30: panning about x, y, z.
"""
from collections import deque

import records
from arithmetic import f32

STILL, HANDHELD, SHAKE, PANNING, STRONG_PANNING, MOTION, UNKNOWN = 0, 1, 2, 4, 5, 6, 7
MEAN_LOW, MEAN_HIGH, SPAN, DOMINANCE = 0.1, 0.4, 0.15, 0.6
FRAMES_NEEDED = 25


class SceneDetection:
    def __init__(self, tuning, log):
        tuned = tuning.ois.ois_res_lut_param_2_tab
        self.log = log
        self.noise_floor = tuning.general.gyro_noise_floor
        self.handheld_th = 0.135
        if tuned[records.MOTION_MODE]:
            self.handheld_th = tuned[records.MOTION_HANDHELD_TH]
        self.reset()

    def reset(self):
        self.samples = deque(maxlen=10)
        self.still = self.handheld = 0
        self.newest = 0
        self.scene, self.pan_word = UNKNOWN, MOTION
        self.shake_hold = self.axis_hold = self.pan_hold = 0

    def settled(self):
        return len(self.samples) == 10 or self.scene & 0xFFFF != MOTION

    def update(self, samples, dropped, sensor_switched):
        """`samples`: the frame's batch of (ts, x, y, z) in device axes."""
        n, first_new, active, strong = len(samples), None, 0, 0
        for index, (ts, *rates) in enumerate(samples):
            if ts <= self.newest:
                continue
            first_new = index if first_new is None else first_new
            largest = max(abs(rate) for rate in rates)
            active += largest >= self.noise_floor
            strong += largest >= self.noise_floor and largest >= self.handheld_th
            self.newest = ts
        step = (n - first_new) // (dropped + 1)
        if step < 3:
            if sensor_switched:
                self.log('[HIGH]', 'IS0530', 'Sensor switch was detected and not enough gyro '
                         'samples were supplied to detect scene. using previous decision')
            else:
                self.log('[ERR] ', 'IS0003', 'Gyro data drop is heavy for scene detection!')
                self.scene = UNKNOWN
            return
        self._count(active, strong, f32((n - first_new) * 0.25))
        for k in range(dropped + 1):
            self.samples.append(samples[min(first_new, n - 1) + k * step])
        if len(self.samples) == 10 and self.scene > 1:
            self._vote(self._classify())
        else:
            self.shake_hold = max(self.shake_hold, 4) - 4
            self.axis_hold = max(self.axis_hold, 1) - 1
            self.pan_hold = max(self.pan_hold, 1) - 1

    def _count(self, active, strong, limit):
        if active <= limit:
            self.still, self.handheld = self.still + 1, 0
            if self.scene == UNKNOWN or self.still >= FRAMES_NEEDED:
                self.scene = STILL
        elif strong <= limit:
            self.still, self.handheld = 0, self.handheld + 1
            if self.scene == UNKNOWN or self.handheld >= FRAMES_NEEDED:
                self.scene = HANDHELD
        else:
            self.still = self.handheld = 0
            self.scene = MOTION

    def _vote(self, r):
        pans = r & 0xFFFF in (PANNING, STRONG_PANNING)
        if pans:
            self.pan_word, self.pan_hold = r, min(self.pan_hold, 11) + 1
        else:
            self.pan_hold = max(self.pan_hold, 1) - 1
        self.axis_hold = max(self.axis_hold, 1) - 1
        self.scene = MOTION
        if r == SHAKE:
            self.shake_hold = min(self.shake_hold, 29) + 1
        elif r == HANDHELD:
            self.shake_hold = max(self.shake_hold, 4) - 4
            self.scene = HANDHELD
        else:
            self.shake_hold = max(self.shake_hold, 1) - 1
        if self.shake_hold > 0 and self.pan_hold < self.shake_hold:
            self.scene = SHAKE
        elif self.shake_hold > 0 or self.pan_hold > 0:
            self.scene = r if pans else self.pan_word

    def _classify(self):
        count, ring = len(self.samples), list(self.samples)
        axes = [[sample[1 + axis] for sample in ring] for axis in range(3)]
        newer = [values[:0:-1] for values in axes]  # newest first, without the oldest
        max_abs = [max(abs(v) for v in values) for values in newer]
        wide = [abs(max(0.0, *v) - min(0.0, *v)) > SPAN for v in newer]
        score = [0, 0, 0]
        for i in range(3):
            for j in range(3):
                if i == j:
                    continue
                k = 3 - i - j
                lead = min(max_abs[i] - max_abs[j], max_abs[i] - max_abs[k])
                amount = (4 if lead > 2 * DOMINANCE else 2 if lead > DOMINANCE
                          else 1 if lead > DOMINANCE * 0.5 else 0)
                score[i] += amount
                score[j] -= amount
                score[k] -= amount
                if wide[j]:
                    score[j] += 1
                else:
                    score[j] -= 1
                    score[k] -= 1
        panning, strong, moving, kind = 0, 0, 0, 0
        for axis in range(3):
            points, high = self._levels(axes[axis], newer[axis], count)
            total = score[axis] + points
            if total >= 6:
                panning |= 1 << (28 + axis)
                is_strong = total >= 8 and high
                strong += is_strong
                kind = STRONG_PANNING if is_strong else PANNING
            elif total >= 3 or wide[axis]:
                moving += 1
        if panning == 0x70000000:
            return STRONG_PANNING | panning if strong == 1 else SHAKE
        if not panning:
            return SHAKE if moving >= 3 else HANDHELD
        return kind | panning

    @staticmethod
    def _levels(values, newer, count):
        mean_abs, mean = sum(abs(v) for v in newer) / count, abs(sum(newer) / count)
        crossings = sum(1 for u, v in zip(values, values[1:]) if u * v < 0)
        points = {0: 5, 1: 3, 2: -1, 3: -3, 4: -4}.get(crossings, -5)
        for bound, gain in ((MEAN_LOW, 0), (MEAN_HIGH, 1), (2 * MEAN_HIGH, 2), (float('inf'), 4)):
            if mean_abs < bound:
                points += gain
                break
        points += 0 if mean < MEAN_LOW else 1 if mean < MEAN_HIGH else 2
        return points, mean_abs >= MEAN_HIGH * 0.5 or mean >= MEAN_HIGH
