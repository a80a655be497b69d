#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/tool_common.h"

namespace alad_tool {
namespace {

Options Parse(std::vector<std::string> args, const std::vector<std::string>& valued,
              const std::vector<std::string>& flags = {}) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    return Options(static_cast<int>(argv.size()), argv.data(), valued, flags);
}

// What a usage mistake says.
template <typename Call>
std::string Mistake(Call&& call) {
    try {
        call();
    } catch (const UsageError& e) {
        return e.what();
    }
    return "no mistake reported";
}

TEST(ToolOptionsTest, ParsesValuesFlagsAndPositionalsAndNamesTheOptionOfAMistake) {
    const Options options = Parse({"in.png", "--src", "300", "--fast", "out.png", "--order", "2"},
                                  {"src", "order"}, {"fast"});
    EXPECT_EQ(options.Positional(), (std::vector<std::string>{"in.png", "out.png"}));
    EXPECT_EQ(options.Number("src", 0.0), 300.0);
    EXPECT_EQ(options.Integer("order", 1, 1, 4), 2);
    EXPECT_TRUE(options.Has("fast"));
    EXPECT_FALSE(options.Has("dst"));
    EXPECT_EQ(options.Number("dst", 7.5), 7.5);

    const Options wrong = Parse({"--src", "3x", "--order", "9"}, {"src", "order"});
    EXPECT_NE(Mistake([] { Parse({"--nope", "1"}, {"src"}); }).find("--nope"), std::string::npos);
    EXPECT_NE(Mistake([] { Parse({"--src"}, {"src"}); }).find("--src"), std::string::npos);
    EXPECT_NE(Mistake([&] { wrong.Number("src", 0.0); }).find("--src"), std::string::npos);
    EXPECT_NE(Mistake([&] { wrong.Integer("order", 1, 1, 4); }).find("--order"), std::string::npos);
    EXPECT_NE(Mistake([&] { wrong.RequiredNumber("dst"); }).find("--dst"), std::string::npos);
}

TEST(ToolPictureTest, WidensAndNarrowsBothDepthsAndSetsPicturesSideBySide) {
    const std::string path8 = testing::TempDir() + "alad_tool_8.png", path16 = testing::TempDir() + "alad_tool_16.png";
    const cv::Mat picture8 = (cv::Mat_<cv::Vec3b>(1, 3) << cv::Vec3b(0, 128, 255), cv::Vec3b(1, 15, 16),
                              cv::Vec3b(200, 136, 254));
    const cv::Mat picture16 = (cv::Mat_<cv::Vec3w>(1, 2) << cv::Vec3w(0, 65535, 0x1234), cv::Vec3w(15, 16, 32768));
    WritePicture(path8, picture8);
    WritePicture(path16, picture16);
    int depth = -1;
    const cv::Mat wide8 = ReadPicture12(path8, &depth);
    EXPECT_EQ(depth, CV_8U);
    EXPECT_EQ(wide8.at<cv::Vec3i>(0, 0), cv::Vec3i(0, 2056, 4095));
    EXPECT_EQ(wide8.at<cv::Vec3i>(0, 1), cv::Vec3i(16, 240, 257));
    EXPECT_EQ(cv::norm(NarrowPicture12(wide8, CV_8U), picture8, cv::NORM_INF), 0.0);  // exact inverse
    const cv::Mat wide16 = ReadPicture12(path16, &depth);
    EXPECT_EQ(depth, CV_16U);
    EXPECT_EQ(wide16.at<cv::Vec3i>(0, 0), cv::Vec3i(0, 4095, 0x123));
    EXPECT_EQ(wide16.at<cv::Vec3i>(0, 1), cv::Vec3i(0, 1, 2048));
    EXPECT_EQ(NarrowPicture12(wide16, CV_16U).at<cv::Vec3w>(0, 0), cv::Vec3w(0, 65535, 0x1231));
    std::remove(path8.c_str());
    std::remove(path16.c_str());
    EXPECT_THROW(ReadPicture12(testing::TempDir() + "no_such_picture.png", &depth), RunError);

    // Side by side: both pictures in one, 8 pixels apart.
    const cv::Mat both =
        SideBySide(cv::Mat(4, 3, CV_8UC3, cv::Scalar(10, 20, 30)), cv::Mat(2, 5, CV_8UC3, cv::Scalar(1, 2, 3)));
    EXPECT_EQ(both.size(), cv::Size(3 + 8 + 5, 4));
    EXPECT_EQ(both.at<cv::Vec3b>(3, 2), cv::Vec3b(10, 20, 30));
    EXPECT_EQ(both.at<cv::Vec3b>(1, 11), cv::Vec3b(1, 2, 3));
}

}  // namespace
}  // namespace alad_tool
