// The verification front end's entry points: its records translated into the engine's, and
// forwards to the engine and the harness. Nothing is thrown at the caller.
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "alad/alad_engine.h"
#include "alad/alad_interface.h"
#include "alad/alad_verify.h"
#include "common/frame_size.h"
#include "common/log.h"
#include "driver/driver_records.h"
#include "driver/wrapped.h"
#include "pipeline/register_table.h"

using alad::Guarded;
using alad::Present;
using alad::Wrapped;

namespace {

// The fields the front end's record shares with the driver's, then the rest of the user record.
kelvo::ad_user_t_ UserRecordFromInterface(const ad_user_interface_t_& user, bool with_extension) {
    const ad_user_t_driver_ shared = {user.mode,     user.blk_width, user.blk_height, user.curve_id,
                                      user.strength, user.tm_mode,   user.width,      user.height};
    kelvo::ad_user_t_ record = kelvo::UserRecordFromDriver(shared);
    if (with_extension) {
        std::memcpy(record.reserved_table, user.curve_table, sizeof(record.reserved_table));
        record.reserved_limit = static_cast<uint32_t>(user.limit);
        record.reserved_pair[0] = static_cast<uint32_t>(user.spare);
        record.reserved_pair[1] = static_cast<uint32_t>(user.option);
        record.filter_flag = user.flag;
    }
    return record;
}

}  // namespace

ad_user_interface_t_* ad_user_t_init_interface(ad_user_interface_t_* user) {
    if (user) {
        *user = ad_user_interface_t_{};
        user->blk_width = user->blk_height = 256;
        user->curve_id = 1;
        user->strength = 8;
        user->tm_mode = 3;
        user->width = 800;
        user->height = 480;
        user->limit = 65535;
    }
    alad::LogLine("ad_user_t: blk_size=%dx%d, strength=%d, curve_id=%d", 256, 256, 8, 1);
    return user;
}

alad_display_model_interface_* alad_display_model_init_interface_(alad_display_model_interface_* model) {
    if (model) *model = alad_display_model_interface_{2.2, 500.0, 0.2, 1.0, 0.01};
    return model;
}

uint32_t _check_blk_size_interface(uint32_t size) { return _check_blk_size_driver(size); }

int32_t InitEngineALADInterface(ad_user_interface_t_* user, alad_display_model_interface_* model,
                                const alad_view_condition_interface_* view) {
    Wrapped("InitEngineALADInterface", [&] {
        if (!Present(view, "InitEngineALADInterface")) return -1;
        // The caller's user and display values are discarded on purpose, as for the driver.
        ad_user_interface_t_ defaults;
        alad_display_model_interface_ display;
        ad_user_t_init_interface(&defaults);
        alad_display_model_init_interface_(&display);
        if (user) *user = defaults;
        if (model) *model = display;
        kelvo::alad_view_condition_ engine_view;
        engine_view.blackLevelSrc = view->blackLevelSrc;
        engine_view.blackLevelDst = view->blackLevelDst;
        alad::LogLine("Interface viewCondition.blackLevelDst = %g", static_cast<double>(view->blackLevelDst));
        const alad_display_model_driver_ panel = {display.gamma, display.white, display.black, display.backlight,
                                                  display.reflectance};
        return kelvo::InitEngineALAD(UserRecordFromInterface(defaults, true), kelvo::DisplayRecordFromDriver(panel),
                                     engine_view);
    });
    return 0;
}

int32_t RunOneFrameALADInterface(const cv::Mat& src, cv::Mat& dst) {
    Wrapped("RunOneFrameALADInterface", [&] { return kelvo::RunOneFrameALAD(src, dst); });
    return 0;
}

int32_t DeinitEngineALADInterface() {
    Wrapped("DeinitEngineALADInterface", [] { return kelvo::DeinitEngineALAD(); });
    return 0;
}

int32_t ComputeAGTMLUTByAmbientLightInterface(unsigned int unused, unsigned int ambientSrc, unsigned int ambientDst,
                                              int* lut, unsigned int /*count*/) {
    Wrapped("ComputeAGTMLUTByAmbientLightInterface",
            [&] { return kelvo::ComputeAGTMLUTByAmbientLight(unused, ambientSrc, ambientDst, lut); });
    return 0;
}

int32_t PrintCurrentRegistratorFromDriverInterface() {
    return Wrapped("PrintCurrentRegistratorFromDriverInterface", [] { return kelvo::PrintCurrentRegistratorFromDriver(); });
}

int32_t UpdateCLTMParameterForVerify(const ad_user_interface_t_* user) {
    Wrapped("UpdateCLTMParameterForVerify", [&] {
        if (!Present(user, "UpdateCLTMParameterForVerify")) return -1;
        if (!alad::CheckFrameSize("UpdateCLTMParameterForVerify", user->width, user->height,
                                  "the current configuration is kept")) {
            return -1;
        }
        // Only the fields shared with the driver's record are passed on.
        return kelvo::UpdateCLTMParameter(UserRecordFromInterface(*user, false));
    });
    return 0;
}

void parseRegisterFromFileInterface(const char* path, alad_verification_registrator_interface_* reg) {
    Guarded("parseRegisterFromFileInterface", 0, [&] {
        if (!Present(reg, "parseRegisterFromFileInterface") || !path) return 0;
        // Cleared tables: entries the file does not set read 0.
        std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE, 0);
        std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE, 0);
        kelvo::alad_verification_registrator_ parsed;
        parsed.hist_adjust_curve = curve.data();
        parsed.agtm = table.data();
        try {
            if (ReadRegisterFile(path, parsed) != 0) return 0;
        } catch (const RegisterFileError& e) {
            alad::LogError("%s", e.message().c_str());
            return 0;
        }
        kelvo::CopyRegisters(parsed, *reg);
        if (reg->reg_agtm) std::memcpy(reg->reg_agtm, table.data(), table.size() * sizeof(int32_t));
        if (reg->reg_hist) std::memcpy(reg->reg_hist, curve.data(), curve.size() * sizeof(int32_t));
        return 0;
    });
}

int32_t SettingVerificationRegistratorInterface(const alad_verification_registrator_interface_* reg) {
    Wrapped("SettingVerificationRegistratorInterface", [&] {
        if (!Present(reg, "SettingVerificationRegistratorInterface")) return -1;
        if (!reg->reg_hist || !reg->reg_agtm) {
            alad::LogError("SettingVerificationRegistratorInterface: the register set has no %s buffer; nothing applied",
                           reg->reg_agtm ? "reg_hist" : "reg_agtm");
            return -1;
        }
        std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE);
        std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE);
        std::memcpy(table.data(), reg->reg_agtm, table.size() * sizeof(int32_t));
        std::memcpy(curve.data(), reg->reg_hist, curve.size() * sizeof(int32_t));
        kelvo::alad_verification_registrator_ regs;
        kelvo::CopyRegisters(*reg, regs);
        regs.hist_adjust_curve = curve.data();
        regs.agtm = table.data();
        return kelvo::SettingVerificationRegistrator(regs);
    });
    return 0;
}

int32_t printImageInfoInterface(const char* fileName, const cv::Mat& image) {
    return Guarded("printImageInfoInterface", 0, [&] {
        if (fileName) printImageInfo(fileName, image);
        return 0;
    });
}

int32_t printDebugInfoInterface(const char* fileName, const char* infoType) {
    return Guarded("printDebugInfoInterface", 0, [&] {
        if (fileName && infoType) printDebugInfo(fileName, infoType);
        return 0;
    });
}

int32_t parseImageFromFileCmodelInterface(const char* path, int width, int height, cv::Mat& out) {
    return Guarded("parseImageFromFileCmodelInterface", -1, [&] {
        return path ? parseImageFromFileCmodel(std::string(path), width, height, out) : -1;
    });
}

int32_t VerifyInitEngineALADInterface() {
    Wrapped("VerifyInitEngineALADInterface", [] { return VerifyInitEngineALAD(); });
    return 0;
}

int32_t VerifyRunOneFrameALADInterface(const char* registerFile, const char* imageFile, const char* outputFolder,
                                       const char* const* names, int32_t count) {
    Wrapped("VerifyRunOneFrameALADInterface",
            [&] { return VerifyRunOneFrameALAD(registerFile, imageFile, outputFolder, names, count); });
    return 0;
}

int32_t VerifyDeinitEngineALADInterface() {
    Wrapped("VerifyDeinitEngineALADInterface", [] { return VerifyDeinitEngineALAD(); });
    return 0;
}
