// SPDX-License-Identifier: Apache-2.0
/// @file libav.hpp
/// What the video sources share of the library that reads and writes video.
#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include "video/video_reader.hpp"
#include "video/video_writer.hpp"

namespace steadywarp::tool {

/// Frees what the library allocated.
struct FreeAv {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

template <class T>
using AvPointer = std::unique_ptr<T, FreeAv>;

/// The library's word for a failure.
inline std::string av_reason(int status) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(status, text, sizeof text);
    return text;
}

/// An open input file.
struct VideoReader::State {
    ~State() { avformat_close_input(&container); }

    std::string path;
    AVFormatContext* container = nullptr;
    AVStream* stream = nullptr;
    AvPointer<AVCodecContext> codec;
    AvPointer<AVPacket> packet;
    AvPointer<AVFrame> frame;
    AvPointer<SwsContext> scaler;
    VideoWriter* sound_to = nullptr;
    bool at_end = false;
    int64_t time = 0;
    std::optional<Fault> fault;

    int feed();
    bool convert(Picture& picture);
};

/// Copy planes into a frame's memory, or out of it.
inline void copy_out(const AVFrame& frame, Picture& picture) {
    for (size_t p = 0; p < 3; ++p) {
        Plane& plane = picture.planes[p];
        av_image_copy_plane(plane.samples.data(), static_cast<int>(plane.width), frame.data[p],
                            frame.linesize[p], static_cast<int>(plane.width),
                            static_cast<int>(plane.height));
    }
}

inline void copy_in(const Picture& picture, AVFrame& frame) {
    for (size_t p = 0; p < 3; ++p) {
        const Plane& plane = picture.planes[p];
        av_image_copy_plane(frame.data[p], frame.linesize[p], plane.samples.data(),
                            static_cast<int>(plane.width), static_cast<int>(plane.width),
                            static_cast<int>(plane.height));
    }
}

}  // namespace steadywarp::tool
