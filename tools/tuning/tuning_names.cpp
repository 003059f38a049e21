// SPDX-License-Identifier: Apache-2.0
#include "tuning_names.hpp"

namespace tuning {

const std::vector<Names>& ModeNames() {
    static const std::vector<Names> names = {
        {"Default", {}},
        {"Sensor", {}},
        {"Usecase",
         {"Preview", "Snapshot", "Video", "ZSL", "Liveshot", "SnapshotReprocess", "IDEALRAW",
          "IdealRawReprocess"}},
        {"Feature1",
         {"None", "ISPHDR", "ADRC", "inSensorHDR3Exp", "MFHDRPreFusion", "MFHDRFusion",
          "MFHDRPostFusion"}},
        {"Feature2",
         {"None", "OISCapture", "HLG", "HDR10", "MFNRBlend", "MFNRPostFilter",
          "AIDenoiserMFNRBlend", "AIDenoiserMFNRPostFilter", "VLLMFNRBlend", "VLLMFNRPostFilter",
          "VLLPostFusion"}},
        {"Scene",
         {"None",         "Landscape", "Snow",          "Beach",     "Sunset",  "Night",
          "Portrait",     "BackLight", "Sports",        "AntiShake", "Flowers", "CandleLight",
          "Fireworks",    "Party",     "NightPortrait", "Theater",   "Action",  "AR",
          "FacePriority", "Barcode",   "BestShot"}},
        {"Effect",
         {"None", "Mono", "Sepia", "Negative", "Solarize", "Posterize", "Aqua", "Emboss", "Sketch",
          "Neon", "Blackboard", "Whiteboard"}}};
    return names;
}

std::string StepName(const ModeRow& row) {
    const auto& names = ModeNames();
    if (row.mode >= names.size()) {
        return std::to_string(row.mode) + "." + std::to_string(row.sub_mode);
    }
    const Names& entry = names[row.mode];
    std::string text = entry.mode;
    if (row.sub_mode < entry.subs.size()) {
        return text + "." + entry.subs[row.sub_mode];
    }
    return row.mode == 0 && row.sub_mode == 0 ? text : text + "." + std::to_string(row.sub_mode);
}

std::string Hex(const uint8_t* bytes, size_t count) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += i > 0 && i % 4 == 0 ? " " : "";
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

}  // namespace tuning
