// SPDX-License-Identifier: Apache-2.0
// Every prefix and every single bit flip of a good file, from memory and from disk.
#include <gtest/gtest.h>

#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

namespace {

// Loads, and uses whatever was loaded. @return whether it loaded.
bool Survive(const tuning::Bytes& bytes, SampleFile* disk) {
    SampleManager manager(disk != nullptr);
    bool loaded = false;
    if (disk != nullptr) {
        disk->Write(bytes);
        loaded = manager.LoadBinaryParameters(disk->Name());
    } else {
        std::unique_ptr<unsigned char[]> image(new unsigned char[bytes.size() + 1]);
        std::copy(bytes.begin(), bytes.end(), image.get() + 1);
        loaded = manager.LoadBinaryParameters(image.get() + 1, bytes.size());
    }
    for (const char* path : {"0.0|1.0|2.2|3.2", "0.0|1.0|2.3"}) {
        SampleModule* module = manager.Get(path);
        if (module != nullptr) {
            EXPECT_TRUE(module->IsLoaded());
            manager.ReleaseModule(module);
        }
    }
    return loaded;
}

}  // namespace

class Hostile : public testing::TestWithParam<const char*> {};

TEST_P(Hostile, EveryPrefixIsRefused) {
    LogLines lines;
    SampleFile disk;
    const tuning::Bytes good = SampleBytes(SampleText(), GetParam());
    for (size_t length = 0; length < good.size(); ++length) {
        tuning::Bytes cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(Survive(cut, length % 2 == 0 ? &disk : nullptr)) << length;
        // The same with a CRC and a size that agree.
        if (length > 40) {
            cut[28] = static_cast<uint8_t>(length);
            cut[29] = static_cast<uint8_t>(length >> 8);
            tuning::MendCrc(&cut);
            Survive(cut, length % 4 == 0 ? &disk : nullptr);
        }
    }
}

TEST_P(Hostile, EveryBitFlipLoadsOrFails) {
    LogLines lines;
    const tuning::Bytes good = SampleBytes(SampleText(), GetParam());
    SampleFile disk;
    size_t refused = 0;
    size_t loaded = 0;
    for (size_t bit = 0; bit < good.size() * 8; ++bit) {
        tuning::Bytes bytes = good;
        bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] ^ (1u << (bit % 8)));
        const bool mended = bit % 2 == 0;
        if (mended) {
            tuning::MendCrc(&bytes);
        }
        // All from memory, and a quarter of either kind from disk as well.
        for (SampleFile* place : {static_cast<SampleFile*>(nullptr), &disk}) {
            if (place == nullptr || (bit / 2) % 4 == (bit / 8) % 4) {
                const bool good_load = Survive(bytes, place);
                EXPECT_TRUE(mended || !good_load) << "a wrong CRC at bit " << bit;
                ++(good_load ? loaded : refused);
            }
        }
    }
    EXPECT_GT(loaded, 100u);
    EXPECT_GT(refused, 100u);
}

INSTANTIATE_TEST_SUITE_P(Versions, Hostile, testing::Values("1.0.1", "3.0.0", "5.0.0"),
                         [](const auto& test) {
                             std::string name = test.param;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

TEST(HostileSizes, NumbersNearTheLimitAreRefused) {
    LogLines lines;
    const tuning::Bytes good = SampleBytes();
    // Offset and size of each of the four sections; the table stands at byte 168.
    for (size_t field = 0; field < 8; ++field) {
        for (const uint32_t value : {0xFFFFFFFFu, 0xFFFFFFF0u, 0x80000000u, 0xFFFFFFC4u}) {
            tuning::Bytes bytes = good;
            const size_t at = 168 + field / 2 * 12 + 4 + field % 2 * 4;
            for (size_t i = 0; i < 4; ++i) {
                bytes[at + i] = static_cast<uint8_t>(value >> (8 * i));
            }
            tuning::MendCrc(&bytes);
            SampleFile disk;
            const bool required = field / 2 != 1;  // the data section is held record by record
            EXPECT_TRUE(!Survive(bytes, nullptr) || !required) << field;
            EXPECT_TRUE(!Survive(bytes, &disk) || !required) << field;
        }
    }
}
