// alad lut: the AGTM table for a viewing condition.
#include <cstdio>
#include <vector>

#include "agtm/tone_curve.h"
#include "alad/alad_offline.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kLutHelp[] =
    "usage: alad lut --src LUX --dst LUX [--gamma G --white W --black B --reflectance R\n"
    "                [--backlight L]] [--plot FILE.png]\n"
    "\n"
    "Prints the 256 raw entries of the AGTM table (gain per brightest-channel code 16*i, fixed point\n"
    "with 11 fraction bits: 2048 is a gain of 1.0), one per line, for a picture made for --src lux\n"
    "shown under --dst lux. The display defaults to gamma 2.2, white 500 cd/m2, black 0.2 cd/m2,\n"
    "reflectance 0.01.\n"
    "\n"
    "  --plot FILE.png   also draw the tone curve (input code to output code, with the identity\n"
    "                    in grey for reference)\n";

int RunLut(int argc, char** argv) {
    std::vector<std::string> valued = {"src", "dst", "plot"};
    valued.insert(valued.end(), DisplayOptionNames().begin(), DisplayOptionNames().end());
    const Options options(argc, argv, valued, {});
    if (!options.Positional().empty()) throw UsageError("unexpected argument '" + options.Positional()[0] + "'");
    const double src = options.RequiredNumber("src");
    const double dst = options.RequiredNumber("dst");
    if (src < 0.0 || dst < 0.0) throw UsageError("ambient light cannot be negative");
    const kelvo::alad_display_model_ display = DisplayFromOptions(options);

    kelvo::alad_view_condition_ view;  // the ambient light as float, as the engine receives it
    view.blackLevelSrc = static_cast<float>(src);
    view.blackLevelDst = static_cast<float>(dst);
    const std::vector<int32_t> table = kelvo::AmbientAGTMTable(display, view);
    for (const int32_t raw : table) std::printf("%d\n", raw);

    if (options.Has("plot")) {
        const std::vector<double> curve = kelvo::AmbientToneCurve(display, view);
        std::vector<double> codes(curve.size());
        for (size_t i = 0; i < codes.size(); ++i) codes[i] = i * 0.00392156862745098;
        const std::string path = options.String("plot", "");
        WritePicture(path, kelvo::RenderToneCurve(codes, curve, true));
        std::fprintf(stderr, "alad lut: tone curve written to %s\n", path.c_str());
    }
    return 0;
}

}  // namespace alad_tool
