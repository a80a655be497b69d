#include "engine/manager.h"

#include <cstring>

#include "common/log.h"
#include "engine/records.h"
#include "pipeline/register_table.h"

namespace kelvo {

namespace {

// An internal register set with zeroed arrays of its own, for one call.
struct RegisterSet {
    uint32_t curve[ALAD_HIST_ADJUST_CURVE_SIZE] = {};
    int32_t table[ALAD_AGTM_LUT_SIZE] = {};
    alad_verification_registrator regs;
    RegisterSet() {
        regs.hist_adjust_curve = curve;
        regs.agtm = table;
    }
    RegisterSet(const RegisterSet&) = delete;
    RegisterSet& operator=(const RegisterSet&) = delete;
};

}  // namespace

ALADManagerImple::~ALADManagerImple() {
    mPanel.reset();
    mPipeline.reset();
}

int32_t ALADManagerImple::Init(const ad_user_t_& user, const alad_display_model_& display,
                               const alad_view_condition_& view, bool video) {
    mPanel = std::make_shared<DisplayPanelModel>();
    mPanel->Init(display.gamma, display.white, display.black, display.backlight, display.reflectance,
                 static_cast<double>(view.blackLevelSrc), static_cast<double>(view.blackLevelDst));
    mPipeline = std::make_shared<ALADConcatenateMode>();
    alad_cltm_user cltm = MakeCLTMUser(user);
    return mPipeline->Init(*mPanel, cltm, video);
}

int32_t ALADManagerImple::RunOneFrame(const cv::Mat& src, cv::Mat& dst) {
    mPipeline->RunOneFrame(src, dst);
    return 0;
}

int32_t ALADManagerImple::ResetManager() {
    mPipeline->ResetALADContext();
    return 0;
}

int32_t ALADManagerImple::UpdateViewConditionParameter(const alad_view_condition_& view) {
    mPanel->UpdateViewCondition(view.blackLevelSrc, view.blackLevelDst);
    mPipeline->UpdateDisplayModel(*mPanel);
    return 0;
}

int32_t ALADManagerImple::UpdateDisplayPanelParameter(const alad_display_model_& display) {
    mPanel->UpdateDisplaySpecification(display.gamma, display.white, display.black, display.backlight,
                                       display.reflectance);
    mPipeline->UpdateDisplayModel(*mPanel);
    return 0;
}

int32_t ALADManagerImple::UpdateCLTMParameter(const ad_user_t_& user) {
    alad_cltm_user cltm = MakeCLTMUser(user);
    mPipeline->UpdateCLTMParams(cltm);
    return 0;
}

int32_t ALADManagerImple::SettingHardwareRegistrator(const alad_verification_registrator_& regs) {
    if (!regs.hist_adjust_curve || !regs.agtm) {
        alad::LogLine("SettingHardwareRegistrator: the register set has no %s table; nothing applied",
                      regs.agtm ? "hist_adjust_curve" : "agtm");
        return -1;
    }
    RegisterSet set;
    CopyRegisters(regs, set.regs);  // the block counts stay 0: they are outputs
    std::memcpy(set.table, regs.agtm, sizeof(set.table));
    std::memcpy(set.curve, regs.hist_adjust_curve, sizeof(set.curve));
    mPipeline->ConfigureVerificationRegistrators(set.regs);
    return 0;
}

int32_t ALADManagerImple::PrintCurrentStatus() {
    RegisterSet set;
    mPipeline->CopyRegistratorFromDriver(set.regs);
    // The public registers' values alone, one per line, in register order; the block counts and the
    // two tables' contents are deliberately left out.
    for (const RegisterInfo& reg : kRegisters) {
        if (reg.public_form) alad::LogLine("%d", set.regs.*reg.internal);
    }
    alad::LogLine(" agtm : ");
    alad::LogLine(" hist_adjust_curve : ");
    return 0;
}

int32_t ALADManagerImple::PrintAGTMLUTByAmbientLight(int* lut) {
    if (!lut) return -1;
    RegisterSet set;
    mPipeline->CopyRegistratorFromDriver(set.regs);
    std::memmove(lut, set.table, sizeof(set.table));
    return 0;
}

int32_t ALADManagerImple::ALADRegistratorsInfoForDriverManager(alad_verification_registrator& regs) {
    mPipeline->CopyRegistratorFromDriver(regs);
    return 0;
}

std::shared_ptr<ALADManager> createALADManager(const ad_user_t_& user, const alad_display_model_& display,
                                               const alad_view_condition_& view, bool video) {
    auto manager = std::make_shared<ALADManagerImple>();
    manager->Init(user, display, view, video);
    return manager;
}

}  // namespace kelvo
