// SPDX-License-Identifier: Apache-2.0
#include "command/video_output.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>

#include "render/warped_picture.hpp"
#include "track/edge_bow.hpp"
#include "track/picture_tracker.hpp"
#include "video/video_reader.hpp"
#include "video/video_writer.hpp"

namespace steadywarp::tool {
namespace {

constexpr std::array<double, 2> kShakeCuts = {0.5, 2.0};
/// Edges are measured in every n-th picture; they change slowly against their number.
constexpr size_t kBowStride = 4;
constexpr size_t kFilmPictures = 12;
constexpr uint32_t kFilmHeight = 160;

uint32_t even(double value) {
    return 2 * static_cast<uint32_t>(std::lround(std::max(value, 16.0) * 0.5));
}

/// Pixels of one of the two videos, before or after.
struct Side {
    explicit Side(double scale) : pixel(scale), tracker(scale) {}

    void add(const Plane& brightness, double t_us, bool measure_edges) {
        tracker.add(brightness, t_us);
        if (measure_edges) {
            for (const EdgeBow& edge : measure_bows(brightness)) {
                bows.push_back(edge.bow_px * pixel);
            }
        }
    }

    double pixel;  ///< in pixels of the input
    PictureTracker tracker;
    std::vector<double> bows;
};

std::optional<double> ranked(std::vector<double> values, double part) {
    if (values.empty()) {
        return std::nullopt;
    }
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

std::optional<double> both_axes(const std::optional<double>& x, const std::optional<double>& y) {
    return x && y ? std::optional(std::sqrt(*x * *x + *y * *y)) : std::nullopt;
}

PixelShake shake_above(double hz, const Side& before, const Side& after, double period_us) {
    const auto rms = [&](const Signal& a, const Signal& b) {
        return BeforeAfter{rms_above(a, period_us, hz), rms_above(b, period_us, hz)};
    };
    PixelShake out;
    out.above_hz = hz;
    out.across_px = rms(before.tracker.across(), after.tracker.across());
    out.down_px = rms(before.tracker.down(), after.tracker.down());
    out.turn_rad = rms(before.tracker.turn(), after.tracker.turn());
    out.px = {both_axes(out.across_px.before, out.down_px.before),
              both_axes(out.across_px.after, out.down_px.after)};
    return out;
}

class VideoOutput : public PictureSink {
  public:
    VideoOutput(const VideoTask& task, const RecordingSource& source,
                const is_window_regions& windows, std::unique_ptr<VideoReader> reader)
        : task_(task),
          source_(source),
          frame_(warp_frame(source.camera, windows)),
          plain_(no_warp(source.camera, windows)),
          reader_(std::move(reader)),
          before_(1.0),
          after_(frame_.step_x * (source.camera.common.do_virtual_upscale_in_transform
                                      ? static_cast<double>(windows.output_crop_fov.windowWidth) /
                                            frame_.output_width
                                      : 1.0)),
          film_stride_(std::max<size_t>(1, source.frames.frames.size() / kFilmPictures)) {}

    std::optional<Fault> open(StagedFiles& files) {
        VideoFormat format;
        format.width = frame_.output_width;
        format.height = frame_.output_height;
        format.fps = 1e6 / source_.frames.period_us;
        format.like = reader_.get();
        format.with_sound = task_.sound;
        const std::string container = container_for(*reader_);
        auto fault = open_writer(files, "stabilized." + container, container, format, stabilized_);
        if (!fault && task_.compare) {
            // Two views of at most 960 columns: side by side they fit a screen.
            const double part = std::min(1.0, 960.0 / frame_.output_width);
            view_width_ = even(frame_.output_width * part);
            view_height_ = even(frame_.output_height * part);
            format.width = 2 * view_width_ + kGap;
            format.height = view_height_;
            fault = open_writer(files, "compare." + container, container, format, compared_);
        }
        if (!fault) {
            reader_->pass_sound_to(stabilized_.get());
        }
        return fault;
    }

    std::optional<Fault> add(const Frame& frame, const FrameWarp* warp, bool feasible) override {
        if (at_end_ || !reader_->next(in_)) {
            at_end_ = true;
            return reader_->fault();
        }
        const FrameWarp& used = warp != nullptr ? *warp : plain_;
        const auto begun = std::chrono::steady_clock::now();
        const uint64_t empty = draw_warped(in_, used, frame_, task_.sampling, out_);
        figures_.seconds_drawing +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
        count(warp != nullptr, feasible, empty);
        auto fault = stabilized_->add(out_, reader_->time());
        if (!fault && compared_) {
            fault = compared_->add(comparison(used), reader_->time());
        }
        if (task_.track) {
            measure(frame);
        }
        if ((figures_.pictures - 1) % film_stride_ == film_stride_ / 2 &&
            film_.size() < kFilmPictures) {
            film_.push_back({frame.id, thumbnail(in_), thumbnail(out_)});
        }
        return fault;
    }

    void retune(const Camera& camera, const is_window_regions& windows) override {
        frame_ = warp_frame(camera, windows);
        plain_ = no_warp(camera, windows);
    }

    std::optional<Fault> finish() override {
        // Pictures beyond the last frame still carry the sound along with them.
        while (!at_end_ && reader_->next(in_)) {
        }
        if (reader_->fault()) {
            return reader_->fault();
        }
        auto fault = stabilized_->finish();
        if (!fault && compared_) {
            fault = compared_->finish();
        }
        return fault;
    }

    PixelFigures figures() const override {
        PixelFigures out = figures_;
        const double pixels = static_cast<double>(frame_.output_width) * frame_.output_height;
        out.empty_share =
            figures_.pictures != 0
                ? static_cast<double>(empty_) / (pixels * static_cast<double>(figures_.pictures))
                : 0.0;
        out.empty_share_feasible = feasible_ != 0 ? static_cast<double>(empty_feasible_) /
                                                        (pixels * static_cast<double>(feasible_))
                                                  : 0.0;
        if (task_.track && figures_.pictures != 0) {
            const double period = source_.frames.period_us;
            out.tracked = true;
            for (size_t i = 0; i < kShakeCuts.size(); ++i) {
                out.shake[i] = shake_above(kShakeCuts[i], before_, after_, period);
            }
            out.bow_px = {ranked(before_.bows, 0.5), ranked(after_.bows, 0.5)};
            out.largest_bow_px = {ranked(before_.bows, 0.95), ranked(after_.bows, 0.95)};
            out.edges_before = before_.bows.size();
            out.edges_after = after_.bows.size();
            out.lost_steps = before_.tracker.lost_steps() + after_.tracker.lost_steps();
        }
        return out;
    }

    const std::vector<FilmPicture>& film() const override { return film_; }

    ContentPaths paths() const override {
        return {ids_, before_.tracker.across(), before_.tracker.down(), after_.tracker.across(),
                after_.tracker.down()};
    }

  private:
    static constexpr uint32_t kGap = 8;

    static std::optional<Fault> open_writer(StagedFiles& files, const std::string& name,
                                            const std::string& container, const VideoFormat& format,
                                            std::unique_ptr<VideoWriter>& writer) {
        std::optional<Fault> fault;
        const std::string path = files.add_path(name, fault);
        if (fault) {
            return fault;
        }
        auto opened = VideoWriter::open(path, container, format);
        if (!opened.ok()) {
            return Fault{name, 0, opened.fault().expected};
        }
        writer = std::move(opened.value());
        return std::nullopt;
    }

    void count(bool has_warp, bool feasible, uint64_t empty) {
        ++figures_.pictures;
        figures_.without_warp += has_warp ? 0 : 1;
        empty_ += empty;
        if (has_warp && feasible) {
            ++feasible_;
            empty_feasible_ += empty;
        }
    }

    Picture comparison(const FrameWarp& warp) {
        const double zoom_x = static_cast<double>(view_width_) / frame_.input_width;
        const double zoom_y = static_cast<double>(view_height_) / frame_.input_height;
        Picture left = scaled(in_, view_width_, view_height_);
        auto outline = crop_outline(warp, frame_, 12);
        for (auto& point : outline) {
            point = {static_cast<float>((static_cast<double>(point[0]) + 0.5) * zoom_x - 0.5),
                     static_cast<float>((static_cast<double>(point[1]) + 0.5) * zoom_y - 0.5)};
        }
        draw_outline(left, outline, 3.0f);
        return beside(left, scaled(out_, view_width_, view_height_), kGap);
    }

    void measure(const Frame& frame) {
        const auto t_us = static_cast<double>(frame.sof_us);
        const bool edges = (figures_.pictures - 1) % kBowStride == 0;
        auto other =
            std::async(std::launch::async, [&] { before_.add(in_.planes[0], t_us, edges); });
        after_.add(out_.planes[0], t_us, edges);
        other.get();
        ids_.push_back(frame.id);
    }

    static std::string thumbnail(const Picture& picture) {
        const double part = static_cast<double>(kFilmHeight) / picture.height();
        return jpeg(scaled(picture, even(picture.width() * part), kFilmHeight), 5);
    }

    VideoTask task_;
    const RecordingSource& source_;
    WarpFrame frame_;
    FrameWarp plain_;
    std::unique_ptr<VideoReader> reader_;
    std::unique_ptr<VideoWriter> stabilized_;
    std::unique_ptr<VideoWriter> compared_;
    uint32_t view_width_ = 0;
    uint32_t view_height_ = 0;
    Picture in_;
    Picture out_;
    bool at_end_ = false;
    Side before_;
    Side after_;
    std::vector<uint32_t> ids_;
    size_t film_stride_;
    std::vector<FilmPicture> film_;
    PixelFigures figures_;
    uint64_t empty_ = 0;
    uint64_t empty_feasible_ = 0;
    size_t feasible_ = 0;
};

}  // namespace

Result<std::unique_ptr<PictureSink>> open_video_output(const VideoTask& task,
                                                       const RecordingSource& source,
                                                       const is_window_regions& windows,
                                                       StagedFiles& files) {
    auto reader = VideoReader::open(task.input);
    if (!reader.ok()) {
        return reader.fault();
    }
    const is_init_sensor_data& sensor = source.camera.sensors[0];
    if (reader.value()->width() != sensor.input_width ||
        reader.value()->height() != sensor.input_height) {
        return Fault{task.input, 0,
                     "expected pictures of " + std::to_string(sensor.input_width) + "x" +
                         std::to_string(sensor.input_height) + " as the camera says, found " +
                         std::to_string(reader.value()->width()) + "x" +
                         std::to_string(reader.value()->height())};
    }
    auto out = std::make_unique<VideoOutput>(task, source, windows, std::move(reader.value()));
    if (auto fault = out->open(files)) {
        return *fault;
    }
    return std::unique_ptr<PictureSink>(std::move(out));
}

}  // namespace steadywarp::tool
