// What the vectorised row kernels of every stage and every instruction set share (included by
// agtm/agtm_row_kernels.h and cltm/cltm_row_kernels.h).
#ifndef ALAD_COMMON_ROW_STEPS_H
#define ALAD_COMMON_ROW_STEPS_H

// The steps that every kernel of a row calls once per vector are inlined by force: GCC keeps some
// of them as calls otherwise, which pass vectors through memory and set their constants up on
// every call (about a tenth of a frame's instructions).
#define ALAD_STEP __attribute__((always_inline))

namespace alad {

// step(x, count) over a row of `cols` pixels, kWidth at a time: the whole steps in a loop of their
// own (count a constant the compiler sees, so that the checks for the end of the row drop out),
// then the last pixels.
template <int kWidth, typename Step>
ALAD_STEP inline void ForEachStep(int cols, const Step& step) {
    int x = 0;
    for (; x + kWidth <= cols; x += kWidth) step(x, kWidth);
    if (x < cols) step(x, cols - x);
}

}  // namespace alad

#endif  // ALAD_COMMON_ROW_STEPS_H
