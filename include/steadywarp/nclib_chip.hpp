// SPDX-License-Identifier: Apache-2.0
/// @file nclib_chip.hpp
/// What the warp library knows of the image processor at hand.
///
/// The state is one per process and is read without a lock: set it before the first grid check,
/// and expect the stabilizer to set it too, wherever it calls the warp library.
#pragma once

#include <cstdint>

#include "steadywarp/nclib.h"

/// Process-wide chip state: which version of the warp hardware there is and which grids it takes.
class NcLibChipInfo {
  public:
    /// Version code of the image processor, as the camera framework reports it.
    using OrlokVersion = uint32_t;
    static constexpr OrlokVersion INVALID_ORLOK_VERSION = 0;

    /// The bits of the capability word that this library reads.
    struct Capabilities {
        uint32_t word = 0;

        /// Tens digit of the hardware's version, 1 to 4; 0 when unknown.
        constexpr uint32_t IcaVersionTens() const { return (word >> 8) & 7u; }
        /// The hardware takes four explicit points outside the corners of a grid.
        constexpr bool IcaGridExtrapolationCorners() const { return ((word >> 11) & 1u) != 0; }
        /// The grid of 51 by 67 points exists.
        constexpr bool IcaHighResGrid() const { return ((word >> 13) & 1u) != 0; }
    };

    /// Choose the chip. An unknown `version_code` leaves no capability at all.
    STEADYWARP_API static void Set(uint32_t version_code, uint32_t hardware_version);

    /// What the chip chosen last can do; nothing before the first Set().
    STEADYWARP_API static Capabilities GetCapabilities();
    /// Version code of the chip chosen last; INVALID_ORLOK_VERSION before the first Set().
    STEADYWARP_API static OrlokVersion GetOrlokVersion();

    /// Write "NcLib_3.7.7", cut to fit; does nothing if `text` is NULL or `size` is above 256.
    STEADYWARP_API static void GetNcLibVersion(char* text, uint32_t size);

  private:
    static OrlokVersion s_orlokVersion;
    static uint32_t s_hwVersion;
    static Capabilities s_capabilities;
};
