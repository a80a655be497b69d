// The driver's entry points: its flat records translated into the engine's, and frames on its own
// buffers. Every wrapper returns 0 and never throws: a driver gets console lines, not errors.
#include <cstring>
#include <exception>
#include <type_traits>

#include <opencv2/imgproc.hpp>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "common/frame_size.h"
#include "common/log.h"
#include "driver/driver_records.h"
#include "driver/wrapped.h"

static_assert(sizeof(alad_view_condition_driver_) == sizeof(kelvo::alad_view_condition_) &&
                  std::is_standard_layout<kelvo::alad_view_condition_>::value,
              "the driver's viewing condition must have the engine's layout");

namespace kelvo {

ad_user_t_ UserRecordFromDriver(const ad_user_t_driver_& driver) {
    ad_user_t_ user;
    std::memset(user.reserved_table, 0, sizeof(user.reserved_table));
    user.reserved_limit = 65535;
    user.reserved_pair[0] = user.reserved_pair[1] = 0;
    user.filter_flag = 0;
    user.mode = static_cast<uint32_t>(driver.mode);
    user.blk_width = static_cast<uint32_t>(driver.blk_width);
    user.blk_height = static_cast<uint32_t>(driver.blk_height);
    user.curve_id = driver.curve_id;
    user.strength = driver.strength;
    user.tm_mode = static_cast<uint32_t>(driver.tm_mode);
    user.width = static_cast<uint32_t>(driver.width);
    user.height = static_cast<uint32_t>(driver.height);
    return user;
}

alad_display_model_ DisplayRecordFromDriver(const alad_display_model_driver_& driver) {
    alad_display_model_ display;
    display.gamma = driver.gamma;
    display.white = driver.white;
    display.black = driver.black;
    display.backlight = driver.backlight;
    display.reflectance = driver.reflectance;
    return display;
}

alad_view_condition_ ViewRecordFromDriver(const alad_view_condition_driver_& driver) {
    alad_view_condition_ view;
    view.blackLevelSrc = driver.blackLevelSrc;
    view.blackLevelDst = driver.blackLevelDst;
    return view;
}

}  // namespace kelvo

namespace alad {

namespace {
int32_t gLastWrapperStatus = 0;
}  // namespace

void RecordWrapperStatus(int32_t status) { gLastWrapperStatus = status; }
int32_t LastWrapperStatus() { return gLastWrapperStatus; }

}  // namespace alad

using alad::Present;
using alad::Wrapped;

extern "C" {

ad_user_t_driver_* ad_user_t_init_driver_(ad_user_t_driver_* user) {
    if (user) *user = ad_user_t_driver_{0, 256, 256, 1, 8, 3, 720, 1650};
    return user;
}

alad_display_model_driver_* alad_display_model_init_driver_(alad_display_model_driver_* model) {
    if (model) *model = alad_display_model_driver_{2.2, 500.0, 0.2, 1.0, 0.01};
    return model;
}

uint32_t _check_blk_size_driver(uint32_t size) {
    if (size <= 64) return 64;
    if (size <= 128) return 128;
    return 256;
}

int32_t InitEngineALADforDriver(ad_user_t_driver_* user, alad_display_model_driver_* model,
                                const alad_view_condition_driver_* view) {
    Wrapped("InitEngineALADforDriver", [&] {
        if (!Present(view, "InitEngineALADforDriver")) return -1;
        // The caller's user and display values are discarded on purpose: the engine starts with
        // the defaults, and the caller sees exactly those on return.
        ad_user_t_driver_ defaults;
        alad_display_model_driver_ display;
        ad_user_t_init_driver_(&defaults);
        alad_display_model_init_driver_(&display);
        if (user) *user = defaults;
        if (model) *model = display;
        return kelvo::InitEngineALAD(kelvo::UserRecordFromDriver(defaults), kelvo::DisplayRecordFromDriver(display),
                                     kelvo::ViewRecordFromDriver(*view));
    });
    return 0;
}

int32_t DeinitEngineALADforDriver(void) {
    Wrapped("DeinitEngineALADforDriver", [] { return kelvo::DeinitEngineALAD(); });
    return 0;
}

int32_t ResetEngineALADforDriver(void) {
    Wrapped("ResetEngineALADforDriver", [] { return kelvo::ResetEngineALAD(); });
    return 0;
}

int32_t UpdateViewConditionParameterForDriver(const alad_view_condition_driver_* view) {
    Wrapped("UpdateViewConditionParameterForDriver", [&] {
        if (!Present(view, "UpdateViewConditionParameterForDriver")) return -1;
        return kelvo::UpdateViewConditionParameter(kelvo::ViewRecordFromDriver(*view));
    });
    return 0;
}

int32_t UpdateDisplayPanelParameterForDriver(const alad_display_model_driver_* model) {
    Wrapped("UpdateDisplayPanelParameterForDriver", [&] {
        if (!Present(model, "UpdateDisplayPanelParameterForDriver")) return -1;
        return kelvo::UpdateDisplayPanelParameter(kelvo::DisplayRecordFromDriver(*model));
    });
    return 0;
}

int32_t UpdateCLTMParameterForDriver(const ad_user_t_driver_* user) {
    Wrapped("UpdateCLTMParameterForDriver", [&] {
        if (!Present(user, "UpdateCLTMParameterForDriver")) return -1;
        // Checked on the driver's signed values, so that a -1 is reported as -1 and never becomes
        // 4294967295 pixels.
        if (!alad::CheckFrameSize("UpdateCLTMParameterForDriver", user->width, user->height,
                                  "the current configuration is kept")) {
            return -1;
        }
        return kelvo::UpdateCLTMParameter(kelvo::UserRecordFromDriver(*user));
    });
    return 0;
}

int32_t GetLastStatusForDriver(void) { return alad::LastWrapperStatus(); }

int32_t SetEngineLogSinkForDriver(void (*sink)(void* user, int level, const char* line), void* user) {
    kelvo::SetEngineLogSink(sink, user);
    return 0;
}

int32_t RunOneFrameBufferALADforDriver(_image* image) {
    Wrapped("RunOneFrameBufferALADforDriver", [&] {
        if (!Present(image, "RunOneFrameBufferALADforDriver")) return -1;
        // Each conversion reports its own refusal; the frame then stops there and the buffer
        // keeps its pixels.
        cv::Mat argb, rgb, alpha, bgr, wide, frame, out, out8, argb_out;
        imageBuffer2MatARGBforDriver(*image, argb);
        if (argb.empty()) return -1;
        imageMatARGB2RGB(argb, rgb, alpha);
        cv::cvtColor(rgb, bgr, cv::COLOR_RGB2BGR);
        transform8To12(bgr, wide);
        wide.convertTo(frame, CV_32SC3, 1.0);
        const int32_t status = kelvo::RunOneFrameALAD(frame, out);
        if (out.empty()) return -1;
        out.convertTo(out8, CV_8UC3, 0.0625, 0.0);  // rounds to nearest and saturates to 0..255
        imageBGR2ARGB_8888(out8, alpha, argb_out);  // the buffer's own alpha bytes go back
        imageMatARGB2BufferForDriver(argb_out, image->data);
        return status;
    });
    return 0;
}

}  // extern "C"

int32_t RunOneFrameBufferALADforDriver(_image& image) { return RunOneFrameBufferALADforDriver(&image); }

int32_t RunOneFrameALADforDriver(const cv::Mat& src, cv::Mat& dst) {
    Wrapped("RunOneFrameALADforDriver", [&] { return kelvo::RunOneFrameALAD(src, dst); });
    return 0;
}

int32_t ALADImageModeForBSPdriver(cv::Mat& src, cv::Mat& dst) {
    Wrapped("ALADImageModeForBSPdriver", [&] {
        cv::Mat wide, frame;
        transform8To12(src, wide);
        wide.convertTo(frame, CV_32SC3, 1.0, 0.0);
        return kelvo::RunOneFrameALAD(frame, dst);
    });
    return 0;
}
