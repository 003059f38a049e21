// SPDX-License-Identifier: Apache-2.0
#include "analysis/high_pass.hpp"

#include <algorithm>
#include <cmath>

#include "geometry/rotation.hpp"

namespace steadywarp::tool {
namespace {

void filter_forward(std::vector<double>& values, double rate_hz, double cut_hz) {
    RunningHighPass filter(rate_hz, cut_hz);
    filter.settle(values.front());
    for (double& value : values) {
        value = filter.step(value);
    }
}

/// The values, with their point reflections of length `pad` on both sides.
std::vector<double> reflect(std::span<const double> values, size_t pad) {
    std::vector<double> out;
    out.reserve(values.size() + 2 * pad);
    for (size_t i = pad; i > 0; --i) {
        out.push_back(2.0 * values.front() - values[i]);
    }
    out.insert(out.end(), values.begin(), values.end());
    for (size_t i = 1; i <= pad; ++i) {
        out.push_back(2.0 * values.back() - values[values.size() - 1 - i]);
    }
    return out;
}

/// Values of `signal` between `first` and `end` at even times, by straight lines.
std::vector<double> even_values(const Signal& signal, size_t first, size_t end, double period_us) {
    std::vector<double> out;
    const double start = signal.t_us[first];
    const double length = signal.t_us[end - 1] - start;
    size_t i = first;
    // Half a microsecond: stamps are whole microseconds, a period need not be.
    for (size_t k = 0; static_cast<double>(k) * period_us <= length + 0.5; ++k) {
        const double t = start + static_cast<double>(k) * period_us;
        while (i + 2 < end && signal.t_us[i + 1] <= t) {
            ++i;
        }
        if (i + 1 >= end) {
            break;
        }
        const double part = (t - signal.t_us[i]) / (signal.t_us[i + 1] - signal.t_us[i]);
        out.push_back(signal.value[i] + part * (signal.value[i + 1] - signal.value[i]));
    }
    return out;
}

}  // namespace

RunningHighPass::Section::Section(double k, double q) {
    const double norm = 1.0 / (1.0 + k / q + k * k);
    b0_ = norm;
    a1_ = 2.0 * (k * k - 1.0) * norm;
    a2_ = (1.0 - k / q + k * k) * norm;
}

void RunningHighPass::Section::settle(double value) {
    z1_ = -b0_ * value;
    z2_ = b0_ * value;
}

double RunningHighPass::Section::step(double x) {
    const double y = b0_ * x + z1_;
    z1_ = -2.0 * b0_ * x - a1_ * y + z2_;
    z2_ = b0_ * x - a2_ * y;
    return y;
}

// Poles of order 4 lie at 22.5 and 67.5 degrees from the real axis: q = 1 / (2 cos).
RunningHighPass::RunningHighPass(double rate_hz, double cut_hz)
    : sections_{Section(std::tan(kPi * cut_hz / rate_hz), 0.5 / std::cos(kPi / 8.0)),
                Section(std::tan(kPi * cut_hz / rate_hz), 0.5 / std::cos(kPi * 3.0 / 8.0))} {}

void RunningHighPass::settle(double value) {
    sections_[0].settle(value);
    sections_[1].settle(0.0);
}

double RunningHighPass::step(double value) {
    return sections_[1].step(sections_[0].step(value));
}

std::vector<double> high_pass(std::span<const double> values, double rate_hz, double cut_hz) {
    if (values.empty()) {
        return {};
    }
    const auto wanted = static_cast<size_t>(std::ceil(3.0 * rate_hz / cut_hz));
    const size_t pad = std::min(wanted, values.size() - 1);
    std::vector<double> work = reflect(values, pad);
    filter_forward(work, rate_hz, cut_hz);
    std::reverse(work.begin(), work.end());
    filter_forward(work, rate_hz, cut_hz);
    std::reverse(work.begin(), work.end());
    const auto first = work.begin() + static_cast<std::ptrdiff_t>(pad);
    return {first, first + static_cast<std::ptrdiff_t>(values.size())};
}

std::optional<double> rms_above(const Signal& signal, double period_us, double cut_hz) {
    const double rate_hz = 1e6 / period_us;
    if (!(cut_hz < 0.45 * rate_hz)) {
        return std::nullopt;
    }
    double sum = 0.0;
    size_t count = 0;
    size_t first = 0;
    for (size_t i = 1; i <= signal.t_us.size(); ++i) {
        const bool goes_on =
            i < signal.t_us.size() && signal.t_us[i] - signal.t_us[i - 1] <= 1.5 * period_us;
        if (goes_on) {
            continue;
        }
        if ((signal.t_us[i - 1] - signal.t_us[first]) * 1e-6 >= 2.0 / cut_hz) {
            const auto even = even_values(signal, first, i, period_us);
            for (const double value : high_pass(even, rate_hz, cut_hz)) {
                sum += value * value;
            }
            count += even.size();
        }
        first = i;
    }
    return count != 0 ? std::optional(std::sqrt(sum / static_cast<double>(count))) : std::nullopt;
}

}  // namespace steadywarp::tool
