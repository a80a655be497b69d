// Fixed-point numbers as the hardware holds them: a two's-complement raw integer in 32 bits,
// value = raw / 2^F, with M magnitude bits (sign excluded), so the range is +-(2^M - 1) / 2^F.
#ifndef ALAD_COMMON_FIXED_POINT_H
#define ALAD_COMMON_FIXED_POINT_H

#include <cstdint>

namespace alad {

template <int M, int F>
class FixedPoint {
    static_assert(M > F && M < 31 && F >= 0, "magnitude bits must hold the fraction and fit 31 bits");

public:
    static constexpr int kMagnitudeBits = M;
    static constexpr int kFractionBits = F;
    static constexpr int32_t kMaxRaw = (int32_t{1} << M) - 1;
    static constexpr double kScale = static_cast<double>(int64_t{1} << F);
    static constexpr double kMax = kMaxRaw / kScale;

    constexpr FixedPoint() = default;

    // Truncates toward zero (not rounded); saturates symmetrically at +-kMaxRaw, so the most
    // negative raw value never occurs; a NaN becomes 0.
    static constexpr FixedPoint FromDouble(double v) {
        if (v > kMax) return FixedPoint(kMaxRaw);
        if (v < -kMax) return FixedPoint(-kMaxRaw);
        if (!(v == v)) return FixedPoint(0);
        return FixedPoint(static_cast<int32_t>(v * kScale));
    }

    constexpr int32_t raw() const { return raw_; }

    friend constexpr bool operator==(FixedPoint a, FixedPoint b) { return a.raw_ == b.raw_; }
    friend constexpr bool operator!=(FixedPoint a, FixedPoint b) { return a.raw_ != b.raw_; }

private:
    constexpr explicit FixedPoint(int32_t raw) : raw_(raw) {}
    int32_t raw_ = 0;
};

}  // namespace alad

#endif  // ALAD_COMMON_FIXED_POINT_H
