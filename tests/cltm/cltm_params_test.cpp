#include "cltm/cltm_params.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace kelvo {
namespace {

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
