#include <gtest/gtest.h>

#include <vector>

#include "cltm/cltm_params.h"

namespace kelvo {
namespace {

TEST(CLTMParamsTest, SizeLog2RoundsUpToAHardwareBlock) {
    const struct { uint32_t size, log2; } cases[] = {{0, 5},   {32, 5},  {33, 6},   {64, 6},
                                                     {65, 7},  {128, 7}, {129, 8},  {256, 8},
                                                     {1000, 8}, {0xFFFFFFFFu, 8}};
    for (const auto& c : cases) EXPECT_EQ(_get_size_log2(c.size), c.log2) << c.size;
}

TEST(CLTMParamsTest, BlockCountCoversTheSizeWith32BitArithmetic) {
    const struct { uint32_t size, log2, blocks; } cases[] = {
        {1920, 7, 15}, {1080, 7, 9}, {0, 6, 0}, {0, 8, 0}, {64, 6, 1}, {65, 6, 2}, {1, 8, 1},
        {2400, 8, 10}, {100, 38, 2},             // the shift count is taken modulo 32: 38 acts as 6
        {0xFFFFFFFFu, 6, 0},                     // the sum wraps, as the hardware's 32-bit adder does
    };
    for (const auto& c : cases) EXPECT_EQ(ad_get_blk_num(c.size, c.log2), c.blocks) << c.size << " " << c.log2;
}

TEST(CLTMParamsTest, ParamsFollowTheUserRecord) {
    alad_cltm_user user;
    user.blk_width = 64;
    user.blk_height = 200;
    user.width = 1080;
    user.height = 2400;
    user.strength = 15;
    user.filter_flag = 3;
    CLTMParamBlock block(user);
    const ad_param_t_& p = *block.get();
    EXPECT_EQ(p.blk_width_log2, 6u);
    EXPECT_EQ(p.blk_height_log2, 8u);
    EXPECT_EQ(p.blk_w_num, 17u);
    EXPECT_EQ(p.blk_h_num, 10u);
    EXPECT_EQ(p.hist_mode, 0u);
    EXPECT_EQ(p.curve_transition, 0u);
    EXPECT_EQ(p.strength_target, 240u);
    EXPECT_EQ(p.strength_step, 5u);
    EXPECT_EQ(p.strength_interval, 0u);
    EXPECT_EQ(p.strength_mode, 0u);
    EXPECT_EQ(p.linear_adj_offset, 0);
    EXPECT_EQ(p.linear_adj_ratio, 0);
    EXPECT_EQ(p.filter.filter_enable, 3);
    EXPECT_EQ(p.filter.filter_luma_select, 0u);
    EXPECT_EQ(p.filter.filter_detail_direct, 0u);
    EXPECT_EQ(std::vector<uint32_t>(p.filter.range_weight, p.filter.range_weight + 32),
              std::vector<uint32_t>(kRangeWeights, kRangeWeights + 32));
    EXPECT_EQ(std::vector<uint32_t>(p.filter.detail_gain_curve, p.filter.detail_gain_curve + 16),
              (std::vector<uint32_t>{0, 43, 85, 128, 171, 213, 256, 256, 256, 256, 256, 256, 256, 256, 256, 256}));

    const struct { int32_t strength; uint32_t target; } strengths[] = {{0, 0}, {1, 16}, {15, 240}, {16, 255}, {100, 255}};
    for (const auto& s : strengths) {
        user.strength = s.strength;
        EXPECT_EQ(CLTMParamBlock(user)->strength_target, s.target) << s.strength;
    }
}

TEST(CLTMParamsTest, CurveSelectionPicksOneOfFourClipCurves) {
    const struct { int32_t id; const uint32_t* curve; } cases[] = {
        {0, kClipCurveDefault}, {1, kClipCurveA}, {2, kClipCurveB}, {3, kClipCurveC}, {4, kClipCurveDefault},
        {-1, kClipCurveDefault}};
    for (const auto& c : cases) {
        alad_cltm_user user;
        user.curve_id = c.id;
        CLTMParamBlock block(user);
        EXPECT_EQ(std::vector<uint32_t>(block->clip_curve, block->clip_curve + 65),
                  std::vector<uint32_t>(c.curve, c.curve + 65)) << c.id;
    }
    // Spot checks against the published tables, ends included (a short table would end in zeros).
    EXPECT_EQ(kClipCurveDefault[0], 890u);
    EXPECT_EQ(kClipCurveDefault[51], 357u);
    EXPECT_EQ(kClipCurveDefault[64], 771u);
    EXPECT_EQ(kClipCurveA[29], 324u);
    EXPECT_EQ(kClipCurveA[60], 324u);
    EXPECT_EQ(kClipCurveA[61], 325u);
    EXPECT_EQ(kClipCurveA[64], 1177u);
    EXPECT_EQ(kClipCurveB[21], 320u);
    EXPECT_EQ(kClipCurveB[22], 318u);
    EXPECT_EQ(kClipCurveB[63], 1195u);
    EXPECT_EQ(kClipCurveB[64], 1579u);
    for (int i = 0; i < 61; ++i) EXPECT_EQ(kClipCurveC[i], kClipCurveB[i]) << i;
    for (int i = 61; i < 65; ++i) EXPECT_EQ(kClipCurveC[i], 318u) << i;
    EXPECT_EQ(kRangeWeights[0], 28u);
    EXPECT_EQ(kRangeWeights[9], 21u);
    EXPECT_EQ(kRangeWeights[31], 1u);
}

TEST(CLTMParamsTest, GetParamsRefusesABlockWithoutArrays) {
    ad_param_t_ param;
    const alad_cltm_user user;
    EXPECT_EQ(GetParamsCLTM(nullptr, user), 1);
    EXPECT_EQ(GetParamsCLTM(&param, user), 1);
    EXPECT_EQ(param.clip_curve, nullptr);
}

TEST(CLTMParamsTest, VideoContextStartsAndResetsAsAFirstFrame) {
    ad_cxt_t* ctx = ad_init_video();
    ASSERT_NE(ctx, nullptr);
    EXPECT_EQ(ctx->width, 0u);
    EXPECT_EQ(ctx->first_frame, 1u);
    *ctx = ad_cxt_t{1080, 2400, 77, 3, 0};
    ad_reset_video(ctx);
    EXPECT_EQ(ctx->width, 0u);
    EXPECT_EQ(ctx->height, 0u);
    EXPECT_EQ(ctx->strength, 0u);
    EXPECT_EQ(ctx->interval_count, 0u);
    EXPECT_EQ(ctx->first_frame, 1u);
    ad_deinit_video(ctx);
    ad_deinit_video(nullptr);
}

TEST(CLTMParamsTest, BufferManagerRemembersWhatItWasAllocatedFor) {
    alad_cltm_user user;
    user.blk_width = 64;
    user.blk_height = 64;
    CLTMParamBlock block(user);
    CLTMBufferManager buffers;
    EXPECT_FALSE(buffers.Fits(0, 0, block.get()));  // nothing allocated yet
    ASSERT_EQ(buffers.AllocateBufferBySize(130, 64, block.get()), 0);
    EXPECT_EQ(buffers.mBlockNum, 3u);
    EXPECT_EQ(buffers.AllocatedWidth(), 130u);
    EXPECT_EQ(buffers.AllocatedHeight(), 64u);
    for (uint32_t i = 0; i < 3 * 64; ++i) ASSERT_EQ(buffers.mToneCurves[i], 0u);
    for (uint32_t i = 0; i < 129; ++i) ASSERT_EQ(buffers.mHistBuffer[i], 0u);

    const struct { uint32_t w, h; bool fits; } frames[] = {
        {130, 64, true}, {64, 64, true}, {0, 0, true}, {1, 130, true},  // 1x130: 1x3 blocks, 130 pixels
        {131, 64, false},                                             // more pixels
        {65, 65, false},                                              // fewer pixels, but 2x2 blocks
        {130, 65, false}};
    for (const auto& f : frames) EXPECT_EQ(buffers.Fits(f.w, f.h, block.get()), f.fits) << f.w << "x" << f.h;

    buffers.mToneCurves[5] = 9;
    buffers.mHistBuffer[128] = 9;
    buffers.mInputPlane[0] = 9;
    buffers.ResetToneCurveBuffer();
    EXPECT_EQ(buffers.mToneCurves[5], 0u);
    EXPECT_EQ(buffers.mHistBuffer[128], 0u);
    EXPECT_EQ(buffers.mInputPlane[0], 9u);

    testing::internal::CaptureStdout();
    EXPECT_EQ(buffers.AllocateBufferBySize(10, 10, nullptr), 1);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("ERROR"), std::string::npos);
    EXPECT_EQ(buffers.mInputPlane, nullptr);
    EXPECT_FALSE(buffers.Fits(1, 1, block.get()));
}

}  // namespace
}  // namespace kelvo
