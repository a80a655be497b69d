// The engine entry points: one process-wide engine behind free functions.
#include <exception>

#include "alad/alad_engine.h"
#include "common/debug_store.h"
#include "common/frame_size.h"
#include "common/log.h"
#include "common/threads.h"
#include "engine/argb_frames.h"
#include "engine/manager.h"

namespace kelvo {

namespace {

// The process-wide engine: empty until the first InitEngineALAD, then replaced only by the next
// one (DeinitEngineALAD keeps it); released at process exit.
std::shared_ptr<ALADManager> gEngine;

// Runs one entry point: refuses it while there is no engine (when it needs one) and turns any
// exception into a message and -1, so that nothing is thrown at a caller.
template <typename Body>
int32_t Guarded(const char* name, bool needs_engine, Body&& body) {
    try {
        if (needs_engine && !gEngine) {
            alad::LogError("%s: the engine is not initialised (call InitEngineALAD first)", name);
            return -1;
        }
        return body();
    } catch (const std::exception& e) {
        alad::LogError("%s failed: %s", name, e.what());
    } catch (...) {
        alad::LogError("%s failed", name);
    }
    return -1;
}

}  // namespace

int32_t InitEngineALAD(const ad_user_t_& user, const alad_display_model_& display, const alad_view_condition_& view) {
    return Guarded("InitEngineALAD", false, [&] {
        if (!alad::CheckFrameSize("InitEngineALAD", user.width, user.height,
                                  gEngine ? "the running engine is kept" : "no engine made")) {
            return -1;
        }
        int32_t status = 0;
        gEngine = createALADManager(user, display, view, true, &status);
        if (!gEngine) {
            alad::LogError("create alad engine failed!");
            return -1;
        }
        return status;  // -1 when the panel made no tone curve: the engine runs with the neutral table
    });
}

int32_t DeinitEngineALAD() {
    // The engine is deliberately kept: the next InitEngineALAD replaces it.
    alad::LogLine("release ALADManager and DeinitEngineALAD.");
    return 0;
}

int32_t RunOneFrameALAD(const cv::Mat& src, cv::Mat& dst) {
    return Guarded("RunOneFrameALAD", true, [&] { return gEngine->RunOneFrame(src, dst); });
}

int32_t RunOneFrameARGBALAD(const alad::ArgbFrame& frame, bool* ran) {
    *ran = false;
    // Under RunOneFrameALAD's name: the same messages as the frame path it stands for.
    return Guarded("RunOneFrameALAD", true, [&] {
        *ran = true;
        return gEngine->RunOneFrameARGB(frame);
    });
}

int32_t ResetEngineALAD() {
    return Guarded("ResetEngineALAD", true, [&] { return gEngine->ResetManager(); });
}

int32_t UpdateViewConditionParameter(const alad_view_condition_& view) {
    return Guarded("UpdateViewConditionParameter", true, [&] { return gEngine->UpdateViewConditionParameter(view); });
}

int32_t UpdateDisplayPanelParameter(const alad_display_model_& display) {
    return Guarded("UpdateDisplayPanelParameter", true, [&] { return gEngine->UpdateDisplayPanelParameter(display); });
}

int32_t UpdateCLTMParameter(const ad_user_t_& user) {
    return Guarded("UpdateCLTMParameter", true, [&] {
        if (!alad::CheckFrameSize("UpdateCLTMParameter", user.width, user.height,
                                  "the current configuration is kept")) {
            return -1;
        }
        return gEngine->UpdateCLTMParameter(user);
    });
}

int32_t SettingVerificationRegistrator(const alad_verification_registrator_& regs) {
    return Guarded("SettingVerificationRegistrator", true, [&] {
        if (!alad::CheckFrameSize("SettingVerificationRegistrator", regs.width, regs.height,
                                  "no register applied; the current configuration is kept")) {
            return -1;
        }
        return gEngine->SettingHardwareRegistrator(regs);
    });
}

int32_t PrintCurrentRegistratorFromDriver() {
    return Guarded("PrintCurrentRegistratorFromDriver", true, [&] {
        alad::LogLine("KELVODraftEngine PrintCurrentRegistratorFromDriver : ");
        return gEngine->PrintCurrentStatus();
    });
}

int32_t ComputeAGTMLUTByAmbientLight(unsigned int /*unused*/, unsigned int ambientSrc, unsigned int ambientDst,
                                     int* lut, unsigned int /*unusedCount*/) {
    return Guarded("ComputeAGTMLUTByAmbientLight", false, [&] {
        if (!lut) {
            alad::LogError("ComputeAGTMLUTByAmbientLight: no table to fill (null pointer)");
            return -1;
        }
        // A default engine for the two ambient levels replaces whatever engine was running.
        const ad_user_t_ user;
        const alad_display_model_ display;
        alad_view_condition_ view;
        view.blackLevelSrc = static_cast<float>(ambientSrc);
        view.blackLevelDst = static_cast<float>(ambientDst);
        if (InitEngineALAD(user, display, view) != 0) return -1;
        gEngine->PrintAGTMLUTByAmbientLight(lut);
        alad::LogLine("release ALADManager and DeinitEngineALAD.");
        return 0;
    });
}

int32_t ALADRegistratorsInfoForDriverDraftEngine(alad_verification_registrator& regs) {
    return Guarded("ALADRegistratorsInfoForDriverDraftEngine", true,
                   [&] { return gEngine->ALADRegistratorsInfoForDriverManager(regs); });
}

int32_t SetEngineThreads(int threads) {
    alad::SetEngineThreadCount(threads);
    return 0;
}

int GetEngineThreads() { return alad::EngineThreads(); }

int32_t SetEngineDebugImages(bool keep) {
    alad_debug_output_::SetKeepImages(keep);
    return 0;
}

int32_t SetEngineLogSink(void (*sink)(void* user, int level, const char* line), void* user) {
    alad::SetLogSink(sink, user);
    return 0;
}

}  // namespace kelvo
