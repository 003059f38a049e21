/* SPDX-License-Identifier: Apache-2.0 */
/*
 * Warps without the stabilizer: compose a lens with a hand's motion, turn the lens around, and ask
 * whether the warp hardware can do it.
 *
 *     cc warps.c $(pkg-config --cflags --libs steadywarp) -lm
 */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <steadywarp/nclib_temporal.h>

enum { ROWS = 27, COLUMNS = 35, POINTS = ROWS * COLUMNS };
static const uint32_t CHIP = 0x50800; /* takes grids of 27 by 35 nodes, ring included */

static void fail_on(int32_t status, const char* what) {
    if (status != NC_LIB_SUCCESS) {
        fprintf(stderr, "%s: 0x%08x\n", what, (unsigned)status);
        exit(1);
    }
}

/* Where the nodes of a ring grid stand, virtual units from the centre of the frame. */
static float node_x(int column) {
    return -4352.0f + 256.0f * (float)column;
}
static float node_y(int row) {
    return -3328.0f + 256.0f * (float)row;
}

static NcLibWarp grid_warp(NcLibWarpGridCoord* nodes, uint32_t direction) {
    NcLibWarp warp = {0};
    warp.direction = direction;
    warp.grid.enable = true;
    warp.grid.transformDefinedOn.widthPixels = VIRTUAL_DOMAIN_WIDTH;
    warp.grid.transformDefinedOn.heightLines = VIRTUAL_DOMAIN_HEIGHT;
    warp.grid.numRows = ROWS;
    warp.grid.numColumns = COLUMNS;
    warp.grid.grid = nodes;
    warp.grid.extrapolateType = EXTRAPOLATION_TYPE_EXTRA_POINT_ALONG_PERIMETER;
    return warp;
}

int main(void) {
    static NcLibWarpGridCoord lens_nodes[POINTS], back_nodes[POINTS], both_nodes[POINTS];
    static NcLibWarpGridCoord scratch[NC_LIB_ICA_VALIDITY_INTERMEDIATE_BYTES / 8];
    float rows[ROWS], columns[COLUMNS];
    NcLibSetChip(CHIP, 0);

    /* A lens as a barrel: undistorted to distorted points. */
    for (int i = 0; i < POINTS; ++i) {
        const float x = columns[i % COLUMNS] = node_x(i % COLUMNS);
        const float y = rows[i / COLUMNS] = node_y(i / COLUMNS);
        const float s = 1.0f - 2e-9f * (x * x + y * y);
        lens_nodes[i].x = x * s;
        lens_nodes[i].y = y * s;
    }
    NcLibWarp lens = grid_warp(lens_nodes, OUT_2_IN);
    printf("lens is a sound mesh: %d\n", NcLibWarpDebugNcLibWarpGridValidate(&lens.grid));

    /* Turned around: distorted to undistorted points, on the same lattice. */
    NcLibWarpReverseGridIn reverse = {0};
    reverse.srcGridNumRows = reverse.dstGridNumRows = ROWS;
    reverse.srcGridNumColumns = reverse.dstGridNumColumns = COLUMNS;
    reverse.srcGridRowCoords = rows;
    reverse.srcGridColumnCoords = columns;
    reverse.dstCoords = lens_nodes;
    reverse.extrapolation = 2;
    reverse.dstGridStartX = columns[0];
    reverse.dstGridStartY = rows[0];
    reverse.dstGridEndX = columns[COLUMNS - 1];
    reverse.dstGridEndY = rows[ROWS - 1];
    float uncovered = 0.0f;
    fail_on(NcLibWarpReverseGridDirection(&reverse, back_nodes, &uncovered), "reverse");
    NcLibWarp back = grid_warp(back_nodes, IN_2_OUT);

    /* There and back again: both(p) = back(lens(p)). */
    NcLibWarp both = grid_warp(both_nodes, OUT_2_IN);
    fail_on(NcLibWarpComposition(&back, &lens, &both), "there and back");
    float farthest = 0.0f;
    for (int i = 0; i < POINTS; ++i) {
        const int c = i % COLUMNS, r = i / COLUMNS;
        if (c > 0 && c < COLUMNS - 1 && r > 0 && r < ROWS - 1) {
            const float off = hypotf(both_nodes[i].x - node_x(c), both_nodes[i].y - node_y(r));
            farthest = fmaxf(farthest, off);
        }
    }
    printf("%.1f %% not covered; there and back misses by %.2f units\n", uncovered, farthest);

    /* A hand's motion in front of the lens: p goes through the matrix, then through the grid. */
    NcLibPerspTransformSingle hand = {{0.9f, 0.01f, 60, -0.01f, 0.9f, -40, 0, 0, 1}}, composed;
    NcLibWarp motion = {0};
    motion.matrices =
        (NcLibWarpMatrices){true, lens.grid.transformDefinedOn, CENTERED, 256, 1, 1, &hand};
    both.matrices.perspMatrices = &composed;
    fail_on(NcLibWarpComposition(&lens, &motion, &both), "composition");

    /* Can the hardware fetch that, from a frame of 4000 by 3000 into one of 1920 by 1080? */
    const NcLibZoomWindow from = {4000, 3000, 0, 0, 4000, 3000},
                          to = {1920, 1080, 0, 0, 1920, 1080};
    const NcLibCheckIcaTransformValidityIn unscaled = {&both, to, to}, scaled = {&both, from, to};
    NcLibIcaTransformValidityInternalOut m;
    int fits = 0, fits_scaled = 1;
    fail_on(NcLibCheckIcaTransformValidity(&unscaled, false, scratch, &fits, &m), "validity");
    printf("fits the hardware: %d (stretch %.2f, slope %.3f)\n", fits, sqrtf(m.stretchSquared),
           m.slope);
    fail_on(NcLibCheckIcaTransformValidity(&scaled, false, scratch, &fits_scaled, &m), "validity");
    printf("with a downscale: %d (stretch %.2f)\n", fits_scaled, sqrtf(m.stretchSquared));
    return fits == 1 && fits_scaled == 0 && farthest < 2.0f ? 0 : 1;
}
