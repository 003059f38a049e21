// SPDX-License-Identifier: Apache-2.0
/// @file ois_operator.hpp
/// What a shifted lens does to the picture, by the kind of module.
///
/// Pixels are counted from the centre of the top-left pixel. A positive shift is what is added to
/// a raw pixel to find where an unshifted lens would have put it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/matrix3.hpp"
#include "base/vec3.hpp"
#include "filter/frame_records.hpp"
#include "sensors/camera.hpp"
#include "sensors/gimbal_ois.hpp"
#include "steadywarp/eis_tuning.h"

namespace steadywarp {

/// A lens that moves. Call update() with each frame's windows before anything else.
class OISOperator {
  public:
    explicit OISOperator(const is_tessaline_info_s& tuning);
    virtual ~OISOperator() = default;

    virtual void update(const Camera& camera, const frame_geometry_windows& windows) = 0;
    /// The mean motion of a frame's `n` samples as angles about the camera's axes, radians.
    virtual Vec3<double> get_rotation(const Point2* samples, uint32_t n) const = 0;
    /// The shift as a homography from unshifted to raw pixels.
    virtual Matrix3 get_matrix(const Point2& sample) const = 0;
    /// From an unshifted pixel to the raw one.
    virtual Point2 remove(const Point2& point, const Point2& sample) const = 0;
    /// From a raw pixel to the unshifted one.
    virtual Point2 apply(const Point2& point, const Point2& sample) const = 0;
    virtual uint32_t module_type() const = 0;
    virtual void set_parameters(const std::array<double, 10>& x,
                                const std::array<double, 10>& y) = 0;

  protected:
    double _raw_offset_x;
    double _raw_offset_y;
};

/// A lens that shifts in both axes, by a cubic of the two raw values.
class ShiftOIS : public OISOperator {
  public:
    explicit ShiftOIS(const is_tessaline_info_s& tuning);

    void update(const Camera& camera, const frame_geometry_windows& windows) override;
    Vec3<double> get_rotation(const Point2* samples, uint32_t n) const override;
    Matrix3 get_matrix(const Point2& sample) const override;
    Point2 remove(const Point2& point, const Point2& sample) const override;
    Point2 apply(const Point2& point, const Point2& sample) const override;
    uint32_t module_type() const override { return kOisShift; }
    void set_parameters(const std::array<double, 10>& x, const std::array<double, 10>& y) override;

    /// The shift in pixels of the frame.
    virtual Point2 get_shift(const Point2& sample) const;

  protected:
    std::array<float, 10> _coeff_x{};
    std::array<float, 10> _coeff_y{};
    double _pixel_scale = 0.0;
    double _angle_scale = 0.0;
};

/// A prism for y, which turns the picture, and a lens shift for x.
class GimbalPrismYLensShiftXOIS final : public ShiftOIS {
  public:
    explicit GimbalPrismYLensShiftXOIS(const is_tessaline_info_s& tuning);

    uint32_t module_type() const override { return kOisGimbalPrismYLensShiftX; }
    void set_parameters(const std::array<double, 10>& x, const std::array<double, 10>& y) override;
    Point2 get_shift(const Point2& sample) const override;
};

/// A lens whose every element of the homography is a quadratic of the two raw values.
class GeneralOIS final : public OISOperator {
  public:
    explicit GeneralOIS(const is_tessaline_info_s& tuning);

    void update(const Camera& camera, const frame_geometry_windows& windows) override;
    Vec3<double> get_rotation(const Point2* samples, uint32_t n) const override;
    Matrix3 get_matrix(const Point2& sample) const override;
    Point2 remove(const Point2& point, const Point2& sample) const override;
    Point2 apply(const Point2& point, const Point2& sample) const override;
    uint32_t module_type() const override { return kOisGeneral; }
    void set_parameters(const std::array<double, 10>&, const std::array<double, 10>&) override {}

  private:
    using Parameters = std::array<double, 48>;
    Matrix3 model(const Point2& sample, const Parameters& parameters) const;
    Point2 through(const Point2& point, const Point2& sample, const Parameters& parameters) const;

    Parameters _forward{};
    Parameters _inverse{};
    uint32_t _defined_on_x;
    uint32_t _defined_on_y;
    Camera _camera;
    double _crop_width = 0.0;
    double _crop_height = 0.0;
    double _to_model_x = 0.0;
    double _to_model_y = 0.0;
    double _from_model_x = 0.0;
    double _from_model_y = 0.0;
};

/// Make the operator of a sensor; empty for modules that need none.
/// @param status set to EIS_ERROR_NO_MEMORY on failure.
std::unique_ptr<OISOperator> make_ois_operator(const is_tessaline_info_s& tuning, uint32_t& status);

}  // namespace steadywarp
