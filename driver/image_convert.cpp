// Conversions between the driver's ARGB8888 frame buffers, ARGB/BGR matrices and the engine's
// 12-bit images.
#include <cstring>
#include <exception>
#include <vector>

#include <opencv2/core/check.hpp>
#include <opencv2/imgproc.hpp>

#include "alad/alad_driver.h"
#include "common/log.h"
#include "common/wrap_int.h"
#include "driver/image_convert.h"

namespace {

// An empty dst is created; a dst that cannot hold the result (another size or type) is created
// anew rather than written past its end.
bool PrepareWidenedOutput(const cv::Mat& src, int src_type, cv::Mat& dst, const char* who) {
    if (src.type() != src_type) {
        alad::LogError("%s: input type %d is not the expected %d", who, src.type(), src_type);
        return false;
    }
    if (src.dims > 2) {
        alad::LogError("%s: input has %d dimensions, not 2", who, src.dims);
        return false;
    }
    if (dst.empty() || dst.size() != src.size() || dst.type() != CV_32SC3) dst.create(src.size(), CV_32SC3);
    return true;
}

// Runs a conversion; anything thrown (an allocation that fails) becomes a console line, and the
// outputs, which the conversions assign only at the end, stay as they were.
template <typename Body>
void Guarded(const char* who, Body&& body) {
    try {
        body();
    } catch (const std::exception& e) {
        alad::LogError("%s failed: %s", who, e.what());
    }
}

}  // namespace

namespace alad {

bool ArgbBufferReadable(const _image& buffer) {
    // Only ARGB8888 fits the four-channel matrix: another byte count per pixel would read or write
    // past one side or the other.
    if (buffer.channels != 4) {
        LogError("imageBuffer2MatARGBforDriver: channels %d is not 4 (ARGB8888); buffer not read", buffer.channels);
        return false;
    }
    if (buffer.width < 0 || buffer.height < 0) {
        LogError("imageBuffer2MatARGBforDriver: size %dx%d is negative; buffer not read", buffer.width, buffer.height);
        return false;
    }
    if (buffer.width > 0 && buffer.height > 0 && !buffer.data) {
        LogError("imageBuffer2MatARGBforDriver: no buffer (null data); buffer not read");
        return false;
    }
    return true;
}

bool Widen8To12(const cv::Mat& src, cv::Mat& dst) {
    if (!PrepareWidenedOutput(src, CV_8UC3, dst, "transform8To12")) return false;
    int32_t table[256];
    for (int v = 0; v < 256; ++v) table[v] = v * 16 + static_cast<int32_t>(v * 0.0625);
    for (int y = 0; y < src.rows; ++y) {
        const uint8_t* in = src.ptr<uint8_t>(y);
        int32_t* out = dst.ptr<int32_t>(y);
        for (int i = 0; i < src.cols * 3; ++i) out[i] = table[in[i]];
    }
    return true;
}

}  // namespace alad

void imageBuffer2MatARGBforDriver(_image& buffer, cv::Mat& out) {
    if (!alad::ArgbBufferReadable(buffer)) return;
    Guarded("imageBuffer2MatARGBforDriver", [&] {
        cv::Mat argb = cv::Mat::zeros(buffer.height, buffer.width, CV_8UC4);
        if (!argb.isContinuous()) {
            alad::LogError("ERROR: Mat image is not Continuous ! ");
            return;
        }
        const size_t bytes = static_cast<size_t>(buffer.width) * static_cast<size_t>(buffer.height) * 4;
        if (bytes > 0) std::memcpy(argb.data, buffer.data, bytes);
        out = argb;  // a matrix of its own, not a view of the driver's memory
    });
}

void imageMatARGB2BufferForDriver(cv::Mat& argb, unsigned char* buffer) {
    alad::LogLine("matSrc channel : %d", argb.channels());
    if (argb.channels() != 4) {
        alad::LogError("ERROR: input image's channel is not 4 ! ");
    } else if (argb.depth() != CV_8U || argb.dims > 2) {
        alad::LogError("ERROR: input image is not 8-bit ARGB (depth %s, %d dimensions) ! ", cv::depthToString(argb.depth()),
                       argb.dims);
    } else if (!argb.isContinuous()) {
        alad::LogError("ERROR: input image is not Continuous ! ");
    } else if (!buffer) {
        alad::LogError("ERROR: out of memory");
    } else if (!argb.empty()) {
        std::memcpy(buffer, argb.data, static_cast<size_t>(argb.rows) * static_cast<size_t>(argb.cols) * 4);
    }
}

void imageMatARGB2RGB(cv::Mat& argb, cv::Mat& rgb, cv::Mat& alpha) {
    if (argb.channels() != 4) {
        alad::LogError("not 4 channels input mat !");
        return;
    }
    if (argb.empty()) {
        alad::LogError("imageMatARGB2RGB: the input matrix is empty; nothing written");
        return;
    }
    Guarded("imageMatARGB2RGB", [&] {
        std::vector<cv::Mat> planes;
        cv::split(argb, planes);
        cv::Mat colour;
        cv::merge(std::vector<cv::Mat>{planes[1], planes[2], planes[3]}, colour);
        rgb = colour;
        alpha = planes[0];  // a plane of its own: split copies
    });
}

namespace {

// B, G, R plus an alpha plane into A, R, G, B; without one, the opaque alpha that the BGR to BGRA
// conversion adds. The colour conversion takes 8-bit, 16-bit unsigned and float matrices; the
// alpha plane must have the colour planes' depth.
void JoinARGB(const cv::Mat& bgr, const cv::Mat* alpha, cv::Mat& argb) {
    if (bgr.channels() != 3) {
        alad::LogError("not 3 channels input mat !");
        return;
    }
    if (bgr.empty() || bgr.dims > 2) {
        alad::LogError("imageBGR2ARGB_8888: the colour matrix is empty or not 2-dimensional; nothing written");
        return;
    }
    const int depth = bgr.depth();
    if (depth != CV_8U && depth != CV_16U && depth != CV_32F) {
        alad::LogError("imageBGR2ARGB_8888: the colour matrix's depth %s is not 8U, 16U or 32F; nothing written",
                       cv::depthToString(depth));
        return;
    }
    if (alpha != nullptr && (alpha->channels() != 1 || alpha->depth() != depth || alpha->dims > 2)) {
        alad::LogError("imageBGR2ARGB_8888: the alpha matrix has %d channels of depth %s, 1 of %s needed; nothing written",
                       alpha->channels(), cv::depthToString(alpha->depth()), cv::depthToString(depth));
        return;
    }
    Guarded("imageBGR2ARGB_8888", [&] {
        cv::Mat bgra, joined;
        cv::cvtColor(bgr, bgra, cv::COLOR_BGR2BGRA);
        std::vector<cv::Mat> planes;
        cv::split(bgra, planes);
        cv::merge(std::vector<cv::Mat>{alpha ? *alpha : planes[3], planes[2], planes[1], planes[0]}, joined);
        argb = joined;
    });
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
    Guarded("transform8To12", [&] { alad::Widen8To12(src, dst); });
}

void transform10To12(cv::Mat& src, cv::Mat& dst) {
    Guarded("transform10To12", [&] {
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
    });
}

void transform8To12Interface(cv::Mat& src, cv::Mat& dst) { transform8To12(src, dst); }
