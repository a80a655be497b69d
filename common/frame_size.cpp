#include "common/frame_size.h"

#include "common/log.h"

namespace alad {

bool CheckFrameSize(const char* who, int64_t width, int64_t height, const char* consequence) {
    if (FrameSizeWithinBound(width, height)) return true;
    LogError("%s: frame size %lldx%lld refused (each side 0 to %lld pixels, at most %lld in all); %s", who,
             static_cast<long long>(width), static_cast<long long>(height), static_cast<long long>(kMaxFrameSide),
             static_cast<long long>(kMaxFramePixels), consequence);
    return false;
}

}  // namespace alad
