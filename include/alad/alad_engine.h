// The engine entry points: one process-wide engine, initialised with three records, then fed one
// frame at a time. Every call runs on the caller's thread (SetEngineThreads can let a frame's rows
// be shared among more); callers serialise all calls.
//
// Every entry point returns 0 when it did what was asked and -1 when it did not, with a message
// saying why: no engine yet (every entry point but InitEngineALAD, DeinitEngineALAD,
// ComputeAGTMLUTByAmbientLight and the process-wide settings needs one), a frame refused or
// passed through unprocessed by a stage (its channels, a size the local stage's buffers do not
// hold), a record or register set the engine could not apply (no memory for its buffers, a frame
// size above ALAD_MAX_FRAME_SIDE or ALAD_MAX_FRAME_PIXELS of <alad/alad_records.h>), a display
// panel or viewing condition that makes no tone curve. What a correct call computes is the same
// either way. No entry point throws.
//
// A display panel and viewing condition make no tone curve when a value is not finite (gamma,
// white, black, backlight, reflectance, either ambient light), gamma or white is not above 0,
// black is not below white, or an effective black level (black plus the reflected ambient light)
// is not above 0. Such a record is reported and taken as it is, and the AGTM table becomes the
// neutral one, every gain 1.0 (raw 2048): the AGTM stage then leaves frames unchanged, where a
// table of that record would have blacked them out. The first record after it that makes a curve
// brings the normal table back (a panel given then also takes its own black level and
// reflectance at once, since the effective black levels made from the bad record are unusable).
#ifndef ALAD_ALAD_ENGINE_H
#define ALAD_ALAD_ENGINE_H

#include "alad/alad_export.h"

#include <cstdint>

#include <opencv2/core.hpp>

#include "alad/alad_records.h"

namespace kelvo {

// Builds a new engine and makes it the process-wide one (the previous one, if any, is released).
// When it cannot be built, prints "create alad engine failed!", leaves no engine and returns -1.
// A frame size above the bound is refused before anything is built: the running engine, if any,
// is kept, and -1 returned. A panel or viewing condition that makes no tone curve gives a working
// engine with the neutral AGTM table, and -1.
ALAD_EXPORT int32_t InitEngineALAD(const ad_user_t_& user, const alad_display_model_& display,
                                   const alad_view_condition_& view);
// Only reports: the engine stays usable until the next InitEngineALAD replaces it.
ALAD_EXPORT int32_t DeinitEngineALAD();
// One frame, CV_32SC3 with 12-bit B, G, R values, through the stages of the configured order.
// dst is created with the frame's size (CV_32SC3) unless it already has that size. A frame a stage
// refuses (not 3 channels; larger than the configured size, or of another width than the video
// sequence so far, for the local stage) passes that stage unchanged, and the call returns -1.
ALAD_EXPORT int32_t RunOneFrameALAD(const cv::Mat& src, cv::Mat& dst);
// Restarts the video state: the next frame is treated as the first of a sequence.
ALAD_EXPORT int32_t ResetEngineALAD();
// New ambient light: regenerates the AGTM table; the CLTM state is kept. -1 (neutral table) when
// the viewing condition and the panel make no tone curve, as for a lux reading that is not finite.
ALAD_EXPORT int32_t UpdateViewConditionParameter(const alad_view_condition_& view);
// New display panel: regenerates the AGTM table. -1 (neutral table) when it makes no tone curve.
ALAD_EXPORT int32_t UpdateDisplayPanelParameter(const alad_display_model_& display);
// New CLTM settings, frame size or order: re-derives the CLTM parameters (overwriting registers).
// A frame size above the bound is refused (-1) and the current configuration kept.
ALAD_EXPORT int32_t UpdateCLTMParameter(const ad_user_t_& user);
// Loads a hardware register set (order, size, block sizes, CLTM controls, both tables). A set with
// a frame size outside 0..ALAD_MAX_FRAME_SIDE or above ALAD_MAX_FRAME_PIXELS is refused whole (-1)
// and the current configuration kept.
ALAD_EXPORT int32_t SettingVerificationRegistrator(const alad_verification_registrator_& regs);
// Prints the current register set, 13 values and two labels, one per line.
ALAD_EXPORT int32_t PrintCurrentRegistratorFromDriver();
// One-shot: replaces the engine with a default one for these two ambient levels (lux) and copies
// its 256-entry AGTM table into lut. The first and last arguments are not used.
ALAD_EXPORT int32_t ComputeAGTMLUTByAmbientLight(unsigned int unused, unsigned int ambientSrc, unsigned int ambientDst,
                                                 int* lut, unsigned int unusedCount = 0);
// Lets the per-row work of a frame use up to `threads` threads (values below 1 count as 1, above
// 64 as 64). The default, 1, keeps every call on the caller's thread. Results are identical for
// any count. Process-wide; may be called at any time between frames. Returns 0.
ALAD_EXPORT int32_t SetEngineThreads(int threads);
ALAD_EXPORT int GetEngineThreads();
// Whether the engine keeps its two stage result images (the CLTM and the AGTM output) in the debug
// store that the verification tools dump. The default is true; the verification run always turns
// it on. A device that never reads the store sets it false, which saves writing one or two extra
// frames per frame (the histograms and curves, which are small, are still kept) and releases the
// images kept so far. Process-wide; may be called at any time between frames. Returns 0.
ALAD_EXPORT int32_t SetEngineDebugImages(bool keep);
// Where the engine's console lines go. By default each line is printed on standard output (a few
// warnings and errors on standard error), followed by a newline and a flush. A sink receives every
// line instead, without its newline, with its level (0 information, 1 warning, 2 error), on the
// thread that logs it, one line at a time; a sink that ignores its input silences the engine, and
// a null sink brings the console back. Process-wide, like the engine; `user` is handed back to the
// sink. Returns 0.
ALAD_EXPORT int32_t SetEngineLogSink(void (*sink)(void* user, int level, const char* line), void* user);
// Fills regs with the current register set; its two pointers must designate caller storage of 65
// and 256 values.
ALAD_EXPORT int32_t ALADRegistratorsInfoForDriverDraftEngine(alad_verification_registrator& regs);

}  // namespace kelvo

#endif  // ALAD_ALAD_ENGINE_H
