#include "cltm/cltm_curve.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

#include "cltm/cltm_histogram.h"
#include "cltm/cltm_internal.h"
#include "common/wrap_int.h"
#include "common/debug_store.h"

namespace kelvo {

using cltm_detail::BlockGrid;

namespace {

constexpr uint32_t kCurveMax = 65535;

// Debug hand-overs take an int count; a set too large for one is not handed over.
bool DebugCount(size_t values, int* count) {
    if (values > static_cast<size_t>(INT_MAX)) return false;
    *count = static_cast<int>(values);
    return true;
}

// Scales a histogram to a total of 65536 with one division (the 2^28 reciprocal of its sum).
void Normalise(uint32_t h[kHistBins]) {
    uint32_t s = 0;
    for (size_t b = 0; b < kHistBins; ++b) s += h[b];
    const uint32_t f = s != 0 ? ((1u << 28) + (s >> 1)) / s : 0;
    for (size_t b = 0; b < kHistBins; ++b) {
        const uint32_t v = (2048u + h[b] * f) >> 12;
        h[b] = v < 65536u ? v : 65536u;
    }
}

// One clip pass. Forward visits bins 0..127, backward 127..0; either way, at the i-th bin visited
// 127 - i bins are still to come, and an excess larger than the bins left (this one included) is
// spread evenly over them through the reciprocal table.
void ClipPass(const uint32_t h[kHistBins], const uint32_t limit[kHistBins], bool forward, uint32_t out[kHistBins]) {
    uint32_t excess = 0;
    for (uint32_t i = 0; i < kHistBins; ++i) {
        const uint32_t b = forward ? i : 127 - i;
        const uint32_t remaining = 127 - i;
        const uint32_t l = limit[b];
        const uint32_t v = h[b];
        if (l <= v) {
            excess += v - l;
            out[b] = l;
        } else if (excess != 0) {
            uint32_t give = excess;
            if (remaining + 1 < excess) give = (kClipReciprocal[remaining] * excess) >> 16;
            const uint32_t t = v + give;
            if (t < l) {
                out[b] = t;
                excess -= give;
            } else {
                out[b] = l;
                excess -= l - v;
            }
        } else {
            out[b] = v;
        }
    }
}

// The clip limit of every bin: even bins take a curve point, odd bins the rounded mean of the two
// points around them, so bin 127 blends points 63 and 64.
void BinLimits(const uint32_t* clip_curve, uint32_t limit[kHistBins]) {
    for (uint32_t b = 0; b < kHistBins; ++b) {
        const uint32_t p = b >> 1;
        limit[b] = (b & 1) == 0 ? clip_curve[p] : (clip_curve[p] + clip_curve[p + 1] + 1) >> 1;
    }
}

void BlendTowards(uint32_t* cur, const uint32_t* prev, size_t count, uint32_t weight) {
    if (weight == 0) return;
    const int32_t w = static_cast<int32_t>(weight);
    for (size_t i = 0; i < count; ++i) {
        const int32_t c = static_cast<int32_t>(cur[i]);
        const int32_t diff = alad::WrapSub(static_cast<int32_t>(prev[i]), c);
        const int32_t step = alad::WrapAdd(4096, alad::WrapMul(diff, w)) >> 13;  // arithmetic shift
        cur[i] = static_cast<uint32_t>(alad::WrapAdd(c, step));
    }
}

struct CurveWork {
    uint32_t* hist = nullptr;
    uint32_t* raw = nullptr;
    uint32_t* smooth = nullptr;
    uint32_t* luma = nullptr;
};

}  // namespace

int32_t ad_calc_curve(uint32_t* curves, const uint32_t* hist, uint32_t width, uint32_t height,
                      const ad_param_t_* param) {
    if (hist == nullptr) return 0;
    if (curves == nullptr || param == nullptr || param->clip_curve == nullptr) return 1;
    BlockGrid grid;
    if (!cltm_detail::MakeBlockGridOrReport(width, height, *param, &grid)) return 1;
    const size_t n = grid.count();
    std::memset(curves, 0, n * kCurvePoints * sizeof(uint32_t));

    alad_debug_output_* store = alad_debug_output_::GetInstance();
    int debug_len = 0;
    const bool to_debug = store != nullptr && DebugCount(n * kHistBins, &debug_len);
    if (to_debug) {
        store->AllocateADProcCalcForewardBuffer(debug_len);
        store->AllocateADProcCalcBackwardBuffer(debug_len);
    }

    uint32_t limit[kHistBins];
    BinLimits(param->clip_curve, limit);
    uint32_t h[kHistBins];
    uint32_t fwd[kHistBins];
    uint32_t bwd[kHistBins];
    for (size_t k = 0; k < n; ++k) {
        std::memcpy(h, hist + k * kHistBins, sizeof(h));
        Normalise(h);
        ClipPass(h, limit, true, fwd);
        ClipPass(h, limit, false, bwd);
        if (to_debug) {
            store->SetADProcCalcForewardCurveData(fwd, static_cast<int>(kHistBins), static_cast<int>(k));
            store->SetADProcCalcBackwardCurveData(bwd, static_cast<int>(kHistBins), static_cast<int>(k));
        }
        for (size_t b = 0; b < kHistBins; ++b) h[b] = (fwd[b] + bwd[b] + 1) >> 1;
        Normalise(h);
        for (size_t b = 1; b < kHistBins; ++b) h[b] += h[b - 1];

        uint32_t* curve = curves + k * kCurvePoints;
        for (size_t j = 0; j < kCurvePoints; ++j) {
            const uint32_t v = (h[2 * j] + h[2 * j + 1] + 1) >> 1;
            curve[j] = v < kCurveMax ? v : kCurveMax;
        }
        // Every curve ends at full scale, even a block without samples.
        curve[kCurvePoints - 1] = kCurveMax;
    }
    return 0;
}

int32_t ad_smooth_curve(uint32_t* out, const uint32_t* in, uint32_t blk_w, uint32_t blk_h) {
    if (out == nullptr || in == nullptr) return 1;
    for (uint32_t by = 0; by < blk_h; ++by) {
        const uint32_t rows[3] = {by > 0 ? by - 1 : 0, by, by + 1 < blk_h ? by + 1 : by};
        for (uint32_t bx = 0; bx < blk_w; ++bx) {
            const uint32_t cols[3] = {bx > 0 ? bx - 1 : 0, bx, bx + 1 < blk_w ? bx + 1 : bx};
            const uint32_t* nb[9];
            for (int r = 0; r < 3; ++r) {
                for (int c = 0; c < 3; ++c) {
                    nb[3 * r + c] = in + (static_cast<size_t>(rows[r]) * blk_w + cols[c]) * kCurvePoints;
                }
            }
            uint32_t* dst = out + (static_cast<size_t>(by) * blk_w + bx) * kCurvePoints;
            for (size_t j = 0; j < kCurvePoints; ++j) {
                const uint32_t sum = nb[0][j] + nb[1][j] + nb[2][j] + nb[3][j] + 8u * nb[4][j] + nb[5][j] + nb[6][j] +
                                     nb[7][j] + nb[8][j];
                dst[j] = sum >> 4;
            }
        }
    }
    return 0;
}

int32_t ad_transition_curve(uint32_t* cur, const uint32_t* prev, uint32_t blk_w, uint32_t blk_h, uint32_t weight) {
    if (cur == nullptr || prev == nullptr) return 1;
    BlendTowards(cur, prev, static_cast<size_t>(blk_w) * blk_h * kCurvePoints, weight);
    return 0;
}

void cltm_detail::CurvesFromHistograms(uint32_t* curves, const uint32_t* hist, uint32_t* raw, uint32_t* smooth,
                                       uint32_t width, uint32_t height, uint32_t weight, const ad_param_t_& param,
                                       const BlockGrid& grid, bool to_debug) {
    const size_t n = grid.count();
    int count = 0;
    if (to_debug && DebugCount(n * kHistBins, &count)) {
        if (alad_debug_output_* store = alad_debug_output_::GetInstance())
            store->SetADProcCalcCurveHistData(hist, count);
    }
    ad_calc_curve(raw, hist, width, height, &param);
    const bool curves_to_debug = to_debug && DebugCount(n * kCurvePoints, &count);
    if (curves_to_debug) {
        if (alad_debug_output_* store = alad_debug_output_::GetInstance())
            store->SetADProcCalcCurveTmpCurveData(raw, count);
    }
    ad_smooth_curve(smooth, raw, grid.bw, grid.bh);
    if (curves_to_debug) {
        if (alad_debug_output_* store = alad_debug_output_::GetInstance())
            store->SetADProcCalcCurveSmoothCurveData(smooth, count);
    }
    BlendTowards(smooth, curves, n * kCurvePoints, weight);
    if (n > 0) std::memcpy(curves, smooth, n * kCurvePoints * sizeof(uint32_t));
    if (curves_to_debug) {
        if (alad_debug_output_* store = alad_debug_output_::GetInstance())
            store->SetADProcCalcCurveTransitionCurveData(curves, count);
    }
}

int32_t ad_proc_calc_curve(uint32_t* curves, uint32_t* global_hist, uint32_t* sum, const uint32_t* rgb, uint32_t width,
                           uint32_t height, uint32_t weight, const ad_param_t_* param) {
    if (curves == nullptr || rgb == nullptr || param == nullptr || param->clip_curve == nullptr) return 1;
    BlockGrid grid;
    if (!cltm_detail::MakeBlockGridOrReport(width, height, *param, &grid)) return 1;
    size_t hist_count = 0, curve_count = 0, pixels = 0;
    CurveWork work;
    // Everything is taken up front (the histogram's luma plane too), so that a failure leaves the
    // caller's curves and the debug store as they were.
    if (cltm_detail::CountOf(grid.count(), kHistBins, 1, &hist_count) &&
        cltm_detail::CountOf(grid.count(), kCurvePoints, 1, &curve_count) &&
        cltm_detail::CountOf(width, height, 1, &pixels) && pixels < SIZE_MAX) {
        work.hist = cltm_detail::AllocU32(hist_count);
        work.raw = cltm_detail::AllocU32(curve_count);
        work.smooth = cltm_detail::AllocU32(curve_count);
        work.luma = cltm_detail::AllocU32(pixels + 1);
    }
    int32_t result = 1;
    if (work.hist != nullptr && work.raw != nullptr && work.smooth != nullptr && work.luma != nullptr) {
        cltm_detail::CalcHistogramWithScratch(work.hist, global_hist, sum, rgb, width, height, *param, grid, work.luma);
        cltm_detail::CurvesFromHistograms(curves, work.hist, work.raw, work.smooth, width, height, weight, *param, grid, true);
        result = 0;
    }
    std::free(work.hist);
    std::free(work.raw);
    std::free(work.smooth);
    std::free(work.luma);
    return result;
}

int32_t ad_proc_calc_curve_luma(uint32_t* curves, uint32_t* global_hist, uint32_t* sum, const uint32_t* luma,
                                uint32_t width, uint32_t height, uint32_t weight, const ad_param_t_* param) {
    if (curves == nullptr || luma == nullptr || param == nullptr || param->clip_curve == nullptr) return 1;
    BlockGrid grid;
    if (!cltm_detail::MakeBlockGridOrReport(width, height, *param, &grid)) return 1;
    size_t hist_count = 0, curve_count = 0;
    CurveWork work;
    if (cltm_detail::CountOf(grid.count(), kHistBins, 1, &hist_count) &&
        cltm_detail::CountOf(grid.count(), kCurvePoints, 1, &curve_count)) {
        work.hist = new (std::nothrow) uint32_t[hist_count + 1];
        work.raw = new (std::nothrow) uint32_t[curve_count + 1];
        work.smooth = new (std::nothrow) uint32_t[curve_count + 1];
    }
    int32_t result = 1;
    if (work.hist != nullptr && work.raw != nullptr && work.smooth != nullptr) {
        ad_calc_histogram_luma(work.hist, global_hist, sum, luma, width, height, param);
        cltm_detail::CurvesFromHistograms(curves, work.hist, work.raw, work.smooth, width, height, weight, *param, grid, false);
        result = 0;
    }
    delete[] work.hist;
    delete[] work.raw;
    delete[] work.smooth;
    return result;
}

}  // namespace kelvo
