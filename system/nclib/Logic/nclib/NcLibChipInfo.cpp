// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/nclib_chip.hpp"

#include <cstdio>

#include "nclib/nclib_log.hpp"
#include "platform/log.hpp"

namespace {

constexpr int kVersionMajor = 3;
constexpr int kVersionMinor = 7;
constexpr int kVersionPatch = 7;

// Longest buffer that GetNcLibVersion() accepts; a larger size is taken for a mistake.
constexpr uint32_t kMaxVersionText = 256;

// The bits that Capabilities does not name are carried for other camera nodes.
constexpr uint32_t CapabilityWord(uint32_t version_code) {
    switch (version_code) {
        case 0x10500:
        case 0x10700:
            return 0x10900;
        case 0x10605:
        case 0x10705:
        case 0x40907:
        case 0x40908:
            return 0x11200;
        case 0x40800:
            return 0x490A3301;
        case 0x50700:
        case 0x50800:
            return 0x8B1A3301;
        case 0x60800:
            return 0x33BA3401;
        default:
            return 0;
    }
}

}  // namespace

NcLibChipInfo::OrlokVersion NcLibChipInfo::s_orlokVersion = INVALID_ORLOK_VERSION;
uint32_t NcLibChipInfo::s_hwVersion = 0;
NcLibChipInfo::Capabilities NcLibChipInfo::s_capabilities;

void NcLibChipInfo::Set(uint32_t version_code, uint32_t hardware_version) {
    s_orlokVersion = version_code;
    s_hwVersion = hardware_version;
    s_capabilities.word = CapabilityWord(version_code);
}

NcLibChipInfo::Capabilities NcLibChipInfo::GetCapabilities() {
    return s_capabilities;
}

NcLibChipInfo::OrlokVersion NcLibChipInfo::GetOrlokVersion() {
    return s_orlokVersion;
}

void NcLibChipInfo::GetNcLibVersion(char* text, uint32_t size) {
    if (text == nullptr || size > kMaxVersionText) {
        return;
    }
    std::snprintf(text, size, "NcLib_%d.%d.%d", kVersionMajor, kVersionMinor, kVersionPatch);
}

void PrintNcLibVersion() {
    Zelm::Log::LogSystem(Zelm::Log::kGroupCore, Zelm::Log::Level::kDebug, "NcLib version: %d.%d.%d",
                         kVersionMajor, kVersionMinor, kVersionPatch);
}

void NcLibSetChip(uint32_t version_code, uint32_t hardware_version) {
    NcLibChipInfo::Set(version_code, hardware_version);
}

uint32_t NcLibGetIpeIcaVersion() {
    const uint32_t version = NcLibChipInfo::GetCapabilities().IcaVersionTens();
    NC_LIB_ASSERT(version);
    return 10 * version;
}

bool NcLibIsGridSizeMatchesIcaHw(uint32_t num_rows, uint32_t num_columns, uint32_t ica_version) {
    const bool is_plain = num_rows == 25 && num_columns == 33;
    const bool is_ring = num_rows == ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT &&
                         num_columns == ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH;
    const bool is_fine_ring = num_rows == ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT &&
                              num_columns == ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH;
    switch (ica_version) {
        case 10:
            return is_plain;
        case 20:
            return is_ring;
        case 30:
        case 40:
            return is_ring || is_fine_ring;
        default:
            return false;
    }
}
