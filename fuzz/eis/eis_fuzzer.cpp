// SPDX-License-Identifier: Apache-2.0
// The stabilizer's exported functions on records cut out of the input bytes.
//
// The first bytes spoil words of a right configuration; each further chunk is a frame: spoiled
// words of its input, a number of samples, and what they hold. Arrays have the memory they claim.
#include "input.hpp"
#include "steadywarp/eis.h"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace {

using steadywarp::fuzz::Input;
using steadywarp::test::centred_windows;
using steadywarp::test::OutputMemory;
using steadywarp::test::valid_common;
using steadywarp::test::valid_sensor;

/// Replace up to three words of a record.
void spoil(Input& bytes, void* record, size_t size) {
    for (uint32_t i = bytes.Get<uint8_t>() % 4; i > 0; --i) {
        const size_t word = bytes.Get<uint16_t>() % (size / 4);
        const uint32_t value = bytes.Get<uint32_t>();
        std::memcpy(static_cast<char*>(record) + 4 * word, &value, 4);
    }
}

is_init_common_data take_common(Input& bytes) {
    is_init_common_data common = valid_common();
    spoil(bytes, &common, offsetof(is_init_common_data, do_virtual_upscale_in_transform) / 4 * 4);
    const uint16_t flags = bytes.Get<uint16_t>();
    common.do_virtual_upscale_in_transform = (flags & 1) != 0;
    common.force_split_grid_matrix = (flags & 2) != 0;
    common.is_sat_enabled = (flags & 0x70) == 0x70;
    common.is_ois_enabled = (flags & 8) != 0;
    common.is_dis_enabled = (flags & 0x700) == 0x700;
    common.is_ifovc_enabled = (flags & 0x800) != 0;
    constexpr uint32_t kModes[] = {1, 2, 3, 10, 11, 12, 101, 102};
    if ((flags & 0x1000) != 0) {
        common.operation_mode = kModes[flags >> 13];
    }
    return common;
}

// Focus and distortion, nearly right; `grid` is used for both directions.
void take_optics(Input& bytes, bool has_focus, const NcLibWarpGrid& grid,
                 is_init_sensor_data& sensor) {
    const uint8_t kind = bytes.Get<uint8_t>();
    if (has_focus) {
        sensor.tuning.top.ifovc_frequency = 120;
        sensor.tuning.z_lens_pos.enable = 1;
        sensor.tuning.z_lens_pos.scale_source = kind % 3;
        sensor.tuning.z_lens_pos.lut_len = 2;
        sensor.tuning.z_lens_pos.lut_z_lens_pos_tab[0] = 1.0f;
        sensor.tuning.z_lens_pos.lut_scale_vs_z_lens_pos_tab[0] = 1.0f;
        spoil(bytes, &sensor.tuning.z_lens_pos, sizeof sensor.tuning.z_lens_pos);
    }
    is_tessaline_lens_distortion_correction& ldc = sensor.tuning.lens_distortion_correction;
    if (kind >= 0x80) {
        ldc.ldc_grid_source = kind & 0x40 ? 1 : 0;
        ldc.ldc_grid_enable = kind & 0x40 ? 0 : 1;
        ldc.ldc_calib_domain = kind % 4;
        ldc.image_size_distorted_x = ldc.image_size_undistorted_x = steadywarp::test::kWidth;
        ldc.image_size_distorted_y = ldc.image_size_undistorted_y = steadywarp::test::kHeight;
        spoil(bytes, &ldc, sizeof ldc);
        sensor.ldc_in2out = sensor.ldc_out2in = &grid;
        sensor.ldc_calib_domain = kind % 2;
    }
}

// A grid of 27 by 35 nodes, some of them spoiled.
class TakenGrid {
  public:
    explicit TakenGrid(Input& bytes) {
        for (uint32_t k = 0; k < EIS_GRID_POINTS; ++k) {
            _nodes[k] = {60.0f * (static_cast<float>(k % 35) - 17.0f),
                         45.0f * (static_cast<float>(k / 35) - 13.0f)};
        }
        spoil(bytes, _nodes, sizeof _nodes);
        const auto kind = static_cast<NcLibWarpGridExtrapolationType>(bytes.Get<uint8_t>() % 4);
        _record = {
            true,  {steadywarp::test::kWidth, steadywarp::test::kHeight}, 27, 35, _nodes, kind,
            _nodes};
        spoil(bytes, &_record.transformDefinedOn, sizeof _record.transformDefinedOn);
    }
    TakenGrid(const TakenGrid&) = delete;
    TakenGrid& operator=(const TakenGrid&) = delete;

    const NcLibWarpGrid& record() const { return _record; }

  private:
    NcLibWarpGridCoord _nodes[EIS_GRID_POINTS];
    NcLibWarpGrid _record{};
};

is_init_sensor_data take_sensor(Input& bytes, const is_init_common_data& common,
                                const NcLibWarpGrid& grid) {
    is_init_sensor_data sensor = valid_sensor();
    constexpr size_t kHead = offsetof(is_init_sensor_data, ldc_calib_domain);
    spoil(bytes, reinterpret_cast<char*>(&sensor) + kHead,
          offsetof(is_init_sensor_data, tuning) - kHead);
    take_optics(bytes, common.is_ifovc_enabled, grid, sensor);
    if (common.is_ois_enabled) {
        sensor.tuning.top.ois_frequency = 500;
        sensor.tuning.ois.module_type = bytes.Get<uint8_t>() % 8;
        sensor.tuning.ois.data_conversion_x_tab[1] = 1.0f;
        sensor.tuning.ois.data_conversion_y_tab[2] = 1.0f;
    }
    sensor.tuning.dis.enable = 1;
    sensor.tuning.dis.confidence_threshold = 100;
    spoil(bytes, &sensor.tuning.top, sizeof sensor.tuning.top);
    spoil(bytes, &sensor.tuning.general, sizeof sensor.tuning.general);
    spoil(bytes, &sensor.tuning.blur_masking, sizeof sensor.tuning.blur_masking);
    spoil(bytes, &sensor.tuning.ois, sizeof sensor.tuning.ois);
    // Rates beyond this ask for memory and find nothing new.
    sensor.tuning.top.gyro_frequency %= 20000;
    sensor.tuning.top.ois_frequency %= 20000;
    sensor.tuning.top.ifovc_frequency %= 20000;
    return sensor;
}

std::vector<_sample_data_s> take_samples(Input& bytes, uint64_t around, double least = 0.0) {
    std::vector<_sample_data_s> samples(bytes.Get<uint8_t>() % 48);
    uint64_t ts = around - 40000;
    for (_sample_data_s& sample : samples) {
        const uint8_t kind = bytes.Get<uint8_t>();
        ts += kind < 240 ? 2000 : bytes.Get<uint64_t>();
        sample.ts = ts;
        sample.data[0] = kind % 16 != 0 ? 0.05 * (kind % 7) : bytes.Get<double>();
        sample.data[1] = least + 0.01 * (kind % 5);
    }
    return samples;
}

void run_frame(Input& bytes, eis_context* context, uint32_t frame_id, uint64_t& sof,
               OutputMemory& memory) {
    const uint8_t step = bytes.Get<uint8_t>();
    sof += step < 200 ? 33333 : step < 240 ? 100000u * (step - 199) : bytes.Get<uint64_t>();
    const std::vector<_sample_data_s> gyro = take_samples(bytes, sof);
    const std::vector<_sample_data_s> lens = take_samples(bytes, sof);
    is_input input{};
    input.frame_id = frame_id;
    input.active_sensor_idx = bytes.Get<uint8_t>() % 3;
    input.frame_time_input = {sof, 33333, 10000, 25000};
    input.window_regions = centred_windows();
    spoil(bytes, &input.frame_time_input.frame_time, 12);
    spoil(bytes, &input.window_regions, sizeof input.window_regions);
    input.gyro = {gyro.data(), static_cast<uint32_t>(gyro.size())};
    input.ois = {lens.data(), static_cast<uint32_t>(lens.size())};
    const std::vector<_sample_data_s> focus = take_samples(bytes, sof, 0.95);
    input.ifovc = {focus.data(), static_cast<uint32_t>(focus.size())};
    // One matrix serves as alignment and as upstream transform.
    const uint8_t parts = bytes.Get<uint8_t>();
    NcLibPerspTransformSingle matrix = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
    NcLibWarp warp{};
    warp.matrices = {true,   {VIRTUAL_DOMAIN_WIDTH, VIRTUAL_DOMAIN_HEIGHT}, CENTERED, 256, 1, 1,
                     &matrix};
    if ((parts & 3) != 0) {
        spoil(bytes, &matrix, sizeof matrix);
        warp.direction = (parts >> 2) & 1;
        input.sat = (parts & 1) != 0 ? &warp : nullptr;
        input.pre_eis_transform_margins_reduction = (parts & 2) != 0 ? &warp : nullptr;
    }
    is_time_intervals intervals{};
    eis2_get_time_intervals(context, &input.frame_time_input, input.active_sensor_idx, &intervals);
    eis2_process(context, &input, &memory.output);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input bytes(data, size);
    const is_init_common_data common = take_common(bytes);
    const TakenGrid grid(bytes);
    std::vector<is_init_sensor_data> sensors;
    for (uint32_t i = bytes.Get<uint8_t>() % 3 + 1; i > 0; --i) {
        sensors.push_back(take_sensor(bytes, common, grid.record()));
    }
    eis_context* context = nullptr;
    if (eis2_initialize(&context, &common, sensors.data(), static_cast<uint32_t>(sensors.size())) !=
        EIS_SUCCESS) {
        return 0;
    }
    OutputMemory memory;
    uint64_t sof = 2000000;
    for (uint32_t frame = 1; frame < 64 && bytes.Left() > 0; ++frame) {
        run_frame(bytes, context, frame, sof, memory);
    }
    eis2_deinitialize(&context);
    return 0;
}
