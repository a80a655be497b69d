// Offline image paths: whole pictures tone-mapped outside the frame path, so that variants of the
// global and local tone mapping can be compared side by side.
//
// - ContentLTM: the local tone mapping (CLTM) on one picture, on its brightness alone (gray mode)
//   or on its colours (BGR mode).
// - Content-adaptive curve: a gentle histogram equalisation of an 8-bit luminance image.
// - Global family: an 8-bit BGR picture through an ambient tone curve (256 output codes 0..1 per
//   input code) and its own content curve, combined four ways.
// - Combined paths: a 12-bit picture (CV_32SC3, B, G, R) through the AGTM table and a ContentLTM.
//   The table is given as its 256 raw entries (gain x 2048, so 2048 is a gain of 1.0).
//
// Inputs of the wrong type, channel count or size, empty pictures and curves of fewer than 256
// entries are refused with a one-line message on standard output; the outputs are then left as
// they were. Nothing here is thread-safe: the content curve keeps process-wide state.
#ifndef ALAD_ALAD_OFFLINE_H
#define ALAD_ALAD_OFFLINE_H

#include "alad/alad_export.h"

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "alad/alad_records.h"

namespace kelvo {

struct ad_param_t_;
struct ad_cxt_t;
struct alad_cltm_user;
class CLTMBufferManager;
class CLTMParamBlock;

// CLTM on single pictures, for still images or (with `video`) as frames of a sequence.
class ALAD_EXPORT ContentLTM {
public:
    // Block size 256x256, clip curve 1, strength 8 (strength target 128), no filter, still images.
    ContentLTM();
    ContentLTM(const alad_cltm_user& user, bool video);
    // The engine's public user record, converted as the engine converts it.
    ContentLTM(const ad_user_t_& user, bool video);
    ~ContentLTM();
    ContentLTM(const ContentLTM&) = delete;
    ContentLTM& operator=(const ContentLTM&) = delete;

    // `in`: CV_64FC1 brightness on the 12-bit scale. `luma_out` receives the mapped brightness and
    // `gain` the ratio new / old, both CV_32FC1 of in's size (created when empty). Returns 0, or -1
    // (outputs untouched) on bad input, a frame the video context refuses or lack of memory.
    int32_t CLTMGrayMode(const cv::Mat& in, cv::Mat& gain, cv::Mat& luma_out, uint32_t frame);
    // `in`: CV_32SC3 with 12-bit values; `out`: the same type and size (created when empty).
    // Returns 0 or -1 as above.
    int32_t CLTMBGRMode(const cv::Mat& in, cv::Mat& out, uint32_t frame);

    ad_param_t_* Params();
    const ad_param_t_* Params() const;

private:
    bool Ready(const char* mode);

    CLTMParamBlock* mParams = nullptr;
    ad_cxt_t* mContext = nullptr;
    CLTMBufferManager* mBuffers = nullptr;
    bool mVideo = false;
};

// The ambient tone curve of a panel under a viewing condition: 256 output codes (nominally 0..1),
// one per input code i / 255, which make the picture seen under view.blackLevelDst lux look as it
// did under view.blackLevelSrc lux. This is the `ambient` curve the global family below takes.
// Pure: no engine is made or touched.
ALAD_EXPORT std::vector<double> AmbientToneCurve(const alad_display_model_& display, const alad_view_condition_& view);
// The same curve as the engine's 256-entry AGTM gain table (gain x 2048): what the engine builds
// for these records, and what ComputeAGTMLUTByAmbientLight gives for the default panel, without
// replacing the running engine.
ALAD_EXPORT std::vector<int32_t> AmbientAGTMTable(const alad_display_model_& display, const alad_view_condition_& view);

// The content-adaptive tone curve of an 8-bit single-channel image: 256 output codes (0..1) and
// the gain each implies (output / input). An empty image leaves both untouched.
ALAD_EXPORT void ContentAdaptiveToneCurve8Bit(cv::Mat& image, std::vector<double>& curve, std::vector<double>& gain,
                                              float contentWeight, float temporalWeight);
ALAD_EXPORT void ContentAdaptiveToneCurve(cv::Mat& image, std::vector<double>& curve, float contentWeight,
                                          float temporalWeight);
// Empties the curve kept from earlier calls.
ALAD_EXPORT void ClearLUT();

// The global family: `in` CV_8UC3 (B, G, R), `ambient` 256 output codes, `out` created CV_8UC3.
// Gray through the content curve and the ambient curve, channels scaled by the gray ratio.
ALAD_EXPORT void GlobalToneMappingOneImage(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out);
// One 256-entry table from both curves, applied to each channel.
ALAD_EXPORT void GlobalToneMappingOneImageBy1DGammaLUT(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out);
// An interpolated combined table looked up with the gray, channels scaled by the gray ratio.
ALAD_EXPORT void GlobalToneMappingOneImageByCombineLUT(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out);
// The content gain and the ambient gain, both interpolated, multiplied into each channel.
ALAD_EXPORT void GlobalToneMappingOneImageByScalerLUT(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out);

// The combined paths: `reference` receives the floating-point reference result and `result` the
// integer result, both CV_32SC3 of src's size.
// One merged gain per pixel: the LTM gain times the AGTM gain at the LTM-mapped brightness.
ALAD_EXPORT void ToneMappingOneImageLTMAGTMDeepFixed(cv::Mat& src, const std::vector<int32_t>& lut, cv::Mat& reference,
                                                     cv::Mat& result, ContentLTM& ltm);
// The AGTM stage alone on a copy of src; `ltm` is not used.
ALAD_EXPORT void ToneMappingOneImageLTMAGTMConcatenateFixed(cv::Mat& src, const std::vector<int32_t>& lut,
                                                            cv::Mat& reference, cv::Mat& result, ContentLTM& ltm);
// reference: the AGTM stage's reference result on src; result: the LTM (BGR mode) of src itself.
ALAD_EXPORT void ToneMappingOneImageAGTMLTMConcatenateFixed(cv::Mat& src, const std::vector<int32_t>& lut,
                                                            cv::Mat& reference, cv::Mat& result, ContentLTM& ltm);

}  // namespace kelvo

// Twins of kelvo::GlobalToneMappingOneImage and kelvo::GlobalToneMappingOneImageBy1DGammaLUT.
ALAD_EXPORT void GlobalToneMappingOneImageFixed(cv::Mat& in, const std::vector<double>& ambient, cv::Mat& out);
ALAD_EXPORT void GlobalToneMappingOneImageBy1DGammaLUTFixed(cv::Mat& in, const std::vector<double>& ambient,
                                                            cv::Mat& out);

#endif  // ALAD_ALAD_OFFLINE_H
