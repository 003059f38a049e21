// SPDX-License-Identifier: Apache-2.0
/// @file process_ica.hpp
/// The steps of ICA_ProcessNcLib() that fill the tables.
#pragma once

#include "steadywarp/nclib_ica.h"

/// Pack a grid into the grid tables and say so in the parameters; see NcLibIcaPackGrid().
int32_t ICA_ProcessNcLibGridFloat(const NcLibWarpGrid* inGrid, NcLibIcaWarp* warpStruct,
                                  IcaParameters* fwStruct, uint32_t icaVersion);

/// Pack matrices into the matrix tables and say so in the parameters; see NcLibIcaPackMatrices().
/// `fwStruct` not being NULL is a precondition.
int32_t ICA_ProcessNcLibMatrices(const NcLibWarpMatrices* persp, NcLibIcaWarp* warpStruct,
                                 IcaParameters* fwStruct, uint32_t icaVersion);
