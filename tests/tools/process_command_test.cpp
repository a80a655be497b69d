#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {
namespace {

int RunCommand(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    try {
        const int rc = RunProcess(static_cast<int>(argv.size()), argv.data());
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        return rc;
    } catch (...) {
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
        throw;
    }
}

cv::Mat Gradient(int width, int height, int shift) {
    cv::Mat picture(height, width, CV_8UC3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            picture.at<cv::Vec3b>(y, x) = cv::Vec3b(static_cast<uint8_t>((x * 4 + shift) & 255),
                                                    static_cast<uint8_t>(y * 2), static_cast<uint8_t>((x + y) / 3));
        }
    }
    return picture;
}

TEST(ProcessCommandTest, StillPictureShowsTheLocalStage) {
    const std::string in = testing::TempDir() + "alad_process_in.png";
    const std::string agtm = testing::TempDir() + "alad_process_agtm.png";
    const std::string cltm = testing::TempDir() + "alad_process_cltm.png";
    const cv::Mat picture = Gradient(64, 48, 0);
    WritePicture(in, picture);
    ASSERT_EQ(RunCommand({"--order", "4", "--src", "300", "--dst", "300", in, agtm}), 0);
    ASSERT_EQ(RunCommand({"--order", "3", "--strength", "16", "--block", "64", in, cltm}), 0);
    // Order 4 with the same light on both sides is close to the input; order 3 is the primed
    // local mapping, visibly different from a pass-through.
    EXPECT_LE(cv::norm(cv::imread(agtm), picture, cv::NORM_INF), 8.0);
    EXPECT_GT(cv::norm(cv::imread(cltm), picture, cv::NORM_INF), 16.0);
    std::remove(in.c_str());
    std::remove(agtm.c_str());
    std::remove(cltm.c_str());
}

TEST(ProcessCommandTest, DriverBufferPathMatchesTheEnginePath) {
    const std::string in = testing::TempDir() + "alad_process_drv_in.png";
    const std::string engine = testing::TempDir() + "alad_process_engine.png";
    const std::string driver = testing::TempDir() + "alad_process_driver.png";
    WritePicture(in, Gradient(64, 48, 5));
    ASSERT_EQ(RunCommand({"--level", "35", "--block", "64", in, engine}), 0);
    ASSERT_EQ(RunCommand({"--argb", "--level", "35", "--block", "64", in, driver}), 0);
    // The same engine; only the last step differs: the driver rounds 12 to 8 bits (scale 1/16), the
    // tool drops the low bits.
    EXPECT_LE(cv::norm(cv::imread(engine), cv::imread(driver), cv::NORM_INF), 1.0);
    EXPECT_THROW(RunCommand({"--argb", "--filter", in, driver}), UsageError);
    EXPECT_THROW(RunCommand({"--level", "40", in, driver}), UsageError);
    EXPECT_THROW(RunCommand({"--level", "3", "--dst", "5", in, driver}), UsageError);
    std::remove(in.c_str());
    std::remove(engine.c_str());
    std::remove(driver.c_str());
}

TEST(ProcessCommandTest, VideoIsProcessedFrameByFrame) {
    const std::string in = testing::TempDir() + "alad_process_in.avi";
    const std::string out = testing::TempDir() + "alad_process_out.avi";
    {
        cv::VideoWriter writer(in, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 10.0, cv::Size(64, 48));
        ASSERT_TRUE(writer.isOpened());
        for (int i = 0; i < 5; ++i) writer.write(Gradient(64, 48, 10 * i));
    }
    ASSERT_EQ(RunCommand({"--dst", "20000", "--filter", in, out}), 0);
    cv::VideoCapture result(out);
    ASSERT_TRUE(result.isOpened());
    int frames = 0;
    cv::Mat frame;
    while (result.read(frame)) {
        EXPECT_EQ(frame.size(), cv::Size(64, 48));
        ++frames;
    }
    EXPECT_EQ(frames, 5);
    std::remove(in.c_str());
    std::remove(out.c_str());
}

TEST(ProcessCommandTest, MistakesAreReportedNotThrownFurther) {
    EXPECT_THROW(RunCommand({"--order", "5", "a.png", "b.png"}), UsageError);
    EXPECT_THROW(RunCommand({"--strength", "17", "a.png", "b.png"}), UsageError);
    EXPECT_THROW(RunCommand({testing::TempDir() + "does_not_exist.avi", "b.avi"}), RunError);
}

}  // namespace
}  // namespace alad_tool
