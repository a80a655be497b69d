// Content-adaptive global tone curve: a histogram equalisation of an 8-bit luminance image made
// gentle by smoothing, a cap on any one code's weight and a blend with the identity, then blended
// with a curve kept from earlier calls.
#include <vector>

#include "alad/alad_offline.h"
#include "common/log.h"

namespace kelvo {

namespace {

constexpr int kCodes = 256;
constexpr double kCodeStep = 0.00392156862745098;  // the double nearest 1/255, multiplied
constexpr double kWeightCap = 0.006;

// Shared by every call in the process; see the temporal blend.
std::vector<double> gPreviousCurve;

// Code probabilities smoothed by 7-tap kernels in multiples of 1/256. The middle kernel leans on
// the codes below (it brightens a code by the weight of the darker ones); the first and last three
// codes use one-sided kernels so that nothing outside 0..255 is read.
void SmoothProbabilities(const double* p, double* s) {
    for (int k = 0; k < 3; ++k) {
        s[k] = 0.3203125 * p[k] + 0.27734375 * p[k + 1] + 0.2265625 * p[k + 2] + 0.17578125 * p[k + 3];
    }
    for (int k = 3; k < kCodes - 3; ++k) {
        s[k] = 0.26171875 * p[k - 3] + 0.2265625 * p[k - 2] + 0.18359375 * p[k - 1] + 0.14453125 * p[k] +
               0.1015625 * p[k + 1] + 0.0625 * p[k + 2] + 0.01953125 * p[k + 3];
    }
    for (int k = kCodes - 3; k < kCodes; ++k) {
        s[k] = 0.44140625 * p[k - 3] + 0.30859375 * p[k - 2] + 0.19140625 * p[k - 1] + 0.05859375 * p[k];
    }
}

}  // namespace

void ContentAdaptiveToneCurve8Bit(cv::Mat& image, std::vector<double>& curve, std::vector<double>& gain,
                                  float contentWeight, float temporalWeight) {
    if (image.empty()) return;
    if (image.type() != CV_8UC1) {
        alad::LogError("ContentAdaptiveToneCurve8Bit: the image must be CV_8UC1, got %s",
                       cv::typeToString(image.type()).c_str());
        return;
    }
    double count[kCodes] = {};
    for (int y = 0; y < image.rows; ++y) {
        const uint8_t* row = image.ptr<uint8_t>(y);
        for (int x = 0; x < image.cols; ++x) count[row[x]] += 1.0;
    }
    const double pixels = static_cast<double>(static_cast<int64_t>(image.rows) * image.cols);
    double p[kCodes];
    double p_sum = 0.0;
    int zero_bins = 0;
    for (int k = 0; k < kCodes; ++k) {
        p[k] = count[k] / pixels;
        p_sum += p[k];
        if (p[k] <= 0.0) ++zero_bins;
    }
    alad::LogLine("float sumPDFTable: %g", p_sum);

    double s[kCodes];
    SmoothProbabilities(p, s);
    double s_sum = 0.0;
    for (double& v : s) {
        if (v >= kWeightCap) v = kWeightCap;
        s_sum += v;
    }
    curve.assign(kCodes, 0.0);
    double cumulative = 0.0;
    for (int k = 0; k < kCodes; ++k) {
        cumulative += s[k] / s_sum;
        const double identity = k * kCodeStep;
        // An image of at most three codes has nothing to equalise: the identity.
        curve[k] = zero_bins < 253 ? cumulative * contentWeight + identity * (1 - contentWeight) : identity;
    }

    // The previous curve is grown with zeros before the emptiness test, so the copy below never
    // happens and the previous curve stays zero: the blend only scales the curve by
    // temporalWeight. The reference model does exactly this and the results must match it.
    if (gPreviousCurve.size() < static_cast<size_t>(kCodes)) gPreviousCurve.resize(kCodes, 0.0);
    if (!gPreviousCurve.empty()) {
        for (int k = 0; k < kCodes; ++k) {
            curve[k] = curve[k] * temporalWeight + gPreviousCurve[k] * (1 - temporalWeight);
        }
    } else {
        gPreviousCurve = curve;
    }

    gain.assign(kCodes, 0.0);
    for (int k = 1; k < kCodes; ++k) gain[k] = curve[k] * 255 / k;
    gain[0] = 2 * gain[1] - gain[2];
}

void ContentAdaptiveToneCurve(cv::Mat& image, std::vector<double>& curve, float contentWeight, float temporalWeight) {
    std::vector<double> gain;
    ContentAdaptiveToneCurve8Bit(image, curve, gain, contentWeight, temporalWeight);
}

void ClearLUT() { gPreviousCurve.clear(); }

}  // namespace kelvo
