// Walks every public path that prints, with the engine's default log, so that its transcript can be
// compared byte for byte with the one kept in tests/engine/transcript/: the verification tools compare
// those lines, so they must never change by accident. Run in an empty folder; public headers only.
#include <cstdio>
#include <vector>

#include <opencv2/core.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "alad/alad_interface.h"
#include "alad/alad_verify.h"

namespace {

void WriteFile(const char* path, const char* text) {
    std::FILE* file = std::fopen(path, "w");
    if (file) {
        std::fputs(text, file);
        std::fclose(file);
    }
}

}  // namespace

int main() {
    cv::Mat picture(4, 8, CV_32SC3);
    for (int i = 0; i < 4 * 8 * 3; ++i) picture.ptr<int32_t>()[i] = (i * 397) % 4096;
    WriteImageDump("image.txt", picture);
    WriteFile("regs.txt", "tm_mode=1 width=8 height=4 blk_width_b=64 blk_height_b=64 strength_step=3 hist_adj_curv_64=9\n");
    WriteFile("gamma.txt", "0 0\n100 7ff\n");

    // The verification run: two frames, a missing vector, a reset, the status print.
    VerifyInitEngineALAD();
    VerifyRunOneFrameALAD("regs.txt", "image.txt", ".", nullptr, 0);
    VerifyRunOneFrameALAD("regs.txt", "image.txt", ".", nullptr, 0);
    VerifyRunOneFrameALAD("regs.txt", "missing.txt", ".", nullptr, 0);
    VerifyResetEngineALAD();
    kelvo::PrintCurrentRegistratorFromDriver();
    VerifyDeinitEngineALAD();
    parseGammaLUTFromFile("gamma.txt", 3);
    cv::Mat fixed = picture.clone();
    fixed.at<cv::Vec3i>(1, 2)[0] += 5;
    StatisticsForFloatFixed(picture, fixed, "transcript");

    // The driver: levels, a buffer in place, a refused buffer, the read-back and the range check.
    int32_t lut[ALAD_AGTM_LUT_SIZE];
    getAGTMLevel(2380);
    getAGTMCurveParams(3, lut);
    ad_user_t_driver_ user;
    alad_display_model_driver_ display;
    const alad_view_condition_driver_ view = {300.0f, 5000.0f};
    InitEngineALADforDriver(&user, &display, &view);
    user.width = 8;
    user.height = 4;
    user.tm_mode = 1;
    UpdateCLTMParameterForDriver(&user);
    std::vector<unsigned char> pixels(8 * 4 * 4);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(i * 7);
    _image frame = {8, 4, 4, pixels.data()};
    RunOneFrameBufferALADforDriver(&frame);
    RunOneFrameBufferALADforDriver(&frame);
    _image wrong = {8, 4, 3, pixels.data()};
    RunOneFrameBufferALADforDriver(&wrong);
    int32_t hist[ALAD_HIST_ADJUST_CURVE_SIZE];
    alad_registrator_driver regs = {};
    regs.reg_hist = hist;
    regs.reg_agtm = lut;
    ALADRegistratorsInfoForDriver(&regs);
    const alad_registrator_driver bad = {0, 96, 512, 0, 6, 2, -1, 1024, -1024, 2, 256, 0, 256, nullptr, nullptr};
    checkAladRegisterParameterValidity(&bad);
    DeinitEngineALADforDriver();

    // The verification front end.
    ad_user_interface_t_ front_user;
    alad_display_model_interface_ front_display;
    const alad_view_condition_interface_ front_view = {6000.0f, 260000.0f};
    InitEngineALADInterface(&front_user, &front_display, &front_view);
    cv::Mat out;
    RunOneFrameALADInterface(picture, out);
    ComputeAGTMLUTByAmbientLightInterface(0, 300, 20000, lut, 0);
    PrintCurrentRegistratorFromDriverInterface();
    return 0;
}
