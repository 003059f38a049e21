/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file nclib_ica.h
 * @brief Programming the warp hardware (ICA): number formats, tables and the firmware's records.
 *
 * Number formats
 * - Grid values: virtual units with three fractional bits on versions 10 and 20 (-0x10000 to
 *   0xFFFF), with four on 30 and 40 (-0x20000 to 0x1FFFF).
 * - Matrix coefficients: mantissa M and exponent E with value = M * 2^(E - m), m = 15 on versions
 *   10 and 20, 17 on 30 and 40; |M| is below 2^m, E is -32 to 31.
 * - A packed word holds the exponent's low six bits above the mantissa's low m + 1 bits.
 *
 * Names of hardware fields that the firmware does not fix are this library's: it fills them as
 * their comments say and reads nothing back. Records have natural alignment. Status codes, log
 * lines, preconditions and the thread rule are those of nclib.h.
 */
#ifndef STEADYWARP_NCLIB_ICA_H
#define STEADYWARP_NCLIB_ICA_H

#include <stddef.h>

#include "steadywarp/nclib.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Most passes of a frame through the hardware. */
#define ICA_MAX_PASSES 4u
/** Entries of each interpolation table. */
#define ICA_INTERPOLATION_ENTRIES 16u
/** Coefficients of a matrix; the ninth is 1. */
#define ICA_PERSPECTIVE_COEFFICIENTS 8u
/** Bytes of the local motion block's table. */
#define ICA_LMC_TABLE_BYTES 260u

/** How the picture of a pass is laid out in memory. */
enum { ICA_IMAGE_FORMAT_TILED = 1, ICA_IMAGE_FORMAT_LINEAR = 2 };

/** Tuning of the hardware, as the framework builds it from the module of its version. */
typedef struct ICA_Tessaline {
    uint32_t enable;              /**< the block as a whole */
    uint32_t geometryEnable;      /**< the correction of geometry */
    uint32_t lumaEnable;          /**< on the luma plane */
    uint32_t chromaEnable;        /**< on the chroma planes */
    uint32_t lumaInterpolation;   /**< kernel, as the firmware numbers them */
    uint32_t chromaInterpolation; /**< kernel, as the firmware numbers them */
    /** First three weights of the kernel at an offset of i/32 pixel, 12 fractional bits, 16-bit
     * two's complement; the fourth makes up 1. Entry 0 is the hardware's own. */
    uint16_t interpolationCoefs0[ICA_INTERPOLATION_ENTRIES];
    uint16_t interpolationCoefs1[ICA_INTERPOLATION_ENTRIES];
    uint16_t interpolationCoefs2[ICA_INTERPOLATION_ENTRIES];
    /** The fields below are read on version 40 only. */
    uint32_t lmcPassSettings[ICA_MAX_PASSES][2]; /**< a pair for each pass */
    uint32_t lmcLimits[3];                       /**< the same for all passes */
    uint8_t lmcTable[ICA_LMC_TABLE_BYTES];       /**< carried to the hardware as it is */
} ICA_Tessaline;

/** Tables of the hardware. */
typedef struct NcLibIcaWarp {
    /** Nodes row by row; on version 10 the four corners follow the 825 nodes. */
    int32_t gridX[NC_LIB_ICA_GRID_MAX_POINTS];
    int32_t gridY[NC_LIB_ICA_GRID_MAX_POINTS];
    /** Mantissas and exponents, eight for each matrix. */
    int32_t CTC_PERSPECTIVE_PARAMS_M[ICA_PERSPECTIVE_COEFFICIENTS * NC_LIB_ICA_MATRICES_MAX];
    int32_t CTC_PERSPECTIVE_PARAMS_E[ICA_PERSPECTIVE_COEFFICIENTS * NC_LIB_ICA_MATRICES_MAX];
    uint8_t lmcTable[ICA_LMC_TABLE_BYTES]; /**< of ICA_Tessaline; version 40 only */
} NcLibIcaWarp;

/** Parameters of a frame for the firmware. Fields of the same name come from ICA_Tessaline. */
typedef struct IcaParameters {
    uint32_t enable;
    uint32_t geometryEnable;
    uint32_t lumaEnable;
    uint32_t chromaEnable;
    uint32_t lumaInterpolation;
    uint32_t chromaInterpolation;
    uint16_t interpolationCoefs0[ICA_INTERPOLATION_ENTRIES];
    uint16_t interpolationCoefs1[ICA_INTERPOLATION_ENTRIES];
    uint16_t interpolationCoefs2[ICA_INTERPOLATION_ENTRIES];
    /** Set by the caller, never by this library: a plane is moved by whole pixels, no more. */
    uint32_t lumaTranslationOnly;
    uint32_t chromaTranslationOnly;
    uint32_t gridEnable;                         /**< the grid tables are filled */
    uint32_t gridHighResolution;                 /**< with 51 rows of 67 columns */
    uint32_t perspectiveEnable;                  /**< the matrix tables are filled */
    uint32_t perspectiveRows;                    /**< of the matrix array */
    uint32_t perspectiveColumns;                 /**< of the matrix array */
    uint32_t lmcPassSettings[ICA_MAX_PASSES][2]; /**< version 40 only */
} IcaParameters;

/** Where the picture of a pass comes from and goes to. */
typedef struct GeoLibIcaMapping {
    NcLibImageSize inputSize; /**< pixels, above zero, like the other sizes */
    NcLibImageSize outputSize;
    NcLibImageSize referenceSize; /**< of the frame that the warp is meant for */
    NcLibROI inputWindow;  /**< part of the frame that is read; offset 0, size 1: all of it */
    NcLibROI outputWindow; /**< part of the frame that is written */
} GeoLibIcaMapping;

/** Mappings of all passes. */
typedef struct GeoLibIcaPassMapping {
    uint32_t numPasses; /**< at most ICA_MAX_PASSES count */
    GeoLibIcaMapping passes[ICA_MAX_PASSES];
} GeoLibIcaPassMapping;

/** Geometry of a pass in the hardware's numbers. */
typedef struct IcaGeoParams {
    uint32_t referenceWidthFixed;  /**< (width - 1) * 32 of the reference size */
    uint32_t referenceHeightFixed; /**< (height - 1) * 32 of the reference size */
    /** 0 for a pass that only moves the picture; else 13, or 14 on versions 30 and 40, less the
     * ceiling of log2 of the greater input dimension, at most 7. */
    int32_t coordinateShift;
    uint32_t windowRatioX; /**< packed word: width of the input window over the output window */
    uint32_t windowRatioY; /**< packed word: height of the input window over the output window */
} IcaGeoParams;

/** Registers of a pass. */
typedef struct IcaPassParameters {
    uint32_t inputLastColumn; /**< width - 1 */
    uint32_t inputLastRow;    /**< height - 1 */
    uint32_t outputLastRow;
    uint32_t outputHalfWidth; /**< cut to whole pixels */
    uint32_t outputHalfHeight;
    IcaGeoParams geometry;
    uint32_t outputWidth;
    uint32_t outputHeight;
    uint32_t resample; /**< 1 unless the pass only moves a picture of unchanged size and windows */
} IcaPassParameters;

/** Local motion of a pass, as the analysis gives it. */
typedef struct NcLibIcaLmcPass {
    float offsetX; /**< reaches the hardware in steps of 1/64 */
    float offsetY;
    float stepX; /**< reaches the hardware in steps of 1/16 */
    float stepY;
    float weightX; /**< carried */
    float weightY;
} NcLibIcaLmcPass;

/** What version 40 needs to know of a frame's passes. */
typedef struct NcLibIcaContext {
    uint32_t numPasses;                    /**< at most ICA_MAX_PASSES count */
    uint32_t imageFormats[ICA_MAX_PASSES]; /**< ICA_IMAGE_FORMAT_* */
    const NcLibIcaLmcPass* lmcPasses;      /**< ICA_MAX_PASSES entries */
} NcLibIcaContext;

/** Registers of the local motion block for a pass, version 40. */
typedef struct LmcPassParameters_680 {
    uint32_t sortFetchEnable; /**< 1 for tiled pictures; then the depth and tile size below */
    uint32_t sortFetchDepth;
    uint32_t sortFetchTile;
    int32_t offsetX; /**< 1/64 */
    int32_t offsetY;
    int32_t stepX; /**< 1/16 */
    int32_t stepY;
    float weightX;
    float weightY;
    uint32_t limits[3]; /**< lmcLimits of ICA_Tessaline */
} LmcPassParameters_680;

STEADYWARP_STATIC_ASSERT(sizeof(NcLibIcaWarp) == 28172, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(offsetof(NcLibIcaWarp, CTC_PERSPECTIVE_PARAMS_M) == 27336,
                         "offsets are part of the binary interface");
STEADYWARP_STATIC_ASSERT(offsetof(NcLibIcaWarp, lmcTable) == 27912,
                         "offsets are part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(ICA_Tessaline) == 424, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(IcaParameters) == 180, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(GeoLibIcaPassMapping) == 228,
                         "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(IcaPassParameters) == 52, "size is part of the binary interface");
STEADYWARP_STATIC_ASSERT(sizeof(LmcPassParameters_680) == 48,
                         "size is part of the binary interface");

/**
 * Program a frame: tuning, grid, matrices, passes.
 *
 * The grid comes from `inGridFlow` if the flow enables it, else from `icaGrid` if that is enabled;
 * values of `icaGrid` are cut to the fixed-point step, those of `inGridFlow` rounded.
 *
 * @param tessaline tuning, copied by field name.
 * @param icaGrid may be NULL.
 * @param inGridFlow must be there if `icaIsGridEnabledByFlow` is not 0 (a precondition); sizes as
 *        the version takes them, with a ring on any version but 10 (both preconditions).
 * @param matrices may be NULL.
 * @param passMapping may be NULL; then `passParameters` is not touched.
 * @param context read on version 40 only, and needed there.
 * @param icaVersion 10, 20, 30 or 40.
 * @param warp,parameters receive the tables and the parameters. The translation-only fields of
 *        `parameters` are read: call SetDefaultsForIcaStruct() on it first.
 * @param passParameters ICA_MAX_PASSES records.
 * @param lmcParameters ICA_MAX_PASSES records, written on version 40 only, and needed there.
 * @return NC_LIB_INVALID_INPUT for something missing, an unknown grid geometry or picture format;
 *         NC_LIB_GENERAL_ERROR if ValidateIcaNonTessalineParams() refuses.
 */
STEADYWARP_API int32_t ICA_ProcessNcLib(
    const ICA_Tessaline* tessaline, const NcLibIcaGrid* icaGrid, const NcLibWarpGrid* inGridFlow,
    const NcLibWarpMatrices* matrices, const GeoLibIcaPassMapping* passMapping,
    const NcLibIcaContext* context, uint8_t icaIsGridEnabledByFlow, uint32_t icaVersion,
    NcLibIcaWarp* warp, IcaParameters* parameters, IcaPassParameters* passParameters,
    LmcPassParameters_680* lmcParameters);

/**
 * Check what a frame brings beside its tuning; every rule is checked, each fault has its line.
 *
 * @param inGridFlow looked at if `icaIsGridEnabledByFlow` is not 0; NULL is not a fault here.
 * @param matrices looked at if enabled; the single matrices only if their counts are within bounds.
 * @return NC_LIB_GENERAL_ERROR if anything is wrong.
 */
STEADYWARP_API int32_t ValidateIcaNonTessalineParams(const NcLibWarpGrid* inGridFlow,
                                                     const NcLibWarpMatrices* matrices,
                                                     uint8_t icaIsGridEnabledByFlow,
                                                     uint32_t icaVersion);

/**
 * Set parameters that do nothing to the picture but interpolate: all zero but the three
 * interpolation tables, and `enable` in the first four fields. NULL is logged.
 */
STEADYWARP_API void SetDefaultsForIcaStruct(IcaParameters* parameters, uint8_t enable);

#ifdef __cplusplus
}
#endif

#endif /* STEADYWARP_NCLIB_ICA_H */
