// CLTM on whole frames. A still image is mapped with curves from itself; a video frame is mapped
// with the curves of the previous frame and then leaves new curves, blended over time, for the
// next one, with the strength ramping towards its target. The Mat wrappers convert between the
// engine's 12-bit images (CV_32SC3) and CLTM's 10-bit planes.
#ifndef ALAD_CLTM_CLTM_FRAME_H
#define ALAD_CLTM_CLTM_FRAME_H

#include <cstdint>
#include <opencv2/core.hpp>

#include "cltm/cltm_params.h"
#include "common/argb8888.h"

namespace kelvo {

// The pipeline's CLTM parameter handle; the drivers read only `param`.
struct cltm_params_api_ {
    uint32_t cltm_mode = 1;
    uint32_t width = 0;
    uint32_t height = 0;
    ad_param_t_* param = nullptr;
};

struct CLTMVideoContextAPI {
    ad_cxt_t* ctx = nullptr;
};

// Still image: curves from the image itself (left in `curves`), mapped at the target strength.
// Returns 0, or 1 on a null argument or a failed allocation.
int32_t ad_proc_image(uint32_t* out_rgb, const int32_t* in_rgb, uint32_t width, uint32_t height,
                      const ad_param_t_* param, uint32_t* curves);

// One video frame. The first frame after creation or reset passes through unchanged; later frames
// are mapped with the curves the previous call left in `curves`. hist_buffer holds 129 values: the
// global histogram and the sum of its samples. Returns 0, or 1 on a null argument, a frame size
// other than the bound one, or a failed allocation.
int32_t ad_proc_video(uint32_t* out_rgb, const int32_t* in_rgb, uint32_t width, uint32_t height,
                      const ad_param_t_* param, ad_cxt_t* ctx, uint32_t reserved, uint32_t* curves,
                      uint32_t* hist_buffer);

// The two drivers on engine images. A frame larger than the buffers were allocated for is refused
// (out = the input, unprocessed; result 1). Otherwise the result is the driver's, and out always
// receives the output plane: on a refusal by the driver that is the previous frame's result.
int32_t CLTMOneImageImple_(const cv::Mat& in, const cltm_params_api_& params, CLTMBufferManager& buffers, cv::Mat& work,
                           cv::Mat& out);
// The video frame runs in one sweep over the image (see cltm_frame.cpp), which leaves the input
// plane untouched; everything else it leaves exactly as CLTMVideoRunOneFramePlain does. With
// `copy`, a frame that goes through the sweep is also written to *copy (made CV_32SC3 of the
// frame's size) in the same pass, and *copied tells whether it was (a frame that takes another
// way leaves *copy alone).
int32_t CLTMVideoRunOneFrameImple_(const cv::Mat& in, const cltm_params_api_& params, const CLTMVideoContextAPI& ctx,
                                   CLTMBufferManager& buffers, cv::Mat& work, cv::Mat& out, cv::Mat* copy = nullptr,
                                   bool* copied = nullptr);

// Takes each result row of a swept video frame for the stage that follows: row y's 12-bit B, G, R
// values (`cols` pixels, valid during the call), on the thread that made it, the rows of a stripe
// in order; `finish` after a thread's last row.
struct CLTMRowConsumer {
    void (*row)(void* context, int y, const int32_t* values, int cols) = nullptr;
    void (*finish)(void* context) = nullptr;
    void* context = nullptr;
};

// Where a swept video frame comes from and where its result goes.
struct CLTMFrameIO {
    const cv::Mat* image = nullptr;  // the frame, CV_32SC3 ...
    alad::ArgbFrame argb;            // ... or, without `image`, the display driver's ARGB8888 buffer
    cv::Mat* out = nullptr;          // receives the 12-bit result (made CV_32SC3 of the frame's size)
    cv::Mat* copy = nullptr;         // the same again (the debug store's copy)
    bool narrow = false;             // the result narrowed over the colour bytes of `argb`, alpha kept
    CLTMRowConsumer next;            // each result row, to the next stage
    bool next_writes_input = false;  // whether `next` writes its rows over the input image's
};

// The frame of CLTMVideoRunOneFrameImple_ from and to these, in one sweep: true, with the result in
// every output asked for and everything else as that function leaves it (*result its result);
// false, with nothing changed and nothing printed, when the sweep does not take the frame (a
// frame the buffers or the video size refuse, or that the sweep's tables do not suit): the caller
// then takes the usual way, which handles and reports it.
bool CLTMVideoSweepFrame(const CLTMFrameIO& io, const cltm_params_api_& params, const CLTMVideoContextAPI& ctx,
                         CLTMBufferManager& buffers, int32_t* result);

// The same frame the plain way, step by step: the image converted into the input plane,
// ad_proc_video on the planes, the output plane converted back. The reference for the sweep.
int32_t CLTMVideoRunOneFramePlain(const cv::Mat& in, const cltm_params_api_& params, const CLTMVideoContextAPI& ctx,
                                  CLTMBufferManager& buffers, cv::Mat& work, cv::Mat& out);

}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_FRAME_H
