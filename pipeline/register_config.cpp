// Hardware register sets: how one reconfigures the pipeline, and how the pipeline reports its
// state in the same form. This is how a verification run or a driver forces exact register values
// (a table computed elsewhere, a specific strength ramp) and reads back what the engine computed.
#include <cmath>
#include <cstring>

#include "common/log.h"
#include "pipeline/concatenate_mode.h"
#include "pipeline/register_table.h"

namespace kelvo {

int32_t ALADConcatenateMode::ConfigureVerificationRegistrators(alad_verification_registrator& regs) {
    alad::LogLine("ConfigureVerificationRegistrators() begin!");
    if (!Initialised()) {
        alad::LogLine("ConfigureVerificationRegistrators: the pipeline is not initialised; registers ignored");
        return -1;
    }
    mOrder = static_cast<uint32_t>(regs.reg_tm_mode);
    alad::LogLine("mOrder = registrators.reg_tm_mode;%u", mOrder);

    // The register table replaces the AGTM table; the scaler stays.
    if (regs.agtm) SetAGTMLUTs(regs.agtm, ALAD_AGTM_LUT_SIZE);
    ad_param_t_* block = mCLTMParam.param;
    if (regs.hist_adjust_curve) std::memcpy(block->clip_curve, regs.hist_adjust_curve, kClipCurveSize * sizeof(uint32_t));

    bool geometry_changed = static_cast<uint32_t>(regs.width) != mCLTMParam.width ||
                            static_cast<uint32_t>(regs.height) != mCLTMParam.height;
    const uint32_t width_log2 = _get_size_log2(static_cast<uint32_t>(regs.reg_blk_width_b));
    const uint32_t height_log2 = _get_size_log2(static_cast<uint32_t>(regs.reg_blk_height_b));
    if (block->blk_width_log2 != width_log2 || block->blk_height_log2 != height_log2) {
        block->blk_width_log2 = width_log2;
        block->blk_height_log2 = height_log2;
        geometry_changed = true;
    }
    mCLTMParam.width = static_cast<uint32_t>(regs.width);
    mCLTMParam.height = static_cast<uint32_t>(regs.height);

    // The CLTM controls go to the block fields of the same names.
    for (const RegisterInfo& reg : kRegisters) {
        if (reg.block_offset >= 0 && !reg.output_only) {
            BlockWord(*block, reg) = static_cast<uint32_t>(regs.*reg.internal);
        }
    }

    // Only a new frame or block geometry restarts the temporal state; curves, strengths and the
    // table take effect on the next frame without it. The block counts stay as derived from the
    // user record (they are outputs of the register set).
    if (geometry_changed) {
        const int32_t reset = ResetALADContext();
        alad::LogLine("ResetALADContext() finished!");
        if (reset != 0) return -1;
    }
    return 0;
}

int32_t ALADConcatenateMode::CopyRegistratorFromDriver(alad_verification_registrator& regs) {
    if (!Initialised()) {
        alad::LogError("CopyRegistratorFromDriver: the pipeline is not initialised");
        return -1;
    }
    const ad_param_t_* block = mCLTMParam.param;
    regs.reg_tm_mode = static_cast<int32_t>(mOrder);
    if (regs.agtm) GetAGTMLUTs(regs.agtm, ALAD_AGTM_LUT_SIZE);
    if (regs.hist_adjust_curve) std::memcpy(regs.hist_adjust_curve, block->clip_curve, kClipCurveSize * sizeof(uint32_t));
    regs.width = static_cast<int32_t>(mCLTMParam.width);
    regs.height = static_cast<int32_t>(mCLTMParam.height);
    regs.reg_blk_width_b = static_cast<int32_t>(std::pow(2.0, block->blk_width_log2));
    regs.reg_blk_height_b = static_cast<int32_t>(std::pow(2.0, block->blk_height_log2));
    // The block counts and the CLTM controls from the block fields of the same names.
    for (const RegisterInfo& reg : kRegisters) {
        if (reg.block_offset >= 0) regs.*reg.internal = static_cast<int32_t>(BlockWord(*block, reg));
    }
    return 0;
}

}  // namespace kelvo
