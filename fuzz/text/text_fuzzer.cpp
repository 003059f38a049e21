// SPDX-License-Identifier: Apache-2.0
// Any text as one of the command's inputs: gyro logs of both kinds, frame times, lens logs and
// cameras. The first byte chooses the reader.
#include "support/checked_readers.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace steadywarp::test;
    if (size == 0) {
        return 0;
    }
    const std::string text(data + 1, data + size);
    if (const auto fault = kCheckedReaders[data[0] % std::size(kCheckedReaders)].read(text)) {
        promise_one_line(*fault, text);
    }
    return 0;
}
