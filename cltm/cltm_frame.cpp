#include "cltm/cltm_frame.h"

#include <cstdio>
#include <cstring>
#include <exception>

#include "cltm/cltm_curve.h"
#include "cltm/cltm_internal.h"
#include "cltm/cltm_map.h"

namespace kelvo {

namespace {

void PrintLine(const char* format, uint32_t width, uint32_t height) {
    std::printf(format, static_cast<int>(width), static_cast<int>(height));
    std::fflush(stdout);
}

}  // namespace

// One strength ramp step: hold for strength_interval frames, then move by strength_step towards
// the target, landing on it when it is that close.
uint32_t cltm_detail::RampStrength(ad_cxt_t& ctx, const ad_param_t_& param) {
    const uint32_t target = param.strength_target;
    uint32_t current = ctx.strength;
    if (current == target) {
        ctx.interval_count = 0;
    } else if (ctx.interval_count < param.strength_interval) {
        ++ctx.interval_count;
    } else {
        ctx.interval_count = 0;
        const uint32_t distance = current > target ? current - target : target - current;
        if (distance <= param.strength_step) {
            current = target;
        } else if (current > target) {
            current -= param.strength_step;
        } else {
            current += param.strength_step;
        }
    }
    return current;
}

// The context binds to the first size it sees and is never re-bound; a new size needs a reset.
bool cltm_detail::BindVideoSize(ad_cxt_t& ctx, uint32_t width, uint32_t height) {
    if (ctx.width != 0 && ctx.height != 0 && ctx.width != width) {
        PrintLine("ERROR: unmatched size %dx%d\n", width, height);
        return false;
    }
    if (ctx.width == 0 || ctx.height == 0) {
        ctx.width = width;
        ctx.height = height;
        PrintLine("INFO: video size %dx%d\n", width, height);
    }
    if (ctx.height != height) {
        PrintLine("ERROR: unmatched size %dx%d\n", width, height);
        return false;
    }
    return true;
}

namespace {

// Images are CV_32SC3; another 3-channel depth is taken by value, anything else is refused.
bool InputImage(const cv::Mat& in, cv::Mat* src) {
    if (in.empty() || in.type() == CV_32SC3) {
        *src = in;
        return true;
    }
    if (in.channels() == 3) {
        in.convertTo(*src, CV_32S);
        return true;
    }
    std::printf("ERROR: CLTM needs a 3-channel image, got %d channels\n", in.channels());
    std::fflush(stdout);
    return false;
}

void ShapeLike(const cv::Mat& in, cv::Mat& m) {
    if (m.rows != in.rows || m.cols != in.cols) m.create(in.rows, in.cols, CV_32SC3);
}

// Writes a CV_32SC3 image into out, converted (saturating) when out has another depth.
void StoreImage(const cv::Mat& image, cv::Mat& out) {
    if (out.type() == CV_32SC3 && out.rows == image.rows && out.cols == image.cols) {
        image.copyTo(out);
    } else {
        image.convertTo(out, out.depth());
    }
}

// 12-bit to 10-bit. Values outside 0..4095 are clamped first, so such a pixel is treated as black
// or white instead of as a huge code.
void ImageToPlane(const cv::Mat& in, uint32_t* plane) {
    const size_t row_values = static_cast<size_t>(in.cols) * 3;
    for (int y = 0; y < in.rows; ++y) {
        const int32_t* src = in.ptr<int32_t>(y);
        uint32_t* dst = plane + static_cast<size_t>(y) * row_values;
        for (size_t i = 0; i < row_values; ++i) {
            const int32_t v = src[i] < 0 ? 0 : (src[i] > 4095 ? 4095 : src[i]);
            dst[i] = static_cast<uint32_t>(v >> 2);
        }
    }
}

// 10-bit to 12-bit, the two top bits repeated at the bottom (1023 -> 4095, 512 -> 2050).
void PlaneToImage(const uint32_t* plane, int rows, int cols, cv::Mat& out) {
    cv::Mat image = out.type() == CV_32SC3 ? out : cv::Mat(rows, cols, CV_32SC3);
    const size_t row_values = static_cast<size_t>(cols) * 3;
    for (int y = 0; y < rows; ++y) {
        const uint32_t* src = plane + static_cast<size_t>(y) * row_values;
        int32_t* dst = image.ptr<int32_t>(y);
        for (size_t i = 0; i < row_values; ++i) dst[i] = static_cast<int32_t>(4u * src[i] + (src[i] >> 8));
    }
    if (image.data != out.data) StoreImage(image, out);
}

// The buffers must hold the frame and its curve set; a frame that does not fit is passed through.
bool FitsOrPassThrough(const cv::Mat& src, const cltm_params_api_& params, const CLTMBufferManager& buffers,
                       cv::Mat& out) {
    const uint32_t cols = static_cast<uint32_t>(src.cols);
    const uint32_t rows = static_cast<uint32_t>(src.rows);
    if (buffers.Fits(cols, rows, params.param)) return true;
    std::printf("ERROR: frame %dx%d does not fit the CLTM buffers allocated for %dx%d\n", src.cols, src.rows,
                static_cast<int>(buffers.AllocatedWidth()), static_cast<int>(buffers.AllocatedHeight()));
    std::fflush(stdout);
    StoreImage(src, out);
    return false;
}

void ReportException(const std::exception& e) {
    std::printf("ERROR: CLTM frame failed: %s\n", e.what());
    std::fflush(stdout);
}

}  // namespace

int32_t ad_proc_image(uint32_t* out_rgb, const int32_t* in_rgb, uint32_t width, uint32_t height,
                      const ad_param_t_* param, uint32_t* curves) {
    if (curves == nullptr || in_rgb == nullptr || out_rgb == nullptr || param == nullptr) return 1;
    const int32_t r = ad_proc_calc_curve(curves, nullptr, nullptr, reinterpret_cast<const uint32_t*>(in_rgb), width,
                                         height, 0, param);
    if (r != 0) return r;
    return ad_proc_map(out_rgb, in_rgb, width, height, curves, param->strength_target, param);
}

int32_t ad_proc_video(uint32_t* out_rgb, const int32_t* in_rgb, uint32_t width, uint32_t height,
                      const ad_param_t_* param, ad_cxt_t* ctx, uint32_t /*reserved*/, uint32_t* curves,
                      uint32_t* hist_buffer) {
    if (ctx == nullptr || in_rgb == nullptr || out_rgb == nullptr || param == nullptr || curves == nullptr ||
        hist_buffer == nullptr) {
        return 1;
    }
    if (!cltm_detail::BindVideoSize(*ctx, width, height)) return 1;

    uint32_t weight = 0;
    if (ctx->first_frame == 1) {
        // No curves yet: the first frame passes through and only leaves curves for the next.
        std::memcpy(out_rgb, in_rgb, static_cast<size_t>(width) * height * 3 * sizeof(uint32_t));
        ctx->strength = 0;
    } else {
        uint32_t strength = param->strength_target;
        if (param->strength_mode != 0) strength = cltm_detail::RampStrength(*ctx, *param);
        ctx->strength = strength;
        const int32_t r = ad_proc_map(out_rgb, in_rgb, width, height, curves, strength, param);
        if (r != 0) return r;
        weight = param->curve_transition;
    }
    const int32_t r = ad_proc_calc_curve(curves, hist_buffer, hist_buffer + kHistBins,
                                         reinterpret_cast<const uint32_t*>(in_rgb), width, height, weight, param);
    ctx->first_frame = 0;
    return r;
}

int32_t CLTMOneImageImple_(const cv::Mat& in, const cltm_params_api_& params, CLTMBufferManager& buffers,
                           cv::Mat& /*work*/, cv::Mat& out) {
    try {
        cv::Mat src;
        if (!InputImage(in, &src)) return 1;
        ShapeLike(src, out);
        if (!FitsOrPassThrough(src, params, buffers, out)) return 1;
        ImageToPlane(src, buffers.mInputPlane);
        const int32_t r = ad_proc_image(buffers.mOutputPlane, reinterpret_cast<const int32_t*>(buffers.mInputPlane),
                                        static_cast<uint32_t>(src.cols), static_cast<uint32_t>(src.rows), params.param,
                                        buffers.mToneCurves);
        if (src.rows == 0) return r;
        PlaneToImage(buffers.mOutputPlane, src.rows, src.cols, out);
        return r;
    } catch (const std::exception& e) {
        ReportException(e);
        return 1;
    }
}

int32_t CLTMVideoRunOneFrameImple_(const cv::Mat& in, const cltm_params_api_& params, const CLTMVideoContextAPI& ctx,
                                   CLTMBufferManager& buffers, cv::Mat& work, cv::Mat& out) {
    try {
        cv::Mat src;
        if (!InputImage(in, &src)) return 1;
        ShapeLike(src, work);  // only shaped here: the pipeline's scratch for the other stage
        ShapeLike(src, out);
        if (!FitsOrPassThrough(src, params, buffers, out)) return 1;
        ImageToPlane(src, buffers.mInputPlane);
        const int32_t r = ad_proc_video(buffers.mOutputPlane, reinterpret_cast<const int32_t*>(buffers.mInputPlane),
                                        static_cast<uint32_t>(src.cols), static_cast<uint32_t>(src.rows), params.param,
                                        ctx.ctx, 0, buffers.mToneCurves, buffers.mHistBuffer);
        PlaneToImage(buffers.mOutputPlane, src.rows, src.cols, out);
        return r;
    } catch (const std::exception& e) {
        ReportException(e);
        return 1;
    }
}

}  // namespace kelvo
