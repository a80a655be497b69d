// What the harness's own callers need from the readers beyond their public results.
#ifndef ALAD_VERIFY_READERS_H
#define ALAD_VERIFY_READERS_H

#include <cstdint>
#include <string>

#include <opencv2/core.hpp>

namespace alad {

// Each side at least 1 and within the engine's frame bound (common/frame_size.h): a wrong or
// hostile size in a register file is refused before memory is committed to it.
bool IsUsablePictureSize(int width, int height);
// The same, reporting a size that is not usable as "<who>: '<path>': frame size WxH is not usable
// (...)" on standard error.
bool UsablePictureSize(const char* who, const std::string& path, int width, int height);

// kTooShort: the file has fewer bytes than the frame's pixels need (one line each), so nothing is
// allocated or read.
enum class PixelFileRead { kRead, kBadSize, kCannotOpen, kTooShort, kCountMismatch };

// parseImageFromFileCmodel with the reason of a failure.
PixelFileRead ReadPackedPixelFile(const std::string& path, int width, int height, cv::Mat& out);

}  // namespace alad

#endif  // ALAD_VERIFY_READERS_H
