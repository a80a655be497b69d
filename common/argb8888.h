// The display driver's ARGB8888 frame buffers as the stages read and write them: rows top to
// bottom with no padding, each pixel's four bytes in memory order A, R, G, B. Colour bytes enter
// the engine widened to 12 bits (v * 16 + v / 16) and leave it narrowed back as OpenCV's
// convertTo to 8 bits at scale 1/16 narrows (rounded to nearest, halves to even, saturated); the
// alpha bytes are never changed.
//
// The plain functions here are the reference for every kernel that does these conversions on
// the way in or out of a stage.
#ifndef ALAD_COMMON_ARGB8888_H
#define ALAD_COMMON_ARGB8888_H

#include <cstddef>
#include <cstdint>

namespace alad {

// Byte positions within a pixel.
constexpr int kArgbAlpha = 0, kArgbRed = 1, kArgbGreen = 2, kArgbBlue = 3;
constexpr int kArgbBytes = 4;

// A frame buffer in ARGB8888, processed in place; owned by the caller.
struct ArgbFrame {
    uint8_t* data = nullptr;
    int cols = 0;
    int rows = 0;

    uint8_t* Row(int y) const { return data + static_cast<size_t>(y) * static_cast<size_t>(cols) * kArgbBytes; }
    bool Empty() const { return data == nullptr || cols <= 0 || rows <= 0; }
};

// 8 bits to 12, the top four bits repeated at the bottom: 0 -> 0, 128 -> 2056, 255 -> 4095.
inline int32_t Widen8To12(uint8_t v) { return v * 16 + static_cast<int32_t>(v * 0.0625); }

// Any engine value back to 8 bits: value / 16 rounded to the nearest integer, halves to even (as
// the processor converts a float), then saturated to 0..255. Values outside 0..4095 (which an AGTM
// table with negative gains can produce) end at 0 or 255.
uint8_t Narrow12To8(int32_t value);

// One row of `cols` ARGB pixels to 12-bit B, G, R values (3 per pixel).
void WidenArgbRow(const uint8_t* argb, int cols, int32_t* bgr);

// One row of 12-bit B, G, R values narrowed into the R, G, B bytes of `cols` ARGB pixels; their
// alpha bytes are left as they are.
void NarrowIntoArgbRow(const int32_t* bgr, int cols, uint8_t* argb);

}  // namespace alad

#endif  // ALAD_COMMON_ARGB8888_H
