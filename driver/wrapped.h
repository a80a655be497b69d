// How the driver's and the verification front end's wrappers call the engine: they return 0
// whatever happens, as those callers expect, and keep the engine's own status for
// GetLastStatusForDriver. Nothing thrown inside ever reaches the caller.
#ifndef ALAD_DRIVER_WRAPPED_H
#define ALAD_DRIVER_WRAPPED_H

#include <cstdint>
#include <exception>

#include "common/log.h"

namespace alad {

// The status of the last engine call a wrapper made: 0, or -1 when it did not do what was asked.
void RecordWrapperStatus(int32_t status);
int32_t LastWrapperStatus();

// Runs a body and returns its result; anything thrown becomes a console line and the result
// `failed`.
template <typename Body>
int32_t Guarded(const char* name, int32_t failed, Body&& body) {
    try {
        return body();
    } catch (const std::exception& e) {
        LogError("%s failed: %s", name, e.what());
    } catch (...) {
        LogError("%s failed", name);
    }
    return failed;
}

// The same for a body that returns the engine's status (-1 when something was thrown), which is
// recorded and returned.
template <typename Body>
int32_t Wrapped(const char* name, Body&& body) {
    const int32_t status = Guarded(name, -1, body);
    RecordWrapperStatus(status);
    return status;
}

// False, with a console line, for a missing record.
inline bool Present(const void* record, const char* name) {
    if (!record) LogError("%s: no record given (null pointer); nothing done", name);
    return record != nullptr;
}

}  // namespace alad

#endif  // ALAD_DRIVER_WRAPPED_H
