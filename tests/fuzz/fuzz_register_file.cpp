// The register file reader on any file: it returns, or throws one of its two documented
// exceptions, and writes only inside the two tables. The front end's form never throws.
#include <cstdint>
#include <vector>

#include "alad/alad_interface.h"
#include "alad/alad_verify.h"
#include "tests/fuzz/fuzz_util.h"

ALAD_FUZZ_QUIET_ENGINE_AT_START

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = alad_fuzz::WriteScratch("regs.txt", data, size);

    std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE, 7);
    std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE, 7);
    kelvo::alad_verification_registrator_ regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    try {
        ALAD_FUZZ_CHECK(ReadRegisterFile(path.c_str(), regs) == 0);
    } catch (const RegisterFileError& e) {
        ALAD_FUZZ_CHECK(!e.message().empty());
    }

    // The same file without tables: the entries are skipped, nothing is written anywhere.
    kelvo::alad_verification_registrator_ bare;
    try {
        parseRegisterFromFile(path.c_str(), bare);
    } catch (const RegisterFileError&) {
    }

    std::vector<int32_t> hist(ALAD_HIST_ADJUST_CURVE_SIZE), agtm(ALAD_AGTM_LUT_SIZE);
    alad_verification_registrator_interface_ front{};
    front.reg_hist = hist.data();
    front.reg_agtm = agtm.data();
    parseRegisterFromFileInterface(path.c_str(), &front);
    return 0;
}
