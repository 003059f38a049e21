// SPDX-License-Identifier: Apache-2.0
#include "validation/warp_input_validation.hpp"

#include <cmath>

#include "base/eis_log.hpp"

namespace steadywarp {
namespace {

constexpr uint32_t kMotionVectorsMagic = 0x100CE555;
constexpr uint32_t kHeaderWords = 3;
constexpr uint32_t kWordsPerVector = 4;
constexpr uint32_t kMaxVectors = 768;
// The check of the size counts the header's words in.
constexpr uint32_t kMaxVectorWords = kMaxVectors * kWordsPerVector + kHeaderWords;
constexpr uint32_t kMaxModelType = 2;
constexpr int32_t kInvalidScore = -4096;
constexpr int32_t kLowestRobustness = -3;
constexpr int32_t kHighestRobustness = 4;

// The `width` low bits of `bits` as two's complement.
constexpr int32_t sign_extended(uint32_t bits, uint32_t width) {
    const uint32_t sign = 1u << (width - 1);
    const uint32_t value = bits & ((sign << 1) - 1);
    return static_cast<int32_t>(value ^ sign) - static_cast<int32_t>(sign);
}

bool is_valid_buffer(const is_motion_vectors_input& input, uint32_t frame_id,
                     uint32_t& num_vectors) {
    const uint32_t size = input.motion_vectors_buff_size_byte;
    // The magic is read only if the buffer holds it.
    const uint32_t magic = size >= sizeof(uint32_t) ? input.motion_vectors[0] : 0;
    if (magic != kMotionVectorsMagic) {
        EIS_ERR("IS0003", "frame_id %u: Invalid motion vectors buffer: 0x%8x, 0x%8x", frame_id,
                kMotionVectorsMagic, magic);
        return false;
    }
    if (size % 4 != 0 || size < 12 || (size + 4) % 16 != 0) {
        EIS_ERR("IS0003", "frame_id %u: Invalid buffer size: %u [bytes]", frame_id, size);
        return false;
    }
    num_vectors = (size / 4 - kHeaderWords) / kWordsPerVector;
    if (num_vectors != input.motion_vectors[2]) {
        EIS_ERR("IS0003",
                "frame_id %u: Invalid number of motion vectors (expected, actual): %u, %u",
                frame_id, num_vectors, input.motion_vectors[2]);
        return false;
    }
    if (size / 4 > kMaxVectorWords) {
        EIS_ERR("IS0003",
                "frame_id %u: Invalid number of motion vectors, exceeded expected maximal number "
                "of motion vectors (maximal value, actual): %u, %u",
                frame_id, kMaxVectors, num_vectors);
        return false;
    }
    return true;
}

uint32_t count_bad_vectors(const uint32_t* words, uint32_t num_vectors, uint32_t frame_id) {
    uint32_t faults = 0;
    for (uint32_t i = 0; i < num_vectors; ++i) {
        const uint32_t word = words[kHeaderWords + kWordsPerVector * i + 3];
        const int32_t score = sign_extended(word, 13);
        const int32_t robustness = sign_extended(word >> 13, 4);
        bool is_bad = false;
        if (score == kInvalidScore) {
            EIS_ERR("IS0003", "frame_id %u: Invalid score value for MV #%u: %d, 0x%8x", frame_id, i,
                    score, word);
            is_bad = true;
        }
        if (robustness < kLowestRobustness || robustness > kHighestRobustness) {
            EIS_ERR("IS0003", "frame_id %u: Invalid robustness value for MV #%u: %d, 0x%8x",
                    frame_id, i, robustness, word);
            is_bad = true;
        }
        faults += is_bad ? 1 : 0;
    }
    return faults;
}

}  // namespace

bool is_valid_sat_matrix(const NcLibWarp& sat, bool is_sat_enabled, uint32_t frame_id) {
    constexpr float kLeastLastElement = 1e-5f;
    if (!sat.grid.enable && !sat.matrices.enable) {
        return true;
    }
    if (!is_sat_enabled) {
        EIS_ERR("IS0013",
                "On init SAT was not configured to be enabled but SAT was passes as input on frame "
                "#%u. SAT will be ignored",
                frame_id);
    }
    if (!sat.matrices.enable) {
        EIS_ERR("IS0013",
                "Input not supported, use only single SAT matrix - grid is not supported");
        return false;
    }
    if (sat.matrices.numRows != 1 || sat.matrices.numColumns != 1) {
        EIS_ERR("IS0013", "Input not supported, use only single SAT matrix");
        return false;
    }
    if (sat.grid.enable) {
        EIS_ERR("IS0013", "Input not supported, use only single SAT matrix, grid is ignored");
    }
    if (sat.matrices.perspMatrices == nullptr) {
        EIS_ERR("IS0013", "NULL pointer: sat->matrices.perspMatrices");
        return false;
    }
    if (std::fabs(sat.matrices.perspMatrices[0].T[8]) < kLeastLastElement) {
        EIS_ERR("IS0013", "Invalid last element in SAT - devision by zero");
        return false;
    }
    return true;
}

bool is_valid_motion_vectors(const is_motion_vectors_input* input, uint32_t frame_id,
                             bool first_frame) {
    if (input == nullptr) {
        EIS_ERR("IS0003", "frame_id %u: NULL pointer", frame_id);
        return false;
    }
    if (input->motion_vectors == nullptr) {
        EIS_ERR("IS0003", "frame_id %u: NULL pointer: in->motion_vectors", frame_id);
        return false;
    }
    if (input->motion_vectors_buff_size_byte == 0) {
        EIS_ERR("IS0003", "frame_id %u: No motion vectors, motion_vectors_buff_size_byte is 0",
                frame_id);
        return false;
    }
    if (first_frame) {
        return true;
    }
    uint32_t num_vectors = 0;
    if (!is_valid_buffer(*input, frame_id, num_vectors)) {
        return false;
    }
    if (num_vectors == 0) {
        EIS_ERR("IS0003",
                "frame_id %u: Invalid number of motion vectors, 0 motion vectors received",
                frame_id);
    }
    uint32_t faults = 0;
    if (input->motion_vectors[1] > kMaxModelType) {
        EIS_ERR("IS0003", "frame_id %u: Invalid matrix model type: %u", frame_id,
                input->motion_vectors[1]);
        ++faults;
    }
    faults += count_bad_vectors(input->motion_vectors, num_vectors, frame_id);
    if (faults != 0) {
        EIS_ERR("IS0003", "frame_id %u: Total number of MV's with errors: %u", frame_id, faults);
        return false;
    }
    return true;
}

}  // namespace steadywarp
