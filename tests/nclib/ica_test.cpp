// SPDX-License-Identifier: Apache-2.0
// Programs of the warp hardware, decoded again: every number must come back to within the step of
// its format, and every field from where it was taken.
#include <algorithm>
#include <cstring>

#include "nclib/Logic/Process_ICA/pack.hpp"
#include "nclib/Logic/Process_ICA/passes.hpp"
#include "nclib/Logic/WarpAdjust/warp_copy.hpp"
#include "steadywarp/nclib_ica.h"
#include "support/frame_fixtures.hpp"

namespace {

using namespace warp_test;

double Decoded(int32_t mantissa, int32_t exponent, uint32_t version) {
    return std::ldexp(mantissa, exponent - (version >= 30 ? 17 : 15));
}

TEST(MantissaAndExponent, ComeBackToWithinHalfAStep) {
    Rng rng(51);
    for (const uint32_t version : {10u, 20u, 30u, 40u}) {
        const int bits = version >= 30 ? 17 : 15;
        uint32_t at_powers = 0;
        for (int round = 0; round < 40000; ++round) {
            const int power = static_cast<int>(rng.Below(64)) - 33;
            float value = std::ldexp(rng.Uniform(1, 2), power);
            if (round % 4 == 0) {
                // Next to a power of two, where the exponent is decided by the last bit.
                value = std::ldexp(1.0f, power);
                for (uint32_t steps = rng.Below(4); steps > 0; --steps) {
                    value = std::nextafter(value, round % 8 == 0 ? 0.0f : 1e30f);
                }
                ++at_powers;
            }
            value = rng.Below(2) != 0 ? -value : value;
            if (std::fabs(value) >= 0x1p31f * (1 - std::ldexp(1.0f, -bits - 1))) {
                continue;
            }
            int32_t mantissa, exponent;
            ICA_CalcMantissaExp(value, version, &mantissa, &exponent);
            ASSERT_LT(std::abs(mantissa), 1 << bits) << value;
            ASSERT_TRUE(exponent >= -32 && exponent <= 31) << value;
            const double step = std::ldexp(1.0, exponent - bits);
            ASSERT_LE(std::fabs(Decoded(mantissa, exponent, version) - static_cast<double>(value)),
                      step * 0.5000001)
                << value;
            // All bits of the mantissa are used, or one less next to a power of two.
            ASSERT_GE(std::abs(mantissa), 1 << (bits - 1)) << value;
            // As one word.
            const uint32_t word = nclib::PackedWord(value, version);
            const int32_t low = static_cast<int32_t>(word << (31 - bits)) >> (31 - bits);
            const int32_t high = static_cast<int32_t>(word << (25 - bits)) >> 26;
            ASSERT_EQ(low, mantissa);
            ASSERT_EQ(high, exponent);
        }
        EXPECT_EQ(at_powers, 10000u);
    }
}

TEST(MantissaAndExponent, EndOfTheRange) {
    struct Row {
        float value;
        uint32_t version;
        int32_t mantissa, exponent;
        bool is_reported;
    };
    const Row kRows[] = {
        {0.0f, 10, 0, 0, false},
        {1.0f, 20, 1 << 14, 1, false},
        {1.0f, 30, 1 << 16, 1, false},
        {-8.0f, 30, -(1 << 16), 4, false},
        {0x1p-33f, 10, 1 << 14, -32, false},
        {0x1p-34f, 10, 0, 0, false},
        {-0x1p-140f, 40, 0, 0, false},
        {0x1.fp30f, 10, 0x7C00, 31, false},
        {0x1p31f, 10, 32767, 31, true},
        {-3e38f, 30, -131071, 31, true},
        {std::numeric_limits<float>::infinity(), 40, 131071, 31, true},
        {std::numeric_limits<float>::quiet_NaN(), 40, 0, 0, false},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.value);
        LogCapture log;
        int32_t mantissa = 1, exponent = 1;
        ICA_CalcMantissaExp(row.value, row.version, &mantissa, &exponent);
        EXPECT_EQ(mantissa, row.mantissa);
        EXPECT_EQ(exponent, row.exponent);
        EXPECT_EQ(log.Messages().find("is greater than 31, value ") != std::string::npos,
                  row.is_reported);
    }
}

TEST(PackedGrid, ComesBackToWithinHalfAStep) {
    struct Row {
        uint32_t version, rows, columns, steps, high_resolution;
        NcLibWarpGridExtrapolationType type;
    };
    constexpr Row kRows[] = {{10, 25, 33, 8, 0, kCorners}, {10, 25, 33, 8, 0, kNone},
                             {20, 27, 35, 8, 0, kRing},    {30, 27, 35, 16, 0, kRing},
                             {30, 51, 67, 16, 1, kRing},   {40, 51, 67, 16, 1, kRing}};
    Rng rng(52);
    for (const Row& row : kRows) {
        Grid grid(row.rows, row.columns, row.type);
        grid.Shake(rng, 300);
        grid.nodes[40] = {50000, -50000};
        // In pixels of a frame of 4096 by 1536.
        grid.Change_([](NcLibWarpGridCoord p) { return NcLibWarpGridCoord{p.x / 2, p.y / 4}; });
        grid.record.transformDefinedOn = {4096, 1536};
        std::vector<int32_t> x(3417, 12345), y(3417, 12345);
        uint32_t high_resolution = 9;
        ASSERT_EQ(NcLibIcaPackGrid(&grid.record, x.data(), y.data(), &high_resolution, row.version),
                  NC_LIB_SUCCESS);
        EXPECT_EQ(high_resolution, row.high_resolution);
        const size_t nodes = grid.nodes.size();
        const double half = 0.5 / row.steps + 1e-3;
        for (size_t i = 0; i < nodes; ++i) {
            if (i != 40) {
                ASSERT_NEAR(x[i] / double(row.steps), 2.0 * grid.nodes[i].x, half);
                ASSERT_NEAR(y[i] / double(row.steps), 4.0 * grid.nodes[i].y, half);
            }
        }
        EXPECT_EQ(x[40], row.steps == 16 ? 0x1FFFF : 0xFFFF);
        EXPECT_EQ(y[40], row.steps == 16 ? -0x20000 : -0x10000);
        if (row.version != 10) {
            EXPECT_EQ(nodes == 3417 ? 12345 : x[nodes], 12345);
            continue;
        }
        // Explicit corners as nodes are; others continue the nodes: 4a - 2b - 2c + d.
        for (size_t i = 0; i < 4; ++i) {
            double expected = 2.0 * grid.corners[i].x * 8;
            if (row.type == kNone) {
                const size_t at[4][4] = {
                    {0, 1, 33, 34}, {32, 31, 65, 64}, {792, 793, 759, 760}, {824, 823, 791, 790}};
                const auto& n = at[i];
                expected = std::clamp(4.0 * x[n[0]] - 2.0 * x[n[1]] - 2.0 * x[n[2]] + x[n[3]],
                                      -65536.0, 65535.0);
            }
            EXPECT_NEAR(x[nodes + i], expected, 0.51) << i;
        }
        EXPECT_EQ(x[nodes + 4], 12345);
    }
    // A disabled grid is no business of the hardware's.
    Grid off(27, 35, kRing);
    off.record.enable = false;
    int32_t untouched = 5;
    EXPECT_EQ(NcLibIcaPackGrid(&off.record, &untouched, &untouched, nullptr, 30), NC_LIB_SUCCESS);
    EXPECT_EQ(untouched, 5);
}

TEST(PackedMatrices, ComeBackOnTheVirtualDomain) {
    Rng rng(53);
    Matrices zones(3, 3);
    zones.Shake(rng, 1.0f);
    for (auto& matrix : zones.array) {
        for (float& element : matrix.T) {
            element *= 2.0f;  // the last element becomes 2 and is divided out
        }
    }
    zones.record.transformDefinedOn = {4096, 1536};
    for (const uint32_t version : {10u, 30u}) {
        int32_t m[72], e[72];
        ASSERT_EQ(NcLibIcaPackMatrices(&zones.record, m, e, version), NC_LIB_SUCCESS);
        for (size_t i = 0; i < 9; ++i) {
            H decoded;
            for (size_t k = 0; k < 8; ++k) {
                decoded[k] = Decoded(m[8 * i + k], e[8 * i + k], version);
            }
            decoded[8] = 1;
            const NcLibPerspTransformSingle& own = zones.array[i];
            for (const P p : {P{0, 0}, P{4000, -3000}, P{-2000, 1000}}) {
                const P pixels = Apply(own, {p.x / 2, p.y / 4});
                EXPECT_LT(Distance(Apply(decoded, p), {pixels.x * 2, pixels.y * 4}),
                          version == 10 ? 0.3 : 0.08);
            }
        }
    }
}

struct Program {
    ICA_Tessaline tuning;
    std::unique_ptr<NcLibIcaGrid> ica = std::make_unique<NcLibIcaGrid>();
    std::unique_ptr<NcLibIcaWarp> warp = std::make_unique<NcLibIcaWarp>();
    IcaParameters parameters{};
    IcaPassParameters passes[4] = {};
    LmcPassParameters_680 lmc[4] = {};
    NcLibIcaLmcPass motion[4] = {};
    NcLibIcaContext context{2, {ICA_IMAGE_FORMAT_TILED, ICA_IMAGE_FORMAT_LINEAR}, motion};
    Grid grid{27, 35, kRing};
    Matrices matrices;

    Program() {
        NcLibChipInfo::Set(kChip40, 0);
        // Every byte of the tuning its own.
        auto* bytes = reinterpret_cast<unsigned char*>(&tuning);
        for (size_t i = 0; i < sizeof tuning; ++i) {
            bytes[i] = static_cast<unsigned char>(i * 7 + 3);
        }
        NcLibWarpGridToIcaGrid(&grid.record, ica.get());
        SetDefaultsForIcaStruct(&parameters, 0);
    }
    int32_t Run(uint32_t version, const NcLibWarpGrid* flow = nullptr,
                const GeoLibIcaPassMapping* mapping = nullptr) {
        return ICA_ProcessNcLib(&tuning, ica.get(), flow, &matrices.record, mapping, &context,
                                flow != nullptr, version, warp.get(), &parameters, passes, lmc);
    }
};

TEST(IcaProgram, TakesTheTuningByName) {
    Program program;
    ASSERT_EQ(program.Run(30), NC_LIB_SUCCESS);
    const ICA_Tessaline& t = program.tuning;
    const IcaParameters& p = program.parameters;
    EXPECT_EQ(p.enable, t.enable);
    EXPECT_EQ(p.geometryEnable, t.geometryEnable);
    EXPECT_EQ(p.lumaEnable, t.lumaEnable);
    EXPECT_EQ(p.chromaEnable, t.chromaEnable);
    EXPECT_EQ(p.lumaInterpolation, t.lumaInterpolation);
    EXPECT_EQ(p.chromaInterpolation, t.chromaInterpolation);
    EXPECT_EQ(0, std::memcmp(p.interpolationCoefs0, t.interpolationCoefs0, 32));
    EXPECT_EQ(0, std::memcmp(p.interpolationCoefs1, t.interpolationCoefs1, 32));
    EXPECT_EQ(0, std::memcmp(p.interpolationCoefs2, t.interpolationCoefs2, 32));
    EXPECT_EQ(p.perspectiveEnable, 1u);
    EXPECT_EQ(p.perspectiveRows * p.perspectiveColumns, 1u);
    EXPECT_EQ(p.lmcPassSettings[0][0], 0u);
    EXPECT_EQ(program.warp->lmcTable[0], 0);
    // What only the newest version knows.
    program.motion[1] = {1.5f, -0.26f, 2.25f, -3.9f, 0.3f, 0.7f};
    ASSERT_EQ(program.Run(40), NC_LIB_SUCCESS);
    EXPECT_EQ(0, std::memcmp(program.warp->lmcTable, t.lmcTable, sizeof t.lmcTable));
    EXPECT_EQ(0, std::memcmp(p.lmcPassSettings, t.lmcPassSettings, 16));
    EXPECT_EQ(p.lmcPassSettings[2][0], 0u);
    const LmcPassParameters_680 tiled = program.lmc[0], linear = program.lmc[1];
    EXPECT_EQ(tiled.sortFetchEnable, 1u);
    EXPECT_EQ(tiled.sortFetchDepth, 20u);
    EXPECT_EQ(tiled.sortFetchTile, 3u);
    EXPECT_EQ(linear.sortFetchEnable + linear.sortFetchDepth + linear.sortFetchTile, 0u);
    EXPECT_EQ(linear.offsetX, 96);
    EXPECT_EQ(linear.offsetY, -16);  // -16.64, cut
    EXPECT_EQ(linear.stepX, 36);
    EXPECT_EQ(linear.stepY, -62);  // -62.4, cut
    EXPECT_EQ(linear.weightX, 0.3f);
    EXPECT_EQ(linear.weightY, 0.7f);
    EXPECT_EQ(0, std::memcmp(linear.limits, t.lmcLimits, 12));
}

TEST(IcaProgram, TakesTheFlowsGridOrElseTheRecord) {
    Program program;
    // The flow's grid is rounded, the record's is cut.
    program.grid.nodes[100] = {100.06f, -100.06f};
    program.ica->grid[100] = {100.06f, -100.06f};
    ASSERT_EQ(program.Run(30, &program.grid.record), NC_LIB_SUCCESS);
    EXPECT_EQ(program.warp->gridX[100], 1601);
    EXPECT_EQ(program.warp->gridY[100], -1601);
    ASSERT_EQ(program.Run(30), NC_LIB_SUCCESS);
    EXPECT_EQ(program.warp->gridX[100], 1600);
    EXPECT_EQ(program.warp->gridY[100], -1600);
    EXPECT_EQ(program.parameters.gridEnable, 1u);
    EXPECT_EQ(program.parameters.gridHighResolution, 0u);
    ASSERT_EQ(program.Run(20), NC_LIB_SUCCESS);
    EXPECT_EQ(program.warp->gridX[100], 800);
    program.ica->geometry = 2;
    program.ica->grid[3416] = {3, 5};
    ASSERT_EQ(program.Run(30), NC_LIB_SUCCESS);
    EXPECT_EQ(program.warp->gridX[3416], 48);
    EXPECT_EQ(program.warp->gridY[3416], 80);
    EXPECT_EQ(program.parameters.gridHighResolution, 1u);
    // Without a ring four corners follow: explicit ones, or what stands behind the nodes.
    program.ica->geometry = 0;
    program.ica->grid[827] = {-7, 9};
    program.ica->gridExtrapolate[2] = {-5, 6};
    ASSERT_EQ(program.Run(10), NC_LIB_SUCCESS);
    EXPECT_EQ(program.warp->gridX[827], -56);
    program.ica->extrapolatedCorners = 1;
    ASSERT_EQ(program.Run(10), NC_LIB_SUCCESS);
    EXPECT_EQ(program.warp->gridX[827], -40);
    EXPECT_EQ(program.warp->gridY[827], 48);
    program.ica->enable = 0;
    program.matrices.record.enable = false;
    ASSERT_EQ(program.Run(30), NC_LIB_SUCCESS);
    EXPECT_EQ(program.parameters.gridEnable, 0u);
    EXPECT_EQ(program.parameters.gridHighResolution, 0u);
    EXPECT_EQ(program.parameters.perspectiveEnable, 0u);
}

TEST(IcaProgram, FillsTheRegistersOfEachPass) {
    const NcLibROI whole = {{0, 0}, {1, 1}}, half = {{0.25f, 0.125f}, {0.5f, 0.75f}};
    const GeoLibIcaPassMapping mapping = {7,  // more than there are
                                          {{{1920, 1081}, {1920, 1081}, {100, 50}, whole, whole},
                                           {{1920, 1080}, {960, 541}, {1920, 1080}, half, whole},
                                           {{4097, 64}, {4097, 64}, {1, 1}, whole, whole},
                                           {{33, 20}, {33, 20}, {1, 1}, whole, half}}};
    Program program;
    ASSERT_EQ(program.Run(30, nullptr, &mapping), NC_LIB_SUCCESS);
    const IcaPassParameters* p = program.passes;
    EXPECT_EQ(p[0].inputLastColumn, 1919u);
    EXPECT_EQ(p[0].inputLastRow, 1080u);
    EXPECT_EQ(p[0].outputLastRow, 1080u);
    EXPECT_EQ(p[0].outputHalfWidth, 960u);
    EXPECT_EQ(p[0].outputHalfHeight, 540u);
    EXPECT_EQ(p[0].outputWidth, 1920u);
    EXPECT_EQ(p[0].outputHeight, 1081u);
    EXPECT_EQ(p[0].geometry.referenceWidthFixed, 99u * 32);
    EXPECT_EQ(p[0].geometry.referenceHeightFixed, 49u * 32);
    EXPECT_EQ(p[0].resample, 1u);
    // 14 less 11, 13 and 6 bits, the last capped.
    EXPECT_EQ(p[0].geometry.coordinateShift, 3);
    EXPECT_EQ(p[2].geometry.coordinateShift, 1);
    EXPECT_EQ(p[3].geometry.coordinateShift, 7);
    // Ratios of 1/2 and 3/4, of 2 and 4/3.
    EXPECT_EQ(p[1].geometry.windowRatioX, nclib::PackedWord(0.5f, 30));
    EXPECT_EQ(p[1].geometry.windowRatioY, nclib::PackedWord(0.75f, 30));
    EXPECT_EQ(p[3].geometry.windowRatioX, nclib::PackedWord(2.0f, 30));
    ASSERT_EQ(program.Run(20, nullptr, &mapping), NC_LIB_SUCCESS);
    EXPECT_EQ(p[0].geometry.coordinateShift, 2);
    // A pass that only moves the picture needs no resampling, if it does no more than that.
    program.parameters.chromaTranslationOnly = 1;
    LogCapture log;
    ASSERT_EQ(program.Run(30, nullptr, &mapping), NC_LIB_SUCCESS);
    EXPECT_EQ(p[0].resample, 0u);
    EXPECT_EQ(p[0].geometry.coordinateShift, 0);
    EXPECT_EQ(p[1].resample, 1u);
    EXPECT_EQ(p[3].resample, 1u);
    EXPECT_EQ(log.Messages(),
              "No scale or zoom should be set in translation-only mode: zoom 1, scale 1\n"
              "No scale or zoom should be set in translation-only mode: zoom 1, scale 0");
}

TEST(IcaDefaults, InterpolateByTheKernel) {
    IcaParameters p;
    std::memset(&p, 0xAB, sizeof p);
    SetDefaultsForIcaStruct(&p, 1);
    EXPECT_EQ(p.enable + p.geometryEnable + p.lumaEnable + p.chromaEnable, 4u);
    EXPECT_EQ(p.gridEnable + p.perspectiveEnable + p.lumaTranslationOnly + p.lumaInterpolation, 0u);
    // Entry i is the kernel at i/32 of a pixel, in 1/4096.
    for (int i = 1; i < 16; ++i) {
        const double t = i / 32.0;
        EXPECT_NEAR(static_cast<int16_t>(p.interpolationCoefs0[i]),
                    2048 * (-t * t * t + 2 * t * t - t), 0.51);
        EXPECT_NEAR(p.interpolationCoefs1[i], 2048 * (3 * t * t * t - 5 * t * t + 2), 0.51);
        EXPECT_NEAR(p.interpolationCoefs2[i], 2048 * (-3 * t * t * t + 4 * t * t + t), 0.51);
    }
    EXPECT_EQ(p.interpolationCoefs0[0], 0);
    EXPECT_EQ(p.interpolationCoefs1[0], 2304);
    EXPECT_EQ(p.interpolationCoefs2[0], 65280);
    SetDefaultsForIcaStruct(&p, 0);
    EXPECT_EQ(p.enable + p.geometryEnable + p.lumaEnable + p.chromaEnable, 0u);
}

}  // namespace
