#include "cltm/cltm_rows.h"

#include <array>
#include <cstring>
#include <utility>

#include "cltm/cltm_map.h"
#include "common/argb8888.h"
#include "common/simd.h"
#include "common/wrap_int.h"

// The baseline build of the vectorised kernels.
#define ALAD_SIMD_NAMESPACE baseline
#include "cltm/cltm_row_kernels.h"
#undef ALAD_SIMD_NAMESPACE

namespace kelvo {
namespace cltm_rows {

namespace {

const RowKernels& Active() {
#if defined(ALAD_HAVE_AVX512_KERNELS)
    if (alad::ActiveSimdLevel() == alad::SimdLevel::kAvx512) return avx512::Kernels();
#endif
#if defined(ALAD_HAVE_AVX2_KERNELS)
    if (alad::ActiveSimdLevel() >= alad::SimdLevel::kAvx2) return avx2::Kernels();
#endif
    return baseline::Kernels();
}

// Q as 16-bit values, which the AVX-512 build looks up in registers.
const std::array<uint16_t, 256>& Reciprocal16() {
    static const std::array<uint16_t, 256> table = [] {
        std::array<uint16_t, 256> t{};
        for (size_t i = 0; i < t.size(); ++i) t[i] = static_cast<uint16_t>(kMapReciprocal[i]);
        return t;
    }();
    return table;
}

// The reciprocal Q[v >> 2] of each luma v spread over the spare bits of a quad (see MapTables).
struct ReciprocalBits {
    std::array<uint32_t, kLumaCodes> low, high;
};
const ReciprocalBits& QuadReciprocalBits() {
    static const ReciprocalBits bits = [] {
        ReciprocalBits b{};
        for (int v = 0; v < kLumaCodes; ++v) {
            const uint32_t q = kMapReciprocal[v >> 2];
            b.low[v] = (q & 0xFC00u) | ((q >> 4) & 63u) << 26;
            b.high[v] = (q & 15u) << 28;
        }
        return b;
    }();
    return bits;
}

// Packs a weight w (0..256) with its complement, low half first: the multiplier of a pair
// a | b << 16 in the kernels' blends.
int32_t WeightPair(uint32_t w) { return static_cast<int32_t>(w | ((256u - w) << 16)); }

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

}  // namespace

bool BuildMapTables(const uint32_t* curves, uint32_t width, uint32_t height, const ad_param_t_& param,
                    const cltm_detail::BlockGrid& grid, MapTables* t) {
    if (grid.count() > kMaxBlocks) return false;
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
    // within 0..256 for every block size; the blend by 16-bit pairs relies on it. The same down
    // the rows with (upper, lower) block pairs.
    using BlockPairs = std::vector<std::pair<uint32_t, uint32_t>>;
    auto walk = [](uint32_t length, uint32_t log2, uint32_t blocks, BlockPairs* pairs, int32_t* pair_of,
                   int32_t* weight_of) {
        pairs->clear();
        cltm_detail::BlockPairWalker walker(log2, blocks);
        for (uint32_t i = 0; i < length; ++i) {
            walker.Next(i);
            if (walker.weight > 256) return false;
            if (pairs->empty() || pairs->back() != std::make_pair(walker.first, walker.second)) {
                pairs->emplace_back(walker.first, walker.second);
            }
            pair_of[i] = static_cast<int32_t>(pairs->size() - 1);
            weight_of[i] = WeightPair(walker.weight);
        }
        return true;
    };
    const int padded = PaddedWidth(static_cast<int>(width));
    t->column.resize(padded);
    t->wx.resize(padded);
    t->row_pair.resize(height);
    t->wy.resize(height);
    if (!walk(width, grid.log2w, grid.bw, &t->column_pairs, t->column.data(), t->wx.data()) ||
        !walk(height, grid.log2h, grid.bh, &t->row_pairs, t->row_pair.data(), t->wy.data())) {
        return false;
    }
    for (uint32_t x = 0; x < width; ++x) t->column[x] *= kLumaCodes;
    for (int x = static_cast<int>(width); x < padded; ++x) {
        t->column[x] = t->column[width - 1];
        t->wx[x] = t->wx[width - 1];
    }
    t->segments.resize(grid.count() * kSegmentValues);
    t->values.resize(grid.count() * kLumaCodes);
    for (size_t b = 0; b < grid.count(); ++b) {
        int16_t* segments = t->segments.data() + b * kSegmentValues;
        CurveSegments(curves + b * kCurvePoints, segments);
        Active().curve_values(segments, t->values.data() + b * kLumaCodes);
    }
    t->blocks_per_row = grid.bw;

    // Where a vector's pixels share one column pair, the kernels that can compute their curves in
    // registers; the weights in the form they take there.
    const int vectors = padded / kRowPad;
    t->vector_pair.resize(vectors);
    t->wx_rounding.resize(padded);
    t->wx_whole.assign(vectors, 0);
    t->quads_needed = !Active().curves_in_registers;
    for (int k = 0; k < vectors; ++k) {
        const int32_t first = t->column[k * kRowPad], last = t->column[k * kRowPad + kRowPad - 1];
        t->vector_pair[k] = first == last ? first / kLumaCodes : -1;  // the pairs come in order
        if (first != last) t->quads_needed = true;
    }
    for (int x = 0; x < padded; ++x) {
        const uint32_t w = static_cast<uint32_t>(t->wx[x]) & 0xFFFFu;
        t->wx_rounding[x] = static_cast<int16_t>(w < 256 ? w << 7 : 0);
        if (w == 256) t->wx_whole[x / kRowPad] |= 1u << (x % kRowPad);
    }

    TableView& v = t->view;
    v = TableView();
    if (t->filter) {
        t->range_weight.resize(kLumaCodes);
        t->detail_gain.resize(kLumaCodes);
        for (uint32_t d = 0; d < kLumaCodes; ++d) {
            t->range_weight[d] = d < 256 ? static_cast<int32_t>(filter.range_weight[d >> 3]) : 0;
            t->detail_gain[d] = DetailGainAt(filter.detail_gain_curve, d);
        }
        for (size_t p = 0; p < kDetailGainSize; ++p) {
            t->detail_points[p] = static_cast<int32_t>(filter.detail_gain_curve[p]);
        }
        for (size_t p = 0; p + 1 < kDetailGainSize; ++p) {
            t->detail_steps[p] = alad::WrapSub(t->detail_points[p + 1], t->detail_points[p]);
        }
        for (size_t w = 0; w < kRangeWeightSize; ++w) {
            t->range_weight_bytes[w] = static_cast<uint8_t>(filter.range_weight[w]);  // all below 256
        }
        v.range_weight = t->range_weight.data();
        v.range_weight_bytes = t->range_weight_bytes;
        v.detail_gain = t->detail_gain.data();
        v.detail_points = t->detail_points;
        v.detail_steps = t->detail_steps;
        v.centre_weight = static_cast<int32_t>(filter.range_weight[0]);
        v.luma_select = filter.filter_luma_select != 0;
        v.detail_direct = filter.filter_detail_direct != 0;
    }
    v.vector_pair = t->vector_pair.data();
    v.wx_rounding = t->wx_rounding.data();
    v.wx_whole = t->wx_whole.data();
    v.column = t->column.data();
    v.wx = t->wx.data();
    v.wy = t->wy.data();
    v.reciprocal = reinterpret_cast<const int32_t*>(kMapReciprocal.data());
    v.reciprocal16 = Reciprocal16().data();
    return true;
}

void RowQuads::Reserve(const MapTables& t) {
    corners_.resize(t.column_pairs.size() * 4);
    quads_.resize(t.quads_needed ? t.column_pairs.size() * kLumaCodes : 0);
    row_pair_ = -1;
}

RowCurves RowQuads::ForRow(const MapTables& t, int y) {
    const int32_t pair = t.row_pair[y];
    if (pair != row_pair_) {
        const auto& rows = t.row_pairs[pair];
        for (size_t c = 0; c < t.column_pairs.size(); ++c) {
            const auto& columns = t.column_pairs[c];
            const uint32_t blocks[4] = {rows.first * t.blocks_per_row + columns.first,
                                        rows.first * t.blocks_per_row + columns.second,
                                        rows.second * t.blocks_per_row + columns.first,
                                        rows.second * t.blocks_per_row + columns.second};
            for (int k = 0; k < 4; ++k) corners_[4 * c + k] = t.segments.data() + blocks[k] * kSegmentValues;
            if (t.quads_needed) {
                const auto values = [&](int k) { return t.values.data() + size_t{blocks[k]} * kLumaCodes; };
                const ReciprocalBits& q = QuadReciprocalBits();
                Active().make_quads(values(0), values(1), values(2), values(3), q.low.data(), q.high.data(),
                                    quads_.data() + c * kLumaCodes);
            }
        }
        row_pair_ = pair;
    }
    return RowCurves{corners_.data(), quads_.data()};
}

void CurveSegments(const uint32_t* curve, int16_t* segments) {
    int32_t start = 0;  // the first segment starts at 0
    for (size_t s = 0; s < kCurvePoints; ++s) {
        const uint32_t p = (curve[s] + 32u) >> 6;  // u32, wrapping as _tone_mapping's
        const int32_t point = static_cast<int32_t>(p < 1023u ? p : 1023u);
        segments[s] = static_cast<int16_t>(16 * start + 8);
        segments[kCurvePoints + s] = static_cast<int16_t>(point - start);
        start = point;
    }
}

void CurveValues(const uint32_t* curve, uint16_t* values) {
    int16_t segments[kSegmentValues];
    CurveSegments(curve, segments);
    Active().curve_values(segments, values);
}

void ConvertRow(const RowInput& in, int cols, int16_t* c0, int16_t* c1, int16_t* c2, int16_t* luma) {
    Active().convert(in, cols, c0, c1, c2, luma);
}

int32_t FirstLuma(const RowInput& in) {
    int32_t first[3];
    if (in.image != nullptr) {
        std::memcpy(first, in.image, sizeof(first));
    } else {
        alad::WidenArgbRow(in.argb, 1, first);
    }
    int32_t m = 0;
    for (int32_t v : first) {
        v = (v < 0 ? 0 : (v > 4095 ? 4095 : v)) >> 2;
        m = v > m ? v : m;
    }
    return m;
}

void SampleRow(const int16_t* luma, int cols, uint32_t mode, int32_t next_row_first, uint32_t log2w,
               uint32_t* block_row_hist, size_t copy_stride) {
    if (mode > 1) return;
    // Block by block, so that the histograms in use stay put. The bins of a run of samples are
    // worked out first (a loop that vectorises), then counted four at a time into the four
    // copies, so that increments of one bin (neighbours often share one) do not wait on each
    // other.
    static_assert(kSampleCopies == 4, "the counting loop fills four copies");
    constexpr int kRun = 128;
    uint16_t bins[kRun];
    const int64_t block = int64_t{1} << log2w;
    for (int start = 0; start < cols; start = static_cast<int>(start + block < cols ? start + block : cols)) {
        uint32_t* hist[kSampleCopies];
        for (int k = 0; k < kSampleCopies; ++k) {
            hist[k] = block_row_hist + k * copy_stride + (static_cast<uint32_t>(start) >> log2w) * kHistBins;
        }
        const int end = static_cast<int>(start + block < cols ? start + block : cols);
        // Blocks one pixel wide start on odd columns too.
        for (int first = start + (start & 1); first < end; first += 2 * kRun) {
            const int n = (end - first + 1) / 2 < kRun ? (end - first + 1) / 2 : kRun;
            const int16_t* at = luma + first;
            if (mode == 0) {
                for (int i = 0; i < n; ++i) bins[i] = static_cast<uint16_t>(static_cast<uint16_t>(at[2 * i]) >> 3);
            } else {
                // The row buffer is padded: the partner of an odd-width row's last pixel is read
                // there and replaced below.
                for (int i = 0; i < n; ++i) bins[i] = static_cast<uint16_t>((at[2 * i] + at[2 * i + 1] + 1) >> 4);
                if (first + 2 * (n - 1) + 1 == cols) {
                    bins[n - 1] = static_cast<uint16_t>(static_cast<uint32_t>(at[2 * (n - 1)] + next_row_first + 1) >> 4);
                }
            }
            int i = 0;
            for (; i + 4 <= n; i += 4) {
                ++hist[0][bins[i]];
                ++hist[1][bins[i + 1]];
                ++hist[2][bins[i + 2]];
                ++hist[3][bins[i + 3]];
            }
            for (; i < n; ++i) ++hist[i & 3][bins[i]];
        }
    }
}


void DownWeights(const MapTables& t, const int16_t* upper, const int16_t* lower, int cols, const PairWeights& out) {
    Active().down_weights(t.view, upper, lower, cols, out);
}

void RightWeights(const MapTables& t, const int16_t* row, int cols, int16_t* right) {
    Active().right_weights(t.view, row, cols, right);
}

void FilterRow(const MapTables& t, const int16_t* above_row, const int16_t* row, const int16_t* below_row,
               const PairWeights& above, const PairWeights& below, const int16_t* right, int cols, int16_t* filtered) {
    Active().filter(t.view, above_row, row, below_row, above, below, right, cols, filtered);
}


void FilteredMapRow(const MapTables& t, const RowCurves& row, const ColourStep& step, int y, const int16_t* c0,
                    const int16_t* c1, const int16_t* c2, const int16_t* luma, const int16_t* filtered, int cols,
                    const RowOutput& out, const RowInput& ahead_in, const PlanarRow& ahead) {
    Active().filtered_map_row(t.view, row, step, y, c0, c1, c2, luma, filtered, cols, out, ahead_in, ahead);
}

void CopyRow(const int16_t* c0, const int16_t* c1, const int16_t* c2, int cols, const RowOutput& out) {
    Active().copy(c0, c1, c2, cols, out);
}

void MapRow(const MapTables& t, const RowCurves& row, const ColourStep& step, int y, const RowInput& in, int cols,
            int16_t* luma, const RowOutput& out) {
    Active().map_row(t.view, row, step, y, in, cols, luma, out);
}

void FinishRows() { Active().stream_fence(); }

}  // namespace cltm_rows
}  // namespace kelvo
