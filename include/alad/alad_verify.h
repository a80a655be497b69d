// The verification harness: what a test bench uses to drive the engine with a hardware model's test
// vectors and to dump every intermediate result for a line-by-line comparison with the model.
//
//  - register files (key=value tokens) into the public register set,
//  - hexadecimal pixel files and 10-bit YUV 4:2:0 frames into 12-bit (or 10-bit) B, G, R images,
//  - dumps of the debug store and of images as hexadecimal text, one value or pixel per line,
//  - a verification run: reference engine start, then one register file and one test vector per
//    frame, eight debug dumps and the result image written after each.
//
// Readers and dumps print the harness's fixed console lines ("open success: ...") on standard
// output and their failures on standard error. Calls must be serialised, as for the engine.
#ifndef ALAD_ALAD_VERIFY_H
#define ALAD_ALAD_VERIFY_H

#include "alad/alad_export.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_records.h"

// ---- register files ----

// A register file that cannot be applied: a number that does not convert. Carries the file, the
// offending token and what is wrong with it; what() says all three in one line. Thrown as one of
// the two standard conversion exceptions below, so it can be caught as either.
class ALAD_EXPORT RegisterFileError {
public:
    virtual ~RegisterFileError() = default;
    const std::string& file() const { return file_; }
    const std::string& token() const { return token_; }
    const std::string& problem() const { return problem_; }
    // "register file '<file>': token '<token>': <problem>", what() of the exception thrown.
    std::string message() const { return Describe(file_, token_, problem_); }

protected:
    RegisterFileError(std::string file, std::string token, std::string problem)
        : file_(std::move(file)), token_(std::move(token)), problem_(std::move(problem)) {}
    static std::string Describe(const std::string& file, const std::string& token, const std::string& problem) {
        return "register file '" + file + "': token '" + token + "': " + problem;
    }

private:
    std::string file_, token_, problem_;
};

// No number where one is needed (a table index or value that is not a number, a missing value).
class ALAD_EXPORT RegisterFileInvalidArgument : public std::invalid_argument, public RegisterFileError {
public:
    RegisterFileInvalidArgument(const std::string& file, const std::string& token, const std::string& problem)
        : std::invalid_argument(Describe(file, token, problem)), RegisterFileError(file, token, problem) {}
};

// A number outside the 32-bit range, or a table key too short to hold its index.
class ALAD_EXPORT RegisterFileOutOfRange : public std::out_of_range, public RegisterFileError {
public:
    RegisterFileOutOfRange(const std::string& file, const std::string& token, const std::string& problem)
        : std::out_of_range(Describe(file, token, problem)), RegisterFileError(file, token, problem) {}
};

// Reads a register file into reg, whose two pointers must designate 65 and 256 values. Only what
// the file names is written. Returns 0, or -1 (record unchanged, "open failed: <path>" on standard
// error) when the file cannot be opened. A table index outside its table is reported on standard
// error and that token skipped; a number that does not convert throws RegisterFileInvalidArgument
// or RegisterFileOutOfRange (the tokens before it have been applied).
ALAD_EXPORT int32_t ReadRegisterFile(const char* path, kelvo::alad_verification_registrator_& reg);
// The same, without the result.
ALAD_EXPORT void parseRegisterFromFile(const char* path, kelvo::alad_verification_registrator_& reg);
// Writes reg as a register file that ReadRegisterFile reads back into the same record: the thirteen
// registers, then every entry of both tables in the fixed-position key forms hist_adj_curv_NN and
// agtm_entryNNN, one token per line. Returns 0, or -1 when a table pointer is null or the file
// cannot be written (reported on standard error).
ALAD_EXPORT int32_t WriteRegisterFile(const char* path, const kelvo::alad_verification_registrator_& reg);

// ---- test images ----

// One pixel per line, "R G B" in hexadecimal, into a CV_32SC3 B, G, R image. Returns 0, or -1 when
// the size is not usable (a side below 1 or above ALAD_MAX_FRAME_SIDE, more than
// ALAD_MAX_FRAME_PIXELS in all), the file cannot be opened or is too short to hold a line per
// pixel (out is then left empty: nothing is allocated), or the file does not hold exactly
// width x height pixels (out holds what was read; missing pixels read 0).
ALAD_EXPORT int parseImageFromFile(std::string path, int width, int height, cv::Mat& out);
// One pixel per line, RRRGGGBBB packed in one hexadecimal number; otherwise as above.
ALAD_EXPORT int parseImageFromFileCmodel(std::string path, int width, int height, cv::Mat& out);
// A planar 10-bit little-endian YUV 4:2:0 frame into a 10-bit CV_32SC3 B, G, R image. A file that
// cannot be opened or is shorter than the frame (found before anything is allocated), or a size
// that is not usable, is reported on standard error and leaves out empty.
ALAD_EXPORT void yuv10BitLE2BGR(const std::string& path, int width, int height, cv::Mat& out);
// Prints the 2.2 gamma check of a table file ("address value" in hexadecimal per line). Returns 0,
// or -1 when the file cannot be opened or does not hold `length` entries.
ALAD_EXPORT int parseGammaLUTFromFile(std::string path, int length);

// ---- dumps ----

// The debug data types, in the order a verification run dumps them.
constexpr int kDebugInfoTypeCount = 8;
ALAD_EXPORT extern const char* const kDebugInfoTypes[kDebugInfoTypeCount];

// Writes one kind of debug data ("hist", "foreward_curve", "backward_curve", "curve",
// "smooth_curve", "trans_curve": one %08x value per line; "agtm_result", "cltm_result": image
// lines) into fileName. An unknown type leaves an empty file. The first and third arguments are
// not used.
ALAD_EXPORT void printDebugInfo(int, const std::string& fileName, const std::string&, const std::string& infoType);
ALAD_EXPORT void printDebugInfo(const std::string& fileName, const std::string& infoType);
// Writes an image, one pixel per line as R, G, B, each at least three hexadecimal digits
// (RRRGGGBBB for 12-bit values): what parseImageFromFileCmodel reads back. The first and third
// arguments are not used.
ALAD_EXPORT void printImageInfo(int, const std::string& fileName, const std::string&, const cv::Mat& image);
ALAD_EXPORT void printImageInfo(const std::string& fileName, const cv::Mat& image);
// The two dumps with a result: 0 when the file was written, -1 when it could not be (reported on
// standard error), the type is unknown or the image is not a 3-channel one.
ALAD_EXPORT int32_t WriteDebugDump(const std::string& fileName, const std::string& infoType);
ALAD_EXPORT int32_t WriteImageDump(const std::string& fileName, const cv::Mat& image);
// The same data in memory, for a bench that compares values rather than files: what WriteDebugDump
// writes for the type. An array type ("hist" to "trans_curve") copies the array into `values` (empty
// when the store holds none); an image type ("agtm_result", "cltm_result") gives a deep copy of the
// last stage output (CV_32SC3, empty when there is none). Each returns 0, or -1 with its output
// emptied and a message for a type that is unknown or of the other kind.
ALAD_EXPORT int32_t CopyDebugArray(const std::string& infoType, std::vector<uint32_t>& values);
ALAD_EXPORT int32_t CopyDebugImage(const std::string& infoType, cv::Mat& image);

// Prints how far a fixed-point result is from its floating-point reference: PSNR, summed absolute
// difference per channel and the smallest and largest difference (in that order).
ALAD_EXPORT void StatisticsForFloatFixed(cv::Mat& floatResult, cv::Mat& fixedResult, std::string label);
// 0 for a negative value, else the value rounded half away from zero, at most `maximum`.
ALAD_EXPORT float ClimpUnchar(float value, float maximum);

// ---- the verification run ----

// Starts the engine in the reference configuration: blocks 256x256, curve 1, strength 8, order 1,
// size 0x0 (the register files set it), default display, 6000 lux -> 260000 lux.
ALAD_EXPORT int32_t VerifyInitEngineALAD();
// One frame: a register record cleared to zero is filled from registerFile and handed to the
// engine, the packed pixel file imageFile (of the registers' width and height) is run through it,
// and the eight debug dumps and the result image are written into outputFolder, named by names[0..8]
// (missing, null or fewer names give "<type>.txt" and "result.txt"). A register file that cannot be
// read or converted skips the frame before anything reaches the engine; so does an unusable frame
// size or an image file that cannot be opened. Returns 0 when the frame ran and every dump was
// written, -1 otherwise (each problem reported on standard error, naming the file).
ALAD_EXPORT int32_t VerifyRunOneFrameALAD(const char* registerFile, const char* imageFile, const char* outputFolder,
                                          const char* const* names, int32_t count);
ALAD_EXPORT int32_t VerifyResetEngineALAD();
ALAD_EXPORT int32_t VerifyDeinitEngineALAD();

#endif  // ALAD_ALAD_VERIFY_H
