// SPDX-License-Identifier: Apache-2.0
// The stabilizer's exported functions on records cut out of the input bytes.
//
// The first bytes spoil words of a right configuration; each further chunk is a frame: spoiled
// words of its input, a number of samples, and what they hold. Arrays have the memory they claim.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "steadywarp/eis.h"
#include "support/records.hpp"
#include "support/stream.hpp"

namespace {

using steadywarp::test::centred_windows;
using steadywarp::test::OutputMemory;
using steadywarp::test::valid_common;
using steadywarp::test::valid_sensor;

// Reads values off the front of the input; zero once it is used up.
class Bytes {
  public:
    Bytes(const uint8_t* data, size_t size) : _data(data), _size(size) {}

    bool is_empty() const { return _size == 0; }

    template <typename T>
    T take() {
        T value{};
        const size_t count = std::min(sizeof value, _size);
        std::memcpy(&value, _data, count);
        _data += count;
        _size -= count;
        return value;
    }

    /// Replace up to three words of a record.
    void spoil(void* record, size_t size) {
        for (uint32_t i = take<uint8_t>() % 4; i > 0; --i) {
            const size_t word = take<uint16_t>() % (size / 4);
            const uint32_t value = take<uint32_t>();
            std::memcpy(static_cast<char*>(record) + 4 * word, &value, 4);
        }
    }

  private:
    const uint8_t* _data;
    size_t _size;
};

is_init_common_data take_common(Bytes& bytes) {
    is_init_common_data common = valid_common();
    bytes.spoil(&common, offsetof(is_init_common_data, do_virtual_upscale_in_transform) / 4 * 4);
    const uint16_t flags = bytes.take<uint16_t>();
    common.do_virtual_upscale_in_transform = (flags & 1) != 0;
    common.force_split_grid_matrix = (flags & 2) != 0;
    common.is_sat_enabled = (flags & 0x70) == 0x70;
    common.is_ois_enabled = (flags & 8) != 0;
    common.is_dis_enabled = (flags & 0x700) == 0x700;
    return common;
}

is_init_sensor_data take_sensor(Bytes& bytes, bool has_lens) {
    is_init_sensor_data sensor = valid_sensor();
    constexpr size_t kHead = offsetof(is_init_sensor_data, ldc_calib_domain);
    bytes.spoil(reinterpret_cast<char*>(&sensor) + kHead,
                offsetof(is_init_sensor_data, tuning) - kHead);
    if (has_lens) {
        sensor.tuning.top.ois_frequency = 500;
        sensor.tuning.ois.module_type = bytes.take<uint8_t>() % 8;
        sensor.tuning.ois.data_conversion_x_tab[1] = 1.0f;
        sensor.tuning.ois.data_conversion_y_tab[2] = 1.0f;
    }
    bytes.spoil(&sensor.tuning.top, sizeof sensor.tuning.top);
    bytes.spoil(&sensor.tuning.general, sizeof sensor.tuning.general);
    bytes.spoil(&sensor.tuning.blur_masking, sizeof sensor.tuning.blur_masking);
    bytes.spoil(&sensor.tuning.ois, sizeof sensor.tuning.ois);
    // Rates beyond this ask for memory and find nothing new.
    sensor.tuning.top.gyro_frequency %= 20000;
    sensor.tuning.top.ois_frequency %= 20000;
    return sensor;
}

std::vector<_sample_data_s> take_samples(Bytes& bytes, uint64_t around) {
    std::vector<_sample_data_s> samples(bytes.take<uint8_t>() % 48);
    uint64_t ts = around - 40000;
    for (_sample_data_s& sample : samples) {
        const uint8_t kind = bytes.take<uint8_t>();
        ts += kind < 240 ? 2000 : bytes.take<uint64_t>();
        sample.ts = ts;
        sample.data[0] = kind % 16 != 0 ? 0.05 * (kind % 7) : bytes.take<double>();
        sample.data[1] = 0.01 * (kind % 5);
    }
    return samples;
}

void run_frame(Bytes& bytes, eis_context* context, uint32_t frame_id, uint64_t& sof,
               OutputMemory& memory) {
    const uint8_t step = bytes.take<uint8_t>();
    sof += step < 200 ? 33333 : step < 240 ? 100000u * (step - 199) : bytes.take<uint64_t>();
    const std::vector<_sample_data_s> gyro = take_samples(bytes, sof);
    const std::vector<_sample_data_s> lens = take_samples(bytes, sof);
    is_input input{};
    input.frame_id = frame_id;
    input.active_sensor_idx = bytes.take<uint8_t>() % 3;
    input.frame_time_input = {sof, 33333, 10000, 25000};
    input.window_regions = centred_windows();
    bytes.spoil(&input.frame_time_input.frame_time, 12);
    bytes.spoil(&input.window_regions, sizeof input.window_regions);
    input.gyro = {gyro.data(), static_cast<uint32_t>(gyro.size())};
    input.ois = {lens.data(), static_cast<uint32_t>(lens.size())};
    is_time_intervals intervals{};
    eis2_get_time_intervals(context, &input.frame_time_input, input.active_sensor_idx, &intervals);
    eis2_process(context, &input, &memory.output);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Bytes bytes(data, size);
    const is_init_common_data common = take_common(bytes);
    std::vector<is_init_sensor_data> sensors;
    for (uint32_t i = bytes.take<uint8_t>() % 3 + 1; i > 0; --i) {
        sensors.push_back(take_sensor(bytes, common.is_ois_enabled));
    }
    eis_context* context = nullptr;
    if (eis2_initialize(&context, &common, sensors.data(), static_cast<uint32_t>(sensors.size())) !=
        EIS_SUCCESS) {
        return 0;
    }
    OutputMemory memory;
    uint64_t sof = 2000000;
    for (uint32_t frame = 1; frame < 64 && !bytes.is_empty(); ++frame) {
        run_frame(bytes, context, frame, sof, memory);
    }
    eis2_deinitialize(&context);
    return 0;
}
