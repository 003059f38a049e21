// SPDX-License-Identifier: Apache-2.0
// Random and hostile records through every exported function. There is nothing to expect but that
// the process lives, statuses are of the known ones, and the sanitizers stay silent.
#include <gtest/gtest.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "support/random.hpp"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace steadywarp::test {
namespace {

// Values of records that are mostly at some edge.
class Hostile : public Random {
  public:
    using Random::Random;

    uint32_t u32(uint32_t usual) {
        constexpr uint32_t kEdges[] = {0, 1, 2, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
        return once_in(3) ? kEdges[below(6)] : once_in(2) ? static_cast<uint32_t>(word()) : usual;
    }
    float f32(float usual) {
        constexpr float kInf = std::numeric_limits<float>::infinity();
        const float kEdges[] = {0.0f, -0.0f, -1.0f, kInf, -kInf, std::nanf(""), 1e38f, 1e-40f};
        return once_in(3) ? kEdges[below(8)] : once_in(2) ? std::bit_cast<float>(u32(1)) : usual;
    }
    double f64(double usual) {
        return once_in(2)   ? static_cast<double>(f32(1.0f))
               : once_in(3) ? std::bit_cast<double>(word())
                            : usual;
    }

    /// Spoil some words of a record whatever they are.
    void spoil(void* record, size_t size) {
        for (uint32_t i = below(4); i > 0; --i) {
            const uint32_t value = u32(static_cast<uint32_t>(word()));
            std::memcpy(static_cast<char*>(record) + 4 * below(static_cast<uint32_t>(size / 4)),
                        &value, 4);
        }
    }
};

// The log of an attack is noise: send it away, so that the test runs at speed.
class SilentLog {
  public:
    SilentLog() : _saved(dup(2)) {
        std::fflush(stderr);
        if (std::freopen("/dev/null", "w", stderr) == nullptr) {
            std::abort();
        }
    }
    ~SilentLog() {
        std::fflush(stderr);
        dup2(_saved, 2);
        close(_saved);
    }

  private:
    int _saved;
};

void expect_known(uint32_t status) {
    EXPECT_TRUE(status == EIS_SUCCESS || status == EIS_ERROR_GENERAL ||
                status == EIS_ERROR_INVALID_INPUT || status == EIS_ERROR_NO_MEMORY)
        << status;
}

is_init_sensor_data random_sensor(Hostile& random) {
    is_init_sensor_data sensor = valid_sensor();
    // Everything behind the two pointers.
    constexpr size_t kHead = offsetof(is_init_sensor_data, ldc_calib_domain);
    constexpr size_t kToTuning = offsetof(is_init_sensor_data, tuning) - kHead;
    if (random.once_in(2)) {
        random.spoil(reinterpret_cast<char*>(&sensor) + kHead, kToTuning);
    }
    if (random.once_in(2)) {
        random.spoil(&sensor.tuning.top, sizeof sensor.tuning.top);
        random.spoil(&sensor.tuning.general, sizeof sensor.tuning.general);
        random.spoil(&sensor.tuning.timing, sizeof sensor.tuning.timing);
        random.spoil(&sensor.tuning.blur_masking, sizeof sensor.tuning.blur_masking);
        random.spoil(&sensor.tuning.ois, sizeof sensor.tuning.ois);
        sensor.tuning.dis.enable = random.below(2);
        sensor.tuning.dis.confidence_threshold = 100;
        random.spoil(&sensor.tuning.dis, sizeof sensor.tuning.dis);
        random.spoil(&sensor.tuning.z_lens_pos, sizeof sensor.tuning.z_lens_pos);
    }
    // More than this is memory to match, and only slows the attack down.
    sensor.tuning.top.gyro_frequency %= 100000;
    sensor.tuning.top.ois_frequency %= 100000;
    sensor.tuning.top.ifovc_frequency %= 100000;
    return sensor;
}

std::vector<_sample_data_s> random_samples(Hostile& random, uint64_t around) {
    std::vector<_sample_data_s> samples(random.once_in(20) ? 20000 : random.below(60));
    uint64_t ts = around - 60000 + random.below(20000);
    const bool is_wild = random.once_in(4);
    for (_sample_data_s& sample : samples) {
        ts += is_wild && random.once_in(5) ? random.word() : 2000;
        sample.ts = ts;
        for (double& value : sample.data) {
            value = is_wild ? random.f64(0.1) : 0.1;
        }
    }
    return samples;
}

// A grid that hardly distorts, with some of its fields and nodes spoiled.
struct AttackedGrid {
    std::vector<NcLibWarpGridCoord> nodes = std::vector<NcLibWarpGridCoord>(3417);
    NcLibWarpGrid record{};

    explicit AttackedGrid(Hostile& random) {
        const bool is_fine = random.once_in(2);
        const uint32_t columns = is_fine ? 67 : 35;
        const uint32_t rows = is_fine ? 51 : 27;
        for (uint32_t k = 0; k < rows * columns; ++k) {
            nodes[k] = {(static_cast<float>(k % columns) - static_cast<float>(columns / 2)) * 60.0f,
                        (static_cast<float>(k / columns) - static_cast<float>(rows / 2)) * 45.0f};
        }
        record = {true,    {kWidth, kHeight}, rows,
                  columns, nodes.data(),      EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER,
                  nullptr};
        if (random.once_in(4)) {
            random.spoil(nodes.data(), rows * columns * sizeof nodes[0]);
        }
        if (random.once_in(4)) {
            record.transformDefinedOn = {random.u32(kWidth), random.u32(kHeight)};
            record.extrapolateType = static_cast<NcLibWarpGridExtrapolationType>(random.below(4));
            record.gridExtrapolate = random.once_in(2) ? nodes.data() : nullptr;
            record.enable = !random.once_in(5);
        }
    }
};

// Focus and distortion, right or nearly so. The grids must outlive the start.
void add_optics(Hostile& random, is_init_common_data& common, is_init_sensor_data& sensor,
                const AttackedGrid& in2out, const AttackedGrid& out2in) {
    if (random.once_in(2)) {
        common.is_ifovc_enabled = true;
        sensor.tuning.top.ifovc_frequency = random.once_in(6) ? 0 : 120;
        is_tessaline_z_lens_pos& lens = sensor.tuning.z_lens_pos;
        lens = {};
        lens.enable = random.once_in(6) ? 0 : 1;
        lens.scale_source = random.below(3);
        lens.min_scale_limit = random.once_in(2) ? 0.95f : 0.0f;
        lens.lut_len = 2;
        lens.lut_z_lens_pos_tab[0] = 1.0f;
        lens.lut_scale_vs_z_lens_pos_tab[0] = 1.0f;
        lens.lut_scale_vs_z_lens_pos_tab[1] = random.once_in(3) ? random.f32(0.0f) : 0.9f;
    }
    is_tessaline_lens_distortion_correction& ldc = sensor.tuning.lens_distortion_correction;
    if (random.once_in(2)) {
        ldc.ldc_grid_source = 1;
        sensor.ldc_in2out = &in2out.record;
        sensor.ldc_out2in = &out2in.record;
        sensor.ldc_calib_domain = random.below(3);
        sensor.image_sensor_crop = {4000, 3000, 3200, 2400, 400, 300};
        if (random.once_in(3)) {
            random.spoil(&sensor.image_sensor_crop, sizeof sensor.image_sensor_crop);
        }
    } else if (random.once_in(3)) {
        random.spoil(&ldc, sizeof ldc);
        ldc.ldc_grid_source = 0;
        ldc.ldc_grid_enable = 1;
        ldc.ldc_calib_domain = random.below(3);
        ldc.distorted_input_to_undistorted_ldc_grid_geometry = 0;
        ldc.undistorted_to_distorted_input_ldc_grid_geometry = 0;
        ldc.ldc_model_type = 0;
        ldc.image_size_distorted_x = ldc.image_size_undistorted_x = kWidth;
        ldc.image_size_distorted_y = ldc.image_size_undistorted_y = kHeight;
    }
}

void run_frames(Hostile& random, eis_context* context, uint32_t num_sensors) {
    OutputMemory memory;
    NcLibPerspTransformSingle matrix{};
    std::vector<NcLibWarpGridCoord> nodes(NC_LIB_ICA_GRID_MAX_POINTS);
    for (NcLibWarpGridCoord& node : nodes) {
        node = {random.f32(100.0f), random.f32(100.0f)};
    }
    uint64_t sof = 2000000;
    for (uint32_t frame = 0; frame < 30; ++frame) {
        sof += random.once_in(8) ? random.word() >> random.below(64) : 33333;
        is_input input{};
        input.frame_id = random.once_in(10) ? random.u32(frame) : frame + 1;
        input.active_sensor_idx = random.once_in(10) ? random.u32(0) : random.below(num_sensors);
        input.frame_time_input = {sof, 33333, 10000, 25000};
        if (random.once_in(5)) {
            input.frame_time_input.frame_time = random.u32(33333);
            input.frame_time_input.exposure_time = random.u32(10000);
            input.frame_time_input.sensor_rolling_shutter_skew = random.u32(25000);
        }
        const std::vector<_sample_data_s> samples = random_samples(random, sof);
        input.gyro = {samples.data(), static_cast<uint32_t>(samples.size())};
        const std::vector<_sample_data_s> lens = random_samples(random, sof);
        input.ois = {lens.data(), random.once_in(9) ? 0 : static_cast<uint32_t>(lens.size())};
        const std::vector<_sample_data_s> focus = random_samples(random, sof);
        input.ifovc = {focus.data(), random.once_in(9) ? 0 : static_cast<uint32_t>(focus.size())};
        if (random.once_in(30)) {
            input.gyro = {nullptr, random.u32(3)};
        }
        input.window_regions = centred_windows();
        if (random.once_in(4)) {
            random.spoil(&input.window_regions, sizeof input.window_regions);
        }
        input.focus_distance = random.f32(1.0f);
        input.effective_focal_length_mm = random.once_in(9) ? random.f32(4.0f) : 4.0f;
        NcLibWarp warp{};
        warp.matrices.enable = random.once_in(2);
        warp.matrices.numRows = random.once_in(3) ? random.u32(1) : 1;
        warp.matrices.numColumns = 1;
        warp.matrices.perspMatrices = random.once_in(4) ? nullptr : &matrix;
        matrix.T[8] = random.f32(1.0f);
        warp.grid.enable = random.once_in(4);
        if (random.once_in(2)) {
            const NcLibImageSize virtual_size = {VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT};
            warp.matrices.transformDefinedOn = warp.grid.transformDefinedOn = virtual_size;
            for (float& element : matrix.T) {
                element = random.f32(1.0f);
            }
            warp.grid.grid = nodes.data();
            warp.grid.numColumns = random.once_in(3) ? random.u32(35) : 35;
            warp.grid.numRows = random.once_in(3) ? random.u32(27) : 27;
            warp.grid.extrapolateType = static_cast<NcLibWarpGridExtrapolationType>(
                random.once_in(3) ? random.below(4) : 2u);
            warp.direction = random.once_in(4) ? random.u32(1) : 0;
        }
        input.sat = random.once_in(6) ? &warp : nullptr;
        input.pre_eis_transform_margins_reduction = random.once_in(6) ? &warp : nullptr;
        is_time_intervals intervals{};
        if (!random.once_in(10)) {
            expect_known(eis2_get_time_intervals(context, &input.frame_time_input,
                                                 input.active_sensor_idx, &intervals));
        }
        expect_known(eis2_process(context, &input, &memory.output));
    }
}

TEST(Attack, RandomRecordsNeverEndTheProcess) {
    const char* rounds_text = std::getenv("STEADYWARP_ATTACK_ROUNDS");
    const uint32_t rounds =
        rounds_text != nullptr ? static_cast<uint32_t>(std::atoi(rounds_text)) : 400;
    constexpr uint64_t kSeed = 20240601;
    std::printf("seed %lu, %u rounds\n", kSeed, rounds);
    Hostile random(kSeed);
    uint32_t built = 0;
    {
        const SilentLog silent;
        for (uint32_t round = 0; round < rounds; ++round) {
            is_init_common_data common = valid_common();
            if (random.once_in(3)) {
                random.spoil(&common, sizeof common);
                // A flag holds 0 or 1; anything else is no value of its type.
                common.do_virtual_upscale_in_transform = random.once_in(2);
                for (bool* flag = &common.force_split_grid_matrix;
                     flag <= &common.is_rel_orientation_enabled; ++flag) {
                    *flag = random.once_in(8);
                }
            }
            if (random.once_in(2)) {
                constexpr uint32_t kModes[] = {1, 2, 3, 10, 11, 12, 101, 102};
                common.operation_mode = kModes[random.below(8)];
                common.is_sat_enabled = common.is_sat_enabled || random.once_in(2);
                common.is_dis_enabled = common.is_dis_enabled || random.once_in(2);
            }
            std::vector<is_init_sensor_data> sensors;
            for (uint32_t i = random.once_in(30) ? 17 : random.below(3) + 1; i > 0; --i) {
                sensors.push_back(random_sensor(random));
            }
            if (common.is_ois_enabled || random.once_in(3)) {
                common.is_ois_enabled = true;
                for (is_init_sensor_data& sensor : sensors) {
                    sensor.tuning.top.ois_frequency = random.once_in(6) ? 0 : 500;
                    sensor.tuning.ois.module_type = random.below(7);
                    sensor.tuning.ois.data_conversion_x_tab[1] = 1.0f;
                    sensor.tuning.ois.data_conversion_y_tab[2] = 1.0f;
                }
            }
            const AttackedGrid in2out(random);
            const AttackedGrid out2in(random);
            if (random.once_in(2)) {
                add_optics(random, common, sensors[0], in2out, out2in);
            }
            eis_context* context = nullptr;
            expect_known(eis2_initialize(&context, &common, sensors.data(),
                                         static_cast<uint32_t>(sensors.size())));
            if (context != nullptr) {
                ++built;
                run_frames(random, context, static_cast<uint32_t>(sensors.size()));
                is_margins margins{};
                expect_known(eis2_get_stabilization_margin(context, random.u32(0), &margins));
                eis2_deinitialize(&context);
            }
            is_margin_query query{};
            random.spoil(&query.output_height, 8);
            random.spoil(&query.input_height, 16);
            is_margins margins{};
            double x = 0.0, y = 0.0;
            expect_known(eis2_get_stabilization_margin_ex(&query, &margins));
            expect_known(eis2_get_stabilization_crop_ratio_ex(&query, &x, &y));
            timestamp_interpolation(random.word(), random.word(), random.u32(27), random.u32(3));
        }
    }
    // The attack got behind the door often enough.
    EXPECT_GT(built, rounds / 4);
    EXPECT_LT(built, rounds);
}

}  // namespace
}  // namespace steadywarp::test
