// The combined LTM and AGTM image paths with the table in the AGTM gain format, as the AGTM stage
// holds it. The same functions on raw table entries are in the public offline header.
#ifndef ALAD_AGTM_COMBINED_PATHS_H
#define ALAD_AGTM_COMBINED_PATHS_H

#include <opencv2/core.hpp>
#include <vector>

#include "agtm/scaler_lut.h"
#include "alad/alad_offline.h"

namespace kelvo {

void ToneMappingOneImageLTMAGTMDeepFixed(cv::Mat& src, const std::vector<AGTMGain>& lut, cv::Mat& reference,
                                         cv::Mat& result, ContentLTM& ltm);
void ToneMappingOneImageLTMAGTMConcatenateFixed(cv::Mat& src, const std::vector<AGTMGain>& lut, cv::Mat& reference,
                                                cv::Mat& result, ContentLTM& ltm);
void ToneMappingOneImageAGTMLTMConcatenateFixed(cv::Mat& src, const std::vector<AGTMGain>& lut, cv::Mat& reference,
                                                cv::Mat& result, ContentLTM& ltm);

}  // namespace kelvo

#endif  // ALAD_AGTM_COMBINED_PATHS_H
