#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/agtm_apply.h"
#include "common/argb8888.h"
#include "common/threads.h"
#include "tests/common/test_threads.h"
#include "tests/engine/engine_test_util.h"

namespace kelvo {
namespace {

// Every entry `raw`, then entry i = `at[i]`.
agtm_param_api_ Table(int32_t raw, std::initializer_list<std::pair<int, int32_t>> at = {}) {
    agtm_param_api_ param;
    param.lut.assign(256, raw);
    for (const auto& [i, v] : at) param.lut[i] = v;
    return param;
}

cv::Mat Pixel(int b, int g, int r) { return cv::Mat(1, 1, CV_32SC3, cv::Scalar(b, g, r)); }

int Uniform(std::mt19937& rng, int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }

// A random table of a kind: 0 anything (wrapping sums), 1 negative and capped gains, else a real
// curve's range.
agtm_param_api_ RandomTable(std::mt19937& rng, int kind) {
    agtm_param_api_ param;
    param.lut.resize(256);
    for (int32_t& v : param.lut) {
        v = kind == 0 ? static_cast<int32_t>(rng()) : kind == 1 ? Uniform(rng, -4096, 600000) : 2048 + Uniform(rng, -1500, 3000);
    }
    return param;
}

TEST(AgtmApplyTest, WorkedPixels) {
    const struct { agtm_param_api_ table; cv::Vec3i in, reference, integer; } cases[] = {
        {Table(2048), {4095, 1, 0}, {4095, 1, 0}, {4095, 1, 0}},  // unit gain: the input on both paths
        // 1.5 on white: 6142 (integer) and 6142.5 (reference) both limit to 4095.
        {Table(3072), {4095, 4095, 4095}, {4095, 4095, 4095}, {4095, 4095, 4095}},
        // Index 187, frac 8: half-way between 1.0 and 2.0, the same gain on all three channels.
        {Table(2048, {{188, 4096}}), {100, 50, 3000}, {150, 75, 4095}, {150, 75, 4095}},
        // The reference rounds half away from zero, the integer path truncates: 3 * 1.5 = 4.5.
        {Table(3072), {3, 2, 1}, {5, 3, 2}, {4, 3, 1}},
        // From 4080 on only entry 255 counts (entry 0, where a wrapped index would read, is 0).
        {Table(0, {{255, 4096}}), {1000, 4080, 10}, {2000, 4095, 20}, {2000, 4095, 20}},
        {Table(0, {{255, 4096}}), {1000, 4095, 10}, {2000, 4095, 20}, {2000, 4095, 20}},
        // Just below, idx 254 frac 15: (1 * 2048 + 15 * 4096) / 16 = 1.9375.
        {Table(0, {{254, 2048}, {255, 4096}}), {4079, 1000, 0}, {4095, 1938, 0}, {4095, 1937, 0}},
        // 255.99951171875 is capped at 255.0 on the integer path only.
        {Table(524287), {10, 1, 0}, {2560, 256, 0}, {2550, 255, 0}},
        // A negative gain: 0 on the reference, negative (truncated toward zero) on the integer path.
        {Table(-3072), {3, 100, 0}, {0, 0, 0}, {-4, -150, 0}},
        // 4096 wraps to entry 0 on the integer path; the reference looks it up as 4095.
        {Table(2048, {{0, 1024}}), {4096, 0, 0}, {4095, 0, 0}, {2048, 0, 0}},
    };
    for (const auto& c : cases) {
        cv::Mat reference, result;
        ToneMappingOneImageByScalerLUTImple_(Pixel(c.in[0], c.in[1], c.in[2]), c.table, reference, result);
        EXPECT_EQ(reference.at<cv::Vec3i>(0, 0), c.reference) << c.in;
        EXPECT_EQ(result.at<cv::Vec3i>(0, 0), c.integer) << c.in;
    }
}

TEST(AgtmApplyTest, OutputsOfAnotherShapeOrTypeAndRefusedInputs) {
    const cv::Mat frame = Pixel(100, 200, 300);
    cv::Mat reference(5, 5, CV_8UC1), result(1, 1, CV_16SC3, cv::Scalar::all(-1)), out8, ref8;
    ToneMappingOneImageByScalerLUTImple_(frame, Table(4096), reference, result);
    EXPECT_EQ(reference.type(), CV_32SC3);  // wrong size: made anew
    EXPECT_EQ(reference.at<cv::Vec3i>(0, 0), cv::Vec3i(200, 400, 600));
    EXPECT_EQ(result.type(), CV_16SC3);  // right size: written in its own type
    EXPECT_EQ(result.at<cv::Vec3s>(0, 0), cv::Vec3s(200, 400, 600));
    // An 8-bit frame is taken at its values.
    ToneMappingOneImageByScalerLUTImple_(cv::Mat(2, 2, CV_8UC3, cv::Scalar(10, 20, 30)), Table(4096), ref8, out8);
    EXPECT_EQ(out8.at<cv::Vec3i>(1, 1), cv::Vec3i(20, 40, 60));

    // In place: each pixel is read before it is written.
    cv::Mat in_place = testing_util::Random12(3, 4, 2), expected_ref, expected_res, ref;
    ToneMappingOneImageByScalerLUTImple_(in_place.clone(), Table(3000), expected_ref, expected_res);
    ToneMappingOneImageByScalerLUTImple_(in_place, Table(3000), ref, in_place);
    EXPECT_TRUE(testing_util::Same(in_place, expected_res) && testing_util::Same(ref, expected_ref));

    // Refused by both passes: a short table, a single-channel frame. Outputs stay as they were.
    cv::Mat untouched = Pixel(7, 7, 7), no_ref, no_copy;
    agtm_param_api_ short_table;
    short_table.lut.assign(10, 2048);
    const cv::Mat gray(2, 2, CV_32SC1, cv::Scalar(5));
    testing_util::Stdout log;
    ToneMappingOneImageByScalerLUTImple_(frame, short_table, no_ref, untouched);
    ToneMappingOneImageByScalerLUTImple_(gray, Table(2048), no_ref, untouched);
    ToneMappingOneImageByScalerLUTIntegerImple_(frame, short_table, untouched);
    EXPECT_FALSE(ToneMappingOneImageByScalerLUTIntegerImple_(frame, short_table, untouched, no_copy));
    ToneMappingOneImageByScalerLUTIntegerImple_(gray, Table(2048), untouched);
    const std::string table = "ToneMappingOneImageByScalerLUTImple_: the AGTM table has 10 entries, 256 needed\n",
                      channels = "ToneMappingOneImageByScalerLUTImple_: the input has 1 channels, 3 needed\n";
    EXPECT_EQ(log.Text(), table + channels + table + table + channels);
    EXPECT_EQ(untouched.at<cv::Vec3i>(0, 0), cv::Vec3i(7, 7, 7));
    EXPECT_TRUE(no_ref.empty() && no_copy.empty());
}

// The passes against the integer result of the two-output reference, on random sizes, tables
// (extreme, negative and capped gains too, whose results leave 0..4095), outputs and thread counts:
// the integer-only pass (vectorised, rows shared among threads) on pixels with codes outside
// 0..4095 too; the pass on the display driver's ARGB8888 frames, against the frame widened
// (common/argb8888.h) and the reference's result narrowed back over the colour bytes, with random
// alpha bytes; and the pass on the CLTM stage's rows.
void PassesEqualTheReference() {
    std::mt19937 rng(2718);
    auto uniform = [&](int lo, int hi) { return Uniform(rng, lo, hi); };
    const int sizes[] = {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 65, 127, 129};
    for (int iter = 0; iter < 120; ++iter) {
        const int w = uniform(0, 2) == 0 ? uniform(1, 300) : sizes[uniform(0, 13)];
        const int h = uniform(0, 2) == 0 ? uniform(1, 120) : sizes[uniform(0, 13)];
        const int table_kind = uniform(0, 3);
        const agtm_param_api_ param = RandomTable(rng, table_kind);
        const std::string where = std::to_string(w) + "x" + std::to_string(h) + " table " + std::to_string(table_kind);
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
            ASSERT_EQ(cv::norm(copy, expected, cv::NORM_INF), 0.0) << where << " copy";
        } else {
            ToneMappingOneImageByScalerLUTIntegerImple_(output_kind == 3 ? out : in, param, out);
        }
        alad::SetEngineThreadCount(1);
        cv::Mat expected_in_type;
        expected.convertTo(expected_in_type, out.type());
        ASSERT_EQ(out.size(), in.size());
        ASSERT_EQ(out.type(), output_kind == 2 ? CV_64FC3 : CV_32SC3);
        ASSERT_EQ(cv::norm(out, expected_in_type, cv::NORM_INF), 0.0) << where;

        const int alpha_kind = uniform(0, 2);  // random, transparent, opaque
        std::vector<uint8_t> bytes(static_cast<size_t>(w) * h * 4);
        for (size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = i % 4 != 0 || alpha_kind == 0 ? static_cast<uint8_t>(rng()) : alpha_kind == 1 ? 0 : 255;
        }
        cv::Mat wide(h, w, CV_32SC3), wide_reference, wide_expected;
        for (int y = 0; y < h; ++y) alad::WidenArgbRow(bytes.data() + 4 * w * y, w, wide.ptr<int32_t>(y));
        ToneMappingOneImageByScalerLUTImple_(wide, param, wide_reference, wide_expected);
        std::vector<uint8_t> expected_bytes = bytes;
        for (int y = 0; y < h; ++y) alad::NarrowIntoArgbRow(wide_expected.ptr<int32_t>(y), w, expected_bytes.data() + 4 * w * y);

        AGTMRowPass pass;
        ASSERT_TRUE(pass.Prepare(param));
        const bool narrow = uniform(0, 3) != 0;
        cv::Mat image, image_copy(2, 2, CV_8UC1);  // made anew
        alad::SetEngineThreadCount(alad_test::TestThreads(uniform(1, 3)));
        std::vector<uint8_t> argb = bytes;
        pass.Frame(alad::ArgbFrame{argb.data(), w, h}, narrow, uniform(0, 1) ? &image : nullptr,
                   uniform(0, 1) ? &image_copy : nullptr);
        alad::SetEngineThreadCount(1);
        ASSERT_TRUE(argb == (narrow ? expected_bytes : bytes)) << where;
        for (const cv::Mat* m : {&image, &image_copy}) {
            ASSERT_TRUE(m->empty() || m->type() == CV_8UC1 || testing_util::Same(*m, wide_expected)) << where;
        }

        // Rows as the CLTM stage hands them over: 10-bit values in three rows padded to whole
        // vectors, taken as 12-bit codes 4v + (v >> 8).
        const int padded = (w + 63) / 64 * 64;
        std::vector<int16_t> planes(static_cast<size_t>(3 * padded) * h);
        cv::Mat codes(h, w, CV_32SC3), row_reference, row_expected;
        for (int y = 0; y < h; ++y) {
            for (int i = 0; i < 3 * w; ++i) {
                const int v = uniform(0, 7) == 0 ? 1023 * uniform(0, 1) : uniform(0, 1023);
                planes[static_cast<size_t>((3 * y + i % 3) * padded + i / 3)] = static_cast<int16_t>(v);
                codes.ptr<int32_t>(y)[i] = 4 * v + (v >> 8);
            }
        }
        ToneMappingOneImageByScalerLUTImple_(codes, param, row_reference, row_expected);
        std::vector<uint8_t> row_bytes = bytes, row_expected_bytes = bytes;
        cv::Mat row_image(h, w, CV_32SC3), row_copy(h, w, CV_32SC3);
        const bool to_argb = uniform(0, 1) == 1;
        for (int y = 0; y < h; ++y) {
            alad::NarrowIntoArgbRow(row_expected.ptr<int32_t>(y), w, row_expected_bytes.data() + 4 * w * y);
            const int16_t* const row = &planes[static_cast<size_t>(3 * y * padded)];
            const int16_t* rows[3] = {row, row + padded, row + 2 * padded};
            pass.Row(rows, w, to_argb ? nullptr : row_image.ptr<int32_t>(y), row_copy.ptr<int32_t>(y),
                     to_argb ? row_bytes.data() + 4 * w * y : nullptr);
        }
        pass.FinishRows();
        ASSERT_TRUE(row_bytes == (to_argb ? row_expected_bytes : bytes)) << where;
        ASSERT_TRUE(testing_util::Same(row_copy, row_expected)) << where;
        ASSERT_TRUE(to_argb || testing_util::Same(row_image, row_expected)) << where;
    }
    // A table too short to map with is refused before anything is prepared.
    agtm_param_api_ short_table;
    short_table.lut.assign(255, 2048);
    EXPECT_FALSE(AGTMRowPass().Prepare(short_table));
}

TEST(AgtmApplyTest, PassesEqualTheReference) { testing_util::ForEachSimdLevel(PassesEqualTheReference); }

}  // namespace
}  // namespace kelvo
