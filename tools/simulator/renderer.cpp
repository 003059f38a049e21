// SPDX-License-Identifier: Apache-2.0
#include "simulator/renderer.hpp"

#include <algorithm>

#include "render/parallel.hpp"
#include "render/sampling.hpp"

namespace steadywarp::tool {
namespace {

constexpr size_t kNoFace = 6;

/// The camera while it reads one row.
struct RowPose {
    Matrix3 to_world;
    Vector3 position;
    LensState lens;
};

RowPose pose_at(const PoseSource& poses, const Lens& lens, double seconds) {
    const Pose pose = poses(seconds);
    return {pose.to_world, pose.position, lens.at(seconds)};
}

Vector3 ray(const LensModel& lens, const Point2& ideal) {
    return {(ideal.x - (lens.width - 1.0) * 0.5) / lens.focal_px,
            (ideal.y - (lens.height - 1.0) * 0.5) / lens.focal_px, 1.0};
}

/// Draws rows of brightness or of both colours of one picture.
class RowPainter {
  public:
    RowPainter(const Scene& scene, const Lens& lens, Picture& out)
        : scene_(scene), lens_(lens.model()), out_(out) {}

    void brightness(const RowPose& pose, uint32_t j) {
        look(pose, j, 1.0, out_.planes[0].width);
        draw(0, j);
        draw_boards(pose, 0, j);
    }

    void colour(const RowPose& pose, uint32_t j) {
        look(pose, 2.0 * j + 0.5, 2.0, out_.planes[1].width);
        for (size_t plane = 1; plane < 3; ++plane) {
            draw(plane, j);
            draw_boards(pose, plane, j);
        }
    }

  private:
    /// Directions in the world of a row of pixels.
    void look(const RowPose& pose, double y, double step, uint32_t width) {
        rays_.resize(width);
        // The optics are smooth over 16 pixels, far below what shows; between, straight lines.
        constexpr uint32_t kStride = 16;
        for (uint32_t i = 0; i < width; i += kStride) {
            const Vector3 a = direction(pose, i * step, y);
            const Vector3 b = direction(pose, (i + kStride) * step, y);
            for (uint32_t k = 0; k < kStride && i + k < width; ++k) {
                const auto part = static_cast<float>(k) / kStride;
                for (size_t axis = 0; axis < 3; ++axis) {
                    rays_[i + k][axis] =
                        static_cast<float>(a[axis]) + part * static_cast<float>(b[axis] - a[axis]);
                }
            }
        }
    }

    Vector3 direction(const RowPose& pose, double x, double y) const {
        return multiply(pose.to_world, ray(lens_, to_ideal(lens_, pose.lens, {x, y})));
    }

    void draw(size_t plane, uint32_t j) {
        uint8_t* const to = out_.planes[plane].row(j);
        xs_.resize(rays_.size());
        ys_.resize(rays_.size());
        size_t first = 0;
        size_t face = kNoFace;
        for (size_t i = 0; i < rays_.size(); ++i) {
            const size_t here =
                face_of({static_cast<double>(rays_[i][0]), static_cast<double>(rays_[i][1]),
                         static_cast<double>(rays_[i][2])});
            if (here != face) {
                draw_span(plane, face, first, i, to);
                face = here;
                first = i;
            }
        }
        draw_span(plane, face, first, rays_.size(), to);
    }

    /// Draw pixels `first` to `end` of a row, which all look at one face.
    void draw_span(size_t plane, size_t face, size_t first, size_t end, uint8_t* to) {
        if (face == kNoFace || scene_.faces[face].width() == 0) {
            std::fill(to + first, to + end, kBlack[plane]);
            return;
        }
        const SignedAxis* const axes = kFaceAxes[face];
        const float half = static_cast<float>(scene_.face_size) * 0.5f;
        for (size_t i = first; i < end; ++i) {
            const float forward = rays_[i][axes[2].index] * axes[2].sign;
            const float scale = half / forward;
            const float x = rays_[i][axes[0].index] * axes[0].sign * scale + half - 0.5f;
            const float y = rays_[i][axes[1].index] * axes[1].sign * scale + half - 0.5f;
            xs_[i] = plane == 0 ? x : x * 0.5f;
            ys_[i] = plane == 0 ? y : (y - 0.5f) * 0.5f;
        }
        const size_t count = end - first;
        sample(scene_.faces[face].planes[plane], Sampling::kBilinear, {&xs_[first], count},
               {&ys_[first], count}, {to + first, count});
    }

    /// A span of pixels of a row; empty if both are equal.
    struct Span {
        size_t first = 0;
        size_t end = 0;
    };

    void draw_boards(const RowPose& pose, size_t plane, uint32_t j) {
        for (const Board& board : scene_.boards) {
            draw_board(pose, board, plane, j);
        }
    }

    /// The pixels of a row that a board can reach: the box around its four corners, with room for
    /// what distortion, shift and breathing together may add.
    Span reach(const RowPose& pose, const Board& board, size_t plane, uint32_t j) const {
        const double slack = 0.08 * lens_.height;
        const Matrix3 to_camera = transpose(pose.to_world);
        Point2 low = {HUGE_VAL, HUGE_VAL};
        Point2 high = {-HUGE_VAL, -HUGE_VAL};
        for (int corner = 0; corner < 4; ++corner) {
            const double u = corner % 2 == 0 ? -board.half_width : board.half_width;
            const double v = corner / 2 == 0 ? -board.half_height : board.half_height;
            const Vector3 p = multiply(
                to_camera, Vector3{board.centre[0] + u * std::cos(board.turn) - pose.position[0],
                                   board.centre[1] + v - pose.position[1],
                                   board.centre[2] - u * std::sin(board.turn) - pose.position[2]});
            if (p[2] < 0.1) {
                // Beside or behind the camera: no picture of these scenes shows a part of it.
                return {};
            }
            const double x = (lens_.width - 1.0) * 0.5 + lens_.focal_px * p[0] / p[2];
            const double y = (lens_.height - 1.0) * 0.5 + lens_.focal_px * p[1] / p[2];
            low = {std::min(low.x, x), std::min(low.y, y)};
            high = {std::max(high.x, x), std::max(high.y, y)};
        }
        const double per_pixel = plane == 0 ? 1.0 : 2.0;
        const double y = j * per_pixel;
        if (y < low.y - slack || y > high.y + slack) {
            return {};
        }
        const auto column = [&](double x) {
            return static_cast<size_t>(
                std::clamp(x / per_pixel, 0.0, static_cast<double>(rays_.size())));
        };
        return {column(low.x - slack), column(high.x + slack)};
    }

    void draw_board(const RowPose& pose, const Board& board, size_t plane, uint32_t j) {
        const Span span = reach(pose, board, plane, j);
        uint8_t* const to = out_.planes[plane].row(j);
        const auto right_x = static_cast<float>(std::cos(board.turn));
        const auto right_z = static_cast<float>(-std::sin(board.turn));
        const auto px = static_cast<float>(pose.position[0] - board.centre[0]);
        const auto py = static_cast<float>(pose.position[1] - board.centre[1]);
        const auto pz = static_cast<float>(pose.position[2] - board.centre[2]);
        const auto half_width = static_cast<float>(board.half_width);
        const auto half_height = static_cast<float>(board.half_height);
        // Along the board's normal (-right_z, 0, right_x) from the camera to the plane.
        const float away = right_z * px - right_x * pz;
        const Plane& picture = board.picture.planes[plane];
        const float columns = static_cast<float>(picture.width) / (2.0f * half_width);
        const float rows = static_cast<float>(picture.height) / (2.0f * half_height);
        const auto focal = static_cast<float>(lens_.focal_px);
        for (size_t i = span.first; i < span.end; ++i) {
            const float facing = -right_z * rays_[i][0] + right_x * rays_[i][2];
            const float t = away / facing;
            if (!(facing > 1e-3f) || t <= 0.0f) {
                continue;
            }
            const float u = right_x * (px + t * rays_[i][0]) + right_z * (pz + t * rays_[i][2]);
            const float v = py + t * rays_[i][1];
            // Distance inside the nearest edge, in pixels of the picture being taken.
            const float inside =
                std::min(half_width - std::abs(u), half_height - std::abs(v)) * focal / t;
            const float share = std::clamp(inside + 0.5f, 0.0f, 1.0f);
            if (share <= 0.0f) {
                continue;
            }
            const float x = (u + half_width) * columns - 0.5f;
            const float y = (v + half_height) * rows - 0.5f;
            uint8_t value = 0;
            sample(picture, Sampling::kBilinear, {&x, 1}, {&y, 1}, {&value, 1});
            to[i] = static_cast<uint8_t>(static_cast<float>(to[i]) * (1.0f - share) +
                                         static_cast<float>(value) * share + 0.5f);
        }
    }

    const Scene& scene_;
    const LensModel& lens_;
    Picture& out_;
    std::vector<std::array<float, 3>> rays_;
    std::vector<float> xs_;
    std::vector<float> ys_;
};

}  // namespace

PoseSource poses_of(const Motion& motion) {
    return [&motion](double seconds) {
        return Pose{motion.orientation(seconds), motion.position(seconds)};
    };
}

std::array<bool, 6> faces_seen(const PoseSource& poses, const LensModel& lens,
                               const std::vector<FrameTiming>& frames) {
    std::array<bool, 6> seen{};
    constexpr int kSteps = 8;
    for (const FrameTiming& frame : frames) {
        const Matrix3 to_world = poses(frame.start + frame.readout * 0.5).to_world;
        for (int j = 0; j <= kSteps; ++j) {
            for (int i = 0; i <= kSteps; ++i) {
                // A tenth beyond the border: the optics and the read-out reach out of it.
                const double x = lens.width * (-0.1 + 1.2 * i / kSteps);
                const double y = lens.height * (-0.1 + 1.2 * j / kSteps);
                seen[face_of(multiply(to_world, ray(lens, {x, y})))] = true;
            }
        }
    }
    return seen;
}

void take_picture(const Scene& scene, const PoseSource& poses, const Lens& lens,
                  const FrameTiming& timing, Picture& out) {
    const LensModel& model = lens.model();
    out.resize(model.width, model.height);
    const auto at_row = [&](double y) {
        return pose_at(poses, lens, timing.start + timing.readout * (y + 0.5) / model.height);
    };
    for_row_spans(out.planes[1].height, [&](uint32_t first, uint32_t end) {
        RowPainter painter(scene, lens, out);
        for (uint32_t j = first; j < end; ++j) {
            painter.colour(at_row(2.0 * j + 0.5), j);
            painter.brightness(at_row(2.0 * j), 2 * j);
            if (2 * j + 1 < out.height()) {
                painter.brightness(at_row(2.0 * j + 1.0), 2 * j + 1);
            }
        }
    });
}

}  // namespace steadywarp::tool
