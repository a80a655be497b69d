// Test vector readers: hexadecimal pixel files from the hardware model (one pixel per line), raw
// 10-bit YUV 4:2:0 frames from video tools, and the text gamma-table check.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "alad/alad_verify.h"
#include "common/frame_size.h"
#include "common/log.h"
#include "verify/readers.h"

namespace alad {

bool IsUsablePictureSize(int width, int height) {
    return width >= 1 && height >= 1 && FrameSizeWithinBound(width, height);
}

bool UsablePictureSize(const char* who, const std::string& path, int width, int height) {
    if (IsUsablePictureSize(width, height)) return true;
    Log(LogLevel::kError, Console::kErr,
        "%s: '%s': frame size %dx%d is not usable (each side 1 to %lld pixels, at most %lld pixels in all)", who,
        path.c_str(), width, height, static_cast<long long>(kMaxFrameSide), static_cast<long long>(kMaxFramePixels));
    return false;
}

}  // namespace alad

namespace {

// The bytes a file holds, or -1 when that cannot be known beforehand (not a regular file).
int64_t FileBytes(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return -1;
    const std::uintmax_t bytes = std::filesystem::file_size(path, error);
    return error ? -1 : static_cast<int64_t>(bytes);
}

// False, with a message, when the file is known to hold fewer than `needed` bytes: checked before
// the frame is allocated, so that a few bytes claiming an 8K frame commit nothing.
bool LongEnough(const char* who, const std::string& path, int width, int height, int64_t needed, const char* what) {
    const int64_t bytes = FileBytes(path);
    if (bytes < 0 || bytes >= needed) return true;
    alad::Log(alad::LogLevel::kError, alad::Console::kErr,
              "%s: '%s' holds %lld bytes, too few for a %dx%d frame (%s: at least %lld bytes); nothing read", who,
              path.c_str(), static_cast<long long>(bytes), width, height, what, static_cast<long long>(needed));
    return false;
}

// The reading loop shared by both pixel formats: the rows are filled again from the top until the
// file ends, an empty line ends the current row. `parse` turns one line into channels 0, 1, 2.
template <typename ParseLine>
alad::PixelFileRead ReadPixelLines(const char* who, const char* opened, const std::string& path, int width, int height, cv::Mat& out,
                   ParseLine parse) {
    if (!alad::UsablePictureSize(who, path, width, height)) {
        out.release();
        return alad::PixelFileRead::kBadSize;
    }
    std::ifstream file(path);
    if (!file.is_open()) {
        out.release();
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "open failed: %s", path.c_str());
        return alad::PixelFileRead::kCannotOpen;
    }
    alad::LogLine("%s%s", opened, path.c_str());
    // A pixel is a line of at least one character; the last one needs no line end.
    if (!LongEnough(who, path, width, height, 2 * int64_t{width} * height - 1, "a line per pixel")) {
        out.release();
        return alad::PixelFileRead::kTooShort;
    }
    // Zeroed, so that the pixels a short file leaves out read 0 rather than whatever memory held.
    out = cv::Mat::zeros(height, width, CV_32SC3);

    const int64_t expected = int64_t{width} * height;
    int64_t count = 0;
    std::string line;
    // Every pass reads at least one line, so the passes end with the file (or at a read error,
    // which would otherwise never reach the end).
    while (file.good()) {
        for (int y = 0; y < height; ++y) {
            int32_t* row = out.ptr<int32_t>(y);
            for (int x = 0; x < width; ++x) {
                if (!std::getline(file, line) || line.empty()) break;
                parse(line, row + 3 * x);
                ++count;
            }
        }
    }
    if (count != expected) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "parameter error: pixel number != width*height: %lld != %lld",
                  static_cast<long long>(count), static_cast<long long>(expected));
        return alad::PixelFileRead::kCountMismatch;
    }
    return alad::PixelFileRead::kRead;
}

}  // namespace

namespace {

// Reads up to `count` hexadecimal numbers from a line the way a hexadecimal text stream does:
// blanks, an optional sign and "0x", digits. Reading stops at the first field that fails; that
// field and the ones after it keep 0, a field beyond the type's range holds its maximum.
void HexFields(const std::string& line, unsigned int* fields, int count) {
    const char* p = line.c_str();
    for (int i = 0; i < count; ++i) {
        char* end = nullptr;
        errno = 0;
        const unsigned long value = std::strtoul(p, &end, 16);
        if (end == p) return;
        if (errno == ERANGE || value > UINT_MAX) {
            fields[i] = UINT_MAX;
            return;
        }
        fields[i] = static_cast<unsigned int>(value);
        p = end;
    }
}

}  // namespace

int parseImageFromFile(std::string path, int width, int height, cv::Mat& out) {
    const alad::PixelFileRead read = ReadPixelLines("parseImageFromFile", "open success! ", path, width, height, out,
                          [](const std::string& line, int32_t* pixel) {
                              unsigned int rgb[3] = {0, 0, 0};
                              HexFields(line, rgb, 3);
                              // Values are not range-checked: the file is expected to hold 0..FFF.
                              pixel[0] = static_cast<int32_t>(rgb[2]);
                              pixel[1] = static_cast<int32_t>(rgb[1]);
                              pixel[2] = static_cast<int32_t>(rgb[0]);
                          });
    return read == alad::PixelFileRead::kRead ? 0 : -1;
}

alad::PixelFileRead alad::ReadPackedPixelFile(const std::string& path, int width, int height, cv::Mat& out) {
    return ReadPixelLines("parseImageFromFileCmodel", "open success: ", path, width, height, out,
                          [](const std::string& line, int32_t* pixel) {
                              // A signed 64-bit number: nine hexadecimal digits carry the three
                              // 12-bit channels, anything above them is ignored.
                              const uint64_t bits = static_cast<uint64_t>(std::strtoll(line.c_str(), nullptr, 16));
                              pixel[0] = static_cast<int32_t>(bits & 0xFFF);
                              pixel[1] = static_cast<int32_t>((bits >> 12) & 0xFFF);
                              pixel[2] = static_cast<int32_t>((bits >> 24) & 0xFFF);
                          });
}

int parseImageFromFileCmodel(std::string path, int width, int height, cv::Mat& out) {
    return alad::ReadPackedPixelFile(path, width, height, out) == alad::PixelFileRead::kRead ? 0 : -1;
}

namespace {

// Sample at a byte offset of a little-endian plane; chroma offsets need not be even.
inline int32_t Sample16(const std::vector<unsigned char>& plane, size_t offset) {
    return static_cast<int32_t>(plane[offset] | (plane[offset + 1] << 8));
}

// 10-bit result of a sum scaled by 256, rounded with the converter's constant 512.
inline int32_t To10Bit(int32_t sum) {
    if (sum > 261375) return 1023;
    if (sum < -256) return 0;
    return (sum + 512) >> 8;  // arithmetic shift: the sum may be negative down to -256
}

bool ReadExactly(std::FILE* file, std::vector<unsigned char>& bytes) {
    return bytes.empty() || std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size();
}

}  // namespace

void yuv10BitLE2BGR(const std::string& path, int width, int height, cv::Mat& out) {
    out.release();
    if (!alad::UsablePictureSize("yuv10BitLE2BGR", path, width, height)) return;
    const size_t w = static_cast<size_t>(width), h = static_cast<size_t>(height);
    // Chroma rows are `width` bytes apart, so a plane holds (width+1 rounded down to even) bytes
    // per row pair.
    const size_t luma_bytes = w * h * 2, chroma_bytes = ((w + 1) & ~size_t{1}) * ((h + 1) / 2);
    const size_t frame_bytes = luma_bytes + 2 * chroma_bytes;
    const auto too_short = [&] {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr,
                  "yuv10BitLE2BGR: '%s' is shorter than a %dx%d frame (%zu bytes); nothing read", path.c_str(), width,
                  height, frame_bytes);
    };
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "open failed: %s", path.c_str());
        return;
    }
    // Known before anything is allocated for a regular file; found by reading for others.
    const int64_t file_bytes = FileBytes(path);
    if (file_bytes >= 0 && static_cast<uint64_t>(file_bytes) < frame_bytes) {
        std::fclose(file);
        too_short();
        return;
    }
    std::vector<unsigned char> y_plane(luma_bytes), u_plane(chroma_bytes), v_plane(chroma_bytes);
    const bool complete = ReadExactly(file, y_plane) && ReadExactly(file, u_plane) && ReadExactly(file, v_plane);
    std::fclose(file);
    if (!complete) {
        too_short();
        return;
    }

    cv::Mat image(height, width, CV_32SC3);
    for (size_t y = 0; y < h; ++y) {
        int32_t* row = image.ptr<int32_t>(static_cast<int>(y));
        for (size_t x = 0; x < w; ++x) {
            const size_t chroma = (x & ~size_t{1}) + (y / 2) * w;
            const int32_t c = 298 * Sample16(y_plane, 2 * (y * w + x)) - 19072;
            const int32_t u = Sample16(u_plane, chroma) - 512;
            const int32_t v = Sample16(v_plane, chroma) - 512;
            row[3 * x + 0] = To10Bit(c + 516 * u);
            row[3 * x + 1] = To10Bit(c - 100 * u - 208 * v);
            row[3 * x + 2] = To10Bit(c + 409 * v);
        }
    }
    out = image;
}

int parseGammaLUTFromFile(std::string path, int length) {
    std::ifstream file(path);
    if (!file.is_open()) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "open failed: %s", path.c_str());
        return -1;
    }
    alad::LogLine("open success! %s", path.c_str());
    int64_t count = 0;
    std::string line;
    while (std::getline(file, line)) {
        if (line.empty()) continue;
        std::istringstream numbers(line);
        unsigned int address = 0, value = 0;
        numbers >> std::hex >> address >> value;
        const unsigned int scaled = address * 16u;  // the addresses count in steps of 16 of 12 bits
        const double g = std::trunc(std::pow(scaled * 0.000244140625, 2.2) * 4096);
        std::ostringstream text;
        text.setf(std::ios::fixed);
        text.precision(0);
        text << "addr: " << scaled << ",   value: " << value << ".   pow(v, 2.2): " << g;
        alad::LogLine("%s", text.str().c_str());
        ++count;
    }
    if (count != length) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "parameter error: pixel number != lenght: %lld != %d", static_cast<long long>(count),
                  length);
        return -1;
    }
    return 0;
}
