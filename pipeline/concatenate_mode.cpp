#include "pipeline/concatenate_mode.h"

#include <algorithm>
#include <cstring>

#include "agtm/scaler_lut.h"
#include "common/log.h"
#include "common/wrap_int.h"
#include "common/debug_store.h"

namespace kelvo {

ALADConcatenateMode::ALADConcatenateMode() = default;

ALADConcatenateMode::~ALADConcatenateMode() {
    // The store is re-made on its next use, so a later engine keeps working.
    alad_debug_output_::Terminate();
}

bool ALADConcatenateMode::Initialised() const { return mParamBlock && mBuffers; }

int32_t ALADConcatenateMode::Init(DisplayPanelModel& panel, alad_cltm_user& cltm, bool video) {
    mVideoContext.reset();
    if (video) {
        mVideoContext.reset(ad_init_video());
        if (!mVideoContext) {
            alad::LogError("ALADConcatenateMode::Init: no memory for the CLTM video context");
            return -1;
        }
    }
    GenerateAGTMLUTs(panel);

    mCLTMParam.cltm_mode = 1;
    mInputBitDepth = 8;
    mOutputBitDepth = 8;
    mCLTMParam.width = cltm.width;
    mCLTMParam.height = cltm.height;
    if (mVideoContext) {
        mVideoContext->width = cltm.width;
        mVideoContext->height = cltm.height;
    }

    // The block comes with its filter switches cleared and its three arrays, filled from the user
    // record.
    mParamBlock = std::make_unique<CLTMParamBlock>(cltm);
    mCLTMParam.param = mParamBlock->get();
    mBuffers = std::make_unique<CLTMBufferManager>();
    const int32_t allocated = mBuffers->AllocateBufferBySize(mCLTMParam.width, mCLTMParam.height, mCLTMParam.param);
    mOrder = cltm.tm_mode;
    return allocated;
}

bool ALADConcatenateMode::RunCLTM(const cv::Mat& input, cv::Mat& scratch, cv::Mat& output) {
    CLTMVideoContextAPI context;
    context.ctx = mVideoContext.get();
    return CLTMVideoRunOneFrameImple_(input, mCLTMParam, context, *mBuffers, scratch, output) == 0;
}

bool ALADConcatenateMode::RunAGTM(const cv::Mat& input, cv::Mat& output) {
    // Only the integer result is the stage's output; the floating-point reference is not computed.
    return ToneMappingOneImageByScalerLUTIntegerImple_(input, mAGTMParam, output);
}

bool ALADConcatenateMode::RunAGTMAndKeep(const cv::Mat& input, cv::Mat& output, alad_debug_output_& store) {
    // The store's copy is written in the same pass and handed over whole.
    if (ToneMappingOneImageByScalerLUTIntegerImple_(input, mAGTMParam, output, mStageCopy)) {
        store.KeepADAGTMResultData(mStageCopy);
        return true;
    }
    store.SetADAGTMResultData(output);
    return false;
}

int32_t ALADConcatenateMode::RunOneFrame(const cv::Mat& src, cv::Mat& dst) {
    // The configured size and the frame size are logged, not compared: the stages handle a frame
    // of another size themselves.
    alad::LogLine("mCLTMParam.width = %u , sz.width = %d", mCLTMParam.width, src.cols);
    alad::LogLine("mCLTMParam.height = %u , sz.height = %d", mCLTMParam.height, src.rows);
    alad::LogLine("LCH 00.");
    alad::LogLine("LCH 01.");
    // The scratch and intermediate images live from frame to frame, so that a steady frame size
    // does not allocate (and fault in) two full frames every time.
    cv::Mat& scratch = mScratch;
    cv::Mat& intermediate = mIntermediate;
    if (dst.rows != src.rows || dst.cols != src.cols) dst.create(src.rows, src.cols, CV_32SC3);
    alad::LogLine("LCH 02.");

    if (mOrder < kOrderCLTMThenAGTM || mOrder > kOrderAGTMOnly) {
        src.copyTo(dst);
        return 0;
    }
    if (src.dims > 2 || src.channels() != 3 || !Initialised()) {
        alad::LogError(!Initialised() ? "RunOneFrame: the pipeline is not initialised; frame passed through"
                       : "RunOneFrame: a frame needs 3 channels; frame passed through");
        src.copyTo(dst);
        return -1;
    }
    // The stages work on 3-channel 32-bit images; a dst of another type receives the result
    // converted to its type.
    cv::Mat input = src;
    if (src.depth() != CV_32S) src.convertTo(input, CV_32S);
    cv::Mat output = dst.type() == CV_32SC3 ? dst : cv::Mat();

    // The debug store keeps a copy of each stage's output. An intermediate image is handed to it
    // whole (the pipeline makes a new one, or gets the store's previous one back); an output
    // that is the caller's is copied.
    alad_debug_output_* store = alad_debug_output_::GetInstance();
    bool done = true;
    switch (mOrder) {
        case kOrderCLTMThenAGTM: {
            alad::LogLine("case order 1: CLTM + AGTM.");
            done = RunCLTM(input, scratch, intermediate);
            const cv::Mat cltm_result = intermediate;
            store->KeepADCLTMResultData(intermediate);
            done = RunAGTMAndKeep(cltm_result, output, *store) && done;
            break;
        }
        case kOrderAGTMThenCLTM: {
            alad::LogLine("case order 2: AGTM + CLTM.");
            done = RunAGTM(input, intermediate);
            const cv::Mat agtm_result = intermediate;
            store->KeepADAGTMResultData(intermediate);
            done = RunCLTM(agtm_result, scratch, output) && done;
            store->SetADCLTMResultData(output);
            break;
        }
        case kOrderCLTMOnly:
            alad::LogLine("case order 3: CLTM.");
            done = RunCLTM(input, scratch, output);
            store->SetADCLTMResultData(output);
            break;
        default:
            alad::LogLine("case order 4: AGTM.");
            done = RunAGTMAndKeep(input, output, *store);
            break;
    }
    if (output.data != dst.data) output.convertTo(dst, dst.type());
    return done ? 0 : -1;
}

int32_t ALADConcatenateMode::ResetALADContext() {
    if (!Initialised()) return -1;
    const int32_t allocated = mBuffers->AllocateBufferBySize(mCLTMParam.width, mCLTMParam.height, mCLTMParam.param);
    if (mVideoContext) ad_reset_video(mVideoContext.get());
    return allocated;
}

int32_t ALADConcatenateMode::UpdateCLTMParams(alad_cltm_user& cltm) {
    if (!Initialised()) return -1;
    GetParamsCLTM(mCLTMParam.param, cltm);
    mCLTMParam.width = cltm.width;
    mCLTMParam.height = cltm.height;
    mOrder = cltm.tm_mode;
    if (mVideoContext) {
        mVideoContext->width = cltm.width;
        mVideoContext->height = cltm.height;
    }
    return mBuffers->AllocateBufferBySize(mCLTMParam.width, mCLTMParam.height, mCLTMParam.param);
}

int32_t ALADConcatenateMode::UpdateDisplayModel(DisplayPanelModel& panel) { return GenerateAGTMLUTs(panel); }

int32_t ALADConcatenateMode::GenerateAGTMLUTs(DisplayPanelModel& panel) {
    mAGTMParam.lut = ComputeAGTMTableOrNeutral(panel, &mAGTMTableProblem);
    mAGTMParam.scaler = alad::TruncToInt32(panel.Backlight() * 1024);  // Q10, truncated
    return mAGTMTableProblem.empty() ? 0 : -1;
}

int32_t ALADConcatenateMode::SetAGTMLUTs(const int* lut, int count) {
    if (count < 1 || !lut) return 0;
    const size_t n = std::min(static_cast<size_t>(count), mAGTMParam.lut.size());
    if (n < static_cast<size_t>(count)) {
        alad::LogWarning("SetAGTMLUTs: %d values offered, the table holds %zu; the rest are ignored", count, n);
    }
    std::memcpy(mAGTMParam.lut.data(), lut, n * sizeof(int));
    return 0;
}

int32_t ALADConcatenateMode::GetAGTMLUTs(int* lut, int count) {
    if (count < 1 || !lut) return 0;
    const size_t n = std::min(static_cast<size_t>(count), mAGTMParam.lut.size());
    if (n < static_cast<size_t>(count)) {
        alad::LogWarning("GetAGTMLUTs: %d values asked for, the table holds %zu; only those are copied", count, n);
    }
    std::memcpy(lut, mAGTMParam.lut.data(), n * sizeof(int));
    return 0;
}

}  // namespace kelvo
