// Plots of the local stage's block data for the last frame the engine ran: each block's tone curve
// or histogram drawn small over its part of the picture, and all of them in one chart beside it.
#ifndef ALAD_TOOLS_BLOCK_PLOTS_H
#define ALAD_TOOLS_BLOCK_PLOTS_H

#include <string>

#include <opencv2/core.hpp>

#include "tools/engine_run.h"

namespace alad_tool {

struct BlockPlotInfo {
    std::string source;  // the input's name, for the title
    const EngineSettings* settings = nullptr;
    cv::Mat picture;  // what the local stage saw, 8-bit B, G, R
};

// Both read the engine's debug store; they throw RunError when it holds nothing that fits the
// picture's block grid (the local stage did not run).
void PlotBlockCurves(const std::string& path, const BlockPlotInfo& info);
void PlotBlockHistograms(const std::string& path, const BlockPlotInfo& info);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_BLOCK_PLOTS_H
