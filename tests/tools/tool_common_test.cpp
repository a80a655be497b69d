#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/json.h"
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
    EXPECT_EQ(options.Number("dst", 7.5), 7.5);

    // Unknown options, numbers that are not and missing required options are in cli_test.cmake.
    const Options wrong = Parse({"--order", "9"}, {"order"});
    EXPECT_NE(Mistake([] { Parse({"--src"}, {"src"}); }).find("--src"), std::string::npos);
    EXPECT_NE(Mistake([&] { wrong.Integer("order", 1, 1, 4); }).find("--order"), std::string::npos);

    // --name=value, and "--" ending the options.
    const Options joined = Parse({"--src=-5", "--order=", "--", "--fast", "-q", "--src=1"}, {"src", "order"}, {"fast"});
    EXPECT_EQ(joined.Number("src", 0.0), -5.0);
    EXPECT_EQ(joined.String("order", "x"), "");
    EXPECT_FALSE(joined.Has("fast"));
    EXPECT_EQ(joined.Positional(), (std::vector<std::string>{"--fast", "-q", "--src=1"}));
    EXPECT_NE(Mistake([] { Parse({"--fast=yes"}, {}, {"fast"}); }).find("--fast takes no value"), std::string::npos);
    EXPECT_NE(Mistake([] { Parse({"--nope=1"}, {"src"}); }).find("unknown option --nope"), std::string::npos);
}

TEST(ToolJsonTest, WritesNestedDocumentsReadably) {
    JsonWriter out;
    out.BeginObject().Member("name", "a \"quoted\"\tname\\").Member("count", 3).Member("share", 0.25);
    out.Member("missing", std::nan("")).Member("table", std::vector<int32_t>{1, -2});
    out.Key("empty").BeginArray().EndArray().Key("items").BeginArray().BeginObject().Member("ok", true).EndObject();
    out.EndArray().EndObject();
    EXPECT_EQ(out.Text(),
              "{\n"
              "  \"name\": \"a \\\"quoted\\\"\\tname\\\\\",\n"
              "  \"count\": 3,\n"
              "  \"share\": 0.25,\n"
              "  \"missing\": null,\n"
              "  \"table\": [1, -2],\n"
              "  \"empty\": [],\n"
              "  \"items\": [\n"
              "    {\n"
              "      \"ok\": true\n"
              "    }\n"
              "  ]\n"
              "}\n");
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

    // Labelled: a band of names on top, the pictures' own pixels below it, at their depth.
    const cv::Mat left16(40, 60, CV_16UC3, cv::Scalar(1000, 2000, 3000)), right16(40, 50, CV_16UC3, cv::Scalar::all(7));
    const cv::Mat labelled = LabelledSideBySide(left16, right16, "input", "output");
    ASSERT_EQ(labelled.type(), CV_16UC3);
    const int band = labelled.rows - 40;
    EXPECT_GT(band, 16);
    EXPECT_EQ(labelled.cols, 60 + 8 + 50);
    EXPECT_EQ(cv::norm(labelled(cv::Rect(0, band, 60, 40)), left16, cv::NORM_INF), 0.0);
    EXPECT_EQ(cv::norm(labelled(cv::Rect(68, band, 50, 40)), right16, cv::NORM_INF), 0.0);
    double darkest = 0, brightest = 0;
    cv::minMaxLoc(labelled(cv::Rect(0, 0, 60, band)).reshape(1), &darkest, &brightest);
    EXPECT_GT(brightest - darkest, 30000.0);  // white letters on a dark band
}

}  // namespace
}  // namespace alad_tool
