// Randomized runs: the single-sweep video frame, on one to four threads, against the plain one on
// one, on random sizes, registers, filter tables, pixels and output images; the sweep's curve kernel
// against _tone_mapping; the mapping against a plain per-pixel walk of the block pairing; and the
// plane drivers on random sizes, registers and pixel values (the sanitizer build must stay silent).
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "cltm/cltm_frame.h"
#include "cltm/cltm_map.h"
#include "cltm/cltm_rows.h"
#include "common/threads.h"
#include "tests/cltm/cltm_test_util.h"
#include "tests/common/test_threads.h"

namespace kelvo {
namespace {

using testing_util::Engine;
using testing_util::Mostly;
using testing_util::SameImage;
using testing_util::RandomSize;
using testing_util::Rng;
using testing_util::Uniform;

// Everything a frame leaves behind: buffers (the output plane unpacked), context, work image and
// the debug store.
std::vector<std::vector<unsigned int>> State(Engine& e, size_t plane) {
    CLTMBufferManager& b = e.buffers;
    b.UnpackOutputPlane();
    std::vector<std::vector<unsigned int>> state = {
        {b.mOutputPlane, b.mOutputPlane + plane},
        {b.mToneCurves, b.mToneCurves + b.mBlockNum * 64},
        {b.mHistBuffer, b.mHistBuffer + 129},
        {e.ctx->width, e.ctx->height, e.ctx->strength, e.ctx->interval_count, e.ctx->first_frame},
        {static_cast<unsigned>(e.work.rows), static_cast<unsigned>(e.work.cols), static_cast<unsigned>(e.work.type())}};
    for (auto& array : testing_util::DebugArrays()) state.push_back(std::move(array));
    return state;
}

// Pixels anywhere in range, now and then out of it, in a narrow band (neighbours the filter
// weighs), or dark (brightened many times over by the curves of a dark frame, which the colour
// step computes its own way).
cv::Mat RandomPixels(Rng& rng, int w, int h) {
    cv::Mat m(h, w, CV_32SC3);
    const uint32_t kind = Uniform(rng, 0, 3);
    const uint32_t spread = kind == 3 ? Uniform(rng, 1, 300) : Uniform(rng, 1, 1023);
    const uint32_t base = kind == 3 ? 0 : Uniform(rng, 0, 4095 - spread);
    for (int y = 0; y < h; ++y) {
        int32_t* row = m.ptr<int32_t>(y);
        for (int i = 0; i < 3 * w; ++i) {
            row[i] = static_cast<int32_t>(kind == 0   ? Mostly(rng, 0, 4095)
                                          : kind == 2 ? Uniform(rng, 0, 4095)
                                                      : base + Uniform(rng, 0, spread));
        }
    }
    return m;
}

// Filter tables: the built-in ones, random small ones, or (rarely) weights beyond what the sweep's
// 16-bit lanes take, which sends the frame the plain way.
void RandomFilterTables(Rng& rng, ad_param_t_& p) {
    const uint32_t kind = Uniform(rng, 0, 5);
    if (kind == 0) return;
    for (size_t i = 0; i < kRangeWeightSize; ++i) {
        p.filter.range_weight[i] = kind == 1 ? Mostly(rng, 0, 300, 8) : Uniform(rng, 0, 255);
    }
    for (size_t i = 0; i < kDetailGainSize; ++i) {
        p.filter.detail_gain_curve[i] = kind == 1 ? Mostly(rng, 0, 600, 8) : Mostly(rng, 0, 1023);
    }
}

void VideoFramesEqualThePlainPath(uint32_t seed) {
    Rng rng(seed);
    const uint32_t blocks[] = {32, 64, 128, 256}, shifts[] = {0, 1, 4, 5, 9, 31, 37};
    int mapped_frames = 0, split_frames = 0;
    for (int iter = 0; iter < 160; ++iter) {
        const alad_cltm_user user{blocks[Uniform(rng, 0, 3)], blocks[Uniform(rng, 0, 3)]};
        const uint32_t w = RandomSize(rng, user.blk_width), h = RandomSize(rng, user.blk_height);
        // Both engines draw the same registers from the same stream, are reallocated for the block
        // geometry drawn, and are preset as the pipeline does (or left to bind themselves).
        const bool preset = Uniform(rng, 0, 3) != 0;
        Engine fast(user, w, h, preset), plain(user, w, h, preset);
        const Rng drawn = rng;
        for (Engine* e : {&fast, &plain}) {
            rng = drawn;
            ad_param_t_& q = *e->block.get();
            testing_util::RandomRegisters(rng, q);
            RandomFilterTables(rng, q);
            if (Uniform(rng, 0, 9) == 0) q.blk_width_log2 = shifts[Uniform(rng, 0, 6)];
            if (Uniform(rng, 0, 9) == 0) q.blk_height_log2 = shifts[Uniform(rng, 0, 6)];
            e->buffers.AllocateBufferBySize(w, h, &q);
        }
        const ad_param_t_& p = *fast.block.get();
        for (int frame = 0; frame < 5; ++frame) {
            int fw = static_cast<int>(w), fh = static_cast<int>(h);
            if (frame > 1 && Uniform(rng, 0, 7) == 0) {  // a frame of another size: refused or passed through
                fw = static_cast<int>(Uniform(rng, 1, w + 2));
                fh = static_cast<int>(Uniform(rng, 1, h + 2));
            }
            const cv::Mat in = RandomPixels(rng, fw, fh);
            cv::Mat out_fast;
            const uint32_t out_kind = Uniform(rng, 0, 3);
            if (out_kind == 0) out_fast.create(fh, fw, CV_16UC3);  // an output of another depth, kept
            if (out_kind == 1) out_fast = in.clone();              // written in place
            cv::Mat out_plain = out_fast.clone();
            const bool in_place = !out_fast.empty() && out_fast.type() == CV_32SC3;
            struct Result {
                int32_t rc;
                std::string log;
                std::vector<std::vector<unsigned int>> state;
            };
            const int threads = alad_test::TestThreads(static_cast<int>(Uniform(rng, 1, 4)));
            auto run = [&](Engine& e, cv::Mat& out, bool sweep) {
                alad::SetEngineThreadCount(sweep ? threads : 1);
                testing_util::Stdout log;
                const cv::Mat& src = in_place ? out : in;
                const CLTMVideoContextAPI ctx{e.ctx.get()};
                const int32_t rc = sweep ? CLTMVideoRunOneFrameImple_(src, e.params, ctx, e.buffers, e.work, out)
                                         : CLTMVideoRunOneFramePlain(src, e.params, ctx, e.buffers, e.work, out);
                return Result{rc, log.Text(), State(e, size_t{w} * h * 3)};
            };
            const Result f = run(fast, out_fast, true), q = run(plain, out_plain, false);
            const std::string where = "iteration " + std::to_string(iter) + " frame " + std::to_string(frame) + ", " +
                                      std::to_string(fw) + "x" + std::to_string(fh) + " of " + std::to_string(w) +
                                      "x" + std::to_string(h) + ", filter " + std::to_string(p.filter.filter_enable);
            ASSERT_EQ(f.rc, q.rc) << where;
            ASSERT_EQ(f.log, q.log) << where;
            ASSERT_TRUE(SameImage(out_fast, out_plain)) << where;
            ASSERT_EQ(f.state, q.state) << where;
            if (f.rc == 0 && frame > 0 && fw == static_cast<int>(w) && fh == static_cast<int>(h)) {
                ++mapped_frames;
                split_frames += alad::StripeCount(fh, threads) > 1;
            }
        }
        // The still driver on the same engine: every mapped value stays in range.
        testing_util::Stdout log;
        cv::Mat still, in = RandomPixels(rng, static_cast<int>(w), static_cast<int>(h));
        ASSERT_EQ(fast.Still(in, still), 0);
        double lo = 0, hi = 0;
        cv::minMaxIdx(still.reshape(1), &lo, &hi);
        ASSERT_TRUE(still.size() == in.size() && lo >= 0 && hi <= 4095) << w << "x" << h;
    }
    alad::SetEngineThreadCount(1);
    EXPECT_GT(mapped_frames, 300);  // most runs really map frames
    EXPECT_GT(split_frames, alad_test::kThreadsAvailable ? 50 : -1);  // many shared among threads
}

TEST(CLTMSweepTest, VideoFramesEqualThePlainPathInEverythingTheyLeave) {
    testing_util::ForEachSimdLevel([] { VideoFramesEqualThePlainPath(4242); });
}

// The curve kernel on arbitrary curves (the frames only feed it clipped ones): one curve's 1024
// values against _tone_mapping with that curve four times. The filter and colour kernels are pinned
// by the frame comparison above, which runs them on random tables and registers.
void RowKernelsEqualTheScalarFunctions() {
    Rng rng(31);
    for (int iter = 0; iter < 40; ++iter) {
        std::vector<uint32_t> curve(64);
        for (auto& v : curve) v = Mostly(rng, 0, 65535, 6);
        std::vector<uint16_t> values(1024);
        cltm_rows::CurveValues(curve.data(), values.data());
        const uint32_t* const c[4] = {curve.data(), curve.data(), curve.data(), curve.data()};
        for (uint32_t v = 0; v < 1024; ++v) {
            ASSERT_EQ(values[v], _tone_mapping(c, v, Uniform(rng, 0, 256), Uniform(rng, 0, 256))) << v;
        }
    }
}

TEST(CLTMSweepTest, RowKernelsEqualTheScalarFunctions) { testing_util::ForEachSimdLevel(RowKernelsEqualTheScalarFunctions); }

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
