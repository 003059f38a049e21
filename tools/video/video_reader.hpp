// SPDX-License-Identifier: Apache-2.0
/// @file video_reader.hpp
/// A video file in, one picture after the other; its sound as it is stored.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "input/result.hpp"
#include "video/picture.hpp"

namespace steadywarp::tool {

class VideoWriter;

/// An open video file.
class VideoReader {
  public:
    /// Open the first video stream of a file.
    static Result<std::unique_ptr<VideoReader>> open(const std::string& path);

    ~VideoReader();
    VideoReader(const VideoReader&) = delete;
    VideoReader& operator=(const VideoReader&) = delete;

    uint32_t width() const;
    uint32_t height() const;

    /// From now on, sound that is met on the way to a picture goes to `writer`, unchanged.
    void pass_sound_to(VideoWriter* writer);

    /// Decode the next picture, in the order of display.
    ///
    /// Any pixel format is converted; the picture has the size of the stream.
    /// @return false at the end and after a fault.
    bool next(Picture& picture);

    /// Time of the picture that next() gave last, in units of the stream.
    int64_t time() const;

    /// What ended the file early, if anything did.
    const std::optional<Fault>& fault() const;

  private:
    friend class VideoWriter;
    friend Result<std::vector<int64_t>> video_times(const std::string& path);
    friend std::string container_for(const VideoReader& source);
    struct State;
    explicit VideoReader(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

/// Times of all pictures of a file in order of display, microseconds from the first, read from its
/// packets without decoding them.
Result<std::vector<int64_t>> video_times(const std::string& path);

}  // namespace steadywarp::tool
