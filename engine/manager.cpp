#include "engine/manager.h"

#include <cstring>
#include <string>

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

// The manager speaks the entry points' language: 0 when the pipeline did what was asked, -1 when
// it reported anything else (the CLTM parts report 1, the pipeline -1).
int32_t Status(int32_t pipeline_result) { return pipeline_result == 0 ? 0 : -1; }

}  // namespace

ALADManagerImple::~ALADManagerImple() {
    mPanel.reset();
    mPipeline.reset();
}

ManagerInit ALADManagerImple::Init(const ad_user_t_& user, const alad_display_model_& display,
                                   const alad_view_condition_& view, bool video) {
    mPanel = std::make_shared<DisplayPanelModel>();
    mPanel->Init(display.gamma, display.white, display.black, display.backlight, display.reflectance,
                 static_cast<double>(view.blackLevelSrc), static_cast<double>(view.blackLevelDst));
    mPipeline = std::make_shared<ALADConcatenateMode>();
    alad_cltm_user cltm = MakeCLTMUser(user);
    if (mPipeline->Init(*mPanel, cltm, video) != 0) return ManagerInit::kNotBuilt;
    return TableStatus("InitEngineALAD") == 0 ? ManagerInit::kReady : ManagerInit::kNeutralTable;
}

int32_t ALADManagerImple::TableStatus(const char* who) const {
    const std::string& problem = mPipeline->AGTMTableProblem();
    if (problem.empty()) return 0;
    alad::LogError("%s: the display panel and viewing condition make no tone curve: %s; every AGTM gain is 1.0 "
                   "until a usable panel or viewing condition is given", who, problem.c_str());
    return -1;
}

int32_t ALADManagerImple::RunOneFrame(const cv::Mat& src, cv::Mat& dst) { return Status(mPipeline->RunOneFrame(src, dst)); }

int32_t ALADManagerImple::RunOneFrameARGB(const alad::ArgbFrame& frame) {
    return Status(mPipeline->RunOneFrameARGB(frame));
}

int32_t ALADManagerImple::ResetManager() { return Status(mPipeline->ResetALADContext()); }

int32_t ALADManagerImple::UpdateViewConditionParameter(const alad_view_condition_& view) {
    mPanel->UpdateViewCondition(view.blackLevelSrc, view.blackLevelDst);
    mPipeline->UpdateDisplayModel(*mPanel);
    return TableStatus("UpdateViewConditionParameter");
}

int32_t ALADManagerImple::UpdateDisplayPanelParameter(const alad_display_model_& display) {
    // A new panel keeps the effective black levels of the last viewing condition, except when they
    // were made from a panel or viewing condition that made no curve: those are made again from
    // this panel, so that the first usable panel after a bad one brings back a normal table.
    const bool table_refused = !mPipeline->AGTMTableProblem().empty();
    mPanel->UpdateDisplaySpecification(display.gamma, display.white, display.black, display.backlight,
                                       display.reflectance);
    if (table_refused) mPanel->UpdateViewCondition(mPanel->AmbientSrc(), mPanel->AmbientDst());
    mPipeline->UpdateDisplayModel(*mPanel);
    return TableStatus("UpdateDisplayPanelParameter");
}

int32_t ALADManagerImple::UpdateCLTMParameter(const ad_user_t_& user) {
    alad_cltm_user cltm = MakeCLTMUser(user);
    return Status(mPipeline->UpdateCLTMParams(cltm));
}

int32_t ALADManagerImple::SettingHardwareRegistrator(const alad_verification_registrator_& regs) {
    if (!regs.hist_adjust_curve || !regs.agtm) {
        alad::LogError("SettingHardwareRegistrator: the register set has no %s table; nothing applied",
                       regs.agtm ? "hist_adjust_curve" : "agtm");
        return -1;
    }
    RegisterSet set;
    CopyRegisters(regs, set.regs);  // the block counts stay 0: they are outputs
    std::memcpy(set.table, regs.agtm, sizeof(set.table));
    std::memcpy(set.curve, regs.hist_adjust_curve, sizeof(set.curve));
    return Status(mPipeline->ConfigureVerificationRegistrators(set.regs));
}

int32_t ALADManagerImple::PrintCurrentStatus() {
    RegisterSet set;
    if (mPipeline->CopyRegistratorFromDriver(set.regs) != 0) return -1;
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
    if (mPipeline->CopyRegistratorFromDriver(set.regs) != 0) return -1;
    std::memmove(lut, set.table, sizeof(set.table));
    return 0;
}

int32_t ALADManagerImple::ALADRegistratorsInfoForDriverManager(alad_verification_registrator& regs) {
    return Status(mPipeline->CopyRegistratorFromDriver(regs));
}

std::shared_ptr<ALADManager> createALADManager(const ad_user_t_& user, const alad_display_model_& display,
                                               const alad_view_condition_& view, bool video, int32_t* status) {
    auto manager = std::make_shared<ALADManagerImple>();
    const ManagerInit made = manager->Init(user, display, view, video);
    // A manager whose pipeline could not be built (no memory for the video context or the CLTM
    // buffers) would pass every frame through: none is made, and the caller says so. One whose
    // panel makes no curve runs (its AGTM stage changes nothing) and the caller is told.
    if (made == ManagerInit::kNotBuilt) return nullptr;
    if (status) *status = made == ManagerInit::kReady ? 0 : -1;
    return manager;
}

}  // namespace kelvo
