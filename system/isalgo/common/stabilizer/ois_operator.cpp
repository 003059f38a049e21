// SPDX-License-Identifier: Apache-2.0
#include "stabilizer/ois_operator.hpp"

#include <algorithm>
#include <cmath>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "steadywarp/eis.h"

namespace steadywarp {
namespace {

// The frame width that a tuned shift is given at.
constexpr double kTuningWidth = 1920.0;

Point2 mean_of(const Point2* samples, uint32_t n) {
    Point2 sum;
    for (uint32_t i = 0; i < n; ++i) {
        sum.x += samples[i].x;
        sum.y += samples[i].y;
    }
    return {sum.x / n, sum.y / n};
}

// c0 + c1 a + c2 b + c3 a^2 + c4 a b + c5 b^2 + c6 a^3 + c7 a^2 b + c8 a b^2 + c9 b^3
double cubic(const std::array<float, 10>& c, double a, double b) {
    const double terms[10] = {1.0,   a,         b,         a * a,     a * b,
                              b * b, a * a * a, a * a * b, a * b * b, b * b * b};
    double sum = 0.0;
    for (size_t i = 0; i < 10; ++i) {
        sum += static_cast<double>(c[i]) * terms[i];
    }
    return sum;
}

std::array<double, 10> widened(const float (&values)[10]) {
    std::array<double, 10> out{};
    std::copy(std::begin(values), std::end(values), out.begin());
    return out;
}

std::array<float, 10> narrowed(const std::array<double, 10>& values) {
    std::array<float, 10> out{};
    std::transform(values.begin(), values.end(), out.begin(),
                   [](double value) { return static_cast<float>(value); });
    return out;
}

}  // namespace

OISOperator::OISOperator(const is_tessaline_info_s& tuning)
    // One tuned value serves both axes.
    : _raw_offset_x(static_cast<double>(eis_tuning_get_ois(&tuning, EIS_TUNING_OIS_RAW_OFFSET))),
      _raw_offset_y(_raw_offset_x) {}

ShiftOIS::ShiftOIS(const is_tessaline_info_s& tuning) : OISOperator(tuning) {
    ShiftOIS::set_parameters(widened(tuning.ois.data_conversion_x_tab),
                             widened(tuning.ois.data_conversion_y_tab));
}

void ShiftOIS::set_parameters(const std::array<double, 10>& x, const std::array<double, 10>& y) {
    _coeff_x = narrowed(x);
    _coeff_y = narrowed(y);
}

void ShiftOIS::update(const Camera& camera, const frame_geometry_windows& windows) {
    _pixel_scale = (camera.width / kTuningWidth) / windows.scale;
    _angle_scale = windows.in_ratio_x / camera.focal_x;
}

Point2 ShiftOIS::get_shift(const Point2& sample) const {
    const double a = sample.x + _raw_offset_x;
    const double b = sample.y + _raw_offset_y;
    return {cubic(_coeff_x, a, b) * _pixel_scale, cubic(_coeff_y, a, b) * _pixel_scale};
}

Vec3<double> ShiftOIS::get_rotation(const Point2* samples, uint32_t n) const {
    // The mean goes through the cubic once.
    const Point2 shift = get_shift(mean_of(samples, n));
    return {-shift.y * _angle_scale, shift.x * _angle_scale, 0.0};
}

Matrix3 ShiftOIS::get_matrix(const Point2& sample) const {
    const Point2 shift = get_shift(sample);
    return {1.0, 0.0, -shift.x, 0.0, 1.0, -shift.y, 0.0, 0.0, 1.0};
}

Point2 ShiftOIS::remove(const Point2& point, const Point2& sample) const {
    const Point2 shift = get_shift(sample);
    return {point.x - shift.x, point.y - shift.y};
}

Point2 ShiftOIS::apply(const Point2& point, const Point2& sample) const {
    const Point2 shift = get_shift(sample);
    return {point.x + shift.x, point.y + shift.y};
}

GimbalPrismYLensShiftXOIS::GimbalPrismYLensShiftXOIS(const is_tessaline_info_s& tuning)
    : ShiftOIS(tuning) {
    _coeff_y.fill(0.0f);
}

void GimbalPrismYLensShiftXOIS::set_parameters(const std::array<double, 10>& x,
                                               const std::array<double, 10>&) {
    _coeff_x = narrowed(x);
    _coeff_y.fill(0.0f);
}

Point2 GimbalPrismYLensShiftXOIS::get_shift(const Point2& sample) const {
    return {-(cubic(_coeff_x, sample.x + _raw_offset_x, 0.0) * _pixel_scale), 0.0};
}

GeneralOIS::GeneralOIS(const is_tessaline_info_s& tuning)
    : OISOperator(tuning),
      _defined_on_x(eis_tuning_as_u32(
          eis_tuning_get_ois(&tuning, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_X))),
      _defined_on_y(eis_tuning_as_u32(
          eis_tuning_get_ois(&tuning, EIS_TUNING_OIS_GENERAL_MODEL_TRANSFORM_DEFINED_ON_Y))) {
    for (uint32_t i = 0; i < _forward.size(); ++i) {
        _forward[i] = static_cast<double>(eis_tuning_get_general_model_parameter(&tuning, i));
        _inverse[i] = static_cast<double>(eis_tuning_get_general_model_parameter(
            &tuning, i + static_cast<uint32_t>(_forward.size())));
    }
}

Matrix3 GeneralOIS::model(const Point2& sample, const Parameters& p) const {
    const double a = sample.x + _raw_offset_x;
    const double b = sample.y + _raw_offset_y;
    Matrix3 m{};
    for (size_t i = 0; i < 8; ++i) {
        const double* c = &p[6 * i];
        m[i] = c[0] + c[1] * a + c[2] * b + c[3] * a * a + c[4] * a * b + c[5] * b * b;
    }
    m[8] = 1.0;
    return m;
}

void GeneralOIS::update(const Camera& camera, const frame_geometry_windows& windows) {
    _camera = camera;
    _crop_width = camera.width / windows.scale;
    _crop_height = camera.height / windows.scale;
    _to_model_x = _defined_on_x / _crop_width;
    _to_model_y = _defined_on_y / _crop_height;
    _from_model_x = 1.0 / _to_model_x;
    _from_model_y = 1.0 / _to_model_y;
}

Point2 GeneralOIS::through(const Point2& point, const Point2& sample,
                           const Parameters& parameters) const {
    const Point2 in_model = {point.x * _to_model_x, point.y * _to_model_y};
    const Point2 moved = map_point(model(sample, parameters), in_model);
    return {moved.x * _from_model_x, moved.y * _from_model_y};
}

Point2 GeneralOIS::remove(const Point2& point, const Point2& sample) const {
    return through(point, sample, _forward);
}

Point2 GeneralOIS::apply(const Point2& point, const Point2& sample) const {
    return through(point, sample, _inverse);
}

Matrix3 GeneralOIS::get_matrix(const Point2& sample) const {
    Matrix3 m = model(sample, _forward);
    const double a = static_cast<double>(static_cast<float>(_crop_width)) / _defined_on_x;
    const double b = static_cast<double>(static_cast<float>(_crop_height)) / _defined_on_y;
    m[1] *= a / b;
    m[2] *= a;
    m[3] *= b / a;
    m[5] *= b;
    m[6] /= a;
    m[7] /= b;
    return m;
}

// Q = K^-1 M K is a rotation as far as the lens can turn the picture; its angles are read off.
Vec3<double> GeneralOIS::get_rotation(const Point2* samples, uint32_t n) const {
    const Matrix3 k = {_camera.focal_x,
                       0.0,
                       _camera.center_x,
                       0.0,
                       _camera.focal_y,
                       _camera.center_y,
                       0.0,
                       0.0,
                       1.0};
    const Matrix3 inverse_k = {1.0 / _camera.focal_x,
                               0.0,
                               -_camera.center_x / _camera.focal_x,
                               0.0,
                               1.0 / _camera.focal_y,
                               -_camera.center_y / _camera.focal_y,
                               0.0,
                               0.0,
                               1.0};
    Matrix3 q = multiply(multiply(inverse_k, get_matrix(mean_of(samples, n))), k);
    const double last = q[8];
    for (double& element : q) {
        element /= last;
    }
    return {std::atan2(-q[5], q[8]), std::asin(q[2]), std::atan2(-q[1], q[0])};
}

std::unique_ptr<OISOperator> make_ois_operator(const is_tessaline_info_s& tuning,
                                               uint32_t& status) {
    std::unique_ptr<OISOperator> made;
    switch (tuning.ois.module_type) {
        case kOisShift:
            made = allocate<ShiftOIS>(tuning);
            break;
        case kOisGeneral:
            made = allocate<GeneralOIS>(tuning);
            break;
        case kOisGimbalPrismYLensShiftX:
            made = allocate<GimbalPrismYLensShiftXOIS>(tuning);
            break;
        case kOisGimbalA:
        case kOisGimbalB:
            return nullptr;
        default:
            EIS_ERR("IS0002", "Unknown OIS module_type is configured %u", tuning.ois.module_type);
            return nullptr;
    }
    if (made == nullptr) {
        EIS_ERR("IS0004", "Out of Memory");
        status = EIS_ERROR_NO_MEMORY;
    }
    return made;
}

}  // namespace steadywarp
