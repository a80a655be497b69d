// The ambient tone curve: one global, content-free curve that makes the destination viewing
// condition (bright ambient light raising the panel's effective black) reproduce the source
// condition's log-luminance distribution as far as the panel can. Built in the log10-luminance
// domain by two strategies (keep-shape and equalize) blended with fixed weights.
#ifndef ALAD_AGTM_TONE_CURVE_H
#define ALAD_AGTM_TONE_CURVE_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "agtm/display_panel_model.h"

namespace kelvo {

// The pipeline's entry: reads gamma, white and both effective black levels from the model
// (deliberately rounded to float) and runs the full computation. A receives the 256 destination
// log-luminances on a grid uniform in source log-luminance; the 256-entry code curve is appended
// to C.
void ContentFreeToneCurve(std::vector<double>& A, std::vector<double>& C, DisplayPanelModel& model,
                          float knee, bool useGamma);

// The full computation. The forward model uses the gamma only when useGamma is true (1.0
// otherwise); the inverse model always uses it. Y receives the source log-luminances, step the
// spacing of A's grid; C is appended to, not cleared.
void ContentFreeToneCurve(std::vector<double>& Y, std::vector<double>& A, std::vector<double>& C,
                          double& step, float gamma, float white, float blackSrc, float blackDst,
                          float knee, bool useGamma);

// Appends the 256 codes to X and the source log-luminance of every element of X to Y.
void OldLuminanceLogDistribution(std::vector<double>& X, double gamma, double white, double black,
                                 std::vector<double>& Y, float unused, bool useGamma);

// Equalize strategy: below the knee the destination panel's own response, from the knee up equal
// log-luminance steps to the panel's peak. Appends to codeOut and logOut.
void GlobalToneMappingCurveEqualize(std::vector<double>& X, double gamma, double white, double black,
                                    std::vector<double>& unused, std::vector<double>& codeOut,
                                    std::vector<double>& logOut, int knee, bool useGamma);

// Keep-shape strategy: the source log-luminance curve Y moved and scaled linearly onto the
// destination's range. Appends to codeOut and logOut.
void GlobalToneMappingCurveKeepShape(std::vector<double>& X, double gamma, double white, double black,
                                     std::vector<double>& Y, std::vector<double>& codeOut,
                                     std::vector<double>& logOut, int unused, bool useGamma);

// Piecewise-linear interpolation over the first segment with xs[j] <= x < xs[j+1]. Outside every
// segment (also below the first knot) it returns the last value of ys.
double ApplyToneMappingCurve(double x, const std::vector<double>& xs, const std::vector<double>& ys);

// Diagnostic plot kept for offline inspection: renders the curve into a 1034 x 1034 picture and
// discards it. Prints "Size of x.yBins doesn't equal!" when the two vectors differ in length.
void DrawToneCurve(std::vector<double>& x, std::vector<double>& y, std::string title);

}  // namespace kelvo

#endif  // ALAD_AGTM_TONE_CURVE_H
