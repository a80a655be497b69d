#include "agtm/agtm_apply.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "agtm/agtm_rows.h"
#include "alad/alad_records.h"
#include "common/log.h"
#include "common/simd.h"
#include "common/threads.h"
#include "common/wrap_int.h"

// The baseline build of the vectorised row.
#define ALAD_SIMD_NAMESPACE baseline
#include "agtm/agtm_row_kernels.h"
#undef ALAD_SIMD_NAMESPACE

namespace kelvo {

namespace {

constexpr int kTableSize = ALAD_AGTM_LUT_SIZE;
constexpr int32_t kMaxGainQ9 = 130560;  // 255.0 with 9 fraction bits
constexpr int32_t kMaxCode = 4095;

// The brightest channel as the stage defines it: the channels as floats, blue against green
// first, then the larger against red, truncated toward zero.
inline double BrightestChannel(const int32_t* px) {
    const float b = static_cast<float>(px[0]), g = static_cast<float>(px[1]), r = static_cast<float>(px[2]);
    const float bg = b > g ? b : g;
    return std::trunc(static_cast<double>(bg > r ? bg : r));
}

// Reference path: fractional interpolation in floating point.
inline float ReferenceGain(const int32_t* lut, double brightest) {
    // Codes outside 0..4095 would index past the table: look them up as the nearest valid code.
    const double m = std::clamp(brightest, 0.0, static_cast<double>(kMaxCode));
    const double t = m * 0.0625;
    const int i = static_cast<int>(t);
    const double f = t - i;
    const int j = i == kTableSize - 1 ? i : i + 1;
    const float a = static_cast<float>(lut[i]) * 0.00048828125f;
    const float b = static_cast<float>(lut[j]) * 0.00048828125f;
    return static_cast<float>((1.0 - f) * a + f * b);
}

// Integer path, the hardware's arithmetic: interpolation in sixteenths, truncating divisions, the
// gain capped at 255.0 and no floor. The 8-bit masks keep every index inside the table whatever
// the code (4096 reads entry 0, as the hardware's index wraps).
inline int32_t IntegerGain(const int32_t* lut, int32_t n) {
    const int32_t idx = (n >> 4) & 255;
    const int32_t frac = n & 15;
    const int32_t next = ((n >> 4) + (n < 4080 ? 1 : 0)) & 255;
    const int32_t s = alad::WrapAdd(alad::WrapMul(16 - frac, lut[idx]), alad::WrapMul(frac, lut[next]));
    return std::min(s / 64, kMaxGainQ9);
}

inline int32_t IntegerChannel(int32_t gain, int32_t c) {
    return std::min(alad::WrapMul(gain, c) / 512, kMaxCode);
}

// The brightest code of a pixel whose channels are all 12-bit values, or -1. For such pixels the
// float comparison of BrightestChannel is the integer maximum (the conversion is exact).
inline int32_t InTableBrightest(const int32_t* px) {
    const int32_t bg = px[0] > px[1] ? px[0] : px[1];
    const int32_t m = bg > px[2] ? bg : px[2];
    const bool all_in = static_cast<uint32_t>(px[0]) <= kMaxCode && static_cast<uint32_t>(px[1]) <= kMaxCode &&
                        static_cast<uint32_t>(px[2]) <= kMaxCode;
    return all_in ? m : -1;
}

// ClimpUncharFix(value, 4095) as an integer code. For a non-negative float the distance to its
// truncation is exact, so comparing it with 0.5 rounds halves away from zero exactly like roundf.
inline int32_t RoundClampToCode(float value) {
    if (value < 0.0f) return 0;
    if (value >= static_cast<float>(kMaxCode)) return kMaxCode;
    const int32_t whole = static_cast<int32_t>(value);  // truncation, exact below 4095
    return whole + (value - static_cast<float>(whole) >= 0.5f ? 1 : 0);
}

// Makes `out` a CV_32SC3 image of `size` to write into: the output itself when it already is one,
// otherwise (another type of the right size) a temporary that is converted into it afterwards.
cv::Mat PrepareOutput(cv::Mat& out, cv::Size size) {
    if (out.empty() || out.size() != size) out.create(size, CV_32SC3);
    return out.type() == CV_32SC3 ? out : cv::Mat(size, CV_32SC3);
}

void FinishOutput(const cv::Mat& work, cv::Mat& out) {
    if (work.data != out.data) work.convertTo(out, out.type());
}

// The checks both entry points make before touching anything.
bool Acceptable(const cv::Mat& src, const agtm_param_api_& param) {
    if (param.lut.size() < static_cast<size_t>(kTableSize)) {
        alad::LogError("ToneMappingOneImageByScalerLUTImple_: the AGTM table has %zu entries, %d needed",
                       param.lut.size(), kTableSize);
        return false;
    }
    if (src.channels() != 3) {
        alad::LogError("ToneMappingOneImageByScalerLUTImple_: the input has %d channels, 3 needed", src.channels());
        return false;
    }
    return true;
}

// The integer path of one pixel, any code.
void IntegerPixel(const int32_t* in, int32_t* out, const agtm_rows::Gains& g) {
    const int32_t px[3] = {in[0], in[1], in[2]};
    const int32_t m = InTableBrightest(px);
    const int32_t gain = m >= 0 ? g.gains[m] : IntegerGain(g.lut, alad::TruncToInt32(BrightestChannel(px)));
    for (int c = 0; c < 3; ++c) out[c] = IntegerChannel(gain, px[c]);
}

const agtm_rows::RowKernels& ActiveKernels() {
#if defined(ALAD_HAVE_AVX2_KERNELS)
    if (alad::ActiveSimdLevel() >= alad::SimdLevel::kAvx2) return agtm_rows::avx2::Kernels();
#endif
    return agtm_rows::baseline::Kernels();
}

}  // namespace

float ClimpUncharFix(float value, float maximum) {
    if (value < 0.0f) return 0.0f;
    return std::min(std::round(value), maximum);
}

void ToneMappingOneImageByScalerLUTImple_(const cv::Mat& src, const agtm_param_api_& param,
                                          cv::Mat& reference, cv::Mat& result) {
    if (!Acceptable(src, param)) return;
    cv::Mat input = src;
    if (src.type() != CV_32SC3) src.convertTo(input, CV_32SC3);

    // Both gains depend only on the brightest code: work them out once per frame for the 4096
    // codes of 12 bits, with the same functions the per-pixel path uses for any other code.
    const int32_t* lut = param.lut.data();
    static thread_local float ref_gains[kMaxCode + 1];
    static thread_local int32_t int_gains[kMaxCode + 1];
    for (int32_t m = 0; m <= kMaxCode; ++m) {
        ref_gains[m] = ReferenceGain(lut, m);
        int_gains[m] = IntegerGain(lut, m);
    }

    cv::Mat ref = PrepareOutput(reference, input.size());
    cv::Mat res = PrepareOutput(result, input.size());
    for (int y = 0; y < input.rows; ++y) {
        const int32_t* in_row = input.ptr<int32_t>(y);
        int32_t* ref_row = ref.ptr<int32_t>(y);
        int32_t* res_row = res.ptr<int32_t>(y);
        for (int x = 0; x < input.cols; ++x) {
            // Read the pixel first: an output may be the input itself.
            const int32_t px[3] = {in_row[3 * x], in_row[3 * x + 1], in_row[3 * x + 2]};
            float ref_gain;
            int32_t int_gain;
            const int32_t m = InTableBrightest(px);
            if (m >= 0) {
                ref_gain = ref_gains[m];
                int_gain = int_gains[m];
            } else {
                const double brightest = BrightestChannel(px);
                ref_gain = ReferenceGain(lut, brightest);
                int_gain = IntegerGain(lut, alad::TruncToInt32(brightest));
            }
            for (int c = 0; c < 3; ++c) {
                ref_row[3 * x + c] = RoundClampToCode(static_cast<float>(px[c]) * ref_gain);
                res_row[3 * x + c] = IntegerChannel(int_gain, px[c]);
            }
        }
    }
    FinishOutput(ref, reference);
    FinishOutput(res, result);
}

namespace {

// The integer gain of every 12-bit code, and its split for 16-bit multiply-adds (gl | (gh * 2^13)
// << 16, used only when no gain is negative). Returns whether none is.
bool FillGains(const int32_t* lut, int32_t* gains, int32_t* split) {
    bool non_negative = true;
    for (int32_t m = 0; m <= kMaxCode; ++m) {
        gains[m] = IntegerGain(lut, m);
        non_negative = non_negative && gains[m] >= 0;
        const uint32_t g = static_cast<uint32_t>(gains[m]);  // unsigned: no undefined shift
        split[m] = static_cast<int32_t>((g & 0x7FFFu) | ((g >> 15) << 29));
    }
    return non_negative;
}

bool IntegerPass(const cv::Mat& src, const agtm_param_api_& param, cv::Mat& result, cv::Mat* copy) {
    if (!Acceptable(src, param)) return false;
    cv::Mat input = src;
    if (src.type() != CV_32SC3) src.convertTo(input, CV_32SC3);

    // The gain depends only on the brightest code: work it out once per frame for the 4096 codes
    // of 12 bits, with the function the per-pixel path uses for any other code.
    const int32_t* lut = param.lut.data();
    int32_t gains[kMaxCode + 1];
    int32_t split[kMaxCode + 1];
    agtm_rows::Gains g;
    g.gains = gains;
    g.split = split;
    g.non_negative = FillGains(lut, gains, split);
    g.pixel = IntegerPixel;
    g.lut = lut;

    cv::Mat res = PrepareOutput(result, input.size());
    if (copy != nullptr) copy->create(input.size(), CV_32SC3);
    // Rows are independent; an output that is the input itself is still read before it is written
    // row by row, and no stripe touches another's rows. The copy is written with the result.
    const agtm_rows::RowKernels& kernels = ActiveKernels();
    const int stripes = alad::StripeCount(input.rows, alad::EngineThreads());
    alad::ForEachStripe(input.rows, stripes, [&](int, int begin, int end) {
        for (int y = begin; y < end; ++y) {
            kernels.integer_row(input.ptr<int32_t>(y), res.ptr<int32_t>(y),
                                copy != nullptr ? copy->ptr<int32_t>(y) : nullptr, input.cols, g);
        }
        kernels.stream_fence();
    });
    FinishOutput(res, result);
    return true;
}

}  // namespace

bool ToneMappingOneImageByScalerLUTIntegerImple_(const cv::Mat& src, const agtm_param_api_& param, cv::Mat& result) {
    return IntegerPass(src, param, result, nullptr);
}

bool ToneMappingOneImageByScalerLUTIntegerImple_(const cv::Mat& src, const agtm_param_api_& param, cv::Mat& result,
                                                 cv::Mat& copy) {
    return IntegerPass(src, param, result, &copy);
}

bool AGTMRowPass::Prepare(const agtm_param_api_& param) {
    if (param.lut.size() < static_cast<size_t>(kTableSize)) return false;
    lut_.assign(param.lut.begin(), param.lut.begin() + kTableSize);
    gains_.resize(kMaxCode + 1);
    split_.resize(kMaxCode + 1);
    non_negative_ = FillGains(lut_.data(), gains_.data(), split_.data());
    return true;
}

namespace {

agtm_rows::Gains GainsOf(const std::vector<int32_t>& gains, const std::vector<int32_t>& split,
                         const std::vector<int32_t>& lut, bool non_negative) {
    agtm_rows::Gains g;
    g.gains = gains.data();
    g.split = split.data();
    g.non_negative = non_negative;
    g.pixel = IntegerPixel;
    g.lut = lut.data();
    return g;
}

}  // namespace

void AGTMRowPass::Frame(const alad::ArgbFrame& frame, bool narrow, cv::Mat* image, cv::Mat* copy) const {
    for (cv::Mat* m : {image, copy}) {
        if (m != nullptr) m->create(frame.rows, frame.cols, CV_32SC3);
    }
    const agtm_rows::Gains g = GainsOf(gains_, split_, lut_, non_negative_);
    const agtm_rows::RowKernels& kernels = ActiveKernels();
    const int stripes = alad::StripeCount(frame.rows, alad::EngineThreads());
    alad::ForEachStripe(frame.rows, stripes, [&](int, int begin, int end) {
        for (int y = begin; y < end; ++y) {
            kernels.argb_row(frame.Row(y), image != nullptr ? image->ptr<int32_t>(y) : nullptr,
                             copy != nullptr ? copy->ptr<int32_t>(y) : nullptr, frame.cols, g, narrow);
        }
        kernels.stream_fence();
    });
}

void AGTMRowPass::Row(const int32_t* in, int cols, int32_t* out, int32_t* copy) const {
    ActiveKernels().integer_row(in, out, copy, cols, GainsOf(gains_, split_, lut_, non_negative_));
}

void AGTMRowPass::RowToArgb(const int32_t* in, int cols, uint8_t* argb, int32_t* copy) const {
    ActiveKernels().to_argb_row(in, argb, copy, cols, GainsOf(gains_, split_, lut_, non_negative_));
}

void AGTMRowPass::FinishRows() const { ActiveKernels().stream_fence(); }

}  // namespace kelvo
