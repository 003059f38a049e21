// SPDX-License-Identifier: Apache-2.0
#include "video/video_reader.hpp"

#include <algorithm>

#include "video/libav.hpp"

namespace steadywarp::tool {
namespace {

Fault cannot_read(const std::string& path, const std::string& why) {
    return {path, 0, "expected a video: " + why};
}

/// Open a container and find its video stream.
std::optional<Fault> open_container(const std::string& path, AVFormatContext*& container,
                                    AVStream*& stream) {
    av_log_set_level(AV_LOG_ERROR);
    int status = avformat_open_input(&container, path.c_str(), nullptr, nullptr);
    if (status >= 0) {
        status = avformat_find_stream_info(container, nullptr);
    }
    if (status < 0) {
        return cannot_read(path, av_reason(status));
    }
    const int index = av_find_best_stream(container, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) {
        return cannot_read(path, "the file holds no pictures");
    }
    stream = container->streams[index];
    return std::nullopt;
}

bool is_plain(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P;
}

}  // namespace

VideoReader::VideoReader(std::unique_ptr<State> state) : state_(std::move(state)) {}
VideoReader::~VideoReader() = default;

Result<std::unique_ptr<VideoReader>> VideoReader::open(const std::string& path) {
    auto state = std::make_unique<State>();
    state->path = path;
    if (auto fault = open_container(path, state->container, state->stream)) {
        return *fault;
    }
    const AVCodecParameters& parameters = *state->stream->codecpar;
    const AVCodec* const decoder = avcodec_find_decoder(parameters.codec_id);
    if (decoder == nullptr) {
        return cannot_read(path, "no decoder for its pictures");
    }
    state->codec.reset(avcodec_alloc_context3(decoder));
    state->packet.reset(av_packet_alloc());
    state->frame.reset(av_frame_alloc());
    if (!state->codec || !state->packet || !state->frame) {
        return cannot_read(path, "no memory");
    }
    int status = avcodec_parameters_to_context(state->codec.get(), &parameters);
    state->codec->thread_count = 0;
    if (status >= 0) {
        status = avcodec_open2(state->codec.get(), decoder, nullptr);
    }
    if (status < 0 || state->codec->width < 16 || state->codec->height < 16) {
        return cannot_read(path, status < 0 ? av_reason(status) : "pictures of 16 pixels or more");
    }
    return std::unique_ptr<VideoReader>(new VideoReader(std::move(state)));
}

uint32_t VideoReader::width() const {
    return static_cast<uint32_t>(state_->codec->width);
}

uint32_t VideoReader::height() const {
    return static_cast<uint32_t>(state_->codec->height);
}

void VideoReader::pass_sound_to(VideoWriter* writer) {
    state_->sound_to = writer;
}

int64_t VideoReader::time() const {
    return state_->time;
}

const std::optional<Fault>& VideoReader::fault() const {
    return state_->fault;
}

/// Hand the decoder one more packet of pictures, and the sound ahead of it to its writer.
int VideoReader::State::feed() {
    for (;;) {
        int status = av_read_frame(container, packet.get());
        if (status == AVERROR_EOF) {
            at_end = true;
            return avcodec_send_packet(codec.get(), nullptr);
        }
        if (status < 0) {
            return status;
        }
        const bool picture = packet->stream_index == stream->index;
        if (picture) {
            status = avcodec_send_packet(codec.get(), packet.get());
        } else if (sound_to != nullptr) {
            sound_to->add_sound(*packet);
        }
        av_packet_unref(packet.get());
        if (picture) {
            // A damaged packet costs its picture, not the film.
            return status == AVERROR_INVALIDDATA ? 0 : status;
        }
    }
}

bool VideoReader::State::convert(Picture& picture) {
    picture.resize(static_cast<uint32_t>(codec->width), static_cast<uint32_t>(codec->height));
    if (is_plain(frame->format) && frame->width == codec->width && frame->height == codec->height) {
        copy_out(*frame, picture);
        return true;
    }
    scaler.reset(sws_getCachedContext(
        scaler.release(), frame->width, frame->height, static_cast<AVPixelFormat>(frame->format),
        codec->width, codec->height, AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!scaler) {
        return false;
    }
    uint8_t* to[4] = {};
    int steps[4] = {};
    for (size_t p = 0; p < 3; ++p) {
        to[p] = picture.planes[p].samples.data();
        steps[p] = static_cast<int>(picture.planes[p].width);
    }
    return sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, to, steps) > 0;
}

bool VideoReader::next(Picture& picture) {
    State& s = *state_;
    for (;;) {
        const int status = avcodec_receive_frame(s.codec.get(), s.frame.get());
        if (status >= 0) {
            // A bare stream may know no times: one unit after the other then.
            const int64_t stamp = s.frame->best_effort_timestamp;
            s.time = stamp != AV_NOPTS_VALUE ? stamp : s.time + 1;
            return s.convert(picture);
        }
        if (status == AVERROR_EOF) {
            return false;
        }
        const int fed = status == AVERROR(EAGAIN) && !s.at_end ? s.feed() : status;
        if (fed < 0 && fed != AVERROR_EOF) {
            s.fault = cannot_read(s.path, av_reason(fed));
            return false;
        }
    }
}

Result<std::vector<int64_t>> video_times(const std::string& path) {
    VideoReader::State state;
    if (auto fault = open_container(path, state.container, state.stream)) {
        return *fault;
    }
    state.packet.reset(av_packet_alloc());
    std::vector<int64_t> times;
    while (state.packet && av_read_frame(state.container, state.packet.get()) >= 0) {
        if (state.packet->stream_index == state.stream->index &&
            state.packet->pts != AV_NOPTS_VALUE &&
            (state.packet->flags & AV_PKT_FLAG_DISCARD) == 0) {
            times.push_back(
                av_rescale_q(state.packet->pts, state.stream->time_base, AVRational{1, 1000000}));
        }
        av_packet_unref(state.packet.get());
    }
    if (times.empty()) {
        return cannot_read(path, "its pictures have no times");
    }
    std::sort(times.begin(), times.end());
    for (size_t i = times.size(); i-- > 0;) {
        times[i] -= times[0];
    }
    return times;
}

}  // namespace steadywarp::tool
