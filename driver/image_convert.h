// What the driver's frame paths share with the public buffer conversions (image_convert.cpp).
#ifndef ALAD_DRIVER_IMAGE_CONVERT_H
#define ALAD_DRIVER_IMAGE_CONVERT_H

#include <opencv2/core.hpp>

#include "alad/alad_driver.h"

namespace alad {

// Whether imageBuffer2MatARGBforDriver would read the buffer: four bytes per pixel, a size that is
// not negative, and data for a size that is not empty. Prints its refusal as that function does.
bool ArgbBufferReadable(const _image& buffer);

// transform8To12 into dst (made CV_32SC3 of src's size unless it is one already); false, with
// transform8To12's message and dst untouched, when src is not a 2-dimensional CV_8UC3 matrix.
bool Widen8To12(const cv::Mat& src, cv::Mat& dst);

}  // namespace alad

#endif  // ALAD_DRIVER_IMAGE_CONVERT_H
