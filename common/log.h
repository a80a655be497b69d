// The engine's console lines. Every line the library prints goes through here: by default each is
// written to standard output (a few warnings and errors to standard error), followed by a newline
// and a flush, so that it interleaves correctly with the caller's own output; a host may install
// a sink instead and route the lines wherever it wants (or drop them).
#ifndef ALAD_COMMON_LOG_H
#define ALAD_COMMON_LOG_H

namespace alad {

// The level a sink receives with each line.
enum class LogLevel : int { kInfo = 0, kWarning = 1, kError = 2 };

// Where a line goes while no sink is installed.
enum class Console { kOut, kErr };

// Receives each line without its newline. Called on the thread that logs, one line at a time.
using LogSink = void (*)(void* user, int level, const char* line);

// Installs `sink` (with `user` passed back to it) for every line from now on; a null sink brings
// back the console.
void SetLogSink(LogSink sink, void* user);

#if defined(__GNUC__)
#define ALAD_PRINTF_FORMAT(index, first) __attribute__((format(printf, index, first)))
#else
#define ALAD_PRINTF_FORMAT(index, first)
#endif

// One line (printf format). A text that holds newlines is handed on as that many lines.
void Log(LogLevel level, Console console, const char* format, ...) ALAD_PRINTF_FORMAT(3, 4);
// The common case: an information line on standard output.
void LogLine(const char* format, ...) ALAD_PRINTF_FORMAT(1, 2);
// A warning or an error, on standard output by default (where the engine has always printed them).
void LogWarning(const char* format, ...) ALAD_PRINTF_FORMAT(1, 2);
void LogError(const char* format, ...) ALAD_PRINTF_FORMAT(1, 2);

}  // namespace alad

#endif  // ALAD_COMMON_LOG_H
