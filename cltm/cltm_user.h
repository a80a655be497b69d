// The CLTM user record: the engine's user parameters after the manager's conversion
// (block sizes rounded up to 64, 128 or 256, curve selection and strength capped).
#ifndef ALAD_CLTM_CLTM_USER_H
#define ALAD_CLTM_CLTM_USER_H

#include <cstdint>

namespace kelvo {

struct alad_cltm_user {
    uint32_t blk_width = 256;
    uint32_t blk_height = 256;
    int32_t curve_id = 1;
    int32_t strength = 8;
    uint8_t filter_flag = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t tm_mode = 0;
};

}  // namespace kelvo

#endif  // ALAD_CLTM_CLTM_USER_H
