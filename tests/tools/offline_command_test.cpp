#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <string>
#include <vector>

#include "tests/verify/verify_test_util.h"
#include "tools/commands.h"
#include "tools/tool_common.h"

namespace alad_tool {
namespace {

// Runs `alad offline`; returns what it printed on standard output.
std::string Offline(std::vector<std::string> args) { return alad_test::RunCommand(RunOffline, std::move(args)).out; }

TEST(OfflineCommandTest, AllWritesEveryVariantAndTheContactSheet) {
    const alad_test::ScratchDir dir;
    const std::string out = Offline({"all", ALAD_SAMPLE_PICTURE, dir.path.string(), "--level", "35", "--stats"});
    const cv::Mat input = cv::imread(ALAD_SAMPLE_PICTURE);
    for (const char* name : {"gray", "1d", "combine", "scaler", "deep", "ltm-agtm", "agtm-ltm"}) {
        const cv::Mat picture = cv::imread(dir / (std::string(name) + ".png"));
        ASSERT_EQ(picture.size(), input.size()) << name;
        EXPECT_GT(cv::norm(picture, input, cv::NORM_INF), 16.0) << name;
    }
    // Eight tiles of 480 pixels in four columns, two rows under a title.
    const cv::Mat sheet = cv::imread(dir / "contact_sheet.png");
    EXPECT_EQ(sheet.cols, 4 * (480 + 6) + 6);
    EXPECT_GT(sheet.rows, 2 * 320);
    EXPECT_NE(out.find("deep:  Float and Fixed PSNR: "), std::string::npos);
    EXPECT_NE(out.find("agtm-ltm:  Float and Fixed PSNR: "), std::string::npos);
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
