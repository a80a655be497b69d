// The 10-bit YUV 4:2:0 reader on any file with any size: an empty image, or one of exactly that
// size with 10-bit values, read only from a file long enough for the frame.
#include <cstdint>
#include <string>

#include "alad/alad_verify.h"
#include "tests/fuzz/fuzz_util.h"

ALAD_FUZZ_QUIET_ENGINE_AT_START

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const int width = alad_fuzz::Size(in, 20), height = alad_fuzz::Size(in, 20);
    const std::string bytes = in.ConsumeRemainingBytesAsString();
    const std::string path = alad_fuzz::WriteScratch("frame.yuv", bytes);

    cv::Mat image(2, 2, CV_32SC3);
    yuv10BitLE2BGR(path, width, height, image);
    if (!image.empty()) {
        ALAD_FUZZ_CHECK(image.type() == CV_32SC3 && image.cols == width && image.rows == height);
        const int64_t w = width, h = height;
        ALAD_FUZZ_CHECK(w * h * 2 + 2 * ((w + 1) / 2 * 2) * ((h + 1) / 2) <= static_cast<int64_t>(bytes.size()));
        double lo = 0, hi = 0;
        cv::minMaxIdx(image.reshape(1), &lo, &hi);
        ALAD_FUZZ_CHECK(lo >= 0 && hi <= 1023);
    }
    return 0;
}
