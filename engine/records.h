// Conversions between the public parameter records and the engine's internal ones.
#ifndef ALAD_ENGINE_RECORDS_H
#define ALAD_ENGINE_RECORDS_H

#include "alad/alad_records.h"
#include "cltm/cltm_user.h"

namespace kelvo {

// Rounds a user block size up to a block size the hardware has: 64, 128 or 256.
// One-sided on purpose: 0 becomes 64 and anything above 128 becomes 256.
uint32_t RoundBlockSize(uint32_t size);

// The user record as the CLTM reads it. The reserved fields are dropped here.
alad_cltm_user MakeCLTMUser(const ad_user_t_& user);

}  // namespace kelvo

#endif  // ALAD_ENGINE_RECORDS_H
