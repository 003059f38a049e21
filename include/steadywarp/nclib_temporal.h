/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file nclib_temporal.h
 * @brief Motion between frames, in the form and the domain in which temporal filters work.
 *
 * Conventions
 * - Warps are virtual and centred (nclib.h) unless a function says otherwise. An OUT_2_IN alignment
 *   maps points of the current frame to the previous one.
 * - Domains and the direction of each warp are those of nclib_geometries.h.
 * - Status codes, log lines, preconditions and the thread rule are those of nclib.h. Nothing
 *   allocates.
 */
#ifndef STEADYWARP_NCLIB_TEMPORAL_H
#define STEADYWARP_NCLIB_TEMPORAL_H

#include <stddef.h>

#include "steadywarp/nclib.h"
#include "steadywarp/nclib_geometries.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The identity came back for lack of data; callers go on without motion compensation. */
#define NC_LIB_MCTF_NO_ALIGNMENT 0x04000100

/** What NcLibAlignmentFusion() chooses from; any other value chooses by confidence. */
enum { NC_LIB_FUSION_FIRST_ONLY = 0, NC_LIB_FUSION_SECOND_ONLY = 1, NC_LIB_FUSION_ADAPTIVE = 2 };

/** What NcLibAlignmentFusion() chose. */
enum { NC_LIB_FUSION_FIRST = 0, NC_LIB_FUSION_SECOND = 1, NC_LIB_FUSION_NONE = 2 };

/** Bytes that NcLibCheckIcaTransformValidity() works in: 129 by 97 points. */
#define NC_LIB_ICA_VALIDITY_INTERMEDIATE_BYTES (129u * 97u * 8u)

#pragma pack(push, 4)

/** Input of NcLibCalcMctfTransform(). */
typedef struct NcLibCalcMctfIn {
    const NcLibImageSize* inputSize;    /**< of the frame, above zero */
    NcLibZoomWindow reservedZoomWindow; /**< not read */
    NcLibZoomWindow ifeZoomWindow;      /**< crop of the image front end; not read */
    NcLibZoomWindow eisFOV; /**< what the output shows of the frame; its full size is `inputSize` */
    FrameWarps frameWarps;  /**< all six members must be set */
    uint32_t outDomain;     /**< DISTORTED_IMAGE_DOMAIN or STABILIZED_IMAGE_DOMAIN */
} NcLibCalcMctfIn;

/** Input of NcLibGenerateGMOStatistics(). */
typedef struct NcLibGenerateGMOStatisticsIn {
    NcLibWarp alignmentTransform; /**< virtual; at most one matrix, then at most one grid */
    NcLibImageSize outputSize;    /**< pixels in which the result is told, above zero */
    NcLibZoomWindow zoomWindow;   /**< its size, taken in the centre of the frame, is sampled */
} NcLibGenerateGMOStatisticsIn;

/** Output of NcLibGenerateGMOStatistics(). */
typedef struct NcLibGenerateGMOStatisticsOut {
    float absDisplacementSumX; /**< sum over the samples, pixels of `outputSize` */
    float absDisplacementSumY;
    uint32_t numSamples;                 /**< samples that the transform placed, at most 49 */
    NcLibPerspTransformSingle gmoMatrix; /**< the transform as one matrix on `outputSize` */
} NcLibGenerateGMOStatisticsOut;

/** Input of NcLibAlignmentFusion(). */
typedef struct NcLibAlignmentFusionIn {
    const NcLibWarp* firstAlignment; /**< may be NULL */
    bool disableFirst;
    const NcLibWarp* secondAlignment; /**< may be NULL */
    uint32_t mode;                    /**< NC_LIB_FUSION_FIRST_ONLY and so on */
    int32_t highConfidenceThreshold;  /**< at or above it the first one comes back */
    int32_t lowConfidenceThreshold;   /**< below it the second one takes over */
    uint32_t holdCount;               /**< frames that a choice lasts at least */
    /** The second alignment is forced while `forceLevel` is above `forceLevelLimit` and
     * `forceCount` above `forceCountLimit`. What they measure is up to the caller. */
    float forceLevelLimit;
    float forceLevel;
    uint32_t forceCount;
    uint32_t forceCountLimit;
    uint32_t previousState; /**< from the last frame's output; NC_LIB_FUSION_NONE at first */
    uint32_t previousCount; /**< from the last frame's output; 0 at first */
} NcLibAlignmentFusionIn;

/** Output of NcLibAlignmentFusion(). */
typedef struct NcLibAlignmentFusionOut {
    const NcLibWarp* alignment; /**< one of the two candidates, or NULL */
    uint32_t state;             /**< NC_LIB_FUSION_FIRST, _SECOND or _NONE */
    uint32_t count;             /**< frames since the state last changed */
} NcLibAlignmentFusionOut;

/** Input of NcLibCheckIcaTransformValidity(). */
typedef struct NcLibCheckIcaTransformValidityIn {
    const NcLibWarp* warp;        /**< virtual, OUT_2_IN */
    NcLibZoomWindow inputWindow;  /**< what the hardware reads, pixels of the input frame */
    NcLibZoomWindow outputWindow; /**< what it writes, pixels of the output frame */
} NcLibCheckIcaTransformValidityIn;
typedef NcLibCheckIcaTransformValidityIn NcLibCheckIcaTransformValidityIn_t;

/** What NcLibCheckIcaTransformValidity() measured. */
typedef struct NcLibIcaTransformValidityInternalOut {
    float slope;          /**< greatest |dy/dx| along a row, input pixels; 999 for a vertical one */
    float stretchSquared; /**< greatest squared input distance over squared output distance */
    float spanRatio;      /**< greatest input width of some 336 output pixels, over their width */
} NcLibIcaTransformValidityInternalOut;

#pragma pack(pop)

STEADYWARP_STATIC_ASSERT(sizeof(NcLibCalcMctfIn) == 80 + 6 * sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(offsetof(NcLibCalcMctfIn, eisFOV) == 48 + sizeof(void*),
                         "offsets are part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibGenerateGMOStatisticsIn) == 88 + 3 * sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibGenerateGMOStatisticsOut) == 48,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibAlignmentFusionIn) == 44 + 2 * sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(offsetof(NcLibAlignmentFusionIn, mode) == 4 + 2 * sizeof(void*),
                         "offsets are part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibAlignmentFusionOut) == 8 + sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibCheckIcaTransformValidityIn) == 48 + sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibIcaTransformValidityInternalOut) == 12,
                         "size is part of the binary interface");

/**
 * Give the motion from the current to the previous frame in the domain of a temporal filter.
 *
 * With D, S the current distortion and stabilization, D', S' the previous ones and A the alignment:
 *
 *     outDomain   alignment    stabilization        result
 *     the same    any          any                  a copy of A
 *     stabilized  distorted or one matrix, no grid  matrix  inverse(S') * A * S
 *                 undistorted
 *     distorted   stabilized   one matrix, no grid  matrix  inverse(S) * A * S'
 *     distorted   stabilized   any, and D, D'       grid    D'(S'(A(inverse S(inverse D))))
 *     stabilized  undistorted  any                  matrix fitted to inverse S'(A(S))
 *     stabilized  distorted    any                  matrix fitted to
 *                                                   inverse S'(inverse D'(A(D(S))))
 *
 * Products apply their right factor first, so the third row takes a point through S', then A, then
 * back through S. It holds only without distortion grids, where it stands in for the fourth.
 * Where no warp lies between the two domains, the result is a copy of A.
 *
 * The grid is laid over `eisFOV`, has the size that `out->grid` asks for (27 by 35 or 51 by 67) and
 * maps `eisFOV`, stretched onto the virtual domain, to itself. The matrix is fitted to 18 points of
 * `eisFOV`; points that a backward warp cannot place are left out.
 *
 * @param in warps virtual. Preconditions: kinds of warps (single matrix, grid, direction) agree
 *        between the two frames; the alignment is OUT_2_IN and, except for a copy, holds matrices
 *        alone; distortion warps hold no matrices; for a grid result, a chip with IcaHighResGrid
 *        and nodes that all come out as numbers.
 * @param out room for a matrix, and for the grid where one comes out; a copy needs room for what A
 *        holds. A matrix result says NOT_CENTERED although it is centred, as temporal filters
 *        expect, and carries A's confidence.
 * @return NC_LIB_MCTF_NO_ALIGNMENT, with the identity and confidence 0, if the alignment has
 *         confidence 0, less than 5 points were placed, or those that were do not determine a
 *         homography. NC_LIB_INVALID_INPUT for a NULL member, or for an assist grid that is missing
 *         where the matrices are not single.
 */
STEADYWARP_API int32_t NcLibCalcMctfTransform(const NcLibCalcMctfIn* in, NcLibWarp* out);

/**
 * Give a frame's transform the inverse of its alignment for a matrix.
 *
 * @param transform OUT_2_IN, a precondition, like all pointers being set; copied to `out`.
 * @param alignment if its matrices are enabled, they must be single (a precondition), and replace
 *        those of the copy, inverted.
 * @param out room for what comes in; may be `transform`.
 */
STEADYWARP_API int32_t NcLibCalcMfnrTransform(const NcLibWarp* transform,
                                              const NcLibWarp* alignment, NcLibWarp* out);

/**
 * Express an alignment of two full frames as it acts between crops of them.
 *
 * Coordinates are pixels. A point of a crop is told from the crop's centre, with the crop stretched
 * to the size of its full frame. Computed in double precision.
 *
 * @param alignmentMatrix current to previous frame, pixels of the full frames, `T[8]` 1.
 * @param centered whether its origin is the frame's centre, else it is the first pixel.
 * @param currZoomWindow,prevZoomWindow crops of the two frames, not empty.
 * @param gmoMatrix receives the matrix, `T[8]` 1; the identity if a window is refused.
 * @return NC_LIB_GENERAL_ERROR if a crop's centre lies on the matrix's horizon.
 */
STEADYWARP_API int32_t NcLibGenerateGMO(const NcLibPerspTransformSingle* alignmentMatrix,
                                        bool centered, const NcLibZoomWindow* currZoomWindow,
                                        const NcLibZoomWindow* prevZoomWindow,
                                        NcLibPerspTransformSingle* gmoMatrix);

/**
 * Sum up how far an alignment moves a frame, over 7 by 7 points, and give it as one matrix.
 *
 * Preconditions: enabled parts are virtual; a single matrix. With a grid the matrix is fitted to
 * the points that were placed; the identity stands in where they determine none.
 */
STEADYWARP_API int32_t NcLibGenerateGMOStatistics(const NcLibGenerateGMOStatisticsIn* in,
                                                  NcLibGenerateGMOStatisticsOut* out);

/**
 * Give the motion of one frame out of a batch of frames with even motion.
 *
 * A matrix element's distance from identity, and a node's from its own position, is divided by the
 * number of frames. n such steps make up the whole motion to first order.
 *
 * @param batchedAlignmentTransform one matrix with `T[8]` 1, or a grid, not both; any domain. A
 *        grid without four corners is taken for a ring grid. Precondition: four corners need the
 *        capability IcaGridExtrapolationCorners.
 * @param numOfFramesInBatch 2 or more.
 * @param hfrTransform room for what comes in; may be the same record.
 */
STEADYWARP_API int32_t NcLibGenerateHfr(const NcLibWarp* batchedAlignmentTransform,
                                        uint32_t numOfFramesInBatch, NcLibWarp* hfrTransform);

/**
 * Choose, frame by frame, which of two alignments to use, with hysteresis.
 *
 * A candidate is usable if it holds a grid, or matrices with a confidence above 0. Its confidence
 * is that of the matrices, 256 with a grid, 0 if it is not usable.
 * - Forced (see NcLibAlignmentFusionIn::forceLevel) or NC_LIB_FUSION_SECOND_ONLY: the second, or
 *   none. NC_LIB_FUSION_FIRST_ONLY: the first, or none.
 * - Otherwise a choice is kept for `holdCount` frames. Then the second takes over when the first's
 *   confidence falls below the low threshold, and the first comes back at the high threshold. With
 *   one usable candidate only: the first if it is that one; the second is left only for a first
 *   that is sure enough, or for none.
 */
STEADYWARP_API int32_t NcLibAlignmentFusion(const NcLibAlignmentFusionIn* in,
                                            NcLibAlignmentFusionOut* out);

/**
 * Tell whether the warp hardware can fetch what a warp asks for.
 *
 * The warp is sampled on a lattice twice as dense as the hardware's cells, spread evenly over the
 * output window: 65 by 49 points where the cells' corners are 33 by 25, 129 by 97 points where they
 * are 65 by 49, which is with a grid of 67 columns. A point goes from output pixels to the virtual
 * domain, through the matrices and the grid, and from the virtual domain to pixels of the input
 * window. The warp is valid if neighbours lie at most 1.6 times as far apart as in the output, rows
 * rise by no more than about 1/4 (less the more the picture is stretched), and 336 output pixels of
 * a row span at most 1.3 times as many input pixels.
 *
 * @param coarseLattice check a fine grid with 65 by 49 points, too.
 * @param intermediate NC_LIB_ICA_VALIDITY_INTERMEDIATE_BYTES of scratch, aligned for floats.
 * @param isValid receives 1 or 0; a warp that yields something that is no number is not valid.
 * @param measured receives what was compared; may be NULL.
 */
STEADYWARP_API int32_t NcLibCheckIcaTransformValidity(
    const NcLibCheckIcaTransformValidityIn_t* in, bool coarseLattice, void* intermediate,
    int* isValid, NcLibIcaTransformValidityInternalOut* measured);

#ifdef __cplusplus
}
#endif

#endif /* STEADYWARP_NCLIB_TEMPORAL_H */
