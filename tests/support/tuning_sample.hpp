// SPDX-License-Identifier: Apache-2.0
/// @file tuning_sample.hpp
/// Descriptions of tuning files for the sample catalogue.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tuning_description.hpp"

inline std::string SampleModuleText(const std::string& mode, int number,
                                    const std::string& type = "alpha") {
    return "[[module]]\ntype = \"" + type + "\"\nversion = \"1.2.3\"\nmode = \"" + mode +
           "\"\nvalues = [{ u32 = " + std::to_string(number) +
           " }, { text = \"same\" }, { array = [[{ u32 = 7 }], [{ u32 = 8 }]] }]\n";
}

/// Default 100 and Sensor.0 110 are always there; Usecase.Video 122 and, below it, Feature1.ADRC
/// 132 load on demand; Usecase.ZSL links to Video.
inline std::string SampleText(int base = 100) {
    return "tag = \"sample\"\n"
           "[[mode]]\npath = \"Default\"\n"
           "[[mode]]\npath = \"Default|Sensor.0\"\n"
           "[[mode]]\npath = \"Default|Sensor.0|Usecase.Video\"\n"
           "[[mode]]\npath = \"Default|Sensor.0|Usecase.Video|Feature1.ADRC\"\n"
           "[[mode]]\npath = \"Default|Sensor.0|Usecase.ZSL\"\n"
           "link = \"Default|Sensor.0|Usecase.Video\"\n" +
           SampleModuleText("Default", base) + SampleModuleText("Default|Sensor.0", base + 10) +
           SampleModuleText("Default|Sensor.0|Usecase.Video", base + 22) +
           SampleModuleText("Default|Sensor.0|Usecase.Video|Feature1.ADRC", base + 32) +
           SampleModuleText("Default|Sensor.0|Usecase.Video", base + 5, "beta");
}

inline tuning::Image SampleImage(const std::string& text = SampleText(),
                                 const std::string& version = "5.0.0") {
    std::string error;
    auto image = tuning::ParseDescription(text, "sample", tuning::ParseVersion(version), &error);
    EXPECT_TRUE(image) << error;
    return image.value_or(tuning::Image());
}

inline tuning::Bytes SampleBytes(const std::string& text = SampleText(),
                                 const std::string& version = "5.0.0") {
    return tuning::Encode(SampleImage(text, version));
}
