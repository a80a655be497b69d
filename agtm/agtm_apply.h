// Applying the AGTM table to a frame: every pixel's three channels are multiplied by a gain looked
// up (and interpolated) with the pixel's brightest channel, so brightness follows the tone curve
// while channel ratios are kept.
#ifndef ALAD_AGTM_AGTM_APPLY_H
#define ALAD_AGTM_AGTM_APPLY_H

#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

#include "common/argb8888.h"

namespace kelvo {

// What the AGTM stage receives: the table (256 raw AGTM gains, 1.0 = 2048) and the backlight
// scaler (Q10), which the apply itself does not read.
struct agtm_param_api_ {
    std::vector<int32_t> lut;
    int32_t scaler = 1024;
};

// 0 for a negative value, else roundf(value) (halves away from zero) limited to maximum; the test
// against zero is made on the unrounded value.
float ClimpUncharFix(float value, float maximum);

// Applies the table to a CV_32SC3 frame of 12-bit values (another 3-channel type is converted to
// CV_32SC3 first). `reference` receives the floating-point reference result, `result` the
// bit-exact integer result (the stage's output). An empty output, or one of another size, is
// created as CV_32SC3 of the input's size; an output of the right size but another type receives
// the values converted to its type.
void ToneMappingOneImageByScalerLUTImple_(const cv::Mat& src, const agtm_param_api_& param,
                                          cv::Mat& reference, cv::Mat& result);

// The integer result alone, for callers that have no use for the reference (the pipeline): the
// same values as ToneMappingOneImageByScalerLUTImple_ leaves in `result`, with the same refusals
// and output rules, in one vectorised pass whose rows are shared among the engine's threads.
// False, with nothing written, when the frame is refused.
bool ToneMappingOneImageByScalerLUTIntegerImple_(const cv::Mat& src, const agtm_param_api_& param, cv::Mat& result);
// The same, also writing the CV_32SC3 result to `copy` (made CV_32SC3 of the input's size) in the
// same pass: the copy of the stage output that the debug store keeps, without a second pass.
// False, with nothing written, when the frame is refused.
bool ToneMappingOneImageByScalerLUTIntegerImple_(const cv::Mat& src, const agtm_param_api_& param, cv::Mat& result,
                                                 cv::Mat& copy);

// The integer pass on rows handed over by the stage before and on the display driver's ARGB8888
// frames: the same values as ToneMappingOneImageByScalerLUTIntegerImple_ (on the widened frame,
// common/argb8888.h), narrowed back to 8 bits where asked. The gains are worked out from the table
// once per frame (Prepare) and kept with the object, so that a frame allocates nothing.
class AGTMRowPass {
public:
    // False, with nothing prepared, when the table is shorter than 256 entries (the caller then
    // takes the general way, which reports it).
    bool Prepare(const agtm_param_api_& param);

    // The whole frame in place: every colour byte widened to 12 bits and mapped; with `narrow` the
    // result narrowed back over the colour bytes (alpha kept). `image` and `copy`, when given, are
    // made CV_32SC3 of the frame's size and receive the 12-bit result. Rows are shared among the
    // engine's threads.
    void Frame(const alad::ArgbFrame& frame, bool narrow, cv::Mat* image, cv::Mat* copy) const;

    // One row of 12-bit pixels (any values): mapped into `out` (and `copy`, when not null), or
    // mapped and narrowed into the colour bytes of an ARGB row (alpha kept; `copy` as before).
    // Any thread.
    void Row(const int32_t* in, int cols, int32_t* out, int32_t* copy) const;
    void RowToArgb(const int32_t* in, int cols, uint8_t* argb, int32_t* copy) const;
    // Called by each thread after its last row of a frame.
    void FinishRows() const;

private:
    std::vector<int32_t> gains_, split_, lut_;
    bool non_negative_ = false;
};

}  // namespace kelvo

#endif  // ALAD_AGTM_AGTM_APPLY_H
