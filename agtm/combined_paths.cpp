// Combined LTM and AGTM image paths: one 12-bit picture through the AGTM table and a ContentLTM,
// outside the engine's pipeline. Only the first path merges the two tone mappings; the other two
// keep their historical behaviour (see each), which comparisons with the reference model rely on.
#include "agtm/combined_paths.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "agtm/agtm_apply.h"
#include "alad/alad_records.h"
#include "common/log.h"
#include "common/wrap_int.h"

namespace kelvo {

namespace {

constexpr int kTableSize = ALAD_AGTM_LUT_SIZE;
constexpr int64_t kMaxGainQ9 = 130560;  // 255.0 with 9 fraction bits
constexpr int64_t kMaxCode = 4095;

bool Acceptable(const cv::Mat& src, const std::vector<int32_t>& lut, const char* name) {
    if (src.empty() || src.type() != CV_32SC3) {
        alad::LogError("%s: the input must be a non-empty CV_32SC3 picture, got %s %dx%d", name,
                       cv::typeToString(src.type()).c_str(), src.cols, src.rows);
        return false;
    }
    if (lut.size() < static_cast<size_t>(kTableSize)) {
        alad::LogError("%s: the AGTM table has %zu entries, %d needed", name, lut.size(), kTableSize);
        return false;
    }
    return true;
}

agtm_param_api_ TableOf(const std::vector<int32_t>& lut) {
    agtm_param_api_ param;
    param.lut.assign(lut.begin(), lut.begin() + kTableSize);
    return param;
}

std::vector<int32_t> RawEntries(const std::vector<AGTMGain>& lut) {
    std::vector<int32_t> raw(lut.size());
    for (size_t i = 0; i < lut.size(); ++i) raw[i] = lut[i].raw();
    return raw;
}

// Hands the results over only once everything has been computed, so that a failure leaves the
// outputs as they were and an output may be the input itself.
void Store(const cv::Mat& value, cv::Mat& out) {
    out.create(value.size(), CV_32SC3);
    value.copyTo(out);
}

// The brightest channel of every pixel, as the AGTM stage takes it: the channels as floats, blue
// against green first, then the larger against red, truncated toward zero.
cv::Mat BrightestChannelMap(const cv::Mat& src) {
    cv::Mat color;
    src.convertTo(color, CV_32FC3);
    cv::Mat brightest(src.size(), CV_64FC1);
    for (int y = 0; y < src.rows; ++y) {
        const float* px = color.ptr<float>(y);
        double* out = brightest.ptr<double>(y);
        for (int x = 0; x < src.cols; ++x, px += 3) {
            const float bg = px[0] > px[1] ? px[0] : px[1];
            out[x] = std::trunc(static_cast<double>(bg > px[2] ? bg : px[2]));
        }
    }
    return brightest;
}

// ClimpUnchar(v, 4095) as a code (NaN, which only a NaN gain could give, as 0).
inline int32_t ToCode(double v) {
    const float c = ClimpUncharFix(static_cast<float>(v), 4095.0f);
    return c == c ? static_cast<int32_t>(c) : 0;
}

// Reference path at the LTM-mapped brightness y: fractional interpolation of the table in floating
// point. A brightness beyond the table (a video first frame comes out on a 16-bit scale) reads the
// last entry, as 4080 and above do.
inline float ReferenceAGTMGain(const int32_t* lut, float y) {
    const float t = y * 0.0625f;
    const int whole = static_cast<int>(t);
    const float f = t - static_cast<float>(whole);
    const int i = whole < kTableSize - 1 ? whole : kTableSize - 1;
    const int j = whole < kTableSize - 1 ? whole + 1 : kTableSize - 1;
    const float a = static_cast<float>(lut[i]) * 0.00048828125f;
    const float b = static_cast<float>(lut[j]) * 0.00048828125f;
    return static_cast<float>((1.0 - f) * a + static_cast<double>(f) * b);
}

// Integer path: the AGTM gain with 9 fraction bits at brightness y (4 fraction bits in n). The
// 8-bit masks keep every index in the table, as the hardware's do.
inline int32_t IntegerAGTMGain(const int32_t* lut, float y) {
    const int32_t n = alad::TruncToInt32(static_cast<double>(y * 16));
    const int32_t idx = (n >> 8) & 255;
    const int32_t frac = (n >> 4) - 16 * (n >> 8);
    const int32_t next = n < 65280 ? ((n >> 8) + 1) & 255 : idx;
    const int32_t s = alad::WrapAdd(alad::WrapMul(frac, lut[next]), alad::WrapMul(16 - frac, lut[idx]));
    return s / 64;
}

}  // namespace

void ToneMappingOneImageLTMAGTMDeepFixed(cv::Mat& src, const std::vector<int32_t>& lut, cv::Mat& reference,
                                         cv::Mat& result, ContentLTM& ltm) {
    const char* name = "ToneMappingOneImageLTMAGTMDeepFixed";
    if (!Acceptable(src, lut, name)) return;
    cv::Mat brightest = BrightestChannelMap(src);
    cv::Mat ltm_gain(src.size(), CV_32FC1), ltm_luma(src.size(), CV_32FC1);
    if (ltm.CLTMGrayMode(brightest, ltm_gain, ltm_luma, 0) != 0) {
        alad::LogError("%s: the local tone mapping failed; outputs left as they were", name);
        return;
    }
    cv::Mat ref(src.size(), CV_32SC3), res(src.size(), CV_32SC3);
    const int32_t* table = lut.data();
    for (int y = 0; y < src.rows; ++y) {
        const int32_t* px = src.ptr<int32_t>(y);
        const float* luma_row = ltm_luma.ptr<float>(y);
        const float* gain_row = ltm_gain.ptr<float>(y);
        int32_t* ref_row = ref.ptr<int32_t>(y);
        int32_t* res_row = res.ptr<int32_t>(y);
        for (int x = 0; x < src.cols; ++x) {
            // The AGTM gain is taken at the LTM-mapped brightness, the LTM gain multiplies it, and
            // both act on the source channels.
            const float ltm_g = gain_row[x];
            const float agtm_ref = ReferenceAGTMGain(table, luma_row[x]);
            const int64_t merged = static_cast<int64_t>(IntegerAGTMGain(table, luma_row[x])) *
                                   alad::TruncToInt32(static_cast<double>(ltm_g * 1024));
            const int64_t gain = std::min(merged / 1024, kMaxGainQ9);
            for (int c = 0; c < 3; ++c) {
                const int32_t v = px[3 * x + c];
                ref_row[3 * x + c] = ToCode(static_cast<double>(ltm_g) * v * agtm_ref);
                const int64_t out = std::min(gain * v / 512, kMaxCode);
                res_row[3 * x + c] = static_cast<int32_t>(std::max<int64_t>(out, INT32_MIN));
            }
        }
    }
    Store(ref, reference);
    Store(res, result);
}

void ToneMappingOneImageLTMAGTMConcatenateFixed(cv::Mat& src, const std::vector<int32_t>& lut, cv::Mat& reference,
                                                cv::Mat& result, ContentLTM& /*ltm*/) {
    // Despite its name this is the AGTM stage alone, on a copy of src: the LTM never runs.
    if (!Acceptable(src, lut, "ToneMappingOneImageLTMAGTMConcatenateFixed")) return;
    const cv::Mat copy = src.clone();
    cv::Mat ref, res;
    ToneMappingOneImageByScalerLUTImple_(copy, TableOf(lut), ref, res);
    Store(ref, reference);
    Store(res, result);
}

void ToneMappingOneImageAGTMLTMConcatenateFixed(cv::Mat& src, const std::vector<int32_t>& lut, cv::Mat& reference,
                                                cv::Mat& result, ContentLTM& ltm) {
    // Not a chain either: the reference is the AGTM stage's reference result, the result the LTM of
    // src itself; the AGTM integer result is computed and dropped.
    const char* name = "ToneMappingOneImageAGTMLTMConcatenateFixed";
    if (!Acceptable(src, lut, name)) return;
    cv::Mat local;
    if (ltm.CLTMBGRMode(src, local, 0) != 0) {
        alad::LogError("%s: the local tone mapping failed; outputs left as they were", name);
        return;
    }
    cv::Mat ref, dropped;
    ToneMappingOneImageByScalerLUTImple_(src, TableOf(lut), ref, dropped);
    Store(ref, reference);
    Store(local, result);
}

void ToneMappingOneImageLTMAGTMDeepFixed(cv::Mat& src, const std::vector<AGTMGain>& lut, cv::Mat& reference,
                                         cv::Mat& result, ContentLTM& ltm) {
    ToneMappingOneImageLTMAGTMDeepFixed(src, RawEntries(lut), reference, result, ltm);
}

void ToneMappingOneImageLTMAGTMConcatenateFixed(cv::Mat& src, const std::vector<AGTMGain>& lut, cv::Mat& reference,
                                                cv::Mat& result, ContentLTM& ltm) {
    ToneMappingOneImageLTMAGTMConcatenateFixed(src, RawEntries(lut), reference, result, ltm);
}

void ToneMappingOneImageAGTMLTMConcatenateFixed(cv::Mat& src, const std::vector<AGTMGain>& lut, cv::Mat& reference,
                                                cv::Mat& result, ContentLTM& ltm) {
    ToneMappingOneImageAGTMLTMConcatenateFixed(src, RawEntries(lut), reference, result, ltm);
}

}  // namespace kelvo
