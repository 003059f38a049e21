// SPDX-License-Identifier: Apache-2.0
/// @file geometric_fit.hpp
/// Least-squares fits of a plane transform to point correspondences, and what a robust estimator
/// asks about a fitted transform.
///
/// A transform is a row-major 3x3 of nine floats. Coordinates are whatever plane the caller works
/// in. Sums over correspondences run in four lanes, correspondence i in lane i mod 4, added as
/// (0+1)+(2+3) at the end, so that a vector form gives the same bits. Nothing allocates, and any
/// thread may call.
///
/// The fits set their output to zeros first, and leave it so with fewer than 4 indices, with an
/// index outside the points, or when the system has no solution. A NULL argument is a call without
/// effect.
#pragma once

#include <cstdint>

/// Pairs of points, and which of them to use.
struct bcvCorrespondences {
    const float* X0;          ///< source; point i at X0[i * stride0], x then y
    const float* X1;          ///< destination; point i at X1[i * stride1], x then y
    uint32_t stride0;         ///< floats between source points
    uint32_t stride1;         ///< floats between destination points
    uint32_t numPoints;       ///< points in both arrays
    const uint16_t* indices;  ///< the points to use
    uint32_t numIndices;      ///< length of `indices`
};

/// Solve A x = b for a symmetric positive definite A by Cholesky factorisation.
///
/// @param A n by n, row-major; its upper triangle is read and overwritten.
/// @param b n right sides; may be `x`.
/// @param work n floats of scratch.
/// @return non-zero when solved; 0 when a pivot is not positive, with `x` untouched.
int bcvSolveCholeskyf32(float* A, const float* b, float* work, unsigned n, float* x);

/// Solve a system of N rows with its right side in column N, by elimination with row exchange.
/// @return false when a pivot is below 1e-7 in magnitude or the system does not normalise.
template <int N, typename T>
bool GaussJordan(T (*system)[N + 1]);

/// Fit a homography with H[8] = 1 by its linear form, u (H6 x + H7 y + 1) = H0 x + H1 y + H2 and
/// the same for v. Sums and solution in single precision; where that finds no solution, the double
/// precision form stands in.
void bcvGeomHomographyFitf32(const bcvCorrespondences* correspondences, float* H);

/// As bcvGeomHomographyFitf32(), in double precision throughout.
void bcvGeomHomographyFitDPf32C(const bcvCorrespondences* correspondences, float* H);

/// Fit [a b c; d e f; 0 0 1] to the displacements of the points.
void bcvGeomAffineTransformFitf32(const bcvCorrespondences* correspondences, float* H);

/// Fit the similarity [a b c; -b a d; 0 0 1].
void bcvGeomRigidTransformFitf32(const bcvCorrespondences* correspondences, float* H);

/// As bcvGeomRigidTransformFitf32(), in double precision, rounded at the end.
void bcvGeomRigidTransformFitDP(const bcvCorrespondences* correspondences, float* H);

/// List the correspondences that a homography carries to within a squared distance.
///
/// @param threshold squared distance, in units of the destination.
/// @param inliers receives indices that passed, in order; room for numIndices.
/// @param count receives their number.
/// @return 0 if every index passed, -1 if any failed; an index outside the points fails.
int bcvGeomHomographyEvaluatef32(const bcvCorrespondences* correspondences, float* H,
                                 float threshold, int reserved, unsigned short* inliers,
                                 int* count);

/// As bcvGeomHomographyEvaluatef32(), with the MSAC score: the squared distance of each inlier plus
/// the threshold for each other correspondence.
int bcvGeomHomographyEvaluateMSACf32(const bcvCorrespondences* correspondences, float* H,
                                     float threshold, unsigned short* inliers, int* count,
                                     float* score);

/// As bcvGeomHomographyEvaluateMSACf32(), for a transform whose last row is [0 0 1].
int bcvGeomAffineTransformEvaluatef32(const bcvCorrespondences* correspondences, float* H,
                                      float threshold, unsigned short* inliers, int* count,
                                      float* score);
