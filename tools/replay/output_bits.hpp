// SPDX-License-Identifier: Apache-2.0
/// @file output_bits.hpp
/// The outputs of a frame to their last bit, for comparing two machines.
///
/// A capture prints fewer digits than a number has; here every number stands as its bits.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "steadywarp/eis_capture.h"

namespace steadywarp::tool {

/// How the numbers of a row are kept in `BitRow::numbers`.
enum class BitKind : uint8_t {
    kInteger,  ///< as they are; a bool is 0 or 1
    kFloat,    ///< bits of a float in the low half
    kDouble,   ///< bits of a double
};

/// One field of one output of one frame.
struct BitRow {
    uint32_t frame_id = 0;
    const char* record = nullptr;  ///< name of the output's record
    const char* field = nullptr;   ///< name within it
    BitKind kind = BitKind::kInteger;
    std::vector<uint64_t> numbers;
};

/// All fields that the outputs among these records have. Of an output that is not valid only that
/// stands there, of a warp that is not enabled nothing.
std::vector<BitRow> bit_rows(const eis_utils_log_data& records);

/// The line that names the columns.
void write_bits_header(std::FILE* file);

/// A line `frame,record,field,kind,number,...`: the kind is `int` with decimal numbers, `float`
/// with 8 hexadecimal digits each, or `double` with 16.
void write_bits(std::FILE* file, const BitRow& row);

}  // namespace steadywarp::tool
