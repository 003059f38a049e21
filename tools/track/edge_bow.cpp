// SPDX-License-Identifier: Apache-2.0
#include "track/edge_bow.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace steadywarp::tool {
namespace {

/// Points of one edge, from its seed in both directions.
struct Course {
    std::vector<double> x;
    std::vector<double> y;
};

/// Change of brightness across a column, averaged over three rows so that grain does not lead
/// astray.
class Slopes {
  public:
    explicit Slopes(const Plane& plane) : plane_(plane) {}

    double at(int x, int y) const {
        double sum = 0.0;
        for (int row = y - 1; row <= y + 1; ++row) {
            const uint8_t* const line = plane_.row(static_cast<uint32_t>(row)) + x;
            sum += line[1] - line[-1] + 0.5 * (line[2] - line[-2]);
        }
        return sum / 3.0;
    }

    bool inside(int x, int y) const {
        return x >= 5 && y >= 1 && x < static_cast<int>(plane_.width) - 5 &&
               y < static_cast<int>(plane_.height) - 1;
    }

  private:
    const Plane& plane_;
};

/// Where between columns the slope is steepest, near `expected`; nothing if it is not clear.
std::optional<double> steepest(const Slopes& slopes, double expected, int y, double seed_slope) {
    const int middle = static_cast<int>(std::lround(expected));
    if (!slopes.inside(middle, y)) {
        return std::nullopt;
    }
    const double sign = seed_slope > 0.0 ? 1.0 : -1.0;
    int best = middle;
    for (int x = middle - 2; x <= middle + 2; ++x) {
        best = sign * slopes.at(x, y) > sign * slopes.at(best, y) ? x : best;
    }
    const double peak = sign * slopes.at(best, y);
    const double left = sign * slopes.at(best - 1, y);
    const double right = sign * slopes.at(best + 1, y);
    const double curve = left - 2.0 * peak + right;
    if (peak < 0.4 * std::abs(seed_slope) || curve >= 0.0 || peak < left || peak < right) {
        return std::nullopt;
    }
    const double found = best + 0.5 * (left - right) / curve;
    // A course does not jump: what does is another edge.
    return std::abs(found - expected) <= 0.8 ? std::optional(found) : std::nullopt;
}

/// Follow an edge from its seed in one direction until it is lost for more than four rows.
void follow(const Slopes& slopes, double x, int y, int step, double seed_slope, Course& course) {
    double lean = 0.0;
    int missed = 0;
    for (y += step; missed <= 4; y += step) {
        const std::optional<double> found = steepest(slopes, x + lean, y, seed_slope);
        if (!slopes.inside(static_cast<int>(x), y)) {
            return;
        }
        if (!found) {
            x += lean;
            ++missed;
            continue;
        }
        missed = 0;
        // Leans change slowly: a tenth of what each row says.
        lean += 0.1 * (std::clamp(*found - x, -1.0, 1.0) - lean);
        x = *found;
        course.x.push_back(x);
        course.y.push_back(y);
    }
}

/// Least-squares polynomial of a degree up to 3; `t` from -1 to 1.
std::array<double, 4> fit(const std::vector<double>& t, const std::vector<double>& x,
                          size_t degree) {
    const size_t n = degree + 1;
    std::array<std::array<double, 5>, 4> rows{};
    for (size_t i = 0; i < t.size(); ++i) {
        const std::array<double, 4> power = {1.0, t[i], t[i] * t[i], t[i] * t[i] * t[i]};
        for (size_t r = 0; r < n; ++r) {
            for (size_t c = 0; c < n; ++c) {
                rows[r][c] += power[r] * power[c];
            }
            rows[r][4] += power[r] * x[i];
        }
    }
    // Elimination without pivots: the matrix is positive definite for more points than powers.
    for (size_t k = 0; k < n; ++k) {
        for (size_t r = 0; r < n; ++r) {
            const double part = r == k ? 0.0 : rows[r][k] / rows[k][k];
            for (size_t c = 0; c < 5; ++c) {
                rows[r][c] -= part * rows[k][c];
            }
        }
    }
    std::array<double, 4> out{};
    for (size_t k = 0; k < n; ++k) {
        out[k] = rows[k][4] / rows[k][k];
    }
    return out;
}

double value(const std::array<double, 4>& p, double t) {
    return p[0] + t * (p[1] + t * (p[2] + t * p[3]));
}

/// Leave out points off the cubic through all: grain, and the foot or crossing of another thing.
Course without_outliers(const Course& course, const std::array<double, 4>& cubic, double centre,
                        double half) {
    constexpr double kFar = 0.6;
    Course out;
    for (size_t i = 0; i < course.x.size(); ++i) {
        if (std::abs(course.x[i] - value(cubic, (course.y[i] - centre) / half)) <= kFar) {
            out.x.push_back(course.x[i]);
            out.y.push_back(course.y[i]);
        }
    }
    return out;
}

/// The bow of a course; nothing if no smooth curve describes nine tenths of it.
std::optional<EdgeBow> bow_of(const Course& all) {
    const auto [low, high] = std::minmax_element(all.y.begin(), all.y.end());
    const double centre = 0.5 * (*low + *high);
    const double half = 0.5 * (*high - *low);
    const auto places = [&](const Course& course) {
        std::vector<double> t;
        for (const double y : course.y) {
            t.push_back((y - centre) / half);
        }
        return t;
    };
    const Course course = without_outliers(all, fit(places(all), all.x, 3), centre, half);
    if (course.x.size() * 10 < all.x.size() * 9) {
        return std::nullopt;
    }
    const std::vector<double> t = places(course);
    const auto cubic = fit(t, course.x, 3);
    const auto line = fit(t, course.x, 1);
    EdgeBow out;
    out.rows = static_cast<uint32_t>(2.0 * half);
    for (const double place : t) {
        out.bow_px = std::max(out.bow_px, std::abs(value(cubic, place) - value(line, place)));
    }
    return out;
}

}  // namespace

std::vector<EdgeBow> measure_bows(const Plane& brightness) {
    // Half of black to white over the two columns on either side.
    constexpr double kSeedSlope = 60.0;
    const Slopes slopes(brightness);
    const int height = static_cast<int>(brightness.height);
    std::vector<EdgeBow> out;
    double last_seed = -100.0;
    // Upright things stand on the ground and reach above the horizon: a third from the top meets
    // the most of them.
    const int y = height / 3;
    for (int x = 6; x < static_cast<int>(brightness.width) - 6; ++x) {
        const double here = slopes.at(x, y);
        const bool peak = std::abs(here) >= std::abs(slopes.at(x - 1, y)) &&
                          std::abs(here) > std::abs(slopes.at(x + 1, y));
        if (std::abs(here) < kSeedSlope || !peak || x - last_seed < 3.0) {
            continue;
        }
        last_seed = x;
        Course course{{static_cast<double>(x)}, {static_cast<double>(y)}};
        follow(slopes, x, y, -1, here, course);
        follow(slopes, x, y, 1, here, course);
        if (course.x.size() * 3 < brightness.height) {
            continue;
        }
        if (const auto bow = bow_of(course)) {
            out.push_back(*bow);
        }
    }
    return out;
}

}  // namespace steadywarp::tool
