// SPDX-License-Identifier: Apache-2.0
#include "platform/sines.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "support/random.hpp"

namespace {

using platform::Double2;
using platform::kGreatestSmallAngle;

struct Case {
    double greatest;  // of the angles
    double units;     // in the last place; the most in 17 million angles was 0.50400 and 0.56627
};

// Both signs of angles of every size up to the greatest, the greatest itself among them.
template <typename Take>
void ForAngles(double greatest, const Take& take) {
    constexpr int kAngles = 200000;
    steadywarp::test::Random random(7);
    take(greatest);
    for (int i = 1; i < kAngles; ++i) {
        const double size =
            random.once_in(4) ? std::ldexp(greatest, -static_cast<int>(i % 60)) : greatest;
        take(size * random.between(-1.0, 1.0));
    }
}

double UnitsApart(double value, long double truth) {
    int exponent = 0;
    std::frexp(truth, &exponent);
    return static_cast<double>(std::fabs(std::ldexp(value - truth, 53 - exponent)));
}

// `long double` has 64 bits of its own on x86-64, 113 on AArch64.
TEST(Sines, LieNearTheTrueValues) {
    static_assert(std::numeric_limits<long double>::digits >= 64);
    constexpr Case kCases[] = {{0.4, 0.505}, {kGreatestSmallAngle, 0.57}};
    for (const Case& row : kCases) {
        double worst = 0.0;
        ForAngles(row.greatest, [&](double x) {
            Double2 got;
            platform::SineAndCosine(x, got);
            const long double wide = x;
            worst = std::max(
                {worst, UnitsApart(got[0], std::sin(wide)), UnitsApart(got[1], std::cos(wide))});
        });
        EXPECT_LE(worst, row.units) << "up to " << row.greatest;
        EXPECT_GT(worst, 0.49);
    }
}

// FNV-1a of the bits, the same on every processor.
TEST(Sines, HaveTheSameBitsEverywhere) {
    uint64_t hash = 0xCBF29CE484222325u;
    ForAngles(kGreatestSmallAngle, [&](double x) {
        Double2 got;
        platform::SineAndCosine(x, got);
        for (const double value : {got[0], got[1]}) {
            hash = (hash ^ std::bit_cast<uint64_t>(value)) * 0x100000001B3u;
        }
    });
    EXPECT_EQ(hash, 0xD5CAECBFAD253777u);
}

TEST(Sines, OfThreeAnglesAreThoseOfEach) {
    const double beyond = std::nextafter(kGreatestSmallAngle, 1.0);
    const double kAngles[] = {0.0,    -0.0, 5e-324,   -0.25,       kGreatestSmallAngle,
                              beyond, -1e9, HUGE_VAL, std::nan("")};
    const auto bits = [](double value) {
        return std::isnan(value) ? ~uint64_t{0} : std::bit_cast<uint64_t>(value);
    };
    for (const double x : kAngles) {
        for (const double y : kAngles) {
            const double angles[3] = {x, y, 0.125};
            Double2 got[3];
            platform::SinesAndCosines(angles, got);
            for (int i = 0; i < 3; ++i) {
                Double2 alone;
                platform::SineAndCosine(angles[i], alone);
                EXPECT_EQ(bits(got[i][0]), bits(alone[0])) << x << " " << y;
                EXPECT_EQ(bits(got[i][1]), bits(alone[1])) << x << " " << y;
                // None of these is one where the C library's differs.
                EXPECT_EQ(bits(got[i][0]), bits(std::sin(angles[i]))) << angles[i];
                EXPECT_EQ(bits(got[i][1]), bits(std::cos(angles[i]))) << angles[i];
            }
        }
    }
}

}  // namespace
