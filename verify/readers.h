// What the harness's own callers need from the readers beyond their public results.
#ifndef ALAD_VERIFY_READERS_H
#define ALAD_VERIFY_READERS_H

#include <cstdint>
#include <string>

#include <opencv2/core.hpp>

namespace alad {

// 8K UHD: large enough for any panel, small enough that a wrong or hostile size in a register file
// is refused before memory is committed to it.
constexpr int64_t kMaxPicturePixels = int64_t{7680} * 4320;

// Each side at least 1 and at most kMaxPicturePixels pixels in all.
bool IsUsablePictureSize(int width, int height);
// The same, reporting a size that is not usable as "<who>: '<path>': frame size WxH is not usable
// (...)" on standard error.
bool UsablePictureSize(const char* who, const std::string& path, int width, int height);

enum class PixelFileRead { kRead, kBadSize, kCannotOpen, kCountMismatch };

// parseImageFromFileCmodel with the reason of a failure.
PixelFileRead ReadPackedPixelFile(const std::string& path, int width, int height, cv::Mat& out);

}  // namespace alad

#endif  // ALAD_VERIFY_READERS_H
