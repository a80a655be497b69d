// The display driver's ARGB8888 frames for the driver binding: processed in place by the stages,
// without the frame-sized copies of the conversions around RunOneFrameALAD.
#ifndef ALAD_ENGINE_ARGB_FRAMES_H
#define ALAD_ENGINE_ARGB_FRAMES_H

#include <cstdint>

#include "common/argb8888.h"

namespace kelvo {

// Exactly RunOneFrameALAD on the frame widened to 12 bits (common/argb8888.h), with the result
// narrowed back over the colour bytes (alpha kept): the same status, lines and debug store. *ran
// is false when no engine took the frame (nothing written then).
int32_t RunOneFrameARGBALAD(const alad::ArgbFrame& frame, bool* ran);

}  // namespace kelvo

#endif  // ALAD_ENGINE_ARGB_FRAMES_H
