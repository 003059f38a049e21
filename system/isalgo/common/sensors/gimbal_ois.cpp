// SPDX-License-Identifier: Apache-2.0
#include "sensors/gimbal_ois.hpp"

#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

constexpr double kPi = 3.141592653589793;

}  // namespace

Vec3<double> process_gimbal_ois(const Point2& sample, const LensModule& module) {
    const std::array<double, 10>& cx = module.data_conversion_x;
    const std::array<double, 10>& cy = module.data_conversion_y;
    const double x = sample.x;
    const double y = sample.y;
    switch (module.type) {
        case kOisGimbalA:
            return {(x * cx[1] + x * x * x * cx[6]) * kPi / 180.0,
                    (y * cy[2] + y * y * y * cy[9]) * kPi / 180.0, 0.0};
        case kOisGimbalB: {
            const double g = (-x * cy[2] - x * x * x * cy[9]) * kPi / 180.0;
            return {(-y * cx[1] - y * y * y * cx[6]) * kPi / 180.0, g, -g};
        }
        case kOisGimbalPrismYLensShiftX:
            return {-(y * cy[2] + y * y * y * cy[9]) * kPi / 180.0, 0.0, 0.0};
        default:
            EIS_ERR("IS0002", "Misusage of function.");
            return {};
    }
}

}  // namespace steadywarp
