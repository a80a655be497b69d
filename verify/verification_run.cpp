// The verification run: the engine in a fixed reference configuration, programmed from a register
// file per frame, one test vector through it, every intermediate result dumped for comparison with
// the hardware model.
#include <string>
#include <vector>

#include "alad/alad_engine.h"
#include "alad/alad_verify.h"
#include "common/log.h"
#include "verify/readers.h"

namespace {

// The eight dump files, then the result image: the caller's names where given, else
// "<type>.txt" and "result.txt", inside the output folder.
std::vector<std::string> DumpFiles(const std::string& folder, const char* const* names, int32_t count) {
    std::vector<std::string> files;
    for (int i = 0; i <= kDebugInfoTypeCount; ++i) {
        std::string name = i < kDebugInfoTypeCount ? std::string(kDebugInfoTypes[i]) + ".txt" : "result.txt";
        if (names != nullptr && i < count && names[i] != nullptr && names[i][0] != '\0') name = names[i];
        if (folder.empty()) {
            files.push_back(name);
        } else {
            files.push_back(folder.back() == '/' ? folder + name : folder + "/" + name);
        }
    }
    return files;
}

void Report(const std::string& line) {
    alad::Log(alad::LogLevel::kError, alad::Console::kErr, "VerifyRunOneFrameALAD: %s", line.c_str());
}

}  // namespace

int32_t VerifyInitEngineALAD() {
    kelvo::ad_user_t_ user;  // blocks 256x256, curve 1, strength 8, 65535, zero table and flags
    user.tm_mode = 1;
    // No size yet: each register file sets it, and a new size re-initialises the CLTM context.
    user.width = 0;
    user.height = 0;
    const kelvo::alad_display_model_ display;
    kelvo::alad_view_condition_ view;
    view.blackLevelSrc = 6000.0f;
    view.blackLevelDst = 260000.0f;
    return kelvo::InitEngineALAD(user, display, view);
}

int32_t VerifyRunOneFrameALAD(const char* registerFile, const char* imageFile, const char* outputFolder,
                              const char* const* names, int32_t count) {
    const std::string register_path = registerFile ? registerFile : "";
    const std::string image_path = imageFile ? imageFile : "";
    const std::vector<std::string> files = DumpFiles(outputFolder ? outputFolder : "", names, count);

    // Whatever the file does not set reads 0.
    std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE, 0);
    std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE, 0);
    kelvo::alad_verification_registrator_ regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    // The engine gets a complete register set or none at all.
    try {
        if (ReadRegisterFile(register_path.c_str(), regs) != 0) {
            Report("register file '" + register_path + "' cannot be read; frame skipped");
            return -1;
        }
    } catch (const RegisterFileError& e) {
        Report(e.message() + "; frame skipped");
        return -1;
    }
    if (!alad::IsUsablePictureSize(regs.width, regs.height)) {
        Report("register file '" + register_path + "' sets the frame size " + std::to_string(regs.width) + "x" +
               std::to_string(regs.height) + ", which cannot be run; frame skipped");
        return -1;
    }
    if (kelvo::SettingVerificationRegistrator(regs) != 0) {
        Report("the engine refused the registers of '" + register_path + "'; frame skipped");
        return -1;
    }

    cv::Mat input;
    bool complete = true;
    switch (alad::ReadPackedPixelFile(image_path, regs.width, regs.height, input)) {
        case alad::PixelFileRead::kRead:
            break;
        case alad::PixelFileRead::kCountMismatch:
            // Run with what was read (missing pixels are 0), as a short vector still exercises the
            // engine, but the frame counts as failed.
            Report("image file '" + image_path + "' does not hold the " + std::to_string(regs.width) + "x" +
                   std::to_string(regs.height) + " pixels set by '" + register_path + "'; run with what was read");
            complete = false;
            break;
        default:
            Report("image file '" + image_path + "' cannot be read; frame skipped");
            return -1;
    }

    // The dumps need the stage images, whatever a host asked for before.
    kelvo::SetEngineDebugImages(true);
    cv::Mat output;
    if (kelvo::RunOneFrameALAD(input, output) != 0) {
        Report("the engine failed on '" + image_path + "'");
        complete = false;
    }
    for (int i = 0; i < kDebugInfoTypeCount; ++i) {
        if (WriteDebugDump(files[i], kDebugInfoTypes[i]) != 0) complete = false;
    }
    if (WriteImageDump(files[kDebugInfoTypeCount], output) != 0) complete = false;
    return complete ? 0 : -1;
}

int32_t VerifyResetEngineALAD() { return kelvo::ResetEngineALAD(); }

int32_t VerifyDeinitEngineALAD() { return kelvo::DeinitEngineALAD(); }
