// SPDX-License-Identifier: Apache-2.0
/// @file rounds.hpp
/// Two ways to do one job, timed side by side in rounds that alternate between them.
///
/// What disturbs the machine disturbs both, so the ratio of a round holds where times do not.
#pragma once

#include <cmath>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace compare {

/// One way to do a job.
struct Side {
    std::string name;
    std::function<void()> run;
    double largest_error = std::nan(
        "");  ///< against the truth, in units of the job; of a fit, what is left, RMS; NaN: none
};

struct Job {
    std::string what;
    Side ours;
    Side theirs;
    double goal;  ///< least ratio of their time to ours that is wanted
};

struct SideFigures {
    double median_us;
    double allocations;  ///< of one run
};

struct Figures {
    SideFigures ours;
    SideFigures theirs;
    double ratio_p10, ratio_median, ratio_p90;  ///< of their time to ours, over rounds
};

/// Time a job. A round runs each side often enough to take some 50 microseconds or more.
Figures Measure(const Job& job, int rounds);

/// The element that `part` (0 to 1) of the values lie below.
double Percentile(std::vector<double> values, double part);

/// Allocations of this program so far, its libraries' included.
size_t AllocationCount();

}  // namespace compare
