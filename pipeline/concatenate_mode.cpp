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

bool ALADConcatenateMode::RunCLTM(const cv::Mat& input, cv::Mat& output) {
    CLTMVideoContextAPI context;
    context.ctx = mVideoContext.get();
    return CLTMVideoRunOneFrameImple_(input, mCLTMParam, context, *mBuffers, mScratch, output) == 0;
}

bool ALADConcatenateMode::RunAGTM(const cv::Mat& input, cv::Mat& output) {
    // Only the integer result is the stage's output; the floating-point reference is not computed.
    return ToneMappingOneImageByScalerLUTIntegerImple_(input, mAGTMParam, output);
}

bool ALADConcatenateMode::RunCLTMAndKeep(const cv::Mat& input, cv::Mat& output, alad_debug_output_& store,
                                         bool keep) {
    if (!keep) return RunCLTM(input, output);
    // The store's copy is written in the same pass and handed over whole; a frame that takes
    // another way than the sweep is copied.
    CLTMVideoContextAPI context;
    context.ctx = mVideoContext.get();
    bool copied = false;
    const bool done =
        CLTMVideoRunOneFrameImple_(input, mCLTMParam, context, *mBuffers, mScratch, output, &mCLTMCopy, &copied) == 0;
    if (copied) {
        store.KeepADCLTMResultData(mCLTMCopy);
    } else {
        store.SetADCLTMResultData(output);
    }
    return done;
}

bool ALADConcatenateMode::RunAGTMAndKeep(const cv::Mat& input, cv::Mat& output, alad_debug_output_& store,
                                         bool keep) {
    if (!keep) return RunAGTM(input, output);
    // The store's copy is written in the same pass and handed over whole.
    if (ToneMappingOneImageByScalerLUTIntegerImple_(input, mAGTMParam, output, mStageCopy)) {
        store.KeepADAGTMResultData(mStageCopy);
        return true;
    }
    store.SetADAGTMResultData(output);
    return false;
}

namespace {

// The AGTM stage taking the CLTM sweep's rows (CLTMRowConsumer), into a 12-bit image or the colour
// bytes of an ARGB frame, with the debug store's copy.
struct AGTMRowTarget {
    const AGTMRowPass* pass = nullptr;
    cv::Mat* image = nullptr;
    alad::ArgbFrame argb;
    cv::Mat* copy = nullptr;

    static void Row(void* context, int y, const int32_t* values, int cols) {
        const AGTMRowTarget& t = *static_cast<const AGTMRowTarget*>(context);
        int32_t* copy_row = t.copy != nullptr ? t.copy->ptr<int32_t>(y) : nullptr;
        if (t.image != nullptr) {
            t.pass->Row(values, cols, t.image->ptr<int32_t>(y), copy_row);
        } else {
            t.pass->RowToArgb(values, cols, t.argb.Row(y), copy_row);
        }
    }
    static void Finish(void* context) { static_cast<const AGTMRowTarget*>(context)->pass->FinishRows(); }

    CLTMRowConsumer Consumer() {
        CLTMRowConsumer c;
        c.row = Row;
        c.finish = Finish;
        c.context = this;
        return c;
    }
};

bool Overlap(const cv::Mat& a, const cv::Mat& b) {
    return a.datastart != nullptr && b.datastart != nullptr && a.datastart < b.dataend && b.datastart < a.dataend;
}

}  // namespace

bool ALADConcatenateMode::RunCLTMThenAGTMByRows(const cv::Mat& input, cv::Mat& output, alad_debug_output_& store,
                                                bool keep, bool* done) {
    if (input.type() != CV_32SC3 || output.type() != CV_32SC3 || output.size() != input.size() ||
        !mRowAGTM.Prepare(mAGTMParam)) {
        return false;
    }
    // The CLTM result goes to the store (handed over whole) only when it keeps images; either way
    // the AGTM stage maps each row while it is in the cache.
    if (keep) mStageCopy.create(input.size(), CV_32SC3);
    AGTMRowTarget agtm;
    agtm.pass = &mRowAGTM;
    agtm.image = &output;
    agtm.copy = keep ? &mStageCopy : nullptr;
    CLTMFrameIO io;
    io.image = &input;
    io.out = keep ? &mIntermediate : nullptr;
    io.next = agtm.Consumer();
    io.next_writes_input = Overlap(input, output);
    CLTMVideoContextAPI context;
    context.ctx = mVideoContext.get();
    int32_t result = 0;
    if (!CLTMVideoSweepFrame(io, mCLTMParam, context, *mBuffers, &result)) return false;
    if (keep) {
        store.KeepADCLTMResultData(mIntermediate);
        store.KeepADAGTMResultData(mStageCopy);
    }
    *done = result == 0;
    return true;
}

void ALADConcatenateMode::LogFrameStart(int cols, int rows) const {
    // The configured size and the frame size are logged, not compared: the stages handle a frame
    // of another size themselves.
    alad::LogLine("mCLTMParam.width = %u , sz.width = %d", mCLTMParam.width, cols);
    alad::LogLine("mCLTMParam.height = %u , sz.height = %d", mCLTMParam.height, rows);
    alad::LogLine("LCH 00.");
    alad::LogLine("LCH 01.");
}

bool ALADConcatenateMode::RunsStages() const { return mOrder >= kOrderCLTMThenAGTM && mOrder <= kOrderAGTMOnly; }

void ALADConcatenateMode::LogOrder() const {
    switch (mOrder) {
        case kOrderCLTMThenAGTM:
            alad::LogLine("case order 1: CLTM + AGTM.");
            break;
        case kOrderAGTMThenCLTM:
            alad::LogLine("case order 2: AGTM + CLTM.");
            break;
        case kOrderCLTMOnly:
            alad::LogLine("case order 3: CLTM.");
            break;
        default:
            alad::LogLine("case order 4: AGTM.");
            break;
    }
}

bool ALADConcatenateMode::RunStages(const cv::Mat& input, cv::Mat& output, bool log_order) {
    if (log_order) LogOrder();
    // The debug store keeps each stage's output, when it keeps images: an intermediate image is
    // handed to it whole (the pipeline makes a new one, or gets the store's previous one back),
    // and a copy of an output that is the caller's is written in the stage's own pass.
    alad_debug_output_* store = alad_debug_output_::GetInstance();
    const bool keep = alad_debug_output_::KeepImages();
    bool done = true;
    switch (mOrder) {
        case kOrderCLTMThenAGTM: {
            if (RunCLTMThenAGTMByRows(input, output, *store, keep, &done)) break;
            done = RunCLTM(input, mIntermediate);
            const cv::Mat cltm_result = mIntermediate;
            if (keep) store->KeepADCLTMResultData(mIntermediate);
            done = RunAGTMAndKeep(cltm_result, output, *store, keep) && done;
            break;
        }
        case kOrderAGTMThenCLTM: {
            done = RunAGTM(input, mIntermediate);
            const cv::Mat agtm_result = mIntermediate;
            if (keep) store->KeepADAGTMResultData(mIntermediate);
            done = RunCLTMAndKeep(agtm_result, output, *store, keep) && done;
            break;
        }
        case kOrderCLTMOnly:
            done = RunCLTMAndKeep(input, output, *store, keep);
            break;
        default:
            done = RunAGTMAndKeep(input, output, *store, keep);
            break;
    }
    return done;
}

int32_t ALADConcatenateMode::RunOneFrame(const cv::Mat& src, cv::Mat& dst) {
    LogFrameStart(src.cols, src.rows);
    // The stages' working images live from frame to frame, so that a steady frame size does not
    // allocate (and fault in) full frames every time.
    if (dst.rows != src.rows || dst.cols != src.cols) dst.create(src.rows, src.cols, CV_32SC3);
    alad::LogLine("LCH 02.");

    if (!RunsStages()) {
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
    cv::Mat output = dst.type() == CV_32SC3 ? dst : cv::Mat(src.rows, src.cols, CV_32SC3);
    const bool done = RunStages(input, output, true);
    if (output.data != dst.data) output.convertTo(dst, dst.type());
    return done ? 0 : -1;
}

namespace {

// A frame that goes through unprocessed: each colour byte widened and narrowed again (which moves
// the codes whose low four bits are 8 or more up by one: 200 -> 3212 -> 201).
void PassArgbThrough(const alad::ArgbFrame& frame) {
    uint8_t table[256];
    for (int v = 0; v < 256; ++v) table[v] = alad::Narrow12To8(alad::Widen8To12(static_cast<uint8_t>(v)));
    for (int y = 0; y < frame.rows; ++y) {
        uint8_t* px = frame.Row(y);
        for (int x = 0; x < frame.cols; ++x, px += alad::kArgbBytes) {
            for (int c : {alad::kArgbRed, alad::kArgbGreen, alad::kArgbBlue}) px[c] = table[px[c]];
        }
    }
}

}  // namespace

bool ALADConcatenateMode::RunArgbStages(const alad::ArgbFrame& frame, alad_debug_output_& store, bool keep,
                                        bool* done) {
    CLTMVideoContextAPI context;
    context.ctx = mVideoContext.get();
    int32_t result = 0;
    CLTMFrameIO io;
    io.argb = frame;
    switch (mOrder) {
        case kOrderCLTMThenAGTM: {
            // CLTM from the buffer, AGTM on each CLTM row while it is in the cache, into the buffer.
            if (!mRowAGTM.Prepare(mAGTMParam)) return false;
            if (keep) mStageCopy.create(frame.rows, frame.cols, CV_32SC3);
            AGTMRowTarget agtm;
            agtm.pass = &mRowAGTM;
            agtm.argb = frame;
            agtm.copy = keep ? &mStageCopy : nullptr;
            io.out = keep ? &mIntermediate : nullptr;
            io.next = agtm.Consumer();
            if (!CLTMVideoSweepFrame(io, mCLTMParam, context, *mBuffers, &result)) return false;
            if (keep) {
                store.KeepADCLTMResultData(mIntermediate);
                store.KeepADAGTMResultData(mStageCopy);
            }
            break;
        }
        case kOrderAGTMThenCLTM: {
            // AGTM from the buffer into the intermediate image, CLTM from that into the buffer.
            if (!mRowAGTM.Prepare(mAGTMParam)) return false;
            mRowAGTM.Frame(frame, false, &mIntermediate, nullptr);
            io.image = &mIntermediate;
            io.narrow = true;
            io.copy = keep ? &mCLTMCopy : nullptr;
            if (!CLTMVideoSweepFrame(io, mCLTMParam, context, *mBuffers, &result)) return false;
            if (keep) {
                store.KeepADAGTMResultData(mIntermediate);
                store.KeepADCLTMResultData(mCLTMCopy);
            }
            break;
        }
        case kOrderCLTMOnly:
            io.narrow = true;
            io.copy = keep ? &mCLTMCopy : nullptr;
            if (!CLTMVideoSweepFrame(io, mCLTMParam, context, *mBuffers, &result)) return false;
            if (keep) store.KeepADCLTMResultData(mCLTMCopy);
            break;
        default:
            if (!mRowAGTM.Prepare(mAGTMParam)) return false;
            mRowAGTM.Frame(frame, true, nullptr, keep ? &mStageCopy : nullptr);
            if (keep) store.KeepADAGTMResultData(mStageCopy);
            break;
    }
    *done = result == 0;
    return true;
}

int32_t ALADConcatenateMode::RunOneFrameARGB(const alad::ArgbFrame& frame) {
    LogFrameStart(frame.cols, frame.rows);
    alad::LogLine("LCH 02.");
    if (!RunsStages()) {
        PassArgbThrough(frame);
        return 0;
    }
    if (!Initialised()) {
        alad::LogError("RunOneFrame: the pipeline is not initialised; frame passed through");
        PassArgbThrough(frame);
        return -1;
    }
    LogOrder();
    bool done = true;
    if (!RunArgbStages(frame, *alad_debug_output_::GetInstance(), alad_debug_output_::KeepImages(), &done)) {
        // The general way, for what the stages' own conversions do not take (a frame the CLTM
        // buffers or the video size refuse, which the stages report): the frame widened into a
        // kept image, the stages as RunOneFrame runs them, the result narrowed back.
        mWide.create(frame.rows, frame.cols, CV_32SC3);
        for (int y = 0; y < frame.rows; ++y) alad::WidenArgbRow(frame.Row(y), frame.cols, mWide.ptr<int32_t>(y));
        mWideResult.create(frame.rows, frame.cols, CV_32SC3);
        done = RunStages(mWide, mWideResult, false);
        for (int y = 0; y < frame.rows; ++y) {
            alad::NarrowIntoArgbRow(mWideResult.ptr<int32_t>(y), frame.cols, frame.Row(y));
        }
    }
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
