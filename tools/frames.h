// Pictures and videos in and out of the tool, frame by frame, as the engine's 12-bit CV_32SC3
// B, G, R images.
//
// Inputs: a still picture (8- or 16-bit, any format OpenCV reads); a numbered picture sequence
// ("f%03d.png", starting at 0..4 like common video tools); raw planar 10-bit 4:2:0 YUV, 16-bit
// little-endian samples ("--yuv WxH"); Y4M with 8- or 10-bit 4:2:0; any video OpenCV reads (8-bit).
// Outputs: a still picture, a numbered picture sequence, raw 10-bit YUV (.yuv), 10-bit Y4M (.y4m),
// or a video through OpenCV: .mkv as FFV1 (lossless), .avi as MJPEG, .mp4/.mov/.m4v as MPEG-4.
// YUV is BT.601 with the limited range (64..940), the matrix of the verification harness's reader;
// a picture at more than 8 bits is written at 16 bits where the format holds them (PNG, TIFF, PPM).
#ifndef ALAD_TOOLS_FRAMES_H
#define ALAD_TOOLS_FRAMES_H

#include <memory>
#include <string>

#include <opencv2/core.hpp>

namespace alad_tool {

struct FrameFormat {
    cv::Size size;
    int bits = 8;          // of the input's samples: 8, 10 or 16
    double fps = 25.0;     // 25 when the input does not say
    long expected = -1;    // frames the header or the file size announce; -1: not known
    bool still = false;    // a single picture, not a sequence or a video
    int first_number = 0;  // of a numbered sequence
    std::string kind;      // "picture", "picture sequence", "raw YUV 4:2:0 10-bit", ...
};

class FrameReader {
public:
    virtual ~FrameReader() = default;
    const FrameFormat& Format() const { return format_; }
    // The next frame as 12-bit CV_32SC3; false at the end.
    virtual bool Read(cv::Mat& frame12) = 0;
    // After the end: why the input ended earlier than announced (a truncated file, fewer frames
    // than the header says), or empty.
    virtual std::string Shortfall(long frames_read) const;

protected:
    FrameFormat format_;
};

// Opens an input. `yuv_size` is the --yuv WxH text, empty when not given. Throws UsageError or
// RunError naming the file.
std::unique_ptr<FrameReader> OpenFrames(const std::string& path, const std::string& yuv_size);

class FrameWriter {
public:
    virtual ~FrameWriter() = default;
    virtual void Write(const cv::Mat& frame12) = 0;
    // Flushes and closes; throws RunError when something could not be written.
    virtual void Finish() {}
    // A single picture (which cannot take the frames of a video).
    virtual bool Still() const { return false; }
    // "picture", "FFV1 video (lossless)", ...
    const std::string& Kind() const { return kind_; }

protected:
    std::string kind_;
};

// Creates an output for frames of the input's size and depth.
std::unique_ptr<FrameWriter> CreateFrames(const std::string& path, const FrameFormat& input);

// True for a path naming a numbered sequence ("f%03d.png"); throws UsageError for a '%' that is
// not one %d conversion (with an optional 0 and width).
bool IsNumberedPattern(const std::string& path);
std::string NumberedPath(const std::string& pattern, int number);
// "WxH" with an even width and height.
cv::Size ParseYuvSize(const std::string& text);

// One frame of planar 10-bit 4:2:0 YUV (Y plane, then U, then V; even width and height) to and
// from the engine's 12-bit B, G, R image. The decoding is the verification harness's (10-bit
// B, G, R, then widened v * 4 + v / 256); the encoding is its inverse, with the chroma of each 2x2
// cell averaged.
cv::Mat DecodeYuv420p10(const uint16_t* samples, cv::Size size);
void EncodeYuv420p10(const cv::Mat& frame12, uint16_t* samples);
inline size_t Yuv420Samples(cv::Size size) {
    return static_cast<size_t>(size.width) * size.height * 3 / 2;
}

}  // namespace alad_tool

#endif  // ALAD_TOOLS_FRAMES_H
