// SPDX-License-Identifier: Apache-2.0
/// @file non_future_looking_filter.hpp
/// The filter that looks at no future frame: a falling window over the last orientations of each
/// axis, which grows while the device shakes and shrinks while it pans.
#pragma once

#include <array>
#include <cstdint>

#include "filter/filter.hpp"
#include "filter/orientation_history.hpp"

namespace steadywarp {

class NonFutureLookingFilter_TimeVaryingWin final : public Filter {
  public:
    /// Longest window, frames.
    static constexpr uint32_t kMaxWindow = 100;

    /// @param cameras one per sensor; must outlive the filter.
    /// @param status set on failure; a buffer above 1 is refused.
    NonFutureLookingFilter_TimeVaryingWin(const Camera* cameras, const BlurMaskingParams* blur,
                                          unsigned int num_sensors,
                                          const FilterNFL_TimeVaryingW_Params* params,
                                          uint32_t& status);

    uint32_t update(const FrameRings& rings) override;
    void set_first_frame() override;
    void debug() override {}
    uint32_t filter_core(const FrameRings& rings) override;
    uint32_t filter_history(const FrameRings&) override { return 0; }

    /// Window in force on an axis, frames.
    uint32_t window(uint32_t axis) const { return _window[axis]; }
    const FilterNFL_TimeVaryingW_Params& params() const { return _params; }

  private:
    using Kernel = std::array<float, kMaxWindow>;

    void follow_frame_rate(uint32_t frame_time_us);
    bool is_starting() const { return frame_counter() + 1 < _params.history_length; }
    void update_windows();
    std::array<int32_t, 3> most_sign_changes() const;
    Vec3<double> average(uint32_t window) const;

    FilterNFL_TimeVaryingW_Params _params;
    OrientationHistory _orientation_history;
    std::array<uint32_t, 3> _window{};
    /// Row L - 1 is the window of L frames, newest first, sum 1; the rest of the row is 0.
    std::array<Kernel, kMaxWindow> _kernel{};
};

}  // namespace steadywarp
