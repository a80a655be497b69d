#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>

#include "tests/verify/verify_test_util.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {
namespace {

// Runs `alad process` with its console output captured and dropped.
int Process(std::vector<std::string> args) { return alad_test::RunCommand(RunProcess, std::move(args)).code; }

cv::Mat Gradient(int shift) {
    cv::Mat picture(48, 64, CV_8UC3);
    for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) picture.at<cv::Vec3b>(y, x) = cv::Vec3b((x * 4 + shift) & 255, y * 2, (x + y) / 3);
    }
    return picture;
}

using ProcessCommandTest = alad_test::ScratchTest;

// A still picture through the engine's orders and through the driver's buffer path.
TEST_F(ProcessCommandTest, StillPictureThroughTheEngineAndTheDriverBufferPathAndMistakes) {
    const cv::Mat picture = Gradient(5);
    const std::string in = Path("in.png"), engine = Path("engine.png"), driver = Path("driver.png");
    WritePicture(in, picture);
    ASSERT_EQ(Process({"--order", "4", "--src", "300", "--dst", "300", in, Path("agtm.png")}), 0);
    ASSERT_EQ(Process({"--order", "3", "--strength", "16", "--block", "64", in, Path("cltm.png")}), 0);
    // Order 4 with the same light on both sides is close to the input; order 3 is the primed
    // local mapping, visibly different from a pass-through.
    EXPECT_LE(cv::norm(cv::imread(Path("agtm.png")), picture, cv::NORM_INF), 8.0);
    EXPECT_GT(cv::norm(cv::imread(Path("cltm.png")), picture, cv::NORM_INF), 16.0);

    ASSERT_EQ(Process({"--level", "35", "--block", "64", in, engine}), 0);
    ASSERT_EQ(Process({"--argb", "--level", "35", "--block", "64", in, driver}), 0);
    // The same engine; only the last step differs: the driver rounds 12 to 8 bits (scale 1/16), the
    // tool drops the low bits.
    EXPECT_LE(cv::norm(cv::imread(engine), cv::imread(driver), cv::NORM_INF), 1.0);
    const std::vector<std::vector<std::string>> mistakes = {{"--argb", "--filter"}, {"--level", "40"},
                                                            {"--level", "3", "--dst", "5"}, {"--order", "5"},
                                                            {"--strength", "17"}};
    for (std::vector<std::string> args : mistakes) {
        args.insert(args.end(), {in, driver});
        EXPECT_THROW(Process(args), UsageError) << args[0] << " " << args[1];
    }
    EXPECT_THROW(Process({Path("does_not_exist.avi"), Path("b.avi")}), RunError);
}

}  // namespace
}  // namespace alad_tool
