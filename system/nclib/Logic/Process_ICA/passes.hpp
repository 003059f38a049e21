// SPDX-License-Identifier: Apache-2.0
/// @file passes.hpp
/// The registers of a frame's passes through the warp hardware.
#pragma once

#include "steadywarp/nclib_ica.h"

/// Fill the geometry of a pass; see IcaGeoParams.
/// @param translationOnly the pass moves the picture by whole pixels, no more.
void NcLibFillIcaGeoParams(const GeoLibIcaMapping* mapping, bool translationOnly,
                           uint32_t icaVersion, IcaGeoParams* geoParams);

/// Fill the registers of a pass. A translation-only pass that scales or zooms is reported.
void FillFwRegPassParameters(const GeoLibIcaMapping* mapping, const IcaParameters* parameters,
                             uint32_t icaVersion, IcaPassParameters* fwRegStruct);

/// Tell how a picture format is laid out: 1 in tiles, 2 in lines, 0 if it is not known.
uint32_t GetImageFormatType(uint32_t imageFormat);

/// Fill how the pixels of a pass are fetched. @return NC_LIB_INVALID_INPUT for an unknown format.
int32_t FillSortFetchPassParams(uint32_t imageFormat, LmcPassParameters_680* lmcParameters);

namespace nclib {

/// Fill what version 40 takes beside: fetch order, local motion, tuning.
/// @return NC_LIB_INVALID_INPUT for a missing record or an unknown format.
int32_t FillLmc(const ICA_Tessaline* tessaline, const NcLibIcaContext* context, NcLibIcaWarp* warp,
                IcaParameters* parameters, LmcPassParameters_680* lmcParameters);

}  // namespace nclib
