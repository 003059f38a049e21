// SPDX-License-Identifier: Apache-2.0
/// @file blackman.hpp
/// The symmetric window that lens-shift samples are averaged under.
#pragma once

#include <cstdint>
#include <memory>

namespace steadywarp {

/// A kernel of odd length whose half length can be changed up to the one it was made with.
class ConvolutionFilter {
  public:
    /// @param max_half taps on each side of the middle one.
    /// @param status set to EIS_ERROR_NO_MEMORY on failure.
    ConvolutionFilter(uint32_t max_half, uint32_t& status);
    virtual ~ConvolutionFilter() = default;

    uint32_t max_half() const { return _max_half; }
    uint32_t active_half() const { return _active_half; }
    uint32_t active_size() const { return _active_size; }
    const double* kernel() const { return _kernel.get(); }

    /// Use `half` taps on each side, at most those there is room for.
    void set_half(uint32_t half);

  protected:
    virtual void compute(double* kernel, uint32_t half) const = 0;

  private:
    uint32_t _size;
    uint32_t _active_size;
    std::unique_ptr<double[]> _kernel;
    uint32_t _max_half;
    uint32_t _active_half;
};

/// w(i) = 0.42 - 0.5 cos(2 pi i / (N - 1)) + 0.08 cos(4 pi i / (N - 1)), scaled to a sum of 1.
class Blackman final : public ConvolutionFilter {
  public:
    Blackman(uint32_t max_half, uint32_t& status);

  protected:
    void compute(double* kernel, uint32_t half) const override;
};

}  // namespace steadywarp
