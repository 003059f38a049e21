// SPDX-License-Identifier: Apache-2.0
#include "interface/device_rotation.hpp"

#include "base/eis_log.hpp"
#include "interface/warp_output.hpp"
#include "platform/sines.hpp"
#include "sensors/mid_point_orientation.hpp"

namespace steadywarp {
namespace {

// The windows' least part plays no role here.
constexpr double kCroppingFactor = 1.0;

// R1 R2 R3. The cosine of y in R1's centre belongs there.
Matrix3 delta_rotation(const Vec3<double>& a) {
    platform::Double2 turns[3];
    platform::SinesAndCosines({a.x, a.y, a.z}, turns);
    const double sin_x = turns[0][0], cos_x = turns[0][1];
    const double sin_y = turns[1][0], cos_y = turns[1][1];
    const double sin_z = turns[2][0], cos_z = turns[2][1];
    const Matrix3 r1 = {1.0, 0.0, 0.0, 0.0, cos_y, sin_x, 0.0, -sin_x, cos_x};
    const Matrix3 r2 = {cos_y, 0.0, -sin_y, 0.0, 1.0, 0.0, sin_y, 0.0, cos_y};
    const Matrix3 r3 = {cos_z, sin_z, 0.0, -sin_z, cos_z, 0.0, 0.0, 0.0, 1.0};
    return multiply(multiply(r1, r2), r3);
}

Matrix3 intrinsics(const Camera& camera, double scale) {
    return {camera.focal_x / scale,
            0.0,
            camera.center_x,
            0.0,
            camera.focal_y / scale,
            camera.center_y,
            0.0,
            0.0,
            1.0};
}

Matrix3 inverse_intrinsics(const Camera& camera, double scale) {
    const double fx = camera.focal_x / scale;
    const double fy = camera.focal_y / scale;
    return {1.0 / fx, 0.0, -camera.center_x / fx, 0.0, 1.0 / fy, -camera.center_y / fy, 0.0,
            0.0,      1.0};
}

double scale_of(const eis_context& context, const device_moment& moment) {
    const sensor_runtime_record& sensor = context.sensors[moment.sensor_index];
    return compute_frame_geometry_windows(moment.window_regions, sensor.input_width,
                                          sensor.input_height, kCroppingFactor)
        .scale;
}

uint32_t orientation_of(const eis_context& context, const device_moment& moment,
                        Vec3<double>& out) {
    InterpStats stats;
    return interp_mid_point_orientation(
        context._samplers, moment.sensor_index, moment.mof_gyro_time,
        context._prev_frame_id_dist_corr, context.first_frame,
        context.sensors[moment.sensor_index].lens_module, out, stats);
}

}  // namespace

uint32_t get_device_rotation_delta(const eis_context& context, const device_moment& source,
                                   const device_moment& destination, NcLibWarpMatrices& out) {
    Vec3<double> from;
    uint32_t status = orientation_of(context, source, from);
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002",
                "SRC: _samplers.gyro_interp failed for (src_sensor_index, src_mof_gyro_time, "
                "_prev_frame_id_dist_corr): %u, %lu, %u",
                source.sensor_index, source.mof_gyro_time, context._prev_frame_id_dist_corr);
        return status;
    }
    Vec3<double> to;
    status = orientation_of(context, destination, to);
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002",
                "DST: _samplers.gyro_interp failed for (dst_sensor_index, dst_mof_gyro_time, "
                "_prev_frame_id_dist_corr): %u, %lu, %u",
                destination.sensor_index, destination.mof_gyro_time,
                context._prev_frame_id_dist_corr);
        return status;
    }
    const Camera* cameras = context.distortion.stage.cameras();
    const Camera& seen_by = cameras[destination.sensor_index];
    const Matrix3 homography =
        multiply(multiply(intrinsics(cameras[source.sensor_index], scale_of(context, source)),
                          delta_rotation(from - to)),
                 inverse_intrinsics(seen_by, scale_of(context, destination)));
    write_matrix(homography, seen_by.width, seen_by.height, out);
    return EIS_SUCCESS;
}

}  // namespace steadywarp
