// SPDX-License-Identifier: Apache-2.0
/// @file video_writer.hpp
/// Pictures out into a video file, with the times and the sound of another.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "input/result.hpp"
#include "video/picture.hpp"

struct AVPacket;

namespace steadywarp::tool {

class VideoReader;

/// How a video is stored.
struct VideoFormat {
    uint32_t width = 0;   ///< even
    uint32_t height = 0;  ///< even
    double fps = 30.0;    ///< nominal; times of pictures decide
    /// Take over time unit, colour description, display rotation and sound; NULL: microseconds,
    /// no sound.
    const VideoReader* like = nullptr;
    bool with_sound = true;
};

/// The ending that suits the sound of a file: "mp4" unless that container cannot hold it.
std::string container_for(const VideoReader& source);

/// A video file being written: H.264 where the machine has an encoder for it, else MPEG-4.
///
/// Nothing in it depends on the clock or the machine's load: the same pictures give the same file.
class VideoWriter {
  public:
    /// @param path where to write; @param container "mp4", "mov" or "mkv".
    static Result<std::unique_ptr<VideoWriter>> open(const std::string& path,
                                                     const std::string& container,
                                                     const VideoFormat& format);
    ~VideoWriter();
    VideoWriter(const VideoWriter&) = delete;
    VideoWriter& operator=(const VideoWriter&) = delete;

    /// Add a picture of the format's size. @param time in units of the stream that it is like, else
    /// microseconds; increases from call to call.
    std::optional<Fault> add(const Picture& picture, int64_t time);

    /// Write what the encoder still holds, and the end of the file.
    std::optional<Fault> finish();

  private:
    friend class VideoReader;
    struct State;
    explicit VideoWriter(std::unique_ptr<State> state);
    /// Take a packet of a stream of the reader; packets of streams that are not sound are left out.
    void add_sound(const AVPacket& packet);
    std::unique_ptr<State> state_;
};

/// A picture as a JPEG file in memory; empty if that fails. @param quality 2 (best) to 31.
std::string jpeg(const Picture& picture, int quality);

/// A picture at another size, smoothly.
Picture scaled(const Picture& picture, uint32_t width, uint32_t height);

}  // namespace steadywarp::tool
