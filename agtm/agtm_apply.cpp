#include "agtm/agtm_apply.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common/wrap_int.h"

namespace kelvo {

namespace {

constexpr int kTableSize = 256;
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

// Makes `out` a CV_32SC3 image of `size` to write into: the output itself when it already is one,
// otherwise (another type of the right size) a temporary that is converted into it afterwards.
cv::Mat PrepareOutput(cv::Mat& out, cv::Size size) {
    if (out.empty() || out.size() != size) out.create(size, CV_32SC3);
    return out.type() == CV_32SC3 ? out : cv::Mat(size, CV_32SC3);
}

void FinishOutput(const cv::Mat& work, cv::Mat& out) {
    if (work.data != out.data) work.convertTo(out, out.type());
}

}  // namespace

float ClimpUncharFix(float value, float maximum) {
    if (value < 0.0f) return 0.0f;
    return std::min(std::round(value), maximum);
}

void ToneMappingOneImageByScalerLUTImple_(const cv::Mat& src, const agtm_param_api_& param,
                                          cv::Mat& reference, cv::Mat& result) {
    if (param.lut.size() < static_cast<size_t>(kTableSize)) {
        std::printf("ToneMappingOneImageByScalerLUTImple_: the AGTM table has %zu entries, %d needed\n",
                    param.lut.size(), kTableSize);
        std::fflush(stdout);
        return;
    }
    if (src.channels() != 3) {
        std::printf("ToneMappingOneImageByScalerLUTImple_: the input has %d channels, 3 needed\n", src.channels());
        std::fflush(stdout);
        return;
    }
    cv::Mat input = src;
    if (src.type() != CV_32SC3) src.convertTo(input, CV_32SC3);

    cv::Mat ref = PrepareOutput(reference, input.size());
    cv::Mat res = PrepareOutput(result, input.size());
    const int32_t* lut = param.lut.data();
    for (int y = 0; y < input.rows; ++y) {
        const int32_t* in_row = input.ptr<int32_t>(y);
        int32_t* ref_row = ref.ptr<int32_t>(y);
        int32_t* res_row = res.ptr<int32_t>(y);
        for (int x = 0; x < input.cols; ++x) {
            // Read the pixel first: an output may be the input itself.
            const int32_t px[3] = {in_row[3 * x], in_row[3 * x + 1], in_row[3 * x + 2]};
            const double brightest = BrightestChannel(px);
            const float ref_gain = ReferenceGain(lut, brightest);
            const int32_t int_gain = IntegerGain(lut, alad::TruncToInt32(brightest));
            for (int c = 0; c < 3; ++c) {
                ref_row[3 * x + c] = static_cast<int32_t>(ClimpUncharFix(static_cast<float>(px[c]) * ref_gain, 4095.0f));
                res_row[3 * x + c] = IntegerChannel(int_gain, px[c]);
            }
        }
    }
    FinishOutput(ref, reference);
    FinishOutput(res, result);
}

}  // namespace kelvo
