/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file nclib_geometries.h
 * @brief What was measured on a frame before it was warped, carried into the frame's output: faces
 * and the centre points of the local noise reduction.
 *
 * Conventions
 * - Pixels count from the frame's upper left corner, x to the right, y downward.
 * - Warps are virtual (nclib.h). A frame passes three domains: distorted (as the lens made it),
 *   undistorted, stabilized. An OUT_2_IN distortion warp maps undistorted to distorted points, an
 *   OUT_2_IN stabilization maps stabilized to undistorted points, an OUT_2_IN alignment maps
 *   points of the current frame to the previous one.
 * - Status codes, log lines, preconditions and the thread rule are those of nclib.h.
 */
#ifndef STEADYWARP_NCLIB_GEOMETRIES_H
#define STEADYWARP_NCLIB_GEOMETRIES_H

#include <stddef.h>

#include "steadywarp/nclib.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Most faces of a frame. */
#define MAX_NUM_OF_FACE_DETECTION 5u

/** Points of the local noise reduction that travel with a frame. */
#define NC_LIB_LNR_POINTS 5u
/** Width and height of the frame in the units of these points. */
#define NC_LIB_LNR_UNITS 16384u

#pragma pack(push, 4)

/**
 * The warps of a frame and of the frame before it.
 *
 * A stabilization comes as NcLibWarpBuildAssistGridOut: the warp itself, and beside it the grid
 * that stands in for its matrices where they are more than one, since only a single matrix can be
 * inverted. NcLibWarpBuildAssistGridOut::assistGrid may be NULL when the matrices are disabled or
 * single.
 */
typedef struct FrameWarps {
    uint32_t alignmentDomain;   /**< ..._IMAGE_DOMAIN in which `alignment` holds */
    const NcLibWarp* alignment; /**< motion between the previous and the current frame */
    const NcLibWarpBuildAssistGridOut* currStabilization;
    const NcLibWarpBuildAssistGridOut* prevStabilization;
    const NcLibWarp* currDistCorrection; /**< a grid or nothing */
    const NcLibWarp* prevDistCorrection; /**< a grid or nothing */
} FrameWarps;

/** Faces that a detector found. */
typedef struct FD_CONFIG_CONTEXT {
    uint32_t faceNum;                                 /**< at most MAX_NUM_OF_FACE_DETECTION */
    uint32_t faceCenterX[MAX_NUM_OF_FACE_DETECTION];  /**< pixels */
    uint32_t faceCenterY[MAX_NUM_OF_FACE_DETECTION];  /**< pixels */
    uint32_t faceProperty[MAX_NUM_OF_FACE_DETECTION]; /**< the detector's own; copied along */
} FD_CONFIG_CONTEXT;

/** A point in units of 1/16384 of a frame's width and height, origin in its upper left corner. */
typedef struct NcLibLnrPoint {
    uint32_t x;
    uint32_t y;
} NcLibLnrPoint;

/** Input of NcLibWarpGeometries(). */
typedef struct NcLibWarpGeomIn {
    NcLibImageSize inputSize; /**< of the frame that faces and points are given on */
    NcLibZoomWindow eisFOV;   /**< what the output shows of it; its full size is `inputSize` */
    NcLibZoomWindow reservedZoomWindow; /**< not read */
    NcLibZoomWindow ifeZoomWindow; /**< crop of the image front end, all zero without one; a point
                                      of the noise reduction is given ahead of this crop */
    FrameWarps frameWarps;
    const FD_CONFIG_CONTEXT* fdConfig;
    bool fdFromPreviousFrame; /**< the faces were measured on the previous frame */
    uint32_t fdDomain;        /**< DISTORTED_IMAGE_DOMAIN or UNDISTORTED_IMAGE_DOMAIN */
    uint32_t lnrDomain;       /**< UNDISTORTED_IMAGE_DOMAIN; any other value means distorted */
    NcLibLnrPoint lnrPoints[NC_LIB_LNR_POINTS]; /**< the first three are checked */
} NcLibWarpGeomIn;

/** Output of NcLibWarpGeometries(). */
typedef struct NcLibWarpGeomOut {
    FD_CONFIG_CONTEXT* fdConfig; /**< pixels of `eisFOV`, counted from its upper left corner */
    NcLibLnrPoint lnrPoints[NC_LIB_LNR_POINTS]; /**< units of 1/16384 of `eisFOV` */
} NcLibWarpGeomOut;

/** A rectangle in pixels. */
typedef struct NcLibFdRoi {
    int32_t x; /**< left edge */
    int32_t y; /**< top edge */
    int32_t width;
    int32_t height;
} NcLibFdRoi;

#pragma pack(pop)

STEADYWARP_STATIC_ASSERT(sizeof(FrameWarps) == 4 + 5 * sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(FD_CONFIG_CONTEXT) == 64, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibWarpGeomIn) == 136 + 6 * sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(offsetof(NcLibWarpGeomIn, frameWarps) == 80,
                         "offsets are part of the binary interface");
STEADYWARP_STATIC_ASSERT(offsetof(NcLibWarpGeomIn, fdDomain) == 88 + 6 * sizeof(void*),
                         "offsets are part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibWarpGeomOut) == 40 + sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibFdRoi) == 16, "size is part of the binary interface");

/**
 * Carry a frame's faces and noise-reduction points into its output.
 *
 * Each warp is taken backward, since it maps output to input. The chain for a face measured on the
 * current frame is: distortion grid (if the face lies in the distorted domain), stabilization.
 * A face of the previous frame first goes through `alignment` to the current frame, in the domain
 * in which the alignment holds:
 *
 *     alignmentDomain  fdDomain     chain, all backward but where marked
 *     undistorted      distorted    previous distortion, alignment, stabilization
 *     undistorted      undistorted  alignment, stabilization
 *     distorted        distorted    alignment, distortion, stabilization
 *     distorted        undistorted  previous distortion forward, alignment, distortion,
 *                                   stabilization
 *     stabilized       distorted    previous distortion, previous stabilization, alignment
 *     stabilized       undistorted  previous stabilization, alignment
 *
 * @param in `currStabilization`, `currDistCorrection` and `fdConfig` must be there; `alignment`,
 *        `prevStabilization` and `prevDistCorrection` if there are faces and they are of the
 *        previous frame. Preconditions: sizes as stated, warps OUT_2_IN, distortion warps without
 *        matrices; of the previous frame's faces, an alignment of one matrix without a grid.
 * @param out its `fdConfig` may be `in->fdConfig`. A face that comes out as not a number is
 *        dropped; the others are held inside `eisFOV`. Points may lie one beyond its last pixel.
 * @return NC_LIB_INVALID_INPUT for something missing, or for one of the first three points beyond
 *         16384.
 */
STEADYWARP_API int32_t NcLibWarpGeometries(const NcLibWarpGeomIn* in, NcLibWarpGeomOut* out);

/**
 * Carry face rectangles of one image through a warp into another image.
 *
 * Both corners of a rectangle are carried; matrices act before the grid. A corner outside the
 * detector's image is only scaled.
 *
 * @param fdRois `count` rectangles, pixels of `fdDimensions`; must be there even if `count` is 0.
 * @param warp virtual; precondition: OUT_2_IN. It is applied as it is: detector's image in,
 *        `fullSize` out.
 * @param fdOutRois receives `count` rectangles, pixels of `fullSize`, corners cut and sizes rounded
 *        to whole numbers; may be `fdRois`.
 * @return NC_LIB_INVALID_INPUT for something missing or an empty size.
 */
STEADYWARP_API int32_t NcLibTranslateFdDomains(const NcLibFdRoi* fdRois, uint32_t count,
                                               const NcLibImageSize* fdDimensions,
                                               const NcLibWarp* warp,
                                               const NcLibImageSize* fullSize,
                                               NcLibFdRoi* fdOutRois);

/**
 * Tell how many downscale passes a frame leaves room for.
 *
 * The first level is (input - margins) * ratio; each further level is a quarter of the one before,
 * rounded up to even. A level counts from 32 by 28 pixels on.
 *
 * @param stabilizationMargins pixels, both sides together; less than the input on each axis.
 * @param icaUpScaleRatio_AtDZx1 upscale of the warp hardware without digital zoom, 1 or more.
 * @param maxNumOfPassesByFlow 1 to 4.
 * @param maxNumOfPasses receives 0 to `maxNumOfPassesByFlow`.
 */
STEADYWARP_API int32_t NcLibGetMaxNumOfPasses(const NcLibImageSize* ipeInputSize,
                                              const NcLibImageSize* stabilizationMargins,
                                              float icaUpScaleRatio_AtDZx1,
                                              uint32_t maxNumOfPassesByFlow,
                                              uint32_t* maxNumOfPasses);

#ifdef __cplusplus
}
#endif

#endif /* STEADYWARP_NCLIB_GEOMETRIES_H */
