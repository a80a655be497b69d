// Randomized runs: the mapping against a plain per-pixel version of the pairing, and the frame
// drivers on random sizes, registers and pixel values, where the sanitizer build must stay silent.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "cltm/cltm_curve.h"
#include "cltm/cltm_frame.h"
#include "cltm/cltm_histogram.h"
#include "cltm/cltm_map.h"

namespace kelvo {
namespace {

using Rng = std::mt19937;

uint32_t Uniform(Rng& rng, uint32_t lo, uint32_t hi) {
    return std::uniform_int_distribution<uint32_t>(lo, hi)(rng);
}

// Mostly 10-bit codes, now and then anything at all.
uint32_t RandomCode(Rng& rng) { return Uniform(rng, 0, 99) < 95 ? Uniform(rng, 0, 1023) : static_cast<uint32_t>(rng()); }

// A frame size: the small edge sizes, block multiples +-1 and anything up to a few hundred.
uint32_t RandomSize(Rng& rng, uint32_t block) {
    switch (Uniform(rng, 0, 3)) {
        case 0: return Uniform(rng, 1, 3);
        case 1: return block * Uniform(rng, 1, 3) + Uniform(rng, 0, 2) - 1;
        default: return Uniform(rng, 1, 300);
    }
}

// The mapping as written: both pairings walked pixel by pixel as state machines, no tables.
std::vector<uint32_t> PlainEnhanceLuma(const std::vector<uint32_t>& luma, uint32_t w, uint32_t h,
                                       const std::vector<uint32_t>& curves, uint32_t lw, uint32_t lh,
                                       const ad_filter_t_& filter, bool use_filter) {
    const uint32_t bw = ad_get_blk_num(w, lw), bh = ad_get_blk_num(h, lh);
    const uint32_t W = 1u << lw, H = 1u << lh;
    std::vector<uint32_t> out(luma.size());
    uint32_t up = 0, lo = 0, wy = 0;
    for (uint32_t y = 0; y < h; ++y) {
        const uint32_t by = y >> lh, ky = y - by * H;
        if (ky == 0) wy = 128;
        else if (ky == H / 2) wy = 256;
        else wy -= 256 >> lh;
        if (by == 0 && ky < H / 2) up = lo = 0;
        else if (by == bh - 1 && ky >= H / 2) up = lo = bh - 1;
        else if (ky == H / 2) { up = lo; lo = lo + 1; }

        uint32_t left = 0, right = 0, wx = 0;
        for (uint32_t x = 0; x < w; ++x) {
            const uint32_t bx = x >> lw, kx = x - bx * W;
            if (kx == 0) wx = 128;
            else if (kx == W / 2) wx = 256;
            else wx -= 256 >> lw;
            if (bx == 0 && kx < W / 2) left = right = 0;
            else if (bx == bw - 1 && kx >= W / 2) left = right = bw - 1;
            else if (kx == W / 2) { left = right; right = right + 1; }

            const uint32_t* const c[4] = {&curves[(up * bw + left) * 64], &curves[(up * bw + right) * 64],
                                          &curves[(lo * bw + left) * 64], &curves[(lo * bw + right) * 64]};
            const uint32_t v = luma[y * w + x];
            if (!use_filter) {
                out[y * w + x] = _tone_mapping(c, v, wx, wy);
                continue;
            }
            uint32_t n[9];
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    const int64_t yy = std::clamp<int64_t>(int64_t{y} + dy, 0, h - 1);
                    const int64_t xx = std::clamp<int64_t>(int64_t{x} + dx, 0, w - 1);
                    n[(dy + 1) * 3 + dx + 1] = luma[static_cast<size_t>(yy * w + xx)];
                }
            }
            const uint32_t f = _filter3x3(n, filter.range_weight);
            const uint32_t t = _tone_mapping(c, f, wx, wy);
            const uint32_t i = filter.filter_luma_select ? f : v;
            int64_t d = static_cast<int32_t>(v - f);
            if (!filter.filter_detail_direct) {
                const int64_t gain = (int64_t{kMapReciprocal[std::min(i >> 2, 255u)]} * t) >> 8;
                d = static_cast<int32_t>(static_cast<uint32_t>(gain * d)) >> 10;
            }
            const uint32_t* g = filter.detail_gain_curve;
            int64_t gain;
            if (i < 960) {
                gain = int64_t{static_cast<int32_t>(g[i >> 6])} +
                       (static_cast<int32_t>(static_cast<uint32_t>(
                            (int64_t{static_cast<int32_t>(g[(i >> 6) + 1])} - static_cast<int32_t>(g[i >> 6])) *
                            ((i >> 2) & 15))) >> 4);
            } else {
                gain = static_cast<int32_t>(g[std::min(i >> 6, 15u)]);
            }
            const int32_t detail = static_cast<int32_t>(static_cast<uint32_t>(gain * d)) >> 8;
            out[y * w + x] = static_cast<uint32_t>(std::clamp<int64_t>(int64_t{t} + detail, 0, 1023));
        }
    }
    return out;
}

TEST(CLTMRandomTest, EnhanceLumaEqualsThePlainPerPixelWalk) {
    Rng rng(20240611);
    for (int iter = 0; iter < 120; ++iter) {
        const uint32_t lw = Uniform(rng, 0, 8), lh = Uniform(rng, 0, 8);
        const uint32_t w = RandomSize(rng, 1u << lw), h = RandomSize(rng, 1u << lh);
        if (size_t{w} * h > 40000) continue;
        const size_t blocks = size_t{ad_get_blk_num(w, lw)} * ad_get_blk_num(h, lh);
        std::vector<uint32_t> luma(size_t{w} * h), curves(blocks * 64);
        for (auto& v : luma) v = RandomCode(rng);
        for (auto& v : curves) v = Uniform(rng, 0, 9) == 0 ? static_cast<uint32_t>(rng()) : Uniform(rng, 0, 65535);
        std::vector<uint32_t> range(kRangeWeights, kRangeWeights + 32), gains(kDetailGains, kDetailGains + 16);
        if (Uniform(rng, 0, 2) == 0) {
            for (auto& r : range) r = Uniform(rng, 0, 60);  // sums past 255 too
            for (auto& g : gains) g = Uniform(rng, 0, 600);
        }
        ad_filter_t_ filter;
        filter.filter_enable = static_cast<uint8_t>(Uniform(rng, 0, 1));
        filter.filter_luma_select = Uniform(rng, 0, 1);
        filter.filter_detail_direct = Uniform(rng, 0, 1);
        filter.range_weight = range.data();
        filter.detail_gain_curve = gains.data();

        std::vector<uint32_t> out(luma.size());
        ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), w, h, curves.data(), lw, lh, &filter), 0);
        ASSERT_EQ(out, PlainEnhanceLuma(luma, w, h, curves, lw, lh, filter, filter.filter_enable != 0))
            << w << "x" << h << " blocks 2^" << lw << "x2^" << lh << " filter " << int(filter.filter_enable)
            << filter.filter_luma_select << filter.filter_detail_direct;
    }
}

// Registers as a register file might hold them: mostly in range, sometimes extreme or beyond.
void RandomRegisters(Rng& rng, ad_param_t_& p) {
    const uint32_t pick = Uniform(rng, 0, 9);
    p.hist_mode = pick < 4 ? 0 : (pick < 8 ? 1 : (pick == 8 ? 2 : 0xFFFFFFFFu));
    const uint32_t transitions[] = {0, 1, 4096, 8191, 8192, 0xFFFFFFFFu, Uniform(rng, 0, 8191)};
    p.curve_transition = transitions[Uniform(rng, 0, 6)];
    const int32_t signed_regs[] = {0, 256, 1023, -1023, INT32_MIN, INT32_MAX, static_cast<int32_t>(Uniform(rng, 0, 2046)) - 1023};
    p.linear_adj_offset = signed_regs[Uniform(rng, 0, 6)];
    p.linear_adj_ratio = signed_regs[Uniform(rng, 0, 6)];
    p.strength_mode = Uniform(rng, 0, 1);
    const uint32_t strengths[] = {0, 255, 256, 0xFFFFFFFFu, Uniform(rng, 0, 255)};
    p.strength_target = strengths[Uniform(rng, 0, 4)];
    p.strength_step = Uniform(rng, 0, 3) == 0 ? static_cast<uint32_t>(rng()) : Uniform(rng, 1, 255);
    p.strength_interval = Uniform(rng, 0, 3) == 0 ? 0xFFFFFFFFu : Uniform(rng, 0, 3);
    p.filter.filter_enable = static_cast<uint8_t>(Uniform(rng, 0, 1));
    p.filter.filter_luma_select = Uniform(rng, 0, 1);
    p.filter.filter_detail_direct = Uniform(rng, 0, 1);
    for (uint32_t i = 0; i < 65; ++i) p.clip_curve[i] = Uniform(rng, 0, 4) == 0 ? static_cast<uint32_t>(rng()) : Uniform(rng, 200, 2000);
}

TEST(CLTMRandomTest, FrameDriversOnRandomSizesRegistersAndPixels) {
    Rng rng(77);
    for (int iter = 0; iter < 60; ++iter) {
        alad_cltm_user user;
        const uint32_t sizes[] = {32, 64, 128, 256};
        user.blk_width = sizes[Uniform(rng, 0, 3)];
        user.blk_height = sizes[Uniform(rng, 0, 3)];
        CLTMParamBlock block(user);
        RandomRegisters(rng, *block.get());
        const uint32_t w = RandomSize(rng, user.blk_width), h = RandomSize(rng, user.blk_height);

        CLTMBufferManager buffers;
        ASSERT_EQ(buffers.AllocateBufferBySize(w, h, block.get()), 0);
        std::unique_ptr<ad_cxt_t, void (*)(ad_cxt_t*)> ctx(ad_init_video(), ad_deinit_video);
        const cltm_params_api_ params{1, w, h, block.get()};
        const CLTMVideoContextAPI video{ctx.get()};
        cv::Mat work, out;
        testing::internal::CaptureStdout();
        for (int frame = 0; frame < 4; ++frame) {
            cv::Mat in(static_cast<int>(h), static_cast<int>(w), CV_32SC3);
            for (int y = 0; y < in.rows; ++y) {
                int32_t* row = in.ptr<int32_t>(y);
                for (int i = 0; i < 3 * in.cols; ++i) {
                    row[i] = Uniform(rng, 0, 19) == 0 ? static_cast<int32_t>(rng()) : static_cast<int32_t>(Uniform(rng, 0, 4095));
                }
            }
            const int32_t r = frame < 3 ? CLTMVideoRunOneFrameImple_(in, params, video, buffers, work, out)
                                        : CLTMOneImageImple_(in, params, buffers, work, out);
            ASSERT_EQ(r, 0);
            ASSERT_EQ(out.size(), in.size());
            double lo = 0, hi = 0;
            if (!out.empty()) cv::minMaxIdx(out.reshape(1), &lo, &hi);
            ASSERT_GE(lo, 0);
            ASSERT_LE(hi, 4095);
        }
        testing::internal::GetCapturedStdout();
    }
}

TEST(CLTMRandomTest, PlaneDriversOnRawCodesAndAnyBlockShift) {
    // The plane functions are public: codes anywhere in u32 and block shifts beyond 8 (taken
    // modulo 32) must neither read nor write out of bounds.
    Rng rng(91);
    for (int iter = 0; iter < 60; ++iter) {
        const uint32_t shifts[] = {0, 1, 4, 5, 8, 9, 31, 32, 37, 0xFFFFFFFFu};
        CLTMParamBlock block{alad_cltm_user{}};
        ad_param_t_& p = *block.get();
        RandomRegisters(rng, p);
        p.blk_width_log2 = shifts[Uniform(rng, 0, 9)];
        p.blk_height_log2 = shifts[Uniform(rng, 0, 9)];
        const uint32_t w = Uniform(rng, 1, 70), h = Uniform(rng, 1, 70);
        const size_t blocks = size_t{ad_get_blk_num(w, p.blk_width_log2)} * ad_get_blk_num(h, p.blk_height_log2);
        std::vector<int32_t> in(size_t{w} * h * 3);
        for (auto& v : in) v = static_cast<int32_t>(RandomCode(rng));
        std::vector<uint32_t> out(in.size()), curves(blocks * 64), hist(129);
        ad_cxt_t* ctx = ad_init_video();
        testing::internal::CaptureStdout();
        for (int frame = 0; frame < 3; ++frame) {
            ASSERT_EQ(ad_proc_video(out.data(), in.data(), w, h, &p, ctx, 0, curves.data(), hist.data()), 0);
            if (frame > 0) {
                for (uint32_t v : out) ASSERT_LE(v, 1023u);
            }
        }
        ASSERT_EQ(ad_proc_image(out.data(), in.data(), w, h, &p, curves.data()), 0);
        for (uint32_t v : out) ASSERT_LE(v, 1023u);
        testing::internal::GetCapturedStdout();
        ad_deinit_video(ctx);
    }
}

}  // namespace
}  // namespace kelvo
