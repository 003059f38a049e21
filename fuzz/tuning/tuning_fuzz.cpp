// SPDX-License-Identifier: Apache-2.0
// Loads any bytes as a tuning file, from memory or (first input byte odd) from disk, and asks the
// result for modules. The CRC is mended after each mutation, for a wrong one ends the load at once.
#include "support/tuning_fixture.hpp"

#ifndef STEADYWARP_FUZZ_REPLAY
extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned int seed) {
    size = LLVMFuzzerMutate(data, size, max_size);
    // One mutation in sixteen keeps whatever CRC it has.
    if (size > 5 && seed % 16 != 0) {
        tuning::Bytes file(data + 1, data + size);
        tuning::MendCrc(&file);
        std::copy(file.begin(), file.end(), data + 1);
    }
    return size;
}
#endif

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LogLines lines;
    if (size == 0) {
        return 0;
    }
    const bool from_disk = (data[0] & 1) != 0;
    tuning::Bytes bytes(data + 1, data + size);
    SampleManager manager(from_disk);
    SampleFile disk;
    if (from_disk) {
        disk.Write(bytes);
        manager.LoadBinaryParameters(disk.Name());
    } else {
        manager.LoadBinaryParameters(bytes.data(), bytes.size());
        bytes = tuning::Bytes();
    }
    char text[256];
    for (const char* path : {"0.0", "0.0|1.0|2.2|3.2", "0.0|1.0|2.3"}) {
        manager.ReleaseModule(manager.Get(path));
        manager.GetValue(path, "alpha", nullptr, text, sizeof text);
    }
    return 0;
}
