# SPDX-License-Identifier: Apache-2.0
"""Run the same streams through the model and through the library, and compare every output.

usage: compare.py LIBRARY [-v] [PART-OF-NAME ...]
       compare.py LIBRARY [-v] --random FIRST COUNT    random streams alone, from a seed on

One line per scenario: frames that came out, the largest difference of each field group in last
bits, log lines compared. Exit status 1 on a mismatch, and when the table as a whole missed a
situation that it is there for.

Tolerances. Integers, booleans, statuses and log lines are exact. The library keeps doubles until it
narrows to singles, so a result may differ by the rounding of sums in another order, some 1e-13,
which decides at most one last bit of a single:
- matrices: MATRIX_ULPS last bits of each single; entries near zero are measured at FLOORS, what is
  1e-4 of the entries that would move a corner by one pixel;
- grids: GRID_ULPS last bits at the coordinate of the far corner, since a node is rounded there
  before the centre is taken off;
- the motion index: MOTION_ULPS, counted at no less than 1e-3 px.
"""
import ctypes
import os
import re
import sys
import tempfile
import time
from bisect import bisect_left, bisect_right
from collections import Counter

import records
from arithmetic import f32, ulp32
from scenarios import all_scenarios, random_stream, sample_stream, windows
from sensors import row_time
from stream import Model, crop_size, frame_input, is_panning

MATRIX_ULPS, GRID_ULPS, MOTION_ULPS = 1.0, 1.0, 1.0
FLOORS = (1e-6, 1e-6, 1e-3, 1e-6, 1e-6, 1e-3, 1e-9, 1e-9, 1e-6)
LINE = re.compile(r'^(\[ERR\] |\[HIGH\]) (IS\d+): V2: \S+?\(\d+\): (.*)$')


class Memory:
    """Arrays for one frame's output, and records that point at them."""

    def __init__(self):
        self.grids = [(records.Coord * records.GRID_POINTS)() for _ in range(2)]
        self.matrices = [records.Matrix() for _ in range(3)]
        self.combined, self.first, self.second = (
            records.Output(), records.OutputDistortion(), records.OutputStabilize())
        for record in (self.combined, self.first, self.second):
            record.distortion_correction_grid.grid = self.grids[0]
            record.alignment_matrix_domain_undistorted.perspMatrices = \
                ctypes.pointer(self.matrices[0])
            if record is not self.first:
                record.alignment_matrix_domain_stabilized.perspMatrices = \
                    ctypes.pointer(self.matrices[1])
                record.stabilization_transform.matrices.perspMatrices = \
                    ctypes.pointer(self.matrices[2])
                record.stabilization_transform.grid.grid = self.grids[1]


class Library:
    def __init__(self, path):
        self.lib = ctypes.CDLL(path)
        self.lib.timestamp_interpolation.restype = ctypes.c_uint64
        self.lib.timestamp_interpolation.argtypes = [ctypes.c_uint64, ctypes.c_uint64,
                                                     ctypes.c_uint32, ctypes.c_uint32]
        for name in ('eis2_initialize', 'eis2_process', 'eis2_get_time_intervals',
                     'eis_internal_process_distortion_correction',
                     'eis_internal_process_stabilize'):
            getattr(self.lib, name).restype = ctypes.c_uint32

    def open(self, row):
        self.context, self.memory = ctypes.c_void_p(), Memory()
        sensors = (records.InitSensor * len(row['sensors']))(*row['sensors'])
        status = self.lib.eis2_initialize(ctypes.byref(self.context), ctypes.byref(row['common']),
                                          sensors, len(sensors))
        assert status == 0, f'{row["name"]}: configuration refused'

    def close(self):
        self.lib.eis2_deinitialize(ctypes.byref(self.context))

    def intervals(self, times, sensor):
        out = records.TimeIntervals()
        status = self.lib.eis2_get_time_intervals(self.context, ctypes.byref(times), sensor,
                                                  ctypes.byref(out))
        return status, (out.gyro.first_ts, out.gyro.last_ts), out

    def play(self, frame, calls):
        """As Model.play(): statuses, and the record of each call out of which a frame came."""
        batch = (records.Sample * max(len(frame.gyro), 1))()
        for record, (ts, *rates) in zip(batch, frame.gyro):
            record.ts, record.data[0:3] = ts, rates
        head = dict(frame_id=frame.frame_id, active_sensor_idx=frame.sensor,
                    frame_time_input=frame.times)
        rest = dict(gyro=records.SampleArray(batch, len(frame.gyro)), focus_distance=1.0,
                    window_regions=frame.windows)
        statuses, outputs = [], []
        for call in calls:
            function, given, out = {
                'p': (self.lib.eis2_process, records.Input(**head, **rest), self.memory.combined),
                'd': (self.lib.eis_internal_process_distortion_correction,
                      records.InputDistortion(**head, **rest), self.memory.first),
                's': (self.lib.eis_internal_process_stabilize, records.InputStabilize(**head),
                      self.memory.second)}[call]
            statuses.append(function(self.context, ctypes.byref(given), ctypes.byref(out)))
            outputs += [out] if out.output_valid else []
            if statuses[-1] and call == 'd':
                break
        return statuses, outputs


class ErrorCapture:
    """What the library writes to file descriptor 2."""

    def __enter__(self):
        self.file, self.kept = tempfile.TemporaryFile(), os.dup(2)
        os.dup2(self.file.fileno(), 2)
        return self

    def __exit__(self, *_):
        os.dup2(self.kept, 2)
        os.close(self.kept)
        self.file.seek(0)
        self.text = self.file.read().decode()

    def lines(self):
        matches = [LINE.match(line) for line in self.text.splitlines()]
        return [match.groups() if match else ('unreadable line', '', line)
                for match, line in zip(matches, self.text.splitlines())]


class Comparison:
    """Collects mismatches and the largest difference of each group, in last bits."""

    def __init__(self):
        self.faults, self.largest, self.where = [], Counter(), ''

    def exact(self, name, mine, theirs):
        if mine != theirs:
            self.faults.append(f'{self.where}: {name}: model {mine}, library {theirs}')

    def close(self, group, name, mine, theirs, floor, allowed):
        mine = f32(mine)
        ulps = abs(mine - theirs) / ulp32(max(abs(mine), floor))
        if not ulps <= self.largest[group]:
            self.largest[group] = ulps
        if not ulps <= allowed:
            self.faults.append(f'{self.where}: {name}: model {mine!r}, library {theirs!r}, '
                               f'{ulps:.3g} last bits')

    def matrix(self, name, mine, record, frame):
        for field, value in (('enable', True), ('centerType', 0), ('confidence', 256),
                             ('numRows', 1), ('numColumns', 1)):
            self.exact(f'{name}.{field}', value, getattr(record, field))
        self.size(name, record, frame)
        for i, (value, floor) in enumerate(zip(mine, FLOORS)):
            self.close('matrix', f'{name}[{i}]', value, record.perspMatrices[0].T[i], floor,
                       MATRIX_ULPS)

    def size(self, name, record, frame):
        size = record.transformDefinedOn
        self.exact(f'{name}.transformDefinedOn', (frame.width, frame.height),
                   (size.widthPixels, size.heightLines))

    def grid(self, record, frame):
        for field, value in (('enable', True), ('numRows', 27), ('numColumns', 35),
                             ('extrapolateType', 2)):
            self.exact(f'grid.{field}', value, getattr(record, field))
        self.size('grid', record, frame)
        for i, (x, y) in enumerate(frame.out_grid):
            point = record.grid[i]
            self.close('grid', f'grid[{i}].x', x, point.x, frame.width - 1, GRID_ULPS)
            self.close('grid', f'grid[{i}].y', y, point.y, frame.width - 1, GRID_ULPS)

    def frame(self, frame, out):
        for name in ('frame_id', 'active_sensor_idx'):
            mine = frame.frame_id if name == 'frame_id' else frame.sensor
            self.exact(name, mine, getattr(out, name))
        scene = out.scene_detection
        self.exact('scene', (frame.scene & 0xFFFF, is_panning(frame.scene)),
                   (scene.scene_type, list(scene.is_panning)))
        self.grid(out.distortion_correction_grid, frame)
        self.matrix('alignment_undistorted', frame.out_alignment,
                    out.alignment_matrix_domain_undistorted, frame)
        if not isinstance(out, records.OutputStabilize):
            self.exact('ois_mode', 0, out.ois_mode)
            self.exact('blender', 0.0, out.Mind_margins_blender_geolib)
            self.close('motion index', 'motion index', frame.motion_index,
                       out.cvp_motion_index_raw, 1e-3, MOTION_ULPS)
        if isinstance(out, records.OutputDistortion):
            self.exact('middle row', frame.middle_ts, out.mof_gyro_time)
            self.exact('orientation', bytes(56), bytes(out.frame_orientation_domain_undistorted))
            return
        warp = out.stabilization_transform
        self.exact('transform direction', 0, warp.direction)
        self.exact('transform grid', False, warp.grid.enable)
        self.matrix('stabilization', frame.out_stabilization, warp.matrices, frame)
        self.matrix('alignment_stabilized', frame.out_alignment_stabilized,
                    out.alignment_matrix_domain_stabilized, frame)

    def log(self, mine, theirs):
        mine, theirs = Counter(mine), Counter(theirs)
        for side, extra in (('model', mine - theirs), ('library', theirs - mine)):
            for line, count in extra.items():
                self.faults.append(f'log, {side} alone, {count} times: {line}')


def play(row):
    """Frames of a scenario as (times, sensor, frame id, windows, edit, calls)."""
    sof, frame_id = row['epoch'], 0
    for index, frame in enumerate(row['frames']):
        sof += (row['frames'][index - 1]['frame_time'] if index else 0) + frame['gap_us']
        frame_id += 1 + frame['skip_ids']
        times = records.FrameTimes(sof, frame['frame_time'], frame['exposure'], frame['skew'])
        size = row['sensors'][min(frame['sensor'], len(row['sensors']) - 1)]
        yield (times, frame['sensor'], frame_id,
               frame['windows'] or windows(size.input_width, size.input_height), frame['edit'],
               frame['calls'])


def run(row, library, comparison):
    frames = list(play(row))
    samples = sample_stream(row, (frames[-1][0].sof - row['epoch']) / 1e6 + 0.5)
    stamps = [sample[0] for sample in samples]
    model, came_out, shown = Model(row['common'], row['sensors']), 0, []
    with ErrorCapture() as errors:
        library.open(row)
        for index, (times, sensor, frame_id, regions, edit, calls) in enumerate(frames):
            comparison.where = f'frame {index}'
            mine, theirs = model.intervals(times, sensor), library.intervals(times, sensor)
            comparison.exact('interval status', mine[0], theirs[0])
            if not mine[0]:
                comparison.exact('gyro interval', mine[1], theirs[1])
                comparison.exact('other intervals', bytes(32), bytes(theirs[2])[16:])
            first, last = model.gyro.interval
            batch = edit(samples[bisect_left(stamps, first):bisect_right(stamps, last)])
            frame = frame_input(frame_id=frame_id, sensor=sensor, times=times, windows=regions,
                                gyro=batch)
            statuses, count = model.play(frame, calls)
            their_statuses, outputs = library.play(frame, calls)
            comparison.exact('statuses', statuses, their_statuses)
            comparison.exact('outputs', count, len(outputs))
            if count and outputs:
                came_out += 1
                shown.append(frame)
                for out in outputs:
                    comparison.frame(frame, out)
        library.close()
    comparison.log(model.lines, errors.lines())
    return came_out, shown, model


def compare_row_times(library):
    """The exported row times, over spans and origins of every size."""
    comparison = Comparison()
    for first in (0, 1, 33333, 2 ** 40 + 12345):
        for span in (0, 1, 23, 24, 25, 12345, 25000, 33333, 2 ** 31 + 1):
            for n in (5, 27, 51):
                for i in range(n):
                    if i or first >= span:  # row 0 must not lie before time 0
                        comparison.exact(
                            f'row {i} of {n}', row_time(first, first + span, n, i),
                            library.lib.timestamp_interpolation(first, first + span, n, i))
    print(f'{"row times":24} {"exact" if not comparison.faults else "DIFFERENT"}')
    return comparison.faults


def compare_crops(library):
    comparison = Comparison()
    for height, width in ((1080, 1920), (2160, 3840), (1296, 2304), (1440, 1920)):
        for out_height, out_width in ((1080, 1920), (720, 1280), (2160, 3840), (1081, 1077)):
            for margin_y, margin_x in ((0.1, 0.1), (0.2, 0.05), (0.0, 0.0), (0.25, 0.5)):
                margin_y, margin_x = f32(margin_y), f32(margin_x)
                crop = [ctypes.c_uint32(), ctypes.c_uint32()]
                library.lib.eis_internal_get_crop_size(
                    height, width, out_height, out_width, ctypes.byref(crop[0]),
                    ctypes.byref(crop[1]), ctypes.c_float(margin_y), ctypes.c_float(margin_x))
                comparison.exact(
                    f'crop of {out_width}x{out_height} in {width}x{height}',
                    crop_size(height, width, out_height, out_width, margin_y, margin_x),
                    (crop[0].value, crop[1].value))
    print(f'{"crop sizes":24} {"exact" if not comparison.faults else "DIFFERENT"}')
    return comparison.faults


def situations(shown, lines):
    """What the streams went through, so that the table cannot quietly stop testing something."""
    seen = {f'tag {tag}' for _, tag, _ in lines}
    for frame in shown:
        seen.add(f'scene {frame.scene & 0xFFFF}')
        seen.update(f'panning {axis}' for axis, pans in zip('zyx', is_panning(frame.scene)) if pans)
        if frame.strength == 0.0:
            seen.add('uncorrected rows')
        if hasattr(frame, 'alpha'):
            alpha = int(frame.alpha) if frame.alpha in (0.0, 1.0) else 'between'
            seen.add(f'alpha {alpha}')
            seen.update(f'window {width}' for width in frame.window)
            seen.add('feasible' if frame.feasible else 'infeasible')
            seen.add('long drop' if frame.dropped_frames > 2 else 'no long drop')
            seen.add('blur masked' if frame.least_alpha > 0 else 'not blur masked')
    return seen


NEEDED = {*(f'scene {kind}' for kind in (0, 1, 2, 4, 5, 6, 7)), *(f'panning {a}' for a in 'xyz'),
          'uncorrected rows', 'alpha 0', 'alpha between', 'alpha 1', 'feasible', 'infeasible',
          'long drop', 'blur masked', *(f'window {w}' for w in (1, 14, 28, 44, 88)),
          *(f'tag IS{tag}' for tag in (
              '0002', '0003', '0007', '0008', '0011', '0012', '0014', '0018', '0512', '0513',
              '0516', '0517', '0518', '0519', '0521', '0522', '0523', '0524', '0525', '0526',
              '0527', '0530', '1024', '1027', '1028'))}


def main(arguments):
    library, verbose = Library(arguments[0]), '-v' in arguments
    wanted = [a for a in arguments[1:] if a != '-v']
    rows = all_scenarios()
    if wanted[:1] == ['--random']:
        first, count = map(int, wanted[1:])
        rows, wanted = [random_stream(seed) for seed in range(first, first + count)], ['random']
    began = time.time()
    faults = len(compare_row_times(library)) + len(compare_crops(library))
    seen = set()
    for row in rows:
        if wanted and not any(text in row['name'] for text in wanted):
            continue
        comparison, start = Comparison(), time.time()
        came_out, shown, model = run(row, library, comparison)
        largest = ', '.join(f'{group} {comparison.largest[group]:.2g}'
                            for group in ('grid', 'matrix', 'motion index'))
        seen |= situations(shown, model.lines)
        print(f'{row["name"]:24} {came_out:3} frames; last bits: {largest}; '
              f'{len(model.lines)} log lines{"" if not comparison.faults else "; DIFFERENT"}'
              + (f'; {time.time() - start:.1f} s' if verbose else ''))
        for fault in comparison.faults[:200 if verbose else 8]:
            print('   ', fault)
        faults += len(comparison.faults)
    for situation in sorted(NEEDED - seen if not wanted else ()):
        print(f'no stream went through: {situation}')
        faults += 1
    print(f'{faults} differences, {time.time() - began:.1f} s')
    return 1 if faults else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
