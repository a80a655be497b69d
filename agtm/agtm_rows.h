// The row kernel of the AGTM integer pass (agtm_row_kernels.h), built for the baseline instruction
// set and for AVX2 (common/simd.h). Private to agtm/.
#ifndef ALAD_AGTM_AGTM_ROWS_H
#define ALAD_AGTM_AGTM_ROWS_H

#include <cstdint>

namespace kelvo {
namespace agtm_rows {

// A frame's gains by brightest code, 4096 of each.
struct Gains {
    const int32_t* gains = nullptr;  // the integer gain, 9 fraction bits
    // The same split for 16-bit multiply-adds: gl | (gh * 2^13) << 16 with gain = gh * 2^15 + gl.
    // Used when every gain is non-negative (all are at most 255.0 anyway).
    const int32_t* split = nullptr;
    bool non_negative = false;
    // The integer path of one pixel with any codes, for groups holding a code outside 0..4095.
    void (*pixel)(const int32_t* in, int32_t* out, const Gains& gains) = nullptr;
    const int32_t* lut = nullptr;  // the table, for `pixel`
};

struct RowKernels {
    // One row of `cols` pixels; `out` may be `in`; `copy` (when not null) receives the same. Whole
    // aligned vectors are written with non-temporal stores.
    void (*integer_row)(const int32_t* in, int32_t* out, int32_t* copy, int cols, const Gains& gains);
    // One row of `cols` ARGB8888 pixels (common/argb8888.h), in place: the colour bytes widened to
    // 12 bits, through the gains, and with `narrow` narrowed back over them (alpha kept); `image`
    // and `copy` (when not null) receive the 12-bit results as integer_row writes them.
    void (*argb_row)(uint8_t* argb, int32_t* image, int32_t* copy, int cols, const Gains& gains, bool narrow);
    // One row of 12-bit pixels (any values; a row the previous stage left in the cache) through the
    // gains, narrowed into the R, G, B bytes of an ARGB8888 row (alpha kept); `copy` as above.
    void (*to_argb_row)(const int32_t* in, uint8_t* argb, int32_t* copy, int cols, const Gains& gains);
    // Orders those stores before what follows; called by a thread after its last row.
    void (*stream_fence)();
};

namespace baseline {
const RowKernels& Kernels();
}
namespace avx2 {
const RowKernels& Kernels();
}

}  // namespace agtm_rows
}  // namespace kelvo

#endif  // ALAD_AGTM_AGTM_ROWS_H
