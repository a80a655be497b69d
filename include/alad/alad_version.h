// Version of the ALAD engine library.
#ifndef ALAD_ALAD_VERSION_H
#define ALAD_ALAD_VERSION_H

#include "alad/alad_export.h"

namespace kelvo {

// The library's version, "major.minor.patch".
ALAD_EXPORT const char* ALADVersion();

}  // namespace kelvo

#endif  // ALAD_ALAD_VERSION_H
