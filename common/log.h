// The engine's console lines: one fixed English line on standard output, flushed at once so that
// it interleaves correctly with the caller's own output.
#ifndef ALAD_COMMON_LOG_H
#define ALAD_COMMON_LOG_H

#include <cstdarg>
#include <cstdio>

namespace alad {

#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
inline void LogLine(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

}  // namespace alad

#endif  // ALAD_COMMON_LOG_H
