// ContentLTM: CLTM on single cv::Mat pictures, through the luma path (gray mode) or the RGB path
// (BGR mode), for still images or as frames of a sequence.
#include <cstdlib>
#include <memory>
#include <new>

#include "alad/alad_offline.h"
#include "cltm/cltm_frame.h"
#include "cltm/cltm_luma_middle.h"
#include "cltm/cltm_map.h"
#include "cltm/cltm_params.h"
#include "common/log.h"

namespace kelvo {

namespace {

// A 12-bit code as the planes take it: values outside 0..4095 (and NaN) are clamped first, as the
// frame drivers clamp them, so a stray value reads as black or white instead of as a huge code.
inline uint32_t Code12(double v) {
    if (!(v > 0.0)) return 0;
    return v < 4095.0 ? static_cast<uint32_t>(v) : 4095u;
}

inline uint32_t Code12(int32_t v) { return v < 0 ? 0u : (v > 4095 ? 4095u : static_cast<uint32_t>(v)); }

bool CheckInput(const cv::Mat& in, int type, const char* mode) {
    if (!in.empty() && in.type() == type) return true;
    alad::LogError("%s: the input must be a non-empty %s image, got %s %dx%d", mode, cv::typeToString(type).c_str(),
                   cv::typeToString(in.type()).c_str(), in.cols, in.rows);
    return false;
}

// An output is created when empty; otherwise it must already have the input's size and the type.
bool CheckOutput(const cv::Mat& out, const cv::Mat& in, int type, const char* mode, const char* name) {
    if (out.empty() || (out.type() == type && out.size() == in.size())) return true;
    alad::LogError("%s: %s must be empty or %s %dx%d, got %s %dx%d", mode, name, cv::typeToString(type).c_str(), in.cols,
                   in.rows, cv::typeToString(out.type()).c_str(), out.cols, out.rows);
    return false;
}

// Working planes from the C allocator (at least one element, so that an empty curve set is not
// taken for a failure).
struct FreeDeleter {
    void operator()(uint32_t* p) const { std::free(p); }
};
using Plane = std::unique_ptr<uint32_t[], FreeDeleter>;
Plane NewPlane(size_t count) {
    return Plane(static_cast<uint32_t*>(std::malloc((count > 0 ? count : 1) * sizeof(uint32_t))));
}

void ReportOutOfMemory() { alad::LogError("ERROR: out of memory"); }

void ReportNotMapped(const char* mode) {
    alad::LogError("%s: the frame was not mapped; outputs left as they were", mode);
}

}  // namespace

ContentLTM::ContentLTM() {
    alad_cltm_user user;
    user.blk_width = 256;
    user.blk_height = 256;
    user.curve_id = 1;
    user.strength = 8;
    user.filter_flag = 0;
    user.width = 0;
    user.height = 0;
    mParams = new (std::nothrow) CLTMParamBlock(user);
}

ContentLTM::ContentLTM(const alad_cltm_user& user, bool video) : mVideo(video) {
    mParams = new (std::nothrow) CLTMParamBlock(user);
    if (video) {
        mContext = ad_init_video();
        if (mContext == nullptr) return;  // unusable: the modes refuse to run
    }
    mBuffers = new (std::nothrow) CLTMBufferManager();
}

ContentLTM::~ContentLTM() {
    delete mParams;
    ad_deinit_video(mContext);
    delete mBuffers;
}

ad_param_t_* ContentLTM::Params() { return mParams != nullptr ? mParams->get() : nullptr; }
const ad_param_t_* ContentLTM::Params() const { return mParams != nullptr ? mParams->get() : nullptr; }

// The default object has no buffer manager: it is made on first use.
bool ContentLTM::Ready(const char* mode) {
    if (mParams == nullptr) {
        alad::LogError("%s: ContentLTM has no parameter block", mode);
        return false;
    }
    if (mVideo && mContext == nullptr) {
        alad::LogError("%s: ContentLTM was built for video but has no video context", mode);
        return false;
    }
    if (mBuffers == nullptr) mBuffers = new (std::nothrow) CLTMBufferManager();
    if (mBuffers == nullptr) {
        ReportOutOfMemory();
        return false;
    }
    return true;
}

int32_t ContentLTM::CLTMGrayMode(const cv::Mat& in, cv::Mat& gain, cv::Mat& luma_out, uint32_t frame) {
    const char* mode = "CLTMGrayMode";
    if (!CheckInput(in, CV_64FC1, mode) || !CheckOutput(gain, in, CV_32FC1, mode, "gain") ||
        !CheckOutput(luma_out, in, CV_32FC1, mode, "luma_out") || !Ready(mode)) {
        return -1;
    }
    const uint32_t rows = static_cast<uint32_t>(in.rows), cols = static_cast<uint32_t>(in.cols);
    const ad_param_t_* param = Params();
    // Fresh buffers (zero curves) on every call, also in video: see CLTMBGRMode.
    if (mBuffers->AllocateBufferBySize(cols, rows, param) != 0) return -1;
    const size_t pixels = static_cast<size_t>(rows) * cols;
    const Plane luma = NewPlane(pixels), mapped = NewPlane(pixels);
    if (!luma || !mapped) {
        ReportOutOfMemory();
        return -1;
    }
    for (uint32_t y = 0; y < rows; ++y) {
        const double* src = in.ptr<double>(static_cast<int>(y));
        uint32_t* dst = luma.get() + static_cast<size_t>(y) * cols;
        for (uint32_t x = 0; x < cols; ++x) dst[x] = Code12(src[x]) >> 2;
    }
    const int32_t r = mContext != nullptr
                          ? ad_proc_video_k1_lumaMiddle(mapped.get(), luma.get(), cols, rows, param, mContext, frame,
                                                        mBuffers->mToneCurves, mBuffers->mHistBuffer)
                          : ad_proc_image_k1_lumaMiddle(mapped.get(), luma.get(), cols, rows, param);
    if (r != 0) {
        ReportNotMapped(mode);
        return -1;
    }
    gain.create(in.size(), CV_32FC1);
    luma_out.create(in.size(), CV_32FC1);
    for (uint32_t y = 0; y < rows; ++y) {
        const double* src = in.ptr<double>(static_cast<int>(y));
        const uint32_t* new_luma = mapped.get() + static_cast<size_t>(y) * cols;
        float* gain_row = gain.ptr<float>(static_cast<int>(y));
        float* luma_row = luma_out.ptr<float>(static_cast<int>(y));
        for (uint32_t x = 0; x < cols; ++x) {
            // Back on the 12-bit scale without the bit repetition of the RGB path; the gain is new
            // over old luma through the reciprocal table, in 1/1024 (exact in a float).
            const uint32_t m = 4u * new_luma[x];
            const uint32_t t = Code12(src[x]);
            luma_row[x] = static_cast<float>(m);
            gain_row[x] = static_cast<float>((kMapReciprocal[(t >> 4) & 255u] * m) >> 10) * (1.0f / 1024.0f);
        }
    }
    return 0;
}

int32_t ContentLTM::CLTMBGRMode(const cv::Mat& in, cv::Mat& out, uint32_t frame) {
    const char* mode = "CLTMBGRMode";
    if (!CheckInput(in, CV_32SC3, mode) || !CheckOutput(out, in, CV_32SC3, mode, "out") || !Ready(mode)) return -1;
    const uint32_t rows = static_cast<uint32_t>(in.rows), cols = static_cast<uint32_t>(in.cols);
    const ad_param_t_* param = Params();
    const size_t row_values = static_cast<size_t>(cols) * 3;
    const Plane in_plane = NewPlane(rows * row_values), out_plane = NewPlane(rows * row_values);
    if (!in_plane || !out_plane) {
        ReportOutOfMemory();
        return -1;
    }
    // Reallocated on every call, so the curve set never survives from one call to the next: in
    // video every frame after the first is mapped with zero curves. That is this class's
    // behaviour; temporal continuity is the pipeline's job.
    if (mBuffers->AllocateBufferBySize(cols, rows, param) != 0) return -1;
    const Plane curves = NewPlane(static_cast<size_t>(mBuffers->mBlockNum) * kCurvePoints);
    if (!curves) {
        ReportOutOfMemory();
        return -1;
    }
    for (uint32_t y = 0; y < rows; ++y) {
        const int32_t* src = in.ptr<int32_t>(static_cast<int>(y));
        uint32_t* dst = in_plane.get() + y * row_values;
        for (size_t i = 0; i < row_values; ++i) dst[i] = Code12(src[i]) >> 2;
    }
    const int32_t* in_rgb = reinterpret_cast<const int32_t*>(in_plane.get());
    const int32_t r = mContext != nullptr ? ad_proc_video(out_plane.get(), in_rgb, cols, rows, param, mContext, frame,
                                                          mBuffers->mToneCurves, mBuffers->mHistBuffer)
                                          : ad_proc_image(out_plane.get(), in_rgb, cols, rows, param, curves.get());
    if (r != 0) {
        ReportNotMapped(mode);
        return -1;
    }
    out.create(in.size(), CV_32SC3);
    for (uint32_t y = 0; y < rows; ++y) {
        const uint32_t* src = out_plane.get() + y * row_values;
        int32_t* dst = out.ptr<int32_t>(static_cast<int>(y));
        for (size_t i = 0; i < row_values; ++i) dst[i] = static_cast<int32_t>(4u * src[i] + (src[i] >> 8));
    }
    return 0;
}

}  // namespace kelvo
