// The engine entry points: one process-wide engine, initialised with three records, then fed one
// frame at a time. Every call runs on the caller's thread (SetEngineThreads can let a frame's rows
// be shared among more); callers serialise all calls.
//
// All return 0 on success and -1 on failure. Every entry point but InitEngineALAD,
// DeinitEngineALAD and ComputeAGTMLUTByAmbientLight returns -1 (with a message) while no engine
// has been initialised. No entry point throws.
#ifndef ALAD_ALAD_ENGINE_H
#define ALAD_ALAD_ENGINE_H

#include "alad/alad_export.h"

#include <cstdint>

#include <opencv2/core.hpp>

#include "alad/alad_records.h"

namespace kelvo {

// Builds a new engine and makes it the process-wide one (the previous one, if any, is released).
ALAD_EXPORT int32_t InitEngineALAD(const ad_user_t_& user, const alad_display_model_& display,
                                   const alad_view_condition_& view);
// Only reports: the engine stays usable until the next InitEngineALAD replaces it.
ALAD_EXPORT int32_t DeinitEngineALAD();
// One frame, CV_32SC3 with 12-bit B, G, R values, through the stages of the configured order.
// dst is created with the frame's size (CV_32SC3) unless it already has that size.
ALAD_EXPORT int32_t RunOneFrameALAD(const cv::Mat& src, cv::Mat& dst);
// Restarts the video state: the next frame is treated as the first of a sequence.
ALAD_EXPORT int32_t ResetEngineALAD();
// New ambient light: regenerates the AGTM table; the CLTM state is kept.
ALAD_EXPORT int32_t UpdateViewConditionParameter(const alad_view_condition_& view);
// New display panel: regenerates the AGTM table.
ALAD_EXPORT int32_t UpdateDisplayPanelParameter(const alad_display_model_& display);
// New CLTM settings, frame size or order: re-derives the CLTM parameters (overwriting registers).
ALAD_EXPORT int32_t UpdateCLTMParameter(const ad_user_t_& user);
// Loads a hardware register set (order, size, block sizes, CLTM controls, both tables).
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
