// SPDX-License-Identifier: Apache-2.0
/// @file picture_tracker.hpp
/// How the content of a video moves from picture to picture, from its pixels alone.
///
/// Corners of the content are followed by the pyramidal Lucas-Kanade method; the homography that
/// most of them agree on (RANSAC), which any turn of a camera is, tells how the middle has moved.
#pragma once

#include <memory>

#include "analysis/high_pass.hpp"
#include "video/picture.hpp"

namespace steadywarp::tool {

/// Follows one video.
class PictureTracker {
  public:
    /// @param scale what a pixel of these pictures is worth in the pixels to report in.
    explicit PictureTracker(double scale);
    ~PictureTracker();
    PictureTracker(const PictureTracker&) = delete;
    PictureTracker& operator=(const PictureTracker&) = delete;

    /// Add the next picture; all have one size. @param t_us increases from call to call.
    void add(const Plane& brightness, double t_us);

    /// Where the content in the middle of the picture has gone since the first one, pixels to the
    /// right and down.
    const Signal& across() const;
    const Signal& down() const;
    /// How far it has turned, radians, clockwise.
    const Signal& turn() const;

    /// Steps between pictures in which too few points agreed; the content counts as standing still.
    size_t lost_steps() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace steadywarp::tool
