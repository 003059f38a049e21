# SPDX-License-Identifier: Apache-2.0
"""The public records as ctypes, laid out from the headers; sizes are checked on import."""
import ctypes as c

u32, u64, i32, f32, f64, u16, b8 = (c.c_uint32, c.c_uint64, c.c_int32, c.c_float, c.c_double,
                                    c.c_uint16, c.c_bool)
GRID_COLUMNS, GRID_ROWS = 35, 27
GRID_POINTS = GRID_COLUMNS * GRID_ROWS


def _record(name, fields, pack=None, size=None):
    body = {'_fields_': fields}
    if pack:
        body['_pack_'] = pack
    record = type(name, (c.Structure,), body)
    assert size is None or c.sizeof(record) == size, (name, c.sizeof(record), size)
    return record


def _same(kind, names):
    return [(name, kind) for name in names.split()]


ImageSize = _record('ImageSize', _same(u32, 'widthPixels heightLines'), 4)
Coord = _record('Coord', _same(f32, 'x y'), 4)
Matrix = _record('Matrix', [('T', f32 * 9)], 4)
Matrices = _record('Matrices', [('enable', b8), ('transformDefinedOn', ImageSize),
                                *_same(u32, 'centerType confidence numRows numColumns'),
                                ('perspMatrices', c.POINTER(Matrix))], 4)
Grid = _record('Grid', [('enable', b8), ('transformDefinedOn', ImageSize),
                        *_same(u32, 'numRows numColumns'), ('grid', c.POINTER(Coord)),
                        ('extrapolateType', u32), ('gridExtrapolate', c.POINTER(Coord))], 4)
Warp = _record('Warp', [('matrices', Matrices), ('grid', Grid), ('direction', u32)], 4)

Sample = _record('Sample', [('data', f64 * 6), ('ts', u64)], size=56)
SampleArray = _record('SampleArray', [('samples', c.POINTER(Sample)), ('num_elements', u32)],
                      size=16)
CropWindow = _record('CropWindow', _same(
    f32, 'fullWidth fullHeight windowWidth windowHeight windowLeft windowTop'), size=24)
WindowRegions = _record('WindowRegions', _same(
    CropWindow, 'image_sensor_crop eis_pre_crop_vIN eis_pre_crop_vOUT output_crop_fov'), size=96)
FrameTimes = _record('FrameTimes', [('sof', u64), *_same(
    u32, 'frame_time exposure_time sensor_rolling_shutter_skew')], size=24)
InitCommon = _record('InitCommon', [
    *_same(u32, 'is_type operation_mode deployment_type output_width output_height'),
    ('frame_fps', u16),
    *_same(b8, 'do_virtual_upscale_in_transform force_split_grid_matrix unify_undistortion_grid'
               ' is_sat_enabled is_mag_enabled is_acc_enabled is_ois_enabled is_ifovc_enabled'
               ' is_dis_enabled is_linear_acc_enabled is_abs_orientation_enabled'
               ' is_rel_orientation_enabled'),
    ('buffer_delay', u16)], size=36)

Top = _record('Top', [('requested_total_margins', f32 * 18), ('future_buffer_size', u32 * 9),
                      *_same(u32, 'gyro_frequency ois_frequency acc_frequency mag_frequency'
                                  ' ifovc_frequency ois_delay_to_display_ms'),
                      ('lens_pos_orientation_axis', i32 * 3), ('res_lut_param_0', f32 * 32)],
              size=272)
General = _record('General', [
    ('minimal_total_margin', f32), ('focal_length', u32),
    *_same(f32, 'gyro_noise_floor ois_noise_floor acc_noise_floor mag_noise_floor'),
    ('output_grid_precision', u32), ('res_param', f32 * 10), ('res_lut_param_1', f32 * 32),
    ('res_lut_param_2', f32 * 32), ('res_lut_param_3', u32 * 16)], size=388)
Timing = _record('Timing', _same(i32, 's3d_offset ois_offset acc_offset mag_offset ifovc_offset'),
                 size=20)
BlurMasking = _record('BlurMasking', [('enable', u32), *_same(
    f32, 'min_strength exposure_time_th start_decrease_at_blur end_decrease_at_blur'
         ' pan_min_threshold pan_max_threshold res1 res2')], size=36)
Ois = _record('Ois', [('module_type', u32), ('data_conversion_x', f32 * 10),
                      ('data_conversion_y', f32 * 10), ('center_command', u32 * 3),
                      ('ois_res_lut_param_1_tab', f32 * 16), ('ois_res_lut_param_2_tab', f32 * 16)],
              size=224)
Tuning = _record('Tuning', [('top', Top), ('general', General), ('timing', Timing),
                            ('blur_masking', BlurMasking),
                            ('lens_distortion_correction', c.c_uint8 * 54856), ('ois', Ois),
                            ('dis', c.c_uint8 * 140), ('z_lens_pos', c.c_uint8 * 152)], size=56088)
InitSensor = _record('InitSensor', [
    ('ldc_in2out', c.c_void_p), ('ldc_out2in', c.c_void_p), ('ldc_calib_domain', u32),
    ('image_sensor_crop', CropWindow),
    *_same(u32, 'ife_input_frame_width ife_input_frame_height ife_input_frame_undistorted_width'
                ' ife_input_frame_undistorted_height input_width input_height sensor_mount_angle'
                ' camera_position'),
    *_same(f32, 'optical_center_x optical_center_y sensor_width_millimeter'
                ' sensor_height_millimeter'),
    ('tuning', Tuning)], size=56184)

# Slots of `ois_res_lut_param_2_tab`.
FACE_MODE, FACE_ENABLE, FACE_TH_LOW, FACE_TH_HIGH, FACE_FACTOR, FACE_DECREASE, FACE_INCREASE = \
    range(7)
MOTION_MODE, MOTION_HANDHELD_TH, MOTION_PANNING_TH, MOTION_STRONG_PANNING_TH = range(7, 11)

_STREAMS = _same(SampleArray, 'gyro mag acc ois ifovc')
_EXTRA = _same(SampleArray, 'linear_acc abs_orientation rel_orientation')
_TAIL = [('window_regions', WindowRegions), *_same(f32, 'focus_distance effective_focal_length_mm')]
_HEAD = [*_same(u32, 'frame_id active_sensor_idx'), ('frame_time_input', FrameTimes)]
Input = _record('Input', [*_HEAD, *_STREAMS, ('reserved', SampleArray), *_EXTRA, *_TAIL,
                          *_same(c.POINTER(Warp), 'sat upstream')], size=296)
InputDistortion = _record('InputDistortion', [*_HEAD, *_STREAMS, *_EXTRA, *_TAIL,
                                              ('upstream', c.POINTER(Warp))], size=272)
InputStabilize = _record('InputStabilize', [*_HEAD, ('sat', c.POINTER(Warp)),
                                            ('dis_motion_vectors', c.c_void_p)], size=48)

Scene = _record('Scene', [('scene_type', u32), ('is_panning', b8 * 3)], size=8)
OutputDistortion = _record('OutputDistortion', [
    *_same(u32, 'frame_id active_sensor_idx'), ('distortion_correction_grid', Grid),
    ('alignment_matrix_domain_undistorted', Matrices), ('mof_gyro_time', u64),
    ('frame_orientation_domain_undistorted', Sample),
    *_same(f32, 'Mind_margins_blender_geolib cvp_motion_index_raw'), ('ois_mode', u32),
    ('scene_detection', Scene), ('output_valid', b8)], size=176)
OutputStabilize = _record('OutputStabilize', [
    *_same(u32, 'frame_id active_sensor_idx'), ('distortion_correction_grid', Grid),
    ('stabilization_transform', Warp),
    *_same(Matrices, 'alignment_matrix_domain_undistorted alignment_matrix_domain_stabilized'),
    *_same(Sample, 'frame_orientation_domain_undistorted frame_orientation_domain_stabilized'),
    ('scene_detection', Scene), ('output_valid', b8)], size=328)
Output = _record('Output', [
    *_same(u32, 'frame_id active_sensor_idx'), ('distortion_correction_grid', Grid),
    ('stabilization_transform', Warp),
    *_same(Matrices, 'alignment_matrix_domain_undistorted alignment_matrix_domain_stabilized'),
    *_same(f32, 'Mind_margins_blender_geolib cvp_motion_index_raw'), ('ois_mode', u32),
    ('scene_detection', Scene), ('output_valid', b8)], size=224)
TimeInterval = _record('TimeInterval', _same(u64, 'first_ts last_ts'))
TimeIntervals = _record('TimeIntervals', _same(TimeInterval, 'gyro ois ifovc'), size=48)
