// The debug data store: one process-wide place where the stages leave copies of their intermediate
// results (CLTM histograms and curves at each step, the last CLTM and AGTM images) so that the
// verification harness can dump them and compare them with the hardware model stage by stage.
//
// The store can be destroyed (Terminate) while the engine keeps running, so nobody keeps a pointer
// to it: every writer and reader goes through GetInstance(), which re-makes an empty store when
// needed. Not thread-safe: callers serialise all calls, as everywhere in the engine.
#ifndef ALAD_COMMON_DEBUG_STORE_H
#define ALAD_COMMON_DEBUG_STORE_H

#include <cstdint>
#include <opencv2/core.hpp>

namespace kelvo {

// A growable array of 32-bit values. Empty: null data, length 0.
struct alad_debug_buffer_ {
    unsigned int* data = nullptr;  // owned, allocated with new[]
    int32_t length = 0;            // in values
};

class alad_debug_output_ {
public:
    // The store, made empty first if there is none (at load time, or after Terminate).
    static alad_debug_output_* GetInstance();
    // Destroys the store; the next GetInstance() makes a fresh, empty one.
    static void Terminate();

    // Whether the pipeline keeps the two stage result images here (the default; the verification
    // run always asks for them). A device that never reads the store turns them off: each costs a
    // frame-sized write per frame. Turning them off releases the images kept so far; the
    // histograms and curves, which are small, are written either way. Process-wide.
    static void SetKeepImages(bool keep);
    static bool KeepImages();

    alad_debug_output_(const alad_debug_output_&) = delete;
    alad_debug_output_& operator=(const alad_debug_output_&) = delete;

    // Keeps the buffer if it already holds exactly `length` values, otherwise replaces it with
    // `length` values of unspecified content. Returns the data, or null when length is negative
    // or the allocation fails (the buffer is then empty).
    unsigned int* AllocateBufferByLenght(alad_debug_buffer_& buffer, int length);
    unsigned int* AllocateADProcCalcForewardBuffer(int length);
    unsigned int* AllocateADProcCalcBackwardBuffer(int length);

    // Copy `count` values into row `index` (rows of `count`) of the forward or backward buffer,
    // which must have been allocated large enough; a row that does not fit is refused.
    void SetADProcCalcForewardCurveData(const unsigned int* data, int count, int index);
    void SetADProcCalcBackwardCurveData(const unsigned int* data, int count, int index);

    // Replace the buffer's contents with `count` values (re-allocated only when the count changes).
    void SetADProcCalcCurveHistData(const unsigned int* data, int count);
    void SetADProcCalcCurveTmpCurveData(const unsigned int* data, int count);
    void SetADProcCalcCurveSmoothCurveData(const unsigned int* data, int count);
    void SetADProcCalcCurveTransitionCurveData(const unsigned int* data, int count);

    // Keep a deep copy of the last stage output.
    void SetADAGTMResultData(const cv::Mat& image);
    void SetADCLTMResultData(const cv::Mat& image);
    // Keep `image` itself as the last stage output, with no copy, for a caller that made the
    // image for the store (the pipeline): the store takes it over, and `image` receives the image
    // kept before when nobody else holds that one (a buffer for the next frame's result), or
    // nothing. What the store then holds is the same as after SetAD...ResultData(image).
    void KeepADAGTMResultData(cv::Mat& image);
    void KeepADCLTMResultData(cv::Mat& image);

    // Zeroes the smooth, temporary, histogram and transition buffers. The forward and backward
    // buffers and the images are left as they are on purpose.
    void InitBuffer();
    void QueryInternalStatus();

    const alad_debug_buffer_& GetHistBuffer() const { return mHistBuffer; }
    const alad_debug_buffer_& GetForewardBuffer() const { return mForewardBuffer; }
    const alad_debug_buffer_& GetBackwardBuffer() const { return mBackwardBuffer; }
    const alad_debug_buffer_& GetTmpCurveBuffer() const { return mTmpCurveBuffer; }
    const alad_debug_buffer_& GetSmoothCurveBuffer() const { return mSmoothCurveBuffer; }
    const alad_debug_buffer_& GetTransitionCurveBuffer() const { return mTransitionCurveBuffer; }
    const cv::Mat& GetAGTMResultData() const { return mAGTMResult; }
    const cv::Mat& GetCLTMResultData() const { return mCLTMResult; }

private:
    alad_debug_output_() = default;
    ~alad_debug_output_();

    void SetRow(alad_debug_buffer_& buffer, const char* name, const unsigned int* data, int count, int index);
    void SetWhole(alad_debug_buffer_& buffer, const char* name, const unsigned int* data, int count);

    static alad_debug_output_* ptrInstance;

    alad_debug_buffer_ mHistBuffer;
    alad_debug_buffer_ mForewardBuffer;
    alad_debug_buffer_ mBackwardBuffer;
    alad_debug_buffer_ mTmpCurveBuffer;
    alad_debug_buffer_ mSmoothCurveBuffer;
    alad_debug_buffer_ mTransitionCurveBuffer;
    cv::Mat mAGTMResult;
    cv::Mat mCLTMResult;
};

}  // namespace kelvo

#endif  // ALAD_COMMON_DEBUG_STORE_H
