// SPDX-License-Identifier: Apache-2.0
/// @file ica_validity.hpp
/// Can the warp hardware fetch what a warp asks for?
#pragma once

#include "steadywarp/nclib_temporal.h"

/// Measure the local stretch and slope of a warp and hold them against the hardware's limits.
///
/// The lattice is that of the hardware's cells over the frame, 33 by 25 corners, or 65 by 49 for
/// a grid of 67 columns, with one more point between each two: 65 by 49 or 129 by 97 points. With
/// `coarseLattice` a grid of 67 columns is sampled at 65 by 49 points as it is. The points stand
/// evenly on the output window, corner to corner: point (i, j) of n by m at
/// (i * width/(n - 1), j * height/(m - 1)) output pixels from the window's upper left corner.
///
/// A point's way: output window (pixels) -> full output frame -> virtual domain -> matrices -> grid
/// -> full input frame -> input window (pixels). All measures are in input pixels per output pixel.
///
/// - stretchSquared: the greater of the two directions' greatest squared distance of neighbours,
///   over the squared step; at most 2.56 (a stretch of 1.6).
/// - slope: greatest |dy/dx| of neighbours in a row, 999 where |dx| is below 1e-5; at most 0.249
///   without stretch, falling to 0.141 at a stretch of 1.32 and beyond.
/// - spanRatio: greatest |x| distance of points 336 output pixels apart in a row, rounded to whole
///   steps and held to at least one step and at most the whole row; at most 1.3 of their distance.
///
/// See NcLibCheckIcaTransformValidity() for the parameters.
int32_t NcLibCheckIcaTransformValidityInternal(const NcLibCheckIcaTransformValidityIn_t* in,
                                               bool coarseLattice, void* intermediate, int* isValid,
                                               NcLibIcaTransformValidityInternalOut* measured);
