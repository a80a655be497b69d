// The checker's reports as the tool shows them, shared by check, verify, regs and vector.
#ifndef ALAD_TOOLS_FILE_CHECKS_H
#define ALAD_TOOLS_FILE_CHECKS_H

#include <cstdio>
#include <string>

#include "verify/file_check.h"

namespace alad_tool {

// One line per problem ("FILE:LINE:COLUMN: error: message"), errors shown as warnings when
// `as_warnings`, and a last line for those the report did not keep.
void PrintProblems(const alad::CheckReport& report, bool as_warnings, std::FILE* stream);

// "WxH" of a frame, both sides usable; a usage error naming `option` otherwise.
void ParseFrameSize(const std::string& text, const std::string& option, int* width, int* height);

}  // namespace alad_tool

#endif  // ALAD_TOOLS_FILE_CHECKS_H
