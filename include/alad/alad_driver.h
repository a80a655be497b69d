/* The engine for a display driver: plain C-callable functions on the driver's own flat records and
 * raw ARGB8888 frame buffers, the register read-back and range check, and the 40 ambient-light
 * levels. A C driver includes this header as it is; the functions that take OpenCV matrices are
 * declared for C++ only, at the end.
 *
 * Every function returns 0 whatever happens (problems are reported as console lines), except the
 * level lookup, which returns the level, and GetLastStatusForDriver, which tells what the engine
 * made of the last call. Calls must be serialised by the caller. */
#ifndef ALAD_ALAD_DRIVER_H
#define ALAD_ALAD_DRIVER_H

#include "alad/alad_export.h"
#include "alad/alad_records.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A frame buffer owned by the driver: ARGB8888, rows top to bottom with no padding, each pixel's
 * bytes in memory order A, R, G, B. */
typedef struct _image {
    int32_t width;
    int32_t height;
    int32_t channels; /* bytes per pixel; 4 */
    unsigned char* data;
} _image;

/* The driver's CLTM user record (defaults from ad_user_t_init_driver_ in brackets). */
typedef struct ad_user_t_driver_ {
    int32_t mode;       /* [0] not read by the engine */
    int32_t blk_width;  /* [256] block width in pixels, rounded up to 64, 128 or 256 */
    int32_t blk_height; /* [256] */
    int32_t curve_id;   /* [1] histogram clip curve, capped at 2 */
    int32_t strength;   /* [8] capped at 16 */
    int32_t tm_mode;    /* [3] 1 CLTM+AGTM, 2 AGTM+CLTM, 3 CLTM, 4 AGTM, others copy */
    int32_t width;      /* [720] */
    int32_t height;     /* [1650] */
} ad_user_t_driver_;

/* The driver's display model: gamma 2.2, white 500 cd/m2, black 0.2 cd/m2, backlight 1.0,
 * reflectance 0.01 by default. */
typedef struct alad_display_model_driver_ {
    double gamma;
    double white;
    double black;
    double backlight;
    double reflectance;
} alad_display_model_driver_;

/* The viewing condition, laid out as the engine's own record: ambient light in lux at the source
 * (what the pictures are made for) and at the destination (now). */
typedef struct alad_view_condition_driver_ {
    float blackLevelSrc;
    float blackLevelDst;
} alad_view_condition_driver_;

/* The register set as the driver sees it; the two tables are caller buffers of
 * ALAD_HIST_ADJUST_CURVE_SIZE (65) and ALAD_AGTM_LUT_SIZE (256) values. */
typedef struct alad_registrator_driver {
    int32_t reg_tm_mode;           /* 1..6 */
    int32_t reg_blk_width_b;       /* 64, 128 or 256 */
    int32_t reg_blk_height_b;      /* 64, 128 or 256 */
    int32_t reg_blk_h_num;         /* 1..10 */
    int32_t reg_blk_w_num;         /* 1..5 */
    int32_t reg_hist_mode;         /* 0 or 1 */
    int32_t reg_curve_transition;  /* 0..8191 */
    int32_t reg_linear_adj_offset; /* -1023..1023 */
    int32_t reg_linear_adj_ratio;  /* -1023..1023 */
    int32_t reg_strength_mode;     /* 0 or 1 */
    int32_t reg_strength_target;   /* 0..255 */
    int32_t reg_strength_step;     /* 1..255 */
    int32_t reg_strength_interval; /* 0..255 */
    int32_t* reg_hist;             /* ALAD_HIST_ADJUST_CURVE_SIZE values: the CLTM clip curve */
    int32_t* reg_agtm;             /* ALAD_AGTM_LUT_SIZE values: the AGTM table (2048 = gain 1.0) */
} alad_registrator_driver;

ALAD_EXPORT ad_user_t_driver_* ad_user_t_init_driver_(ad_user_t_driver_* user);
ALAD_EXPORT alad_display_model_driver_* alad_display_model_init_driver_(alad_display_model_driver_* model);
/* 64 up to 64, 128 up to 128, 256 above. */
ALAD_EXPORT uint32_t _check_blk_size_driver(uint32_t size);

/* Starts the engine. Resets *user and *model to the defaults first, on purpose: the engine starts
 * with exactly what the caller sees on return; only the viewing condition is taken. */
ALAD_EXPORT int32_t InitEngineALADforDriver(ad_user_t_driver_* user, alad_display_model_driver_* model,
                                            const alad_view_condition_driver_* view);
ALAD_EXPORT int32_t DeinitEngineALADforDriver(void);
ALAD_EXPORT int32_t ResetEngineALADforDriver(void);
ALAD_EXPORT int32_t UpdateViewConditionParameterForDriver(const alad_view_condition_driver_* view);
ALAD_EXPORT int32_t UpdateDisplayPanelParameterForDriver(const alad_display_model_driver_* model);
/* A width or height below 0 or above ALAD_MAX_FRAME_SIDE (or ALAD_MAX_FRAME_PIXELS in all) is
 * refused with a message and the current configuration kept. */
ALAD_EXPORT int32_t UpdateCLTMParameterForDriver(const ad_user_t_driver_* user);
/* Runs one frame in place on the driver's buffer; the alpha bytes are kept. (From C++, the same
 * call also takes the record by reference.) */
ALAD_EXPORT int32_t RunOneFrameBufferALADforDriver(_image* image);

/* Prints one line for each register out of range, in register order; never changes the record. */
ALAD_EXPORT int32_t checkAladRegisterParameterValidity(const alad_registrator_driver* reg);
/* Fills *reg (and its two tables) with the engine's current registers, then checks them. */
ALAD_EXPORT int32_t ALADRegistratorsInfoForDriver(alad_registrator_driver* reg);

/* The engine's status for the last call of this header (or of the verification front end's
 * <alad/alad_interface.h>) that reached the engine: 0 when it did what was asked, -1 when it did
 * not (no engine yet, a missing record, a buffer that could not be converted, a frame a stage
 * refused or passed through, a record the engine could not apply). The wrappers themselves return 0
 * whatever happens. */
ALAD_EXPORT int32_t GetLastStatusForDriver(void);

/* Routes the engine's console lines to sink (level 0 information, 1 warning, 2 error; each line
 * without its newline), for instance to the system log; a sink that ignores them silences the
 * engine, a null sink restores the console. The same setting as kelvo::SetEngineLogSink. */
ALAD_EXPORT int32_t SetEngineLogSinkForDriver(void (*sink)(void* user, int level, const char* line), void* user);

/* Whether the engine keeps its two stage result images for the verification tools' dumps
 * (keep non-zero, the default); a driver that never reads them passes 0, which saves one or two
 * frame-sized writes per frame. The same setting as kelvo::SetEngineDebugImages. */
ALAD_EXPORT int32_t SetEngineDebugImagesForDriver(int keep);

/* The 40 ambient-light levels, lux, ascending. */
#define ALAD_AGTM_LEVELS 40
ALAD_EXPORT extern const int32_t agtmLuxTable[ALAD_AGTM_LEVELS];
/* The level (0..39) nearest to a lux reading; a reading half-way goes to the lower level. */
ALAD_EXPORT int getAGTMLevel(int lux);
/* Restarts the engine in the driver's default configuration for the level's viewing condition
 * (300 lux -> the level's lux; levels outside 0..39 are clamped) and copies its AGTM table,
 * 256 int32 values, into lut. */
ALAD_EXPORT int getAGTMCurveParams(int level, void* lut);

#ifdef __cplusplus
}  /* extern "C" */

#include <opencv2/core.hpp>

ALAD_EXPORT int32_t RunOneFrameBufferALADforDriver(_image& image);
/* A 12-bit CV_32SC3 frame through the engine, as RunOneFrameALAD. */
ALAD_EXPORT int32_t RunOneFrameALADforDriver(const cv::Mat& src, cv::Mat& dst);
/* An 8-bit BGR picture, widened to 12 bits, through the engine; dst holds 12-bit values. */
ALAD_EXPORT int32_t ALADImageModeForBSPdriver(cv::Mat& src, cv::Mat& dst);

/* Buffer and matrix conversions. ARGB matrices are CV_8UC4 with channel 0 alpha, then R, G, B. */
ALAD_EXPORT void imageBuffer2MatARGBforDriver(_image& buffer, cv::Mat& out);
ALAD_EXPORT void imageMatARGB2BufferForDriver(cv::Mat& argb, unsigned char* buffer);
ALAD_EXPORT void imageMatARGB2RGB(cv::Mat& argb, cv::Mat& rgb, cv::Mat& alpha);
ALAD_EXPORT void imageBGR2ARGB_8888(cv::Mat& bgr, cv::Mat& alpha, cv::Mat& argb);
ALAD_EXPORT void imageBGR2ARGB_8888(cv::Mat& bgr, cv::Mat& argb);
/* 8-bit BGR to 12 bits in CV_32SC3: v * 16 + v / 16 (0 -> 0, 128 -> 2056, 255 -> 4095). */
ALAD_EXPORT void transform8To12(cv::Mat& src, cv::Mat& dst);
/* 10-bit values in CV_32SC3 to 12 bits: v * 4 + v / 256 (1023 -> 4095, 512 -> 2050). */
ALAD_EXPORT void transform10To12(cv::Mat& src, cv::Mat& dst);
ALAD_EXPORT void transform8To12Interface(cv::Mat& src, cv::Mat& dst);
#endif

#endif /* ALAD_ALAD_DRIVER_H */
