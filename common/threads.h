// How many threads the per-row kernels of a frame may use. The default, 1, keeps every call on the
// caller's thread, as callers of the engine expect; a larger count splits a frame's rows into that
// many stripes run through OpenCV's thread pool. Every kernel that uses it gives identical results
// for any count: rows are independent, and partial sums are merged with wrapping integer adds.
#ifndef ALAD_COMMON_THREADS_H
#define ALAD_COMMON_THREADS_H

#include <algorithm>

#include <opencv2/core.hpp>

namespace alad {

constexpr int kMaxEngineThreads = 64;

// The process-wide setting; values outside 1..kMaxEngineThreads are clamped into it.
int EngineThreads();
void SetEngineThreadCount(int threads);

// The number of stripes a frame of `rows` rows is cut into: at most `threads`, and no more than
// one per `min_rows` rows, so that tiny frames stay on the caller's thread.
inline int StripeCount(int rows, int threads, int min_rows = 16) {
    if (threads <= 1 || rows < 2 * min_rows) return 1;
    return std::max(1, std::min(threads, rows / min_rows));
}

// Rows [0, rows) cut into `stripes` consecutive ranges of nearly equal size.
inline int StripeBegin(int rows, int stripes, int index) {
    return static_cast<int>(static_cast<long long>(rows) * index / stripes);
}

// Calls body(stripe, row_begin, row_end) for every stripe: directly when there is one, otherwise
// through cv::parallel_for_ (the caller's thread takes part). The body must not throw.
template <typename Body>
void ForEachStripe(int rows, int stripes, Body&& body) {
    if (stripes <= 1) {
        body(0, 0, rows);
        return;
    }
    cv::parallel_for_(
        cv::Range(0, stripes),
        [&](const cv::Range& range) {
            for (int s = range.start; s < range.end; ++s) body(s, StripeBegin(rows, stripes, s), StripeBegin(rows, stripes, s + 1));
        },
        stripes);
}

}  // namespace alad

#endif  // ALAD_COMMON_THREADS_H
