/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file nclib.h
 * @brief Warp records: the vocabulary in which geometric transforms cross between camera nodes.
 *
 * Conventions
 * - A point is (x, y); x grows to the right, y grows downward.
 * - Matrices are row-major 3x3 homographies. A point maps to ((T0 x + T1 y + T2)/w,
 *   (T3 x + T4 y + T5)/w) with w = T6 x + T7 y + T8.
 * - Coordinates are relative to the centre of the image that `transformDefinedOn` names, unless a
 *   record says otherwise. In an image of w pixels whose pixel centres are the integers 0..w-1
 *   the centre is at (w-1)/2.
 * - The virtual domain is a fixed image of 8192 by 6144 units with its origin in the centre;
 *   transforms of different resolutions meet there.
 * - Every array is owned by the caller. No function here allocates or frees one.
 *
 * The records are packed to 4 bytes: a pointer may stand on a 4-byte boundary.
 */
#ifndef STEADYWARP_NCLIB_H
#define STEADYWARP_NCLIB_H

#include <stdbool.h>
#include <stdint.h>

#ifndef STEADYWARP_API
#define STEADYWARP_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define STEADYWARP_STATIC_ASSERT(condition, text) static_assert(condition, text)
extern "C" {
#else
#define STEADYWARP_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/** Width of the virtual domain in its own units; x runs from -4096 to 4096. */
#define VIRTUAL_DOMAIN_WIDTH 8192u
/** Height of the virtual domain in its own units; y runs from -3072 to 3072. */
#define VIRTUAL_DOMAIN_HEIGHT 6144u

/** Least magnitude of a determinant or of `T[8]`; also the tolerance of barycentric weights. */
#define NC_LIB_WARP_INTERNAL_EPS 1e-5

/** Rows and columns of the ring grids; the numbers are those of the warp hardware. */
#define ICA_V30_GRID_TRANSFORM_LOW_RES_HEIGHT 27u
#define ICA_V30_GRID_TRANSFORM_LOW_RES_WIDTH 35u
#define ICA_V30_GRID_TRANSFORM_HI_RES_HEIGHT 51u
#define ICA_V30_GRID_TRANSFORM_HI_RES_WIDTH 67u

/** Status codes of the warp functions. */
#define NC_LIB_SUCCESS 0
#define NC_LIB_GENERAL_ERROR 0x04000001 /**< a computation could not be carried out */
#define NC_LIB_INVALID_INPUT 0x04000002 /**< bad argument */

/** Which way a warp carries points. */
enum {
    OUT_2_IN = 0, /**< output coordinates to input coordinates */
    IN_2_OUT = 1  /**< input coordinates to output coordinates */
};

/** Origin of the coordinates that a matrix acts on. */
enum {
    CENTERED = 0,    /**< the centre of the image */
    NOT_CENTERED = 1 /**< the second convention; grids and matrix arrays refuse it */
};

/** How a grid continues beyond its node array. */
typedef enum NcLibWarpGridExtrapolationType {
    /** The nodes only; they span exactly the frame. */
    EXTRAPOLATION_TYPE_NONE = 0,
    /** As above, plus four explicit points, each one node diagonally outside a corner. */
    EXTRAPOLATION_TYPE_FOUR_CORNERS = 1,
    /** The node array holds one extra ring of nodes outside the frame. */
    EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER = 2,
    EXTRAPOLATION_TYPE_MAX_VAL = 3
} NcLibWarpGridExtrapolationType;

/** Stages of the pipeline in which a frame's coordinates can be given. */
enum { DISTORTED_IMAGE_DOMAIN = 0, UNDISTORTED_IMAGE_DOMAIN = 1, STABILIZED_IMAGE_DOMAIN = 2 };

#pragma pack(push, 4)

/** Size of the image that a transform is defined on, pixels. */
typedef struct NcLibImageSize {
    uint32_t widthPixels;
    uint32_t heightLines;
} NcLibImageSize;

/** One point. */
typedef struct NcLibWarpGridCoord {
    float x;
    float y;
} NcLibWarpGridCoord;
typedef NcLibWarpGridCoord NcLibWarpGridCoord_t;

/** One perspective matrix, row-major. */
typedef struct NcLibPerspTransformSingle {
    float T[9];
} NcLibPerspTransformSingle;

/** A transform given by one matrix, or by a small array of zone matrices. */
typedef struct NcLibWarpMatrices {
    bool enable; /**< all other fields mean something only when this is true */
    NcLibImageSize transformDefinedOn;
    uint32_t centerType;                      /**< CENTERED or NOT_CENTERED */
    uint32_t confidence;                      /**< 0 to 256 */
    uint32_t numRows;                         /**< 1 to 9; numRows * numColumns at most 9 */
    uint32_t numColumns;                      /**< 1 to 9 */
    NcLibPerspTransformSingle* perspMatrices; /**< numRows * numColumns matrices, row by row */
} NcLibWarpMatrices;
typedef NcLibWarpMatrices NcLibWarpMatrices_t;

/** A transform given by a regular mesh of mapped points. */
typedef struct NcLibWarpGrid {
    bool enable; /**< all other fields mean something only when this is true */
    NcLibImageSize transformDefinedOn;
    uint32_t numRows;
    uint32_t numColumns;
    NcLibWarpGridCoord* grid;                       /**< numRows * numColumns points, row by row */
    NcLibWarpGridExtrapolationType extrapolateType; /**< 32 bits wide */
    /** FOUR_CORNERS only: top-left, top-right, bottom-left, bottom-right; else unused. */
    NcLibWarpGridCoord* gridExtrapolate;
} NcLibWarpGrid;
typedef NcLibWarpGrid NcLibWarpGrid_t;

/** One complete transform. With both parts enabled a point passes the matrices, then the grid. */
typedef struct NcLibWarp {
    NcLibWarpMatrices matrices;
    NcLibWarpGrid grid;
    uint32_t direction; /**< OUT_2_IN or IN_2_OUT */
} NcLibWarp;

/** A pair of fractions of the frame. */
typedef struct NcLibFraction2 {
    float x;
    float y;
} NcLibFraction2;

/** A window as fractions of the frame, each in 0 to 1. */
typedef struct NcLibROI {
    NcLibFraction2 offset;
    NcLibFraction2 size;
} NcLibROI;

/** A window in whole pixels of a full frame, as the image front end reports it. */
typedef struct NcLibZoomWindow {
    uint32_t fullWidth;
    uint32_t fullHeight;
    int32_t x; /**< left edge */
    int32_t y; /**< top edge */
    uint32_t width;
    uint32_t height;
} NcLibZoomWindow;

/** Room for the largest grid, 51 rows of 67 columns. */
#define NC_LIB_ICA_GRID_MAX_POINTS 3417u

/** A grid in a record of fixed capacity: the form in which grids travel between camera nodes. */
typedef struct NcLibIcaGrid {
    uint32_t enable;
    NcLibWarpGridCoord grid[NC_LIB_ICA_GRID_MAX_POINTS]; /**< row by row, packed to `geometry` */
    uint32_t extrapolatedCorners;          /**< non-zero: `gridExtrapolate` is valid */
    NcLibWarpGridCoord gridExtrapolate[4]; /**< in the order of NcLibWarpGrid */
    NcLibImageSize transformDefinedOn;
    /** 0: 25 rows by 33 columns, 1: 27 by 35 with a ring, 2: 51 by 67 with a ring. */
    uint32_t geometry;
} NcLibIcaGrid;
typedef NcLibIcaGrid NcLibIcaGrid_t;

/** Which way one stage of a chain of transforms is taken. */
enum { INVERSE = 0, REGULAR = 1 };

/** One stage of a chain of transforms; exactly one of `grid` and `matrices` is set. */
typedef struct NcLibInternalWarpTopology {
    const NcLibWarpGrid* grid;
    const NcLibWarpMatrices* matrices;
    uint32_t direction; /**< INVERSE or REGULAR */
} NcLibInternalWarpTopology;

/** Request for a grid of a given size that does what a warp does. */
typedef struct NcLibWarpBuildAssistGridIn {
    const NcLibWarp* in;
    uint32_t numColumns;
    uint32_t numRows;
} NcLibWarpBuildAssistGridIn;

/** Memory for the answer to NcLibWarpBuildAssistGridIn. */
typedef struct NcLibWarpBuildAssistGridOut {
    NcLibWarpGrid* assistGrid;
    NcLibWarp* inputWarp;
} NcLibWarpBuildAssistGridOut;

#pragma pack(pop)

STEADYWARP_STATIC_ASSERT(sizeof(NcLibImageSize) == 8, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibWarpGridCoord) == 8, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibPerspTransformSingle) == 36,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibWarpMatrices) == 28 + sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibWarpGrid) == 24 + 2 * sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibWarp) == 56 + 3 * sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibROI) == 16, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibZoomWindow) == 24, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibIcaGrid) == 27388, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibInternalWarpTopology) == 4 + 2 * sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibWarpBuildAssistGridIn) == 8 + sizeof(void*),
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibWarpBuildAssistGridOut) == 2 * sizeof(void*),
                         "size is part of the binary interface");

/* ---- Chip ----------------------------------------------------------------------------------- */

/** Tell the version of the warp hardware: 10, 20, 30 or 40. Ends the process when it is unknown. */
STEADYWARP_API uint32_t NcLibGetIpeIcaVersion(void);

/** Tell whether hardware of version `ica_version` takes a grid of this size. */
STEADYWARP_API bool NcLibIsGridSizeMatchesIcaHw(uint32_t num_rows, uint32_t num_columns,
                                                uint32_t ica_version);

/** Write "NcLib version: 3.7.7" to the log. */
STEADYWARP_API void PrintNcLibVersion(void);

#ifdef __cplusplus
}
#endif

#endif /* STEADYWARP_NCLIB_H */
