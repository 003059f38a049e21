// SPDX-License-Identifier: Apache-2.0
/// @file picture_sink.hpp
/// What a run hands its warps to when there is video; the figures that come back.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "analysis/high_pass.hpp"
#include "input/recording.hpp"
#include "input/result.hpp"
#include "stream/stabilizer.hpp"

namespace steadywarp::tool {

/// A measure before and after.
struct BeforeAfter {
    std::optional<double> before;
    std::optional<double> after;
};

/// How much the content moves above one frequency, RMS.
struct PixelShake {
    double above_hz = 0.0;
    BeforeAfter px;  ///< both axes together
    BeforeAfter across_px;
    BeforeAfter down_px;
    BeforeAfter turn_rad;
};

/// What the pixels say; lengths in pixels of the input.
struct PixelFigures {
    size_t pictures = 0;
    size_t without_warp = 0;  ///< shown cropped, but not stabilized
    bool tracked = false;     ///< whether the figures below were measured
    std::array<PixelShake, 2> shake;
    BeforeAfter bow_px;          ///< median bow of upright edges
    BeforeAfter largest_bow_px;  ///< 95th of a hundred bows
    size_t edges_before = 0;
    size_t edges_after = 0;
    size_t lost_steps = 0;  ///< steps between pictures that could not be tracked
    /// Share of output pixels that have no counterpart in the input: of all, and of frames that
    /// are feasible.
    double empty_share = 0.0;
    double empty_share_feasible = 0.0;
    double seconds_drawing = 0.0;  ///< warping alone, of all pictures
};

/// One picture of the filmstrip.
struct FilmPicture {
    uint32_t frame = 0;
    std::string before;  ///< JPEG files
    std::string after;
};

/// Content paths of a tracked video, an entry per picture.
struct ContentPaths {
    std::vector<uint32_t> frame;
    Signal before_x;
    Signal before_y;
    Signal after_x;
    Signal after_y;
};

/// Takes every frame of a recording in order.
class PictureSink {
  public:
    virtual ~PictureSink() = default;

    /// @param warp NULL if the frame has none. @param feasible its window lies inside the input.
    virtual std::optional<Fault> add(const Frame& frame, const FrameWarp* warp, bool feasible) = 0;
    /// From the next frame on the camera's tuning is another, and so are the windows.
    virtual void retune(const Camera& camera, const is_window_regions& windows) = 0;
    virtual std::optional<Fault> finish() = 0;

    /// Valid after finish().
    virtual PixelFigures figures() const = 0;
    virtual const std::vector<FilmPicture>& film() const = 0;
    virtual ContentPaths paths() const = 0;
};

}  // namespace steadywarp::tool
