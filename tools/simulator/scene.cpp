// SPDX-License-Identifier: Apache-2.0
#include "simulator/scene.hpp"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "simulator/random.hpp"

namespace steadywarp::tool {
namespace {

using Polygon = std::vector<Vector3>;
using Colour = cv::Scalar;  ///< blue, green, red

constexpr double kEyeHeight = 1.6;  ///< metres from the pavement to the camera
constexpr double kDegree = kPi / 180.0;

Colour grey(double value) {
    return {value, value, value};
}

Colour mixed(const Colour& a, const Colour& b, double part) {
    return a * (1.0 - part) + b * part;
}

/// A point at an azimuth (to the right of ahead), a distance along the ground and a height.
Vector3 at(double azimuth, double distance, double height) {
    return {distance * std::sin(azimuth), kEyeHeight - height, distance * std::cos(azimuth)};
}

/// Draws flat shapes of the world on one face.
class FacePainter {
  public:
    FacePainter(size_t face, uint32_t size)
        : axes_(kFaceAxes[face]),
          half_(size * 0.5),
          canvas_(static_cast<int>(size), static_cast<int>(size), CV_8UC3) {}

    cv::Mat& canvas() { return canvas_; }

    /// A world point in the face's own axes.
    Vector3 in_face(const Vector3& p) const {
        Vector3 out{};
        for (size_t i = 0; i < 3; ++i) {
            out[i] = p[axes_[i].index] * axes_[i].sign;
        }
        return out;
    }

    /// Direction in the world of a pixel.
    Vector3 direction(int x, int y) const {
        const double local[3] = {(x + 0.5) / half_ - 1.0, (y + 0.5) / half_ - 1.0, 1.0};
        Vector3 out{};
        for (size_t i = 0; i < 3; ++i) {
            out[axes_[i].index] = local[i] * axes_[i].sign;
        }
        return out;
    }

    /// Fill a polygon of the world.
    void fill(const Polygon& world, const Colour& colour) {
        std::vector<cv::Point> points;
        for (const Vector3& p : clipped(world)) {
            points.push_back(pixel(p));
        }
        if (points.size() >= 3) {
            cv::fillConvexPoly(canvas_, points, colour, cv::LINE_AA, kFractionBits);
        }
    }

    /// Lay a picture over a quadrangle of the world (corners clockwise from its top left), if all
    /// of it lies on this face.
    void lay(const cv::Mat& picture, const Polygon& world) {
        std::vector<cv::Point2f> to;
        for (const Vector3& p : world) {
            const Vector3 q = in_face(p);
            if (q[2] <= 0.0 || std::abs(q[0]) > 1.02 * q[2] || std::abs(q[1]) > 1.02 * q[2]) {
                return;
            }
            to.emplace_back(static_cast<float>(half_ * (1.0 + q[0] / q[2]) - 0.5),
                            static_cast<float>(half_ * (1.0 + q[1] / q[2]) - 0.5));
        }
        const cv::Rect box = cv::boundingRect(to) & cv::Rect(0, 0, canvas_.cols, canvas_.rows);
        if (box.empty()) {
            return;
        }
        // Brought to about its size on the face first, or fine strokes would flicker.
        cv::Mat fitting = picture;
        const double shrink = 1.2 * box.width / picture.cols;
        if (shrink < 1.0) {
            cv::resize(picture, fitting, {}, shrink, shrink, cv::INTER_AREA);
        }
        const auto width = static_cast<float>(fitting.cols);
        const auto height = static_cast<float>(fitting.rows);
        const std::vector<cv::Point2f> from = {{-0.5f, -0.5f},
                                               {width - 0.5f, -0.5f},
                                               {width - 0.5f, height - 0.5f},
                                               {-0.5f, height - 0.5f}};
        const cv::Mat to_box = (cv::Mat_<double>(3, 3) << 1, 0, -box.x, 0, 1, -box.y, 0, 0, 1);
        const cv::Mat shape = to_box * cv::getPerspectiveTransform(from, to);
        cv::Mat part = canvas_(box);
        cv::warpPerspective(fitting, part, shape, box.size(), cv::INTER_LINEAR,
                            cv::BORDER_TRANSPARENT);
    }

  private:
    static constexpr int kFractionBits = 6;

    cv::Point pixel(const Vector3& p) const {
        constexpr double kOne = 1 << kFractionBits;
        return {static_cast<int>(std::lround((half_ * (1.0 + p[0] / p[2]) - 0.5) * kOne)),
                static_cast<int>(std::lround((half_ * (1.0 + p[1] / p[2]) - 0.5) * kOne))};
    }

    /// The part of a polygon that this face can show, with some room to spare.
    Polygon clipped(const Polygon& world) const {
        Polygon out;
        for (const Vector3& p : world) {
            out.push_back(in_face(p));
        }
        // Inside is a . p > 0 for each of these.
        constexpr double kRoom = 1.02;
        constexpr Vector3 kPlanes[] = {
            {0, 0, 1}, {1, 0, kRoom}, {-1, 0, kRoom}, {0, 1, kRoom}, {0, -1, kRoom}};
        for (const Vector3& a : kPlanes) {
            Polygon kept;
            for (size_t i = 0; i < out.size(); ++i) {
                const Vector3& p = out[i];
                const Vector3& q = out[(i + 1) % out.size()];
                const double dp = a[0] * p[0] + a[1] * p[1] + a[2] * p[2] - 1e-6;
                const double dq = a[0] * q[0] + a[1] * q[1] + a[2] * q[2] - 1e-6;
                if (dp > 0.0) {
                    kept.push_back(p);
                }
                if ((dp > 0.0) != (dq > 0.0)) {
                    const double t = dp / (dp - dq);
                    kept.push_back({p[0] + t * (q[0] - p[0]), p[1] + t * (q[1] - p[1]),
                                    p[2] + t * (q[2] - p[2])});
                }
            }
            out = std::move(kept);
        }
        return out;
    }

    const SignedAxis* axes_;
    double half_;
    cv::Mat canvas_;
};

/// Smooth noise from 0 to 1 over a lattice of whole numbers.
class Noise {
  public:
    explicit Noise(uint64_t seed) {
        Random random(seed);
        for (float& value : values_) {
            value = static_cast<float>(random.uniform());
        }
    }

    double at(double x, double y) const {
        const double fx = std::floor(x);
        const double fy = std::floor(y);
        const double u = smooth(x - fx);
        const double v = smooth(y - fy);
        const auto i = static_cast<int>(fx);
        const auto j = static_cast<int>(fy);
        const double top = node(i, j) * (1 - u) + node(i + 1, j) * u;
        const double bottom = node(i, j + 1) * (1 - u) + node(i + 1, j + 1) * u;
        return top * (1 - v) + bottom * v;
    }

  private:
    static double smooth(double t) { return t * t * (3 - 2 * t); }
    double node(int i, int j) const {
        return static_cast<double>(values_[static_cast<size_t>((j & 63) * 64 + (i & 63))]);
    }
    std::array<float, 64 * 64> values_{};
};

void paint_sky(FacePainter& painter, const Noise& noise) {
    const Colour zenith(196, 138, 86);
    const Colour horizon(232, 216, 200);
    const Colour cloud(250, 248, 246);
    cv::Mat& canvas = painter.canvas();
    // Clouds are soft: every fourth pixel is enough.
    cv::Mat small(canvas.rows / 4, canvas.cols / 4, CV_8UC3);
    for (int y = 0; y < small.rows; ++y) {
        for (int x = 0; x < small.cols; ++x) {
            const Vector3 d = painter.direction(4 * x + 2, 4 * y + 2);
            const double flat = std::sqrt(d[0] * d[0] + d[2] * d[2]);
            const double up = std::max(0.0, -d[1] / std::max(flat, 1e-9));
            const double height = std::min(1.0, up / 1.2);
            const double a = std::atan2(d[0], d[2]);
            const double u = a * 64.0 / (2.0 * kPi);
            const double v = 9.0 * std::atan(up);
            const double puff = 0.5 * noise.at(u, v) + 0.3 * noise.at(2 * u + 7, 2 * v + 3) +
                                0.2 * noise.at(4 * u + 1, 4 * v + 9);
            const double cover = std::clamp((puff - 0.52) * 5.0, 0.0, 0.9);
            const Colour c = mixed(mixed(horizon, zenith, std::sqrt(height)), cloud, cover);
            small.at<cv::Vec3b>(y, x) = {cv::saturate_cast<uint8_t>(c[0]),
                                         cv::saturate_cast<uint8_t>(c[1]),
                                         cv::saturate_cast<uint8_t>(c[2])};
        }
    }
    cv::resize(small, canvas, canvas.size(), 0, 0, cv::INTER_CUBIC);
}

void paint_hills(FacePainter& painter, const Noise& noise) {
    constexpr int kSteps = 360;
    for (int layer = 0; layer < 2; ++layer) {
        const Colour colour = layer == 0 ? Colour(176, 164, 148) : Colour(132, 138, 112);
        for (int i = 0; i < kSteps; ++i) {
            const double a = i * 2.0 * kPi / kSteps;
            const double b = (i + 1) * 2.0 * kPi / kSteps;
            const auto height = [&](double azimuth) {
                const double u = azimuth * 64.0 / (2.0 * kPi);
                return 5.0 + (layer == 0 ? 34.0 : 20.0) * noise.at(u * (layer + 1), 20.0 + layer);
            };
            painter.fill(
                {at(a, 400, height(a)), at(b, 400, height(b)), at(b, 400, 0), at(a, 400, 0)},
                colour);
        }
    }
}

/// Pavement of slabs; far slabs melt into one grey, as they do for an eye.
void paint_ground(FacePainter& painter, Random& random) {
    const Colour far_colour(150, 154, 158);
    constexpr int kSectors = 48;
    for (int i = 0; i < kSectors; ++i) {
        const double a = i * 2.0 * kPi / kSectors;
        const double b = (i + 1) * 2.0 * kPi / kSectors;
        painter.fill({at(a, 400, 0), at(b, 400, 0), at(b, 0.1, 0), at(a, 0.1, 0)}, far_colour);
    }
    constexpr double kSlab = 1.5;
    constexpr int kReach = 18;
    for (int j = -kReach; j < kReach; ++j) {
        for (int i = -kReach; i < kReach; ++i) {
            const double x = i * kSlab;
            const double z = j * kSlab;
            const double distance =
                std::sqrt((x + kSlab / 2) * (x + kSlab / 2) + (z + kSlab / 2) * (z + kSlab / 2));
            const double shade = 128.0 + 56.0 * random.uniform();
            const double fade = std::clamp(1.0 - distance / (kReach * kSlab), 0.0, 1.0);
            if (fade <= 0.0) {
                continue;
            }
            constexpr double kJoint = 0.03;
            painter.fill({{x + kJoint, kEyeHeight, z + kSlab - kJoint},
                          {x + kSlab - kJoint, kEyeHeight, z + kSlab - kJoint},
                          {x + kSlab - kJoint, kEyeHeight, z + kJoint},
                          {x + kJoint, kEyeHeight, z + kJoint}},
                         mixed(far_colour, {shade - 6, shade, shade + 3}, std::sqrt(fade)));
        }
    }
}

/// A sign with a word on it.
cv::Mat sign(const char* word, const Colour& ground, const Colour& ink) {
    constexpr double kScale = 4.0;
    constexpr int kPen = 11;
    int base = 0;
    const cv::Size size = cv::getTextSize(word, cv::FONT_HERSHEY_DUPLEX, kScale, kPen, &base);
    cv::Mat out(size.height + 80, size.width + 90, CV_8UC3, ground);
    cv::putText(out, word, {45, size.height + 40}, cv::FONT_HERSHEY_DUPLEX, kScale, ink, kPen,
                cv::LINE_AA);
    cv::rectangle(out, {14, 14}, {out.cols - 15, out.rows - 15}, ink, 5, cv::LINE_AA);
    return out;
}

/// One house: a flat front that faces the camera, and what is on it.
struct House {
    double azimuth;
    double distance;
    double width;
    double height;
    Colour wall;
    const char* word;
};

class HousePainter {
  public:
    HousePainter(FacePainter& painter, const House& house, Random& random)
        : painter_(painter), house_(house), random_(random) {}

    void paint() {
        rectangle(0, 0, house_.width, house_.height, house_.wall);
        courses();
        windows();
        const double roof = house_.height;
        rectangle(-0.4, roof - 0.5, house_.width + 0.4, roof, mixed(house_.wall, grey(40), 0.55));
        rectangle(0.5, 0, house_.width - 0.5, 2.8, mixed(house_.wall, grey(60), 0.5));
        shop();
    }

  private:
    /// A point of the front: u metres from its left edge, v above the pavement.
    Vector3 point(double u, double v) const {
        const double a = house_.azimuth;
        const double side = u - house_.width * 0.5;
        return {house_.distance * std::sin(a) + side * std::cos(a), kEyeHeight - v,
                house_.distance * std::cos(a) - side * std::sin(a)};
    }

    Polygon box(double left, double bottom, double right, double top) const {
        return {point(left, top), point(right, top), point(right, bottom), point(left, bottom)};
    }

    void rectangle(double left, double bottom, double right, double top, const Colour& colour) {
        painter_.fill(box(left, bottom, right, top), colour);
    }

    /// Courses of stone, as wide as they can be told apart at this distance.
    void courses() {
        for (double v = 3.2; v < house_.height - 0.6; v += 0.45) {
            rectangle(0, v, house_.width, v + 0.1,
                      mixed(house_.wall, grey(20), 0.12 + 0.1 * random_.uniform()));
        }
    }

    void windows() {
        constexpr double kStep = 2.3;
        constexpr double kFloor = 3.1;
        const double left = 0.5 * std::fmod(house_.width - 1.2, kStep) + 0.9;
        const Colour frame = mixed(house_.wall, grey(255), 0.6);
        for (double v = 4.0; v + 1.9 < house_.height; v += kFloor) {
            for (double u = left; u + 1.3 < house_.width; u += kStep) {
                rectangle(u - 0.16, v - 0.22, u + 1.36, v + 1.86, frame);
                const double glow = random_.uniform();
                const Colour glass = glow > 0.88 ? Colour(150, 215, 245)
                                                 : Colour(70 + 50 * glow, 52 + 42 * glow, 40);
                rectangle(u, v, u + 1.2, v + 1.7, glass);
                rectangle(u + 0.55, v, u + 0.65, v + 1.7, frame);
                rectangle(u, v + 1.05, u + 1.2, v + 1.13, frame);
            }
        }
    }

    void shop() {
        rectangle(0.9, 0.5, house_.width * 0.5 - 0.7, 2.5, {96, 78, 58});
        rectangle(house_.width * 0.5 + 0.7, 0.5, house_.width - 0.9, 2.5, {104, 84, 60});
        rectangle(house_.width * 0.5 - 0.5, 0, house_.width * 0.5 + 0.5, 2.4, {40, 44, 70});
        const cv::Mat board = sign(house_.word, mixed(house_.wall, {60, 40, 30}, 0.8), grey(242));
        const double height = 1.05;
        const double width = std::min(height * board.cols / board.rows, house_.width - 1.2);
        const double middle = house_.width * 0.5;
        painter_.lay(board, box(middle - width / 2, 2.75, middle + width / 2, 2.75 + height));
    }

    FacePainter& painter_;
    const House& house_;
    Random& random_;
};

std::vector<House> make_houses(Random& random) {
    const Colour walls[] = {{138, 168, 206}, {176, 190, 200}, {112, 132, 178}, {186, 196, 176},
                            {150, 184, 214}, {188, 178, 166}, {124, 150, 160}};
    const char* const words[] = {"STATION", "BAKERY", "HOTEL",  "BOOKS",   "MUSEUM",  "CAFE",
                                 "CINEMA",  "MARKET", "OPTICS", "LIBRARY", "THEATRE", "FLOWERS"};
    std::vector<House> out;
    double azimuth = -kPi;
    size_t i = 0;
    while (azimuth < kPi - 0.1) {
        House house;
        house.distance = 30.0 + 16.0 * random.uniform();
        house.width = 12.0 + 8.0 * random.uniform();
        house.height = 9.0 + 11.0 * random.uniform();
        const double half = std::atan(house.width * 0.5 / house.distance);
        house.azimuth = azimuth + half;
        house.wall = walls[i % std::size(walls)];
        house.word = words[i % std::size(words)];
        azimuth = house.azimuth + half + (0.5 + 4.0 * random.uniform()) * kDegree;
        out.push_back(house);
        ++i;
    }
    std::sort(out.begin(), out.end(),
              [](const House& a, const House& b) { return a.distance > b.distance; });
    return out;
}

/// An upright strip that faces the camera.
void strip(FacePainter& painter, double azimuth, double distance, double width,
           std::array<double, 2> heights, const Colour& colour) {
    const double half = std::atan(width * 0.5 / distance);
    painter.fill(
        {at(azimuth - half, distance, heights[1]), at(azimuth + half, distance, heights[1]),
         at(azimuth + half, distance, heights[0]), at(azimuth - half, distance, heights[0])},
        colour);
}

/// Posts from the pavement into the sky: the long straight lines of the scene.
void paint_posts(FacePainter& painter, Random& random) {
    for (double azimuth = -180.0; azimuth < 180.0; azimuth += 14.0) {
        const double a = (azimuth + 4.0 * random.uniform()) * kDegree;
        const double distance = 13.0 + 4.0 * random.uniform();
        strip(painter, a, distance, 0.15, {0.0, 7.5}, grey(36));
        strip(painter, a, distance, 0.8, {7.3, 7.6}, grey(44));
        strip(painter, a, distance, 0.3, {0.0, 0.5}, grey(50));
    }
}

void paint_trees(FacePainter& painter, Random& random) {
    for (double azimuth = -175.0; azimuth < 180.0; azimuth += 17.0) {
        const double a = (azimuth + 9.0 * random.uniform()) * kDegree;
        const double distance = 18.0 + 6.0 * random.uniform();
        strip(painter, a, distance, 0.4, {0.0, 3.0}, {46, 58, 74});
        for (int leaf = 0; leaf < 700; ++leaf) {
            const double turn = 2.0 * kPi * random.uniform();
            const double reach = 1.7 * std::sqrt(random.uniform());
            const double size = 0.08 + 0.14 * random.uniform();
            const double light = random.uniform();
            const double side = std::atan(reach * std::cos(turn) / distance);
            const double height = 4.2 + 1.15 * reach * std::sin(turn);
            strip(painter, a + side, distance, size, {height, height + size},
                  {40 + 40 * light, 84 + 84 * light, 46 + 56 * light});
        }
    }
}

/// Grain everywhere, so that plain walls too have something to hold on to.
void add_grain(cv::Mat& canvas, uint64_t seed) {
    Random random(seed);
    constexpr int kTile = 256;
    cv::Mat grain(kTile, kTile, CV_32F);
    for (int y = 0; y < kTile; ++y) {
        for (int x = 0; x < kTile; ++x) {
            grain.at<float>(y, x) = static_cast<float>(random.uniform() - 0.5) * 30.0f;
        }
    }
    cv::GaussianBlur(grain, grain, {}, 0.8);
    for (int y = 0; y < canvas.rows; ++y) {
        auto* const row = canvas.ptr<cv::Vec3b>(y);
        const float* const noise = grain.ptr<float>(y % kTile);
        for (int x = 0; x < canvas.cols; ++x) {
            for (int c = 0; c < 3; ++c) {
                row[x][c] = cv::saturate_cast<uint8_t>(row[x][c] + noise[x % kTile]);
            }
        }
    }
}

/// Blue, green and red to the picture's planes. Sizes must be even.
Picture to_picture(const cv::Mat& bgr) {
    cv::Mat planes;
    cv::cvtColor(bgr, planes, cv::COLOR_BGR2YUV_I420);
    Picture out;
    out.resize(static_cast<uint32_t>(bgr.cols), static_cast<uint32_t>(bgr.rows));
    const uint8_t* from = planes.ptr();
    for (Plane& plane : out.planes) {
        std::copy_n(from, plane.samples.size(), plane.samples.begin());
        from += plane.samples.size();
    }
    return out;
}

Picture draw_face(size_t face, uint32_t size, uint64_t seed) {
    FacePainter painter(face, size);
    const Noise noise(seed + 1);
    // Every face draws the whole world from the same seed, so that they meet at their edges.
    Random random(seed);
    paint_sky(painter, noise);
    paint_hills(painter, noise);
    paint_ground(painter, random);
    for (const House& house : make_houses(random)) {
        HousePainter(painter, house, random).paint();
    }
    paint_trees(painter, random);
    paint_posts(painter, random);
    cv::Mat& canvas = painter.canvas();
    cv::GaussianBlur(canvas, canvas, {}, 0.55);
    add_grain(canvas, seed + 2 + face);
    return to_picture(canvas);
}

Picture board_picture(const char* first, const char* second, const Colour& ground) {
    cv::Mat out(480, 480, CV_8UC3, ground);
    const Colour ink = grey(245);
    cv::rectangle(out, {16, 16}, {463, 463}, ink, 10, cv::LINE_AA);
    const auto line = [&](const char* word, int y) {
        int base = 0;
        const cv::Size size = cv::getTextSize(word, cv::FONT_HERSHEY_DUPLEX, 3.0, 9, &base);
        cv::putText(out, word, {(480 - size.width) / 2, y}, cv::FONT_HERSHEY_DUPLEX, 3.0, ink, 9,
                    cv::LINE_AA);
    };
    line(first, 210);
    line(second, 350);
    cv::GaussianBlur(out, out, {}, 1.0);
    add_grain(out, 77);
    return to_picture(out);
}

void add_boards(Scene& scene) {
    const struct {
        double azimuth;
        double distance;
        const char* first;
        const char* second;
        Colour ground;
    } rows[] = {
        {17.0 * kDegree, 4.2, "LINE", "12", {120, 70, 24}},
        {-36.0 * kDegree, 5.5, "EXIT", "B4", {60, 96, 30}},
        {62.0 * kDegree, 4.8, "TAXI", "1", {40, 60, 150}},
        {-78.0 * kDegree, 5.0, "BUS", "7", {120, 70, 24}},
    };
    for (const auto& row : rows) {
        Board post;
        post.centre = at(row.azimuth, row.distance, 0.55);
        post.half_width = 0.035;
        post.half_height = 0.55;
        post.turn = row.azimuth;
        post.picture = to_picture(cv::Mat(64, 16, CV_8UC3, grey(70)));
        scene.boards.push_back(post);
        Board board;
        board.centre = at(row.azimuth, row.distance, 1.35);
        board.half_width = 0.3;
        board.half_height = 0.3;
        board.turn = row.azimuth;
        board.picture = board_picture(row.first, row.second, row.ground);
        scene.boards.push_back(std::move(board));
    }
}

}  // namespace

Scene draw_scene(uint64_t seed, uint32_t face_size, const std::array<bool, 6>& wanted) {
    Scene scene;
    scene.face_size = face_size;
    for (size_t face = 0; face < 6; ++face) {
        if (wanted[face]) {
            scene.faces[face] = draw_face(face, face_size, seed);
        }
    }
    add_boards(scene);
    return scene;
}

}  // namespace steadywarp::tool
