#include "engine/records.h"

namespace kelvo {

uint32_t RoundBlockSize(uint32_t size) {
    if (size <= 64) return 64;
    if (size <= 128) return 128;
    return 256;
}

alad_cltm_user MakeCLTMUser(const ad_user_t_& user) {
    alad_cltm_user cltm;
    cltm.blk_width = RoundBlockSize(user.blk_width);
    cltm.blk_height = RoundBlockSize(user.blk_height);
    cltm.curve_id = user.curve_id < 2 ? user.curve_id : 2;  // signed: negative values pass
    cltm.strength = user.strength < 16 ? user.strength : 16;
    cltm.filter_flag = user.filter_flag;
    cltm.width = user.width;
    cltm.height = user.height;
    cltm.tm_mode = user.tm_mode;
    return cltm;
}

}  // namespace kelvo
