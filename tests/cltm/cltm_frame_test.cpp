#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "cltm/cltm_frame.h"

namespace kelvo {
namespace {

cv::Mat RandomImage(int w, int h, unsigned seed, int lo = 0, int hi = 4096) {
    cv::Mat m(h, w, CV_32SC3);
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> dist(lo, hi - 1);
    for (int y = 0; y < h; ++y) {
        int32_t* row = m.ptr<int32_t>(y);
        for (int i = 0; i < 3 * w; ++i) row[i] = dist(rng);
    }
    return m;
}

bool SameImage(const cv::Mat& a, const cv::Mat& b) {
    if (a.size() != b.size() || a.type() != b.type()) return false;
    const cv::Mat differs = a != b;
    return cv::countNonZero(differs.reshape(1)) == 0;
}

// Everything the pipeline holds for CLTM, for one frame size and 64-pixel blocks.
struct Engine {
    Engine(uint32_t w, uint32_t h, bool bind = false) : block(User(w, h)), ctx(ad_init_video(), ad_deinit_video) {
        params.width = w;
        params.height = h;
        params.param = block.get();
        video.ctx = ctx.get();
        if (bind) {  // as the pipeline does right after making the context
            ctx->width = w;
            ctx->height = h;
        }
        buffers.AllocateBufferBySize(w, h, block.get());
    }
    static alad_cltm_user User(uint32_t w, uint32_t h) {
        alad_cltm_user user;
        user.blk_width = 64;
        user.blk_height = 64;
        user.width = w;
        user.height = h;
        return user;
    }
    int32_t Video(const cv::Mat& in, cv::Mat& out) {
        return CLTMVideoRunOneFrameImple_(in, params, video, buffers, work, out);
    }
    int32_t Still(const cv::Mat& in, cv::Mat& out) { return CLTMOneImageImple_(in, params, buffers, work, out); }

    CLTMParamBlock block;
    std::unique_ptr<ad_cxt_t, void (*)(ad_cxt_t*)> ctx;
    cltm_params_api_ params;
    CLTMVideoContextAPI video;
    CLTMBufferManager buffers;
    cv::Mat work;
};

TEST(CLTMFrameTest, FirstFramePassesThroughAtTenBits) {
    Engine e(70, 50);
    const cv::Mat in = RandomImage(70, 50, 1);
    cv::Mat out;
    testing::internal::CaptureStdout();
    EXPECT_EQ(e.Video(in, out), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "INFO: video size 70x50\n");
    ASSERT_EQ(out.type(), CV_32SC3);
    for (int y = 0; y < in.rows; ++y) {
        for (int i = 0; i < 3 * in.cols; ++i) {
            const int v = in.ptr<int32_t>(y)[i];
            ASSERT_EQ(out.ptr<int32_t>(y)[i], 4 * (v >> 2) + (v >> 10)) << y << " " << i;
        }
    }
    EXPECT_EQ(e.work.size(), in.size());
    EXPECT_EQ(e.ctx->first_frame, 0u);
}

TEST(CLTMFrameTest, LaterFramesUseThePreviousFramesCurves) {
    // Frame 1 leaves its own curves unblended (the first frame blends with weight 0), so an
    // identical frame 2 comes out exactly as the still image does, whatever curve_transition is.
    for (uint32_t transition : {0u, 4096u, 8191u}) {
        Engine video(130, 70, true), still(130, 70);
        video.block->curve_transition = transition;
        still.block->curve_transition = transition;
        const cv::Mat in = RandomImage(130, 70, 2);
        cv::Mat first, second, expected;
        testing::internal::CaptureStdout();
        ASSERT_EQ(video.Video(in, first), 0);
        ASSERT_EQ(video.Video(in, second), 0);
        ASSERT_EQ(still.Still(in, expected), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // a preset context is not re-bound
        EXPECT_TRUE(SameImage(second, expected)) << transition;
        EXPECT_FALSE(SameImage(second, first));
    }
    // A different frame 2 is mapped with frame 1's curves, not its own.
    Engine video(64, 64), still(64, 64);
    const cv::Mat a = RandomImage(64, 64, 3, 0, 1024), b = RandomImage(64, 64, 4, 2048, 4096);
    cv::Mat out, own;
    testing::internal::CaptureStdout();
    video.Video(a, out);
    video.Video(b, out);
    testing::internal::GetCapturedStdout();
    still.Still(b, own);
    EXPECT_FALSE(SameImage(out, own));
}

TEST(CLTMFrameTest, StillImageMapsTheSameTwice) {
    Engine e(200, 90);
    e.block->filter.filter_enable = 1;
    const cv::Mat in = RandomImage(200, 90, 5);
    cv::Mat first, second;
    ASSERT_EQ(e.Still(in, first), 0);
    for (uint32_t i = 0; i < e.buffers.mBlockNum * 64; ++i) e.buffers.mToneCurves[i] = 12345;
    ASSERT_EQ(e.Still(in, second), 0);
    EXPECT_TRUE(SameImage(first, second));
    EXPECT_FALSE(SameImage(first, in));
}

// Strength of each frame through ad_proc_video on a small plane.
std::vector<uint32_t> Strengths(ad_param_t_& param, int frames, std::vector<uint32_t> targets = {}) {
    const uint32_t w = 4, h = 4;
    std::vector<int32_t> in(w * h * 3, 300);
    std::vector<uint32_t> out(in.size()), curves(64), hist(129);
    ad_cxt_t* ctx = ad_init_video();
    std::vector<uint32_t> seen;
    testing::internal::CaptureStdout();
    for (int f = 0; f < frames; ++f) {
        if (static_cast<size_t>(f) < targets.size()) param.strength_target = targets[static_cast<size_t>(f)];
        EXPECT_EQ(ad_proc_video(out.data(), in.data(), w, h, &param, ctx, 0, curves.data(), hist.data()), 0);
        seen.push_back(ctx->strength);
    }
    testing::internal::GetCapturedStdout();
    ad_deinit_video(ctx);
    return seen;
}

TEST(CLTMFrameTest, StrengthRamp) {
    CLTMParamBlock block{alad_cltm_user{}};
    ad_param_t_& p = *block.get();
    p.strength_mode = 1;
    p.strength_target = 12;
    p.strength_step = 5;
    EXPECT_EQ(Strengths(p, 5), (std::vector<uint32_t>{0, 5, 10, 12, 12}));
    // Down again from 12 once the target drops to 0.
    EXPECT_EQ(Strengths(p, 8, {12, 12, 12, 12, 0, 0, 0, 0}), (std::vector<uint32_t>{0, 5, 10, 12, 7, 2, 0, 0}));
    // An interval of 2 holds each level for three frames.
    p.strength_target = 20;
    p.strength_interval = 2;
    EXPECT_EQ(Strengths(p, 8), (std::vector<uint32_t>{0, 0, 0, 5, 5, 5, 10, 10}));
    // Without the ramp the target applies from the second frame on.
    p.strength_mode = 0;
    EXPECT_EQ(Strengths(p, 3), (std::vector<uint32_t>{0, 20, 20}));
    // Default step, full target: 255 is reached on the 52nd frame.
    p.strength_mode = 1;
    p.strength_interval = 0;
    p.strength_target = 255;
    const std::vector<uint32_t> long_ramp = Strengths(p, 53);
    EXPECT_EQ(long_ramp[50], 250u);
    EXPECT_EQ(long_ramp[51], 255u);
}

TEST(CLTMFrameTest, VideoSizeBindingAndItsMessages) {
    CLTMParamBlock block{alad_cltm_user{}};
    std::vector<int32_t> in(9 * 9 * 3, 100);
    std::vector<uint32_t> out(in.size(), 7), curves(64), hist(129);
    ad_cxt_t* ctx = ad_init_video();
    const struct { uint32_t w, h; int32_t result; const char* message; } frames[] = {
        {8, 8, 0, "INFO: video size 8x8\n"},
        {9, 8, 1, "ERROR: unmatched size 9x8\n"},
        {8, 9, 1, "ERROR: unmatched size 8x9\n"},
        {8, 8, 0, ""},
    };
    for (const auto& f : frames) {
        testing::internal::CaptureStdout();
        std::fill(out.begin(), out.end(), 7u);
        EXPECT_EQ(ad_proc_video(out.data(), in.data(), f.w, f.h, block.get(), ctx, 0, curves.data(), hist.data()),
                  f.result);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), f.message);
        if (f.result != 0) {
            EXPECT_EQ(out, std::vector<uint32_t>(in.size(), 7u));  // not written
        }
    }
    // After a reset the context binds again.
    ad_reset_video(ctx);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ad_proc_video(out.data(), in.data(), 9, 9, block.get(), ctx, 0, curves.data(), hist.data()), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "INFO: video size 9x9\n");
    // Null arguments are refused silently.
    testing::internal::CaptureStdout();
    EXPECT_EQ(ad_proc_video(out.data(), in.data(), 9, 9, block.get(), nullptr, 0, curves.data(), hist.data()), 1);
    EXPECT_EQ(ad_proc_video(out.data(), in.data(), 9, 9, block.get(), ctx, 0, curves.data(), nullptr), 1);
    EXPECT_EQ(ad_proc_video(out.data(), in.data(), 9, 9, nullptr, ctx, 0, curves.data(), hist.data()), 1);
    EXPECT_EQ(ad_proc_image(out.data(), in.data(), 9, 9, block.get(), nullptr), 1);
    EXPECT_EQ(ad_proc_image(nullptr, in.data(), 9, 9, block.get(), curves.data()), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    ad_deinit_video(ctx);
}

TEST(CLTMFrameTest, FrameLargerThanTheBuffersPassesThroughUnprocessed) {
    Engine e(64, 64);
    const cv::Mat small = RandomImage(64, 64, 6);
    const struct { int w, h; } refused[] = {{65, 64}, {64, 65}, {128, 128}, {100, 41}};  // 100x41: 4100 pixels, 2x1 blocks
    for (const auto& r : refused) {
        cv::Mat in = RandomImage(r.w, r.h, 7, -100, 5000), out, work;
        testing::internal::CaptureStdout();
        EXPECT_EQ(e.Video(in, out), 1);
        const std::string message = testing::internal::GetCapturedStdout();
        EXPECT_NE(message.find(std::to_string(r.w) + "x" + std::to_string(r.h)), std::string::npos) << message;
        EXPECT_NE(message.find("64x64"), std::string::npos) << message;
        EXPECT_TRUE(SameImage(out, in));  // unchanged, even the low bits and out-of-range values
        cv::Mat still_out(r.h, r.w, CV_32SC3);
        testing::internal::CaptureStdout();
        EXPECT_EQ(e.Still(in, still_out), 1);
        testing::internal::GetCapturedStdout();
        EXPECT_TRUE(SameImage(still_out, in));
    }
    EXPECT_EQ(e.ctx->first_frame, 1u);  // refused frames do not count
    // The engine stays usable for frames that fit.
    cv::Mat out;
    testing::internal::CaptureStdout();
    EXPECT_EQ(e.Video(small, out), 0);
    testing::internal::GetCapturedStdout();
    // Buffers never allocated refuse everything.
    CLTMBufferManager none;
    testing::internal::CaptureStdout();
    EXPECT_EQ(CLTMVideoRunOneFrameImple_(small, e.params, e.video, none, e.work, out), 1);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("allocated for 0x0"), std::string::npos);
}

TEST(CLTMFrameTest, FrameThatFitsButMismatchesTheContextGetsThePreviousOutputPlane) {
    Engine e(64, 64);
    cv::Mat out;
    testing::internal::CaptureStdout();
    ASSERT_EQ(e.Video(RandomImage(64, 64, 8), out), 0);
    ASSERT_EQ(e.Video(RandomImage(64, 64, 9), out), 0);
    testing::internal::GetCapturedStdout();
    std::vector<uint32_t> previous(e.buffers.mOutputPlane, e.buffers.mOutputPlane + 32 * 32 * 3);

    testing::internal::CaptureStdout();
    EXPECT_EQ(e.Video(RandomImage(32, 32, 10), out), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "ERROR: unmatched size 32x32\n");
    ASSERT_EQ(out.size(), cv::Size(32, 32));
    for (int y = 0; y < 32; ++y) {
        for (int i = 0; i < 96; ++i) {
            const uint32_t v = previous[static_cast<size_t>(y) * 96 + static_cast<size_t>(i)];
            ASSERT_EQ(out.ptr<int32_t>(y)[i], static_cast<int32_t>(4 * v + (v >> 8)));
        }
    }
}

TEST(CLTMFrameTest, OutputImagesAndOddInputs) {
    Engine e(40, 30);
    const cv::Mat in = RandomImage(40, 30, 11);
    cv::Mat reference;
    ASSERT_EQ(e.Still(in, reference), 0);

    // An output of the right size keeps its depth; one of the wrong size becomes CV_32SC3.
    cv::Mat as16(30, 40, CV_16UC3), wrong(3, 3, CV_8UC1);
    ASSERT_EQ(e.Still(in, as16), 0);
    EXPECT_EQ(as16.type(), CV_16UC3);
    cv::Mat widened;
    as16.convertTo(widened, CV_32S);
    EXPECT_TRUE(SameImage(widened, reference));
    ASSERT_EQ(e.Still(in, wrong), 0);
    EXPECT_TRUE(SameImage(wrong, reference));

    // Pixels outside 0..4095 behave as the nearest end of the range.
    cv::Mat wild = in.clone();
    wild.at<cv::Vec3i>(3, 4) = cv::Vec3i(-5000, 9000, INT32_MIN);
    cv::Mat clamped = wild.clone();
    clamped.at<cv::Vec3i>(3, 4) = cv::Vec3i(0, 4095, 0);
    cv::Mat a, b;
    ASSERT_EQ(e.Still(wild, a), 0);
    ASSERT_EQ(e.Still(clamped, b), 0);
    EXPECT_TRUE(SameImage(a, b));

    // A one-channel input is refused.
    testing::internal::CaptureStdout();
    cv::Mat gray(30, 40, CV_32SC1, cv::Scalar(5)), untouched;
    EXPECT_EQ(e.Video(gray, untouched), 1);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("3-channel"), std::string::npos);
    EXPECT_TRUE(untouched.empty());
}

TEST(CLTMFrameTest, ZeroSizedFramesDoNotCrash) {
    Engine e(16, 16);
    const cv::Mat frames[] = {cv::Mat(0, 5, CV_32SC3), cv::Mat(5, 0, CV_32SC3), cv::Mat()};
    for (const cv::Mat& in : frames) {
        cv::Mat out, still;
        testing::internal::CaptureStdout();
        e.Video(in, out);
        e.Still(in, still);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(out.rows, in.rows);
        EXPECT_EQ(out.cols, in.cols);
        ad_reset_video(e.ctx.get());
    }
    // Buffers sized for nothing take an empty frame and refuse any other.
    Engine empty(0, 0);
    cv::Mat out;
    testing::internal::CaptureStdout();
    EXPECT_EQ(empty.Video(cv::Mat(0, 0, CV_32SC3), out), 0);
    EXPECT_EQ(empty.Video(cv::Mat(1, 1, CV_32SC3, cv::Scalar(1, 2, 3)), out), 1);
    testing::internal::GetCapturedStdout();
}

}  // namespace
}  // namespace kelvo
