// The frame-size bound every part of the engine shares (ALAD_MAX_FRAME_SIDE, ALAD_MAX_FRAME_PIXELS
// in <alad/alad_records.h>): what a record, a register set or a file may ask the engine to
// allocate.
#ifndef ALAD_COMMON_FRAME_SIZE_H
#define ALAD_COMMON_FRAME_SIZE_H

#include <cstdint>

#include "alad/alad_records.h"

namespace alad {

constexpr int64_t kMaxFrameSide = ALAD_MAX_FRAME_SIDE;
constexpr int64_t kMaxFramePixels = ALAD_MAX_FRAME_PIXELS;

// Each side 0..kMaxFrameSide and at most kMaxFramePixels in all. A side of 0 passes: the engine
// binds a 0x0 configuration to the first frame it sees. Sizes come in 64 bits so that a driver's
// -1 is seen as -1, and an unsigned 4294967295 as that.
constexpr bool FrameSizeWithinBound(int64_t width, int64_t height) {
    return width >= 0 && height >= 0 && width <= kMaxFrameSide && height <= kMaxFrameSide &&
           width * height <= kMaxFramePixels;
}

// The same, with a console error when the size is outside: "<who>: frame size WxH refused (each
// side 0 to 8192 pixels, at most 33177600 in all); <consequence>".
bool CheckFrameSize(const char* who, int64_t width, int64_t height, const char* consequence);

}  // namespace alad

#endif  // ALAD_COMMON_FRAME_SIZE_H
