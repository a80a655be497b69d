// Helpers shared by the engine, pipeline, AGTM and offline tests: frames, comparisons and register
// sets.
#ifndef ALAD_TESTS_ENGINE_ENGINE_TEST_UTIL_H
#define ALAD_TESTS_ENGINE_ENGINE_TEST_UTIL_H

#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_records.h"
#include "tests/cltm/cltm_test_util.h"

namespace kelvo {
namespace testing_util {

// Uniformly random integral 12-bit values (multiples of 4 with `quads`) in the given type.
inline cv::Mat Random12(int rows, int cols, uint64_t seed, int type = CV_32SC3, bool quads = false) {
    cv::Mat ints(rows, cols, CV_32SC(CV_MAT_CN(type))), out;
    cv::RNG(seed).fill(ints, cv::RNG::UNIFORM, 0, quads ? 1024 : 4096);
    ints.convertTo(out, CV_MAT_DEPTH(type), quads ? 4 : 1);
    return out;
}

// A 12-bit frame as the local stage passes a first frame through: cut to ten bits and widened back.
inline cv::Mat TenBits(const cv::Mat& frame) {
    cv::Mat out = frame.clone();
    for (int32_t& v : cv::Mat_<int32_t>(out.reshape(1))) v = 4 * (v >> 2) + (v >> 10);
    return out;
}

// Frames of a size in an order, the record's defaults otherwise.
inline ad_user_t_ SizedUser(uint32_t width, uint32_t height, uint32_t order) {
    ad_user_t_ user;
    user.width = width;
    user.height = height;
    user.tm_mode = order;
    return user;
}

// 64x48 frames in 64x64 blocks.
inline ad_user_t_ SmallUser(uint32_t order, uint32_t blk_width = 64) {
    ad_user_t_ user = SizedUser(64, 48, order);
    user.blk_width = blk_width;
    user.blk_height = 64;
    return user;
}

inline constexpr auto Same = SameImage;

// A register set with its own storage for the two tables.
struct Registers {
    std::vector<uint32_t> curve = std::vector<uint32_t>(65);
    std::vector<int32_t> table = std::vector<int32_t>(256);
    alad_verification_registrator regs;
    Registers() {
        regs.hist_adjust_curve = curve.data();
        regs.agtm = table.data();
    }
};

// The fifteen scalar registers in their order.
inline std::vector<int32_t> Values(const alad_verification_registrator& r) {
    return {r.reg_tm_mode,          r.width,           r.height,           r.reg_blk_width_b,
            r.reg_blk_height_b,     r.reg_blk_h_num,   r.reg_blk_w_num,    r.reg_hist_mode,
            r.reg_curve_transition, r.reg_linear_adj_offset, r.reg_linear_adj_ratio, r.reg_strength_mode,
            r.reg_strength_target,  r.reg_strength_step, r.reg_strength_interval};
}

}  // namespace testing_util
}  // namespace kelvo

#endif  // ALAD_TESTS_ENGINE_ENGINE_TEST_UTIL_H
