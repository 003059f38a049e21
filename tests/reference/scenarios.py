# SPDX-License-Identifier: Apache-2.0
"""The streams on which model and library are compared: motion, configuration, frames."""
import math

import records
from records import CropWindow, InitCommon, InitSensor, WindowRegions

WIDTH, HEIGHT, MARGIN = 1920, 1080, 0.1


class Random:
    """A 64-bit linear congruential generator, so that a seed means the same everywhere."""

    def __init__(self, seed):
        self.state = seed * 2654435761 + 12345

    def next(self):
        self.state = (self.state * 6364136223846793005 + 1442695040888963407) & (2 ** 64 - 1)
        return (self.state >> 11) / 2.0 ** 53

    def between(self, low, high):
        return low + (high - low) * self.next()

    def pick(self, *choices):
        return choices[int(self.next() * len(choices))]

    def one_in(self, n):
        return self.next() * n < 1.0


class Motion:
    """Rates about the device's axes: sines of hand shake, turns, and white noise.

    turns: (from_s, to_s, (x, y, z)) in rad/s. quiet_from_s: nothing but noise from then on.
    """

    def __init__(self, seed, shake=0.06, turns=(), noise=0.0005, low_hz=1.0, high_hz=9.0,
                 quiet=(math.inf, math.inf)):
        random = Random(seed)
        self.turns, self.noise, self.noise_source, self.quiet = turns, noise, random, quiet
        self.sines = [[(shake * math.sqrt(2.0 / 5.0) * (0.5 + random.next()),
                        low_hz + (high_hz - low_hz) * random.next(), 2 * math.pi * random.next())
                       for _ in range(5)] for _ in range(3)]

    def rates(self, seconds):
        out = [self.noise * (2 * self.noise_source.next() - 1) for _ in range(3)]
        if self.quiet[0] <= seconds < self.quiet[1]:
            return out
        for axis in range(3):
            out[axis] += sum(a * math.sin(2 * math.pi * f * seconds + p)
                             for a, f, p in self.sines[axis])
        for begin, end, turn in self.turns:
            if begin <= seconds < end:
                out = [rate + turned for rate, turned in zip(out, turn)]
        return out


def sample_stream(row, seconds):
    """(ts, x, y, z) from a tenth of a second before the first frame; gaps are (from_s, to_s)."""
    random, out = Random(77), []
    for k in range(int(row['hz'] * (seconds + 0.2))):
        after = int(1e6 * k / row['hz'] - 1e5 + row['jitter_us'] * (2 * random.next() - 1))
        rates = row['motion'].rates(after / 1e6)
        if not any(begin < after / 1e6 < end for begin, end in row['gaps']):
            out.append((row['epoch'] + after, *rates))
    return out


def common(**changes):
    record = InitCommon(is_type=4, deployment_type=1, output_width=WIDTH, output_height=HEIGHT,
                        frame_fps=30, buffer_delay=1)
    for name, value in changes.items():
        setattr(record, name, value)
    return record


def sensor(width=WIDTH, height=HEIGHT, focal=1500, hz=500, mount=180, position=0, margin=MARGIN,
           center=(0.0, 0.0), s3d=0, ois_offset=0, noise_floor=0.003, behaviour=(), blur=()):
    record = InitSensor(input_width=width, input_height=height, sensor_mount_angle=mount,
                        camera_position=position, optical_center_x=center[0],
                        optical_center_y=center[1])
    for name in ('', 'undistorted_'):
        setattr(record, f'ife_input_frame_{name}width', width)
        setattr(record, f'ife_input_frame_{name}height', height)
    record.tuning.top.gyro_frequency = hz
    record.tuning.general.minimal_total_margin = margin
    record.tuning.general.focal_length = focal
    record.tuning.general.gyro_noise_floor = noise_floor
    record.tuning.timing.s3d_offset = s3d
    record.tuning.timing.ois_offset = ois_offset
    for slot, value in dict(behaviour).items():
        record.tuning.ois.ois_res_lut_param_2_tab[slot] = value
    for name, value in dict(blur).items():
        setattr(record.tuning.blur_masking, name, value)
    return record


def window(full_w, full_h, w, h, dx=0.0, dy=0.0):
    return CropWindow(full_w, full_h, w, h, (full_w - w) / 2.0 + dx, (full_h - h) / 2.0 + dy)


def windows(width=WIDTH, height=HEIGHT, pre_in=None, pre_out=None, fov=None):
    full = window(width, height, width, height)
    crop = window(width, height, *(2 * round(size * (1 - MARGIN) / 2) for size in (width, height)))
    return WindowRegions(full, pre_in or full, pre_out or full, fov or crop)


def even(count, fps=30, exposure=10000, skew=25000, **fields):
    """Frames one after another. `gap_us` moves a frame and all after it; `edit` spoils a batch."""
    return [dict(frame_time=int(1e6 / fps), exposure=exposure, skew=skew, gap_us=0, skip_ids=0,
                 edit=list, calls='p', sensor=0, windows=None, **fields) for _ in range(count)]


def changed(frames, begin, end, **fields):
    for frame in frames[begin:end]:
        frame.update(fields)
    return frames


def stabilized(name, frames=None, hz=500, motion=None, **parts):
    """One row of the table."""
    row = dict(name=name, hz=hz, common=common(), sensors=[sensor(hz=hz)], gaps=(), jitter_us=0,
               epoch=2000000, frames=frames or even(75), motion=motion or Motion(len(name)))
    row.update(parts)
    return row


def mixed_motion(seed=5):
    return Motion(seed, 0.05, turns=((1.0, 1.8, (0.9, 0.1, 0.0)), (2.2, 2.7, (0.0, 0.4, 1.2))))


def rates_change():
    frames = even(70) + even(90, fps=60, skew=12000, exposure=6000) + even(40)
    frames[160]['gap_us'] = 16667  # a whole slow period after a fast frame is no drop
    return stabilized('30-60-30 fps', frames, motion=Motion(8, 0.08))


def drops():
    frames = even(70)
    for index, lost in ((12, 1), (25, 2), (40, 4), (60, 9)):
        frames[index].update(gap_us=lost * 33333, skip_ids=lost if index == 40 else 0)
    return stabilized('dropped frames', frames, motion=Motion(9, 0.15))


def nothing(_):
    return []


def bad_frames():
    """Frames that validation refuses, between good ones."""
    frames = even(30)
    frames[8]['gap_us'] = -33333  # the same start of frame again
    frames[12]['gap_us'] = -43333
    frames[16]['skip_ids'] = -1  # the same id again
    frames[20]['skew'] = 40000
    frames[24]['exposure'] = 40000  # reported, accepted
    frames[26]['windows'] = windows(fov=window(WIDTH, HEIGHT, 1600, 900, 20.0))  # not centred
    frames[14]['sensor'] = 3  # there is one
    frames[22].update(sensor=1, edit=nothing)
    frames[28]['windows'] = windows(fov=window(WIDTH, HEIGHT, 1600, 900, 200.0))  # outside
    return stabilized('refused frames', frames)


def pauses():
    frames = even(80)
    frames[25]['gap_us'] = 600000
    frames[45]['gap_us'] = 400000
    frames[60]['gap_us'] = 500000 - 33333
    frames[70]['gap_us'] = 500001 - 33333
    return stabilized('pause', frames, motion=Motion(10, 0.1))


def restarts():
    frames = changed(even(90), 30, 36, edit=nothing)
    frames = changed(frames, 50, 51, edit=nothing)
    frames[0]['edit'] = nothing  # refused: a stream cannot open so
    frames[51]['skip_ids'] = -40  # a new stream may count anew
    frames[36]['gap_us'] = 700000  # a pause as well
    return stabilized('end and restart', changed(frames, 70, 72, edit=nothing))


def early_end(count):
    return lambda batch: batch[:-count]


def late_start(count):
    return lambda batch: batch[count:]


def with_sample(index, change):
    def edit(batch):
        return batch[:index] + [change(*batch[index])] + batch[index + 1:]
    return edit


def short_batches():
    """Samples that come too late for their frame, or never."""
    frames = even(40)
    for index, edit in ((0, late_start(12)), (5, early_end(2)), (8, early_end(3)),
                        (11, early_end(6)), (14, early_end(14)), (18, late_start(2)),
                        (21, late_start(3)), (24, late_start(6)), (30, nothing),
                        (31, early_end(9)), (35, nothing), (36, lambda batch: batch[:1])):
        frames[index]['edit'] = edit
    return stabilized('short batches', frames, hz=416)


def damaged_batches():
    frames = even(24)
    for index, edit in (
            (3, with_sample(4, lambda ts, x, y, z: (0, x, y, z))),
            (6, with_sample(5, lambda ts, x, y, z: (ts - 2600, x, y, z))),
            (9, with_sample(5, lambda ts, x, y, z: (ts - 2000, x, y, z))),
            (12, lambda batch: batch[:5] + batch[4:]),
            (15, lambda batch: [(ts - 2001000, *rates) for ts, *rates in batch]),
            (18, lambda batch: batch[::3])):
        frames[index]['edit'] = edit
    return stabilized('damaged batches', frames)


def switches():
    frames = even(80)
    for index in range(25, 80):
        frames[index]['sensor'] = 1 if index < 45 or index > 65 else 0
    frames[25]['gap_us'] = -20000
    frames[46]['gap_us'] = 40000
    second = sensor(width=2304, height=1296, focal=900, s3d=-3000)
    changed(frames, 25, 45, windows=windows(2304, 1296))
    changed(frames, 66, 80, windows=windows(2304, 1296))
    changed(frames, 70, 71, gap_us=-31000, sensor=0, windows=None)  # too few new samples
    changed(frames, 73, 74, gap_us=-33333, sensor=0, windows=None)  # the same start of frame
    changed(frames, 76, 77, gap_us=-40000, sensor=0, windows=None)  # a little older
    changed(frames, 78, 79, gap_us=-70000, sensor=0, windows=None)  # too old
    return stabilized('two sensors', frames, sensors=[sensor(s3d=1500), second],
                      motion=Motion(11, 0.05, noise=0.004))


def calls_out_of_order():
    """After a second pass left out only a pause opens the stream again."""
    frames = changed(even(50), 0, 50, calls='ds')
    frames[10]['calls'], frames[14]['calls'] = 'dss', 'd'
    return stabilized('calls out of order', frames)


def first_pass_alone():
    frames = changed(even(100), 60, 63, edit=nothing)
    frames[75]['gap_us'] = 600000
    frames[85]['gap_us'] = 33333
    changed(frames, 0, 100, calls='d')
    frames[20]['calls'], frames[22]['calls'] = 'ds', 'p'  # there is no second pass
    return stabilized('first pass alone', frames, common=common(is_type=6),
                      motion=mixed_motion(22))


def front(name, tuned=(), motion=None, **parts):
    tuned = [sensor(position=1, mount=0, behaviour=tuned)]
    return stabilized(name, motion=motion or mixed_motion(), sensors=tuned, **parts)


FACE_TUNED = {records.FACE_MODE: 1, records.FACE_ENABLE: 1, records.FACE_TH_LOW: 0.002,
              records.FACE_TH_HIGH: 0.02, records.FACE_FACTOR: 0.3, records.FACE_DECREASE: 0.5,
              records.FACE_INCREASE: 1.5}
MOTION_TUNED = {records.MOTION_MODE: 1, records.MOTION_HANDHELD_TH: 0.05,
                records.MOTION_PANNING_TH: 0.2, records.MOTION_STRONG_PANNING_TH: 0.4}
BLUR = dict(enable=1, min_strength=0.25, exposure_time_th=0.0078125, start_decrease_at_blur=2.0,
            end_decrease_at_blur=12.0)


def mounts():
    return [stabilized(f'mount {mount}, {"front" if position else "rear"}', even(16),
                       sensors=[sensor(mount=mount, position=position)], motion=Motion(20, 0.2))
            for position in (0, 1) for mount in (0, 90, 180, 270)]


def random_sensor(random, hz, position, noise_floor):
    width, height = random.pick((1920, 1080), (1280, 720), (3840, 2160), (1440, 1920))
    face = {records.FACE_MODE: random.pick(0, 0, 1), records.FACE_ENABLE: random.pick(0, 1),
            records.FACE_TH_LOW: random.between(0.0, 0.02),
            records.FACE_TH_HIGH: random.between(0.021, 0.06),
            records.FACE_FACTOR: random.between(0.0, 0.9),
            records.FACE_DECREASE: random.between(0.1, 1.0),
            records.FACE_INCREASE: random.between(0.5, 3.0),
            records.MOTION_MODE: random.pick(0, 1),
            records.MOTION_HANDHELD_TH: random.between(0.01, 0.3)}
    blur = dict(enable=random.pick(0, 1), min_strength=random.between(0.0, 1.05),
                exposure_time_th=random.between(0.0, 0.02),
                start_decrease_at_blur=random.between(0.0, 10.0),
                end_decrease_at_blur=random.between(0.0, 40.0))
    return sensor(width, height, int(random.between(600, 4000)), hz, random.pick(0, 90, 180, 270),
                  position, random.between(0.05, 0.3),
                  (random.between(-40, 40), random.between(-40, 40)),
                  int(random.between(-15000, 15000)), 0, noise_floor, face, blur)


def random_windows(random, record):
    w, h = record.input_width, record.input_height

    def part(least):
        k = random.between(least, 1.0)
        return window(w, h, 2 * int(w * k / 2), 2 * int(h * k / 2))
    return windows(w, h, part(0.7), part(0.7), part(0.5))


def random_stream(seed):
    """Everything at once: sizes, rates, faults of frames and batches."""
    random = Random(1000 + seed)
    hz, position = random.pick(100, 200, 416, 500, 1000, 1600), random.pick(0, 1)
    noise_floor = random.pick(0.001, 0.003, 0.02)
    sensors = [random_sensor(random, hz, position, noise_floor) for _ in range(random.pick(1, 2))]
    frames = []
    for _ in range(3):
        period = int(1e6 / random.pick(15, 24, 30, 50, 60, 120))
        frames += even(int(random.between(3, 30)), 1e6 / period,
                       int(random.between(50, period - 1)), int(random.between(0, period - 1)))
    active, regions = 0, random_windows(random, sensors[0])
    for frame in frames:
        if random.one_in(12):
            active = int(random.between(0, len(sensors)))
            regions = random_windows(random, sensors[active])
        frame.update(sensor=active, windows=regions)
        if random.one_in(20):
            frame['gap_us'] = int(random.pick(random.between(-9000, 9000), 700000 * random.next()))
        if random.one_in(50):
            frame['skip_ids'] = random.pick(2, 1, -1)
        if random.one_in(16):
            count = int(random.between(1, 20))
            frame['edit'] = random.pick(nothing, early_end(count), late_start(count),
                                        lambda batch: batch[::2])
    begin = random.between(0.0, 2.0)
    motion = Motion(seed, random.pick(0.01, 0.05, 0.1, 0.3, 0.6), low_hz=0.2,
                    high_hz=random.pick(2.0, 9.0, 20.0), noise=random.pick(0.0005, 0.002),
                    turns=((begin, begin + 0.7, [random.between(-1.5, 1.5) for _ in range(3)]),),
                    quiet=(begin + 1.0, begin + 2.0))
    gaps = ((begin + 0.5, begin + 0.5 + random.between(0.0, 0.4)),)
    return stabilized(f'random {seed}', frames, hz, motion, sensors=sensors, gaps=gaps,
                      jitter_us=random.pick(0, 100), common=common(
                          output_width=random.pick(1920, 1280),
                          do_virtual_upscale_in_transform=random.one_in(2)))


def all_scenarios():
    still = Motion(3, 0.05, noise=0.001, quiet=(1.0, 3.0))
    noisy_still = Motion(4, 0.0, noise=0.0034)
    violent = Motion(6, 1.0, high_hz=5.0)
    cropped = windows(pre_in=window(1920, 1080, 1700, 960), pre_out=window(1920, 1080, 1600, 900),
                      fov=window(1920, 1080, 1696, 954))
    return [
        stabilized('hand-held 200 Hz', hz=200),
        stabilized('hand-held 500 Hz', even(140)),
        stabilized('hand-held 1000 Hz', hz=1000, jitter_us=120),
        # Two weeks after the clock started a single cannot tell a frame's times apart.
        stabilized('long uptime', drops()['frames'], epoch=1234567890123, motion=Motion(25, 0.1)),
        stabilized('hand-held, wrong rate', hz=480, sensors=[sensor(hz=500)]),
        stabilized('still', even(110), motion=still),
        stabilized('at the noise floor', motion=noisy_still),
        stabilized('panning', changed(even(110), 0, 110, calls='ds'), motion=mixed_motion()),
        stabilized('slow sweep', even(140), motion=Motion(7, 0.01, low_hz=0.1, high_hz=0.6)),
        stabilized('60 fps', even(160, fps=60, skew=12000, exposure=6000), motion=Motion(
            26, 0.03, low_hz=0.3, high_hz=1.5)),
        stabilized('breaches', even(200), motion=Motion(12, 0.5)),
        stabilized('severe shake', even(60), motion=violent),
        stabilized('whirled', even(40), motion=Motion(
            13, 3.0, turns=((0.3, 1.4, (9.0, 2.0, 4.0)),))),
        rates_change(), drops(), bad_frames(), pauses(), restarts(), switches(), short_batches(),
        damaged_batches(),
        stabilized('gap 150 ms', gaps=((0.8, 0.95), (1.7, 1.712)), motion=Motion(14, 0.1)),
        stabilized('gap 250 ms', gaps=((0.8, 1.05),), motion=Motion(15, 0.1)),
        stabilized('gaps inside a batch', even(30, fps=4, skew=230000), gaps=(
            (2.07, 2.22), (3.02, 3.24), (4.05, 4.3), (5.2, 5.45)), motion=Motion(15, 0.02)),
        stabilized('log ends early', even(30), gaps=((0.7, 9.0),)),
        stabilized('30 fps, then 15', even(30) + even(30, fps=15), motion=Motion(24, 0.1)),
        front('front, default', frames=even(100)),
        front('front, tuned', FACE_TUNED),
        front('front, off', {records.FACE_MODE: 1}, frames=even(30)),
        front('front, slow turns', FACE_TUNED, motion=Motion(16, 0.25)),
        calls_out_of_order(),
        *mounts(),
        stabilized('blur masking', even(90, exposure=16000), motion=Motion(17, 0.35), sensors=[
            sensor(blur=BLUR)]),
        stabilized('cropped windows', changed(even(60), 0, 60, windows=cropped),
                   motion=Motion(18, 0.1)),
        stabilized('upscale', even(40), common=common(do_virtual_upscale_in_transform=True)),
        stabilized('upscale from 4k', changed(even(40), 0, 40, windows=windows(3840, 2160)),
                   common=common(do_virtual_upscale_in_transform=True),
                   sensors=[sensor(width=3840, height=2160)]),
        stabilized('optical centre off', even(40), sensors=[sensor(center=(17.25, -9.5))],
                   motion=Motion(19, 0.2)),
        stabilized('gyro ahead', even(40), sensors=[sensor(s3d=9000, ois_offset=7000)]),
        stabilized('gyro behind', even(40), sensors=[sensor(s3d=-12000)]),
        stabilized('tuned thresholds', motion=mixed_motion(21), sensors=[
            sensor(behaviour=MOTION_TUNED, noise_floor=0.02)]),
        first_pass_alone(),
        stabilized('global shutter', even(30, skew=0), motion=Motion(23, 0.2)),
        *(random_stream(seed) for seed in range(20)),
    ]
