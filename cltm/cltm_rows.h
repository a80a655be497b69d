// Row kernels of the CLTM frame sweep: the arithmetic of cltm_histogram.cpp and cltm_map.cpp,
// rearranged for speed on frames whose 10-bit codes are all 0..1023 (what the Mat drivers hand
// over after clamping). The plain functions stay the reference; every kernel here is tested
// against them for equality.
//
// What makes them faster:
// - each block curve is read off once per frame at all 1024 lumas, and the values of the four
//   blocks a pixel blends are kept together with the reciprocal of its luma in one 64-bit entry
//   of its row pair's tables (RowQuads), so a pixel's look-ups are one load;
// - the block pairing and the weights depend only on the column or only on the row, so they are
//   tables made once per frame;
// - the blends b + ((128 + (a - b) * w) >> 8) are computed as (a * w + b * (256 - w) + 128) >> 8
//   (the same value: subtracting 256 * b inside a floor division by 256 subtracts exactly b),
//   which for 10-bit values and 0 <= w <= 256 is one multiply-add of 16-bit pairs;
// - 10-bit values are processed a whole vector at a time in 16-bit lanes with OpenCV's universal
//   intrinsics, widening to 32 bits only for products that need it, over row buffers that stay in
//   the first-level cache; the kernels are built for the baseline instruction set (SSE2 on x86-64,
//   NEON on arm64) and again for AVX2 and for AVX-512, chosen at run time (common/simd.h);
// - the filter's weight of a pair of neighbours is looked up once and used by both pixels;
// - the AVX-512 build looks the reciprocal up and interpolates the detail gain in registers
//   (permutes), which is faster there than loads from tables in memory;
// - the output plane is written packed, a third of the values (CLTMBufferManager);
// - the colour step scales a channel by one rounding multiply where no gain of the vector reaches
//   2^15 (nearly always);
// - the input is prefetched a little ahead of the row's mapping.
//
// Row buffers hold int16 values, are padded to a multiple of kRowPad pixels and may be read up to
// that padding. Luma rows read by the filter are valid from
// index -1 to the padded width inclusive (the frame's edge pixel repeated).
#ifndef ALAD_CLTM_CLTM_ROWS_H
#define ALAD_CLTM_CLTM_ROWS_H

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "cltm/cltm_internal.h"
#include "cltm/cltm_params.h"

namespace kelvo {
namespace cltm_rows {

constexpr int kRowPad = 32;  // pixels per vector step of the widest build (AVX-512)
constexpr int kLumaCodes = 1024;

inline int PaddedWidth(int width) { return (width + kRowPad - 1) / kRowPad * kRowPad; }

// What the kernels read of a frame's tables, as plain pointers (see MapTables).
struct TableView {
    const int32_t* column = nullptr;
    const int32_t* wx = nullptr;
    const int32_t* wy = nullptr;
    const int32_t* range_weight = nullptr;
    const uint8_t* range_weight_bytes = nullptr;  // the 32 range weights as bytes
    const int32_t* detail_gain = nullptr;
    // The detail gain's 16 points and the steps to the next (0 after the last), for builds that
    // interpolate it in registers.
    const int32_t* detail_points = nullptr;
    const int32_t* detail_steps = nullptr;
    const int32_t* reciprocal = nullptr;     // Q, 256 entries
    const uint16_t* reciprocal16 = nullptr;  // the same as 16-bit values (all below 2^16)
    // Where the build computes the block curves in registers (see MapTables).
    const int32_t* vector_pair = nullptr;
    const int16_t* wx_rounding = nullptr;
    const uint32_t* wx_whole = nullptr;
    int32_t centre_weight = 0;
    bool luma_select = false;
    bool detail_direct = false;
};

// Everything about a frame's mapping that depends on the curve set, the geometry and the filter
// settings but not on the pixels.
struct MapTables {
    // Each block curve at all 1024 lumas, as _tone_mapping reads one curve, block after block.
    std::vector<uint16_t> values;
    // The distinct (left, right) block column pairs along a row and (upper, lower) block row pairs
    // down the frame, in order.
    std::vector<std::pair<uint32_t, uint32_t>> column_pairs, row_pairs;
    // Per column (padded width): the offset of its column pair's table in a row pair's quads
    // (RowQuads), and the left weight packed as wx | (256 - wx) << 16.
    std::vector<int32_t> column, wx;
    // Per row: the index of its row pair, and the upper weight packed like wx.
    std::vector<int32_t> row_pair, wy;
    uint32_t blocks_per_row = 0;
    // For builds that compute the block curves in registers (RowKernels::curves_in_registers):
    // each block curve's segments (CurveSegments), block after block; per vector of kRowPad
    // pixels from column 0, the column pair of all its pixels, or -1 where it has more than one
    // (those pixels take their quads); the left weight w per column again as w << 7 (0 where w is
    // 256), and per vector a bit per pixel set where w is 256.
    std::vector<int16_t> segments;
    std::vector<int32_t> vector_pair;
    std::vector<int16_t> wx_rounding;
    std::vector<uint32_t> wx_whole;
    // Whether any pixel takes its quads (RowQuads).
    bool quads_needed = true;
    // Filter: the weight of a neighbour at |difference| d (0..1023), the detail gain at luma i.
    std::vector<int32_t> range_weight, detail_gain;
    int32_t detail_points[kDetailGainSize] = {}, detail_steps[kDetailGainSize] = {};
    uint8_t range_weight_bytes[32] = {};
    bool filter = false;
    TableView view;  // the above as the kernels read them
};

// Frames of more blocks than this go the plain way: the curve values take 2 KB per block (only
// register values far outside the block sizes of 32..256 pixels get there).
constexpr size_t kMaxBlocks = 16384;

// Fills the tables for a width x height frame (both > 0) mapped with `curves`. False when the
// sweep cannot take the frame: too many blocks, or filter settings outside what its 16-bit lanes
// hold (range weights of 256 or more, or a missing table); throws std::bad_alloc when memory runs
// out.
bool BuildMapTables(const uint32_t* curves, uint32_t width, uint32_t height, const ad_param_t_& param,
                    const cltm_detail::BlockGrid& grid, MapTables* tables);

// What the kernels read of one row pair: the four block curves of each column pair, as segments
// (corners[4 * column_pair + k] for upper left, upper right, lower left, lower right), and where
// they are needed, look-up tables of the four curves' values: quads[column_pair * 1024 + v] holds
// them at luma v, in 16-bit fields from the low end in the same order. The values take 10 bits;
// the spare bits hold Q[v >> 2], which the colour step and the detail scale need at the same
// luma: its bits 10-15 in the first field's, 4-9 in the second's and 0-3 in the top of the
// fourth's, so that each part is one shift or mask away from its place (except in builds that
// look Q up in registers, which leave them 0).
struct RowCurves {
    const int16_t* const* corners = nullptr;
    const uint64_t* quads = nullptr;
};

// The RowCurves of row pair after row pair, made when a row of another row pair comes, into
// storage sized by Reserve, so that a sweep allocates nothing once under way.
class RowQuads {
public:
    // Storage for the tables of `t` (made again for every frame); throws std::bad_alloc when
    // memory runs out.
    void Reserve(const MapTables& t);
    // The tables of row y's row pair.
    RowCurves ForRow(const MapTables& t, int y);

private:
    int32_t row_pair_ = -1;
    std::vector<const int16_t*> corners_;
    std::vector<uint64_t> quads_;
};

// A block curve as 64 segments of 16 lumas: starts[s] = 16 * (its value at luma 16 s) + 8 and
// rises[s] = its value at the segment's end point minus that value; the curve at luma v is then
// (starts[v >> 4] + rises[v >> 4] * (v & 15)) >> 4, as _tone_mapping interpolates it. `segments`
// takes the starts, then the rises.
constexpr size_t kSegmentValues = 2 * kCurvePoints;
void CurveSegments(const uint32_t* curve, int16_t* segments);

// One block curve at all 1024 lumas, as _tone_mapping reads one curve.
void CurveValues(const uint32_t* curve, uint16_t* values);

// Where a row's pixels come from: 12-bit B, G, R values (CV_32SC3), or the display driver's ARGB8888
// bytes (common/argb8888.h), widened to 12 bits on the way as the driver's conversion does.
struct RowInput {
    const int32_t* image = nullptr;
    const uint8_t* argb = nullptr;  // used when `image` is null
    bool Present() const { return image != nullptr || argb != nullptr; }
};

// Where a row's results go. Always the packed plane (c0 | c1 << 10 | c2 << 20 per pixel); and,
// where not null: as 12-bit codes (4v + (v >> 8)) interleaved B, G, R to `image` and `copy`
// (frame rows, the image's written with non-temporal stores); as they are to `next`, three rows
// of 10-bit values padded to whole vectors, which the next stage reads while they are in the
// cache; and narrowed to 8 bits (Narrow12To8 of the codes) over the R, G, B bytes of the ARGB8888
// row `argb`, whose alpha bytes are kept. The ARGB row may be the input row itself.
struct RowOutput {
    uint32_t* plane = nullptr;
    int32_t* image = nullptr;
    int32_t* copy = nullptr;
    int16_t* next[3] = {};
    uint8_t* argb = nullptr;
    // Whether the plane, too, goes past the cache: yes beside a 12-bit output image, no where the
    // frame is the driver's ARGB buffer, written with plain stores (one non-temporal stream among
    // plain stores made driver frames 6-10% slower, measured on a Zen 3).
    bool stream_plane = true;
};

// A row of 12-bit BGR pixels (`cols` of them) to planar 10-bit rows and luma: each value clamped
// to 0..4095 and shifted right by 2, luma the largest of the three. Padding pixels become 0.
void ConvertRow(const RowInput& in, int cols, int16_t* c0, int16_t* c1, int16_t* c2, int16_t* luma);

// 10-bit luma (max of the three clamped, shifted codes) of the first pixel of a row.
int32_t FirstLuma(const RowInput& in);

// Histogram samples of one sampled (odd) row, as ad_calc_histogram takes them: every other pixel
// from column 0, its own code >> 3 (mode 0) or the rounded mean of it and the next pixel >> 4
// (mode 1); the pixel after an odd-width row's last is `next_row_first`. Adds to the block row's
// histograms only: the global histogram and the sum follow from them. The counts are spread over
// kSampleCopies copies of the histograms, `copy_stride` values apart, to be added up afterwards.
constexpr int kSampleCopies = 4;
void SampleRow(const int16_t* luma, int cols, uint32_t mode, int32_t next_row_first, uint32_t log2w,
               uint32_t* block_row_hist, size_t copy_stride);

// The filter's neighbour weights of one row (see FilterRow): between the row and the one below,
// straight down, down-right and down-left, each indexed by the upper pixel.
struct PairWeights {
    int16_t* down = nullptr;
    int16_t* down_right = nullptr;
    int16_t* down_left = nullptr;
};
void DownWeights(const MapTables& t, const int16_t* upper, const int16_t* lower, int cols, const PairWeights& out);
// Between each pixel of a row and its right neighbour, from index -1.
void RightWeights(const MapTables& t, const int16_t* row, int cols, int16_t* right);

// _filter3x3 of every pixel of a row from its luma, the rows above and below (edge rows repeated
// by the caller) and the neighbour weights: `above` from DownWeights(row above, row), `below`
// from DownWeights(row, row below), `right` from RightWeights(row). Each pair weight is thus
// looked up once and used by both pixels of the pair.
void FilterRow(const MapTables& t, const int16_t* above_row, const int16_t* row, const int16_t* below_row,
               const PairWeights& above, const PairWeights& below, const int16_t* right, int cols, int16_t* filtered);

// The colour step of ad_enhance_rgb: its constants for a frame.
struct ColourStep {
    int32_t offset = 0;
    int32_t ratio = 0;
    uint32_t strength = 255;
};

// The rest of filtered row y of 10-bit planar rows (channels, luma, the filtered luma of
// FilterRow), as ad_enhance_luma and ad_enhance_rgb finish it: the filtered luma through the four
// block curves of each pixel (`row`: RowQuads::ForRow), the detail added back, the colour step,
// written to `out`.
// With `ahead_in`, also ConvertRow of that row into `ahead` (edges left to the caller), its
// reads spread over the row's work.
struct PlanarRow {
    int16_t* c0 = nullptr;
    int16_t* c1 = nullptr;
    int16_t* c2 = nullptr;
    int16_t* luma = nullptr;
};
void FilteredMapRow(const MapTables& t, const RowCurves& row, const ColourStep& step, int y, const int16_t* c0,
                    const int16_t* c1, const int16_t* c2, const int16_t* luma, const int16_t* filtered, int cols,
                    const RowOutput& out, const RowInput& ahead_in, const PlanarRow& ahead);

// The first frame's pass-through: the planar 10-bit rows written out as they are (as
// FilteredMapRow writes its results).
void CopyRow(const int16_t* c0, const int16_t* c1, const int16_t* c2, int cols, const RowOutput& out);

// The whole unfiltered row y, from the input row to the outputs, a vector's worth of pixels at a
// time: the conversion of ConvertRow and the mapping of FilteredMapRow without the filter, in one
// pass with reads and writes interleaved. The 10-bit luma is also left in `luma` (for the
// histograms).
void MapRow(const MapTables& t, const RowCurves& row, const ColourStep& step, int y, const RowInput& in, int cols,
            int16_t* luma, const RowOutput& out);

// FilteredMapRow, CopyRow and MapRow write whole aligned vectors with non-temporal stores; a thread
// calls this after its last row so that the rows are in memory before another thread reads them.
void FinishRows();

// The vectorised kernels of one build (cltm_row_kernels.h); the functions above call those of
// the build in use (common/simd.h).
struct RowKernels {
    void (*curve_values)(const int16_t* segments, uint16_t* values);
    void (*make_quads)(const uint16_t* upper_left, const uint16_t* upper_right, const uint16_t* lower_left,
                       const uint16_t* lower_right, const uint32_t* low_bits, const uint32_t* high_bits,
                       uint64_t* out);
    void (*convert)(const RowInput& in, int cols, int16_t* c0, int16_t* c1, int16_t* c2, int16_t* luma);
    void (*down_weights)(const TableView& t, const int16_t* upper, const int16_t* lower, int cols,
                         const PairWeights& out);
    void (*right_weights)(const TableView& t, const int16_t* row, int cols, int16_t* right);
    void (*filter)(const TableView& t, const int16_t* above_row, const int16_t* row, const int16_t* below_row,
                   const PairWeights& above, const PairWeights& below, const int16_t* right, int cols,
                   int16_t* filtered);
    void (*filtered_map_row)(const TableView& t, const RowCurves& row, const ColourStep& step, int y,
                             const int16_t* c0, const int16_t* c1, const int16_t* c2, const int16_t* luma,
                             const int16_t* filtered, int cols, const RowOutput& out, const RowInput& ahead_in,
                             const PlanarRow& ahead);
    void (*copy)(const int16_t* c0, const int16_t* c1, const int16_t* c2, int cols, const RowOutput& out);
    void (*stream_fence)();
    void (*map_row)(const TableView& t, const RowCurves& row, const ColourStep& step, int y, const RowInput& in,
                    int cols, int16_t* luma, const RowOutput& out);
    // Whether the mapping kernels compute the block curves in registers from their segments
    // wherever a vector's pixels share one column pair (the AVX-512 build).
    bool curves_in_registers;
};
namespace baseline {
const RowKernels& Kernels();
}
namespace avx2 {
const RowKernels& Kernels();
}
namespace avx512 {
const RowKernels& Kernels();
}

}  // namespace cltm_rows
}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_ROWS_H
