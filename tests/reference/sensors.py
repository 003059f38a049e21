# SPDX-License-Identifier: Apache-2.0
"""The gyro stream: the judgement of a batch, integration to angles, and reading at row times.

Times are integer microseconds. A raw sample is (ts, x, y, z) with device rates, rad/s.
"""
import math
from bisect import bisect_right
from collections import deque

from arithmetic import f32

LARGEST_HOLE_US = 200000
PAUSE_US = 500000

# (camera_position, sensor_mount_angle): device rates to camera axes.
AXES = {
    (1, 0): lambda x, y, z: (-x, -y, z), (1, 90): lambda x, y, z: (-y, x, z),
    (1, 180): lambda x, y, z: (x, y, z), (1, 270): lambda x, y, z: (y, -x, z),
    (0, 0): lambda x, y, z: (-x, y, -z), (0, 90): lambda x, y, z: (-y, -x, -z),
    (0, 180): lambda x, y, z: (x, -y, -z), (0, 270): lambda x, y, z: (y, x, -z),
}


def row_time(first, last, n, i):
    span, step = last - first, 1.0 / (n - 3)
    if i == 0:
        return first + int(-(step * span))
    if i in (1, n - 2):
        return first if i == 1 else last
    return last + int(span * step) if i == n - 1 else first + int(float((i - 1) * span) * step)


class Gyro:
    def __init__(self, sensor, log):
        self.log = log
        self.requested = float(sensor.tuning.top.gyro_frequency)
        self.max_frequency = max(int(self.requested), 1000)
        self.average = self.requested
        self.history = deque(maxlen=16)
        self.rotate = AXES[sensor.camera_position, sensor.sensor_mount_angle]
        self.interval = (0, 0)
        capacity = max(6 * math.ceil(sensor.tuning.top.gyro_frequency * 1.25 / 24), 128)
        self.angles = deque(maxlen=capacity)
        self.reset()

    def reset(self):
        self.angles.clear()
        self.last = (0, 0.0, 0.0, 0.0)

    # ---- which samples to ask for
    def ask(self, times, s3d_offset, ois_offset, stored_readout):
        frequency = self.average if self.average > 0 else self.requested
        period = min(int(1.05 / frequency * 1e6), 4000)
        early = s3d_offset - int(times.exposure_time * 0.5)
        guard, newest = int(times.frame_time * 0.1), self.last[0]
        from_frame = times.sof + min(early, 0) - guard
        first = newest
        if newest == 0 or newest + PAUSE_US < from_frame:
            first = max(from_frame - 2 * period, 0)
        read = max(int(times.sensor_rolling_shutter_skew * 1.05), int(stored_readout * 1.05))
        last = max(times.sof + max(early, 0) + max(ois_offset, 0) + read + period,
                   first + 2 * period)
        self.interval = (first, last)
        return self.interval

    # ---- the judgement of a batch
    def _estimate(self, batch):
        if not batch:
            return None
        steps = [b[0] - a[0] for a, b in zip(batch, batch[1:]) if b[0] > a[0]]
        if not steps:
            self.log('[ERR] ', 'IS0003', 'Gyro: Not enough samples to estimate frequency (num '
                     'samples, first sample ts, last sample ts): '
                     f'({len(batch)}, {batch[0][0]}, {batch[-1][0]})')
            return None
        return f32(f32(f32(len(steps)) * 1e6) / f32(sum(steps)))

    def update_frequency(self, batch):
        self.history.append(self._estimate(batch) or self.requested)
        total = 0.0
        for value in self.history:
            total = f32(total + value)
        self.average = f32(total / len(self.history))

    def judge(self, batch, frame_id, first_frame, switched):
        """True if the batch may be taken."""
        if not batch:
            return True
        average, requested = self.average, self.requested
        if first_frame and f32(abs(f32(requested - average)) / requested) > 0.01:
            self.log('[ERR] ', 'IS0519', f'Gyro: estimated_frequency = {average:.1f}Hz is '
                     f'different from requested by input = {requested:.1f}Hz')
        prefix, newest = f'Gyro: frame_id {frame_id}: ', self.last[0]

        def say(tag, text):
            self.log('[ERR] ', tag, prefix + text)

        self._judge_frequency(batch, frame_id, say)
        period = f32(1e6 / average)
        good = self._judge_times(batch, period, say)
        good = self._judge_order(batch, period, say) and good
        gap = f32(batch[0][0] - newest) if newest and newest < batch[0][0] else 0.0
        if not switched and 0.0 < gap < PAUSE_US:
            loss, slip = (f32(f32(period * periods) * f32(1.05)) for periods in (4, 2))
            if gap > loss:
                say('IS0018', 'samples->samples[0].ts - _last_sample.ts = '
                    f'{gap:f}[us] > {loss:f}[us]')
                good = False
            elif gap > slip:
                say('IS0521', 'samples->samples[0].ts - _last_sample.ts = '
                    f'{gap:f}[us] > {slip:f}[us]')
        if all(sample[0] <= newest for sample in batch):
            say('IS0018', f'Invalid input - Received only old samples: last sample timestamp '
                f'{newest} ; last sample timestamp from input {batch[-1][0]} ; '
                f'input number of elements {len(batch)}. ')
            return False
        return good

    def _judge_frequency(self, batch, frame_id, say):
        estimate, average, requested = self._estimate(batch), self.average, self.requested
        if estimate is not None and estimate > self.max_frequency * 1.05:
            say('IS0009', f'estimated_frequency = {estimate:.1f}Hz is too high comparing to '
                f'max_frequency = {float(self.max_frequency):.1f}Hz!')
        if f32(abs(f32(average - (estimate or 0.0))) / average) > 0.01:
            say('IS0518', f'estimated_frequency = {estimate or 0.0:.1f}Hz is different between '
                'frames! (might indicate on missing samples / false time stamps) average estimated '
                f'freq = {average:.1f}Hz')
        if frame_id & 63 == 0 and f32(abs(f32(average - requested)) / requested) > 0.035:
            say('IS0519', f'Average estimated frequency = {average:.1f}Hz is different from '
                f'requested frequency = {requested:.1f}Hz')

    def _judge_times(self, batch, period, say):
        first, last = batch[0][0], batch[-1][0]
        if last < int(period):
            say('IS0524', f'received timestamp ({last}) is invalid')
            return False
        if float(first) > self.interval[0] + 1.2 * period:
            say('IS0522', f'First requested timestamp ({self.interval[0]}) is smaller than '
                f'received timestamp ({first}). Delta [usec] = '
                f'{(first - self.interval[0]) & 0xFFFFFFFF}')
        if f32(f32(last) + period) < f32(self.interval[1]):
            say('IS0523', f'Last requested timestamp ({self.interval[1]}) is larger than received '
                f'timestamp ({last}). Delta [usec] = {(self.interval[1] - last) & 0xFFFFFFFF}')
        return True

    def _judge_order(self, batch, period, say):
        if any(sample[0] == 0 for sample in batch):
            say('IS0003', 'Time stamps equal zero ! corrupted gyro data, debug is needed.')
            return False
        for a, b in zip(batch, batch[1:]):
            delta = b[0] - a[0]
            if delta < 0:
                say('IS0524', 'Time stamps are not strictly monotonically increasing: '
                    f'{a[0]}, {b[0]}')
            elif delta == 0:
                say('IS0525', f'Time stamps are equal, debug is needed : {a[0]}')
                if a != b:
                    say('IS0525', 'Time stamps are equal but data samples are not: '
                        '(%d; %f, %f, %f), (%d; %f, %f, %f)' % (a + b))
            elif f32(abs(f32(f32(delta) - period)) / period) > 1.2:
                missing = int(f32(delta / period)) - 1
                say('IS0526', f'Invalid samples spacing: {a[0]}, {b[0]}, {self.average:.2f}Hz ; '
                    f'Loss of {delta}[us] of data, estimated {missing} missing samples')
        return True

    # ---- angles
    def integrate(self, batch, still):
        for ts, *rates in batch:
            if ts <= self.last[0]:
                continue
            rates = (0.0, 0.0, 0.0) if still else self.rotate(*rates)
            if not self.angles:
                self.angles.append((ts, 0.0, 0.0, 0.0))
            else:
                before = self.angles[-1]
                dt = (ts - before[0]) & 0xFFFFFFFF
                self.angles.append((ts, *(before[1 + k] + (self.last[1 + k] + rates[k]) * dt / 2e6
                                          for k in range(3))))
            self.last = (ts, *rates)

    def rows(self, first, last, n, frame_id, first_frame):
        """Angles at the n row times; a row that no pair of samples brackets repeats another."""
        ring = list(self.angles)
        stamps = [entry[0] for entry in ring]
        out, before, behind, errors = [], 0, 0, 0
        for i in range(n):
            t = row_time(first, last, n, i)
            p = max(bisect_right(stamps, t) - 1, 0)
            a, b = ring[p], ring[p + 1] if p + 1 < len(ring) else None
            if t == a[0]:
                out.append(a[1:])
            elif t < a[0]:
                before += 1
                errors += 1
                out.append(out[-1] if i else a[1:])
            elif b is None or b[0] - a[0] > LARGEST_HOLE_US:
                behind += 1
                errors += (i != n - 1) + (i == 0)
                out.append(out[-1] if i else a[1:])
            else:
                out.append(tuple((b[k] - a[k]) * (t - a[0]) / (b[0] - a[0]) + a[k]
                                 for k in (1, 2, 3)))
        self._report(n, before, behind, errors, frame_id, first_frame)
        return out

    def _report(self, n, before, behind, errors, frame_id, first_frame):
        counts = f'(num_processed, num_exrap_start, num_exrap_end, num_error): {n}, {before}, ' \
                 f'{behind}, {errors}'
        prefix = f'Gyro: frame #{frame_id}: '
        if errors <= 0:
            if before + behind:
                self.log('[HIGH]', 'IS0523', prefix + f'Points were extrapolated {counts}')
        elif first_frame:
            self.log('[ERR] ', 'IS0522',
                     prefix + f'Too many points extrapolated from first frame {counts}')
        else:
            if errors > 25:
                self.log('[ERR] ', 'IS0018', prefix + 'All samples are missing from frame!')
            self.log('[ERR] ', 'IS0018', prefix + f'Too many points extrapolated {counts}')
