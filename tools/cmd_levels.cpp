// alad level / alad levels: the driver's 40 ambient-light levels.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "alad/alad_driver.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {

const char kLevelHelp[] =
    "usage: alad level LUX\n"
    "\n"
    "Prints the ambient-light level (0..39) a display driver uses for a lux reading: the nearest of\n"
    "the 40 levels, half-way readings going to the lower level.\n";

const char kLevelsHelp[] =
    "usage: alad levels [--header FILE.h] [--plot FILE.png]\n"
    "\n"
    "The AGTM tables of the 40 ambient-light levels, as a driver precomputes them (driver default\n"
    "display, pictures made for 300 lux, shown under each level's lux).\n"
    "\n"
    "  --header FILE.h  write a C header with the levels' lux values (int32_t [40]) and their\n"
    "                   256-entry tables (int32_t [40][256], 2048 = gain 1.0)\n"
    "  --plot FILE.png  draw the 40 tone curves (input code to output code of a grey pixel) in one\n"
    "                   picture, from blue (300 lux) to red (49000 lux)\n"
    "Without an option, prints one line per level: level, lux, and the first table entries.\n";

namespace {

std::vector<std::vector<int32_t>> LevelTables() {
    std::vector<std::vector<int32_t>> tables(ALAD_AGTM_LEVELS, std::vector<int32_t>(ALAD_AGTM_LUT_SIZE));
    EngineLines quiet(EngineLineFilter::kProblems);
    for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) getAGTMCurveParams(level, tables[level].data());
    return tables;
}

void WriteHeader(const std::string& path, const std::vector<std::vector<int32_t>>& tables) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (!file) throw RunError("cannot write '" + path + "'");
    std::fprintf(file,
                 "/* AGTM tables of the 40 ambient-light levels, written by 'alad levels --header'.\n"
                 " * Entry i of a table is the gain (2048 = 1.0) for a pixel whose brightest channel is\n"
                 " * 16 * i (12-bit); level n is for pictures made for 300 lux shown under\n"
                 " * alad_agtm_level_lux[n] lux on the driver's default display. */\n"
                 "#ifndef ALAD_AGTM_LEVEL_TABLES_H\n#define ALAD_AGTM_LEVEL_TABLES_H\n\n#include <stdint.h>\n\n"
                 "static const int32_t alad_agtm_level_lux[40] = {");
    for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
        std::fprintf(file, "%s%d", level ? ", " : "", agtmLuxTable[level]);
    }
    std::fprintf(file, "};\n\nstatic const int32_t alad_agtm_level_tables[40][256] = {\n");
    for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
        std::fprintf(file, "    /* level %d, %d lux */\n    {", level, agtmLuxTable[level]);
        for (int i = 0; i < ALAD_AGTM_LUT_SIZE; ++i) {
            std::fprintf(file, "%s%d", i == 0 ? "" : (i % 16 ? ", " : ",\n     "), tables[level][i]);
        }
        std::fprintf(file, "}%s\n", level + 1 < ALAD_AGTM_LEVELS ? "," : "");
    }
    std::fprintf(file, "};\n\n#endif /* ALAD_AGTM_LEVEL_TABLES_H */\n");
    if (std::fclose(file) != 0) throw RunError("cannot write '" + path + "'");
}

cv::Mat PlotLevels(const std::vector<std::vector<int32_t>>& tables) {
    constexpr int kSide = 1034, kMargin = 5, kSpan = 1024;
    cv::Mat plot(kSide, kSide, CV_8UC3, cv::Scalar(255, 255, 255));
    auto to_pixel = [&](double in, double out) {
        return cv::Point(cvRound(kMargin + in * kSpan / 4095.0), cvRound(kMargin + kSpan - out * kSpan / 4095.0));
    };
    cv::line(plot, to_pixel(0, 0), to_pixel(4095, 4095), cv::Scalar(170, 170, 170), 1, cv::LINE_AA);
    for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
        const double t = level / 39.0;
        const cv::Scalar colour(255 * (1 - t), 40, 255 * t);
        // A grey pixel of code 16*i is multiplied by gain i of the table.
        cv::Point previous = to_pixel(0, 0);
        for (int i = 1; i < ALAD_AGTM_LUT_SIZE; ++i) {
            const double code = 16.0 * i;
            const double out = std::min(code * tables[level][i] / 2048.0, 4095.0);
            const cv::Point point = to_pixel(code, out);
            cv::line(plot, previous, point, colour, 1, cv::LINE_AA);
            previous = point;
        }
    }
    cv::putText(plot, "AGTM tone curves, 300 lux -> level lux (blue 300, red 49000)", cv::Point(40, 40),
                cv::FONT_HERSHEY_SIMPLEX, 0.7, cv::Scalar(0, 0, 0), 1, cv::LINE_AA);
    return plot;
}

}  // namespace

int RunLevel(int argc, char** argv) {
    const Options options(argc, argv, {}, {});
    if (options.Positional().size() != 1) throw UsageError("needs one LUX value");
    const std::string text = options.Positional()[0];
    char* end = nullptr;
    const long lux = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || *end != '\0' || lux < -2147483647L || lux > 2147483647L) {
        throw UsageError("LUX must be a whole number, got '" + text + "'");
    }
    int level = 0;
    {
        EngineLines quiet(EngineLineFilter::kProblems);
        level = getAGTMLevel(static_cast<int>(lux));
    }
    std::printf("%d\n", level);
    return 0;
}

int RunLevels(int argc, char** argv) {
    const Options options(argc, argv, {"header", "plot"}, {});
    if (!options.Positional().empty()) throw UsageError("unexpected argument '" + options.Positional()[0] + "'");
    const std::vector<std::vector<int32_t>> tables = LevelTables();
    if (options.Has("header")) {
        WriteHeader(options.String("header", ""), tables);
        std::printf("alad levels: 40 tables written to %s\n", options.String("header", "").c_str());
    }
    if (options.Has("plot")) {
        WritePicture(options.String("plot", ""), PlotLevels(tables));
        std::printf("alad levels: tone curves drawn in %s\n", options.String("plot", "").c_str());
    }
    if (!options.Has("header") && !options.Has("plot")) {
        for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
            std::printf("%2d %6d lux: %d %d %d %d ...\n", level, agtmLuxTable[level], tables[level][0],
                        tables[level][1], tables[level][2], tables[level][3]);
        }
    }
    return 0;
}

}  // namespace alad_tool
