#include "agtm/tone_curve.h"

#include <algorithm>

#include <opencv2/imgproc.hpp>

#include "common/log.h"

namespace kelvo {

namespace {

constexpr int kCodes = 256;
// Code axis step: the double nearest 1/255, multiplied rather than divided.
constexpr double kCodeStep = 0.00392156862745098;

double ForwardGamma(double gamma, bool useGamma) { return useGamma ? gamma : 1.0; }

}  // namespace

void OldLuminanceLogDistribution(std::vector<double>& X, double gamma, double white, double black,
                                 std::vector<double>& Y, float /*unused*/, bool useGamma) {
    X.reserve(X.size() + kCodes);
    for (int i = 0; i < kCodes; ++i) X.push_back(i * kCodeStep);
    const double g = ForwardGamma(gamma, useGamma);
    Y.reserve(Y.size() + X.size());
    for (const double x : X) Y.push_back(DisplayModel(x, g, white, black));
}

void GlobalToneMappingCurveEqualize(std::vector<double>& X, double gamma, double white, double black,
                                    std::vector<double>& /*unused*/, std::vector<double>& codeOut,
                                    std::vector<double>& logOut, int knee, bool useGamma) {
    const int n = static_cast<int>(X.size());
    if (n < 2) return;
    // The knee indexes X and divides the remaining range: keep it where both are defined.
    int k = knee;
    if (k < 0 || k > n - 2) {
        alad::Log(alad::LogLevel::kWarning, alad::Console::kErr, "GlobalToneMappingCurveEqualize: knee %d outside 0..%d, clamped",
                  knee, n - 2);
        k = std::clamp(k, 0, n - 2);
    }
    const double g = ForwardGamma(gamma, useGamma);
    // The knee code passes through a float on purpose.
    const double knee_code = static_cast<double>(static_cast<float>(X[k]));
    const double e0 = DisplayModel(knee_code, g, white, black);
    const double e1 = DisplayModel(1.0, g, white, black);
    const double s = (e1 - e0) / static_cast<unsigned>(n - 1 - k);
    codeOut.reserve(codeOut.size() + X.size());
    logOut.reserve(logOut.size() + X.size());
    for (int i = 0; i < n; ++i) {
        const double log_lum = i < k ? DisplayModel(X[i], g, white, black) : e0 + s * (i - k);
        logOut.push_back(log_lum);
        codeOut.push_back(DisplayModelInverse(log_lum, gamma, white, black));
    }
}

void GlobalToneMappingCurveKeepShape(std::vector<double>& X, double gamma, double white, double black,
                                     std::vector<double>& Y, std::vector<double>& codeOut,
                                     std::vector<double>& logOut, int /*unused*/, bool useGamma) {
    const size_t n = std::min(X.size(), Y.size());
    if (n == 0) return;
    const double g = ForwardGamma(gamma, useGamma);
    const double d0 = DisplayModel(0.0, g, white, black);
    const double d1 = DisplayModel(1.0, g, white, black);
    codeOut.reserve(codeOut.size() + X.size());
    logOut.reserve(logOut.size() + X.size());
    for (size_t i = 0; i < n; ++i) {
        const double log_lum = d0 + (d1 - d0) * (Y[i] - Y[0]) / (Y[n - 1] - Y[0]);
        logOut.push_back(log_lum);
        codeOut.push_back(DisplayModelInverse(log_lum, gamma, white, black));
    }
}

double ApplyToneMappingCurve(double x, const std::vector<double>& xs, const std::vector<double>& ys) {
    if (ys.empty()) return 0.0;
    const size_t n = std::min(xs.size(), ys.size());
    for (size_t j = 0; j + 1 < n; ++j) {
        if (xs[j] <= x && x < xs[j + 1]) {
            return (ys[j] * (xs[j + 1] - x) + ys[j + 1] * (x - xs[j])) / (xs[j + 1] - xs[j]);
        }
    }
    return ys.back();
}

void ContentFreeToneCurve(std::vector<double>& Y, std::vector<double>& A, std::vector<double>& C,
                          double& step, float gamma, float white, float blackSrc, float blackDst,
                          float knee, bool useGamma) {
    const double g = gamma, w = white, b_src = blackSrc, b_dst = blackDst;

    std::vector<double> X;
    OldLuminanceLogDistribution(X, g, w, b_src, Y, knee, useGamma);

    // An unset (-1) or non-positive black level has no log-luminance: the curve would be NaN
    // throughout. Fall back to the identity curve (gain 1.0) and say so.
    if (!(blackSrc > 0.0f) || !(blackDst > 0.0f)) {
        alad::Log(alad::LogLevel::kWarning, alad::Console::kErr,
                  "ContentFreeToneCurve: black levels must be positive (source %g, destination %g); "
                  "using the identity curve", static_cast<double>(blackSrc), static_cast<double>(blackDst));
        step = 0.0;
        A.assign(kCodes, 0.0);
        C.insert(C.end(), X.begin(), X.end());
        return;
    }

    // The knee is truncated toward zero (3.9 acts as 3, -0.5 as 0); a float outside int's range
    // must not reach the conversion.
    const int k = knee > -1.0f && knee < 1024.0f ? static_cast<int>(knee) : (knee >= 1024.0f ? 1024 : -1);

    std::vector<double> equalize_code, equalize_log, unused;
    GlobalToneMappingCurveEqualize(X, g, w, b_dst, unused, equalize_code, equalize_log, k, useGamma);
    std::vector<double> keep_code, keep_log;
    GlobalToneMappingCurveKeepShape(X, g, w, b_dst, Y, keep_code, keep_log, 0, useGamma);

    // 1 - 0.99 in double is 0.010000000000000009, not 0.01: part of the result.
    const double keep_weight = 0.99;
    const double equalize_weight = 1.0 - 0.99;
    const size_t n = keep_code.size();
    std::vector<double> blend_log(n), blend_code(n);
    for (size_t i = 0; i < n; ++i) {
        blend_log[i] = keep_log[i] * keep_weight + equalize_log[i] * equalize_weight;
        blend_code[i] = keep_code[i] * keep_weight + equalize_code[i] * equalize_weight;
    }

    step = (Y[kCodes - 1] - Y[0]) / 255.0;
    A.resize(kCodes);
    for (int i = 0; i < kCodes; ++i) A[i] = ApplyToneMappingCurve(Y[0] + step * i, Y, blend_log);

    C.reserve(C.size() + blend_code.size());
    C.insert(C.end(), blend_code.begin(), blend_code.end());
}

void ContentFreeToneCurve(std::vector<double>& A, std::vector<double>& C, DisplayPanelModel& model,
                          float knee, bool useGamma) {
    std::vector<double> Y;
    double step = 0.0;
    ContentFreeToneCurve(Y, A, C, step, static_cast<float>(model.Gamma()), static_cast<float>(model.White()),
                         static_cast<float>(model.BlackSrc()), static_cast<float>(model.BlackDst()), knee,
                         useGamma);
}

void DrawToneCurve(std::vector<double>& x, std::vector<double>& y, std::string /*title*/) {
    if (x.size() != y.size()) {
        alad::LogError("Size of x.yBins doesn't equal!");
        return;
    }
    constexpr int kSide = 1034, kMargin = 5, kSpan = 1024;
    cv::Mat plot(kSide, kSide, CV_8UC3, cv::Scalar(255, 255, 255));
    if (x.size() < 2) return;
    const double x_range = x.back() - x.front();
    const double y_range = y.back() - y.front();
    // Coordinates relative to the first point, scaled so the whole range spans 1024 pixels.
    auto to_pixel = [&](double xv, double yv) {
        const double px = (xv - x.front()) * kSpan / x_range + kMargin;
        const double py = (kSpan + kMargin) - (yv - y.front()) * kSpan / y_range;
        return cv::Point(cvRound(px), cvRound(py));
    };
    for (size_t i = 0; i + 1 < x.size(); ++i) {
        const cv::Point a = to_pixel(x[i], y[i]), b = to_pixel(x[i + 1], y[i + 1]);
        cv::line(plot, a, b, cv::Scalar(200, 80, 0), 2, cv::LINE_AA);
        cv::circle(plot, cv::Point(a.x, kSpan + kMargin), 1, cv::Scalar(0, 0, 200), -1);
        cv::circle(plot, cv::Point(kMargin, a.y), 1, cv::Scalar(0, 0, 200), -1);
    }
}

}  // namespace kelvo
