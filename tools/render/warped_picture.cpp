// SPDX-License-Identifier: Apache-2.0
#include "render/warped_picture.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "render/parallel.hpp"

namespace steadywarp::tool {
namespace {

/// Draws single rows of an output; one for each thread.
class RowDrawer {
  public:
    RowDrawer(const Picture& in, const WarpMap& map, Picture& out)
        : in_(in), map_(map), out_(out) {}

    /// Draw a row of brightness. @return how many of its pixels have no counterpart.
    uint64_t brightness(uint32_t j, Sampling sampling) {
        place(j, 1.0, out_.planes[0].width);
        draw(0, j, sampling);
        return empty_;
    }

    /// Draw a row of both colour planes. Their samples lie on even columns and between rows.
    void colour(uint32_t j) {
        place(2.0 * j + 0.5, 2.0, out_.planes[1].width);
        for (size_t i = 0; i < xs_.size(); ++i) {
            xs_[i] *= 0.5f;
            ys_[i] = (ys_[i] - 0.5f) * 0.5f;
        }
        draw(1, j, Sampling::kBilinear);
        draw(2, j, Sampling::kBilinear);
    }

  private:
    void place(double y, double step, uint32_t width) {
        xs_.resize(width);
        ys_.resize(width);
        blank_.resize(width);
        map_.row(y, 0.0, step, xs_, ys_);
        empty_ = 0;
        for (size_t i = 0; i < xs_.size(); ++i) {
            blank_[i] = map_.has_pixels(xs_[i], ys_[i]) ? 0 : 1;
            empty_ += blank_[i];
        }
    }

    void draw(size_t plane, uint32_t j, Sampling sampling) {
        uint8_t* const to = out_.planes[plane].row(j);
        sample(in_.planes[plane], sampling, xs_, ys_, {to, xs_.size()});
        for (size_t i = 0; empty_ != 0 && i < blank_.size(); ++i) {
            to[i] = blank_[i] != 0 ? kBlack[plane] : to[i];
        }
    }

    const Picture& in_;
    const WarpMap& map_;
    Picture& out_;
    std::vector<float> xs_;
    std::vector<float> ys_;
    std::vector<uint8_t> blank_;
    uint64_t empty_ = 0;
};

/// Distance of a point from a segment.
float distance(float x, float y, const std::array<float, 2>& a, const std::array<float, 2>& b) {
    const float dx = b[0] - a[0];
    const float dy = b[1] - a[1];
    const float length = dx * dx + dy * dy;
    const float along =
        length > 0.0f ? std::clamp(((x - a[0]) * dx + (y - a[1]) * dy) / length, 0.0f, 1.0f) : 0.0f;
    const float ex = x - a[0] - along * dx;
    const float ey = y - a[1] - along * dy;
    return std::sqrt(ex * ex + ey * ey);
}

void mix(uint8_t& pixel, int colour, float share) {
    pixel = static_cast<uint8_t>(static_cast<float>(pixel) * (1.0f - share) +
                                 static_cast<float>(colour) * share + 0.5f);
}

/// A line's colour in all planes, and how far it reaches on both sides.
struct Pen {
    std::array<int, 3> colour;
    float half_width;
    float cover;
};

void draw_segment(Picture& picture, const std::array<float, 2>& a, const std::array<float, 2>& b,
                  const Pen& pen) {
    const float reach = pen.half_width + 1.0f;
    const auto limit = [](float value, uint32_t size) {
        return static_cast<uint32_t>(std::clamp(value, 0.0f, static_cast<float>(size)));
    };
    const uint32_t x0 = limit(std::min(a[0], b[0]) - reach, picture.width());
    const uint32_t x1 = limit(std::max(a[0], b[0]) + reach + 1.0f, picture.width());
    const uint32_t y0 = limit(std::min(a[1], b[1]) - reach, picture.height());
    const uint32_t y1 = limit(std::max(a[1], b[1]) + reach + 1.0f, picture.height());
    for (uint32_t y = y0; y < y1; ++y) {
        for (uint32_t x = x0; x < x1; ++x) {
            const float d = distance(static_cast<float>(x), static_cast<float>(y), a, b);
            const float share = pen.cover * std::clamp(pen.half_width + 0.5f - d, 0.0f, 1.0f);
            mix(picture.planes[0].row(y)[x], pen.colour[0], share);
            for (size_t p = 1; p < 3 && x % 2 == 0 && y % 2 == 0; ++p) {
                mix(picture.planes[p].row(y / 2)[x / 2], pen.colour[p], share);
            }
        }
    }
}

}  // namespace

uint64_t draw_warped(const Picture& in, const FrameWarp& warp, const WarpFrame& frame,
                     Sampling sampling, Picture& out) {
    out.resize(frame.output_width, frame.output_height);
    const WarpMap map(warp, frame);
    std::atomic<uint64_t> empty = 0;
    for_row_spans(out.planes[1].height, [&](uint32_t first, uint32_t end) {
        RowDrawer drawer(in, map, out);
        uint64_t found = 0;
        for (uint32_t j = first; j < end; ++j) {
            drawer.colour(j);
            found += drawer.brightness(2 * j, sampling);
            if (2 * j + 1 < out.height()) {
                found += drawer.brightness(2 * j + 1, sampling);
            }
        }
        empty += found;
    });
    return empty;
}

std::vector<std::array<float, 2>> crop_outline(const FrameWarp& warp, const WarpFrame& frame,
                                               uint32_t per_side) {
    const WarpMap map(warp, frame);
    const double right = frame.output_width - 1.0;
    const double bottom = frame.output_height - 1.0;
    std::vector<std::array<float, 2>> out;
    const auto add = [&](double x, double y) {
        std::array<float, 2> point{};
        map.row(y, x, 0.0, {&point[0], 1}, {&point[1], 1});
        out.push_back(point);
    };
    for (uint32_t side = 0; side < 4; ++side) {
        for (uint32_t i = 0; i < per_side; ++i) {
            const double part = static_cast<double>(i) / per_side;
            switch (side) {
                case 0:
                    add(right * part, 0.0);
                    break;
                case 1:
                    add(right, bottom * part);
                    break;
                case 2:
                    add(right * (1.0 - part), bottom);
                    break;
                default:
                    add(0.0, bottom * (1.0 - part));
                    break;
            }
        }
    }
    return out;
}

void draw_outline(Picture& picture, const std::vector<std::array<float, 2>>& points,
                  float thickness) {
    // All of the dark rim first; an orange that every kind of sight tells from grey over it.
    const Pen pens[] = {{{16, 128, 128}, thickness * 0.5f + 1.0f, 0.6f},
                        {{169, 61, 180}, thickness * 0.5f, 1.0f}};
    for (const Pen& pen : pens) {
        for (size_t i = 0; i < points.size(); ++i) {
            draw_segment(picture, points[i], points[(i + 1) % points.size()], pen);
        }
    }
}

Picture beside(const Picture& left, const Picture& right, uint32_t gap) {
    Picture out;
    out.resize(left.width() + gap + right.width(), left.height());
    for (size_t p = 0; p < 3; ++p) {
        Plane& to = out.planes[p];
        std::fill(to.samples.begin(), to.samples.end(), kBlack[p]);
        const Plane& a = left.planes[p];
        const Plane& b = right.planes[p];
        for (uint32_t y = 0; y < to.height; ++y) {
            std::copy_n(a.row(y), a.width, to.row(y));
            std::copy_n(b.row(y), b.width, to.row(y) + (to.width - b.width));
        }
    }
    return out;
}

}  // namespace steadywarp::tool
