// CLTM state: the parameter block, block geometry, the working buffers and the video context.
//
// CLTM models a hardware block: every quantity is a 32-bit integer, every division by a block size
// is a shift, and all working state lives in a few flat arrays. Pixel planes hold 10-bit codes in
// u32, three interleaved channels per pixel (RGB planes) or one (luma planes), rows back to back.
#ifndef ALAD_CLTM_CLTM_PARAMS_H
#define ALAD_CLTM_CLTM_PARAMS_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "alad/alad_records.h"
#include "cltm/cltm_user.h"

namespace kelvo {

// Number of entries of the arrays behind the parameter block's pointers.
constexpr size_t kClipCurveSize = ALAD_HIST_ADJUST_CURVE_SIZE;
constexpr size_t kRangeWeightSize = 32;
constexpr size_t kDetailGainSize = 16;
// Entries of one block's tone curve and bins of one block's histogram.
constexpr size_t kCurvePoints = 64;
constexpr size_t kHistBins = 128;

// Clip-limit curves over the 10-bit range (entry i at luma 16*i; 512 is the flat level of a
// histogram normalised to 65536 over 128 bins), the filter's range weights and the detail gains.
extern const uint32_t kClipCurveDefault[kClipCurveSize];
extern const uint32_t kClipCurveA[kClipCurveSize];
extern const uint32_t kClipCurveB[kClipCurveSize];
extern const uint32_t kClipCurveC[kClipCurveSize];
extern const uint32_t kRangeWeights[kRangeWeightSize];
extern const uint32_t kDetailGains[kDetailGainSize];

// Settings of the detail filter, handed as one record to the curve application.
struct ad_filter_t_ {
    uint32_t filter_luma_select = 0;        // 0: detail gain indexed by the raw luma, else by the filtered
    uint32_t filter_detail_direct = 0;      // 0: detail scaled by the tone gain, else used as it is
    uint32_t* range_weight = nullptr;       // 32 entries, indexed by |difference| / 8
    uint32_t* detail_gain_curve = nullptr;  // 16 entries, 64 codes apart, 256 = gain 1.0
    uint8_t filter_enable = 0;              // non-zero: the filter runs
};

struct ad_param_t_ {
    uint32_t blk_width_log2 = 8;
    uint32_t blk_height_log2 = 8;
    uint32_t hist_mode = 0;  // 0: left pixel of each 2x2 cell, 1: pair mean, else none
    uint32_t reserved1 = 0;
    uint32_t* clip_curve = nullptr;  // 65 entries
    uint32_t blk_h_num = 0;          // block rows for the configured size (read-back only)
    uint32_t blk_w_num = 0;          // block columns for the configured size (read-back only)
    uint32_t curve_transition = 0;   // weight of the previous curves, in 1/8192
    uint32_t reserved2 = 0;
    ad_filter_t_ filter;
    int32_t linear_adj_offset = 0;  // in 10-bit codes; offset and ratio both 0: off
    int32_t linear_adj_ratio = 0;   // in 1/256
    uint32_t strength_mode = 0;     // 0: jump to the target, else ramp towards it
    uint32_t strength_target = 0;   // 0..255, 255 = full strength
    uint32_t strength_step = 5;
    uint32_t strength_interval = 0;  // frames to wait between ramp steps
};

// Owns a parameter block together with the three arrays it points to, wired up and filled.
// Not copyable or movable: the block points into the object itself.
class CLTMParamBlock {
public:
    CLTMParamBlock();
    explicit CLTMParamBlock(const alad_cltm_user& user);
    CLTMParamBlock(const CLTMParamBlock&) = delete;
    CLTMParamBlock& operator=(const CLTMParamBlock&) = delete;

    ad_param_t_* get() { return &mParam; }
    const ad_param_t_* get() const { return &mParam; }
    ad_param_t_* operator->() { return &mParam; }
    const ad_param_t_* operator->() const { return &mParam; }

private:
    ad_param_t_ mParam;
    uint32_t mClipCurve[kClipCurveSize] = {};
    uint32_t mRangeWeight[kRangeWeightSize] = {};
    uint32_t mDetailGain[kDetailGainSize] = {};
};

// Video context: what CLTM carries from one frame to the next.
struct ad_cxt_t {
    uint32_t width;           // bound frame width, 0 = not yet bound
    uint32_t height;          // bound frame height, 0 = not yet bound
    uint32_t strength;        // strength of the last mapped frame (ramp state)
    uint32_t interval_count;  // frames since the last ramp step
    uint32_t first_frame;     // 1 until the first frame has been processed
};

// log2 of the hardware block size for a block size in pixels: 5..8, rounding up.
uint32_t _get_size_log2(uint32_t size);
// Blocks of 2^log2 pixels covering `size` pixels, the last one partial (32-bit unsigned, as the
// hardware computes it; the shift count is taken modulo 32).
uint32_t ad_get_blk_num(uint32_t size, uint32_t log2);

// Fills the parameter block from the user record. The three arrays must already be allocated.
// Returns 0, or 1 (nothing written) when the block or one of its arrays is missing.
int32_t GetParamsCLTM(ad_param_t_* param, const alad_cltm_user& user);

// Contexts are made with the C allocator; null when it fails.
ad_cxt_t* ad_init_video();
void ad_reset_video(ad_cxt_t* ctx);
void ad_deinit_video(ad_cxt_t* ctx);

struct CLTMSweepStorage;

// The CLTM working buffers of one frame geometry. Frees its arrays when destroyed.
class CLTMBufferManager {
public:
    CLTMBufferManager() = default;
    ~CLTMBufferManager();
    CLTMBufferManager(const CLTMBufferManager&) = delete;
    CLTMBufferManager& operator=(const CLTMBufferManager&) = delete;

    // (Re-)allocates every array for a width x height frame and the block geometry of `param`;
    // the curves and the histogram start at zero, so video restarts from flat curves. Returns 0,
    // or 1 with every array released when `param` is null or memory runs out.
    int32_t AllocateBufferBySize(uint32_t width, uint32_t height, const ad_param_t_* param);
    // Zeroes the curve set and the histogram buffer; the planes keep their contents.
    void ResetToneCurveBuffer();
    void Release();

    // True when a width x height frame with the block geometry of `param` fits the arrays.
    bool Fits(uint32_t width, uint32_t height, const ad_param_t_* param) const;
    uint32_t AllocatedWidth() const { return mAllocWidth; }
    uint32_t AllocatedHeight() const { return mAllocHeight; }

    // The sweep (cltm_frame.cpp) leaves the mapped frame packed at the start of mOutputPlane, one
    // u32 per pixel with the three 10-bit values at bits 0, 10 and 20, which is a third of the
    // writes; this many pixels are packed then, else 0. Spreads them out again as three values
    // per pixel; whatever reads the plane calls this first.
    void UnpackOutputPlane();

    uint32_t* mInputPlane = nullptr;   // width*height*3: the frame as 10-bit RGB
    uint32_t* mOutputPlane = nullptr;  // width*height*3: the mapped frame (see UnpackOutputPlane)
    uint32_t* mToneCurves = nullptr;   // mBlockNum*64: the curve set kept from frame to frame
    uint32_t* mHistBuffer = nullptr;   // 129: global histogram, then the sum of its samples
    uint32_t mBlockNum = 0;
    // The single-sweep video frame's working storage (cltm_frame.cpp), kept between frames.
    std::shared_ptr<CLTMSweepStorage> mSweepStorage;
    size_t mPackedPixels = 0;

private:
    uint32_t mAllocWidth = 0;
    uint32_t mAllocHeight = 0;
};

}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_PARAMS_H
