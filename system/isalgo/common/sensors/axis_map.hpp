// SPDX-License-Identifier: Apache-2.0
/// @file axis_map.hpp
/// The turn of a sample from a sensor's axes to the camera's.
#pragma once

#include <cstdint>

#include "base/vec3.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {

/// Each camera axis takes one word of the sample, with a sign of 1 or -1.
struct AxisMap {
    uint32_t from[3];
    double sign[3];

    /// @param words three, about the sensor's axes.
    constexpr Vec3<double> turned(const double* words) const {
        return {words[from[0]] * sign[0], words[from[1]] * sign[1], words[from[2]] * sign[2]};
    }

    /// Turn `data[0..2]` in place; the rest stays.
    constexpr void rotate(_sample_data_s& sample) const {
        const Vec3<double> words = turned(sample.data);
        sample.data[0] = words.x;
        sample.data[1] = words.y;
        sample.data[2] = words.z;
    }
};

/// Leaves a sample as it is.
inline constexpr AxisMap kSameAxes = {{0, 1, 2}, {1.0, 1.0, 1.0}};

}  // namespace steadywarp
