// The 40 ambient-light levels a display driver works with, and the AGTM table of each.
//
// A convenience for drivers: the table of a level is fetched through the driver's own entry
// points, so that it is exactly what a driver running at that level gets.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "alad/alad_driver.h"
#include "common/log.h"

extern "C" {

const int32_t agtmLuxTable[ALAD_AGTM_LEVELS] = {
    300,  340,  380,  420,  460,  520,  580,  640,  700,   760,   820,   900,   980,   1060,
    1140, 1220, 1320, 1420, 1520, 1660, 1840, 2240, 2520,  2880,  3320,  3700,  4260,  4900,
    5560, 6500, 7900, 9600, 11600, 14300, 17300, 21200, 26000, 31700, 39500, 49000};

int getAGTMLevel(int lux) {
    alad::LogLine("getArrayLen(agtmLuxTable) = %d", ALAD_AGTM_LEVELS);
    if (lux < 301) return 0;
    if (lux > 48999) return ALAD_AGTM_LEVELS - 1;
    const int32_t* above = std::upper_bound(agtmLuxTable, agtmLuxTable + ALAD_AGTM_LEVELS, lux);
    const int i = static_cast<int>(above - agtmLuxTable);
    // Half-way between two levels goes to the lower one.
    return std::abs(lux - agtmLuxTable[i - 1]) > std::abs(agtmLuxTable[i] - lux) ? i : i - 1;
}

int getAGTMCurveParams(int level, void* lut) {
    ad_user_t_driver_ user;
    alad_display_model_driver_ display;
    ad_user_t_init_driver_(&user);
    alad_display_model_init_driver_(&display);
    alad_view_condition_driver_ view = {260.0f, 3000.0f};
    InitEngineALADforDriver(&user, &display, &view);

    level = std::clamp(level, 0, ALAD_AGTM_LEVELS - 1);
    view.blackLevelSrc = 300.0f;
    view.blackLevelDst = static_cast<float>(agtmLuxTable[level]);
    UpdateViewConditionParameterForDriver(&view);

    int32_t table[ALAD_AGTM_LUT_SIZE] = {};
    int32_t curve[ALAD_HIST_ADJUST_CURVE_SIZE] = {};
    alad_registrator_driver regs;
    std::memset(&regs, 0, sizeof(regs));
    regs.reg_agtm = table;
    regs.reg_hist = curve;
    ALADRegistratorsInfoForDriver(&regs);
    if (lut) std::memcpy(lut, table, sizeof(table));
    return 0;
}

}  // extern "C"
