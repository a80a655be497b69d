// Dumps of the debug store and of images as hexadecimal text, one value or pixel per line, the
// form a hardware model's dumps are compared with. The image form is the packed pixel format the
// readers take, so a dump can be fed back as a test vector.
#include <cstdio>
#include <sstream>
#include <string>

#include "agtm/agtm_apply.h"
#include "alad/alad_verify.h"
#include "common/log.h"
#include "common/debug_store.h"

const char* const kDebugInfoTypes[kDebugInfoTypeCount] = {
    "hist", "foreward_curve", "backward_curve", "curve", "smooth_curve", "trans_curve", "agtm_result", "cltm_result",
};

namespace {

// Lines are formatted into a block and written in large pieces: a full-HD frame is millions of
// lines and fprintf per value would dominate a verification run.
class HexWriter {
public:
    explicit HexWriter(std::FILE* file) : file_(file) { block_.reserve(kBlock + 64); }
    ~HexWriter() { Flush(); }
    HexWriter(const HexWriter&) = delete;
    HexWriter& operator=(const HexWriter&) = delete;

    // The value in lower-case hexadecimal, zero-padded to at least `digits` digits.
    void Hex(uint32_t value, int digits) {
        char text[8];
        int n = 0;
        do {
            text[n++] = "0123456789abcdef"[value & 15u];
            value >>= 4;
        } while (value != 0);
        for (int i = n; i < digits; ++i) block_.push_back('0');
        while (n > 0) block_.push_back(text[--n]);
    }
    void EndLine() {
        block_.push_back('\n');
        if (block_.size() >= kBlock) Flush();
    }
    bool Flush() {
        if (!block_.empty() && std::fwrite(block_.data(), 1, block_.size(), file_) != block_.size()) failed_ = true;
        block_.clear();
        return !failed_;
    }

private:
    static constexpr size_t kBlock = 1 << 16;
    std::FILE* file_;
    std::string block_;
    bool failed_ = false;
};

void WriteArray(HexWriter& out, const kelvo::alad_debug_buffer_& buffer) {
    if (buffer.length < 1 || buffer.data == nullptr) return;
    for (int32_t i = 0; i < buffer.length; ++i) {
        out.Hex(buffer.data[i], 8);
        out.EndLine();
    }
}

// R, G, B (channels 2, 1, 0), each at least three digits. Negative values are written as their
// 32-bit pattern: the dump shows what the matrix holds.
bool WriteImage(HexWriter& out, const cv::Mat& image, const std::string& fileName) {
    if (image.empty()) return true;
    cv::Mat pixels = image;
    if (image.channels() != 3) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "image dump '%s': %d-channel image; only 3-channel images are written",
                  fileName.c_str(), image.channels());
        return false;
    }
    if (image.depth() != CV_32S) image.convertTo(pixels, CV_32S);
    for (int y = 0; y < pixels.rows; ++y) {
        const int32_t* row = pixels.ptr<int32_t>(y);
        for (int x = 0; x < pixels.cols; ++x) {
            out.Hex(static_cast<uint32_t>(row[3 * x + 2]), 3);
            out.Hex(static_cast<uint32_t>(row[3 * x + 1]), 3);
            out.Hex(static_cast<uint32_t>(row[3 * x + 0]), 3);
            out.EndLine();
        }
    }
    return true;
}

std::FILE* OpenForWriting(const std::string& fileName) {
    std::FILE* file = std::fopen(fileName.c_str(), "w");
    if (!file) alad::Log(alad::LogLevel::kError, alad::Console::kErr, "open failed: %s", fileName.c_str());
    return file;
}

bool Close(std::FILE* file, const std::string& fileName) {
    if (std::fclose(file) == 0) return true;
    alad::Log(alad::LogLevel::kError, alad::Console::kErr, "write failed: %s", fileName.c_str());
    return false;
}

// The store's array or image of a debug type; null for a type of the other kind or an unknown one.
const kelvo::alad_debug_buffer_* ArrayOfType(const kelvo::alad_debug_output_& store, const std::string& infoType) {
    if (infoType == "hist") return &store.GetHistBuffer();
    if (infoType == "foreward_curve") return &store.GetForewardBuffer();
    if (infoType == "backward_curve") return &store.GetBackwardBuffer();
    if (infoType == "curve") return &store.GetTmpCurveBuffer();
    if (infoType == "smooth_curve") return &store.GetSmoothCurveBuffer();
    if (infoType == "trans_curve") return &store.GetTransitionCurveBuffer();
    return nullptr;
}

const cv::Mat* ImageOfType(const kelvo::alad_debug_output_& store, const std::string& infoType) {
    if (infoType == "agtm_result") return &store.GetAGTMResultData();
    if (infoType == "cltm_result") return &store.GetCLTMResultData();
    return nullptr;
}

}  // namespace

int32_t WriteDebugDump(const std::string& fileName, const std::string& infoType) {
    // The store can be re-made by the engine at any time, so it is looked up on every dump.
    kelvo::alad_debug_output_* store = kelvo::alad_debug_output_::GetInstance();
    if (store == nullptr) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "the gDebugDataPrint is NULL!");
        return -1;
    }
    store->QueryInternalStatus();
    std::FILE* file = OpenForWriting(fileName);
    bool written = file != nullptr;
    bool known = true;
    if (file) {
        HexWriter out(file);
        if (const kelvo::alad_debug_buffer_* array = ArrayOfType(*store, infoType)) {
            WriteArray(out, *array);
        } else if (const cv::Mat* image = ImageOfType(*store, infoType)) {
            written = WriteImage(out, *image, fileName);
        } else {
            alad::Log(alad::LogLevel::kError, alad::Console::kErr, "the infoType is:%s", infoType.c_str());
            known = false;
        }
        written = out.Flush() && written;
    }
    if (file && !Close(file, fileName)) written = false;
    alad::LogLine("printDebugInfo: %s, infoType: %s", fileName.c_str(), infoType.c_str());
    return written && known ? 0 : -1;
}

int32_t WriteImageDump(const std::string& fileName, const cv::Mat& image) {
    std::FILE* file = OpenForWriting(fileName);
    alad::LogLine("printImageInfo: %s", fileName.c_str());
    bool written = file != nullptr;
    if (file) {
        HexWriter out(file);
        written = WriteImage(out, image, fileName);
        written = out.Flush() && written;
        written = Close(file, fileName) && written;
    }
    alad::LogLine("printImageInfo: %s", fileName.c_str());
    return written ? 0 : -1;
}

int32_t CopyDebugArray(const std::string& infoType, std::vector<uint32_t>& values) {
    values.clear();
    const kelvo::alad_debug_output_* store = kelvo::alad_debug_output_::GetInstance();
    const kelvo::alad_debug_buffer_* array = store ? ArrayOfType(*store, infoType) : nullptr;
    if (array == nullptr) {
        alad::LogError("CopyDebugArray: '%s' is not a debug array type", infoType.c_str());
        return -1;
    }
    if (array->length > 0 && array->data != nullptr) values.assign(array->data, array->data + array->length);
    return 0;
}

int32_t CopyDebugImage(const std::string& infoType, cv::Mat& image) {
    image.release();
    const kelvo::alad_debug_output_* store = kelvo::alad_debug_output_::GetInstance();
    const cv::Mat* kept = store ? ImageOfType(*store, infoType) : nullptr;
    if (kept == nullptr) {
        alad::LogError("CopyDebugImage: '%s' is not a debug image type", infoType.c_str());
        return -1;
    }
    // As the dump writes it: 32-bit channels, whatever depth the stage kept.
    if (!kept->empty()) kept->convertTo(image, CV_MAKETYPE(CV_32S, kept->channels()));
    return 0;
}

void printDebugInfo(int, const std::string& fileName, const std::string&, const std::string& infoType) {
    WriteDebugDump(fileName, infoType);
}

void printDebugInfo(const std::string& fileName, const std::string& infoType) {
    printDebugInfo(0, fileName, "", infoType);
}

void printImageInfo(int, const std::string& fileName, const std::string&, const cv::Mat& image) {
    WriteImageDump(fileName, image);
}

void printImageInfo(const std::string& fileName, const cv::Mat& image) { printImageInfo(0, fileName, "", image); }

float ClimpUnchar(float value, float maximum) { return kelvo::ClimpUncharFix(value, maximum); }

void StatisticsForFloatFixed(cv::Mat& floatResult, cv::Mat& fixedResult, std::string label) {
    if (floatResult.size() != fixedResult.size() || floatResult.channels() != fixedResult.channels() ||
        floatResult.channels() > 4) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "%s: the float and fixed results differ in size or channels; not compared",
                  label.c_str());
        return;
    }
    if (floatResult.empty()) {
        alad::Log(alad::LogLevel::kError, alad::Console::kErr, "%s: no results to compare", label.c_str());
        return;
    }
    cv::Mat reference, fixed;
    floatResult.convertTo(reference, CV_32F, 1.0);
    fixedResult.convertTo(fixed, CV_32F, 1.0);
    // PSNR on the matrices as given; two depths that cv::PSNR will not mix are compared as floats.
    const double psnr = floatResult.type() == fixedResult.type() ? cv::PSNR(floatResult, fixedResult, 255.0)
                                                                  : cv::PSNR(reference, fixed, 255.0);
    const cv::Mat difference = reference - fixed;

    // The bounds start at 255 and -255: an all-equal pair reports 0 and 0.
    float smallest = 255.0f, largest = -255.0f;
    for (int y = 0; y < difference.rows; ++y) {
        const float* row = difference.ptr<float>(y);
        for (int i = 0; i < difference.cols * difference.channels(); ++i) {
            if (row[i] < smallest) smallest = row[i];
            if (row[i] > largest) largest = row[i];
        }
    }
    const cv::Scalar sums = cv::sum(cv::abs(difference));

    std::ostringstream line;
    line << label << ":  Float and Fixed PSNR: " << psnr << ";    DifferenceSum : " << "[" << sums[0] << ", "
         << sums[1] << ", " << sums[2] << ", " << sums[3] << "]" << ";  MaxMinV: " << smallest << ", " << largest;
    alad::LogLine("%s", line.str().c_str());
}
