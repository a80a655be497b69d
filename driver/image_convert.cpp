// Conversions between the driver's ARGB8888 frame buffers, ARGB/BGR matrices and the engine's
// 12-bit images.
#include <cstring>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "alad/alad_driver.h"
#include "common/log.h"
#include "common/wrap_int.h"

namespace {

// An empty dst is created; a dst that cannot hold the result (another size or type) is created
// anew rather than written past its end.
bool PrepareWidenedOutput(const cv::Mat& src, int src_type, cv::Mat& dst, const char* who) {
    if (src.type() != src_type) {
        alad::LogError("%s: input type %d is not the expected %d", who, src.type(), src_type);
        return false;
    }
    if (dst.empty() || dst.size() != src.size() || dst.type() != CV_32SC3) dst.create(src.size(), CV_32SC3);
    return true;
}

}  // namespace

void imageBuffer2MatARGBforDriver(_image& buffer, cv::Mat& out) {
    // Only ARGB8888 fits the four-channel matrix: another byte count per pixel would read or write
    // past one side or the other.
    if (buffer.channels != 4) {
        alad::LogError("imageBuffer2MatARGBforDriver: channels %d is not 4 (ARGB8888); buffer not read", buffer.channels);
        return;
    }
    if (buffer.width < 0 || buffer.height < 0) {
        alad::LogError("imageBuffer2MatARGBforDriver: size %dx%d is negative; buffer not read", buffer.width,
                       buffer.height);
        return;
    }
    cv::Mat argb = cv::Mat::zeros(buffer.height, buffer.width, CV_8UC4);
    if (!argb.isContinuous()) {
        alad::LogError("ERROR: Mat image is not Continuous ! ");
        return;
    }
    const size_t bytes = static_cast<size_t>(buffer.width) * static_cast<size_t>(buffer.height) * 4;
    if (bytes > 0) {
        if (!buffer.data) {
            alad::LogError("imageBuffer2MatARGBforDriver: no buffer (null data); buffer not read");
            return;
        }
        std::memcpy(argb.data, buffer.data, bytes);
    }
    out = argb.clone();
}

void imageMatARGB2BufferForDriver(cv::Mat& argb, unsigned char* buffer) {
    alad::LogLine("matSrc channel : %d", argb.channels());
    if (argb.channels() != 4) {
        alad::LogError("ERROR: input image's channel is not 4 ! ");
    } else if (!argb.isContinuous()) {
        alad::LogError("ERROR: input image is not Continuous ! ");
    } else if (!buffer) {
        alad::LogError("ERROR: out of memory");
    } else {
        std::memcpy(buffer, argb.data, static_cast<size_t>(argb.rows) * static_cast<size_t>(argb.cols) * 4);
    }
}

void imageMatARGB2RGB(cv::Mat& argb, cv::Mat& rgb, cv::Mat& alpha) {
    if (argb.channels() != 4) {
        alad::LogError("not 4 channels input mat !");
        return;
    }
    std::vector<cv::Mat> planes;
    cv::split(argb, planes);
    cv::merge(std::vector<cv::Mat>{planes[1], planes[2], planes[3]}, rgb);
    alpha = planes[0].clone();
}

namespace {

// B, G, R plus an alpha plane into A, R, G, B; without one, the opaque alpha that the BGR to BGRA
// conversion adds.
void JoinARGB(const cv::Mat& bgr, const cv::Mat* alpha, cv::Mat& argb) {
    if (bgr.channels() != 3) {
        alad::LogError("not 3 channels input mat !");
        return;
    }
    cv::Mat bgra;
    cv::cvtColor(bgr, bgra, cv::COLOR_BGR2BGRA);
    std::vector<cv::Mat> planes;
    cv::split(bgra, planes);
    cv::merge(std::vector<cv::Mat>{alpha ? *alpha : planes[3], planes[2], planes[1], planes[0]}, argb);
}

}  // namespace

void imageBGR2ARGB_8888(cv::Mat& bgr, cv::Mat& alpha, cv::Mat& argb) {
    if (bgr.rows != alpha.rows || bgr.cols != alpha.cols) {
        alad::LogError("matBGRsrc'size is different from matAsrc'size !");
        return;
    }
    JoinARGB(bgr, &alpha, argb);
}

void imageBGR2ARGB_8888(cv::Mat& bgr, cv::Mat& argb) { JoinARGB(bgr, nullptr, argb); }

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

void transform8To12Interface(cv::Mat& src, cv::Mat& dst) { transform8To12(src, dst); }
