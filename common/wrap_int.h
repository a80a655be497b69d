// 32-bit two's complement arithmetic as the hardware does it, without signed-overflow UB.
//
// The hardware model wraps at 32 bits; C++ makes signed overflow undefined. These helpers compute
// in uint32_t and convert back (modulo 2^32). Right shifts of negative values are arithmetic with
// the compilers this project supports (GCC and Clang define it so).
#ifndef ALAD_COMMON_WRAP_INT_H
#define ALAD_COMMON_WRAP_INT_H

#include <cstdint>

namespace alad {

inline int32_t WrapAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

inline int32_t WrapSub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

inline int32_t WrapMul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// Truncating division that cannot trap: INT32_MIN / -1 wraps to INT32_MIN as the hardware would.
inline int32_t WrapDiv(int32_t a, int32_t b) {
    if (b == -1) return WrapSub(0, a);
    return a / b;
}

// Converts a double to int32 by truncation toward zero, saturating where C++ would be undefined
// (NaN becomes 0).
inline int32_t TruncToInt32(double v) {
    if (!(v == v)) return 0;
    if (v >= 2147483647.0) return INT32_MAX;
    if (v <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(v);
}

}  // namespace alad

#endif  // ALAD_COMMON_WRAP_INT_H
