// Small helpers shared by the CLTM tests.
#ifndef ALAD_TESTS_CLTM_CLTM_TEST_UTIL_H
#define ALAD_TESTS_CLTM_CLTM_TEST_UTIL_H

#include <gtest/gtest.h>

#include <string>

#include "cltm/cltm_params.h"

namespace kelvo {
namespace testing_util {

inline ad_param_t_ Geometry(uint32_t log2w, uint32_t log2h, uint32_t hist_mode = 0) {
    ad_param_t_ p;
    p.blk_width_log2 = log2w;
    p.blk_height_log2 = log2h;
    p.hist_mode = hist_mode;
    return p;
}

// Collects what the engine prints while it lives; Text() ends the capture.
class Stdout {
public:
    Stdout() { ::testing::internal::CaptureStdout(); }
    ~Stdout() { Text(); }
    const std::string& Text() {
        if (!done_) text_ = ::testing::internal::GetCapturedStdout();
        done_ = true;
        return text_;
    }

private:
    bool done_ = false;
    std::string text_;
};

}  // namespace testing_util
}  // namespace kelvo

#endif  // ALAD_TESTS_CLTM_CLTM_TEST_UTIL_H
