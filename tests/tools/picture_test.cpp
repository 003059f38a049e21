// SPDX-License-Identifier: Apache-2.0
// Pictures of the simulated town: what the stabilizer makes of them must look like pictures that a
// camera without shake and with a global shutter would have taken.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "analysis/orientation.hpp"
#include "render/warped_picture.hpp"
#include "simulator/capture.hpp"
#include "simulator/profiles.hpp"
#include "simulator/renderer.hpp"
#include "support/similarity.hpp"
#include "track/edge_bow.hpp"
#include "track/picture_tracker.hpp"

namespace steadywarp::test {
namespace {

using namespace tool;

constexpr uint32_t kWidth = 640;
constexpr uint32_t kHeight = 360;
constexpr double kFocal = 500.0;

LensModel lens_model() {
    LensModel lens;
    lens.width = kWidth;
    lens.height = kHeight;
    lens.focal_px = kFocal;
    return lens;
}

Camera small_camera() {
    Camera camera = built_in_camera();
    is_init_sensor_data& sensor = camera.sensors[0];
    camera.common.output_width = kWidth;
    camera.common.output_height = kHeight;
    sensor.input_width = kWidth;
    sensor.input_height = kHeight;
    for (uint32_t* side :
         {&sensor.ife_input_frame_width, &sensor.ife_input_frame_undistorted_width}) {
        *side = kWidth;
    }
    for (uint32_t* side :
         {&sensor.ife_input_frame_height, &sensor.ife_input_frame_undistorted_height}) {
        *side = kHeight;
    }
    sensor.image_sensor_crop = {kWidth, kHeight, kWidth, kHeight, 0, 0};
    return camera;
}

/// The picture of a still camera that looks along `to_world`, through the window of the output.
Picture still_picture(const Scene& scene, const Matrix3& to_world, const Vector3& position,
                      double zoom) {
    LensModel model = lens_model();
    model.focal_px *= zoom;
    const Motion nothing(motion_profile("tripod", 1, 1.0));
    const Lens lens(model, {}, nothing);
    Picture out;
    take_picture(
        scene,
        [&](double) {
            return Pose{to_world, position};
        },
        lens, {0.0, 0.0}, out);
    return out;
}

TEST(Pictures, StabilizedFrameIsThatOfAStillCamera) {
    const Camera camera = small_camera();
    const Motion motion(motion_profile("running", 4, 3.0));
    CaptureTiming timing;
    timing.seconds = 2.5;
    timing.frame = {4000, 25000};
    const AxisMap axes = camera_axes(camera.sensors[0]);
    const auto capture = simulate_capture(motion, timing, axes);
    ASSERT_TRUE(capture.ok());
    const auto stabilizer = Stabilizer::create(camera);
    ASSERT_TRUE(stabilizer);
    const Lens lens(lens_model(), {}, motion);
    const Scene scene = draw_scene(4, 1000, {true, true, true, true, true, true});
    const WarpFrame frame = warp_frame(camera, stabilizer->windows());
    double worst = 1.0;
    double best_before = 0.0;
    for (const Frame& f : capture.value().frames.frames) {
        const FrameWarp warp = stabilizer->run(f, capture.value().frames.period_us,
                                               {capture.value().gyro.samples, {}, {}});
        ASSERT_TRUE(warp.valid) << f.id;
        if (f.id < 60 || f.id % 5 != 0) {
            continue;
        }
        const double first = (static_cast<double>(f.sof_us - timing.start_us) - 2000.0) * 1e-6;
        Picture in;
        take_picture(scene, poses_of(motion), lens, {first, 0.025}, in);
        Picture out;
        draw_warped(in, warp, frame, Sampling::kBicubic, out);
        // The matrix takes output directions to those of the frame's middle row.
        const Vector3 c = correction_angles(warp.stabilization, camera, 0);
        const Matrix3 turn =
            multiply(multiply(rotation_x(c[0]), rotation_y(c[1])), rotation_z(c[2]));
        const double middle = first + 0.0125;
        const Picture ideal = still_picture(scene, multiply(motion.orientation(middle), turn),
                                            motion.position(middle), 1.0 / frame.step_x);
        worst = std::min(worst, similarity(out.planes[0], ideal.planes[0], 8));
        Picture cropped;
        draw_warped(in, no_warp(camera, stabilizer->windows()), frame, Sampling::kBicubic, cropped);
        best_before = std::max(best_before, similarity(cropped.planes[0], ideal.planes[0], 8));
    }
    std::printf("similarity to the ideal picture: at least %.3f stabilized, at most %.3f before\n",
                worst, best_before);
    EXPECT_GT(worst, 0.93);
    EXPECT_LT(best_before, 0.6);
}

/// Upright bars all around: every edge in it is straight, whatever a camera does at rest.
Scene bars() {
    Scene scene;
    scene.face_size = 1000;
    for (Picture& face : scene.faces) {
        face.resize(scene.face_size, scene.face_size);
        for (uint32_t y = 0; y < scene.face_size; ++y) {
            for (uint32_t x = 0; x < scene.face_size; ++x) {
                const double wave = 1500.0 * std::sin(2.0 * kPi * x / 90.0);
                face.planes[0].row(y)[x] =
                    static_cast<uint8_t>(128.0 + std::clamp(wave, -90.0, 90.0));
            }
        }
        for (size_t p = 1; p < 3; ++p) {
            std::fill(face.planes[p].samples.begin(), face.planes[p].samples.end(), uint8_t{128});
        }
    }
    return scene;
}

/// Value below which a part of the sorted values lies.
double ranked(std::vector<double> values, double part) {
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(part * static_cast<double>(values.size() - 1))];
}

void add_bows(const Picture& picture, std::vector<double>& bows) {
    for (const EdgeBow& edge : measure_bows(picture.planes[0])) {
        bows.push_back(edge.bow_px);
    }
}

// A vibration that bends upright lines by pixels: what comes out has them straight.
TEST(Pictures, LinesAreStraightUnderVibration) {
    Camera camera = small_camera();
    camera.sensors[0].tuning.top.gyro_frequency = 1000;
    MotionProfile profile;
    profile.rms_rate = 0.0;
    profile.bands = {{9.0, 14.0, {0.1, 1.0, 0.1}, 12}};
    const Motion motion(profile);
    CaptureTiming timing;
    timing.seconds = 1.5;
    timing.frame = {4000, 30000};
    timing.gyro_hz = 1000;
    const auto capture = simulate_capture(motion, timing, camera_axes(camera.sensors[0]));
    ASSERT_TRUE(capture.ok());
    const auto stabilizer = Stabilizer::create(camera);
    ASSERT_TRUE(stabilizer);
    const Lens lens(lens_model(), {}, motion);
    const Scene scene = bars();
    const WarpFrame frame = warp_frame(camera, stabilizer->windows());
    std::vector<double> before;
    std::vector<double> after;
    for (const Frame& f : capture.value().frames.frames) {
        const FrameWarp warp = stabilizer->run(f, capture.value().frames.period_us,
                                               {capture.value().gyro.samples, {}, {}});
        ASSERT_TRUE(warp.valid) << f.id;
        const double first = (static_cast<double>(f.sof_us - timing.start_us) - 2000.0) * 1e-6;
        Picture in;
        take_picture(scene, poses_of(motion), lens, {first, 0.03}, in);
        Picture out;
        draw_warped(in, warp, frame, Sampling::kBicubic, out);
        add_bows(in, before);
        add_bows(out, after);
    }
    ASSERT_GT(before.size(), 200u);
    ASSERT_GT(after.size(), 200u);
    std::printf(
        "bow of upright edges: median %.2f px before, %.2f px after; largest %.2f px after\n",
        ranked(before, 0.5), ranked(after, 0.5), ranked(after, 1.0));
    EXPECT_GT(ranked(before, 0.5), 1.0);
    EXPECT_LT(ranked(after, 1.0), 0.5);
}

TEST(Pictures, TrackerSeesTheTruth) {
    // A tripod's picture turned by hand: right and down by known angles, then a roll.
    const Scene scene = draw_scene(2, 1000, {true, true, false, true, true, true});
    PictureTracker tracker(1.0);
    const struct {
        Matrix3 turn;
        double across;
        double down;
        double roll;
    } steps[] = {
        {rotation_y(0.0), 0, 0, 0},
        {rotation_y(0.02), -10, 0, 0},
        {multiply(rotation_y(0.02), rotation_x(0.01)), -10, 5, 0},
        {multiply(multiply(rotation_y(0.02), rotation_x(0.01)), rotation_z(0.03)), -10, 5, -0.03}};
    double t = 0.0;
    for (const auto& step : steps) {
        tracker.add(still_picture(scene, step.turn, {0, 0, 0}, 1.0).planes[0], t += 33333.0);
        EXPECT_NEAR(tracker.across().value.back(), step.across, 0.25);
        EXPECT_NEAR(tracker.down().value.back(), step.down, 0.25);
        EXPECT_NEAR(tracker.turn().value.back(), step.roll, 5e-4);
    }
    EXPECT_EQ(tracker.lost_steps(), 0u);
    Plane blank = still_picture(scene, kIdentity, {0, 0, 0}, 1.0).planes[0];
    std::fill(blank.samples.begin(), blank.samples.end(), uint8_t{90});
    tracker.add(blank, t += 33333.0);
    EXPECT_EQ(tracker.lost_steps(), 1u);
}

TEST(Pictures, NearBoardsShiftAgainstTheFarWhenTheCameraMoves) {
    const Scene scene = draw_scene(2, 1000, {true, true, false, true, true, true});
    ASSERT_FALSE(scene.boards.empty());
    const Picture here = still_picture(scene, kIdentity, {0, 0, 0}, 1.0);
    const Picture aside = still_picture(scene, kIdentity, {0.1, 0, 0}, 1.0);
    // The first sign stands 17 degrees to the right: 500 tan 17 = 153 px from the middle.
    const auto differs = [&](uint32_t x0, uint32_t x1) {
        size_t count = 0;
        for (uint32_t y = 120; y < 250; ++y) {
            for (uint32_t x = x0; x < x1; ++x) {
                count +=
                    std::abs(here.planes[0].row(y)[x] - aside.planes[0].row(y)[x]) > 20 ? 1 : 0;
            }
        }
        return count;
    };
    EXPECT_GT(differs(420, 530), 300u);
    EXPECT_EQ(differs(180, 380), 0u);
}

// A small picture kept with the tests: the scene must stay what it is, though a new version of a
// drawing library may round otherwise.
TEST(Pictures, SceneLooksAsItDid) {
    const Scene scene = draw_scene(1, 1000, {true, true, true, true, true, true});
    const Picture now = still_picture(scene, rotation_y(0.2), {0, 0, 0}, 1.0);
    Plane small;
    small.resize(kWidth / 4, kHeight / 4);
    for (uint32_t y = 0; y < small.height; ++y) {
        for (uint32_t x = 0; x < small.width; ++x) {
            uint32_t sum = 0;
            for (uint32_t k = 0; k < 16; ++k) {
                sum += now.planes[0].row(4 * y + k / 4)[4 * x + k % 4];
            }
            small.row(y)[x] = static_cast<uint8_t>(sum / 16);
        }
    }
    if (const char* const path = std::getenv("STEADYWARP_WRITE_GOLDEN")) {
        std::ofstream(path, std::ios::binary)
            << "P5\n160 90\n255\n"
            << std::string(small.samples.begin(), small.samples.end());
    }
    std::ifstream file(STEADYWARP_GOLDEN_SCENE, std::ios::binary);
    std::string magic;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t white = 0;
    file >> magic >> width >> height >> white;
    file.get();
    ASSERT_EQ(magic, "P5") << STEADYWARP_GOLDEN_SCENE;
    Plane golden;
    golden.resize(width, height);
    file.read(reinterpret_cast<char*>(golden.samples.data()),
              static_cast<std::streamsize>(golden.samples.size()));
    ASSERT_TRUE(file);
    EXPECT_GT(similarity(small, golden, 0), 0.97);
}

}  // namespace
}  // namespace steadywarp::test
