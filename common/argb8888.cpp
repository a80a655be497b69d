#include "common/argb8888.h"

#include <opencv2/core.hpp>

namespace alad {

uint8_t Narrow12To8(int32_t value) {
    // Exactly what convertTo(CV_8U, 0.0625) does with one value: the product in single precision
    // (exact: 1/16 is a power of two), rounded and saturated by OpenCV's own cast.
    return cv::saturate_cast<uint8_t>(static_cast<float>(value) * 0.0625f);
}

void WidenArgbRow(const uint8_t* argb, int cols, int32_t* bgr) {
    for (int x = 0; x < cols; ++x) {
        const uint8_t* px = argb + kArgbBytes * x;
        bgr[3 * x] = Widen8To12(px[kArgbBlue]);
        bgr[3 * x + 1] = Widen8To12(px[kArgbGreen]);
        bgr[3 * x + 2] = Widen8To12(px[kArgbRed]);
    }
}

void NarrowIntoArgbRow(const int32_t* bgr, int cols, uint8_t* argb) {
    for (int x = 0; x < cols; ++x) {
        uint8_t* px = argb + kArgbBytes * x;
        px[kArgbBlue] = Narrow12To8(bgr[3 * x]);
        px[kArgbGreen] = Narrow12To8(bgr[3 * x + 1]);
        px[kArgbRed] = Narrow12To8(bgr[3 * x + 2]);
    }
}

}  // namespace alad
