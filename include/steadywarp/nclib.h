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

/** Room for the largest array of matrices. */
#define NC_LIB_ICA_MATRICES_MAX 9u

/** Matrices in a record of fixed capacity. */
typedef struct NcLibIcaMatrices {
    uint32_t enable; /**< non-zero: present */
    uint32_t numColumns;
    uint8_t numRows;
    NcLibPerspTransformSingle T[NC_LIB_ICA_MATRICES_MAX]; /**< row by row */
    uint32_t confidence;                                  /**< 0 to 256 */
    NcLibImageSize transformDefinedOn;
} NcLibIcaMatrices;

/** A crop of a full frame in pixels, origin in the frame's upper left corner. */
typedef struct NcLibCropWindow {
    float fullWidth;
    float fullHeight;
    float windowWidth;
    float windowHeight;
    float windowX; /**< left edge */
    float windowY; /**< top edge */
} NcLibCropWindow;

/** Number of columns and rows of a raw mesh. */
typedef struct NcLibGridSize {
    uint32_t numColumns;
    uint32_t numRows;
} NcLibGridSize;

/** Options of NcLibResampleGridForIca(), as bits. */
enum {
    /** The raw mesh's last node lies on the frame's last pixel: it spans one interval less than it
     * has nodes. */
    NC_LIB_RAW_GRID_ENDS_ON_LAST_PIXEL = 1,
    /** Leave the origin of the values in the frame's upper left corner. */
    NC_LIB_RAW_GRID_UNCENTERED = 2
};

/** A mesh known in one direction, and the lattice on which the other direction is wanted. */
typedef struct NcLibWarpReverseGridIn {
    int32_t srcGridNumRows;
    int32_t srcGridNumColumns;
    const float* srcGridRowCoords;       /**< source y of each row */
    const float* srcGridColumnCoords;    /**< source x of each column */
    const NcLibWarpGridCoord* dstCoords; /**< where each source node lands, row by row */
    /** How a cell is cut in two. 1: from top left to bottom right; 2: alternating, from top left
     * where column xor row is odd; any other value: from top right to bottom left. */
    int32_t triangulation;
    /** What fills the lattice beyond the mesh. 0: the nearest source coordinate; 1: the nearest
     * displacement; 2 and above: lines continued from node to node. */
    uint32_t extrapolation;
    int32_t dstGridNumRows;
    int32_t dstGridNumColumns;
    float dstGridStartX; /**< position of the first node of the lattice */
    float dstGridStartY;
    float dstGridEndX; /**< position of the last node of the lattice */
    float dstGridEndY;
    bool useBoundaryTest; /**< treat holes inside the mesh apart from those beyond it */
} NcLibWarpReverseGridIn;

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
STEADYWARP_STATIC_ASSERT(sizeof(NcLibIcaMatrices) == 348, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibCropWindow) == 24, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(NcLibGridSize) == 8, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(void*) != 8 || sizeof(NcLibWarpReverseGridIn) == 72,
                         "size is part of the binary interface");

/*
 * What holds for every function below
 * - Status functions return NC_LIB_SUCCESS, NC_LIB_INVALID_INPUT for a bad argument, or
 *   NC_LIB_GENERAL_ERROR; each failure writes one log line.
 * - A condition called a precondition is held by an assertion that stays active in every build: it
 *   writes a log line and ends the process.
 * - Any thread may call, as long as no two calls write one record and nobody changes the chip
 *   meanwhile. Only NcLibWarpReverseGridDirection() allocates memory.
 * - "Virtual" records are those whose `transformDefinedOn` is 8192 by 6144.
 */

/* ---- Virtual domain -------------------------------------------------------------------------- */

/**
 * Express a warp on the virtual domain.
 *
 * A part that is virtual already is copied as it is. Otherwise matrices become S T S^-1 with
 * S = diag(8192/width, 6144/height, 1), and grid values are scaled and never shifted; `confidence`
 * then stays what the output record held.
 *
 * @param in  its enabled parts must be usable; preconditions: a matrix array of at most nine whose
 *            `T[8]` are not 0, a grid size that the chip takes.
 * @param out holds arrays large enough for the enabled parts; may be `in`.
 * @return NC_LIB_INVALID_INPUT for a NULL record, an unknown direction, an unusable part, or a
 *         missing array in `out`.
 */
STEADYWARP_API int32_t NcLibWarpConvertToVirtualDomain(const NcLibWarp* in, NcLibWarp* out);

/* ---- Grid operations ------------------------------------------------------------------------- */

/**
 * Compose two virtual warps: out(p) = first(second(p)).
 *
 * Two single matrices give their product, with the lower of the two confidences. Otherwise the
 * second warp's parts are copied and the first warp's stages are applied to the nodes of a grid:
 * the second warp's own, or one of 27 by 35 nodes sampled from the first warp's matrices. The four
 * corners of a grid go through the same stages as its nodes. Directions are neither read nor
 * written.
 *
 * @param output a record of its own, with arrays for what it receives: up to 9 matrices, up to 3417
 *        nodes, and 4 corners where a grid with four corners comes in. Its array pointers stay.
 * @return NC_LIB_INVALID_INPUT for a NULL record or array, or for an enabled part that is unusable
 *         or not virtual.
 */
STEADYWARP_API int32_t NcLibWarpComposition(const NcLibWarp* firstWarp, const NcLibWarp* secondWarp,
                                            NcLibWarp* output);

/**
 * Compose two virtual warps as NcLibWarpComposition() does, with the first warp's matrix drawn
 * toward identity until the outline of a crop stays inside the frame.
 *
 * @param firstWarp of a matrix array only the first matrix takes part.
 * @param crop the window whose outline must not be carried outside the frame.
 * @param dilution receives the share of the matrix that was kept, 1 to 0 in steps of 0.05; with 0
 *        the matrix is left out. May be NULL.
 */
STEADYWARP_API int32_t NcLibWarpComposition_MFHDR_NoBreach(const NcLibWarp* firstWarp,
                                                           const NcLibWarp* secondWarp,
                                                           const NcLibCropWindow* crop,
                                                           NcLibWarp* output, float* dilution);

/**
 * Keep a virtual ring grid from reading outside the frame: where it does within the crop, draw the
 * nodes near the breached sides toward identity.
 *
 * @param grid    rewritten in place, and only if there is a breach. Precondition: a size that the
 *                chip takes.
 * @param margin  share of the frame that the crop leaves free, above 0 and below 1.
 * @param dilution receives the share of the grid that was kept at its edge, 1 to 0 in steps of
 *                0.02. May be NULL.
 * @return NC_LIB_GENERAL_ERROR if no dilution keeps the grid inside.
 */
STEADYWARP_API int32_t NcLibWarpVerifyGrid_NoBreach(NcLibWarpGrid* grid, float margin,
                                                    float* dilution);

/**
 * Re-express a virtual grid for a change of crop: the grid on the undistorted window, seen from the
 * window of the image front end.
 *
 * @param in  a record of its own; its `transformDefinedOn` must be virtual.
 * @param undistortedIfeZoomWindow,ifeZoomWindow windows inside their full sizes.
 * @param out receives size, kind and nodes; the header says what the input's says.
 */
STEADYWARP_API int32_t NcLibResampleGrid(const NcLibIcaGrid* in,
                                         const NcLibZoomWindow* undistortedIfeZoomWindow,
                                         const NcLibZoomWindow* ifeZoomWindow, NcLibIcaGrid* out);

/**
 * Make a hardware grid from a raw mesh of doubles, as a calibration gives it.
 *
 * The mesh is sampled with a bicubic kernel where the grid's nodes fall inside `gridArea`, and
 * continued linearly beyond.
 *
 * @param rawGridX,rawGridY `gridSize` values each, row by row, pixels of the full frame of
 *        `gridArea`, origin in its upper left corner.
 * @param gridSize at least 3 by 3.
 * @param flags NC_LIB_RAW_GRID_... bits.
 * @param gridArea the part of the full frame that the raw mesh covers.
 * @param geometry 1 or 2, the ring grids.
 * @return NC_LIB_GENERAL_ERROR if `gridArea` covers less than four nodes of the grid on an axis.
 */
STEADYWARP_API int32_t NcLibResampleGridForIca(const double* rawGridX, const double* rawGridY,
                                               const NcLibGridSize* gridSize, uint32_t flags,
                                               const NcLibZoomWindow* gridArea, uint32_t geometry,
                                               NcLibIcaGrid* icaGrid);

/* ---- Windows --------------------------------------------------------------------------------- */

/**
 * Tell which input window must be fetched so that a virtual grid can produce an output window.
 *
 * The window's outline is carried through the grid at twice the grid's density.
 *
 * @param winAtIn receives the window, cut to whole pixels of `winAtOut`'s full frame and to that
 *        frame, at least one pixel.
 */
STEADYWARP_API int32_t NcLibCalcMinInputWindow(const NcLibZoomWindow* winAtOut,
                                               const NcLibIcaGrid* grid, NcLibZoomWindow* winAtIn);

/**
 * Tell the largest output window, of the aspect and centre of a given one, that an input window
 * can feed through a virtual grid that maps input to output.
 *
 * @param origWinAtOut centred in its full frame to 1e-5 of it.
 * @param winAtOut receives the window in whole pixels of `origWinAtOut`'s full frame.
 */
STEADYWARP_API int32_t NcLibCalcMaxOutputWindow(const NcLibZoomWindow* winAtIn,
                                                const NcLibZoomWindow* origWinAtOut,
                                                const NcLibIcaGrid* grid,
                                                NcLibZoomWindow* winAtOut);

/* ---- Reversal -------------------------------------------------------------------------------- */

/**
 * Build the other direction of a mesh on a regular lattice.
 *
 * The triangles of the mesh are laid over the lattice; the first that covers a node gives its
 * value. What none covers is filled by `in->extrapolation`. A mesh that folds or leaves holes is no
 * error.
 *
 * @param outputGrid dstGridNumRows * dstGridNumColumns source coordinates, row by row.
 * @param uncoveredPercent receives the share of nodes that no triangle covered; may be NULL.
 * Allocates for the time of the call. When memory is short for the third kind of extrapolation,
 * the nearest displacement stands in for it.
 */
STEADYWARP_API int32_t NcLibWarpReverseGridDirection(const NcLibWarpReverseGridIn* in,
                                                     NcLibWarpGridCoord* outputGrid,
                                                     float* uncoveredPercent);

/* ---- Debugging ------------------------------------------------------------------------------- */

/**
 * Tell whether a mesh is sound: its outline does not meet itself, no cell is folded or flat, and
 * explicit corners continue it.
 *
 * @return false for NULL and for an unusable record, true for a disabled one. The first mesh with
 *         four corners sets the size at which corners are looked for in the whole process.
 */
STEADYWARP_API bool NcLibWarpDebugNcLibWarpGridValidate(const NcLibWarpGrid* grid);

/** Hook that the library calls with intermediate results; does nothing as delivered. */
STEADYWARP_API void NcLibWarpDebugPrintNcLibWarp(const NcLibWarp* warp, const char* file_name);
/** As NcLibWarpDebugPrintNcLibWarp(), for matrices alone. */
STEADYWARP_API void NcLibWarpDebugPrintNcLibWarpMatrices(const NcLibWarpMatrices* matrices,
                                                         const char* file_name);
/** As NcLibWarpDebugPrintNcLibWarp(), for `count` points. */
STEADYWARP_API void NcLibWarpDebugPrintNcLibWarpGridCoord(const NcLibWarpGridCoord* points,
                                                          uint32_t count, const char* file_name);

/* ---- Chip ----------------------------------------------------------------------------------- */

/**
 * Choose the chip, for callers in C; in C++ it is NcLibChipInfo::Set() of nclib_chip.hpp.
 *
 * @param version_code of the image processor, as the camera framework reports it; an unknown one
 *        leaves no capability at all.
 */
STEADYWARP_API void NcLibSetChip(uint32_t version_code, uint32_t hardware_version);

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
