// alad process: a picture through the AGTM stage.
#include <cstdio>
#include <vector>

#include "agtm/agtm_apply.h"
#include "agtm/display_panel_model.h"
#include "agtm/scaler_lut.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kProcessHelp[] =
    "usage: alad process --src LUX --dst LUX [display options] INPUT OUTPUT [--side-by-side FILE]\n"
    "\n"
    "Reads an 8- or 16-bit colour picture (PNG, JPEG, TIFF, ...), widens it to 12 bits, applies the\n"
    "AGTM stage (the global tone curve for a picture made for --src lux and shown under --dst lux)\n"
    "and writes the result in the input's depth.\n"
    "\n"
    "  --gamma G --white W --black B --reflectance R --backlight L\n"
    "                       the display (defaults 2.2, 500 cd/m2, 0.2 cd/m2, 0.01, 1.0)\n"
    "  --side-by-side FILE  also write input | output in one picture\n";

int RunProcess(int argc, char** argv) {
    std::vector<std::string> valued = {"src", "dst", "side-by-side"};
    valued.insert(valued.end(), DisplayOptionNames().begin(), DisplayOptionNames().end());
    const Options options(argc, argv, valued, {});
    if (options.Positional().size() != 2) throw UsageError("needs INPUT and OUTPUT");
    const std::string input_path = options.Positional()[0], output_path = options.Positional()[1];
    const double src = options.RequiredNumber("src");
    const double dst = options.RequiredNumber("dst");
    if (src < 0.0 || dst < 0.0) throw UsageError("ambient light cannot be negative");
    const kelvo::alad_display_model_ display = DisplayFromOptions(options);

    int depth = 0;
    const cv::Mat input = ReadPicture12(input_path, &depth);

    kelvo::DisplayPanelModel model(display.gamma, display.white, display.black, display.backlight,
                                   display.reflectance, static_cast<float>(src), static_cast<float>(dst));
    kelvo::agtm_param_api_ agtm;
    agtm.lut = kelvo::ComputeAGTMTable(model);
    cv::Mat reference, output;
    kelvo::ToneMappingOneImageByScalerLUTImple_(input, agtm, reference, output);

    const cv::Mat picture = NarrowPicture12(output, depth);
    WritePicture(output_path, picture);
    std::printf("alad process: %s (%dx%d) -> %s, AGTM %g -> %g lux\n", input_path.c_str(), input.cols, input.rows,
                output_path.c_str(), src, dst);
    if (options.Has("side-by-side")) {
        const std::string path = options.String("side-by-side", "");
        WritePicture(path, SideBySide(NarrowPicture12(input, depth), picture));
        std::printf("alad process: input | output written to %s\n", path.c_str());
    }
    return 0;
}

}  // namespace alad_tool
