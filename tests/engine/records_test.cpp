#include <gtest/gtest.h>

#include <cstring>

#include "engine/records.h"

namespace kelvo {
namespace {

TEST(RecordsTest, DefaultsAreTheEngineDefaults) {
    const ad_user_t_ user;
    EXPECT_EQ(user.blk_width, 256u);
    EXPECT_EQ(user.blk_height, 256u);
    EXPECT_EQ(user.curve_id, 1);
    EXPECT_EQ(user.strength, 8);
    EXPECT_EQ(user.reserved_limit, 65535u);
    EXPECT_EQ(user.tm_mode, 3u);
    EXPECT_EQ(user.width, 800u);
    EXPECT_EQ(user.height, 480u);
    const alad_display_model_ display;
    EXPECT_EQ(display.gamma, 2.2);
    EXPECT_EQ(display.white, 500.0);
    EXPECT_EQ(display.black, 0.2);
    EXPECT_EQ(display.backlight, 1.0);
    EXPECT_EQ(display.reflectance, 0.01);
}

TEST(RecordsTest, BlockSizesRoundUpOneSided) {
    const struct { uint32_t in, out; } cases[] = {
        {0, 64}, {1, 64}, {64, 64}, {65, 128}, {100, 128}, {128, 128}, {129, 256},
        {256, 256}, {1000, 256}, {100000, 256}, {0xFFFFFFFFu, 256}};
    for (const auto& c : cases) {
        ad_user_t_ user;
        user.blk_width = c.in;
        user.blk_height = c.in;
        const alad_cltm_user cltm = MakeCLTMUser(user);
        EXPECT_EQ(cltm.blk_width, c.out) << c.in;
        EXPECT_EQ(cltm.blk_height, c.out) << c.in;
    }
}

TEST(RecordsTest, CurveIdAndStrengthCapWithSignedCompare) {
    const struct { int32_t curve_in, curve_out, strength_in, strength_out; } cases[] = {
        {5, 2, 40, 16}, {-1, -1, -3, -3}, {0, 0, 0, 0}, {2, 2, 16, 16}, {1, 1, 15, 15},
        {INT32_MIN, INT32_MIN, INT32_MAX, 16}};
    for (const auto& c : cases) {
        ad_user_t_ user;
        user.curve_id = c.curve_in;
        user.strength = c.strength_in;
        const alad_cltm_user cltm = MakeCLTMUser(user);
        EXPECT_EQ(cltm.curve_id, c.curve_out);
        EXPECT_EQ(cltm.strength, c.strength_out);
    }
}

TEST(RecordsTest, CopiesFlagSizeAndOrderAndDropsReservedFields) {
    ad_user_t_ user;
    user.filter_flag = 7;
    user.width = 1080;
    user.height = 2400;
    user.tm_mode = 0xFFFFFFFFu;
    const alad_cltm_user plain = MakeCLTMUser(user);
    EXPECT_EQ(plain.filter_flag, 7);
    EXPECT_EQ(plain.width, 1080u);
    EXPECT_EQ(plain.height, 2400u);
    EXPECT_EQ(plain.tm_mode, 0xFFFFFFFFu);

    // The reserved fields reach nothing.
    std::memset(user.reserved_table, 0xAB, sizeof(user.reserved_table));
    user.mode = 99;
    user.reserved_limit = 1;
    user.reserved_pair[0] = 5;
    user.reserved_pair[1] = 6;
    const alad_cltm_user other = MakeCLTMUser(user);
    EXPECT_EQ(std::memcmp(&plain.blk_width, &other.blk_width, sizeof(uint32_t) * 2), 0);
    EXPECT_EQ(other.curve_id, plain.curve_id);
    EXPECT_EQ(other.strength, plain.strength);
    EXPECT_EQ(other.width, plain.width);
    EXPECT_EQ(other.height, plain.height);
}

}  // namespace
}  // namespace kelvo
