#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <string>
#include <vector>

#include "tests/cltm/cltm_test_util.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {
namespace {

// Runs `alad offline`; returns what it printed on standard output.
std::string Offline(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    kelvo::testing_util::Stdout out;
    RunOffline(static_cast<int>(argv.size()), argv.data());
    return out.Text();
}

TEST(OfflineCommandTest, AllWritesEveryVariantAndTheContactSheet) {
    const std::filesystem::path dir = std::filesystem::path(testing::TempDir()) / "alad_offline_all";
    std::filesystem::remove_all(dir);
    const std::string out = Offline({"all", ALAD_SAMPLE_PICTURE, dir.string(), "--level", "35", "--stats"});
    const cv::Mat input = cv::imread(ALAD_SAMPLE_PICTURE);
    for (const char* name : {"gray", "1d", "combine", "scaler", "deep", "ltm-agtm", "agtm-ltm"}) {
        const cv::Mat picture = cv::imread((dir / (std::string(name) + ".png")).string());
        ASSERT_EQ(picture.size(), input.size()) << name;
        EXPECT_GT(cv::norm(picture, input, cv::NORM_INF), 16.0) << name;
    }
    // Eight tiles of 480 pixels in four columns, two rows under a title.
    const cv::Mat sheet = cv::imread((dir / "contact_sheet.png").string());
    EXPECT_EQ(sheet.cols, 4 * (480 + 6) + 6);
    EXPECT_GT(sheet.rows, 2 * 320);
    EXPECT_NE(out.find("deep:  Float and Fixed PSNR: "), std::string::npos);
    EXPECT_NE(out.find("agtm-ltm:  Float and Fixed PSNR: "), std::string::npos);
    std::filesystem::remove_all(dir);
}

TEST(OfflineCommandTest, MistakesAreReported) {
    const std::string out = testing::TempDir() + "alad_offline_out.png";
    EXPECT_THROW(Offline({"sepia", ALAD_SAMPLE_PICTURE, out}), UsageError);
    EXPECT_THROW(Offline({"gray", ALAD_SAMPLE_PICTURE, out, "--stats"}), UsageError);
    EXPECT_THROW(Offline({"deep", ALAD_SAMPLE_PICTURE, out, "--level", "3", "--src", "10"}), UsageError);
    EXPECT_THROW(Offline({"deep", ALAD_SAMPLE_PICTURE}), UsageError);
    EXPECT_THROW(Offline({"deep", testing::TempDir() + "missing.png", out}), RunError);
}

}  // namespace
}  // namespace alad_tool
