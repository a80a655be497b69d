#include "cltm/cltm_frame.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "cltm/cltm_params.h"
#include "tests/engine/engine_test_util.h"

namespace kelvo {
namespace {

using testing_util::Engine;
using testing_util::Random12;
using testing_util::Stdout;
const auto Same = testing_util::SameImage;

const alad_cltm_user k64{64, 64};  // 64-pixel blocks

TEST(CLTMFrameTest, FirstFramePassesThroughAndLaterFramesUseThePreviousCurves) {
    // The first frame leaves at ten bits; it blends with weight 0, so an identical second frame is
    // mapped with exactly the curves a still image makes of itself, whatever curve_transition is.
    for (uint32_t transition : {0u, 4096u, 8191u}) {
        Engine video(k64, 130, 70, true), still(k64, 130, 70);
        video.block->curve_transition = still.block->curve_transition = transition;
        const cv::Mat in = Random12(70, 130, 2);
        cv::Mat first, second, expected;
        Stdout log;
        ASSERT_EQ(video.Video(in, first), 0);
        ASSERT_EQ(video.Video(in, second), 0);
        ASSERT_EQ(still.Still(in, expected), 0);
        EXPECT_EQ(log.Text(), "");  // a preset context is not bound again
        EXPECT_TRUE(Same(first, testing_util::TenBits(in)));
        EXPECT_TRUE(Same(second, expected)) << transition;
    }
    // A different second frame is not mapped with its own curves.
    Engine video(k64, 64, 64), still(k64, 64, 64);
    const cv::Mat a = Random12(64, 64, 3) / 4, b = Random12(64, 64, 4) / 2 + 2048;
    cv::Mat out, own;
    Stdout log;
    video.Video(a, out);
    video.Video(b, out);
    still.Still(b, own);
    EXPECT_FALSE(Same(out, own));
}

// The strength of each frame, from ad_proc_video on a small plane; targets change per frame.
std::vector<uint32_t> Strengths(ad_param_t_ p, std::vector<uint32_t> targets) {
    std::vector<int32_t> in(4 * 4 * 3, 300);
    std::vector<uint32_t> out(in.size()), curves(64), hist(129), seen;
    std::unique_ptr<ad_cxt_t, void (*)(ad_cxt_t*)> ctx(ad_init_video(), ad_deinit_video);
    Stdout log;
    for (uint32_t target : targets) {
        p.strength_target = target;
        EXPECT_EQ(ad_proc_video(out.data(), in.data(), 4, 4, &p, ctx.get(), 0, curves.data(), hist.data()), 0);
        seen.push_back(ctx->strength);
    }
    return seen;
}

TEST(CLTMFrameTest, StrengthRamp) {
    CLTMParamBlock block{alad_cltm_user{}};
    ad_param_t_ p = *block.get();
    p.strength_mode = 1;
    EXPECT_EQ(Strengths(p, std::vector<uint32_t>(5, 12)), (std::vector<uint32_t>{0, 5, 10, 12, 12}));
    EXPECT_EQ(Strengths(p, {12, 12, 12, 12, 0, 0, 0}), (std::vector<uint32_t>{0, 5, 10, 12, 7, 2, 0}));
    const std::vector<uint32_t> full = Strengths(p, std::vector<uint32_t>(53, 255));
    EXPECT_EQ(full[50], 250u);  // 255 on the 52nd frame
    EXPECT_EQ(full[51], 255u);
    p.strength_interval = 2;  // a step every third frame
    EXPECT_EQ(Strengths(p, std::vector<uint32_t>(8, 20)), (std::vector<uint32_t>{0, 0, 0, 5, 5, 5, 10, 10}));
    p.strength_mode = 0;  // no ramp: the target from the second frame on
    EXPECT_EQ(Strengths(p, {20, 20, 30}), (std::vector<uint32_t>{0, 20, 30}));
}

TEST(CLTMFrameTest, VideoSizeBindingAndItsMessages) {
    CLTMParamBlock block{alad_cltm_user{}};
    std::vector<int32_t> in(9 * 9 * 3, 100);
    std::vector<uint32_t> out(in.size(), 7), curves(64), hist(129);
    std::unique_ptr<ad_cxt_t, void (*)(ad_cxt_t*)> ctx(ad_init_video(), ad_deinit_video);
    const struct { uint32_t w, h; int32_t result; const char* message; } frames[] = {
        {8, 8, 0, "INFO: video size 8x8\n"},
        {9, 8, 1, "ERROR: unmatched size 9x8\n"},
        {8, 9, 1, "ERROR: unmatched size 8x9\n"},
        {8, 8, 0, ""},
    };
    for (const auto& f : frames) {
        std::fill(out.begin(), out.end(), 7u);
        Stdout log;
        EXPECT_EQ(ad_proc_video(out.data(), in.data(), f.w, f.h, block.get(), ctx.get(), 0, curves.data(), hist.data()),
                  f.result);
        EXPECT_EQ(log.Text(), f.message);
        EXPECT_EQ(out == std::vector<uint32_t>(in.size(), 7u), f.result != 0);  // refused: not written
    }
    ad_reset_video(ctx.get());  // binds again, as a first frame
    Stdout log;
    EXPECT_EQ(ad_proc_video(out.data(), in.data(), 9, 9, block.get(), ctx.get(), 0, curves.data(), hist.data()), 0);
    EXPECT_EQ(std::vector<uint32_t>(out.begin(), out.end()), std::vector<uint32_t>(in.size(), 100u));
    EXPECT_EQ(ad_proc_video(out.data(), in.data(), 9, 9, block.get(), ctx.get(), 0, curves.data(), nullptr), 1);
    EXPECT_EQ(ad_proc_image(out.data(), in.data(), 9, 9, block.get(), nullptr), 1);
    EXPECT_EQ(log.Text(), "INFO: video size 9x9\n");  // null arguments are refused silently
}

TEST(CLTMFrameTest, FrameLargerThanTheBuffersPassesThroughUnprocessed) {
    Engine e(k64, 64, 64);
    const struct { int w, h; } refused[] = {{65, 64}, {64, 65}, {100, 41}};  // 100x41: fewer pixels, 2x1 blocks
    for (const auto& r : refused) {
        const cv::Mat in = Random12(r.h, r.w, 7) * 1.25 - 100;
        cv::Mat out, still_out(r.h, r.w, CV_32SC3);
        Stdout log;
        EXPECT_EQ(e.Video(in, out), 1);
        EXPECT_EQ(e.Still(in, still_out), 1);
        const std::string both =
            std::to_string(r.w) + "x" + std::to_string(r.h) + " does not fit the CLTM buffers allocated for 64x64\n";
        EXPECT_EQ(log.Text(), "ERROR: frame " + both + "ERROR: frame " + both);
        EXPECT_TRUE(Same(out, in));  // unchanged, low bits and out-of-range values included
        EXPECT_TRUE(Same(still_out, in));
    }
    EXPECT_EQ(e.ctx->first_frame, 1u);  // refused frames do not count
    cv::Mat out;
    Stdout log;
    EXPECT_EQ(e.Video(Random12(64, 64, 8), out), 0);  // and the next frame that fits runs
    CLTMBufferManager none;
    EXPECT_EQ(CLTMVideoRunOneFrameImple_(Random12(4, 4, 8), e.params, CLTMVideoContextAPI{e.ctx.get()}, none, e.work, out), 1);
    EXPECT_NE(log.Text().find("ERROR: frame 4x4 does not fit the CLTM buffers allocated for 0x0"), std::string::npos);
}

// The sweep writes its output plane packed. A frame that fits the buffers but not the size the
// context is bound to gets what the plain path leaves in the plane: the last frame's pixels in
// order, row by row; after a reset to a smaller frame, its first pixels from that frame and the
// rest from the larger one before it.
TEST(CLTMFrameTest, RefusedFramesGetThePlainPathsPlaneAlsoAfterAResetToASmallerSize) {
    Engine sweep(k64, 64, 64), plain(k64, 64, 64);
    const cv::Mat frames[] = {Random12(64, 64, 12), Random12(64, 64, 13), Random12(32, 32, 10),
                              Random12(40, 40, 14), Random12(40, 40, 15), Random12(50, 50, 16)};
    Stdout log;
    cv::Mat previous;
    for (int i = 0; i < 6; ++i) {
        if (i == 3) {
            ad_reset_video(sweep.ctx.get());
            ad_reset_video(plain.ctx.get());
        }
        cv::Mat out_sweep, out_plain;
        const int32_t r = sweep.Video(frames[i], out_sweep);
        EXPECT_EQ(r, CLTMVideoRunOneFramePlain(frames[i], plain.params, CLTMVideoContextAPI{plain.ctx.get()},
                                               plain.buffers, plain.work, out_plain));
        EXPECT_EQ(r, i == 2 || i == 5 ? 1 : 0);
        EXPECT_TRUE(Same(out_sweep, out_plain)) << "frame " << i;
        EXPECT_TRUE(i != 2 || Same(out_sweep, cv::Mat(32, 32, CV_32SC3, previous.data).clone()));
        previous = out_sweep;
    }
    sweep.buffers.UnpackOutputPlane();
    EXPECT_TRUE(std::equal(sweep.buffers.mOutputPlane, sweep.buffers.mOutputPlane + 64 * 64 * 3,
                           plain.buffers.mOutputPlane));
    EXPECT_NE(log.Text().find("INFO: video size 64x64\nINFO: video size 64x64\nERROR: unmatched size 32x32\n"),
              std::string::npos);
}

TEST(CLTMFrameTest, StillImagesRepeatOutputTypesOddInputsAndEmptyFrames) {
    Engine e(k64, 40, 30);
    e.block->filter.filter_enable = 1;
    const cv::Mat in = Random12(30, 40, 11);
    cv::Mat reference, as16(30, 40, CV_16UC3), wrong(3, 3, CV_8UC1), widened;
    ASSERT_EQ(e.Still(in, reference), 0);
    // A still image maps the same again, whatever curves the buffers were left holding.
    std::fill(e.buffers.mToneCurves, e.buffers.mToneCurves + e.buffers.mBlockNum * 64, 12345u);
    ASSERT_EQ(e.Still(in, as16), 0);  // the right size keeps its depth
    as16.convertTo(widened, CV_32S);
    EXPECT_TRUE(Same(widened, reference));
    ASSERT_EQ(e.Still(in, wrong), 0);  // the wrong size becomes CV_32SC3
    EXPECT_TRUE(Same(wrong, reference));

    // Pixels outside 0..4095 behave as the nearest end of the range.
    cv::Mat wild = in.clone(), clamped = in.clone(), a, b;
    wild.at<cv::Vec3i>(3, 4) = cv::Vec3i(-5000, 9000, INT32_MIN);
    clamped.at<cv::Vec3i>(3, 4) = cv::Vec3i(0, 4095, 0);
    ASSERT_EQ(e.Still(wild, a), 0);
    ASSERT_EQ(e.Still(clamped, b), 0);
    EXPECT_TRUE(Same(a, b));

    Stdout log;
    cv::Mat untouched;
    EXPECT_EQ(e.Video(cv::Mat(30, 40, CV_32SC1, cv::Scalar(5)), untouched), 1);
    EXPECT_TRUE(untouched.empty());
    // Empty frames of every shape go through without harm.
    for (const cv::Mat& empty : {cv::Mat(0, 5, CV_32SC3), cv::Mat(5, 0, CV_32SC3), cv::Mat()}) {
        cv::Mat out, still;
        e.Video(empty, out);
        e.Still(empty, still);
        EXPECT_EQ(out.size(), empty.size());
        ad_reset_video(e.ctx.get());
    }
    EXPECT_NE(log.Text().find("ERROR: CLTM needs a 3-channel image, got 1 channels\n"), std::string::npos);
}

TEST(CLTMParamsTest, BlockGeometry) {
    const struct { uint32_t size, log2; } log2s[] = {{0, 5}, {32, 5}, {33, 6}, {64, 6}, {65, 7}, {128, 7}, {129, 8}, {256, 8}, {1000, 8}, {0xFFFFFFFFu, 8}};
    for (const auto& c : log2s) EXPECT_EQ(_get_size_log2(c.size), c.log2) << c.size;
    const struct { uint32_t size, log2, blocks; } counts[] = {
        {1920, 7, 15},       {1080, 7, 9},  {0, 6, 0},    {64, 6, 1},
        {65, 6, 2},          {2400, 8, 10}, {100, 38, 2},  // the shift count is taken modulo 32
        {0xFFFFFFFFu, 6, 0},                               // the sum wraps in 32 bits
    };
    for (const auto& c : counts) EXPECT_EQ(ad_get_blk_num(c.size, c.log2), c.blocks) << c.size << " " << c.log2;
}

TEST(CLTMParamsTest, ParamsFollowTheUserRecord) {
    alad_cltm_user user{64, 200, 1, 8, 3, 1080, 2400};
    CLTMParamBlock block(user);
    const ad_param_t_& p = *block.get();
    EXPECT_EQ((std::vector<uint32_t>{p.blk_width_log2, p.blk_height_log2, p.blk_w_num, p.blk_h_num, p.strength_step,
                                     p.filter.filter_enable}),
              (std::vector<uint32_t>{6, 8, 17, 10, 5, 3}));
    EXPECT_TRUE(std::equal(kRangeWeights, kRangeWeights + kRangeWeightSize, p.filter.range_weight));
    EXPECT_TRUE(std::equal(kDetailGains, kDetailGains + kDetailGainSize, p.filter.detail_gain_curve));

    const struct { int32_t strength; uint32_t target; } strengths[] = {{0, 0}, {1, 16}, {15, 240}, {16, 255}, {100, 255}};
    for (const auto& s : strengths) {
        user.strength = s.strength;
        EXPECT_EQ(CLTMParamBlock(user)->strength_target, s.target) << s.strength;
    }
    // Selections 1, 2, 3 pick curves A, B, C, anything else the default.
    const struct { int32_t id; const uint32_t* curve; } curves[] = {
        {0, kClipCurveDefault}, {1, kClipCurveA}, {2, kClipCurveB}, {3, kClipCurveC}, {4, kClipCurveDefault}};
    for (const auto& c : curves) {
        user.curve_id = c.id;
        EXPECT_TRUE(std::equal(c.curve, c.curve + 65, CLTMParamBlock(user)->clip_curve)) << c.id;
    }
    ad_param_t_ without_arrays;
    EXPECT_EQ(GetParamsCLTM(&without_arrays, user), 1);
}

TEST(CLTMParamsTest, BufferManagerRemembersWhatItWasAllocatedFor) {
    CLTMParamBlock block{alad_cltm_user{64, 64}};
    CLTMBufferManager buffers;
    EXPECT_FALSE(buffers.Fits(0, 0, block.get()));  // nothing allocated yet
    ASSERT_EQ(buffers.AllocateBufferBySize(130, 64, block.get()), 0);
    EXPECT_EQ(buffers.mBlockNum, 3u);
    EXPECT_EQ(std::vector<uint32_t>(buffers.mToneCurves, buffers.mToneCurves + 3 * 64),
              std::vector<uint32_t>(3 * 64, 0));

    const struct { uint32_t w, h; bool fits; } frames[] = {
        {130, 64, true},  {64, 64, true},  {0, 0, true}, {1, 130, true},  // 1x130: 1x3 blocks
        {131, 64, false}, {65, 65, false},                                // 65x65: fewer pixels, 2x2 blocks
    };
    for (const auto& f : frames) EXPECT_EQ(buffers.Fits(f.w, f.h, block.get()), f.fits) << f.w << "x" << f.h;

    buffers.mToneCurves[5] = buffers.mHistBuffer[128] = buffers.mInputPlane[0] = 9;
    buffers.ResetToneCurveBuffer();
    EXPECT_EQ(buffers.mToneCurves[5] + buffers.mHistBuffer[128], 0u);
    EXPECT_EQ(buffers.mInputPlane[0], 9u);

    ::testing::internal::CaptureStdout();
    EXPECT_EQ(buffers.AllocateBufferBySize(10, 10, nullptr), 1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "ERROR: CLTM buffers for 10x10 cannot be sized\n");
    EXPECT_FALSE(buffers.Fits(1, 1, block.get()));
}

}  // namespace
}  // namespace kelvo
