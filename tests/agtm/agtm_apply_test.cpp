#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/agtm_apply.h"
#include "common/simd.h"
#include "common/threads.h"
#include "tests/common/test_threads.h"

namespace kelvo {
namespace {

agtm_param_api_ Table(int32_t raw) {
    agtm_param_api_ param;
    param.lut.assign(256, raw);
    return param;
}

cv::Mat Pixel(int b, int g, int r) { return cv::Mat(1, 1, CV_32SC3, cv::Scalar(b, g, r)); }

struct Result {
    cv::Vec3i reference, integer;
};

Result Apply(const agtm_param_api_& param, int b, int g, int r) {
    cv::Mat reference, result;
    ToneMappingOneImageByScalerLUTImple_(Pixel(b, g, r), param, reference, result);
    return {reference.at<cv::Vec3i>(0, 0), result.at<cv::Vec3i>(0, 0)};
}

TEST(AgtmApplyTest, UnitTableReturnsTheInputOnBothPaths) {
    cv::Mat frame(37, 23, CV_32SC3);
    cv::randu(frame, cv::Scalar::all(0), cv::Scalar::all(4096));
    cv::Mat reference, result;
    ToneMappingOneImageByScalerLUTImple_(frame, Table(2048), reference, result);
    ASSERT_EQ(result.type(), CV_32SC3);
    ASSERT_EQ(reference.size(), frame.size());
    EXPECT_EQ(cv::norm(result, frame, cv::NORM_INF), 0.0);
    EXPECT_EQ(cv::norm(reference, frame, cv::NORM_INF), 0.0);
}

TEST(AgtmApplyTest, WorkedPixels) {
    // 1.5 everywhere on a white pixel: 6142 (integer) and 6142.5 (reference) both limit to 4095.
    Result r = Apply(Table(3072), 4095, 4095, 4095);
    EXPECT_EQ(r.integer, cv::Vec3i(4095, 4095, 4095));
    EXPECT_EQ(r.reference, cv::Vec3i(4095, 4095, 4095));

    // (100, 50, 3000): index 187, frac 8, half-way between 1.0 and 2.0; the same gain on all three.
    agtm_param_api_ ramp = Table(2048);
    ramp.lut[188] = 4096;
    r = Apply(ramp, 100, 50, 3000);
    EXPECT_EQ(r.integer, cv::Vec3i(150, 75, 4095));
    EXPECT_EQ(r.reference, cv::Vec3i(150, 75, 4095));

    // The reference rounds half away from zero, the integer path truncates: 3 * 1.5 = 4.5.
    r = Apply(Table(3072), 3, 2, 1);
    EXPECT_EQ(r.reference, cv::Vec3i(5, 3, 2));
    EXPECT_EQ(r.integer, cv::Vec3i(4, 3, 1));
}

TEST(AgtmApplyTest, CodesFrom4080UseTheLastEntryAlone) {
    agtm_param_api_ param = Table(0);
    param.lut[255] = 4096;  // 2.0; entry 0 (what a wrapped index would read) is 0
    for (int brightest : {4080, 4085, 4095}) {
        const Result r = Apply(param, 1000, brightest, 10);
        EXPECT_EQ(r.integer, cv::Vec3i(2000, 4095, 20)) << brightest;
        EXPECT_EQ(r.reference, cv::Vec3i(2000, 4095, 20)) << brightest;
    }
    // Just below, the integer path interpolates towards entry 255 in sixteenths.
    param.lut[254] = 2048;
    const Result r = Apply(param, 4079, 0, 0);  // idx 254, frac 15: (1*2048 + 15*4096) / 64 = 992
    EXPECT_EQ(r.integer[0], 4079 * 992 / 512 > 4095 ? 4095 : 4079 * 992 / 512);
}

TEST(AgtmApplyTest, GainCapAndNegativeGains) {
    // 255.99951171875 is capped at 255.0 on the integer path.
    Result r = Apply(Table(524287), 10, 1, 0);
    EXPECT_EQ(r.integer, cv::Vec3i(2550, 255, 0));
    EXPECT_EQ(r.reference, cv::Vec3i(2560, 256, 0));
    // A negative gain: 0 on the reference, negative values (truncated toward zero) on the integer path.
    r = Apply(Table(-3072), 3, 100, 0);
    EXPECT_EQ(r.reference, cv::Vec3i(0, 0, 0));
    EXPECT_EQ(r.integer, cv::Vec3i(-4, -150, 0));
}

TEST(AgtmApplyTest, OutOfRangeCodesStayInsideTheTable) {
    agtm_param_api_ param = Table(2048);
    param.lut[0] = 1024;  // 0.5
    // 4096 wraps to entry 0 on the integer path; the reference looks it up as 4095.
    Result r = Apply(param, 4096, 0, 0);
    EXPECT_EQ(r.integer, cv::Vec3i(2048, 0, 0));
    EXPECT_EQ(r.reference, cv::Vec3i(4095, 0, 0));
    // Extreme values: no overflow trap, no read outside the table (the sanitizer build checks).
    const int extremes[] = {INT_MIN, -1, -4096, 65535, 1 << 24, INT_MAX};
    for (int v : extremes) {
        r = Apply(param, v, v / 2, v == INT_MIN ? INT_MAX : -v);
        EXPECT_GE(r.reference[0], 0);
        EXPECT_LE(r.reference[0], 4095);
        EXPECT_LE(r.integer[0], 4095);
    }
}

TEST(AgtmApplyTest, OutputsOfAnotherShapeOrTypeAndRefusedInputs) {
    const cv::Mat frame = Pixel(100, 200, 300);
    cv::Mat reference(5, 5, CV_8UC1), result(1, 1, CV_16SC3, cv::Scalar::all(-1));
    ToneMappingOneImageByScalerLUTImple_(frame, Table(4096), reference, result);
    EXPECT_EQ(reference.type(), CV_32SC3);  // wrong size: made anew
    EXPECT_EQ(reference.at<cv::Vec3i>(0, 0), cv::Vec3i(200, 400, 600));
    EXPECT_EQ(result.type(), CV_16SC3);  // right size: written in its own type
    EXPECT_EQ(result.at<cv::Vec3s>(0, 0), cv::Vec3s(200, 400, 600));

    // An 8-bit frame is taken at its values.
    cv::Mat out8, ref8;
    ToneMappingOneImageByScalerLUTImple_(cv::Mat(2, 2, CV_8UC3, cv::Scalar(10, 20, 30)), Table(4096), ref8, out8);
    EXPECT_EQ(out8.at<cv::Vec3i>(1, 1), cv::Vec3i(20, 40, 60));

    // Refused: a short table, a single-channel frame. Outputs stay as they were.
    cv::Mat untouched = Pixel(7, 7, 7), ref;
    agtm_param_api_ shortTable;
    shortTable.lut.assign(10, 2048);
    testing::internal::CaptureStdout();
    ToneMappingOneImageByScalerLUTImple_(frame, shortTable, ref, untouched);
    ToneMappingOneImageByScalerLUTImple_(cv::Mat(2, 2, CV_32SC1, cv::Scalar(5)), Table(2048), ref, untouched);
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_NE(log.find("256 needed"), std::string::npos);
    EXPECT_NE(log.find("3 needed"), std::string::npos);
    EXPECT_EQ(untouched.at<cv::Vec3i>(0, 0), cv::Vec3i(7, 7, 7));
    EXPECT_TRUE(ref.empty());
}

TEST(AgtmApplyTest, ClimpUncharFixRoundsHalvesAwayAndClampsOnTheUnroundedValue) {
    EXPECT_EQ(ClimpUncharFix(-0.4f, 4095.0f), 0.0f);
    EXPECT_EQ(ClimpUncharFix(-0.0f, 4095.0f), 0.0f);
    EXPECT_EQ(ClimpUncharFix(2.5f, 4095.0f), 3.0f);
    EXPECT_EQ(ClimpUncharFix(2.49f, 4095.0f), 2.0f);
    EXPECT_EQ(ClimpUncharFix(4094.6f, 4095.0f), 4095.0f);
    EXPECT_EQ(ClimpUncharFix(1e9f, 255.0f), 255.0f);
}

TEST(AgtmApplyTest, InPlaceOutputReadsEachPixelBeforeWritingIt) {
    cv::Mat frame(3, 4, CV_32SC3);
    cv::randu(frame, cv::Scalar::all(0), cv::Scalar::all(4096));
    const cv::Mat original = frame.clone();
    cv::Mat expected_ref, expected_res;
    ToneMappingOneImageByScalerLUTImple_(original, Table(3000), expected_ref, expected_res);
    cv::Mat ref;
    ToneMappingOneImageByScalerLUTImple_(frame, Table(3000), ref, frame);
    EXPECT_EQ(cv::norm(frame, expected_res, cv::NORM_INF), 0.0);
    EXPECT_EQ(cv::norm(ref, expected_ref, cv::NORM_INF), 0.0);
}

// The integer-only pass (vectorised, rows shared among threads) against the integer result of the
// two-output reference, on random sizes, tables (extreme and negative gains too), pixels (codes
// outside 0..4095 too), output images and thread counts.
void IntegerOnlyPassEqualsTheReference() {
    std::mt19937 rng(2718);
    auto uniform = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    const int sizes[] = {1, 2, 3, 4, 5, 17, 65, 127, 129};
    for (int iter = 0; iter < 120; ++iter) {
        const int w = uniform(0, 2) == 0 ? uniform(1, 300) : sizes[uniform(0, 8)];
        const int h = uniform(0, 2) == 0 ? uniform(1, 120) : sizes[uniform(0, 8)];
        agtm_param_api_ param;
        param.lut.resize(256);
        const int table_kind = uniform(0, 3);
        for (int32_t& v : param.lut) {
            v = table_kind == 0   ? static_cast<int32_t>(rng())                      // anything, wrapping sums
                : table_kind == 1 ? uniform(-4096, 600000)                           // negative and capped gains
                                  : 2048 + uniform(-1500, 3000);                     // a real curve's range
        }
        cv::Mat in(h, w, CV_32SC3);
        const bool wild = uniform(0, 2) == 0;
        for (int y = 0; y < h; ++y) {
            int32_t* row = in.ptr<int32_t>(y);
            for (int i = 0; i < 3 * w; ++i) {
                row[i] = wild && uniform(0, 15) == 0 ? static_cast<int32_t>(rng()) : uniform(0, 4095);
            }
        }
        cv::Mat reference, expected;
        ToneMappingOneImageByScalerLUTImple_(in, param, reference, expected);

        cv::Mat out;
        const int output_kind = uniform(0, 3);
        if (output_kind == 1) out.create(h, w, CV_32SC3);
        if (output_kind == 2) out.create(h, w, CV_64FC3);  // written in its own type
        if (output_kind == 3) out = in.clone();             // in place
        alad::SetEngineThreadCount(alad_test::TestThreads(uniform(1, 3)));
        const bool with_copy = uniform(0, 1) == 1;  // the debug store's copy, written in the same pass
        cv::Mat copy;
        if (with_copy) {
            ASSERT_TRUE(ToneMappingOneImageByScalerLUTIntegerImple_(output_kind == 3 ? out : in, param, out, copy));
            ASSERT_EQ(copy.type(), CV_32SC3);
            ASSERT_EQ(cv::norm(copy, expected, cv::NORM_INF), 0.0) << w << "x" << h << " copy";
        } else {
            ToneMappingOneImageByScalerLUTIntegerImple_(output_kind == 3 ? out : in, param, out);
        }
        alad::SetEngineThreadCount(1);
        cv::Mat expected_in_type;
        expected.convertTo(expected_in_type, out.type());
        ASSERT_EQ(out.size(), in.size());
        ASSERT_EQ(out.type(), output_kind == 2 ? CV_64FC3 : CV_32SC3);
        ASSERT_EQ(cv::norm(out, expected_in_type, cv::NORM_INF), 0.0) << w << "x" << h << " table " << table_kind;
    }
}

TEST(AgtmApplyTest, IntegerOnlyPassEqualsTheReferenceIntegerResult) {
    const alad::SimdLevel kept = alad::ActiveSimdLevel();
    for (alad::SimdLevel level : {alad::SimdLevel::kBaseline, alad::SimdLevel::kAvx2}) {
        if (!alad::SimdLevelAvailable(level)) continue;
        alad::SetSimdLevel(level);
        SCOPED_TRACE(level == alad::SimdLevel::kAvx2 ? "AVX2 kernels" : "baseline kernels");
        IntegerOnlyPassEqualsTheReference();
    }
    alad::SetSimdLevel(kept);

    // Refused like the two-output call: nothing written.
    cv::Mat untouched = Pixel(7, 7, 7);
    agtm_param_api_ short_table;
    short_table.lut.assign(10, 2048);
    testing::internal::CaptureStdout();
    ToneMappingOneImageByScalerLUTIntegerImple_(Pixel(1, 2, 3), short_table, untouched);
    cv::Mat no_copy;
    EXPECT_FALSE(ToneMappingOneImageByScalerLUTIntegerImple_(Pixel(1, 2, 3), short_table, untouched, no_copy));
    EXPECT_TRUE(no_copy.empty());
    ToneMappingOneImageByScalerLUTIntegerImple_(cv::Mat(2, 2, CV_32SC1, cv::Scalar(5)), Table(2048), untouched);
    const std::string log = testing::internal::GetCapturedStdout();
    EXPECT_NE(log.find("256 needed"), std::string::npos);
    EXPECT_NE(log.find("3 needed"), std::string::npos);
    EXPECT_EQ(untouched.at<cv::Vec3i>(0, 0), cv::Vec3i(7, 7, 7));
}

}  // namespace
}  // namespace kelvo
