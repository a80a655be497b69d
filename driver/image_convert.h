// Conversions between the pictures callers hold and the engine's 12-bit images.
#ifndef ALAD_DRIVER_IMAGE_CONVERT_H
#define ALAD_DRIVER_IMAGE_CONVERT_H

#include <opencv2/core.hpp>

// 8-bit BGR (CV_8UC3) to 12-bit values in CV_32SC3: v * 16 + v / 16, the top four bits repeated
// at the bottom (0 -> 0, 128 -> 2056, 255 -> 4095).
void transform8To12(cv::Mat& src, cv::Mat& dst);
// 10-bit values in CV_32SC3 to 12 bits: v * 4 + v / 256 (1023 -> 4095, 512 -> 2050).
void transform10To12(cv::Mat& src, cv::Mat& dst);

#endif  // ALAD_DRIVER_IMAGE_CONVERT_H
