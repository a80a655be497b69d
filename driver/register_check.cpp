// The driver's view of the register set: read-back from the engine and the hardware range check.
#include <cstring>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "common/log.h"
#include "driver/wrapped.h"
#include "pipeline/register_table.h"

extern "C" {

int32_t checkAladRegisterParameterValidity(const alad_registrator_driver* reg) {
    if (!reg) return 0;
    // Every check runs, in register order, whatever the others found.
    for (const kelvo::RegisterInfo& info : kelvo::kRegisters) {
        if (info.driver && info.message && !kelvo::RegisterInRange(info, reg->*info.driver)) {
            alad::LogError("%s", info.message);
        }
    }
    return 0;
}

int32_t ALADRegistratorsInfoForDriver(alad_registrator_driver* reg) {
    if (!reg) return 0;
    uint32_t curve[ALAD_HIST_ADJUST_CURVE_SIZE] = {};
    int32_t table[ALAD_AGTM_LUT_SIZE] = {};
    kelvo::alad_verification_registrator internal;
    internal.hist_adjust_curve = curve;
    internal.agtm = table;
    // Without an engine there is nothing to read: the driver's record stays as it was.
    const int32_t status = kelvo::ALADRegistratorsInfoForDriverDraftEngine(internal);
    alad::RecordWrapperStatus(status);
    if (status != 0) return 0;

    kelvo::CopyRegisters(internal, *reg);  // the engine's frame size has no place in the driver's record
    if (reg->reg_agtm) std::memcpy(reg->reg_agtm, table, sizeof(table));
    if (reg->reg_hist) std::memcpy(reg->reg_hist, curve, sizeof(curve));
    checkAladRegisterParameterValidity(reg);
    return 0;
}

}  // extern "C"
