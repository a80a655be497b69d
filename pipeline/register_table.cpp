#include "pipeline/register_table.h"

namespace kelvo {

namespace {

using Internal = alad_verification_registrator;
using Public = alad_verification_registrator_;
using Driver = alad_registrator_driver;
using FrontEnd = alad_verification_registrator_interface_;
constexpr RegisterRange kNone = RegisterRange::kNone;
constexpr RegisterRange kInterval = RegisterRange::kInterval;
constexpr RegisterRange kBlockSize = RegisterRange::kBlockSize;
constexpr std::ptrdiff_t kMappedByThePipeline = -1;

}  // namespace

// name, internal, public, driver, front end, block field, output only, range, message
const RegisterInfo kRegisters[kRegisterCount] = {
    {"tm_mode", &Internal::reg_tm_mode, &Public::reg_tm_mode, &Driver::reg_tm_mode, &FrontEnd::tm_mode,
     kMappedByThePipeline, false, kInterval, 1, 6, "error reg_tm_mode out of range [1~6] !"},
    {"width", &Internal::width, &Public::width, nullptr, &FrontEnd::width, kMappedByThePipeline, false, kNone, 0, 0,
     nullptr},
    {"height", &Internal::height, &Public::height, nullptr, &FrontEnd::height, kMappedByThePipeline, false, kNone, 0,
     0, nullptr},
    {"blk_width_b", &Internal::reg_blk_width_b, &Public::reg_blk_width_b, &Driver::reg_blk_width_b,
     &FrontEnd::blk_width_b, kMappedByThePipeline, false, kBlockSize, 64, 256,
     "error reg_blk_width_b should be 64 or 128 or 256 !"},
    {"blk_height_b", &Internal::reg_blk_height_b, &Public::reg_blk_height_b, &Driver::reg_blk_height_b,
     &FrontEnd::blk_height_b, kMappedByThePipeline, false, kBlockSize, 64, 256,
     "error reg_blk_height_b should be 64 or 128 or 256 !"},
    {"blk_h_num", &Internal::reg_blk_h_num, nullptr, &Driver::reg_blk_h_num, nullptr, offsetof(ad_param_t_, blk_h_num),
     true, kInterval, 1, 10, "error reg_blk_h_num out of range [1~10] !"},
    {"blk_w_num", &Internal::reg_blk_w_num, nullptr, &Driver::reg_blk_w_num, nullptr, offsetof(ad_param_t_, blk_w_num),
     true, kInterval, 1, 5, "error reg_blk_w_num out of range [1~5] !"},
    {"hist_mode", &Internal::reg_hist_mode, &Public::reg_hist_mode, &Driver::reg_hist_mode, &FrontEnd::hist_mode,
     offsetof(ad_param_t_, hist_mode), false, kInterval, 0, 1, "error reg_hist_mode should be 0 or 1 !"},
    {"curve_transition", &Internal::reg_curve_transition, &Public::reg_curve_transition,
     &Driver::reg_curve_transition, &FrontEnd::curve_transition, offsetof(ad_param_t_, curve_transition), false,
     kInterval, 0, 8191, "error reg_curve_transition out of range [0~8191] !"},
    {"linear_adj_offset", &Internal::reg_linear_adj_offset, &Public::reg_linear_adj_offset,
     &Driver::reg_linear_adj_offset, &FrontEnd::linear_adj_offset, offsetof(ad_param_t_, linear_adj_offset), false,
     kInterval, -1023, 1023, "error reg_linear_adj_offset out of range [-1023~1023] !"},
    {"linear_adj_ratio", &Internal::reg_linear_adj_ratio, &Public::reg_linear_adj_ratio,
     &Driver::reg_linear_adj_ratio, &FrontEnd::linear_adj_ratio, offsetof(ad_param_t_, linear_adj_ratio), false,
     kInterval, -1023, 1023, "error reg_linear_adj_ratio out of range [-1023~1023] !"},
    {"strength_mode", &Internal::reg_strength_mode, &Public::reg_strength_mode, &Driver::reg_strength_mode,
     &FrontEnd::strength_mode, offsetof(ad_param_t_, strength_mode), false, kInterval, 0, 1,
     "error reg_strength_mode should be 0 or 1 !"},
    {"strength_target", &Internal::reg_strength_target, &Public::reg_strength_target, &Driver::reg_strength_target,
     &FrontEnd::strength_target, offsetof(ad_param_t_, strength_target), false, kInterval, 0, 255,
     "error reg_strength_target out of range [0~255] !"},
    {"strength_step", &Internal::reg_strength_step, &Public::reg_strength_step, &Driver::reg_strength_step,
     &FrontEnd::strength_step, offsetof(ad_param_t_, strength_step), false, kInterval, 1, 255,
     "error reg_strength_step out of range [1~255] !"},
    {"strength_interval", &Internal::reg_strength_interval, &Public::reg_strength_interval,
     &Driver::reg_strength_interval, &FrontEnd::strength_interval, offsetof(ad_param_t_, strength_interval), false,
     kInterval, 0, 255, "error reg_strength_interval out of range [0~255] !"},
};

bool RegisterInRange(const RegisterInfo& reg, int32_t value) {
    switch (reg.range) {
        case RegisterRange::kInterval:
            return reg.lo <= value && value <= reg.hi;
        case RegisterRange::kBlockSize:
            return value == 64 || value == 128 || value == 256;
        case RegisterRange::kNone:
            break;
    }
    return true;
}

uint32_t& BlockWord(ad_param_t_& block, const RegisterInfo& reg) {
    return *reinterpret_cast<uint32_t*>(reinterpret_cast<char*>(&block) + reg.block_offset);
}

uint32_t BlockWord(const ad_param_t_& block, const RegisterInfo& reg) {
    return *reinterpret_cast<const uint32_t*>(reinterpret_cast<const char*>(&block) + reg.block_offset);
}

void CopyRegisters(const alad_verification_registrator_& from, alad_verification_registrator& to) {
    for (const RegisterInfo& reg : kRegisters) {
        if (reg.public_form) to.*reg.internal = from.*reg.public_form;
    }
}

void CopyRegisters(const alad_verification_registrator& from, alad_verification_registrator_& to) {
    for (const RegisterInfo& reg : kRegisters) {
        if (reg.public_form) to.*reg.public_form = from.*reg.internal;
    }
}

void CopyRegisters(const alad_verification_registrator& from, alad_registrator_driver& to) {
    for (const RegisterInfo& reg : kRegisters) {
        if (reg.driver) to.*reg.driver = from.*reg.internal;
    }
}

void CopyRegisters(const alad_verification_registrator_interface_& from, alad_verification_registrator_& to) {
    for (const RegisterInfo& reg : kRegisters) {
        if (reg.front_end) to.*reg.public_form = from.*reg.front_end;
    }
}

void CopyRegisters(const alad_verification_registrator_& from, alad_verification_registrator_interface_& to) {
    for (const RegisterInfo& reg : kRegisters) {
        if (reg.front_end) to.*reg.front_end = from.*reg.public_form;
    }
}

}  // namespace kelvo
