// SPDX-License-Identifier: Apache-2.0
/// @file z_lens_position.hpp
/// What a lens that moves along its axis does to the field of view, as a scale of the picture.
///
/// Scale 1 means no change. A frame whose content focus has magnified by 1/s is undone by s; s is
/// at most 1.
#pragma once

#include <cstdint>
#include <memory>

#include "steadywarp/eis_tuning.h"

namespace steadywarp {

/// The tuning of one sensor: where the scale comes from, and the table from position to scale.
using eis_z_lens_position = is_tessaline_z_lens_pos;

/// Values of `scale_source`.
enum LensScaleSource : uint32_t {
    kScaleFromSample = 0,  ///< the sample's data[1] is the scale
    kScaleFromTable = 1    ///< the sample's data[0] is a lens position for the table
};

/// Entries of the table that count: `lut_len`, at most what the table holds.
uint32_t lut_length(const eis_z_lens_position& lens);

/// Make a copy that the caller owns.
///
/// @return EIS_ERROR_GENERAL for a NULL source or target, EIS_ERROR_NO_MEMORY; `to` is then empty.
uint32_t copy_eis_z_lens_position(const eis_z_lens_position* from,
                                  std::unique_ptr<eis_z_lens_position>* to);

/// The scale at a lens position, from the table.
///
/// Between two entries the scale is linear, and never below `min_scale_limit`. A position above the
/// first entry gives the last scale, one below the last entry the first scale: the two ends are
/// crossed, and the former is not raised to the limit.
///
/// @return 1 if the sensor is disabled or the position is no number.
double scale_at_position(const eis_z_lens_position& lens, double position);

}  // namespace steadywarp
