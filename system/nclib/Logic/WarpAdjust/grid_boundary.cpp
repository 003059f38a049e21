// SPDX-License-Identifier: Apache-2.0
#include "nclib/Logic/WarpAdjust/grid_boundary.hpp"

#include "nclib/nclib_log.hpp"

void getNextBoundaryEdge(uint32_t edgeIdx, uint32_t numRows, uint32_t numColumns, uint32_t* nodes) {
    const uint32_t numColSub1 = numColumns - 1;
    const uint32_t numRowSub1 = numRows - 1;
    NC_LIB_ASSERT(edgeIdx < 2 * (numColSub1 + numRowSub1));
    if (edgeIdx < numColSub1) {  // top, to the right
        nodes[0] = edgeIdx;
        nodes[1] = edgeIdx + 1;
    } else if (edgeIdx < numColSub1 + numRowSub1) {  // right side, downward
        nodes[0] = (edgeIdx - numColSub1) * numColumns + numColSub1;
        nodes[1] = nodes[0] + numColumns;
    } else if (edgeIdx < 2 * numColSub1 + numRowSub1) {  // bottom, to the left
        nodes[0] = 2 * numColSub1 + numRowSub1 + numColumns * numRowSub1 - edgeIdx;
        nodes[1] = nodes[0] - 1;
    } else {  // left side, upward
        nodes[0] = (2 * (numColSub1 + numRowSub1) - edgeIdx) * numColumns;
        nodes[1] = nodes[0] - numColumns;
    }
}

void CreatePolygonFromExternalPointsOfGrid(const NcLibWarpGridCoord* nodes, uint32_t gridNumColumns,
                                           uint32_t gridNumRows, uint32_t gridExternalPointsNum,
                                           NcLibWarpGridCoord* polygon) {
    NC_LIB_ASSERT(gridExternalPointsNum == 2 * (gridNumColumns - 1) + 2 * (gridNumRows - 1));
    for (uint32_t i = 0; i < gridExternalPointsNum; ++i) {
        uint32_t edge[2];
        getNextBoundaryEdge(i, gridNumRows, gridNumColumns, edge);
        polygon[i] = nodes[edge[0]];
    }
}
