// SPDX-License-Identifier: Apache-2.0
#include "video/video_writer.hpp"

#include <cmath>
#include <map>

#include "video/libav.hpp"

namespace steadywarp::tool {

/// An open output file.
struct VideoWriter::State {
    ~State() {
        if (container != nullptr) {
            avio_closep(&container->pb);
            avformat_free_context(container);
        }
    }

    Fault fault(int status) const { return {path, 0, "cannot be written: " + av_reason(status)}; }

    std::string path;
    AVFormatContext* container = nullptr;
    AVStream* stream = nullptr;
    AvPointer<AVCodecContext> codec;
    AvPointer<AVPacket> packet;
    AvPointer<AVFrame> frame;
    /// Streams of sound: index in the source, and where each goes.
    std::map<int, AVStream*> sound;
    std::map<int, AVRational> sound_units;
    int sound_status = 0;
    AVRational unit{1, 1000000};  ///< of the times that add() is given

    int open_codec(const VideoFormat& format, const AVCodecContext* like);
    int add_streams(const VideoFormat& format, const AVFormatContext* source, const AVStream* like);
    int drain();
};

namespace {

/// H.264 by the usual encoder, else MPEG-4, which is always there.
const AVCodec* choose_encoder() {
    const AVCodec* const h264 = avcodec_find_encoder_by_name("libx264");
    return h264 != nullptr ? h264 : avcodec_find_encoder(AV_CODEC_ID_MPEG4);
}

bool is_sound(const AVStream& stream) {
    return stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
}

void copy_rotation(const AVStream& from, AVStream& to) {
    size_t size = 0;
    const uint8_t* const matrix = av_stream_get_side_data(&from, AV_PKT_DATA_DISPLAYMATRIX, &size);
    uint8_t* const copy =
        matrix != nullptr ? av_stream_new_side_data(&to, AV_PKT_DATA_DISPLAYMATRIX, size) : nullptr;
    if (copy != nullptr) {
        std::copy(matrix, matrix + size, copy);
    }
}

AvPointer<AVFrame> new_frame(uint32_t width, uint32_t height, AVPixelFormat format) {
    AvPointer<AVFrame> frame(av_frame_alloc());
    if (frame) {
        frame->format = format;
        frame->width = static_cast<int>(width);
        frame->height = static_cast<int>(height);
        if (av_frame_get_buffer(frame.get(), 0) < 0) {
            frame.reset();
        }
    }
    return frame;
}

}  // namespace

std::string container_for(const VideoReader& source) {
    const AVFormatContext& container = *source.state_->container;
    for (const char* name : {"mp4", "mov"}) {
        const AVOutputFormat* const format = av_guess_format(name, nullptr, nullptr);
        bool holds_all = format != nullptr;
        for (unsigned i = 0; i < container.nb_streams && holds_all; ++i) {
            const AVStream& stream = *container.streams[i];
            holds_all = !is_sound(stream) || avformat_query_codec(format, stream.codecpar->codec_id,
                                                                  FF_COMPLIANCE_NORMAL) == 1;
        }
        if (holds_all) {
            return name;
        }
    }
    return "mkv";
}

VideoWriter::VideoWriter(std::unique_ptr<State> state) : state_(std::move(state)) {}
VideoWriter::~VideoWriter() = default;

int VideoWriter::State::open_codec(const VideoFormat& format, const AVCodecContext* like) {
    const AVCodec* const encoder = choose_encoder();
    codec.reset(encoder != nullptr ? avcodec_alloc_context3(encoder) : nullptr);
    if (!codec) {
        return AVERROR_ENCODER_NOT_FOUND;
    }
    codec->width = static_cast<int>(format.width);
    codec->height = static_cast<int>(format.height);
    codec->pix_fmt = AV_PIX_FMT_YUV420P;
    codec->framerate = av_d2q(format.fps, 100000);
    // MPEG-4 stores its time unit in 16 bits.
    codec->time_base = encoder->id == AV_CODEC_ID_MPEG4 ? AVRational{1, 60000} : unit;
    codec->gop_size = 60;
    codec->thread_count = 2;  // fixed: another number gives another, equally good, file
    codec->color_range = AVCOL_RANGE_MPEG;
    codec->colorspace = AVCOL_SPC_SMPTE170M;
    if (like != nullptr) {
        codec->color_range = like->color_range;
        codec->colorspace = like->colorspace;
        codec->color_primaries = like->color_primaries;
        codec->color_trc = like->color_trc;
        codec->sample_aspect_ratio = like->sample_aspect_ratio;
    }
    if ((container->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    AVDictionary* options = nullptr;
    if (encoder->id == AV_CODEC_ID_H264) {
        av_dict_set(&options, "preset", "superfast", 0);
        av_dict_set(&options, "crf", "18", 0);
    } else {
        codec->flags |= AV_CODEC_FLAG_QSCALE;
        codec->global_quality = 3 * FF_QP2LAMBDA;
    }
    const int status = avcodec_open2(codec.get(), encoder, &options);
    av_dict_free(&options);
    return status;
}

int VideoWriter::State::add_streams(const VideoFormat& format, const AVFormatContext* source,
                                    const AVStream* like) {
    stream = avformat_new_stream(container, nullptr);
    if (stream == nullptr) {
        return AVERROR(ENOMEM);
    }
    stream->time_base = codec->time_base;
    stream->avg_frame_rate = codec->framerate;
    int status = avcodec_parameters_from_context(stream->codecpar, codec.get());
    if (like != nullptr) {
        copy_rotation(*like, *stream);
    }
    const unsigned count = source != nullptr && format.with_sound ? source->nb_streams : 0;
    for (unsigned i = 0; i < count && status >= 0; ++i) {
        const AVStream& from = *source->streams[i];
        AVStream* const to = is_sound(from) ? avformat_new_stream(container, nullptr) : nullptr;
        if (to == nullptr) {
            continue;
        }
        status = avcodec_parameters_copy(to->codecpar, from.codecpar);
        to->codecpar->codec_tag = 0;
        to->time_base = from.time_base;
        sound[from.index] = to;
        sound_units[from.index] = from.time_base;
    }
    return status;
}

Result<std::unique_ptr<VideoWriter>> VideoWriter::open(const std::string& path,
                                                       const std::string& container,
                                                       const VideoFormat& format) {
    av_log_set_level(AV_LOG_ERROR);
    if (format.width % 2 != 0 || format.height % 2 != 0 || format.width < 16 ||
        format.height < 16) {
        return Fault{path, 0, "expected a video of even width and height, 16 or more"};
    }
    auto state = std::make_unique<State>();
    state->path = path;
    const VideoReader::State* const like =
        format.like != nullptr ? format.like->state_.get() : nullptr;
    const char* const name = container == "mkv" ? "matroska" : container.c_str();
    if (like != nullptr) {
        state->unit = like->stream->time_base;
    }
    int status = avformat_alloc_output_context2(&state->container, nullptr, name, path.c_str());
    if (status >= 0) {
        state->container->flags |= AVFMT_FLAG_BITEXACT;
        status = state->open_codec(format, like != nullptr ? like->codec.get() : nullptr);
    }
    if (status >= 0) {
        status = state->add_streams(format, like != nullptr ? like->container : nullptr,
                                    like != nullptr ? like->stream : nullptr);
    }
    if (status >= 0) {
        status = avio_open(&state->container->pb, path.c_str(), AVIO_FLAG_WRITE);
    }
    if (status >= 0) {
        status = avformat_write_header(state->container, nullptr);
    }
    state->packet.reset(av_packet_alloc());
    state->frame = new_frame(format.width, format.height, AV_PIX_FMT_YUV420P);
    if (status >= 0 && (!state->packet || !state->frame)) {
        status = AVERROR(ENOMEM);
    }
    if (status < 0) {
        return state->fault(status);
    }
    return std::unique_ptr<VideoWriter>(new VideoWriter(std::move(state)));
}

/// Move what the encoder has ready into the file.
int VideoWriter::State::drain() {
    for (;;) {
        int status = avcodec_receive_packet(codec.get(), packet.get());
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) {
            return 0;
        }
        if (status < 0) {
            return status;
        }
        packet->stream_index = stream->index;
        av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
        status = av_interleaved_write_frame(container, packet.get());
        if (status < 0) {
            return status;
        }
    }
}

std::optional<Fault> VideoWriter::add(const Picture& picture, int64_t time) {
    State& s = *state_;
    int status = av_frame_make_writable(s.frame.get());
    if (status >= 0) {
        copy_in(picture, *s.frame);
        s.frame->pts = av_rescale_q(time, s.unit, s.codec->time_base);
        status = avcodec_send_frame(s.codec.get(), s.frame.get());
    }
    if (status >= 0) {
        status = s.drain();
    }
    return status < 0 ? std::optional(s.fault(status)) : std::nullopt;
}

std::optional<Fault> VideoWriter::finish() {
    State& s = *state_;
    int status = avcodec_send_frame(s.codec.get(), nullptr);
    if (status >= 0) {
        status = s.drain();
    }
    if (status >= 0) {
        status = s.sound_status;
    }
    if (status >= 0) {
        status = av_write_trailer(s.container);
    }
    if (status >= 0) {
        status = avio_closep(&s.container->pb);
    }
    return status < 0 ? std::optional(s.fault(status)) : std::nullopt;
}

void VideoWriter::add_sound(const AVPacket& packet) {
    State& s = *state_;
    const auto to = s.sound.find(packet.stream_index);
    if (to == s.sound.end() || s.sound_status < 0) {
        return;
    }
    AvPointer<AVPacket> copy(av_packet_clone(&packet));
    if (!copy) {
        s.sound_status = AVERROR(ENOMEM);
        return;
    }
    copy->stream_index = to->second->index;
    copy->pos = -1;
    av_packet_rescale_ts(copy.get(), s.sound_units[packet.stream_index], to->second->time_base);
    s.sound_status = av_interleaved_write_frame(s.container, copy.get());
}

Picture scaled(const Picture& picture, uint32_t width, uint32_t height) {
    Picture out;
    out.resize(width, height);
    const AvPointer<SwsContext> scaler(
        sws_getContext(static_cast<int>(picture.width()), static_cast<int>(picture.height()),
                       AV_PIX_FMT_YUV420P, static_cast<int>(width), static_cast<int>(height),
                       AV_PIX_FMT_YUV420P, SWS_AREA, nullptr, nullptr, nullptr));
    const uint8_t* from[4] = {};
    int from_steps[4] = {};
    uint8_t* to[4] = {};
    int to_steps[4] = {};
    for (size_t p = 0; p < 3; ++p) {
        from[p] = picture.planes[p].samples.data();
        from_steps[p] = static_cast<int>(picture.planes[p].width);
        to[p] = out.planes[p].samples.data();
        to_steps[p] = static_cast<int>(out.planes[p].width);
    }
    if (scaler) {
        sws_scale(scaler.get(), from, from_steps, 0, static_cast<int>(picture.height()), to,
                  to_steps);
    }
    return out;
}

std::string jpeg(const Picture& picture, int quality) {
    const AVCodec* const encoder = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
    const AvPointer<AVCodecContext> codec(encoder != nullptr ? avcodec_alloc_context3(encoder)
                                                             : nullptr);
    const AvPointer<AVPacket> packet(av_packet_alloc());
    const AvPointer<AVFrame> frame =
        new_frame(picture.width(), picture.height(), AV_PIX_FMT_YUVJ420P);
    if (!codec || !packet || !frame) {
        return {};
    }
    codec->width = frame->width;
    codec->height = frame->height;
    codec->pix_fmt = AV_PIX_FMT_YUVJ420P;
    codec->time_base = {1, 25};
    codec->flags |= AV_CODEC_FLAG_QSCALE;
    codec->global_quality = quality * FF_QP2LAMBDA;
    frame->quality = codec->global_quality;
    // JPEG is wide range; the picture's narrow range is stretched on the way.
    copy_in(picture, *frame);
    for (int p = 0; p < 3; ++p) {
        const int rows = p == 0 ? frame->height : (frame->height + 1) / 2;
        const int columns = p == 0 ? frame->width : (frame->width + 1) / 2;
        const int zero = p == 0 ? 16 : 128;
        const double gain = p == 0 ? 255.0 / 219.0 : 255.0 / 224.0;
        const int base = p == 0 ? 0 : 128;
        for (int y = 0; y < rows; ++y) {
            uint8_t* const row = frame->data[p] + static_cast<ptrdiff_t>(y) * frame->linesize[p];
            for (int x = 0; x < columns; ++x) {
                const long value = std::lround(base + (row[x] - zero) * gain);
                row[x] = static_cast<uint8_t>(value < 0 ? 0 : (value > 255 ? 255 : value));
            }
        }
    }
    if (avcodec_open2(codec.get(), encoder, nullptr) < 0 ||
        avcodec_send_frame(codec.get(), frame.get()) < 0 ||
        avcodec_receive_packet(codec.get(), packet.get()) < 0) {
        return {};
    }
    return {reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size)};
}

}  // namespace steadywarp::tool
