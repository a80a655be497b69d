// Helpers shared by the CLTM units: block geometry, guarded table indices and sized allocations.
// Private to cltm/.
#ifndef ALAD_CLTM_CLTM_INTERNAL_H
#define ALAD_CLTM_CLTM_INTERNAL_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "cltm/cltm_params.h"
#include "common/log.h"

namespace kelvo {
namespace cltm_detail {

// Block shifts are taken modulo 32, as ad_get_blk_num takes them, so a register value above 31
// cannot make a shift undefined and block indices always agree with the block counts.
inline uint32_t BlockShift(uint32_t log2) { return log2 & 31u; }

// Pixel codes are meant to be 0..1023, but the planes are public and can hold anything (a negative
// code arrives as a very large u32 and so counts as white, as the tone mapping's own min(v, 1023)
// treats it). Every table index derived from a code is clamped here, at the look-up, to the table's
// last entry; in-range codes never reach the clamp.
inline uint32_t ClampIndex(uint32_t index, uint32_t last) { return index < last ? index : last; }

inline int32_t Clamp10(int32_t v) { return v < 0 ? 0 : (v > 1023 ? 1023 : v); }

// Block columns and rows of a frame; false when the 32-bit block count would wrap (a size within
// 2^log2 of 2^32), which no real frame has but which would make the counts disagree with the
// pixel-to-block mapping.
struct BlockGrid {
    uint32_t bw = 0;
    uint32_t bh = 0;
    uint32_t log2w = 0;
    uint32_t log2h = 0;
    size_t count() const { return static_cast<size_t>(bw) * bh; }
};

inline bool MakeBlockGrid(uint32_t width, uint32_t height, uint32_t blk_width_log2, uint32_t blk_height_log2,
                          BlockGrid* grid) {
    grid->log2w = BlockShift(blk_width_log2);
    grid->log2h = BlockShift(blk_height_log2);
    const uint64_t span_w = (uint64_t{1} << grid->log2w) - 1;
    const uint64_t span_h = (uint64_t{1} << grid->log2h) - 1;
    if (width + span_w > UINT32_MAX || height + span_h > UINT32_MAX) return false;
    grid->bw = ad_get_blk_num(width, blk_width_log2);
    grid->bh = ad_get_blk_num(height, blk_height_log2);
    return true;
}

inline bool MakeBlockGrid(uint32_t width, uint32_t height, const ad_param_t_& param, BlockGrid* grid) {
    return MakeBlockGrid(width, height, param.blk_width_log2, param.blk_height_log2, grid);
}

// MakeBlockGrid with the engine's message when the frame cannot be cut into blocks.
inline bool MakeBlockGridOrReport(uint32_t width, uint32_t height, uint32_t blk_width_log2, uint32_t blk_height_log2,
                                  BlockGrid* grid) {
    if (MakeBlockGrid(width, height, blk_width_log2, blk_height_log2, grid)) return true;
    alad::LogError("ERROR: CLTM frame %ux%u is too large for blocks of 2^%u x 2^%u", width, height, blk_width_log2,
                   blk_height_log2);
    return false;
}

inline bool MakeBlockGridOrReport(uint32_t width, uint32_t height, const ad_param_t_& param, BlockGrid* grid) {
    return MakeBlockGridOrReport(width, height, param.blk_width_log2, param.blk_height_log2, grid);
}

// a*b*c, or false when it does not fit in size_t.
inline bool CountOf(size_t a, size_t b, size_t c, size_t* out) {
    size_t ab = 0;
    return !__builtin_mul_overflow(a, b, &ab) && !__builtin_mul_overflow(ab, c, out);
}

// An array of `count` u32 from the C allocator (at least one element, so that an empty frame is
// not mistaken for a failed allocation); null on failure or when the byte size overflows.
inline uint32_t* AllocU32(size_t count) {
    if (count == 0) count = 1;
    if (count > SIZE_MAX / sizeof(uint32_t)) return nullptr;
    return static_cast<uint32_t*>(std::malloc(count * sizeof(uint32_t)));
}

// Walks one axis (rows, or columns within a row) position by position: the pair of block indices
// whose curves a pixel blends and the weight of the first, in 1/256. Between two block centres the
// weight falls from 256 to just above 0, passing 128 at the block boundary; before the first centre
// and after the last one both blocks are the same.
struct BlockPairWalker {
    BlockPairWalker(uint32_t log2, uint32_t blocks)
        : shift(log2), count(blocks), half((1u << log2) >> 1), step(256u >> log2) {}

    void Next(uint32_t pos) {
        const uint32_t b = pos >> shift;
        const uint32_t k = pos - (b << shift);
        if (k == 0) {
            weight = 128;
        } else if (k == half) {
            weight = 256;
        } else {
            weight -= step;
        }
        if (b == 0 && k < half) {
            first = second = 0;
        } else if (b == count - 1 && k >= half) {
            first = second = count - 1;
        } else if (k == half) {
            first = second;
            second = second + 1;
        }
    }

    uint32_t shift, count, half, step;
    uint32_t first = 0, second = 0, weight = 0;
};

// ad_calc_histogram with the caller's luma scratch of width*height + 1 elements, so that a caller
// can take every allocation up front and fail before changing anything.
int32_t CalcHistogramWithScratch(uint32_t* hist, uint32_t* global_hist, uint32_t* sum, const uint32_t* rgb,
                                 uint32_t width, uint32_t height, const ad_param_t_& param, const BlockGrid& grid,
                                 uint32_t* luma);

// Video frame control shared by the RGB and luma drivers. RampStrength takes one ramp step
// (ctx.interval_count updated) and returns the new strength; BindVideoSize binds an unbound
// context to the frame size and refuses any other size with the driver's message.
uint32_t RampStrength(ad_cxt_t& ctx, const ad_param_t_& param);
bool BindVideoSize(ad_cxt_t& ctx, uint32_t width, uint32_t height);

// The steps of ad_proc_calc_curve after the histograms: curves (forward and backward clip results
// to the debug store), smoothing, the blend towards `curves` with `weight`, and the copy back into
// `curves`; with to_debug the histograms and the three curve sets go to the debug store as well.
// raw and smooth are the caller's work arrays of grid.count() * 64 values.
void CurvesFromHistograms(uint32_t* curves, const uint32_t* hist, uint32_t* raw, uint32_t* smooth, uint32_t width,
                          uint32_t height, uint32_t weight, const ad_param_t_& param, const BlockGrid& grid,
                          bool to_debug);

}  // namespace cltm_detail
}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_INTERNAL_H
