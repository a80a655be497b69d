// ContentLTM from the engine's public user record: converted exactly as the manager converts it,
// so an offline run sees the settings a frame through the engine would.
#include "alad/alad_offline.h"
#include "engine/records.h"

namespace kelvo {

ContentLTM::ContentLTM(const ad_user_t_& user, bool video) : ContentLTM(MakeCLTMUser(user), video) {}

}  // namespace kelvo
