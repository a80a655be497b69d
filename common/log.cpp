#include "common/log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

namespace alad {

namespace {

// The sink and the console share one lock, so that lines from several threads never mix; it is
// recursive so that a sink may call back into the engine.
std::recursive_mutex& SinkLock() {
    static std::recursive_mutex lock;
    return lock;
}
LogSink gSink = nullptr;
void* gSinkUser = nullptr;

std::string Format(const char* format, va_list args) {
    char small[512];
    va_list copy;
    va_copy(copy, args);
    const int length = std::vsnprintf(small, sizeof(small), format, copy);
    va_end(copy);
    if (length < 0) return format;  // an encoding error: the format itself is the best we have
    if (static_cast<size_t>(length) < sizeof(small)) return std::string(small, static_cast<size_t>(length));
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::vsnprintf(&text[0], text.size(), format, args);
    text.resize(static_cast<size_t>(length));
    return text;
}

void Emit(LogLevel level, Console console, const std::string& text) {
    std::lock_guard<std::recursive_mutex> hold(SinkLock());
    size_t begin = 0;
    do {
        const size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        if (gSink) {
            gSink(gSinkUser, static_cast<int>(level), line.c_str());
        } else {
            FILE* stream = console == Console::kErr ? stderr : stdout;
            std::fwrite(line.data(), 1, line.size(), stream);
            std::fputc('\n', stream);
            std::fflush(stream);
        }
        begin = end + 1;
    } while (begin < text.size());
}

void VLog(LogLevel level, Console console, const char* format, va_list args) {
    Emit(level, console, Format(format, args));
}

}  // namespace

void SetLogSink(LogSink sink, void* user) {
    std::lock_guard<std::recursive_mutex> hold(SinkLock());
    gSink = sink;
    gSinkUser = sink ? user : nullptr;
}

void Log(LogLevel level, Console console, const char* format, ...) {
    va_list args;
    va_start(args, format);
    VLog(level, console, format, args);
    va_end(args);
}

void LogLine(const char* format, ...) {
    va_list args;
    va_start(args, format);
    VLog(LogLevel::kInfo, Console::kOut, format, args);
    va_end(args);
}

void LogWarning(const char* format, ...) {
    va_list args;
    va_start(args, format);
    VLog(LogLevel::kWarning, Console::kOut, format, args);
    va_end(args);
}

void LogError(const char* format, ...) {
    va_list args;
    va_start(args, format);
    VLog(LogLevel::kError, Console::kOut, format, args);
    va_end(args);
}

}  // namespace alad
