// The engine for a verification front end: its own flat records, translated into the engine's, and
// forwards to the engine and to the verification harness (<alad/alad_verify.h>). Every function
// returns 0 unless said otherwise and never throws; problems are reported as console lines, and
// GetLastStatusForDriver (<alad/alad_driver.h>) gives the engine's status for the last call that
// reached it.
#ifndef ALAD_ALAD_INTERFACE_H
#define ALAD_ALAD_INTERFACE_H

#include "alad/alad_export.h"
#include "alad/alad_records.h"

#include <cstdint>

#include <opencv2/core.hpp>

// The front end's CLTM user record: the driver's eight fields, then the rest of the engine's user
// record (defaults from ad_user_t_init_interface in brackets).
struct ad_user_interface_t_ {
    int32_t mode;                 // [0]
    int32_t blk_width;            // [256]
    int32_t blk_height;           // [256]
    int32_t curve_id;             // [1]
    int32_t strength;             // [8]
    int32_t tm_mode;              // [3]
    int32_t width;                // [800]
    int32_t height;               // [480]
    uint8_t curve_table[256];     // [0...] carried into the user record, never read by the engine
    int32_t limit;                // [65535]
    int32_t spare;                // [0]
    int32_t option;               // [0]
    uint8_t flag;                 // [0] the CLTM detail filter switch
};

// gamma 2.2, white 500 cd/m2, black 0.2 cd/m2, backlight 1.0, reflectance 0.01 by default.
struct alad_display_model_interface_ {
    double gamma;
    double white;
    double black;
    double backlight;
    double reflectance;
};

// Ambient light in lux: the pictures' reference, and now.
struct alad_view_condition_interface_ {
    float blackLevelSrc;
    float blackLevelDst;
};

// The register set as the front end holds it; the two tables are caller buffers of
// ALAD_HIST_ADJUST_CURVE_SIZE (65) and ALAD_AGTM_LUT_SIZE (256) values.
struct alad_verification_registrator_interface_ {
    int32_t tm_mode;
    int32_t width;
    int32_t height;
    int32_t blk_width_b;
    int32_t blk_height_b;
    int32_t hist_mode;
    int32_t curve_transition;
    int32_t linear_adj_offset;
    int32_t linear_adj_ratio;
    int32_t strength_mode;
    int32_t strength_target;
    int32_t strength_step;
    int32_t strength_interval;
    int32_t* reg_hist;  // ALAD_HIST_ADJUST_CURVE_SIZE values
    int32_t* reg_agtm;  // ALAD_AGTM_LUT_SIZE values
};

// Writes the defaults and prints "ad_user_t: blk_size=256x256, strength=8, curve_id=1".
ALAD_EXPORT ad_user_interface_t_* ad_user_t_init_interface(ad_user_interface_t_* user);
ALAD_EXPORT alad_display_model_interface_* alad_display_model_init_interface_(alad_display_model_interface_* model);
// 64 up to 64, 128 up to 128, 256 above.
ALAD_EXPORT uint32_t _check_blk_size_interface(uint32_t size);

// Starts the engine. Resets *user and *model to the defaults first, on purpose: only the viewing
// condition is taken from the caller.
ALAD_EXPORT int32_t InitEngineALADInterface(ad_user_interface_t_* user, alad_display_model_interface_* model,
                                            const alad_view_condition_interface_* view);
ALAD_EXPORT int32_t RunOneFrameALADInterface(const cv::Mat& src, cv::Mat& dst);
ALAD_EXPORT int32_t DeinitEngineALADInterface();
// The engine's one-shot table for two ambient levels; the count is not used.
ALAD_EXPORT int32_t ComputeAGTMLUTByAmbientLightInterface(unsigned int unused, unsigned int ambientSrc,
                                                          unsigned int ambientDst, int* lut, unsigned int count);
// Returns the engine's result (-1 before any initialisation).
ALAD_EXPORT int32_t PrintCurrentRegistratorFromDriverInterface();
// The eight fields shared with the driver's record into the engine's CLTM settings; a frame size
// outside 0..ALAD_MAX_FRAME_SIDE (or above ALAD_MAX_FRAME_PIXELS) is refused, as for the driver.
ALAD_EXPORT int32_t UpdateCLTMParameterForVerify(const ad_user_interface_t_* user);
// Reads a register file into *reg and its two buffers (entries the file does not set read 0); a
// file that cannot be read or converted is reported and leaves *reg as it was.
ALAD_EXPORT void parseRegisterFromFileInterface(const char* path, alad_verification_registrator_interface_* reg);
ALAD_EXPORT int32_t SettingVerificationRegistratorInterface(const alad_verification_registrator_interface_* reg);

ALAD_EXPORT int32_t printImageInfoInterface(const char* fileName, const cv::Mat& image);
ALAD_EXPORT int32_t printDebugInfoInterface(const char* fileName, const char* infoType);
// Returns the reader's result: 0, or -1 (file unreadable, pixel count mismatch).
ALAD_EXPORT int32_t parseImageFromFileCmodelInterface(const char* path, int width, int height, cv::Mat& out);
ALAD_EXPORT int32_t VerifyInitEngineALADInterface();
ALAD_EXPORT int32_t VerifyRunOneFrameALADInterface(const char* registerFile, const char* imageFile,
                                                   const char* outputFolder, const char* const* names, int32_t count);
ALAD_EXPORT int32_t VerifyDeinitEngineALADInterface();

#endif  // ALAD_ALAD_INTERFACE_H
