# SPDX-License-Identifier: Apache-2.0
"""A whole instance: validation, frame flow, both passes, and every log line that they write."""
from types import SimpleNamespace

from arithmetic import f32, round_half_away
from filter import ERROR, Filter
from geometry import centred, multiply, rotation_homography, translation
from scene import PANNING, STILL, STRONG_PANNING, SceneDetection
from sensors import PAUSE_US, Gyro, row_time
from stage import MIDDLE, ROWS, Stage

OK, GENERAL, INVALID = 0, 0x08000002, 0x08000003
STABILIZER = 4
OUT_OF_ORDER = ('Invalid SW flow out of order execution call. Stabilization part was called before '
                'distortion correction was called (current frame ID, previous dist_corr frame ID, '
                'previous stab frame ID) : ')


def crop_size(input_height, input_width, output_height, output_width, margin_y, margin_x):
    a = output_height / input_height / (1.0 - margin_y)
    b = output_width / input_width / (1.0 - margin_x)
    s = max(a - 1.0, b - 1.0)
    divisor = 1.0 + s if s >= 1e-6 else 1.0
    return tuple(2 * round_half_away(size / divisor * 0.5)
                 for size in (output_height, output_width))


def is_panning(word):
    bits = word if word & 0xFFFF in (PANNING, STRONG_PANNING) else 0
    return [bool(bits >> bit & 1) for bit in (30, 29, 28)]


def ratio_of(window):
    return (window.windowWidth / window.fullWidth
            if window.fullWidth and window.fullHeight else 1.0)


class Model:
    def __init__(self, common, sensors):
        self.common, self.sensors = common, sensors
        self.lines = []
        self.prev_sof, self.prev_frame_time = 0, 33333
        self.prev_id_distortion = self.prev_id_stabilize = 0
        self.prev_sensor, self.first_frame = 0xFFFFFFFF, True
        self.with_gyro = self.without_gyro = 0
        self.readout = [0] * len(sensors)
        self.gyro = Gyro(sensors[0], self.log)
        self.scene = SceneDetection(sensors[0].tuning, self.log)
        self.stage = Stage(sensors, self.log)
        self.stabilizes = common.is_type == STABILIZER
        self.filter = Filter(sensors, self.log)
        self.first_output, self.previous_target = True, (0.0, 0.0, 0.0)

    def log(self, severity, tag, text):
        self.lines.append((severity, tag, text))

    def error(self, tag, text):
        self.log('[ERR] ', tag, text)

    # ---- validation
    def _switched(self, sensor):
        return not self.first_frame and sensor != self.prev_sensor

    def _frame_times_good(self, times, switched):
        sof, frame_time, exposure = times.sof, times.frame_time, times.exposure_time
        if 0 in (sof, frame_time, exposure):
            self.error('IS0515', 'Invalid frame time (SOF, frame time, exposure time): '
                       f'{sof}, {frame_time} , {exposure}')
        longest = int(frame_time * 1.0015)
        if exposure >= longest:
            self.error('IS0517', 'Invalid exposure time (exposure time, maximal frame time): '
                       f'{exposure} , {longest}')
        delta = sof - self.prev_sof
        if delta <= 0:
            return self._stale_times(times, switched, delta)
        if delta < PAUSE_US:
            if float(delta) > f32(f32(frame_time) * f32(1.2)):
                missing = round_half_away(delta / self.prev_frame_time) - 1
                self.log('[HIGH]', 'IS1028', 'Frame drop was detected. (# of missing frames, '
                         f'current frame SOF, previous frame SOF): {missing}, {sof}, '
                         f'{self.prev_sof}')
        elif self.prev_sof:
            self.log('[HIGH]', 'IS1024',
                     f'Pause-resume use case was detected - : {sof}, {self.prev_sof}')
        return True

    def _stale_times(self, times, switched, delta):
        order = ('time stamps are not strictly monotonically increasing: '
                 f'{self.prev_sof}, {times.sof}')
        if delta == 0:
            text = f'SOF time stamps are equal, debug is needed : {times.sof}'
            self.error('IS0516' if switched else 'IS0008',
                       f'Sensor switch and {text}' if switched else text)
            return switched
        if not switched:
            self.error('IS0007', f'SOF {order}')
        elif -delta > times.frame_time:
            self.error('IS0007', f'Sensor switch and SOF is too old. {order}')
        else:
            self.error('IS0516', f'Sensor switch and SOF {order}')
            return True
        return False

    def _frame_id_good(self, frame_id, previous):
        if self.first_frame or frame_id == previous + 1:
            return True
        if frame_id > previous:
            self.error('IS0012', 'Invalid frame ID, algorithm was not called for frame ID # '
                       f'{previous + 1} (previous frame ID, input frame ID) : '
                       f'{previous}, {frame_id}')
            return True
        self.error('IS0012', 'Invalid frame ID (previous frame ID, input frame ID) : '
                   f'{previous}, {frame_id}')
        return False

    def _roi_good(self, window):
        fw, fh = window.fullWidth, window.fullHeight
        if not (fw and fh and window.windowWidth and window.windowHeight):
            self.error('IS0010', 'Un-initialized crop window')
            return False
        if (window.windowHeight + window.windowTop > fh
                or window.windowWidth + window.windowLeft > fw):
            self.error('IS0011', 'Invalid ROI. ROI is outside of image')
            return False
        if (abs((fh - window.windowHeight) * 0.5 - window.windowTop) / fh > 0.007
                or abs((fw - window.windowWidth) * 0.5 - window.windowLeft) / fw > 0.007):
            self.error('IS0527', ' ROI is not centered (full Width, full Height, window Width, '
                       'window Height, window Left, window Top): %f %f %f %f %f %f' % (
                           fw, fh, window.windowWidth, window.windowHeight, window.windowLeft,
                           window.windowTop))
        return True

    def _windows_good(self, windows):
        good = True
        for name, counts in (('eis_pre_crop_vIN', True), ('eis_pre_crop_vOUT', True),
                             ('output_crop_fov', True), ('output_crop_fov', True),
                             ('image_sensor_crop', False)):
            if not self._roi_good(getattr(windows, name)):
                self.error('IS0003', f'Invalid {name} window')
                good = good and not counts
        return good

    def _sensor_faults(self, sensor):
        if sensor < len(self.sensors):
            return 0
        self.error('IS0014', f'Invalid sensor index - {sensor}')
        return 1

    def _distortion_input_good(self, frame):
        errors, switched = 0, self._switched(frame.sensor)
        if not self.gyro.judge(frame.gyro, frame.frame_id, self.first_frame, switched):
            self.error('IS0002', 'Errors in gyro samples were found')
            self.error('IS0002', f'Frame id {frame.frame_id}: Number of errors found: 1')
            errors += 1
        if frame.gyro:
            errors += self._sensor_faults(frame.sensor)
            skew = frame.times.sensor_rolling_shutter_skew
            if skew == 0:
                self.error('IS0512', '0 == sensor_rolling_shutter_skew, invalid value!')
            if skew >= int(frame.times.frame_time * 1.0015):
                self.error('IS0513', f'Invalid readout duration - {skew} (cannot correct rolling '
                           'shutter)')
                self.error('IS0003', 'Invalid rolling shutter skew value')
                errors += 1
            if not self._frame_times_good(frame.times, switched):
                self.error('IS0003', 'Invalid frame_time_input')
                errors += 1
            if not self._windows_good(frame.windows):
                self.error('IS0003', 'Invalid window_regions')
                errors += 1
        errors += not self._frame_id_good(frame.frame_id, self.prev_id_distortion)
        if (frame.gyro and not self.first_frame and self.stabilizes
                and self.prev_id_stabilize != self.prev_id_distortion):
            self.error('IS0012', f'{OUT_OF_ORDER}{frame.frame_id}, {self.prev_id_distortion}, '
                       f'{self.prev_id_stabilize}')
            errors += 1
        if errors:
            self.error('IS0003', f'Frame # {frame.frame_id}. Invalid input structs for distortion '
                       f'correction (# errors, # warnings # info) : ({errors}, 0, 0)')
        return not errors

    # ---- entries
    def intervals(self, times, sensor):
        errors = self._sensor_faults(sensor)
        if not self._frame_times_good(times, self._switched(sensor)):
            self.error('IS0014', 'Invalid frame times')
            errors += 1
        if errors:
            self.error('IS0002', f'Found {errors} errors')
            self.error('IS0003', 'Invalid input')
            return INVALID, None
        offset = self.sensors[sensor].tuning.timing.s3d_offset
        return OK, self.gyro.ask(times, offset, 0, self.readout[sensor])

    def play(self, frame, calls):
        """Statuses of the calls, and out of how many a frame came; the frame takes all results.

        calls: p for both passes in one, d and s for one of them; a failed d ends the frame.
        """
        statuses, count = [], 0
        for call in calls:
            status = self.distortion_pass(frame) if call in 'pd' else OK
            if call == 'p' and status != OK:
                self.error('IS0002', 'eis_internal_process_distortion_correction() failed')
            elif call in 'ps':
                status = self.stabilization_pass(frame)
                if call == 'p' and status != OK:
                    self.error('IS0002', 'eis_internal_process_stabilize() failed')
            statuses.append(status)
            count += status == OK and frame.valid
            if status != OK and call == 'd':
                break
        return statuses, count

    def distortion_pass(self, frame):
        frame.valid = False
        if not self.first_frame:
            self._pause_or_new_stream(frame)
        if self.first_frame:
            if self._sensor_faults(frame.sensor):
                return INVALID
            if not frame.gyro:
                self.error('IS0003', 'Invalid first frame, no gyro data!')
                return INVALID
            self.gyro.update_frequency(frame.gyro)
        if not self._distortion_input_good(frame):
            return INVALID
        switched = self._switched(frame.sensor)
        frame.dropped_frames = 0
        delta = frame.times.sof - self.prev_sof
        if (not self.first_frame and not switched
                and delta > f32(f32(frame.times.frame_time) * f32(1.2))):
            frame.dropped_frames = max(delta // self.prev_frame_time, 1) - 1
        if frame.gyro:
            self.scene.update(frame.gyro, frame.dropped_frames, switched)
            self.gyro.integrate(frame.gyro, self.scene.scene & 0xFFFF == STILL)
            self._place(frame)
            rows = self.gyro.rows(frame.first_ts, frame.last_ts, ROWS, frame.frame_id,
                                  self.first_frame)
            self.with_gyro += 1
            self.stage.process(frame, rows, switched)
            self._distortion_output(frame)
        else:
            self.without_gyro += 1
        if not self.stabilizes:
            self._finish(frame)
        self.prev_id_distortion = frame.frame_id
        return OK

    def _finish(self, frame):
        self.prev_sof, self.prev_frame_time = frame.times.sof, frame.times.frame_time
        self.prev_sensor, self.first_frame = frame.sensor, False

    def _pause_or_new_stream(self, frame):
        pause = self.prev_sof != 0 and self.prev_sof + PAUSE_US < frame.times.sof
        new_stream = self.without_gyro != 0
        if not frame.gyro or not (pause or new_stream):
            return
        self.log('[HIGH]', 'IS1027', f'Pause-Resume or New-Stream: {int(pause)}, '
                 f'{int(new_stream)}, {self.with_gyro}, {self.without_gyro}')
        self.first_frame, self.first_output = True, True
        self.readout = [0] * len(self.sensors)
        for part in (self.gyro, self.scene, self.stage, self.filter):
            part.reset()
        if new_stream:
            self.with_gyro = self.without_gyro = 0

    def _place(self, frame):
        """Times and windows as numbers."""
        sensor, times, windows = self.sensors[frame.sensor], frame.times, frame.windows
        pre, fov = windows.eis_pre_crop_vIN, windows.output_crop_fov
        skew = f32(times.sensor_rolling_shutter_skew)
        readout = f32(f32(skew * pre.windowHeight) / pre.fullHeight)
        top = f32(f32(skew * pre.windowTop) / pre.fullHeight)
        self.readout[frame.sensor] = frame.readout = int(readout)
        middle = (int(top) + times.sof - int(times.exposure_time * 0.5) + int(readout * 0.5)
                  + sensor.tuning.timing.s3d_offset)
        frame.first_ts, frame.last_ts = int(middle - readout * 0.5), int(middle + readout * 0.5)
        frame.middle_ts = row_time(frame.first_ts, frame.last_ts, ROWS, MIDDLE)
        frame.exposure_time, frame.frame_time = times.exposure_time, times.frame_time
        frame.width, frame.height = w, h = sensor.input_width, sensor.input_height
        frame.scale = ratio_of(windows.eis_pre_crop_vOUT)
        left, top = fov.windowLeft * w / fov.fullWidth, fov.windowTop * h / fov.fullHeight
        frame.output_rect = (left, top, fov.windowWidth * w / fov.fullWidth + left - 1,
                             fov.windowHeight * h / fov.fullHeight + top - 1)
        frame.scene, frame.scene_settled = self.scene.scene, self.scene.settled()

    @staticmethod
    def _distortion_output(frame):
        w, h = frame.width, frame.height
        cx, cy = f32((w - 1) / 2.0), f32((h - 1) / 2.0)
        frame.out_grid = [(f32(f32(x) - cx), f32(f32(y) - cy)) for x, y in frame.grid]
        frame.out_alignment = centred(frame.alignment, w, h)
        frame.valid = True

    def stabilization_pass(self, frame):
        if not self.stabilizes:
            self.error('IS0002', 'Invalid SW flow')
            return GENERAL
        if not self._stabilization_input_good(frame):
            return INVALID
        if self.without_gyro:
            self.filter.drain()
            if self.filter.state == ERROR:
                self.error('IS0002', 'Filter failed to produce output (filter frame id, input '
                           f'frame id, active sensor id): ({self.filter.counter}, '
                           f'{frame.frame_id}, {frame.sensor})')
                self.error('IS0002', '_stabilize->_eis.process() failed')
                self.error('IS0002', 'eis_update_and_process() failed')
        else:
            self._stabilize(frame)
        self.prev_id_stabilize = frame.frame_id
        self._finish(frame)
        return OK

    def _stabilization_input_good(self, frame):
        errors = self._sensor_faults(frame.sensor)
        if not self.without_gyro and not self._frame_times_good(frame.times,
                                                                self._switched(frame.sensor)):
            self.error('IS0003', 'Invalid frame time')
            errors += 1
        errors += not self._frame_id_good(frame.frame_id, self.prev_id_stabilize)
        if not self.first_frame and self.prev_id_distortion <= self.prev_id_stabilize:
            self.error('IS0012', f'{OUT_OF_ORDER}{frame.frame_id}, {self.prev_id_distortion}, '
                       f'{self.prev_id_stabilize}')
            errors += 1
        if errors:
            self.error('IS0003', f'Frame # {frame.frame_id}. Invalid input structs for '
                       f'stabilization (# errors, # warnings # info) : ({errors}, 0, 0)')
        return not errors

    def _stabilize(self, frame):
        camera, angles = self.stage.cameras[frame.sensor], frame.row_angles
        frame.blur = 0.0
        if frame.readout:
            ratio = frame.exposure_time / frame.readout
            sweep = tuple((b - a) * ratio for a, b in zip(angles[1], angles[ROWS - 2]))
            m = rotation_homography(camera, sweep, frame.scale)
            frame.blur = f32(max(abs(m[2]), abs(m[5])))
        correction = self.filter.process(frame.middle, frame.boundary, frame, camera)
        target = tuple(c + o for c, o in zip(correction, frame.middle))
        delta = (0.0, 0.0, 0.0)
        if not self.first_output:
            delta = tuple(p - t for p, t in zip(self.previous_target, target))
        self.first_output, self.previous_target = False, target
        w, h = frame.width, frame.height
        stabilization = rotation_homography(camera, tuple(-c for c in correction), frame.scale)
        if self.common.do_virtual_upscale_in_transform:
            margin = self.sensors[frame.sensor].tuning.general.minimal_total_margin
            _, crop_width = crop_size(h, w, self.common.output_height, self.common.output_width,
                                      margin, margin)
            u, cx, cy = crop_width / self.common.output_width, (w - 1) / 2.0, (h - 1) / 2.0
            scale = (u, 0.0, 0.0, 0.0, u, 0.0, 0.0, 0.0, 1.0)
            scale = multiply(multiply(translation(cx, cy), scale), translation(-cx, -cy))
            stabilization = multiply(stabilization, scale)
        frame.out_stabilization = centred(stabilization, w, h)
        frame.out_alignment_stabilized = centred(
            rotation_homography(camera, delta, frame.scale), w, h)
        frame.correction, frame.alpha = correction, self.filter.breach.alpha
        frame.feasible, frame.window = self.filter.breach.feasible, tuple(self.filter.window)


def frame_input(**fields):
    """frame_id, sensor, times, windows, gyro (list of (ts, x, y, z))."""
    return SimpleNamespace(**fields)
