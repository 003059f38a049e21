// SPDX-License-Identifier: Apache-2.0
/// @file gimbal_ois.hpp
/// Kinds of lens-shift modules, and the turn that a gimbal or a prism gives the picture.
#pragma once

#include <array>
#include <cstdint>

#include "base/vec3.hpp"

namespace steadywarp {

/// Kinds of lens-shift modules.
enum OisModuleType : uint32_t {
    kOisShift = 0,
    kOisGeneral = 1,
    kOisGimbalA = 3,
    kOisGimbalB = 4,
    kOisGimbalPrismYLensShiftX = 5
};

/// Whether a module of this type turns the picture by process_gimbal_ois().
constexpr bool turns_by_gimbal(uint32_t module_type) {
    return module_type == kOisGimbalA || module_type == kOisGimbalB ||
           module_type == kOisGimbalPrismYLensShiftX;
}

/// What is tuned of a sensor's module.
struct LensModule {
    uint32_t type = kOisShift;
    std::array<double, 10> data_conversion_x{};  ///< by power of the raw values
    std::array<double, 10> data_conversion_y{};
};

/// The turn that a gimbal or a prism at `sample` gives the picture, radians; the conversions are
/// degrees per unit.
Vec3<double> process_gimbal_ois(const Point2& sample, const LensModule& module);

}  // namespace steadywarp
