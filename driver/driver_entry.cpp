// The driver's entry points: its flat records translated into the engine's, and frames on its own
// buffers. Every wrapper returns 0 and never throws: a driver gets console lines, not errors.
#include <cstring>
#include <exception>
#include <type_traits>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "common/argb8888.h"
#include "common/frame_size.h"
#include "common/log.h"
#include "driver/driver_records.h"
#include "driver/image_convert.h"
#include "driver/wrapped.h"
#include "engine/argb_frames.h"

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

int32_t SetEngineDebugImagesForDriver(int keep) { return kelvo::SetEngineDebugImages(keep != 0); }

int32_t RunOneFrameBufferALADforDriver(_image* image) {
    Wrapped("RunOneFrameBufferALADforDriver", [&] {
        if (!Present(image, "RunOneFrameBufferALADforDriver")) return -1;
        // The frame is what the chain of public conversions around RunOneFrameALAD makes of it
        // (the buffer read into an ARGB matrix, split, reordered to B, G, R, widened to 12 bits; the
        // result narrowed, joined with the buffer's alpha bytes and written back), with the same
        // lines; but the stages read and write the buffer in place, converting as they go, with
        // no frame-sized copy in between. A buffer the first conversion would refuse is left alone.
        if (!alad::ArgbBufferReadable(*image)) return -1;
        if (image->width == 0 || image->height == 0) return -1;  // nothing to run
        alad::ArgbFrame frame;
        frame.data = image->data;
        frame.cols = image->width;
        frame.rows = image->height;
        bool ran = false;
        const int32_t status = kelvo::RunOneFrameARGBALAD(frame, &ran);
        if (!ran) return -1;
        alad::LogLine("matSrc channel : %d", 4);  // the write-back's line
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
        // The widened picture lives from frame to frame, like the engine, so that a steady size
        // allocates nothing; a picture that cannot be widened goes on as an empty frame, as ever.
        static cv::Mat wide;
        if (!alad::Widen8To12(src, wide)) return kelvo::RunOneFrameALAD(cv::Mat(), dst);
        return kelvo::RunOneFrameALAD(wide, dst);
    });
    return 0;
}
