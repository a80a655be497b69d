#include "common/debug_store.h"

#include <cstring>
#include <exception>
#include <new>

#include "common/log.h"

namespace kelvo {

alad_debug_output_* alad_debug_output_::ptrInstance = nullptr;

namespace {
bool gKeepImages = true;
}  // namespace

namespace {

// The store exists from load time on, so a dump taken before the first frame finds it empty
// rather than missing.
[[maybe_unused]] const bool kStoreMadeAtLoad = alad_debug_output_::GetInstance() != nullptr;

void FreeBuffer(alad_debug_buffer_& buffer) {
    delete[] buffer.data;
    buffer.data = nullptr;
    buffer.length = 0;
}

}  // namespace

alad_debug_output_* alad_debug_output_::GetInstance() {
    if (ptrInstance == nullptr) ptrInstance = new (std::nothrow) alad_debug_output_();
    return ptrInstance;
}

void alad_debug_output_::Terminate() {
    delete ptrInstance;
    ptrInstance = nullptr;
}

void alad_debug_output_::SetKeepImages(bool keep) {
    gKeepImages = keep;
    if (!keep && ptrInstance != nullptr) {
        ptrInstance->mAGTMResult.release();
        ptrInstance->mCLTMResult.release();
    }
}

bool alad_debug_output_::KeepImages() { return gKeepImages; }

alad_debug_output_::~alad_debug_output_() {
    mCLTMResult.release();
    mAGTMResult.release();
    FreeBuffer(mTransitionCurveBuffer);
    FreeBuffer(mSmoothCurveBuffer);
    FreeBuffer(mTmpCurveBuffer);
    FreeBuffer(mBackwardBuffer);
    FreeBuffer(mForewardBuffer);
    FreeBuffer(mHistBuffer);
}

unsigned int* alad_debug_output_::AllocateBufferByLenght(alad_debug_buffer_& buffer, int length) {
    if (length < 0) {
        alad::LogError("ERROR: debug buffer length %d is negative", length);
        return nullptr;
    }
    if (buffer.data != nullptr && buffer.length == length) return buffer.data;
    FreeBuffer(buffer);
    if (length == 0) return nullptr;
    buffer.data = new (std::nothrow) unsigned int[static_cast<size_t>(length)];
    if (buffer.data == nullptr) {
        alad::LogError("ERROR: debug buffer of %d values cannot be allocated", length);
        return nullptr;
    }
    buffer.length = length;
    return buffer.data;
}

unsigned int* alad_debug_output_::AllocateADProcCalcForewardBuffer(int length) {
    return AllocateBufferByLenght(mForewardBuffer, length);
}

unsigned int* alad_debug_output_::AllocateADProcCalcBackwardBuffer(int length) {
    return AllocateBufferByLenght(mBackwardBuffer, length);
}

void alad_debug_output_::SetRow(alad_debug_buffer_& buffer, const char* name, const unsigned int* data, int count,
                                int index) {
    const int64_t begin = static_cast<int64_t>(index) * count;
    if (data == nullptr || count < 0 || index < 0 || begin + count > buffer.length) {
        alad::LogError("ERROR: %s row %d of %d values does not fit the buffer of %d values", name, index, count,
                       static_cast<int>(buffer.length));
        return;
    }
    if (count > 0) std::memcpy(buffer.data + begin, data, static_cast<size_t>(count) * sizeof(unsigned int));
}

void alad_debug_output_::SetWhole(alad_debug_buffer_& buffer, const char* name, const unsigned int* data, int count) {
    if (count > 0 && data == nullptr) {
        alad::LogError("ERROR: %s data is NULL for %d values", name, count);
        return;
    }
    unsigned int* dst = AllocateBufferByLenght(buffer, count);
    if (dst != nullptr) std::memcpy(dst, data, static_cast<size_t>(count) * sizeof(unsigned int));
}

void alad_debug_output_::SetADProcCalcForewardCurveData(const unsigned int* data, int count, int index) {
    SetRow(mForewardBuffer, "foreward curve", data, count, index);
}

void alad_debug_output_::SetADProcCalcBackwardCurveData(const unsigned int* data, int count, int index) {
    SetRow(mBackwardBuffer, "backward curve", data, count, index);
}

void alad_debug_output_::SetADProcCalcCurveHistData(const unsigned int* data, int count) {
    SetWhole(mHistBuffer, "histogram", data, count);
}

void alad_debug_output_::SetADProcCalcCurveTmpCurveData(const unsigned int* data, int count) {
    SetWhole(mTmpCurveBuffer, "temporary curve", data, count);
}

void alad_debug_output_::SetADProcCalcCurveSmoothCurveData(const unsigned int* data, int count) {
    SetWhole(mSmoothCurveBuffer, "smooth curve", data, count);
}

void alad_debug_output_::SetADProcCalcCurveTransitionCurveData(const unsigned int* data, int count) {
    SetWhole(mTransitionCurveBuffer, "transition curve", data, count);
}

// A copy that cannot be made leaves the store without that image rather than failing the frame.
// While nobody else holds the kept image, its buffer takes the new copy in place (no allocation
// for a steady frame size); an image someone still holds is left alone and a fresh copy made.
static void KeepCopy(cv::Mat& kept, const cv::Mat& image, const char* name) {
    try {
        const bool reusable = kept.u != nullptr && kept.u->refcount == 1 && kept.isContinuous() &&
                              kept.size == image.size && kept.type() == image.type() && kept.data != image.data;
        if (reusable) {
            image.copyTo(kept);
        } else {
            kept = image.clone();
        }
    } catch (const std::exception& e) {
        kept.release();
        alad::LogError("ERROR: the %s result cannot be kept: %s", name, e.what());
    }
}

void alad_debug_output_::SetADAGTMResultData(const cv::Mat& image) { KeepCopy(mAGTMResult, image, "AGTM"); }

void alad_debug_output_::SetADCLTMResultData(const cv::Mat& image) { KeepCopy(mCLTMResult, image, "CLTM"); }

// The kept image and the caller's change places; the caller gets the old one back only when it
// is then its sole holder, so that nobody else's image is ever written.
static void TakeOver(cv::Mat& kept, cv::Mat& image) {
    cv::swap(kept, image);
    if (image.u == nullptr || image.u->refcount != 1) image.release();
}

void alad_debug_output_::KeepADAGTMResultData(cv::Mat& image) { TakeOver(mAGTMResult, image); }

void alad_debug_output_::KeepADCLTMResultData(cv::Mat& image) { TakeOver(mCLTMResult, image); }

void alad_debug_output_::InitBuffer() {
    for (alad_debug_buffer_* buffer : {&mSmoothCurveBuffer, &mTmpCurveBuffer, &mHistBuffer, &mTransitionCurveBuffer}) {
        if (buffer->data != nullptr) {
            std::memset(buffer->data, 0, static_cast<size_t>(buffer->length) * sizeof(unsigned int));
        }
    }
}

void alad_debug_output_::QueryInternalStatus() {}

}  // namespace kelvo
