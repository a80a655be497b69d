// The driver's view of the register set: read-back from the engine and the hardware range check.
#include <cstring>

#include "alad/alad_driver.h"
#include "alad/alad_engine.h"
#include "common/log.h"

extern "C" {

int32_t checkAladRegisterParameterValidity(const alad_registrator_driver* reg) {
    if (!reg) return 0;
    const auto in = [](int32_t v, int32_t lo, int32_t hi) { return lo <= v && v <= hi; };
    const auto block_size = [](int32_t v) { return v == 64 || v == 128 || v == 256; };
    // Every check runs, in register order, whatever the others found.
    const struct {
        bool ok;
        const char* message;
    } checks[] = {
        {in(reg->reg_tm_mode, 1, 6), "error reg_tm_mode out of range [1~6] !"},
        {block_size(reg->reg_blk_width_b), "error reg_blk_width_b should be 64 or 128 or 256 !"},
        {block_size(reg->reg_blk_height_b), "error reg_blk_height_b should be 64 or 128 or 256 !"},
        {in(reg->reg_blk_h_num, 1, 10), "error reg_blk_h_num out of range [1~10] !"},
        {in(reg->reg_blk_w_num, 1, 5), "error reg_blk_w_num out of range [1~5] !"},
        {in(reg->reg_hist_mode, 0, 1), "error reg_hist_mode should be 0 or 1 !"},
        {in(reg->reg_curve_transition, 0, 8191), "error reg_curve_transition out of range [0~8191] !"},
        {in(reg->reg_linear_adj_offset, -1023, 1023), "error reg_linear_adj_offset out of range [-1023~1023] !"},
        {in(reg->reg_linear_adj_ratio, -1023, 1023), "error reg_linear_adj_ratio out of range [-1023~1023] !"},
        {in(reg->reg_strength_mode, 0, 1), "error reg_strength_mode should be 0 or 1 !"},
        {in(reg->reg_strength_target, 0, 255), "error reg_strength_target out of range [0~255] !"},
        {in(reg->reg_strength_step, 1, 255), "error reg_strength_step out of range [1~255] !"},
        {in(reg->reg_strength_interval, 0, 255), "error reg_strength_interval out of range [0~255] !"},
    };
    for (const auto& check : checks) {
        if (!check.ok) alad::LogError("%s", check.message);
    }
    return 0;
}

int32_t ALADRegistratorsInfoForDriver(alad_registrator_driver* reg) {
    if (!reg) return 0;
    uint32_t curve[65] = {};
    int32_t table[256] = {};
    kelvo::alad_verification_registrator internal;
    internal.hist_adjust_curve = curve;
    internal.agtm = table;
    // Without an engine there is nothing to read: the driver's record stays as it was.
    if (kelvo::ALADRegistratorsInfoForDriverDraftEngine(internal) != 0) return 0;

    // The engine's frame width and height have no place in the driver's record.
    reg->reg_tm_mode = internal.reg_tm_mode;
    reg->reg_blk_width_b = internal.reg_blk_width_b;
    reg->reg_blk_height_b = internal.reg_blk_height_b;
    reg->reg_blk_h_num = internal.reg_blk_h_num;
    reg->reg_blk_w_num = internal.reg_blk_w_num;
    reg->reg_hist_mode = internal.reg_hist_mode;
    reg->reg_curve_transition = internal.reg_curve_transition;
    reg->reg_linear_adj_offset = internal.reg_linear_adj_offset;
    reg->reg_linear_adj_ratio = internal.reg_linear_adj_ratio;
    reg->reg_strength_mode = internal.reg_strength_mode;
    reg->reg_strength_target = internal.reg_strength_target;
    reg->reg_strength_step = internal.reg_strength_step;
    reg->reg_strength_interval = internal.reg_strength_interval;
    if (reg->reg_agtm) std::memcpy(reg->reg_agtm, table, sizeof(table));
    if (reg->reg_hist) std::memcpy(reg->reg_hist, curve, sizeof(curve));
    checkAladRegisterParameterValidity(reg);
    return 0;
}

}  // extern "C"
