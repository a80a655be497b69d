// alad level / alad levels: the driver's 40 ambient-light levels.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <cmath>

#include "alad/alad_driver.h"
#include "alad/alad_records.h"
#include "tools/commands.h"
#include "tools/json.h"
#include "tools/plot.h"
#include "tools/tool_common.h"
#include "tools/viewing.h"

namespace alad_tool {

const char kLevelHelp[] =
    "usage: alad level [--json] LUX\n"
    "\n"
    "Prints the ambient-light level (0..39) a display driver uses for a lux reading: the nearest of\n"
    "the 40 levels, half-way readings going to the lower level. With --json also the level's lux.\n";

const char kLevelsHelp[] =
    "usage: alad levels [--header FILE.h] [--plot FILE] [--json]\n"
    "\n"
    "The AGTM tables of the 40 ambient-light levels, as a driver precomputes them (driver default\n"
    "display, pictures made for 300 lux, shown under each level's lux).\n"
    "\n"
    "  --header FILE.h  write a C header with the levels' lux values (int32_t [40]) and their\n"
    "                   256-entry tables (int32_t [40][256], 2048 = gain 1.0)\n"
    "  --plot FILE      draw the 40 tone curves (input code to output code of a grey pixel) in one\n"
    "                   plot, coloured by the level's lux (FILE.png or FILE.svg)\n"
    "  --json           print every level's lux and table as JSON\n"
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

void PlotLevels(const std::string& path, const std::vector<std::vector<int32_t>>& tables) {
    Canvas canvas(path, 1000, 830);
    const std::string title = "AGTM tone curves of the 40 ambient-light levels";
    canvas.SetTitle(title);
    canvas.Text(40, 36, title, {20, Align::kLeft, kBlack, true});
    canvas.Text(40, 62, "pictures made for 300 lux, seen under each level's lux", {14, Align::kLeft, kGrey});
    canvas.Text(40, 82, "driver's default panel: " + PanelText(kelvo::alad_display_model_()), {14, Align::kLeft, kGrey});
    Chart chart(canvas, cv::Rect2d(100, 120, 620, 620), {0, 4095, "input code (12-bit, brightest channel)"},
                {0, 4095, "output code of a grey pixel (12-bit)"});
    chart.DrawAxes();
    const double lo = std::log10(agtmLuxTable[0]), hi = std::log10(agtmLuxTable[ALAD_AGTM_LEVELS - 1]);
    auto position = [&](double lux) { return (std::log10(lux) - lo) / (hi - lo); };
    for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
        // A grey pixel of code 16*i is multiplied by gain i of the table.
        std::vector<double> in(ALAD_AGTM_LUT_SIZE), out(ALAD_AGTM_LUT_SIZE);
        for (int i = 0; i < ALAD_AGTM_LUT_SIZE; ++i) {
            in[i] = 16.0 * i;
            out[i] = std::min(in[i] * tables[level][i] / 2048.0, 4095.0);
        }
        chart.Curve(in, out, ScaleColour(position(agtmLuxTable[level])), 1.5);
    }
    chart.Curve({0, 4095}, {0, 4095}, kBlack, 1.2, true);
    chart.Legend({{"identity (no change)", kBlack}}, true, {true});

    // The colour key: a bar from the darkest level (bottom) to the brightest, on a log lux scale,
    // with a mark for each level.
    const cv::Rect2d bar(800, 120, 26, 620);
    for (int i = 0; i < 310; ++i) {
        const double t = 1.0 - (i + 0.5) / 310.0;
        canvas.Fill(cv::Rect2d(bar.x, bar.y + i * bar.height / 310.0, bar.width, bar.height / 310.0 + 0.6), ScaleColour(t));
    }
    canvas.Outline(bar, kBlack, 1);
    auto bar_y = [&](double lux) { return bar.y + bar.height * (1.0 - position(lux)); };
    for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
        const double y = bar_y(agtmLuxTable[level]);
        canvas.Line(bar.x - 4, y, bar.x, y, kBlack, 1);
    }
    const Axis lux_axis{static_cast<double>(agtmLuxTable[0]), static_cast<double>(agtmLuxTable[ALAD_AGTM_LEVELS - 1]),
                        "", true};
    std::vector<double> marks = Ticks(lux_axis, 6);
    marks.insert(marks.begin(), agtmLuxTable[0]);
    marks.push_back(agtmLuxTable[ALAD_AGTM_LEVELS - 1]);
    double last_y = 1e9;
    for (const double lux : marks) {
        const double y = bar_y(lux);
        if (std::fabs(y - last_y) < 16) continue;  // keep the numbers apart
        last_y = y;
        canvas.Line(bar.x + bar.width, y, bar.x + bar.width + 6, y, kBlack, 1);
        char text[32];
        std::snprintf(text, sizeof(text), "%g", lux);
        canvas.Text(bar.x + bar.width + 10, y + canvas.CapHeight(12) / 2, text, {12});
    }
    TextStyle label{14, Align::kCentre};
    label.angle = 90;
    canvas.Text(bar.x + bar.width + 80, bar.y + bar.height / 2, "level's ambient light (lux, log scale)", label);
    canvas.Text(bar.x - 8, bar.y + bar.height + 24, "marks: the 40 levels", {12, Align::kLeft, kGrey});
    canvas.Save();
}

}  // namespace

int RunLevel(int argc, char** argv) {
    const Options options(argc, argv, {}, {"json"});
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
    if (options.Has("json")) {
        JsonWriter out;
        out.BeginObject()
            .Member("lux", static_cast<long long>(lux))
            .Member("level", level)
            .Member("level_lux", agtmLuxTable[level])
            .EndObject();
        std::printf("%s", out.Text().c_str());
    } else {
        std::printf("%d\n", level);
    }
    return 0;
}

int RunLevels(int argc, char** argv) {
    const Options options(argc, argv, {"header", "plot"}, {"json"});
    if (!options.Positional().empty()) throw UsageError("unexpected argument '" + options.Positional()[0] + "'");
    if (options.Has("plot")) CheckPlotPath(options.String("plot", ""));
    const std::vector<std::vector<int32_t>> tables = LevelTables();
    if (options.Has("header")) {
        WriteHeader(options.String("header", ""), tables);
        Inform("alad levels: 40 tables written to %s\n", options.String("header", "").c_str());
    }
    if (options.Has("plot")) {
        PlotLevels(options.String("plot", ""), tables);
        Inform("alad levels: tone curves drawn in %s\n", options.String("plot", "").c_str());
    }
    if (options.Has("json")) {
        JsonWriter out;
        out.BeginObject().Member("src_lux", 300).Key("levels").BeginArray();
        for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
            out.BeginObject().Member("level", level).Member("lux", agtmLuxTable[level]).Member("table", tables[level]);
            out.EndObject();
        }
        out.EndArray().EndObject();
        std::printf("%s", out.Text().c_str());
    } else if (!options.Has("header") && !options.Has("plot")) {
        for (int level = 0; level < ALAD_AGTM_LEVELS; ++level) {
            std::printf("%2d %6d lux: %d %d %d %d ...\n", level, agtmLuxTable[level], tables[level][0],
                        tables[level][1], tables[level][2], tables[level][3]);
        }
    }
    return 0;
}

}  // namespace alad_tool
