// Randomized runs: the mapping against a plain per-pixel walk of the block pairing, and the plane
// drivers on random sizes, registers and pixel values (the sanitizer build must stay silent).
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "cltm/cltm_frame.h"
#include "cltm/cltm_map.h"
#include "tests/cltm/cltm_test_util.h"

namespace kelvo {
namespace {

using testing_util::Mostly;
using testing_util::RandomSize;
using testing_util::Rng;
using testing_util::Uniform;

// One axis of the pairing walked as written: a state machine advanced pixel by pixel.
struct Walk {
    uint32_t first = 0, second = 0, weight = 0;
    void Step(uint32_t pos, uint32_t log2, uint32_t blocks) {
        const uint32_t size = 1u << log2, b = pos >> log2, k = pos - b * size;
        weight = k == 0 ? 128 : k == size / 2 ? 256 : weight - (256 >> log2);
        if (b == 0 && k < size / 2) {
            first = second = 0;
        } else if (b == blocks - 1 && k >= size / 2) {
            first = second = blocks - 1;
        } else if (k == size / 2) {
            first = second++;
        }
    }
};

int32_t Wrap(int64_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v)); }

std::vector<uint32_t> PlainEnhanceLuma(const std::vector<uint32_t>& luma, uint32_t w, uint32_t h,
                                       const uint32_t* curves, uint32_t lw, uint32_t lh, const ad_filter_t_& f) {
    const uint32_t bw = ad_get_blk_num(w, lw), bh = ad_get_blk_num(h, lh);
    std::vector<uint32_t> out(luma.size());
    Walk rows;
    for (uint32_t y = 0; y < h; ++y) {
        rows.Step(y, lh, bh);
        Walk cols;
        for (uint32_t x = 0; x < w; ++x) {
            cols.Step(x, lw, bw);
            const uint32_t* const c[4] = {
                curves + (rows.first * bw + cols.first) * 64, curves + (rows.first * bw + cols.second) * 64,
                curves + (rows.second * bw + cols.first) * 64, curves + (rows.second * bw + cols.second) * 64};
            const uint32_t v = luma[y * w + x];
            if (!f.filter_enable) {
                out[y * w + x] = _tone_mapping(c, v, cols.weight, rows.weight);
                continue;
            }
            uint32_t n[9];
            for (int j = 0; j < 9; ++j) {
                const int64_t yy = std::clamp<int64_t>(int64_t{y} + j / 3 - 1, 0, h - 1);
                const int64_t xx = std::clamp<int64_t>(int64_t{x} + j % 3 - 1, 0, w - 1);
                n[j] = luma[static_cast<size_t>(yy * w + xx)];
            }
            const uint32_t fl = _filter3x3(n, f.range_weight), t = _tone_mapping(c, fl, cols.weight, rows.weight);
            const uint32_t i = f.filter_luma_select ? fl : v;
            int32_t d = Wrap(int64_t{v} - fl);
            if (!f.filter_detail_direct)
                d = Wrap(((int64_t{kMapReciprocal[std::min(i >> 2, 255u)]} * t) >> 8) * d) >> 10;
            const int32_t* g = reinterpret_cast<const int32_t*>(f.detail_gain_curve);
            const int32_t gain =
                i < 960 ? Wrap(g[i >> 6] + (Wrap((int64_t{g[(i >> 6) + 1]} - g[i >> 6]) * ((i >> 2) & 15)) >> 4))
                        : g[std::min(i >> 6, 15u)];
            out[y * w + x] =
                static_cast<uint32_t>(std::clamp<int64_t>(int64_t{t} + (Wrap(int64_t{gain} * d) >> 8), 0, 1023));
        }
    }
    return out;
}

TEST(CLTMRandomTest, EnhanceLumaEqualsThePlainPerPixelWalk) {
    Rng rng(20240611);
    for (int iter = 0; iter < 150; ++iter) {
        const uint32_t lw = Uniform(rng, 0, 8), lh = Uniform(rng, 0, 8);
        const uint32_t w = RandomSize(rng, 1u << lw), h = RandomSize(rng, 1u << lh);
        if (size_t{w} * h > 40000) continue;
        std::vector<uint32_t> luma(size_t{w} * h), curves(size_t{ad_get_blk_num(w, lw)} * ad_get_blk_num(h, lh) * 64);
        for (auto& v : luma) v = Mostly(rng, 0, 1023);
        for (auto& v : curves) v = Mostly(rng, 0, 65535, 10);
        std::vector<uint32_t> range(kRangeWeights, kRangeWeights + 32), gains(kDetailGains, kDetailGains + 16);
        if (Uniform(rng, 0, 2) == 0) {
            for (auto& r : range) r = Uniform(rng, 0, 60);  // sums past 255 too
            for (auto& g : gains) g = Uniform(rng, 0, 600);
        }
        const ad_filter_t_ filter{Uniform(rng, 0, 1), Uniform(rng, 0, 1), range.data(), gains.data(),
                                  static_cast<uint8_t>(Uniform(rng, 0, 1))};
        std::vector<uint32_t> out(luma.size());
        ASSERT_EQ(ad_enhance_luma(out.data(), luma.data(), w, h, curves.data(), lw, lh, &filter), 0);
        ASSERT_EQ(out, PlainEnhanceLuma(luma, w, h, curves.data(), lw, lh, filter))
            << w << "x" << h << " blocks 2^" << lw << " x 2^" << lh << " filter " << int{filter.filter_enable};
    }
}

// The public plane drivers on random sizes, registers and codes anywhere in u32, with block shifts
// beyond 8 (taken modulo 32): nothing may read or write out of bounds, and every mapped value stays
// in range. (The Mat drivers run on random frames in the sweep test.)
TEST(CLTMRandomTest, PlaneDriversOnRandomSizesRegistersAndPixels) {
    Rng rng(77);
    testing_util::Stdout log;
    const uint32_t blocks[] = {32, 64, 128, 256}, shifts[] = {0, 1, 4, 9, 31, 32, 37, 0xFFFFFFFFu};
    for (int iter = 0; iter < 150; ++iter) {
        CLTMParamBlock block(alad_cltm_user{blocks[Uniform(rng, 0, 3)], blocks[Uniform(rng, 0, 3)]});
        ad_param_t_& p = *block.get();
        testing_util::RandomRegisters(rng, p);
        std::unique_ptr<ad_cxt_t, void (*)(ad_cxt_t*)> ctx(ad_init_video(), ad_deinit_video);
        if (Uniform(rng, 0, 1)) p.blk_width_log2 = shifts[Uniform(rng, 0, 7)];
        if (Uniform(rng, 0, 1)) p.blk_height_log2 = shifts[Uniform(rng, 0, 7)];
        const uint32_t w = Uniform(rng, 1, 70), h = Uniform(rng, 1, 70);
        std::vector<int32_t> in(size_t{w} * h * 3);
        for (auto& v : in) v = static_cast<int32_t>(Mostly(rng, 0, 1023));
        std::vector<uint32_t> out(in.size()), hist(129);
        std::vector<uint32_t> curves(size_t{ad_get_blk_num(w, p.blk_width_log2)} * ad_get_blk_num(h, p.blk_height_log2) * 64);
        for (int frame = 0; frame < 4; ++frame) {
            ASSERT_EQ(frame < 3 ? ad_proc_video(out.data(), in.data(), w, h, &p, ctx.get(), 0, curves.data(), hist.data())
                                : ad_proc_image(out.data(), in.data(), w, h, &p, curves.data()),
                      0);
            ASSERT_TRUE(frame == 0 || std::all_of(out.begin(), out.end(), [](uint32_t v) { return v <= 1023; }));
        }
    }
}

}  // namespace
}  // namespace kelvo
