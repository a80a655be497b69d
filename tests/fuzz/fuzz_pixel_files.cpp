// The two hexadecimal pixel readers (and the gamma table check) on any file with any size: -1 or
// an image of exactly that size, packed pixels within 12 bits, and nothing allocated for a size
// the file cannot hold. The strict checker on the same text: problems in file order within the
// text, and a file it passes is read by the packed reader.
#include <cstdint>
#include <string>

#include "alad/alad_verify.h"
#include "tests/fuzz/fuzz_util.h"
#include "verify/file_check.h"

ALAD_FUZZ_QUIET_ENGINE_AT_START

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider in(data, size);
    const int width = alad_fuzz::Size(in, 24), height = alad_fuzz::Size(in, 24);
    const int length = in.ConsumeIntegral<int>();
    const std::string text = in.ConsumeRemainingBytesAsString();
    const std::string path = alad_fuzz::WriteScratch("pixels.txt", text);

    const alad::CheckReport report = alad::CheckPixelText("pixels.txt", text, width, height);
    alad_fuzz::CheckReportShape(report, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    for (const bool packed : {false, true}) {
        cv::Mat image(3, 3, CV_8UC1);
        const int status = packed ? parseImageFromFileCmodel(path, width, height, image)
                                  : parseImageFromFile(path, width, height, image);
        ALAD_FUZZ_CHECK(status == 0 || status == -1);
        if (packed && report.errors == 0 && width > 0 && height > 0) ALAD_FUZZ_CHECK(status == 0);
        if (status == 0) {
            ALAD_FUZZ_CHECK(image.type() == CV_32SC3 && image.cols == width && image.rows == height);
            // A file holds at least a line end (or its last byte) per pixel.
            ALAD_FUZZ_CHECK(2 * int64_t{width} * height - 1 <= static_cast<int64_t>(text.size()));
        }
        if (packed && !image.empty()) {
            double lo = 0, hi = 0;
            cv::minMaxIdx(image.reshape(1), &lo, &hi);
            ALAD_FUZZ_CHECK(lo >= 0 && hi <= 4095);
        }
    }
    const int checked = parseGammaLUTFromFile(path, length);
    ALAD_FUZZ_CHECK(checked == 0 || checked == -1);
    return 0;
}
