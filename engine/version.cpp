#include "alad/alad_version.h"

namespace kelvo {

const char* ALADVersion() { return ALAD_VERSION_STRING; }

}  // namespace kelvo
