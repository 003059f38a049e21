// SPDX-License-Identifier: Apache-2.0
#include "track/picture_tracker.hpp"

#include <cmath>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>

namespace steadywarp::tool {
namespace {

/// Pictures are followed at about this width: fine enough for a tenth of a pixel, and fast.
constexpr int kWorkWidth = 640;
constexpr int kMostPoints = 160;
constexpr int kFewestPoints = 16;

/// How a homography moves and turns the surroundings of a point: by its derivative there.
std::array<double, 3> middle_step(const cv::Mat& h, double x, double y) {
    const auto row = [&](int r) {
        return h.at<double>(r, 0) * x + h.at<double>(r, 1) * y + h.at<double>(r, 2);
    };
    const double w = row(2);
    const double u = row(0) / w;
    const double v = row(1) / w;
    const auto slope = [&](int r, int c, double value) {
        return (h.at<double>(r, c) - value * h.at<double>(2, c)) / w;
    };
    const double turn =
        std::atan2(slope(1, 0, v) - slope(0, 1, u), slope(0, 0, u) + slope(1, 1, v));
    return {u - x, v - y, turn};
}

}  // namespace

struct PictureTracker::State {
    double scale;
    cv::Mat before;
    Signal across;
    Signal down;
    Signal turn;
    size_t lost_steps = 0;

    /// Homography from `before` to `now` in work pixels; empty if it is not clear.
    cv::Mat movement(const cv::Mat& now) const;
};

PictureTracker::PictureTracker(double scale) : state_(std::make_unique<State>()) {
    state_->scale = scale;
}
PictureTracker::~PictureTracker() = default;

const Signal& PictureTracker::across() const {
    return state_->across;
}
const Signal& PictureTracker::down() const {
    return state_->down;
}
const Signal& PictureTracker::turn() const {
    return state_->turn;
}
size_t PictureTracker::lost_steps() const {
    return state_->lost_steps;
}

cv::Mat PictureTracker::State::movement(const cv::Mat& now) const {
    std::vector<cv::Point2f> from;
    cv::goodFeaturesToTrack(before, from, kMostPoints, 0.01, before.cols / 50.0);
    if (from.size() < kFewestPoints) {
        return {};
    }
    std::vector<cv::Point2f> to;
    std::vector<uint8_t> found;
    std::vector<float> error;
    cv::calcOpticalFlowPyrLK(before, now, from, to, found, error, {15, 15}, 4);
    std::vector<cv::Point2f> a;
    std::vector<cv::Point2f> b;
    for (size_t i = 0; i < from.size(); ++i) {
        if (found[i] != 0) {
            a.push_back(from[i]);
            b.push_back(to[i]);
        }
    }
    if (a.size() < kFewestPoints) {
        return {};
    }
    cv::Mat agreeing;
    const cv::Mat out = cv::findHomography(a, b, cv::RANSAC, 1.0, agreeing);
    return !out.empty() && cv::countNonZero(agreeing) >= kFewestPoints ? out : cv::Mat();
}

void PictureTracker::add(const Plane& brightness, double t_us) {
    State& s = *state_;
    // The wrapper only reads; the library's type knows no constant pixels.
    const cv::Mat full(static_cast<int>(brightness.height), static_cast<int>(brightness.width),
                       CV_8U, const_cast<uint8_t*>(brightness.samples.data()));
    const int divisor = std::max(1, full.cols / kWorkWidth);
    cv::Mat now;
    cv::resize(full, now, {full.cols / divisor, full.rows / divisor}, 0, 0, cv::INTER_AREA);
    std::array<double, 3> step{};
    if (!s.before.empty()) {
        const cv::Mat m = s.movement(now);
        if (m.empty()) {
            ++s.lost_steps;
        } else {
            const auto moved = middle_step(m, (now.cols - 1) * 0.5, (now.rows - 1) * 0.5);
            const double zoom = s.scale * divisor;
            step = {moved[0] * zoom, moved[1] * zoom, moved[2]};
        }
    }
    Signal* const signals[] = {&s.across, &s.down, &s.turn};
    for (size_t i = 0; i < 3; ++i) {
        signals[i]->value.push_back(step[i] + (s.before.empty() ? 0.0 : signals[i]->value.back()));
        signals[i]->t_us.push_back(t_us);
    }
    s.before = now;
}

}  // namespace steadywarp::tool
