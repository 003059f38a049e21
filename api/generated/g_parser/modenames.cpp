// SPDX-License-Identifier: Apache-2.0
#include "modenames.hpp"

#include <charconv>
#include <cstring>
#include <span>

#include "platform/os_utils.hpp"

namespace {

constexpr char const* kUsecases[] = {"Preview",  "Snapshot",         "Video",
                                     "ZSL",      "Liveshot",         "SnapshotReprocess",
                                     "IDEALRAW", "IdealRawReprocess"};
constexpr char const* kFeatures1[] = {
    "None",           "ISPHDR",      "ADRC",           "inSensorHDR3Exp",
    "MFHDRPreFusion", "MFHDRFusion", "MFHDRPostFusion"};
constexpr char const* kFeatures2[] = {"None",
                                      "OISCapture",
                                      "HLG",
                                      "HDR10",
                                      "MFNRBlend",
                                      "MFNRPostFilter",
                                      "AIDenoiserMFNRBlend",
                                      "AIDenoiserMFNRPostFilter",
                                      "VLLMFNRBlend",
                                      "VLLMFNRPostFilter",
                                      "VLLPostFusion"};
constexpr char const* kScenes[] = {
    "None",          "Landscape", "Snow",      "Beach",   "Sunset",       "Night",     "Portrait",
    "BackLight",     "Sports",    "AntiShake", "Flowers", "CandleLight",  "Fireworks", "Party",
    "NightPortrait", "Theater",   "Action",    "AR",      "FacePriority", "Barcode",   "BestShot"};
constexpr char const* kEffects[] = {"None",     "Mono",      "Sepia",      "Negative",
                                    "Solarize", "Posterize", "Aqua",       "Emboss",
                                    "Sketch",   "Neon",      "Blackboard", "Whiteboard"};

struct ModeNames {
    char const* name;
    std::span<char const* const> subModes;
};
const ModeNames kModes[] = {
    {"Default", {}},          {"Sensor", {}},     {"Usecase", kUsecases}, {"Feature1", kFeatures1},
    {"Feature2", kFeatures2}, {"Scene", kScenes}, {"Effect", kEffects}};

bool SameName(char const* a, char const* b) {
    return Zelm::OsUtils::StrNICmp(a, b, std::strlen(b) + 1) == 0;
}

}  // namespace

char const* NameOfMode(uint32_t mode) {
    return mode < std::size(kModes) ? kModes[mode].name : nullptr;
}

char const* NameOfSubMode(uint32_t mode, uint32_t subMode) {
    if (mode >= std::size(kModes) || subMode >= kModes[mode].subModes.size()) {
        return nullptr;
    }
    return kModes[mode].subModes[subMode];
}

bool FindModeName(char const* name, uint32_t* mode) {
    for (uint32_t i = 0; i < std::size(kModes); ++i) {
        if (SameName(name, kModes[i].name)) {
            *mode = i;
            return true;
        }
    }
    return false;
}

bool FindSubModeName(uint32_t mode, char const* name, uint32_t* subMode) {
    uint16_t number = 0;
    char const* end = name + std::strlen(name);
    const auto result = std::from_chars(name, end, number);
    if (result.ec == std::errc() && result.ptr == end) {
        *subMode = number;
        return true;
    }
    for (uint32_t i = 0; NameOfSubMode(mode, i) != nullptr; ++i) {
        if (SameName(name, NameOfSubMode(mode, i))) {
            *subMode = i;
            return true;
        }
    }
    return false;
}
