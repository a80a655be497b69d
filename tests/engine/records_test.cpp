#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <tuple>

#include "engine/records.h"

namespace kelvo {
namespace {

auto Fields(const alad_cltm_user& u) {
    return std::make_tuple(u.blk_width, u.blk_height, u.curve_id, u.strength, int{u.filter_flag}, u.width, u.height,
                           u.tm_mode);
}

TEST(RecordsTest, BlockSizesRoundUpOneSidedCurveAndStrengthCapSignedOtherFieldsCopied) {
    const struct { uint32_t blk, blk_out; int32_t curve, curve_out, strength, strength_out; } cases[] = {
        {0, 64, 5, 2, 40, 16},        {1, 64, -1, -1, -3, -3},     {64, 64, 0, 0, 0, 0},
        {65, 128, 2, 2, 16, 16},      {100, 128, 3, 2, 17, 16},    {128, 128, 1, 1, 15, 15},
        {129, 256, INT32_MIN, INT32_MIN, INT32_MAX, 16},           {100000, 256, INT32_MAX, 2, INT32_MIN, INT32_MIN},
        {0xFFFFFFFFu, 256, 1, 1, 8, 8}};
    for (const auto& c : cases) {
        ad_user_t_ user;
        user.blk_width = user.blk_height = c.blk;
        user.curve_id = c.curve;
        user.strength = c.strength;
        EXPECT_EQ(Fields(MakeCLTMUser(user)),
                  std::make_tuple(c.blk_out, c.blk_out, c.curve_out, c.strength_out, 0, 800u, 480u, 3u))
            << c.blk << " " << c.curve << " " << c.strength;
    }
    // Flag, size and order are copied as they are; the reserved fields reach nothing.
    ad_user_t_ user;
    user.filter_flag = 7;
    user.width = 1080;
    user.height = 2400;
    user.tm_mode = 0xFFFFFFFFu;
    std::memset(user.reserved_table, 0xAB, sizeof(user.reserved_table));
    user.mode = 99;
    user.reserved_limit = user.reserved_pair[0] = user.reserved_pair[1] = user.reserved_spare[0] = 5;
    EXPECT_EQ(Fields(MakeCLTMUser(user)), std::make_tuple(256u, 256u, 1, 8, 7, 1080u, 2400u, 0xFFFFFFFFu));
}

}  // namespace
}  // namespace kelvo
