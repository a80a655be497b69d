// The pipeline: runs the two tone-mapping stages on one frame in the configured order, and keeps
// their state consistent when settings or hardware registers change. It owns the AGTM table, the
// CLTM parameter block, the CLTM working buffers and the CLTM video context.
#ifndef ALAD_PIPELINE_CONCATENATE_MODE_H
#define ALAD_PIPELINE_CONCATENATE_MODE_H

#include <cstdint>
#include <memory>
#include <string>

#include <opencv2/core.hpp>

#include "agtm/agtm_apply.h"
#include "agtm/display_panel_model.h"
#include "alad/alad_records.h"
#include "cltm/cltm_frame.h"
#include "cltm/cltm_params.h"
#include "cltm/cltm_user.h"
#include "common/argb8888.h"

namespace kelvo {

class alad_debug_output_;

// Stage orders (register reg_tm_mode). 5, 6 and every other value copy the frame unchanged.
enum : uint32_t {
    kOrderCLTMThenAGTM = 1,
    kOrderAGTMThenCLTM = 2,
    kOrderCLTMOnly = 3,
    kOrderAGTMOnly = 4,
    kOrderPassThrough = 0xFFFFFFFFu,
};

class ALADConcatenateMode {
public:
    ALADConcatenateMode();
    virtual ~ALADConcatenateMode();
    ALADConcatenateMode(const ALADConcatenateMode&) = delete;
    ALADConcatenateMode& operator=(const ALADConcatenateMode&) = delete;

    // Builds everything: the AGTM table from the panel model, the CLTM video context (when
    // `video`), the CLTM parameter block and the buffers for the user record's frame size.
    // Returns the buffer allocation's result (0 on success), -1 when no context could be made; a
    // panel model that makes no tone curve leaves the neutral table (AGTMTableProblem) and does
    // not count here: the pipeline is usable.
    virtual int32_t Init(DisplayPanelModel& panel, alad_cltm_user& cltm, bool video);
    // One frame through the stages of the current order; dst is created or reused. Returns -1 when
    // a stage refused the frame (its channels, a size the CLTM buffers do not hold) or the pipeline
    // is not initialised; the frame then goes on as far as it can (a refused stage passes it
    // through), as it always has.
    virtual int32_t RunOneFrame(const cv::Mat& src, cv::Mat& dst);
    // The display driver's ARGB8888 frame in place: exactly RunOneFrame on the frame widened to 12
    // bits (common/argb8888.h), with its result narrowed back over the colour bytes (alpha kept),
    // the same lines printed and the same debug store contents; but the conversions are made in
    // the stages' own passes, without a 12-bit frame in between where the stages allow it.
    virtual int32_t RunOneFrameARGB(const alad::ArgbFrame& frame);
    // Re-allocates the CLTM buffers for the current geometry and restarts the video state: the
    // next frame is treated as a first frame.
    virtual int32_t ResetALADContext();
    // Re-derives the whole CLTM parameter block (registers applied earlier are overwritten), the
    // frame size and the order; the buffers follow the new size, the video state is kept.
    virtual int32_t UpdateCLTMParams(alad_cltm_user& cltm);
    // Regenerates the AGTM table and scaler from the panel model. Returns -1 when the model makes
    // no tone curve (see AGTMTableProblem); the table is then the neutral one.
    virtual int32_t UpdateDisplayModel(DisplayPanelModel& panel);
    // Applies a hardware register set (see pipeline/register_config.cpp).
    virtual int32_t ConfigureVerificationRegistrators(alad_verification_registrator& regs);
    // Reports the current state as a register set; regs' two pointers must designate caller
    // storage of 65 and 256 values.
    virtual int32_t CopyRegistratorFromDriver(alad_verification_registrator& regs);

    // The table of the panel model, or the neutral one (every gain 1.0: a NaN gain would black the
    // frame out) with -1 when the model makes no tone curve.
    int32_t GenerateAGTMLUTs(DisplayPanelModel& panel);
    // Why the last table made from a panel model is the neutral one, or "".
    const std::string& AGTMTableProblem() const { return mAGTMTableProblem; }
    // Copy `count` table values in or out; nothing happens for a count below 1.
    int32_t SetAGTMLUTs(const int* lut, int count);
    int32_t GetAGTMLUTs(int* lut, int count);

    uint32_t Order() const { return mOrder; }

private:
    struct VideoContextDeleter {
        void operator()(ad_cxt_t* ctx) const { ad_deinit_video(ctx); }
    };

    bool Initialised() const;
    // The progress lines every frame starts with.
    void LogFrameStart(int cols, int rows) const;
    // Whether the order runs the stages (1 to 4); every other one copies the frame.
    bool RunsStages() const;
    void LogOrder() const;
    // The stages of the current order on a 3-channel CV_32SC3 frame, into a CV_32SC3 output, with
    // the debug store's images; false when a stage refused the frame.
    bool RunStages(const cv::Mat& input, cv::Mat& output, bool log_order);
    // Each stage: false when it refused the frame (and passed it through, or left its output).
    bool RunCLTM(const cv::Mat& input, cv::Mat& output);
    bool RunAGTM(const cv::Mat& input, cv::Mat& output);
    // The stages with the debug store's copy of their output (when it keeps images).
    bool RunCLTMAndKeep(const cv::Mat& input, cv::Mat& output, alad_debug_output_& store, bool keep);
    bool RunAGTMAndKeep(const cv::Mat& input, cv::Mat& output, alad_debug_output_& store, bool keep);
    // Order 1 with the AGTM stage taking the CLTM rows as they are made (no CLTM frame read back);
    // false, nothing changed, when the CLTM sweep does not take the frame.
    bool RunCLTMThenAGTMByRows(const cv::Mat& input, cv::Mat& output, alad_debug_output_& store, bool keep,
                               bool* done);
    // The ARGB frame through the stages' own conversions; false, nothing changed, when a stage
    // does not take it that way.
    bool RunArgbStages(const alad::ArgbFrame& frame, alad_debug_output_& store, bool keep, bool* done);

    std::unique_ptr<ad_cxt_t, VideoContextDeleter> mVideoContext;
    cltm_params_api_ mCLTMParam;                  // what the CLTM frame run receives
    std::unique_ptr<CLTMParamBlock> mParamBlock;  // the block behind mCLTMParam.param
    agtm_param_api_ mAGTMParam;                   // what the AGTM apply receives
    std::string mAGTMTableProblem;                // why the table is the neutral one, or ""
    uint32_t mInputBitDepth = 8;
    uint32_t mOutputBitDepth = 8;
    uint32_t mOrder = kOrderPassThrough;
    std::unique_ptr<CLTMBufferManager> mBuffers;
    cv::Mat mScratch;       // the stages' working image, kept between frames
    cv::Mat mIntermediate;  // the first stage's output in orders 1 and 2, kept between frames
    cv::Mat mStageCopy;     // the AGTM output's copy for the debug store, written in the same pass
    cv::Mat mCLTMCopy;      // the same for the CLTM output
    AGTMRowPass mRowAGTM;  // the AGTM gains of a frame whose stages are joined row by row
    cv::Mat mWide;          // an ARGB frame widened, where the stages cannot take it directly
    cv::Mat mWideResult;    // its result before narrowing
};

}  // namespace kelvo

#endif  // ALAD_PIPELINE_CONCATENATE_MODE_H
