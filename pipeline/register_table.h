// The hardware register set, said once: for each register its name in register files, where it
// lives in every form of the record (public, internal, the driver's, the verification front
// end's, the CLTM parameter block), and the range the hardware accepts with the driver's message
// when it is outside. Every copy between forms, the register file reader, the range check and the
// reports walk this table.
#ifndef ALAD_PIPELINE_REGISTER_TABLE_H
#define ALAD_PIPELINE_REGISTER_TABLE_H

#include <cstddef>
#include <cstdint>

#include "alad/alad_driver.h"
#include "alad/alad_interface.h"
#include "alad/alad_records.h"
#include "cltm/cltm_params.h"

namespace kelvo {

enum class RegisterRange {
    kNone,       // not checked (the frame size)
    kInterval,   // lo..hi
    kBlockSize,  // 64, 128 or 256
};

struct RegisterInfo {
    const char* name;  // the key in register files, and the name in reports
    int32_t alad_verification_registrator::*internal;
    // Null where the form has no such field: the public and front-end forms lack the block counts,
    // the driver's form lacks the frame size.
    int32_t alad_verification_registrator_::*public_form;
    int32_t alad_registrator_driver::*driver;
    int32_t alad_verification_registrator_interface_::*front_end;
    // The field of the same name in the CLTM parameter block that the register is copied to and
    // read back from, or -1 where the pipeline maps it itself (order, frame and block size).
    std::ptrdiff_t block_offset;
    // An output: read back from the block, never applied (the block counts).
    bool output_only;
    RegisterRange range;
    int32_t lo, hi;
    const char* message;  // the driver's range-check line, null where nothing is checked
};

// The fifteen registers in the order of the internal record; the driver's range check runs in
// this order too.
constexpr int kRegisterCount = 15;
extern const RegisterInfo kRegisters[kRegisterCount];

// True when `value` is inside the register's range (always for an unchecked register).
bool RegisterInRange(const RegisterInfo& reg, int32_t value);

// The register's word in a parameter block (its offset must not be -1). The block's unsigned words
// hold the registers' bits unchanged.
uint32_t& BlockWord(ad_param_t_& block, const RegisterInfo& reg);
uint32_t BlockWord(const ad_param_t_& block, const RegisterInfo& reg);

// The public form into the internal one (the block counts left as they are) and back; the tables
// are not touched.
void CopyRegisters(const alad_verification_registrator_& from, alad_verification_registrator& to);
void CopyRegisters(const alad_verification_registrator& from, alad_verification_registrator_& to);
// The internal form into the driver's (the frame size has no place there).
void CopyRegisters(const alad_verification_registrator& from, alad_registrator_driver& to);
// The front end's form to the public one and back.
void CopyRegisters(const alad_verification_registrator_interface_& from, alad_verification_registrator_& to);
void CopyRegisters(const alad_verification_registrator_& from, alad_verification_registrator_interface_& to);

}  // namespace kelvo

#endif  // ALAD_PIPELINE_REGISTER_TABLE_H
