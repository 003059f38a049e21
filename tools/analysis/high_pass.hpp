// SPDX-License-Identifier: Apache-2.0
/// @file high_pass.hpp
/// The part of a signal above a frequency, without shift in time.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace steadywarp::tool {

/// A Butterworth high-pass of order 4 over evenly spaced values as they come.
class RunningHighPass {
  public:
    /// @param rate_hz values a second; `cut_hz` must lie between 0 and half of it.
    RunningHighPass(double rate_hz, double cut_hz);

    /// Go on as if the signal had been `value` for ever; the output is then 0.
    void settle(double value);
    double step(double value);

  private:
    /// A second-order section, transposed direct form; numerator b0 (1 - z^-1)^2.
    class Section {
      public:
        /// Bilinear transform of s^2 / (s^2 + s/q + 1) with the cut at k = tan(pi cut / rate).
        Section(double k, double q);
        void settle(double value);
        double step(double x);

      private:
        double b0_ = 0.0;
        double a1_ = 0.0;
        double a2_ = 0.0;
        double z1_ = 0.0;
        double z2_ = 0.0;
    };

    std::array<Section, 2> sections_;
};

/// Filter evenly spaced values by a Butterworth high-pass of order 4, forward and then backward.
///
/// The two passes leave no delay; together they halve the amplitude at `cut_hz`, leave 94 % of it
/// at 1.41 times and 0.4 % at half that frequency. Beyond both ends the signal goes on as its point
/// reflection, over three periods of the cut or as far as there are values.
/// @param rate_hz values a second; `cut_hz` must lie between 0 and half of it.
std::vector<double> high_pass(std::span<const double> values, double rate_hz, double cut_hz);

/// A signal over time: times in microseconds, strictly increasing.
struct Signal {
    std::vector<double> t_us;
    std::vector<double> value;
};

/// RMS of a signal above a frequency.
///
/// The signal is cut where a step exceeds one and a half periods; each stretch is put on an even
/// grid of `period_us` by straight lines between its values and filtered on its own. Stretches
/// shorter than two periods of the cut are left out.
/// @return nothing if no stretch is left or the cut is above 0.45 times the sampling rate.
std::optional<double> rms_above(const Signal& signal, double period_us, double cut_hz);

}  // namespace steadywarp::tool
