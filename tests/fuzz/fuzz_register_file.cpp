// The register file reader on any file: it returns, or throws one of its two documented
// exceptions, and writes only inside the two tables. The front end's form never throws. The
// strict checker on the same text: problems in file order within the text, and a file it passes
// is read without an exception, giving the frame size and order the checker saw.
#include <cstdint>
#include <string_view>
#include <vector>

#include "alad/alad_interface.h"
#include "alad/alad_verify.h"
#include "tests/fuzz/fuzz_util.h"
#include "verify/file_check.h"

ALAD_FUZZ_QUIET_ENGINE_AT_START

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string path = alad_fuzz::WriteScratch("regs.txt", data, size);

    alad_fuzz::EngineRegisters<> read;
    kelvo::alad_verification_registrator_& regs = read.regs;
    alad::RegisterFileFacts facts;
    const alad::CheckReport report =
        alad::CheckRegisterText("regs.txt", std::string_view(reinterpret_cast<const char*>(data), size), &facts);
    alad_fuzz::CheckReportShape(report, data, size);
    try {
        ALAD_FUZZ_CHECK(ReadRegisterFile(path.c_str(), regs) == 0);
        if (report.errors == 0) {
            if (facts.width_clean) ALAD_FUZZ_CHECK(regs.width == facts.width);
            if (facts.height_clean) ALAD_FUZZ_CHECK(regs.height == facts.height);
            if (facts.tm_mode_clean) ALAD_FUZZ_CHECK(regs.reg_tm_mode == facts.tm_mode);
        }
    } catch (const RegisterFileError& e) {
        ALAD_FUZZ_CHECK(!e.message().empty());
        ALAD_FUZZ_CHECK(report.errors > 0);
    }

    // The same file without tables: the entries are skipped, nothing is written anywhere.
    kelvo::alad_verification_registrator_ bare;
    try {
        parseRegisterFromFile(path.c_str(), bare);
    } catch (const RegisterFileError&) {
    }

    alad_fuzz::FrontEndRegisters front;
    parseRegisterFromFileInterface(path.c_str(), &front.regs);
    return 0;
}
