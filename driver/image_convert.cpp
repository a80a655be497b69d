#include "alad/alad_driver.h"

#include <cstdio>

#include "common/wrap_int.h"

namespace {

// An empty dst is created; a dst that cannot hold the result (another size or type) is created
// anew rather than written past its end.
bool PrepareWidenedOutput(const cv::Mat& src, int src_type, cv::Mat& dst, const char* who) {
    if (src.type() != src_type) {
        std::printf("%s: input type %d is not the expected %d\n", who, src.type(), src_type);
        std::fflush(stdout);
        return false;
    }
    if (dst.empty() || dst.size() != src.size() || dst.type() != CV_32SC3) dst.create(src.size(), CV_32SC3);
    return true;
}

}  // namespace

void transform8To12(cv::Mat& src, cv::Mat& dst) {
    if (!PrepareWidenedOutput(src, CV_8UC3, dst, "transform8To12")) return;
    int32_t table[256];
    for (int v = 0; v < 256; ++v) table[v] = v * 16 + static_cast<int32_t>(v * 0.0625);
    for (int y = 0; y < src.rows; ++y) {
        const uint8_t* in = src.ptr<uint8_t>(y);
        int32_t* out = dst.ptr<int32_t>(y);
        for (int i = 0; i < src.cols * 3; ++i) out[i] = table[in[i]];
    }
}

void transform10To12(cv::Mat& src, cv::Mat& dst) {
    if (!PrepareWidenedOutput(src, CV_32SC3, dst, "transform10To12")) return;
    for (int y = 0; y < src.rows; ++y) {
        const int32_t* in = src.ptr<int32_t>(y);
        int32_t* out = dst.ptr<int32_t>(y);
        for (int i = 0; i < src.cols * 3; ++i) {
            const int32_t v = in[i];
            // Wraps like the 32-bit hardware for values far outside 10 bits.
            out[i] = alad::WrapAdd(alad::WrapMul(v, 4), static_cast<int32_t>(v * 0.00390625));
        }
    }
}
