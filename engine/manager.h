// The manager: owns the display panel model and the pipeline, and translates the public records
// into what they need. The entry points hold it through its abstract interface.
#ifndef ALAD_ENGINE_MANAGER_H
#define ALAD_ENGINE_MANAGER_H

#include <cstdint>
#include <memory>

#include <opencv2/core.hpp>

#include "agtm/display_panel_model.h"
#include "alad/alad_records.h"
#include "common/argb8888.h"
#include "pipeline/concatenate_mode.h"

namespace kelvo {

// Every operation returns 0 when it did what was asked and -1 otherwise.
class ALADManager {
public:
    virtual ~ALADManager() = default;
    virtual int32_t RunOneFrame(const cv::Mat& src, cv::Mat& dst) = 0;
    // The display driver's ARGB8888 frame in place (ALADConcatenateMode::RunOneFrameARGB).
    virtual int32_t RunOneFrameARGB(const alad::ArgbFrame& frame) = 0;
    virtual int32_t ResetManager() = 0;
    virtual int32_t UpdateViewConditionParameter(const alad_view_condition_& view) = 0;
    virtual int32_t UpdateDisplayPanelParameter(const alad_display_model_& display) = 0;
    virtual int32_t UpdateCLTMParameter(const ad_user_t_& user) = 0;
    virtual int32_t SettingHardwareRegistrator(const alad_verification_registrator_& regs) = 0;
    virtual int32_t PrintCurrentStatus() = 0;
    // Copies the current 256-entry AGTM table into lut; prints nothing, whatever its name says.
    virtual int32_t PrintAGTMLUTByAmbientLight(int* lut) = 0;
    virtual int32_t ALADRegistratorsInfoForDriverManager(alad_verification_registrator& regs) = 0;
};

// What a manager's Init made: a manager ready to run, one that runs with the neutral AGTM table
// because its panel and viewing condition make no tone curve (reported), or none (no memory for
// the pipeline).
enum class ManagerInit { kReady, kNeutralTable, kNotBuilt };

class ALADManagerImple : public ALADManager {
public:
    ALADManagerImple() = default;
    ~ALADManagerImple() override;

    // Makes the panel model and the pipeline.
    ManagerInit Init(const ad_user_t_& user, const alad_display_model_& display, const alad_view_condition_& view,
                     bool video);

    int32_t RunOneFrame(const cv::Mat& src, cv::Mat& dst) override;
    int32_t RunOneFrameARGB(const alad::ArgbFrame& frame) override;
    int32_t ResetManager() override;
    int32_t UpdateViewConditionParameter(const alad_view_condition_& view) override;
    int32_t UpdateDisplayPanelParameter(const alad_display_model_& display) override;
    int32_t UpdateCLTMParameter(const ad_user_t_& user) override;
    int32_t SettingHardwareRegistrator(const alad_verification_registrator_& regs) override;
    int32_t PrintCurrentStatus() override;
    int32_t PrintAGTMLUTByAmbientLight(int* lut) override;
    int32_t ALADRegistratorsInfoForDriverManager(alad_verification_registrator& regs) override;

private:
    // 0 when the pipeline's last table came from the panel model, else -1 with a console line for
    // the call `who`: that table is the neutral one.
    int32_t TableStatus(const char* who) const;

    std::shared_ptr<ALADConcatenateMode> mPipeline;
    std::shared_ptr<DisplayPanelModel> mPanel;
};

// Makes a manager and initialises it; returns it, or nothing when its pipeline could not be built.
// *status (when given) is 0, or -1 when the manager runs with the neutral AGTM table because the
// panel and viewing condition make no tone curve.
std::shared_ptr<ALADManager> createALADManager(const ad_user_t_& user, const alad_display_model_& display,
                                               const alad_view_condition_& view, bool video,
                                               int32_t* status = nullptr);

}  // namespace kelvo

#endif  // ALAD_ENGINE_MANAGER_H
