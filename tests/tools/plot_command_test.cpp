#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "tests/tools/xml_check.h"
#include "tests/verify/verify_test_util.h"
#include "tools/commands.h"
#include "tools/plot.h"
#include "tools/tool_common.h"

namespace alad_tool {
namespace {

using alad_test::Command;

// Runs a command that is to succeed; returns its standard output.
std::string Succeeds(Command command, std::vector<std::string> args) {
    const alad_test::Captured run = alad_test::RunCommand(command, std::move(args));
    EXPECT_EQ(run.code, 0);
    return run.out;
}

class PlotCommandTest : public alad_test::ScratchTest {
protected:
    // A small picture, darker on the left: something for the local stage and the dark end.
    std::string Picture() const {
        cv::Mat picture(48, 64, CV_8UC3);
        for (int y = 0; y < 48; ++y) {
            for (int x = 0; x < 64; ++x) {
                const int v = (x * x / 24 + y + ((x ^ y) & 7)) & 255;
                picture.at<cv::Vec3b>(y, x) = cv::Vec3b(v / 2, v, (v * 3) / 4);
            }
        }
        WritePicture(Path("in.png"), picture);
        return Path("in.png");
    }
};

// Each plot is written as PNG of its size and as SVG that parses as XML and holds its title and
// axis labels as text.
TEST_F(PlotCommandTest, PlotsAreWrittenAsPngOfTheirSizeAndAsSvgWithTitleAndAxisLabels) {
    if (!alad_test::HavePython()) GTEST_SKIP() << "no Python to parse the SVG with";
    const std::string in = Picture();
    struct Case {
        Command command;
        std::vector<std::string> args;  // the plot's file name is added: --OPTION FILE
        std::string option;
        cv::Size size;  // 0x0: depends on the picture
        std::string title;
        std::vector<std::string> labels;
    };
    const std::vector<Case> cases = {
        {RunLut, {"--src", "300", "--dst", "20000"}, "--plot", cv::Size(1500, 600),
         "AGTM for pictures made for 300 lux, seen under 20000 lux",
         {"input code (0 = black, 1 = white)", "output code (0 = black, 1 = white)", "gain (output / input)",
          "brightest channel (12-bit code)", "luminance seen (cd/m\u00b2, log scale)", "ambient tone curve",
          "identity (no change)"}},
        {RunLevels, {}, "--plot", cv::Size(1000, 830), "AGTM tone curves of the 40 ambient-light levels",
         {"input code (12-bit, brightest channel)", "output code of a grey pixel (12-bit)",
          "level's ambient light (lux, log scale)", "49000"}},
        {RunProcess, {"--dst", "20000", "--block", "64", in, Path("out.png")}, "--plot-curves", cv::Size(),
         "CLTM block tone curves of the last frame of " + in,
         {"input luma (10-bit code)", "output luma (10-bit code)", "All blocks (1)", "mean of the blocks"}},
        {RunProcess, {"--order", "2", "--block", "64", in, Path("out.png")}, "--plot-hist", cv::Size(),
         "CLTM block histograms of the last frame of " + in,
         {"brightest channel (10-bit code)", "share of the frame's samples (%)"}},
        {RunSimulate, {"--dst", "20000", in}, "", cv::Size(900, 318), "How the panel shows in.png under 20000 lux",
         {"as made: original at 300 lux", "original at 20000 lux", "ALAD output (CLTM + AGTM) at 20000 lux",
          "in the darks"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.title);
        for (const char* ext : {".png", ".svg"}) {
            const std::string path = Path(std::string("plot") + ext);
            std::vector<std::string> args = c.args;
            if (!c.option.empty()) args.push_back(c.option);
            args.push_back(path);
            Succeeds(c.command, args);
            if (std::string(ext) == ".png") {
                const cv::Mat plot = cv::imread(path);
                ASSERT_FALSE(plot.empty());
                EXPECT_TRUE(c.size.area() == 0 || plot.size() == c.size) << plot.size();
                EXPECT_GT(plot.cols, 600);
                continue;
            }
            const std::string svg = alad_test::XmlOutline(path, dir_.path.string());
            const auto has = [&](const std::string& line) { return svg.find("\n" + line + "\n") != std::string::npos; };
            ASSERT_EQ(svg.rfind("root: svg\n", 0), 0u) << svg;
            EXPECT_TRUE(c.size.area() == 0 || has("width: " + std::to_string(c.size.width) + "px")) << svg;
            EXPECT_TRUE(has("title: " + c.title)) << svg;
            EXPECT_TRUE(has("text: " + c.title));
            for (const std::string& label : c.labels) EXPECT_TRUE(has("text: " + label)) << label;
        }
    }
}

TEST_F(PlotCommandTest, SimulationShowsTheEngineBringingBackDarkDetails) {
    const std::string in = Picture();
    const std::string json = Succeeds(RunSimulate, {"--dst", "20000", "--json", in, Path("sim.jpg")});
    EXPECT_EQ(cv::imread(Path("sim.jpg")).size(), cv::Size(900, 318));
    // The shares of dark details seen, in the order: as made, original under 20000 lux, output.
    std::vector<double> dark;
    for (size_t at = json.find("\"dark_details_seen\": "); at != std::string::npos;
         at = json.find("\"dark_details_seen\": ", at + 1)) {
        dark.push_back(std::stod(json.substr(at + 21)));
    }
    ASSERT_EQ(dark.size(), 3u) << json;
    EXPECT_GT(dark[0], dark[1]);  // bright light hides dark details...
    EXPECT_GT(dark[2], dark[1]);  // ... and the engine brings some back
    EXPECT_NE(json.find("\"weber_fraction\": 0.01"), std::string::npos);
}

TEST_F(PlotCommandTest, MistakesAreReportedBeforeAnyWork) {
    const std::string in = Picture();
    const std::vector<std::pair<Command, std::vector<std::string>>> mistakes = {
        {RunLut, {"--src", "300", "--dst", "1", "--plot", Path("p.gif")}},
        {RunLevels, {"--plot", Path("p.txt")}},
        {RunProcess, {"--order", "4", "--plot-curves", Path("c.png"), in, Path("o.png")}},
        {RunProcess, {"--plot-hist", Path("h.bmp"), in, Path("o.png")}},
        {RunSimulate, {in, Path("s.png")}},  // no --dst
        {RunSimulate, {"--dst", "5", in, Path("s.tif")}},
    };
    for (const auto& mistake : mistakes) {
        EXPECT_THROW(alad_test::RunCommand(mistake.first, mistake.second), UsageError) << mistake.second.back();
    }
    EXPECT_FALSE(std::filesystem::exists(Path("o.png")));
}

TEST(PlotTicksTest, RoundStepsNearTheWantedCountAndTheirNumbers) {
    struct Case {
        Axis axis;
        int target;
        std::vector<double> ticks;
    };
    const std::vector<Case> cases = {
        {{0, 1, ""}, 5, {0, 0.2, 0.4, 0.6, 0.8, 1.0}},
        {{0, 1, ""}, 4, {0, 0.25, 0.5, 0.75, 1.0}},
        {{0, 4095, ""}, 4, {0, 1000, 2000, 3000, 4000}},
        {{0, 1023, ""}, 4, {0, 250, 500, 750, 1000}},
        {{-3, 3, ""}, 3, {-2, 0, 2}},
        {{300, 49000, "", true}, 6, {500, 1000, 2000, 5000, 10000, 20000}},
        {{0.1, 1000, "", true}, 6, {0.1, 1, 10, 100, 1000}},
    };
    for (const Case& c : cases) {
        const std::vector<double> ticks = Ticks(c.axis, c.target);
        ASSERT_EQ(ticks.size(), c.ticks.size()) << c.axis.lo << ".." << c.axis.hi;
        for (size_t i = 0; i < ticks.size(); ++i) EXPECT_NEAR(ticks[i], c.ticks[i], 1e-9 * c.axis.hi);
    }
    EXPECT_EQ(TickText(0.25, 0.25), "0.25");
    EXPECT_EQ(TickText(0.4, 0.2), "0.4");
    EXPECT_EQ(TickText(3000, 1000), "3000");
    EXPECT_EQ(TickText(0, 0.5), "0.0");
}

}  // namespace
}  // namespace alad_tool
