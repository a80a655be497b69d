#include "cltm/cltm_rows.h"

#include <algorithm>
#include <array>
#include <cstring>

#include <opencv2/core/hal/intrin.hpp>

#include "cltm/cltm_map.h"
#include "common/wrap_int.h"

namespace kelvo {
namespace cltm_rows {

namespace {

using cv::v_int16x8;
using cv::v_int32x4;
using cv::v_uint16x8;
using cv::v_uint32x4;

constexpr int16_t kMaxCode10 = 1023;

// Q[v >> 2] by 10-bit luma v (the colour gain and the detail scale index Q so), and Q as int32.
constexpr std::array<uint16_t, kLumaCodes> MakeReciprocalByLuma() {
    std::array<uint16_t, kLumaCodes> table{};
    for (int v = 0; v < kLumaCodes; ++v) table[v] = static_cast<uint16_t>(kMapReciprocal[v >> 2]);
    return table;
}
constexpr std::array<uint16_t, kLumaCodes> kReciprocalByLuma = MakeReciprocalByLuma();
const int32_t* Reciprocals() { return reinterpret_cast<const int32_t*>(kMapReciprocal.data()); }

// Packs a weight w (0..256) with its complement, low half first: the multiplier of a pair
// a | b << 16 in BlendPairs.
inline uint32_t WeightPair(uint32_t w) { return w | ((256u - w) << 16); }

// (a * w + b * (256 - w) + 128) >> 8 for four pairs a | b << 16 (0 <= a, b < 2^15) and weights
// packed by WeightPair: one multiply-add of 16-bit halves.
inline v_int32x4 BlendPairs(const v_int32x4& pairs, const v_int32x4& weights) {
    const v_int32x4 sum = cv::v_dotprod(cv::v_reinterpret_as_s16(pairs), cv::v_reinterpret_as_s16(weights));
    return cv::v_shr<8>(sum + cv::v_setall_s32(128));
}

// The same for eight pixels with a and b in separate rows; result in 16-bit lanes.
inline v_int16x8 Blend16(const v_int16x8& a, const v_int16x8& b, const v_int32x4& weights) {
    v_int16x8 low, high;
    cv::v_zip(a, b, low, high);
    return cv::v_pack(BlendPairs(cv::v_reinterpret_as_s32(low), weights),
                      BlendPairs(cv::v_reinterpret_as_s32(high), weights));
}

inline v_int16x8 Clamp10(const v_int16x8& v) {
    return cv::v_min(cv::v_max(v, cv::v_setzero_s16()), cv::v_setall_s16(kMaxCode10));
}

// Eight table entries at 16-bit indices, all inside the table.
inline v_int16x8 Gather(const int16_t* table, const v_int16x8& index) {
    alignas(16) int16_t i[8];
    cv::v_store_aligned(i, index);
    return v_int16x8(table[i[0]], table[i[1]], table[i[2]], table[i[3]], table[i[4]], table[i[5]], table[i[6]],
                     table[i[7]]);
}
inline v_uint16x8 Gather(const uint16_t* table, const v_int16x8& index) {
    alignas(16) int16_t i[8];
    cv::v_store_aligned(i, index);
    return v_uint16x8(table[i[0]], table[i[1]], table[i[2]], table[i[3]], table[i[4]], table[i[5]], table[i[6]],
                      table[i[7]]);
}
inline void Gather(const int32_t* table, const v_int16x8& index, v_int32x4& low, v_int32x4& high) {
    alignas(16) int16_t i[8];
    cv::v_store_aligned(i, index);
    low = v_int32x4(table[i[0]], table[i[1]], table[i[2]], table[i[3]]);
    high = v_int32x4(table[i[4]], table[i[5]], table[i[6]], table[i[7]]);
}

// a * b >> 8 for unsigned 16-bit a and b, as 32-bit lanes (the product's low and high halves put
// together).
inline void MulShift8(const v_uint16x8& a, const v_uint16x8& b, v_int32x4& low, v_int32x4& high) {
    const v_uint16x8 lo = cv::v_mul_wrap(a, b), hi = cv::v_mul_hi(a, b);
    v_uint16x8 p0, p1;
    cv::v_zip(lo, hi, p0, p1);  // the full products, as 32-bit lanes
    low = cv::v_reinterpret_as_s32(cv::v_shr<8>(cv::v_reinterpret_as_u32(p0)));
    high = cv::v_reinterpret_as_s32(cv::v_shr<8>(cv::v_reinterpret_as_u32(p1)));
}

inline v_int32x4 WidenLow(const v_int16x8& v) { return cv::v_expand_low(v); }
inline v_int32x4 WidenHigh(const v_int16x8& v) { return cv::v_expand_high(v); }

// 10-bit to 12-bit, the two top bits repeated at the bottom.
inline v_int16x8 To12Bit(const v_int16x8& v) { return cv::v_shl<2>(v) + cv::v_shr<8>(v); }

// Writes eight pixels of three planar rows interleaved as 32-bit values, or the first `count` of
// them at the end of a row; `twelve_bit` converts them on the way.
inline void StoreInterleaved(int32_t* dst, int count, const v_int16x8& a, const v_int16x8& b, const v_int16x8& c,
                             bool twelve_bit) {
    alignas(16) int16_t packed[3 * kRowPad];
    cv::v_store_interleave(packed, a, b, c);
    alignas(16) int32_t tail[3 * kRowPad];
    int32_t* out = count == kRowPad ? dst : tail;
    for (int k = 0; k < 3; ++k) {
        v_int16x8 v = cv::v_load_aligned(packed + 8 * k);
        if (twelve_bit) v = To12Bit(v);
        cv::v_store(out + 8 * k, WidenLow(v));
        cv::v_store(out + 8 * k + 4, WidenHigh(v));
    }
    if (count != kRowPad) std::memcpy(dst, tail, static_cast<size_t>(count) * 3 * sizeof(int32_t));
}

// Detail gain by luma, as ad_enhance_luma computes it (16 points 64 codes apart, linear in between
// below 960), in 32-bit two's complement.
int32_t DetailGainAt(const uint32_t* gain_curve, uint32_t i) {
    const uint32_t seg = i >> 6;
    const int32_t g0 = static_cast<int32_t>(gain_curve[seg]);
    if (i >= 960) return g0;
    const int32_t g1 = static_cast<int32_t>(gain_curve[seg + 1]);
    const int32_t frac = static_cast<int32_t>((i >> 2) & 15);
    return alad::WrapAdd(g0, alad::WrapMul(alad::WrapSub(g1, g0), frac) >> 4);
}

inline v_int16x8 AbsDiff(const v_int16x8& a, const v_int16x8& b) { return cv::v_max(a, b) - cv::v_min(a, b); }

}  // namespace

void CurveValues(const uint32_t* curve, uint16_t* values) {
    // Point s of the curve in 10-bit codes; segment s runs from point s - 1 (0 for the first) to
    // point s in sixteenths.
    int16_t point[kCurvePoints];
    for (size_t s = 0; s < kCurvePoints; ++s) {
        const uint32_t p = (curve[s] + 32u) >> 6;  // u32, wrapping as _tone_mapping's
        point[s] = static_cast<int16_t>(p < 1023u ? p : 1023u);
    }
    const v_int16x8 r_low(0, 1, 2, 3, 4, 5, 6, 7), r_high(8, 9, 10, 11, 12, 13, 14, 15);
    const v_int16x8 eight = cv::v_setall_s16(8), top = cv::v_setall_s16(kMaxCode10);
    for (size_t s = 0; s < kCurvePoints; ++s) {
        const int16_t lo = s == 0 ? 0 : point[s - 1];
        const v_int16x8 base = cv::v_setall_s16(lo);
        const v_int16x8 diff = cv::v_setall_s16(static_cast<int16_t>(point[s] - lo));
        // |diff * r| <= 1023 * 15: no 16-bit lane overflows.
        const v_int16x8 a = cv::v_min(base + cv::v_shr<4>(cv::v_mul_wrap(diff, r_low) + eight), top);
        const v_int16x8 b = cv::v_min(base + cv::v_shr<4>(cv::v_mul_wrap(diff, r_high) + eight), top);
        cv::v_store(reinterpret_cast<int16_t*>(values) + 16 * s, a);
        cv::v_store(reinterpret_cast<int16_t*>(values) + 16 * s + 8, b);
    }
}

bool BuildMapTables(const uint32_t* curves, uint32_t width, uint32_t height, const ad_param_t_& param,
                    const cltm_detail::BlockGrid& grid, MapTables* t) {
    const ad_filter_t_& filter = param.filter;
    t->filter = filter.filter_enable != 0;
    if (t->filter) {
        if (filter.range_weight == nullptr || filter.detail_gain_curve == nullptr) return false;
        for (size_t k = 0; k < kRangeWeightSize; ++k) {
            if (filter.range_weight[k] > 255) return false;
        }
    }

    // The pairing walk of ad_enhance_luma along a row, recorded once per frame: the distinct
    // (left, right) block pairs in order, and each column's pair and weight. The weights stay
    // within 0..256 for every block size; the blend by 16-bit pairs relies on it.
    const int padded = PaddedWidth(static_cast<int>(width));
    std::vector<std::pair<uint32_t, uint32_t>> pairs;
    t->column.resize(padded);
    t->wx.resize(padded);
    cltm_detail::BlockPairWalker columns(grid.log2w, grid.bw);
    for (uint32_t x = 0; x < width; ++x) {
        columns.Next(x);
        if (columns.weight > 256) return false;
        if (pairs.empty() || pairs.back() != std::make_pair(columns.first, columns.second)) {
            if (pairs.size() >= kMaxPairTables) return false;
            pairs.emplace_back(columns.first, columns.second);
        }
        t->column[x] = static_cast<int32_t>((pairs.size() - 1) * kLumaCodes);
        t->wx[x] = WeightPair(columns.weight);
    }
    for (int x = static_cast<int>(width); x < padded; ++x) {
        t->column[x] = t->column[width - 1];
        t->wx[x] = t->wx[width - 1];
    }
    if (static_cast<size_t>(grid.bh) * pairs.size() > kMaxPairTables) return false;

    t->upper.resize(height);
    t->lower.resize(height);
    t->wy.resize(height);
    cltm_detail::BlockPairWalker rows(grid.log2h, grid.bh);
    const size_t block_row = pairs.size() * kLumaCodes;
    for (uint32_t y = 0; y < height; ++y) {
        rows.Next(y);
        if (rows.weight > 256) return false;
        t->upper[y] = static_cast<int32_t>(rows.first * block_row);
        t->lower[y] = static_cast<int32_t>(rows.second * block_row);
        t->wy[y] = WeightPair(rows.weight);
    }

    t->pair.resize(static_cast<size_t>(grid.bh) * block_row);
    std::vector<uint16_t> values(static_cast<size_t>(grid.bw) * kLumaCodes);
    for (uint32_t by = 0; by < grid.bh; ++by) {
        for (uint32_t bx = 0; bx < grid.bw; ++bx) {
            CurveValues(curves + (static_cast<size_t>(by) * grid.bw + bx) * kCurvePoints,
                        values.data() + static_cast<size_t>(bx) * kLumaCodes);
        }
        for (size_t p = 0; p < pairs.size(); ++p) {
            const uint16_t* first = values.data() + pairs[p].first * kLumaCodes;
            const uint16_t* second = values.data() + pairs[p].second * kLumaCodes;
            uint32_t* out = t->pair.data() + by * block_row + p * kLumaCodes;
            for (int v = 0; v < kLumaCodes; v += 8) {
                v_uint16x8 a, b;
                cv::v_zip(cv::v_load(first + v), cv::v_load(second + v), a, b);
                cv::v_store(out + v, cv::v_reinterpret_as_u32(a));
                cv::v_store(out + v + 4, cv::v_reinterpret_as_u32(b));
            }
        }
    }

    if (t->filter) {
        t->luma_select = filter.filter_luma_select != 0;
        t->detail_direct = filter.filter_detail_direct != 0;
        t->range_weight.resize(kLumaCodes);
        t->detail_gain.resize(kLumaCodes);
        for (uint32_t d = 0; d < kLumaCodes; ++d) {
            t->range_weight[d] = static_cast<int16_t>(d < 256 ? filter.range_weight[d >> 3] : 0);
            t->detail_gain[d] = DetailGainAt(filter.detail_gain_curve, d);
        }
    }
    return true;
}

void ConvertRow(const int32_t* in, int cols, int16_t* c0, int16_t* c1, int16_t* c2, int16_t* luma) {
    const v_int16x8 zero = cv::v_setzero_s16(), top = cv::v_setall_s16(4095);
    for (int x = 0; x < cols; x += kRowPad) {
        const int32_t* src = in + 3 * x;
        int32_t tail[3 * kRowPad] = {};
        if (x + kRowPad > cols) {
            std::memcpy(tail, src, static_cast<size_t>(cols - x) * 3 * sizeof(int32_t));
            src = tail;
        }
        v_int32x4 a0, b0, d0, a1, b1, d1;
        cv::v_load_deinterleave(src, a0, b0, d0);
        cv::v_load_deinterleave(src + 3 * 4, a1, b1, d1);
        // The pack saturates to 16 bits, which leaves the clamp to 0..4095 unchanged.
        const v_int16x8 a = cv::v_shr<2>(cv::v_min(cv::v_max(cv::v_pack(a0, a1), zero), top));
        const v_int16x8 b = cv::v_shr<2>(cv::v_min(cv::v_max(cv::v_pack(b0, b1), zero), top));
        const v_int16x8 c = cv::v_shr<2>(cv::v_min(cv::v_max(cv::v_pack(d0, d1), zero), top));
        cv::v_store(c0 + x, a);
        cv::v_store(c1 + x, b);
        cv::v_store(c2 + x, c);
        cv::v_store(luma + x, cv::v_max(cv::v_max(a, b), c));
    }
}

int32_t FirstLuma(const int32_t* in) {
    int32_t m = 0;
    for (int c = 0; c < 3; ++c) m = std::max(m, std::clamp(in[c], 0, 4095) >> 2);
    return m;
}

void SampleRow(const int16_t* luma, int cols, uint32_t mode, int32_t next_row_first, uint32_t log2w,
               uint32_t* block_row_hist, uint32_t* global_hist, uint32_t* sum) {
    if (mode > 1) return;
    uint32_t total = 0;
    for (int x = 0; x < cols; x += 2) {
        uint32_t s;
        if (mode == 0) {
            s = static_cast<uint32_t>(luma[x]) >> 3;
        } else {
            const int32_t partner = x + 1 < cols ? luma[x + 1] : next_row_first;
            s = static_cast<uint32_t>(luma[x] + partner + 1) >> 4;
        }
        ++block_row_hist[(static_cast<uint32_t>(x) >> log2w) * kHistBins + s];
        ++global_hist[s];
        total += s;
    }
    *sum += total;
}

void ToneRow(const MapTables& t, int y, const int16_t* index, int cols, uint32_t* upper_pairs, uint32_t* lower_pairs,
             int16_t* out, const int16_t* luma, uint16_t* reciprocal) {
    const uint32_t* up = t.pair.data() + t.upper[y];
    const uint32_t* down = t.pair.data() + t.lower[y];
    const int32_t* column = t.column.data();
    const int padded = PaddedWidth(cols);
    if (reciprocal != nullptr) {
        const uint16_t* q = kReciprocalByLuma.data();
        for (int x = 0; x < padded; ++x) {
            const int32_t at = column[x] + index[x];
            upper_pairs[x] = up[at];
            lower_pairs[x] = down[at];
            reciprocal[x] = q[luma[x]];
        }
    } else {
        for (int x = 0; x < padded; ++x) {
            const int32_t at = column[x] + index[x];
            upper_pairs[x] = up[at];
            lower_pairs[x] = down[at];
        }
    }
    const v_int32x4 wy = cv::v_setall_s32(static_cast<int32_t>(t.wy[y]));
    const int32_t* wx = reinterpret_cast<const int32_t*>(t.wx.data());
    const int32_t* upper = reinterpret_cast<const int32_t*>(upper_pairs);
    const int32_t* lower = reinterpret_cast<const int32_t*>(lower_pairs);
    for (int x = 0; x < padded; x += kRowPad) {
        v_int32x4 half[2];
        for (int h = 0; h < 2; ++h) {
            const v_int32x4 w = cv::v_load(wx + x + 4 * h);
            // Horizontal blends of the upper and the lower block row, then the vertical one.
            const v_int32x4 top = BlendPairs(cv::v_load(upper + x + 4 * h), w);
            const v_int32x4 bottom = BlendPairs(cv::v_load(lower + x + 4 * h), w);
            half[h] = BlendPairs(top | cv::v_shl<16>(bottom), wy);
        }
        cv::v_store(out + x, cv::v_pack(half[0], half[1]));
    }
}

void DownWeights(const MapTables& t, const int16_t* upper, const int16_t* lower, int cols, const PairWeights& out) {
    const int16_t* weight = t.range_weight.data();
    const int padded = PaddedWidth(cols);
    for (int x = 0; x < padded; x += kRowPad) {
        const v_int16x8 u = cv::v_load(upper + x);
        cv::v_store(out.down + x, Gather(weight, AbsDiff(cv::v_load(lower + x), u)));
        cv::v_store(out.down_right + x, Gather(weight, AbsDiff(cv::v_load(lower + x + 1), u)));
        cv::v_store(out.down_left + x, Gather(weight, AbsDiff(cv::v_load(lower + x - 1), u)));
    }
    // The two ends the filter reads beyond the vector steps.
    out.down_right[-1] = weight[std::abs(lower[0] - upper[-1])];
    out.down_left[padded] = weight[std::abs(lower[padded - 1] - upper[padded])];
}

void RightWeights(const MapTables& t, const int16_t* row, int cols, int16_t* right) {
    const int16_t* weight = t.range_weight.data();
    const int padded = PaddedWidth(cols);
    for (int x = 0; x < padded; x += kRowPad) {
        cv::v_store(right + x, Gather(weight, AbsDiff(cv::v_load(row + x + 1), cv::v_load(row + x))));
    }
    right[-1] = weight[std::abs(row[0] - row[-1])];
}

void FilterRow(const MapTables& t, const int16_t* above_row, const int16_t* row, const int16_t* below_row,
               const PairWeights& above, const PairWeights& below, const int16_t* right, int cols, int16_t* filtered) {
    const int padded = PaddedWidth(cols);
    const int16_t centre_weight = t.range_weight[0];
    const v_int32x4 centre_pair = cv::v_setall_s32(centre_weight);  // weighs the centre, not its zero partner
    const v_uint32x4 half = cv::v_setall_u32(32768), top = cv::v_setall_u32(kMaxCode10);
    const v_int16x8 last_reciprocal = cv::v_setall_s16(255), zero = cv::v_setzero_s16();
    for (int x = 0; x < padded; x += kRowPad) {
        const v_int16x8 c = cv::v_load(row + x);
        // The eight neighbours and their weights: row above, same row, row below, left to right.
        const v_int16x8 w[8] = {
            cv::v_load(above.down_right + x - 1), cv::v_load(above.down + x),      cv::v_load(above.down_left + x + 1),
            cv::v_load(right + x - 1),            cv::v_load(right + x),           cv::v_load(below.down_left + x),
            cv::v_load(below.down + x),           cv::v_load(below.down_right + x)};
        const v_int16x8 n[8] = {cv::v_load(above_row + x - 1), cv::v_load(above_row + x), cv::v_load(above_row + x + 1),
                                cv::v_load(row + x - 1),       cv::v_load(row + x + 1),   cv::v_load(below_row + x - 1),
                                cv::v_load(below_row + x),     cv::v_load(below_row + x + 1)};
        // Weights are below 256, so their sum fits in 16 bits; the weighted sum takes 32.
        v_int16x8 weight_sum = cv::v_setall_s16(centre_weight);
        v_int16x8 lo, hi;
        cv::v_zip(c, zero, lo, hi);
        v_int32x4 weighted_lo = cv::v_dotprod(lo, cv::v_reinterpret_as_s16(centre_pair));
        v_int32x4 weighted_hi = cv::v_dotprod(hi, cv::v_reinterpret_as_s16(centre_pair));
        for (int j = 0; j < 8; j += 2) {
            weight_sum += w[j] + w[j + 1];
            v_int16x8 wl, wh, nl, nh;
            cv::v_zip(w[j], w[j + 1], wl, wh);
            cv::v_zip(n[j], n[j + 1], nl, nh);
            weighted_lo += cv::v_dotprod(wl, nl);
            weighted_hi += cv::v_dotprod(wh, nh);
        }
        v_int32x4 q_lo, q_hi;
        Gather(Reciprocals(), cv::v_min(weight_sum, last_reciprocal), q_lo, q_hi);
        const v_uint32x4 mean_lo =
            cv::v_min(cv::v_shr<16>(half + cv::v_reinterpret_as_u32(q_lo) * cv::v_reinterpret_as_u32(weighted_lo)), top);
        const v_uint32x4 mean_hi =
            cv::v_min(cv::v_shr<16>(half + cv::v_reinterpret_as_u32(q_hi) * cv::v_reinterpret_as_u32(weighted_hi)), top);
        const v_int16x8 mean = cv::v_pack(cv::v_reinterpret_as_s32(mean_lo), cv::v_reinterpret_as_s32(mean_hi));
        cv::v_store(filtered + x, cv::v_select(weight_sum == zero, c, mean));
    }
}

void DetailRow(const MapTables& t, const int16_t* luma, const int16_t* filtered, const int16_t* tone, int cols,
               int16_t* out) {
    const int padded = PaddedWidth(cols);
    for (int x = 0; x < padded; x += kRowPad) {
        const v_int16x8 v = cv::v_load(luma + x);
        const v_int16x8 f = cv::v_load(filtered + x);
        const v_int16x8 base = cv::v_load(tone + x);
        const v_int16x8 i = t.luma_select ? f : v;
        const v_int16x8 detail = v - f;
        v_int32x4 d_lo = WidenLow(detail), d_hi = WidenHigh(detail);
        if (!t.detail_direct) {
            // Scaled by the base's gain base / i: (Q[i >> 2] * base) >> 8, below 2^18.
            v_int32x4 gain_lo, gain_hi;
            MulShift8(Gather(kReciprocalByLuma.data(), i), cv::v_reinterpret_as_u16(base), gain_lo, gain_hi);
            d_lo = cv::v_shr<10>(gain_lo * d_lo);
            d_hi = cv::v_shr<10>(gain_hi * d_hi);
        }
        v_int32x4 g_lo, g_hi;
        Gather(t.detail_gain.data(), i, g_lo, g_hi);
        // Products wrap at 32 bits, as the scalar code's; the pack saturates before the clamp.
        const v_int32x4 r_lo = WidenLow(base) + cv::v_shr<8>(g_lo * d_lo);
        const v_int32x4 r_hi = WidenHigh(base) + cv::v_shr<8>(g_hi * d_hi);
        cv::v_store(out + x, Clamp10(cv::v_pack(r_lo, r_hi)));
    }
}

void ColourRow(const ColourStep& step, const int16_t* c0, const int16_t* c1, const int16_t* c2, const int16_t* luma,
               const int16_t* mapped, const uint16_t* reciprocal, int cols, uint32_t* plane, int32_t* image) {
    const bool linear = step.offset != 0 || step.ratio != 0;
    const bool blend = step.strength < 255;
    const v_int32x4 offset = cv::v_setall_s32(step.offset), ratio = cv::v_setall_s32(step.ratio);
    const v_int32x4 round8 = cv::v_setall_s32(128);
    const v_int32x4 strength = cv::v_setall_s32(static_cast<int32_t>(WeightPair(blend ? step.strength : 0)));
    const v_uint16x8 sixteen = cv::v_setall_u16(16), quarter = cv::v_setall_u16(256);
    const v_int16x8 top = cv::v_setall_s16(kMaxCode10);
    const int16_t* channels[3] = {c0, c1, c2};
    for (int x = 0; x < cols; x += kRowPad) {
        const v_int16x8 y_old = cv::v_load(luma + x);
        const v_int16x8 y_new = cv::v_load(mapped + x);
        // gain = (Q[y_old >> 2] * y_new) >> 8, about 1024 * y_new / y_old, below 2^18: its low
        // 16 bits and the rest, from the 32-bit product's halves.
        const v_uint16x8 q = cv::v_load(reciprocal + x);
        const v_uint16x8 p_lo = cv::v_mul_wrap(q, cv::v_reinterpret_as_u16(y_new));
        const v_uint16x8 p_hi = cv::v_mul_hi(q, cv::v_reinterpret_as_u16(y_new));
        const v_uint16x8 gain_lo = cv::v_shl<8>(p_hi) | cv::v_shr<8>(p_lo);
        const v_uint16x8 gain_hi = cv::v_shr<8>(p_hi);
        v_int16x8 result[3];
        for (int ch = 0; ch < 3; ++ch) {
            const v_int16x8 u = cv::v_load(channels[ch] + x);
            const v_uint16x8 uu = cv::v_reinterpret_as_u16(u);
            // min((512 + gain * u) >> 10, 1023) with gain * u = high * 65536 + low (high < 4096):
            // high * 64 + ((low + 512) >> 10), where high of 16 or more already gives 1023.
            const v_uint16x8 low = cv::v_mul_wrap(gain_lo, uu);
            const v_uint16x8 high = cv::v_mul_hi(gain_lo, uu) + cv::v_mul_wrap(gain_hi, uu);
            const v_uint16x8 rounded = cv::v_shr<9>(cv::v_shr<1>(low) + quarter);  // (low + 512) >> 10
            const v_int16x8 scaled =
                cv::v_min(cv::v_reinterpret_as_s16(cv::v_shl<6>(cv::v_min(high, sixteen)) + rounded), top);
            // The channel holding the maximum takes the new luma exactly.
            v_int16x8 m = cv::v_select(u == y_old, y_new, scaled);
            if (linear) {
                const v_int32x4 lo = offset + cv::v_shr<8>(round8 + WidenLow(m) * ratio);
                const v_int32x4 hi = offset + cv::v_shr<8>(round8 + WidenHigh(m) * ratio);
                m = Clamp10(cv::v_pack(lo, hi));  // the pack saturates, which the clamp absorbs
            }
            // u + (((m - u) * strength + 128) >> 8), with m and u both 0..1023: within 0..1023.
            if (blend) m = Blend16(m, u, strength);
            result[ch] = m;
        }
        const int count = std::min(kRowPad, cols - x);
        StoreInterleaved(reinterpret_cast<int32_t*>(plane) + 3 * x, count, result[0], result[1], result[2], false);
        StoreInterleaved(image + 3 * x, count, result[0], result[1], result[2], true);
    }
}

void CopyRow(const int16_t* c0, const int16_t* c1, const int16_t* c2, int cols, uint32_t* plane, int32_t* image) {
    for (int x = 0; x < cols; x += kRowPad) {
        const v_int16x8 a = cv::v_load(c0 + x), b = cv::v_load(c1 + x), c = cv::v_load(c2 + x);
        const int count = std::min(kRowPad, cols - x);
        StoreInterleaved(reinterpret_cast<int32_t*>(plane) + 3 * x, count, a, b, c, false);
        StoreInterleaved(image + 3 * x, count, a, b, c, true);
    }
}

}  // namespace cltm_rows
}  // namespace kelvo
