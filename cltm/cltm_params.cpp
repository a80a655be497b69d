#include "cltm/cltm_params.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "cltm/cltm_internal.h"
#include "common/log.h"
#include "common/wrap_int.h"

namespace kelvo {

const uint32_t kClipCurveDefault[kClipCurveSize] = {
    890, 889, 885, 877, 868, 856, 842, 826, 809, 790, 770, 749, 727, 703, 681, 657, 635, 613, 591, 570, 550, 532,
    514, 496, 481, 466, 453, 441, 430, 421, 411, 403, 397, 391, 385, 381, 377, 373, 370, 368, 366, 364, 362, 362,
    360, 360, 358, 358, 358, 358, 358, 357, 356, 356, 356, 356, 356, 356, 356, 356, 356, 357, 389, 645, 771,
};
const uint32_t kClipCurveA[kClipCurveSize] = {
    1424, 1413, 1385, 1342, 1286, 1217, 1142, 1060, 977, 894, 813, 737, 668, 605,  551, 504, 465,
    432,  405,  385,  368,  356,  347,  339,  335,  331, 328, 327, 326, 324, 324,  324, 324, 324,
    324,  324,  324,  324,  324,  324,  324,  324,  324, 324, 324, 324, 324, 324,  324, 324, 324,
    324,  324,  324,  324,  324,  324,  324,  324,  324, 324, 325, 390, 918, 1177,
};
const uint32_t kClipCurveB[kClipCurveSize] = {
    1943, 1906, 1818, 1685, 1520, 1337, 1153, 977, 822, 689, 582, 499, 438,  395,  365, 346, 335,
    327,  323,  321,  320,  320,  318,  318,  318, 318, 318, 318, 318, 318,  318,  318, 318, 318,
    318,  318,  318,  318,  318,  318,  318,  318, 318, 318, 318, 318, 318,  318,  318, 318, 318,
    318,  318,  318,  318,  318,  318,  318,  318, 318, 318, 321, 418, 1195, 1579,
};
// Curve B without its raised top end.
const uint32_t kClipCurveC[kClipCurveSize] = {
    1943, 1906, 1818, 1685, 1520, 1337, 1153, 977, 822, 689, 582, 499, 438, 395, 365, 346, 335, 327, 323, 321, 320, 320,
    318,  318,  318,  318,  318,  318,  318,  318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318,
    318,  318,  318,  318,  318,  318,  318,  318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318, 318,
};
const uint32_t kRangeWeights[kRangeWeightSize] = {
    28, 28, 28, 27, 27, 26, 25, 24, 23, 21, 20, 19, 17, 16, 15, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 4, 3, 3, 2, 2, 1, 1,
};
const uint32_t kDetailGains[kDetailGainSize] = {
    0, 43, 85, 128, 171, 213, 256, 256, 256, 256, 256, 256, 256, 256, 256, 256,
};

uint32_t _get_size_log2(uint32_t size) {
    if (size < 33) return 5;
    if (size < 65) return 6;
    if (size < 129) return 7;
    return 8;
}

uint32_t ad_get_blk_num(uint32_t size, uint32_t log2) {
    const uint32_t shift = log2 & 31u;
    return (size + (1u << shift) - 1u) >> shift;
}

int32_t GetParamsCLTM(ad_param_t_* param, const alad_cltm_user& user) {
    if (param == nullptr || param->clip_curve == nullptr || param->filter.range_weight == nullptr ||
        param->filter.detail_gain_curve == nullptr) {
        return 1;
    }
    param->blk_width_log2 = _get_size_log2(user.blk_width);
    param->blk_height_log2 = _get_size_log2(user.blk_height);
    param->hist_mode = 0;
    param->curve_transition = 0;
    param->blk_h_num = ad_get_blk_num(user.height, param->blk_height_log2);
    param->blk_w_num = ad_get_blk_num(user.width, param->blk_width_log2);

    const uint32_t* clip = kClipCurveDefault;
    if (user.curve_id == 1) clip = kClipCurveA;
    if (user.curve_id == 2) clip = kClipCurveB;
    if (user.curve_id == 3) clip = kClipCurveC;
    std::memcpy(param->clip_curve, clip, sizeof(kClipCurveDefault));

    param->filter.filter_luma_select = 0;
    param->filter.filter_detail_direct = 0;
    std::memcpy(param->filter.range_weight, kRangeWeights, sizeof(kRangeWeights));
    std::memcpy(param->filter.detail_gain_curve, kDetailGains, sizeof(kDetailGains));
    param->filter.filter_enable = user.filter_flag;

    param->strength_step = 5;
    param->strength_interval = 0;
    param->strength_mode = 0;
    // Signed, as the user record holds it: only the upper end is capped.
    const int32_t target = alad::WrapMul(user.strength, 16);
    param->strength_target = static_cast<uint32_t>(target < 255 ? target : 255);
    param->linear_adj_offset = 0;
    param->linear_adj_ratio = 0;
    return 0;
}

CLTMParamBlock::CLTMParamBlock() {
    mParam.clip_curve = mClipCurve;
    mParam.filter.range_weight = mRangeWeight;
    mParam.filter.detail_gain_curve = mDetailGain;
}

CLTMParamBlock::CLTMParamBlock(const alad_cltm_user& user) : CLTMParamBlock() { GetParamsCLTM(&mParam, user); }

ad_cxt_t* ad_init_video() {
    ad_cxt_t* ctx = static_cast<ad_cxt_t*>(std::malloc(sizeof(ad_cxt_t)));
    if (ctx != nullptr) ad_reset_video(ctx);
    return ctx;
}

void ad_reset_video(ad_cxt_t* ctx) {
    if (ctx == nullptr) return;
    ctx->width = 0;
    ctx->height = 0;
    ctx->strength = 0;
    ctx->interval_count = 0;
    ctx->first_frame = 1;
}

void ad_deinit_video(ad_cxt_t* ctx) { std::free(ctx); }

namespace {

// The two planes are aligned to 64 bytes, so that rows of whole vectors can be written with
// aligned (non-temporal) stores.
constexpr std::align_val_t kPlaneAlignment{64};

uint32_t* NewPlane(size_t count) { return new (kPlaneAlignment, std::nothrow) uint32_t[count](); }

void DeletePlane(uint32_t* plane) {
    if (plane != nullptr) ::operator delete[](plane, kPlaneAlignment);
}

}  // namespace

CLTMBufferManager::~CLTMBufferManager() { Release(); }

void CLTMBufferManager::Release() {
    DeletePlane(mInputPlane);
    DeletePlane(mOutputPlane);
    delete[] mToneCurves;
    delete[] mHistBuffer;
    mInputPlane = mOutputPlane = mToneCurves = mHistBuffer = nullptr;
    mBlockNum = 0;
    mAllocWidth = mAllocHeight = 0;
    mPackedPixels = 0;
}

void CLTMBufferManager::UnpackOutputPlane() {
    // From the last pixel back: pixel i's values go to 3i..3i + 2, past every packed pixel not yet read.
    for (size_t i = mPackedPixels; i-- > 0;) {
        const uint32_t pixel = mOutputPlane[i];
        mOutputPlane[3 * i] = pixel & 1023u;
        mOutputPlane[3 * i + 1] = (pixel >> 10) & 1023u;
        mOutputPlane[3 * i + 2] = pixel >> 20;
    }
    mPackedPixels = 0;
}

int32_t CLTMBufferManager::AllocateBufferBySize(uint32_t width, uint32_t height, const ad_param_t_* param) {
    Release();
    cltm_detail::BlockGrid grid;
    size_t plane = 0;
    size_t curves = 0;
    if (param == nullptr || !cltm_detail::MakeBlockGrid(width, height, *param, &grid) ||
        !cltm_detail::CountOf(width, height, 3, &plane) ||
        !cltm_detail::CountOf(grid.count(), kCurvePoints, 1, &curves) || grid.count() > UINT32_MAX) {
        alad::LogError("ERROR: CLTM buffers for %ux%u cannot be sized", width, height);
        return 1;
    }
    // The planes start at zero rather than undefined so that a frame refused before it was mapped
    // still hands back defined values.
    mOutputPlane = NewPlane(plane);
    mInputPlane = NewPlane(plane);
    mToneCurves = new (std::nothrow) uint32_t[curves]();
    mHistBuffer = new (std::nothrow) uint32_t[kHistBins + 1]();
    if (mOutputPlane == nullptr || mInputPlane == nullptr || mToneCurves == nullptr || mHistBuffer == nullptr) {
        Release();
        alad::LogError("ERROR: out of memory for CLTM buffers of %ux%u", width, height);
        return 1;
    }
    mBlockNum = static_cast<uint32_t>(grid.count());
    mAllocWidth = width;
    mAllocHeight = height;
    return 0;
}

void CLTMBufferManager::ResetToneCurveBuffer() {
    if (mToneCurves != nullptr)
        std::memset(mToneCurves, 0, static_cast<size_t>(mBlockNum) * kCurvePoints * sizeof(uint32_t));
    if (mHistBuffer != nullptr) std::memset(mHistBuffer, 0, (kHistBins + 1) * sizeof(uint32_t));
}

bool CLTMBufferManager::Fits(uint32_t width, uint32_t height, const ad_param_t_* param) const {
    if (mInputPlane == nullptr || mOutputPlane == nullptr || mToneCurves == nullptr || mHistBuffer == nullptr) {
        return false;
    }
    if (static_cast<uint64_t>(width) * height > static_cast<uint64_t>(mAllocWidth) * mAllocHeight) return false;
    if (param == nullptr) return true;  // nothing is mapped without a parameter block
    cltm_detail::BlockGrid grid;
    return cltm_detail::MakeBlockGrid(width, height, *param, &grid) && grid.count() <= mBlockNum;
}

}  // namespace kelvo
