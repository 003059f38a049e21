// SPDX-License-Identifier: Apache-2.0
/// @file jobs.hpp
/// The jobs that are compared, by family. Errors are measured when a job is made.
#pragma once

#include <vector>

#include "rounds.hpp"

namespace compare {

/// Points through a homography, through grids forward and backward, and the fit of a homography.
void AddPointJobs(std::vector<Job>& jobs);

/// The mesh of the other direction.
void AddReversalJob(std::vector<Job>& jobs);

/// What a frame is made of: the rows' homographies on a grid, the tests of a crop; and all of it.
void AddFrameJobs(std::vector<Job>& jobs);

/// A tuning file: loading, look-up, check sum.
void AddTuningJobs(std::vector<Job>& jobs);

/// Time each of `frames` frames of a hand-held recording alone, and print how they spread.
void PrintFrameTimes(long frames);

}  // namespace compare
