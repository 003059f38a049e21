// SPDX-License-Identifier: Apache-2.0
// The simulated camera's optics and motions, before any picture is drawn.
#include <gtest/gtest.h>

#include "simulator/optics.hpp"
#include "simulator/profiles.hpp"
#include "simulator/random.hpp"

namespace steadywarp::tool {
namespace {

LensModel model() {
    LensModel lens;
    lens.width = 1280;
    lens.height = 720;
    lens.focal_px = 1000.0;
    lens.distortion_px = 20.0;
    return lens;
}

TEST(Optics, WayThereIsUndoneByTheWayBack) {
    const LensModel lens = model();
    const LensState state = {{12.0, -7.5}, 0.97};
    Random random(5);
    for (int i = 0; i < 1000; ++i) {
        const Point2 u = {1279.0 * random.uniform(), 719.0 * random.uniform()};
        const Point2 back = to_recorded(lens, state, to_ideal(lens, state, u));
        EXPECT_NEAR(back.x, u.x, 1e-6);
        EXPECT_NEAR(back.y, u.y, 1e-6);
    }
    const Point2 corner = undistort(lens, {0.0, 0.0});
    EXPECT_NEAR(std::hypot(corner.x, corner.y), 20.0, 0.1);
    EXPECT_LT(corner.x, 0.0);
    const Point2 middle = to_ideal(lens, {{3.0, 4.0}, 1.0}, {639.5, 359.5});
    EXPECT_NEAR(middle.x, 642.5, 1e-4);
    EXPECT_NEAR(middle.y, 363.5, 1e-4);
}

// A lens that follows all of the shake keeps a far point where it is, to first order.
TEST(Optics, LensThatFollowsHoldsThePicture) {
    MotionProfile profile;
    profile.rms_rate = 0.05;
    profile.low_hz = 3.0;
    const Motion motion(profile);
    LensModel lens_model = model();
    lens_model.distortion_px = 0.0;
    const Lens lens(lens_model, {1.0, 2.0, 0.0, 0.3}, motion);
    double worst = 0.0;
    double worst_without = 0.0;
    for (double t = 0.0; t < 3.0; t += 0.01) {
        const Vector3 seen = multiply(transpose(motion.orientation(t)), Vector3{0.0, 0.0, 1.0});
        const Point2 ideal = {639.5 + 1000.0 * seen[0] / seen[2],
                              359.5 + 1000.0 * seen[1] / seen[2]};
        const Point2 recorded = to_recorded(lens_model, lens.at(t), ideal);
        worst = std::max(worst, std::hypot(recorded.x - 639.5, recorded.y - 359.5));
        worst_without = std::max(worst_without, std::hypot(ideal.x - 639.5, ideal.y - 359.5));
    }
    EXPECT_LT(worst, 0.05 * worst_without);
    EXPECT_GT(worst_without, 2.0);
}

TEST(Profiles, AreWhatTheirNamesSay) {
    // name, RMS rate of pitch from and to, whether it turns by more than 30 degrees
    const struct {
        const char* name;
        double least;
        double most;
        bool turns;
    } rows[] = {{"tripod", 0.0005, 0.0012, false}, {"hand-held", 0.03, 0.05, false},
                {"walking", 0.06, 0.09, false},    {"running", 0.2, 0.32, false},
                {"panning", 0.03, 0.05, true},     {"whip", 0.03, 0.05, true},
                {"vehicle", 0.06, 0.1, false}};
    ASSERT_EQ(std::size(rows), profile_names().size());
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(profile_names()[i], rows[i].name);
        const Motion motion(motion_profile(rows[i].name, 3, 10.0));
        double squares = 0.0;
        double turn = 0.0;
        for (int k = 0; k < 10000; ++k) {
            const Vector3 rate = motion.angle_rates(k * 1e-3);
            squares += rate[0] * rate[0] * 1e-4;
            turn = std::max(turn, std::abs(motion.angles(k * 1e-3)[1]));
        }
        EXPECT_GT(std::sqrt(squares), rows[i].least) << rows[i].name;
        EXPECT_LT(std::sqrt(squares), rows[i].most) << rows[i].name;
        EXPECT_EQ(turn > 0.65, rows[i].turns) << rows[i].name << " " << turn;
    }
}

}  // namespace
}  // namespace steadywarp::tool
