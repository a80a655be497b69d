#include "tools/frames.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <sstream>
#include <sys/stat.h>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include "alad/alad_driver.h"
#include "tools/tool_common.h"

namespace alad_tool {

namespace {

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string Extension(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    return Lower(path.substr(dot + 1));
}

bool FileExists(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

long long FileSize(const std::string& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
}

// Formats that keep 16-bit samples when OpenCV writes them.
bool Holds16Bits(const std::string& path) {
    const std::string ext = Extension(path);
    return ext == "png" || ext == "tif" || ext == "tiff" || ext == "ppm" || ext == "pnm" || ext == "pgm";
}

// 10-bit value of a sum scaled by 256, rounded with the harness converter's constant.
inline int32_t To10Bit(int32_t sum) {
    if (sum > 261375) return 1023;
    if (sum < -256) return 0;
    return (sum + 512) >> 8;
}

// ---- readers ----

class StillReader : public FrameReader {
public:
    explicit StillReader(const std::string& path) {
        int depth = 0;
        picture_ = ReadPicture12(path, &depth);
        format_.size = picture_.size();
        format_.bits = depth == CV_16U ? 16 : 8;
        format_.still = true;
        format_.expected = 1;
        format_.kind = "picture";
    }
    bool Read(cv::Mat& frame12) override {
        if (done_) return false;
        frame12 = picture_;
        done_ = true;
        return true;
    }

private:
    cv::Mat picture_;
    bool done_ = false;
};

class SequenceReader : public FrameReader {
public:
    explicit SequenceReader(const std::string& pattern) : pattern_(pattern) {
        int first = 0;
        while (first <= 4 && !FileExists(NumberedPath(pattern, first))) ++first;
        if (first > 4) {
            throw RunError("no picture of the sequence '" + pattern + "' (looked for numbers 0 to 4)");
        }
        next_ = first;
        int depth = 0;
        first_frame_ = ReadPicture12(NumberedPath(pattern, first), &depth);
        format_.size = first_frame_.size();
        format_.bits = depth == CV_16U ? 16 : 8;
        format_.first_number = first;
        format_.kind = "picture sequence";
    }
    bool Read(cv::Mat& frame12) override {
        if (!first_frame_.empty()) {
            frame12 = first_frame_;
            first_frame_.release();
            ++next_;
            return true;
        }
        const std::string path = NumberedPath(pattern_, next_);
        if (!FileExists(path)) return false;
        frame12 = ReadPicture12(path, nullptr);
        if (frame12.size() != format_.size) {
            throw RunError("picture '" + path + "' is " + std::to_string(frame12.cols) + "x" +
                           std::to_string(frame12.rows) + ", the sequence's first " +
                           std::to_string(format_.size.width) + "x" + std::to_string(format_.size.height));
        }
        ++next_;
        return true;
    }

private:
    std::string pattern_;
    int next_ = 0;
    cv::Mat first_frame_;
};

// Reads whole 4:2:0 frames of 16-bit little-endian samples from an open file.
class Yuv420Frames {
public:
    Yuv420Frames(std::FILE* file, cv::Size size, int bits) : file_(file), size_(size), bits_(bits) {}
    ~Yuv420Frames() {
        if (file_) std::fclose(file_);
    }
    Yuv420Frames(const Yuv420Frames&) = delete;
    Yuv420Frames& operator=(const Yuv420Frames&) = delete;

    // 1: a frame; 0: the end; -1: the file ended inside the frame.
    int Next(cv::Mat& frame12) {
        const size_t count = Yuv420Samples(size_);
        samples_.resize(count);
        const size_t bytes_per_sample = bits_ > 8 ? 2 : 1;
        bytes_.resize(count * bytes_per_sample);
        const size_t got = std::fread(bytes_.data(), 1, bytes_.size(), file_);
        if (got == 0) return 0;
        if (got < bytes_.size()) return -1;
        for (size_t i = 0; i < count; ++i) {
            samples_[i] = bytes_per_sample == 2
                              ? static_cast<uint16_t>(bytes_[2 * i] | (bytes_[2 * i + 1] << 8))
                              : static_cast<uint16_t>(bytes_[i] << 2);  // 8-bit codes on the 10-bit scale
        }
        frame12 = DecodeYuv420p10(samples_.data(), size_);
        return 1;
    }
    std::FILE* File() const { return file_; }

private:
    std::FILE* file_;
    cv::Size size_;
    int bits_;
    std::vector<unsigned char> bytes_;
    std::vector<uint16_t> samples_;
};

std::FILE* OpenForReading(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) throw RunError("cannot read '" + path + "': " + std::strerror(errno));
    return file;
}

class RawYuvReader : public FrameReader {
public:
    RawYuvReader(const std::string& path, cv::Size size) : path_(path), frames_(OpenForReading(path), size, 10) {
        const long long bytes = FileSize(path);
        const long long frame_bytes = static_cast<long long>(Yuv420Samples(size)) * 2;
        format_.size = size;
        format_.bits = 10;
        format_.expected = static_cast<long>((bytes + frame_bytes - 1) / frame_bytes);
        format_.kind = "raw YUV 4:2:0 10-bit";
        if (bytes < frame_bytes) {
            throw RunError("'" + path + "' holds " + std::to_string(bytes) + " bytes, less than one " +
                           std::to_string(size.width) + "x" + std::to_string(size.height) + " frame (" +
                           std::to_string(frame_bytes) + " bytes)");
        }
    }
    bool Read(cv::Mat& frame12) override {
        if (partial_) return false;
        const int got = frames_.Next(frame12);
        partial_ = got < 0;
        return got > 0;
    }
    std::string Shortfall(long frames_read) const override {
        if (!partial_) return "";
        return "'" + path_ + "' ends inside frame " + std::to_string(frames_read) + " (its size is not a whole number of " +
               std::to_string(format_.size.width) + "x" + std::to_string(format_.size.height) +
               " frames); the partial frame was left out";
    }

private:
    std::string path_;
    Yuv420Frames frames_;
    bool partial_ = false;
};

class Y4mReader : public FrameReader {
public:
    explicit Y4mReader(const std::string& path) : path_(path) {
        std::FILE* file = OpenForReading(path);
        std::string header;
        int c;
        while ((c = std::fgetc(file)) != EOF && c != '\n' && header.size() < 4096) header += static_cast<char>(c);
        std::istringstream tokens(header);
        std::string magic, token;
        tokens >> magic;
        if (magic != "YUV4MPEG2") {
            std::fclose(file);
            throw RunError("'" + path + "' is not a Y4M file (no YUV4MPEG2 header)");
        }
        std::string colour = "420jpeg";
        int rate_num = 25, rate_den = 1;
        while (tokens >> token) {
            const char tag = token[0];
            const std::string value = token.substr(1);
            if (tag == 'W') format_.size.width = std::atoi(value.c_str());
            if (tag == 'H') format_.size.height = std::atoi(value.c_str());
            if (tag == 'C') colour = value;
            if (tag == 'F' && std::sscanf(value.c_str(), "%d:%d", &rate_num, &rate_den) != 2) rate_den = 0;
        }
        const bool ten = colour == "420p10";
        const bool eight = colour == "420" || colour == "420jpeg" || colour == "420paldv" || colour == "420mpeg2";
        std::string problem;
        if (!ten && !eight) problem = "colour space C" + colour + " (this tool reads 4:2:0 at 8 or 10 bits)";
        if (format_.size.width < 2 || format_.size.height < 2 || format_.size.width % 2 || format_.size.height % 2 ||
            format_.size.width > 16384 || format_.size.height > 16384) {
            problem = "frame size " + std::to_string(format_.size.width) + "x" + std::to_string(format_.size.height) +
                      " (it needs an even width and height)";
        }
        if (!problem.empty()) {
            std::fclose(file);
            throw RunError("'" + path + "': cannot read " + problem);
        }
        format_.bits = ten ? 10 : 8;
        format_.fps = rate_num > 0 && rate_den > 0 ? static_cast<double>(rate_num) / rate_den : 25.0;
        format_.kind = ten ? "Y4M 4:2:0 10-bit" : "Y4M 4:2:0 8-bit";
        frames_ = std::make_unique<Yuv420Frames>(file, format_.size, format_.bits);
    }
    bool Read(cv::Mat& frame12) override {
        if (partial_) return false;
        std::FILE* file = frames_->File();
        std::string line;
        int c;
        while ((c = std::fgetc(file)) != EOF && c != '\n' && line.size() < 4096) line += static_cast<char>(c);
        if (line.empty() && c == EOF) return false;
        if (line.compare(0, 5, "FRAME") != 0) {
            throw RunError("'" + path_ + "': frame " + std::to_string(read_) + " does not start with FRAME");
        }
        const int got = frames_->Next(frame12);
        partial_ = got <= 0;
        if (got > 0) ++read_;
        return got > 0;
    }
    std::string Shortfall(long frames_read) const override {
        if (!partial_) return "";
        return "'" + path_ + "' ends inside frame " + std::to_string(frames_read) + "; the partial frame was left out";
    }

private:
    std::string path_;
    std::unique_ptr<Yuv420Frames> frames_;
    bool partial_ = false;
    long read_ = 0;
};

class VideoReader : public FrameReader {
public:
    explicit VideoReader(const std::string& path) : path_(path), capture_(path, cv::CAP_FFMPEG) {
        if (!capture_.isOpened()) throw RunError("cannot read '" + path + "' as a picture or a video");
        format_.size = cv::Size(static_cast<int>(capture_.get(cv::CAP_PROP_FRAME_WIDTH)),
                                static_cast<int>(capture_.get(cv::CAP_PROP_FRAME_HEIGHT)));
        const double fps = capture_.get(cv::CAP_PROP_FPS);
        if (fps > 0.0 && fps < 1000.0) format_.fps = fps;
        const double count = capture_.get(cv::CAP_PROP_FRAME_COUNT);
        format_.expected = count > 0 ? static_cast<long>(count) : -1;
        format_.kind = "video";
    }
    bool Read(cv::Mat& frame12) override {
        if (!capture_.read(frame8_)) return false;
        if (frame8_.type() != CV_8UC3 || frame8_.size() != format_.size) {
            throw RunError("a frame of '" + path_ + "' is not " + std::to_string(format_.size.width) + "x" +
                           std::to_string(format_.size.height) + " 8-bit colour");
        }
        transform8To12(frame8_, frame12);
        return true;
    }
    std::string Shortfall(long frames_read) const override {
        if (format_.expected < 0 || frames_read >= format_.expected) return "";
        return "'" + path_ + "' ended after " + std::to_string(frames_read) + " frames; its header says " +
               std::to_string(format_.expected);
    }

private:
    std::string path_;
    cv::VideoCapture capture_;
    cv::Mat frame8_;
};

// ---- writers ----

// 12-bit frames as 8- or 16-bit pictures.
cv::Mat PictureOf(const cv::Mat& frame12, bool sixteen) {
    return NarrowPicture12(frame12, sixteen ? CV_16U : CV_8U);
}

class StillWriter : public FrameWriter {
public:
    StillWriter(const std::string& path, const FrameFormat& input) : path_(path) {
        sixteen_ = input.bits > 8 && Holds16Bits(path);
        kind_ = sixteen_ ? "16-bit picture" : "picture";
    }
    void Write(const cv::Mat& frame12) override { WritePicture(path_, PictureOf(frame12, sixteen_)); }
    bool Still() const override { return true; }

private:
    std::string path_;
    bool sixteen_ = false;
};

class SequenceWriter : public FrameWriter {
public:
    SequenceWriter(const std::string& pattern, const FrameFormat& input) : pattern_(pattern) {
        sixteen_ = input.bits > 8 && Holds16Bits(pattern);
        next_ = input.first_number;
        kind_ = sixteen_ ? "16-bit picture sequence" : "picture sequence";
    }
    void Write(const cv::Mat& frame12) override { WritePicture(NumberedPath(pattern_, next_++), PictureOf(frame12, sixteen_)); }

private:
    std::string pattern_;
    bool sixteen_ = false;
    int next_ = 0;
};

class Yuv420Writer : public FrameWriter {
public:
    Yuv420Writer(const std::string& path, const FrameFormat& input, bool y4m) : path_(path) {
        const cv::Size size = input.size;
        if (size.width % 2 || size.height % 2) {
            throw UsageError("'" + path + "': 4:2:0 YUV needs an even width and height, the input is " +
                             std::to_string(size.width) + "x" + std::to_string(size.height));
        }
        file_ = std::fopen(path.c_str(), "wb");
        if (!file_) throw RunError("cannot write '" + path + "': " + std::strerror(errno));
        if (y4m) {
            // The rate as a fraction: whole rates as N:1, the NTSC family as N*1000:1001.
            long num = std::lround(input.fps), den = 1;
            if (std::fabs(input.fps - num) > 1e-3) {
                num = std::lround(input.fps * 1001.0);
                den = 1001;
            }
            std::fprintf(file_, "YUV4MPEG2 W%d H%d F%ld:%ld Ip A1:1 C420p10 XYSCSS=420P10\n", size.width, size.height,
                         num, den);
        }
        y4m_ = y4m;
        kind_ = y4m ? "Y4M 4:2:0 10-bit" : "raw YUV 4:2:0 10-bit";
        samples_.resize(Yuv420Samples(size));
        bytes_.resize(samples_.size() * 2);
    }
    ~Yuv420Writer() override {
        if (file_) std::fclose(file_);
    }
    void Write(const cv::Mat& frame12) override {
        EncodeYuv420p10(frame12, samples_.data());
        for (size_t i = 0; i < samples_.size(); ++i) {
            bytes_[2 * i] = static_cast<unsigned char>(samples_[i] & 0xff);
            bytes_[2 * i + 1] = static_cast<unsigned char>(samples_[i] >> 8);
        }
        if ((y4m_ && std::fputs("FRAME\n", file_) == EOF) || std::fwrite(bytes_.data(), 1, bytes_.size(), file_) != bytes_.size()) {
            throw RunError("cannot write '" + path_ + "': " + std::strerror(errno));
        }
    }
    void Finish() override {
        const bool failed = std::fclose(file_) != 0;
        file_ = nullptr;
        if (failed) throw RunError("cannot write '" + path_ + "': " + std::strerror(errno));
    }

private:
    std::string path_;
    std::FILE* file_ = nullptr;
    bool y4m_ = false;
    std::vector<uint16_t> samples_;
    std::vector<unsigned char> bytes_;
};

class VideoWriter : public FrameWriter {
public:
    VideoWriter(const std::string& path, const FrameFormat& input) : path_(path) {
        const std::string ext = Extension(path);
        int fourcc = cv::VideoWriter::fourcc('M', 'J', 'P', 'G');
        kind_ = "MJPEG video (lossy, 8-bit)";
        if (ext == "mkv") {
            fourcc = cv::VideoWriter::fourcc('F', 'F', 'V', '1');
            kind_ = "FFV1 video (lossless, 8-bit)";
        } else if (ext == "mp4" || ext == "m4v" || ext == "mov") {
            fourcc = cv::VideoWriter::fourcc('m', 'p', '4', 'v');
            kind_ = "MPEG-4 video (lossy, 8-bit)";
        }
        if (!writer_.open(path, cv::CAP_FFMPEG, fourcc, input.fps, input.size)) {
            throw RunError("cannot write video '" + path + "' (" + kind_ + ")" +
                           (ext == "mkv" ? ": this OpenCV has no FFV1 encoder; write a PNG sequence (out%04d.png)" : ""));
        }
    }
    void Write(const cv::Mat& frame12) override {
        frame8_ = NarrowPicture12(frame12, CV_8U);
        writer_.write(frame8_);
    }
    void Finish() override { writer_.release(); }

private:
    std::string path_;
    cv::VideoWriter writer_;
    cv::Mat frame8_;
};

}  // namespace

std::string FrameReader::Shortfall(long) const { return ""; }

bool IsNumberedPattern(const std::string& path) {
    const size_t percent = path.find('%');
    if (percent == std::string::npos) return false;
    size_t i = percent + 1;
    while (i < path.size() && std::isdigit(static_cast<unsigned char>(path[i]))) ++i;
    if (i >= path.size() || path[i] != 'd' || i - percent > 4 || path.find('%', i) != std::string::npos) {
        throw UsageError("'" + path + "': a numbered sequence takes one %d, %03d or the like, and no other %");
    }
    return true;
}

std::string NumberedPath(const std::string& pattern, int number) {
    char name[4096];
    const int n = std::snprintf(name, sizeof(name), pattern.c_str(), number);
    if (n < 0 || n >= static_cast<int>(sizeof(name))) throw UsageError("'" + pattern + "': path too long");
    return name;
}

cv::Size ParseYuvSize(const std::string& text) {
    int width = 0, height = 0;
    char x = 0, rest = 0;
    if (std::sscanf(text.c_str(), "%d%c%d%c", &width, &x, &height, &rest) != 3 || (x != 'x' && x != 'X') ||
        width < 2 || height < 2 || width > 16384 || height > 16384 || width % 2 || height % 2) {
        throw UsageError("option --yuv needs WIDTHxHEIGHT, both even, got '" + text + "'");
    }
    return cv::Size(width, height);
}

cv::Mat DecodeYuv420p10(const uint16_t* samples, cv::Size size) {
    const size_t w = static_cast<size_t>(size.width), h = static_cast<size_t>(size.height);
    const uint16_t* u_plane = samples + w * h;
    const uint16_t* v_plane = u_plane + (w / 2) * (h / 2);
    cv::Mat bgr10(size, CV_32SC3);
    for (size_t y = 0; y < h; ++y) {
        const uint16_t* y_row = samples + y * w;
        const uint16_t* u_row = u_plane + (y / 2) * (w / 2);
        const uint16_t* v_row = v_plane + (y / 2) * (w / 2);
        int32_t* out = bgr10.ptr<int32_t>(static_cast<int>(y));
        for (size_t x = 0; x < w; ++x) {
            const int32_t c = 298 * static_cast<int32_t>(y_row[x]) - 19072;
            const int32_t u = static_cast<int32_t>(u_row[x / 2]) - 512;
            const int32_t v = static_cast<int32_t>(v_row[x / 2]) - 512;
            out[3 * x + 0] = To10Bit(c + 516 * u);
            out[3 * x + 1] = To10Bit(c - 100 * u - 208 * v);
            out[3 * x + 2] = To10Bit(c + 409 * v);
        }
    }
    cv::Mat frame12;
    transform10To12(bgr10, frame12);
    return frame12;
}

void EncodeYuv420p10(const cv::Mat& frame12, uint16_t* samples) {
    // The decoder computes (Y', U', V') -> RGB as M (Y' - 64, U' - 512, V' - 512) / 256 and rounds
    // up by 2 (floor(x + 2)), so the encoder solves M (...) / 256 = rgb - 1.5 with M's inverse.
    using Matrix = std::array<std::array<double, 3>, 3>;
    static const Matrix kInverse = [] {
        const double m[3][3] = {{298, 0, 409}, {298, -100, -208}, {298, 516, 0}};  // rows R, G, B
        const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
        Matrix inv;
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) {
                const int r0 = (j + 1) % 3, r1 = (j + 2) % 3, c0 = (i + 1) % 3, c1 = (i + 2) % 3;
                inv[i][j] = 256.0 * (m[r0][c0] * m[r1][c1] - m[r0][c1] * m[r1][c0]) / det;
            }
        }
        return inv;
    }();
    const int w = frame12.cols, h = frame12.rows;
    uint16_t* u_plane = samples + static_cast<size_t>(w) * h;
    uint16_t* v_plane = u_plane + static_cast<size_t>(w / 2) * (h / 2);
    std::vector<double> u_sum(static_cast<size_t>(w / 2)), v_sum(static_cast<size_t>(w / 2));
    auto clamp10 = [](double v) { return static_cast<uint16_t>(std::clamp(std::lround(v), 0L, 1023L)); };
    for (int y = 0; y < h; ++y) {
        const int32_t* in = frame12.ptr<int32_t>(y);
        if (y % 2 == 0) {
            std::fill(u_sum.begin(), u_sum.end(), 0.0);
            std::fill(v_sum.begin(), v_sum.end(), 0.0);
        }
        for (int x = 0; x < w; ++x) {
            double rgb[3];
            for (int c = 0; c < 3; ++c) rgb[c] = std::clamp(in[3 * x + 2 - c], 0, 4095) * (1023.0 / 4095.0) - 1.5;
            double yuv[3];
            for (int i = 0; i < 3; ++i) yuv[i] = kInverse[i][0] * rgb[0] + kInverse[i][1] * rgb[1] + kInverse[i][2] * rgb[2];
            samples[static_cast<size_t>(y) * w + x] = clamp10(yuv[0] + 64.0);
            u_sum[static_cast<size_t>(x / 2)] += yuv[1];
            v_sum[static_cast<size_t>(x / 2)] += yuv[2];
        }
        if (y % 2 == 1) {
            for (int x = 0; x < w / 2; ++x) {
                u_plane[static_cast<size_t>(y / 2) * (w / 2) + x] = clamp10(u_sum[static_cast<size_t>(x)] / 4.0 + 512.0);
                v_plane[static_cast<size_t>(y / 2) * (w / 2) + x] = clamp10(v_sum[static_cast<size_t>(x)] / 4.0 + 512.0);
            }
        }
    }
}

std::unique_ptr<FrameReader> OpenFrames(const std::string& path, const std::string& yuv_size) {
    const std::string ext = Extension(path);
    if (!yuv_size.empty()) return std::make_unique<RawYuvReader>(path, ParseYuvSize(yuv_size));
    if (ext == "yuv") throw UsageError("'" + path + "' is raw YUV: give its size with --yuv WxH");
    if (IsNumberedPattern(path)) return std::make_unique<SequenceReader>(path);
    if (!FileExists(path)) throw RunError("cannot read '" + path + "': no such file or no permission");
    if (ext == "y4m") return std::make_unique<Y4mReader>(path);
    // A picture by its content, or by its name (a damaged picture is reported as one, not tried
    // as a video).
    if (cv::haveImageReader(path) || cv::haveImageWriter(path)) return std::make_unique<StillReader>(path);
    return std::make_unique<VideoReader>(path);
}

std::unique_ptr<FrameWriter> CreateFrames(const std::string& path, const FrameFormat& input) {
    const std::string ext = Extension(path);
    if (IsNumberedPattern(path)) return std::make_unique<SequenceWriter>(path, input);
    if (ext == "yuv" || ext == "y4m") return std::make_unique<Yuv420Writer>(path, input, ext == "y4m");
    if (ext == "avi" || ext == "mkv" || ext == "mp4" || ext == "m4v" || ext == "mov") {
        return std::make_unique<VideoWriter>(path, input);
    }
    return std::make_unique<StillWriter>(path, input);
}

}  // namespace alad_tool
