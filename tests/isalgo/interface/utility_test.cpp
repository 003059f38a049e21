// SPDX-License-Identifier: Apache-2.0
// The helpers around the stabilizer, against the same thing done by hand.
#include "steadywarp/eis_utility.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <vector>

#include "base/matrix3.hpp"
#include "sensors/bias_estimator.hpp"
#include "steadywarp/nclib_chip.hpp"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

using Map = std::function<Point2(Point2)>;

double distance(const Point2& a, const Point2& b) {
    return std::hypot(a.x - b.x, a.y - b.y);
}

// A ring grid that does what a map does, in centred pixels of a picture.
struct GridMemory {
    std::vector<NcLibWarpGridCoord> nodes;
    NcLibWarpGrid grid{};

    GridMemory(uint32_t width, uint32_t height, const Map& map, bool fine = false)
        : nodes(fine ? 51 * 67 : 27 * 35) {
        const uint32_t rows = fine ? 51 : 27;
        const uint32_t columns = fine ? 67 : 35;
        for (uint32_t i = 0; i < nodes.size(); ++i) {
            const Point2 p = map(position(i, width, height, rows, columns));
            nodes[i] = {static_cast<float>(p.x), static_cast<float>(p.y)};
        }
        grid = {true,    {width, height}, rows,
                columns, nodes.data(),    EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
                nullptr};
    }
    GridMemory(const GridMemory&) = delete;
    GridMemory& operator=(const GridMemory&) = delete;

    static Point2 position(uint32_t i, double width, double height, uint32_t rows,
                           uint32_t columns) {
        const double column = i % columns;
        const double row = i / columns;
        return {(column - 1) * width / (columns - 3) - width / 2,
                (row - 1) * height / (rows - 3) - height / 2};
    }
};

Point2 same(Point2 p) {
    return p;
}

// A barrel of a picture of 1920 pixels, and back.
Point2 barrel(Point2 p) {
    const double s = 1 - 3e-8 * (p.x * p.x + p.y * p.y);
    return {p.x * s, p.y * s};
}
Point2 unbarrel(Point2 p) {
    Point2 q = p;
    for (int i = 0; i < 60; ++i) {
        const double s = 1 - 3e-8 * (q.x * q.x + q.y * q.y);
        q = {p.x / s, p.y / s};
    }
    return q;
}

constexpr Matrix3 kShake = {1.01, 0.015, 12, -0.012, 0.995, -8, 3e-6, -5e-6, 1};

struct MatrixMemory {
    NcLibPerspTransformSingle array[9] = {};
    NcLibWarpMatrices matrices{};

    explicit MatrixMemory(const Matrix3& matrix, uint32_t width = kWidth,
                          uint32_t height = kHeight) {
        for (size_t i = 0; i < 9; ++i) {
            array[0].T[i] = static_cast<float>(matrix[i]);
        }
        matrices = {true, {width, height}, CENTERED, 256, 1, 1, array};
    }
    MatrixMemory(const MatrixMemory&) = delete;
    MatrixMemory& operator=(const MatrixMemory&) = delete;
};

Matrix3 widened(const NcLibPerspTransformSingle& single) {
    Matrix3 matrix;
    std::copy_n(single.T, 9, matrix.begin());
    return matrix;
}

TEST(WindowRegions, PutTheZoomWhereTheDeploymentHasIt) {
    const is_crop_rect sensor = {4000, 3000, 100, 50, 3800, 2900};
    const is_crop_rect zoom = {1000, 1000, 250, 100, 500, 750};
    const is_crop_rect no_zoom = {640, 480, 0, 0, 640, 480};
    struct Row {
        uint32_t type;
        const is_crop_rect* zoom;
        is_crop_window pre_crop, fov;
    };
    // The output of 1920x1080 shows 0.8 and 0.75 of the frame: 1536x810 at (192, 135).
    const is_crop_window whole = {4000, 3000, 3800, 2900, 100, 50};
    const is_crop_window middle = {1920, 1080, 1536, 810, 192, 135};
    const is_crop_window part = {1920, 1080, 768, 607.5f, 192 + 384, 135 + 81};
    const Row rows[] = {
        {0, &zoom, whole, part},
        {1, &zoom, whole, part},
        {10, &zoom, whole, part},
        {11, &zoom, {4000, 3000, 1900, 2175, 100 + 950, 50 + 290}, middle},
        {1, &no_zoom, whole, middle},
        {11, &no_zoom, whole, middle},
    };
    const auto expect_window = [](const is_crop_window& a, const is_crop_window& b) {
        EXPECT_EQ(a.fullWidth, b.fullWidth);
        EXPECT_EQ(a.fullHeight, b.fullHeight);
        EXPECT_NEAR(a.windowWidth, b.windowWidth, 1e-3);
        EXPECT_NEAR(a.windowHeight, b.windowHeight, 1e-3);
        EXPECT_NEAR(a.windowLeft, b.windowLeft, 1e-3);
        EXPECT_NEAR(a.windowTop, b.windowTop, 1e-3);
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.type);
        is_window_regions regions{};
        regions.image_sensor_crop = {1, 2, 3, 4, 5, 6};
        ASSERT_EQ(eis_utility_convert_to_window_regions_deployment(&sensor, row.zoom, 1920, 1080,
                                                                   row.type, &regions, 0.8, 0.75),
                  EIS_SUCCESS);
        expect_window(regions.eis_pre_crop_vIN, row.pre_crop);
        expect_window(regions.eis_pre_crop_vOUT, row.pre_crop);
        expect_window(regions.output_crop_fov, row.fov);
        expect_window(regions.image_sensor_crop, {1, 2, 3, 4, 5, 6});
    }
    is_window_regions regions{};
    const std::string log = log_of([&] {
        EXPECT_EQ(
            eis_utility_convert_to_window_regions(&sensor, &zoom, 1920, 1080, &regions, 0.8, 0.75),
            EIS_SUCCESS);
    });
    expect_window(regions.output_crop_fov, part);
    EXPECT_NE(log.find("[ERR]  IS0002: V2: eis_utility_convert_to_window_regions("),
              std::string::npos)
        << log;
    // The ends of the range of ratios belong to it.
    EXPECT_EQ(eis_utility_convert_to_window_regions_deployment(&sensor, &zoom, 1920, 1080, 0,
                                                               &regions, 0.0, 1.0),
              EIS_SUCCESS);
    EXPECT_EQ(regions.output_crop_fov.windowWidth, 0.0f);
    EXPECT_EQ(regions.output_crop_fov.windowLeft, 960.0f);
}

TEST(EstimatedBias, ComesTurnedIntoTheAxesOfTheLastInstance) {
    Instance instance(valid_common(), {valid_sensor()});
    auto& estimator = BiasEstimatorSingleton::instance(nullptr);
    estimator.bias[0] = 0.1;
    estimator.bias[1] = 0.2;
    estimator.bias[2] = 0.3;
    estimator.ts = 77;
    _sample_data_s bias;
    EXPECT_EQ(eis_utility_get_estimated_bias(&bias), EIS_SUCCESS);
    // Rear camera, mount angle 180: x, -y, -z.
    EXPECT_EQ(bias.data[0], 0.1);
    EXPECT_EQ(bias.data[1], -0.2);
    EXPECT_EQ(bias.data[2], -0.3);
    EXPECT_EQ(bias.data[3], 0.0);
    EXPECT_EQ(bias.ts, 77u);
    const auto rotate = estimator.rotate.exchange(nullptr);
    EXPECT_EQ(eis_utility_get_estimated_bias(&bias), EIS_SUCCESS);
    EXPECT_EQ(bias.data[0], 0.0);
    EXPECT_EQ(bias.ts, 0u);
    estimator.rotate = rotate;
    std::fill_n(estimator.bias, 3, 0.0);
    estimator.ts = 0;
}

TEST(GridToMatrices, RecoversHomographies) {
    for (const bool fine : {false, true}) {
        SCOPED_TRACE(fine);
        const GridMemory grid(
            kWidth, 1536, [](Point2 p) { return map_point(kShake, p); }, fine);
        MatrixMemory out({});
        out.matrices.enable = false;
        ASSERT_EQ(eis_utility_convert_grid_to_matrices(&grid.grid, &out.matrices), EIS_SUCCESS);
        const NcLibWarpMatrices& m = out.matrices;
        EXPECT_TRUE(m.enable);
        EXPECT_EQ(m.transformDefinedOn.widthPixels, kWidth);
        EXPECT_EQ(m.transformDefinedOn.heightLines, 1536u);
        EXPECT_EQ(m.centerType, uint32_t{NOT_CENTERED});
        EXPECT_EQ(m.confidence, 256u);
        EXPECT_EQ(m.numRows, 9u);
        EXPECT_EQ(m.numColumns, 1u);
        for (uint32_t strip = 0; strip < 9; ++strip) {
            // In its own strip a matrix is right to a part of a pixel: the fit sums in single
            // precision over rows that lie 64 or 32 pixels apart.
            const double y = (strip / 8.0 - 0.5) * 1536;
            for (const double x : {-960.0, -300.0, 0.0, 700.0, 960.0}) {
                EXPECT_LT(distance(map_point(widened(m.perspMatrices[strip]), {x, y}),
                                   map_point(kShake, {x, y})),
                          fine ? 0.3 : 0.1)
                    << strip << " " << x;
            }
        }
    }
}

TEST(GridToMatrices, ReadsTheRightRows) {
    // Rows that move sideways by their index: strip i reads rows 3i and 3i + 1, and goes on from
    // there in a straight line.
    GridMemory grid(1920, 1080, same);
    for (uint32_t i = 0; i < 945; ++i) {
        const float row = static_cast<float>(i / 35);
        grid.nodes[i].x += row * row;
    }
    MatrixMemory out({});
    out.matrices.enable = false;
    ASSERT_EQ(eis_utility_convert_grid_to_matrices(&grid.grid, &out.matrices), EIS_SUCCESS);
    for (uint32_t strip = 0; strip < 9; ++strip) {
        for (const uint32_t row : {3 * strip, 3 * strip + 1}) {
            const double y = row * 45.0 - 540 - 45;
            EXPECT_LT(
                distance(map_point(widened(out.array[strip]), {-960, y}), {-960.0 + row * row, y}),
                0.05)
                << row;
        }
    }
    // Steps are whole pixels: 1000/32 is taken for 31 and 1001/24 for 41.
    const GridMemory odd(1000, 1001, same);
    out.matrices.enable = false;
    ASSERT_EQ(eis_utility_convert_grid_to_matrices(&odd.grid, &out.matrices), EIS_SUCCESS);
    EXPECT_LT(distance(map_point(widened(out.array[0]), {-500.0 + 31 * 32, -500.5}), {500, -500.5}),
              0.05);
    // Nothing is written for a grid that is off.
    GridMemory off(1920, 1080, same);
    off.grid.enable = false;
    MatrixMemory untouched(kShake);
    untouched.matrices.enable = false;
    EXPECT_EQ(eis_utility_convert_grid_to_matrices(&off.grid, &untouched.matrices), EIS_SUCCESS);
    EXPECT_FALSE(untouched.matrices.enable);
    EXPECT_EQ(untouched.array[0].T[2], 12.0f);
    EXPECT_EQ(untouched.matrices.numRows, 1u);
}

TEST(AlignmentMatrix, TellsWhatTheGyroscopeSaw) {
    is_init_sensor_data tele = valid_sensor();
    tele.tuning.general.focal_length = 3000;
    Instance instance(valid_common(), {valid_sensor(), tele});
    Stream stream(instance.get());
    // 0.2 rad/s about the axis that looks down in the picture's frame of a mount angle of 180.
    stream.samples = sampled(constant_rate(0.0, -0.2, 0.0), 1000000, 3000000, 2000);
    OutputMemory memory;
    for (uint64_t sof = 2000000; sof < 2400000; sof += 33333) {
        ASSERT_EQ(stream.frame(sof, memory).process_status, EIS_SUCCESS);
    }
    const is_window_regions windows = centred_windows();
    MatrixMemory out({});
    ASSERT_EQ(eis_utility_calc_alignment_matrix(instance.get(), 0, 2300000, &windows, 0, 2300000,
                                                &windows, &out.matrices),
              EIS_SUCCESS);
    EXPECT_LT(distance(map_point(widened(out.array[0]), {500, -300}), {500, -300}), 1e-3);
    EXPECT_EQ(out.matrices.transformDefinedOn.widthPixels, kWidth);
    // 0.1 s earlier the camera looked 0.02 rad to the other side: 30 pixels in the middle, whatever
    // sign; 60 for the longer lens of the second sensor.
    ASSERT_EQ(eis_utility_calc_alignment_matrix(instance.get(), 0, 2200000, &windows, 0, 2300000,
                                                &windows, &out.matrices),
              EIS_SUCCESS);
    const double wide = map_point(widened(out.array[0]), {0, 0}).x;
    EXPECT_NEAR(std::fabs(wide), 1500 * std::tan(0.02), 0.2);
    ASSERT_EQ(eis_utility_calc_alignment_matrix(instance.get(), 1, 2200000, &windows, 1, 2300000,
                                                &windows, &out.matrices),
              EIS_SUCCESS);
    EXPECT_NEAR(map_point(widened(out.array[0]), {0, 0}).x, 2 * wide, 0.3);
    // The other way round it is the inverse.
    const is_alignment_request back = {windows, 2300000, 0, windows, 2200000, 0};
    ASSERT_EQ(eis_internal_utility_calc_alignment_matrix(instance.get(), &back, &out.matrices),
              EIS_SUCCESS);
    EXPECT_NEAR(map_point(widened(out.array[0]), {0, 0}).x, -wide, 0.05);
    // All faults are told.
    is_window_regions bad = windows;
    bad.output_crop_fov = {};
    const std::string log = log_of([&] {
        EXPECT_EQ(eis_utility_calc_alignment_matrix(instance.get(), 2, 9000000, &bad, 3, 9000001,
                                                    &bad, &out.matrices),
                  EIS_ERROR_INVALID_INPUT);
    });
    for (const char* text :
         {"IS0014: V2: is_valid_input_get_device_rotation_delta(",
          "src_mof_gyro_time: 9000000 is after last gyro time the instance got: ",
          "Invalid src_sensor_index: 2", "Invalid src_window_regions for sensor index: 2",
          "dst_mof_gyro_time: 9000001 is after last gyro time the instance got: ",
          "Invalid dst_sensor_index: 3", "Invalid dst_window_regions for sensor index: 3",
          "IS0002: V2: is_valid_input_get_device_rotation_delta(", "Found 6 errors",
          "Invalid input"}) {
        EXPECT_GE(count_of(log, text), 1u) << text << "\n" << log;
    }
    EXPECT_EQ(count_of(log, "IS0014"), 6u);
}

TEST(DistortedAlignment, IsUndistortAlignDistort) {
    const Map distort_more = [](Point2 p) { return barrel(barrel(p)); };
    for (const bool fine : {false, true}) {
        SCOPED_TRACE(fine);
        NcLibChipInfo::Set(0, 0);
        GridMemory src(kWidth, kHeight, distort_more, fine), dst(kWidth, kHeight, barrel);
        MatrixMemory alignment(kShake);
        // Asks for more than the larger input has.
        std::vector<NcLibWarpGridCoord> nodes(3417);
        NcLibWarp out{};
        out.grid.grid = nodes.data();
        out.grid.numRows = 51;
        out.grid.numColumns = 67;
        out.matrices.enable = true;
        out.direction = IN_2_OUT;
        ASSERT_EQ(eis_utility_convert_ud_alignment_matrix_to_distorted_grid(
                      &alignment.matrices, &src.grid, &dst.grid, &out),
                  EIS_SUCCESS);
        EXPECT_EQ(NcLibChipInfo::GetOrlokVersion(), 0x50800u);
        EXPECT_TRUE(out.grid.enable && !out.matrices.enable);
        EXPECT_EQ(out.direction, uint32_t{OUT_2_IN});
        EXPECT_TRUE(out.grid.grid == nodes.data());
        EXPECT_EQ(out.grid.numRows, fine ? 51u : 27u);
        EXPECT_EQ(out.grid.numColumns, fine ? 67u : 35u);
        EXPECT_EQ(out.grid.transformDefinedOn.widthPixels, VIRTUAL_DOMAIN_WIDTH);
        // The inputs are virtual now.
        EXPECT_EQ(src.grid.transformDefinedOn.heightLines, VIRTUAL_DOMAIN_HEIGHT);
        EXPECT_EQ(alignment.matrices.transformDefinedOn.widthPixels, VIRTUAL_DOMAIN_WIDTH);
        for (uint32_t i = 0; i < out.grid.numRows * out.grid.numColumns; ++i) {
            const Point2 p =
                GridMemory::position(i, kWidth, kHeight, out.grid.numRows, out.grid.numColumns);
            if (std::fabs(p.x) > 800 || std::fabs(p.y) > 440) {
                continue;
            }
            const Point2 expected = distort_more(map_point(kShake, unbarrel(p)));
            ASSERT_LT(distance({static_cast<double>(nodes[i].x) * kWidth / 8192,
                                static_cast<double>(nodes[i].y) * kHeight / 6144},
                               expected),
                      0.3)
                << i;
        }
    }
}

TEST(SingleGrid, IsTheMatrixAfterTheGrid) {
    const std::vector<unsigned char> buffer(EIS_SINGLE_GRID_WORK_BYTES + 1);
    // An odd address will do.
    void* const work = const_cast<unsigned char*>(buffer.data()) + 1;
    for (const bool fine : {false, true}) {
        SCOPED_TRACE(fine);
        GridMemory distortion(kWidth, kHeight, barrel, fine);
        MatrixMemory matrix(kShake);
        NcLibWarp transform = {matrix.matrices, {}, OUT_2_IN};
        std::vector<NcLibWarpGridCoord> nodes(945);
        NcLibWarpGrid out{};
        out.grid = nodes.data();
        const auto expect_folded = [&] {
            EXPECT_TRUE(out.enable);
            EXPECT_EQ(out.numRows, 27u);
            EXPECT_EQ(out.numColumns, 35u);
            EXPECT_EQ(out.extrapolateType, EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER);
            EXPECT_EQ(out.transformDefinedOn.widthPixels, kWidth);
            for (uint32_t i = 0; i < 945; ++i) {
                const Point2 p = GridMemory::position(i, kWidth, kHeight, 27, 35);
                // The fine grid ends within the last ring; there its border cells go on.
                const bool is_outside = i % 35 == 0 || i % 35 == 34 || i < 35 || i >= 910;
                ASSERT_LT(distance({out.grid[i].x, out.grid[i].y}, map_point(kShake, barrel(p))),
                          fine && is_outside ? 0.6 : 1e-3)
                    << i;
            }
        };
        ASSERT_EQ(eis_utility_convert_output_stabilize_to_single_grid(
                      &distortion.grid, &transform, work, EIS_SINGLE_GRID_WORK_BYTES, &out),
                  EIS_SUCCESS);
        expect_folded();
        // A matrix of another domain means the same picture.
        MatrixMemory other(kShake);
        NcLibWarp other_transform = {other.matrices, {}, OUT_2_IN};
        NcLibChipInfo::Set(0x50800, 0);
        ASSERT_EQ(NcLibWarpConvertToVirtualDomain(&other_transform, &other_transform), 0);
        ASSERT_EQ(eis_utility_convert_output_stabilize_to_single_grid(
                      &distortion.grid, &other_transform, work, EIS_SINGLE_GRID_WORK_BYTES, &out),
                  EIS_SUCCESS);
        expect_folded();
        // In place.
        out.grid = distortion.grid.grid;
        ASSERT_EQ(eis_utility_convert_output_stabilize_to_single_grid(
                      &distortion.grid, &transform, work, EIS_SINGLE_GRID_WORK_BYTES, &out),
                  EIS_SUCCESS);
        expect_folded();
    }
}

TEST(SingleGrid, ReadsAGridWithoutARing) {
    // A stretch goes on beyond the last nodes as within.
    const Map stretch = [](Point2 p) { return Point2{1.02 * p.x + 7, 0.99 * p.y - 3}; };
    const GridMemory ring(kWidth, kHeight, stretch);
    std::vector<NcLibWarpGridCoord> inner, nodes(945);
    for (uint32_t row = 1; row < 26; ++row) {
        inner.insert(inner.end(), &ring.nodes[row * 35 + 1], &ring.nodes[row * 35 + 34]);
    }
    NcLibWarpGridCoord corners[] = {ring.nodes[0], ring.nodes[34], ring.nodes[910],
                                    ring.nodes[944]};
    NcLibWarpGrid distortion = {
        true, {kWidth, kHeight}, 25, 33, inner.data(), EXTRAPOLATION_TYPE_FOUR_CORNERS, corners};
    MatrixMemory matrix(kShake);
    NcLibWarp transform = {matrix.matrices, {}, OUT_2_IN};
    NcLibWarpGrid out{};
    out.grid = nodes.data();
    std::vector<unsigned char> work(EIS_SINGLE_GRID_WORK_BYTES);
    ASSERT_EQ(eis_utility_convert_output_stabilize_to_single_grid(&distortion, &transform,
                                                                  work.data(), work.size(), &out),
              EIS_SUCCESS);
    for (uint32_t i = 0; i < 945; ++i) {
        const Point2 p = GridMemory::position(i, kWidth, kHeight, 27, 35);
        ASSERT_LT(distance({nodes[i].x, nodes[i].y}, map_point(kShake, stretch(p))), 1e-2) << i;
    }
}

TEST(SingleGrid, ComposesWithAGridInTheTransform) {
    std::vector<unsigned char> work(EIS_SINGLE_GRID_WORK_BYTES);
    const Map bend = [](Point2 p) { return Point2{p.x + 1e-5 * p.y * p.y, p.y - 4}; };
    for (const bool has_matrix : {false, true}) {
        SCOPED_TRACE(has_matrix);
        NcLibChipInfo::Set(0, 0);
        GridMemory distortion(kWidth, kHeight, barrel), bent(kWidth, kHeight, bend);
        MatrixMemory matrix(kShake);
        NcLibWarp transform = {matrix.matrices, bent.grid, OUT_2_IN};
        transform.matrices.enable = has_matrix;
        std::vector<NcLibWarpGridCoord> nodes(945);
        NcLibWarpGrid out{};
        out.grid = nodes.data();
        ASSERT_EQ(eis_utility_convert_output_stabilize_to_single_grid(
                      &distortion.grid, &transform, work.data(), work.size(), &out),
                  EIS_SUCCESS);
        EXPECT_EQ(NcLibChipInfo::GetOrlokVersion(), 0x50800u);
        EXPECT_TRUE(out.enable);
        EXPECT_EQ(out.numColumns, 35u);
        EXPECT_EQ(out.transformDefinedOn.widthPixels, VIRTUAL_DOMAIN_WIDTH);
        EXPECT_EQ(distortion.grid.transformDefinedOn.widthPixels, VIRTUAL_DOMAIN_WIDTH);
        EXPECT_EQ(transform.grid.transformDefinedOn.heightLines, VIRTUAL_DOMAIN_HEIGHT);
        for (uint32_t i = 0; i < 945; ++i) {
            const Point2 p = barrel(bend(GridMemory::position(i, kWidth, kHeight, 27, 35)));
            ASSERT_LT(distance({static_cast<double>(nodes[i].x) * kWidth / 8192,
                                static_cast<double>(nodes[i].y) * kHeight / 6144},
                               has_matrix ? map_point(kShake, p) : p),
                      0.1)
                << i;
        }
    }
}

struct Args {
    is_crop_rect crop{100, 100, 0, 0, 100, 100};
    is_window_regions regions{};
    GridMemory grid{kWidth, kHeight, same}, grid2{kWidth, kHeight, same};
    MatrixMemory matrix{kShake}, strips{{}};
    NcLibWarp transform{matrix.matrices, {}, OUT_2_IN};
    std::vector<NcLibWarpGridCoord> nodes = std::vector<NcLibWarpGridCoord>(3417);
    NcLibWarp out{};
    std::vector<unsigned char> work = std::vector<unsigned char>(EIS_SINGLE_GRID_WORK_BYTES);

    Args() {
        strips.matrices.enable = false;
        out.grid = {false, {}, 27, 35, nodes.data(), EXTRAPOLATION_TYPE_NONE, nullptr};
    }
    uint32_t Windows(double x = 0.5, double y = 0.5, uint32_t type = 1) {
        return eis_utility_convert_to_window_regions_deployment(&crop, &crop, 10, 10, type,
                                                                &regions, x, y);
    }
    uint32_t Strips() { return eis_utility_convert_grid_to_matrices(&grid.grid, &strips.matrices); }
    uint32_t Distorted() {
        return eis_utility_convert_ud_alignment_matrix_to_distorted_grid(
            &matrix.matrices, &grid.grid, &grid2.grid, &out);
    }
    uint32_t Single() {
        return eis_utility_convert_output_stabilize_to_single_grid(
            &grid.grid, &transform, work.data(), work.size(), &out.grid);
    }
    uint32_t SingleWithGrid() {
        transform.grid = grid2.grid;
        return Single();
    }
};

constexpr uint32_t kInvalid = EIS_ERROR_INVALID_INPUT, kGeneral = EIS_ERROR_GENERAL;

struct Refusal {
    std::function<uint32_t(Args&)> call;
    uint32_t status;
    const char* tag;
    const char* words;
};

// clang-format off
const Refusal kRefusals[] = {
    {[](Args&) { return eis_utility_get_estimated_bias(nullptr); }, kInvalid, "IS0003", "NULL input"},
    {[](Args& a) { return eis_utility_convert_to_window_regions_deployment(nullptr, &a.crop, 1, 1, 0, &a.regions, 0, 0); }, kInvalid, "IS0003", "NULL input"},
    {[](Args& a) { return eis_utility_convert_to_window_regions_deployment(&a.crop, nullptr, 1, 1, 0, &a.regions, 0, 0); }, kInvalid, "IS0003", "NULL input"},
    {[](Args& a) { return eis_utility_convert_to_window_regions(&a.crop, &a.crop, 1, 1, nullptr, 0, 0); }, kInvalid, "IS0003", "NULL input"},
    {[](Args& a) { return a.Windows(1.0001); }, kInvalid, "IS0003", "Invalid stabilization_crop_ratio_x"},
    {[](Args& a) { return a.Windows(0.5, -1e-9); }, kInvalid, "IS0003", "Invalid stabilization_crop_ratio_y"},
    {[](Args& a) { return a.Windows(0.5, std::nan("")); }, kInvalid, "IS0003", "Invalid stabilization_crop_ratio_y"},
    {[](Args& a) { return a.Windows(0.5, 0.5, 2); }, kInvalid, "IS0003", "deployment_type 2 doesn't exist"},
    {[](Args& a) { a.crop.full_height = 0; return a.Windows(); }, kInvalid, "IS0010", "Un-initialized crop window"},
    {[](Args& a) { return eis_utility_convert_grid_to_matrices(nullptr, &a.strips.matrices); }, kInvalid, "IS0003", "NULL Input"},
    {[](Args& a) { return eis_utility_convert_grid_to_matrices(&a.grid.grid, nullptr); }, kInvalid, "IS0003", "NULL Input"},
    {[](Args& a) { a.grid.grid.grid = nullptr; return a.Strips(); }, kInvalid, "IS0003", "NULL Input"},
    {[](Args& a) { a.strips.matrices.perspMatrices = nullptr; return a.Strips(); }, kInvalid, "IS0003", "NULL Input"},
    {[](Args& a) { a.strips.matrices.enable = true; return a.Strips(); }, kInvalid, "IS0003", "matrices composition is not supported"},
    {[](Args& a) { a.grid.grid.extrapolateType = EXTRAPOLATION_TYPE_FOUR_CORNERS; return a.Strips(); }, kInvalid, "IS0003", "Grid extrapolation type is not supported: 1"},
    {[](Args& a) { a.grid.grid.numRows = 3; return a.Strips(); }, kInvalid, "IS0003", "Invalid number of grid points (numRows, numColumns): (3, 35)"},
    {[](Args& a) { for (auto& node : a.grid.nodes) { node = {1, 1}; } a.grid.nodes[35 * 4 + 1].x = std::nanf(""); return a.Strips(); }, kGeneral, "IS0002",
     "A strip of the grid determines no matrix"},
    {[](Args& a) { return eis_utility_calc_alignment_matrix(nullptr, 0, 0, &a.regions, 0, 0, &a.regions, &a.matrix.matrices); }, kInvalid, "IS0003", "NULL input"},
    {[](Args& a) { return eis_internal_utility_calc_alignment_matrix(nullptr, nullptr, &a.matrix.matrices); }, kInvalid, "IS0003", "NULL input"},
    {[](Args& a) { return eis_utility_convert_ud_alignment_matrix_to_distorted_grid(nullptr, &a.grid.grid, &a.grid.grid, &a.out); }, kInvalid, "IS0003", "NULL input"},
    {[](Args& a) { a.out.grid.grid = nullptr; return a.Distorted(); }, kInvalid, "IS0003", "NULL input"},
    {[](Args& a) { a.grid.grid.enable = false; return a.Distorted(); }, kInvalid, "IS0003", "frame_src_ud_grid_out2in is disabled"},
    {[](Args& a) { a.grid2.grid.enable = false; return a.Distorted(); }, kInvalid, "IS0003", "frame_dst_ud_grid_out2in is disabled"},
    {[](Args& a) { a.matrix.matrices.enable = false; return a.Distorted(); }, kInvalid, "IS0003", "alignment_ud_out2in is disabled"},
    {[](Args& a) { a.grid.grid.numRows = 51; return a.Distorted(); }, kInvalid, "IS0003", "Invalid number of grid points (numRows, numColumns): (51, 35)"},
    {[](Args& a) { a.out.grid.numColumns = 33; return a.Distorted(); }, kInvalid, "IS0003", "Invalid number of grid points (numRows, numColumns): (27, 33)"},
    {[](Args& a) { a.grid2.grid.extrapolateType = EXTRAPOLATION_TYPE_NONE; return a.Distorted(); }, kInvalid, "IS0003", "Grid extrapolation type is not supported: 0"},
    {[](Args& a) { a.grid.grid.transformDefinedOn = {}; return a.Distorted(); }, kGeneral, "IS0002", "NcLibWarpConvertToVirtualDomain() failed for frame_src_ud_grid_out2in: 0x04000002"},
    {[](Args& a) { a.grid2.grid.transformDefinedOn = {}; return a.Distorted(); }, kGeneral, "IS0002", "NcLibWarpConvertToVirtualDomain() failed for frame_dst_ud_grid_out2in: 0x04000002"},
    {[](Args& a) { a.matrix.matrices.confidence = 300; return a.Distorted(); }, kGeneral, "IS0002", "NcLibWarpConvertToVirtualDomain() failed for alignment_ud_out2in: 0x04000002"},
    {[](Args& a) { return eis_utility_convert_output_stabilize_to_single_grid(nullptr, &a.transform, a.work.data(), 30808, &a.out.grid); }, kInvalid, "IS0003", "NULL Input"},
    {[](Args& a) { return eis_utility_convert_output_stabilize_to_single_grid(&a.grid.grid, &a.transform, nullptr, 30808, &a.out.grid); }, kInvalid, "IS0003", "NULL Input"},
    {[](Args& a) { a.out.grid.grid = nullptr; return a.Single(); }, kInvalid, "IS0003", "NULL Input"},
    {[](Args& a) { a.work.resize(30807); return a.Single(); }, kInvalid, "IS0003", "work buffer is too small, expected size: 30808"},
    {[](Args& a) { a.grid.grid.enable = false; return a.Single(); }, kInvalid, "IS0003", "distortion correction grid is disabled, invalid SW flow"},
    {[](Args& a) { a.transform.matrices.enable = false; return a.Single(); }, kInvalid, "IS0003", "stabilization transforms are both disabled, invalid SW flow"},
    {[](Args& a) { a.transform.matrices.numRows = 3; return a.Single(); }, kInvalid, "IS0003",
     "Too many matrices were defined, current implementation only supports single matrix. (numRows, numColumns): (3, 1)"},
    {[](Args& a) { a.grid.grid.numRows = 1; return a.Single(); }, kInvalid, "IS0003", "Invalid number of grid points (numRows, numColumns): (1, 35)"},
    {[](Args& a) { a.grid.grid.transformDefinedOn.widthPixels = 0; return a.Single(); }, kInvalid, "IS0003", "Warps are defined on an empty picture"},
    {[](Args& a) { a.grid2.grid.numRows = 25; return a.SingleWithGrid(); }, kInvalid, "IS0003", "Invalid number of grid points (numRows, numColumns): (25, 35)"},
    {[](Args& a) { a.grid.grid.transformDefinedOn = {}; return a.SingleWithGrid(); }, kGeneral, "IS0002",
     "NcLibWarpConvertToVirtualDomain() had failed (0x04000002) for distortion correction grid"},
    {[](Args& a) { a.grid2.grid.transformDefinedOn = {}; return a.SingleWithGrid(); }, kGeneral, "IS0002",
     "NcLibWarpConvertToVirtualDomain() had failed (0x04000002) for stabilization transform"},
    {[](Args& a) { a.transform.matrices.centerType = NOT_CENTERED; return a.SingleWithGrid(); }, kGeneral, "IS0002", "NcLibWarpComposition() had failed (0x04000002)"},
};
// clang-format on

TEST(UtilityArguments, AreRefusedWithTheirWordsAndStatus) {
    for (const Refusal& row : kRefusals) {
        Args args;
        uint32_t status = 0;
        const std::string log = log_of([&] { status = row.call(args); });
        EXPECT_EQ(status, row.status) << row.words;
        EXPECT_NE(log.find(std::string("[ERR]  ") + row.tag + ": V2: "), std::string::npos) << log;
        EXPECT_NE(log.find(std::string(row.words) + "\n"), std::string::npos) << log << row.words;
    }
    // A small output is told and filled all the same.
    Args args;
    const GridMemory fine(kWidth, kHeight, same, true);
    args.grid.grid = fine.grid;
    const std::string log = log_of([&] { EXPECT_EQ(args.Distorted(), EIS_SUCCESS); });
    EXPECT_EQ(args.out.grid.numRows, 27u);
    for (const char* text : {"numColumns (frame_src_ud_grid_out2in, frame_dst_ud_grid_out2in, "
                             "alignment_transform_distorted_out2in): (67, 35, 35)",
                             "numRows (frame_src_ud_grid_out2in, frame_dst_ud_grid_out2in, "
                             "alignment_transform_distorted_out2in): (51, 27, 27)"}) {
        EXPECT_NE(log.find(text), std::string::npos) << log;
    }
    // Both entries refuse a broken instance.
    Instance instance(valid_common(), {valid_sensor()});
    char& guard = *reinterpret_cast<char*>(instance.get());
    guard ^= 1;
    EXPECT_NE(log_of([&] {
                  EXPECT_EQ(
                      eis_utility_calc_alignment_matrix(instance.get(), 0, 0, &args.regions, 0, 0,
                                                        &args.regions, &args.matrix.matrices),
                      EIS_ERROR_INVALID_INPUT);
              }).find("IS0003: V2: eis_internal_utility_calc_alignment_matrix("),
              std::string::npos);
    guard ^= 1;
}

}  // namespace
}  // namespace steadywarp::test
