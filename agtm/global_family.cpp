// The global tone-mapping image family: an 8-bit BGR picture through the ambient tone curve and a
// content-adaptive curve of its own gray, combined four ways. Offline entry points for comparing
// the combinations; the frame path applies the AGTM table instead.
#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "agtm/agtm_apply.h"
#include "agtm/scaler_lut.h"
#include "alad/alad_offline.h"
#include "common/log.h"

namespace kelvo {

namespace {

constexpr int kCodes = 256;
constexpr int kLast = kCodes - 1;

// What every member starts from: the float copy, the float gray, the content curve K.
struct CommonStart {
    cv::Mat color;  // CV_32FC3
    cv::Mat gray;   // CV_32FC1
    std::vector<double> content;
};

// Refuses what the family cannot take: a picture that is not 8-bit BGR, or an ambient curve of
// fewer than 256 codes (only the first 256 of a longer one are used).
bool Acceptable(const cv::Mat& in, const std::vector<double>& ambient, const char* name) {
    if (in.empty() || in.type() != CV_8UC3) {
        alad::LogError("%s: the input must be a non-empty CV_8UC3 picture, got %s %dx%d", name,
                       cv::typeToString(in.type()).c_str(), in.cols, in.rows);
        return false;
    }
    if (ambient.size() < static_cast<size_t>(kCodes)) {
        alad::LogError("%s: the ambient curve has %zu entries, 256 needed", name, ambient.size());
        return false;
    }
    return true;
}

CommonStart Start(const cv::Mat& in) {
    CommonStart s;
    in.convertTo(s.color, CV_32FC3);
    cv::cvtColor(s.color, s.gray, cv::COLOR_BGR2GRAY);
    cv::Mat gray8;
    s.gray.convertTo(gray8, CV_8U);
    ContentAdaptiveToneCurve(gray8, s.content, 0.5f, 0.7f);
    return s;
}

// A table position 0..255 from a code or a scaled curve value. In-range positions are unchanged;
// a position past either end of the table (an unusual curve above 1.0 or below 0, a gray a hair
// above 255) is looked up at that end, and NaN at 0, so no read leaves the table.
inline double TablePosition(double t) {
    if (!(t > 0.0)) return 0.0;
    return t < kLast ? t : static_cast<double>(kLast);
}

inline int Floor255(double t) { return static_cast<int>(TablePosition(t)); }
inline int Next(int j) { return j < kLast ? j + 1 : kLast; }

// ClimpUnchar(v, 255) as a byte: 0 below zero, else rounded half away from zero and limited to
// 255. The value passes through float as the clamp takes it; NaN (only from NaN curves) gives 0.
inline uint8_t ToByte(float v) {
    const float c = ClimpUncharFix(v, 255.0f);
    return c == c ? static_cast<uint8_t>(c) : 0;
}

// The members that scale each channel by its ratio to the pixel's gray: out = scale(G) * (c / G).
// A black pixel (G = 0) has no ratio and passes through unchanged.
template <typename Scale>
void ScaleByGrayRatio(const cv::Mat& in, const CommonStart& s, cv::Mat& out, Scale&& scale) {
    out.create(in.size(), CV_8UC3);
    for (int y = 0; y < in.rows; ++y) {
        const uint8_t* src = in.ptr<uint8_t>(y);
        const float* color = s.color.ptr<float>(y);
        const float* gray = s.gray.ptr<float>(y);
        uint8_t* dst = out.ptr<uint8_t>(y);
        for (int x = 0; x < in.cols; ++x) {
            const float g = gray[x];
            if (g == 0) {
                for (int c = 0; c < 3; ++c) dst[3 * x + c] = src[3 * x + c];
                continue;
            }
            const float factor = scale(g);
            for (int c = 0; c < 3; ++c) dst[3 * x + c] = ToByte(factor * (color[3 * x + c] / g));
        }
    }
}

}  // namespace

void GlobalToneMappingOneImage(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out) {
    if (!Acceptable(in, ambient, "GlobalToneMappingOneImage")) return;
    CommonStart s = Start(in);
    std::vector<double>& k = s.content;
    k[0] = 0;
    ScaleByGrayRatio(in, s, out, [&](float g) {
        const int a = Floor255(k[Floor255(g)] * 255);
        return static_cast<float>(ambient[a] * 255);
    });
}

void GlobalToneMappingOneImageBy1DGammaLUT(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out) {
    if (!Acceptable(in, ambient, "GlobalToneMappingOneImageBy1DGammaLUT")) return;
    const CommonStart s = Start(in);
    // Each channel goes through the content curve, truncated to a code, then the ambient curve.
    cv::Mat table(1, kCodes, CV_8U);
    for (int i = 0; i < kCodes; ++i) {
        const double t = ambient[Floor255(s.content[i] * 255)];
        table.at<uint8_t>(i) = ToByte(static_cast<float>(t * 255));
    }
    cv::Mat result;
    cv::LUT(in, table, result);
    out.create(in.size(), CV_8UC3);
    result.copyTo(out);
}

void GlobalToneMappingOneImageByCombineLUT(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out) {
    if (!Acceptable(in, ambient, "GlobalToneMappingOneImageByCombineLUT")) return;
    const CommonStart s = Start(in);
    // The ambient curve interpolated at the content curve's output, per input code.
    std::vector<double> combined(kCodes);
    for (int i = 0; i < kCodes; ++i) {
        const double t = TablePosition(s.content[i] * 255);
        const int j = static_cast<int>(t);
        const double f = t - j;
        combined[i] = ambient[Next(j)] * f + ambient[j] * (1 - f);
    }
    ScaleByGrayRatio(in, s, out, [&](float g) {
        const int j = Floor255(g);
        const float f = g - static_cast<float>(j);
        const float v = (1 - f) * static_cast<float>(combined[j]) + f * static_cast<float>(combined[Next(j)]);
        return v * 255;
    });
}

void GlobalToneMappingOneImageByScalerLUT(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out) {
    if (!Acceptable(in, ambient, "GlobalToneMappingOneImageByScalerLUT")) return;
    const CommonStart s = Start(in);
    std::vector<double> ambient_gain, content_gain;
    Transform2ScalerLUT(std::vector<double>(ambient.begin(), ambient.begin() + kCodes), ambient_gain);
    Transform2ScalerLUT(s.content, content_gain);
    out.create(in.size(), CV_8UC3);
    for (int y = 0; y < in.rows; ++y) {
        const float* color = s.color.ptr<float>(y);
        const float* gray = s.gray.ptr<float>(y);
        uint8_t* dst = out.ptr<uint8_t>(y);
        for (int x = 0; x < in.cols; ++x) {
            // The content gain acts first, on the gray that then indexes the ambient gains.
            const float g = gray[x];
            const int j = Floor255(g);
            const float f = g - static_cast<float>(j);
            const double gain_content = content_gain[j] * (1 - f) + content_gain[Next(j)] * f;
            const double g2 = TablePosition(gain_content * g);
            const int j2 = static_cast<int>(g2);
            const float f2 = static_cast<float>(g2 - j2);
            const float gain_ambient =
                (1 - f2) * static_cast<float>(ambient_gain[j2]) + f2 * static_cast<float>(ambient_gain[Next(j2)]);
            for (int c = 0; c < 3; ++c) {
                dst[3 * x + c] = ToByte(static_cast<float>(gain_content * color[3 * x + c] * gain_ambient));
            }
        }
    }
}

}  // namespace kelvo

void GlobalToneMappingOneImageFixed(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out) {
    kelvo::GlobalToneMappingOneImage(in, ambient, out);
}

void GlobalToneMappingOneImageBy1DGammaLUTFixed(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out) {
    kelvo::GlobalToneMappingOneImageBy1DGammaLUT(in, ambient, out);
}
