// SPDX-License-Identifier: Apache-2.0
// CRC-32 of ISO 3309, three ways: byte by byte, eight bytes a step through tables, and with what
// the processor has for it. All work on the register of the CRC, which starts as all ones and is
// inverted at the end.
#include <array>
#include <cstring>

#include "steadywarp/tuning/parameterutils.h"

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_acle.h>
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace {

constexpr uint32_t kPolynomial = 0xEDB88320;  // reflected: the highest power is the lowest bit

constexpr std::array<uint32_t, 256> MakeCrcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1u) != 0 ? (crc >> 1) ^ kPolynomial : crc >> 1;
        }
        table[byte] = crc;
    }
    return table;
}

// slices[k][b]: what byte b does to the CRC k zero bytes later; eight of them take eight bytes in
// one step.
using CrcSlices = std::array<std::array<uint32_t, 256>, 8>;
constexpr CrcSlices MakeCrcSlices() {
    CrcSlices slices{};
    slices[0] = MakeCrcTable();
    for (size_t slice = 1; slice < slices.size(); ++slice) {
        for (size_t byte = 0; byte < 256; ++byte) {
            const uint32_t before = slices[slice - 1][byte];
            slices[slice][byte] = slices[0][before & 0xFFu] ^ (before >> 8);
        }
    }
    return slices;
}
constexpr CrcSlices kCrcSlices = MakeCrcSlices();

uint32_t AddSliced(uint32_t crc, unsigned char const* bytes, size_t length) {
    while (length >= 8) {
        uint32_t low = 0;
        uint32_t high = 0;
        std::memcpy(&low, bytes, sizeof low);
        std::memcpy(&high, bytes + 4, sizeof high);
        low ^= crc;
        crc = kCrcSlices[7][low & 0xFFu] ^ kCrcSlices[6][(low >> 8) & 0xFFu] ^
              kCrcSlices[5][(low >> 16) & 0xFFu] ^ kCrcSlices[4][low >> 24] ^
              kCrcSlices[3][high & 0xFFu] ^ kCrcSlices[2][(high >> 8) & 0xFFu] ^
              kCrcSlices[1][(high >> 16) & 0xFFu] ^ kCrcSlices[0][high >> 24];
        bytes += 8;
        length -= 8;
    }
    for (size_t i = 0; i < length; ++i) {
        crc = kCrcSlices[0][(crc ^ bytes[i]) & 0xFFu] ^ (crc >> 8);
    }
    return crc;
}

#if defined(__x86_64__)

// A message is a polynomial over the bits 0 and 1, its CRC what is left of it modulo the one of the
// CRC. 16 bytes that stand n bits before others can be added to those, once they are multiplied by
// x^n modulo the polynomial: half by half, as products of two 64-bit polynomials fit in 16 bytes.

const bool g_multiplies_polynomials = __builtin_cpu_supports("pclmul") != 0;

constexpr size_t kLane = 16;
constexpr size_t kLanes = 4;  // independent products, as one takes a few cycles

// x^n modulo the polynomial, reflected as the message is. The product of two reflected 64-bit
// polynomials comes out one bit low, and so the factor is moved up by one.
constexpr int64_t FoldFactor(unsigned int n) {
    uint32_t power = 0x80000000;  // x^0
    for (unsigned int i = 0; i < n; ++i) {
        power = (power & 1u) != 0 ? (power >> 1) ^ kPolynomial : power >> 1;
    }
    return static_cast<int64_t>(uint64_t{power} << 1);
}
// The factors of the halves of 16 bytes that move by this many bits. A half has its 32 lowest
// powers free, which the reduction gives back.
template <unsigned int Bits>
[[gnu::target("pclmul")]] __m128i Factors() {
    constexpr int64_t kFirst = FoldFactor(Bits + 32);
    constexpr int64_t kSecond = FoldFactor(Bits - 32);
    return _mm_set_epi64x(kSecond, kFirst);
}

[[gnu::target("pclmul")]] __m128i Moved(__m128i lane, __m128i factors) {
    return _mm_xor_si128(_mm_clmulepi64_si128(lane, factors, 0x00),
                         _mm_clmulepi64_si128(lane, factors, 0x11));
}

[[gnu::target("pclmul")]] __m128i LaneAt(unsigned char const* bytes) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(bytes));
}

[[gnu::target("pclmul")]] uint32_t AddByMultiplying(uint32_t crc, unsigned char const* bytes,
                                                    size_t length) {
    constexpr size_t kStep = kLanes * kLane;
    __m128i lanes[kLanes];
    for (size_t i = 0; i < kLanes; ++i) {
        lanes[i] = LaneAt(bytes + i * kLane);
    }
    lanes[0] = _mm_xor_si128(lanes[0], _mm_cvtsi32_si128(static_cast<int>(crc)));
    bytes += kStep;
    length -= kStep;
    const __m128i past_all = Factors<8 * kStep>();
    for (; length >= kStep; bytes += kStep, length -= kStep) {
        for (size_t i = 0; i < kLanes; ++i) {
            lanes[i] = _mm_xor_si128(Moved(lanes[i], past_all), LaneAt(bytes + i * kLane));
        }
    }
    const __m128i past_one = Factors<8 * kLane>();
    __m128i sum = lanes[0];
    for (size_t i = 1; i < kLanes; ++i) {
        sum = _mm_xor_si128(Moved(sum, past_one), lanes[i]);
    }
    for (; length >= kLane; bytes += kLane, length -= kLane) {
        sum = _mm_xor_si128(Moved(sum, past_one), LaneAt(bytes));
    }
    unsigned char rest[kLane];
    std::memcpy(rest, &sum, sizeof rest);
    return AddSliced(AddSliced(0, rest, sizeof rest), bytes, length);
}

uint32_t AddBest(uint32_t crc, unsigned char const* bytes, size_t length) {
    return g_multiplies_polynomials && length >= kLanes * kLane
               ? AddByMultiplying(crc, bytes, length)
               : AddSliced(crc, bytes, length);
}

#elif defined(__aarch64__)

const bool g_has_crc_instructions = (getauxval(AT_HWCAP) & HWCAP_CRC32) != 0;

[[gnu::target("+crc")]] uint32_t AddByInstruction(uint32_t crc, unsigned char const* bytes,
                                                  size_t length) {
    for (; length >= 8; bytes += 8, length -= 8) {
        uint64_t word = 0;
        std::memcpy(&word, bytes, sizeof word);
        crc = __crc32d(crc, word);
    }
    return AddSliced(crc, bytes, length);
}

uint32_t AddBest(uint32_t crc, unsigned char const* bytes, size_t length) {
    return g_has_crc_instructions ? AddByInstruction(crc, bytes, length)
                                  : AddSliced(crc, bytes, length);
}

#else

uint32_t AddBest(uint32_t crc, unsigned char const* bytes, size_t length) {
    return AddSliced(crc, bytes, length);
}

#endif

}  // namespace

const std::array<uint32_t, 256> ParameterBinaryFile::m_crcLookupTable = MakeCrcTable();

uint32_t ParameterBinaryFile::ComputeCRCByTable(unsigned char const* buffer, size_t length) {
    uint32_t crc = 0xFFFFFFFF;
    for (size_t i = 0; i < length; ++i) {
        crc = m_crcLookupTable[(crc ^ buffer[i]) & 0xFFu] ^ (crc >> 8);
    }
    return ~crc;
}

uint32_t ParameterBinaryFile::ComputeCRC(unsigned char const* buffer, size_t length) {
    return ~AddBest(0xFFFFFFFF, buffer, length);
}
