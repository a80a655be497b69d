// alad regs: what a register file programs, as the engine and the driver will see it.
#include <cstdio>
#include <string>
#include <vector>

#include "alad/alad_driver.h"
#include "alad/alad_verify.h"
#include "cltm/cltm_params.h"
#include "pipeline/register_table.h"
#include "tools/commands.h"
#include "tools/file_checks.h"
#include "tools/json.h"
#include "tools/tool_common.h"
#include "verify/file_check.h"

namespace alad_tool {

const char kRegsHelp[] =
    "usage: alad regs [--strict] [--json] REGFILE\n"
    "\n"
    "Prints the register set a register file programs: the thirteen registers (those the file does\n"
    "not set read 0), the block counts the engine derives from the frame size and the block size\n"
    "(blocks rounded up to 32, 64, 128 or 256 pixels; the last block of a row or column may be\n"
    "partial), then the two tables: the CLTM clip curve (65 entries, 'hist' keys) and the AGTM\n"
    "table (256 entries, 'agtm' keys; 2048 is a gain of 1.0), with the index of each row's first\n"
    "entry. Table indices outside a table and numbers that do not convert are reported. Last, the\n"
    "display driver's range check of the register set.\n"
    "\n"
    "A register file is white-space separated key=value tokens, no blanks around '=':\n"
    "  tm_mode width height blk_width_b blk_height_b hist_mode curve_transition linear_adj_offset\n"
    "  linear_adj_ratio strength_mode strength_target strength_step strength_interval\n"
    "                      the registers (keys are exact; a value that is not a number gives 0)\n"
    "  hist<10 chars>NN    CLTM clip curve entry NN (00..64), e.g. hist_adj_curv_07=100\n"
    "  agtm<6 chars>NNN    AGTM table entry NNN (000..255), e.g. agtm_entry123=4000\n"
    "Other tokens are ignored; a key given twice keeps its last value.\n"
    "\n"
    "The file is first checked as 'alad check' does; its problems are shown as warnings on standard\n"
    "error.\n"
    "\n"
    "  --strict    refuse a file with errors instead\n"
    "  --json      print the same as one JSON object: register_file, registers, block_counts,\n"
    "              hist, agtm, range_check (the driver's lines), checks (the checker's problems)\n"
    "\n"
    "Exit status 0 when the driver's range check accepts the register set, 1 when it refuses a\n"
    "register or the file cannot be read (or, with --strict, has errors), 2 for a usage error.\n";

namespace {

// The driver's view of a register set: no frame size, but the block counts the engine derives.
alad_registrator_driver DriverView(const kelvo::alad_verification_registrator_& regs) {
    kelvo::alad_verification_registrator internal;
    kelvo::CopyRegisters(regs, internal);
    const uint32_t width_log2 = kelvo::_get_size_log2(static_cast<uint32_t>(regs.reg_blk_width_b));
    const uint32_t height_log2 = kelvo::_get_size_log2(static_cast<uint32_t>(regs.reg_blk_height_b));
    internal.reg_blk_h_num =
        static_cast<int32_t>(kelvo::ad_get_blk_num(static_cast<uint32_t>(regs.height), height_log2));
    internal.reg_blk_w_num = static_cast<int32_t>(kelvo::ad_get_blk_num(static_cast<uint32_t>(regs.width), width_log2));
    alad_registrator_driver driver{};
    kelvo::CopyRegisters(internal, driver);
    driver.reg_hist = reinterpret_cast<int32_t*>(regs.hist_adjust_curve);
    driver.reg_agtm = regs.agtm;
    return driver;
}

template <typename T>
void PrintTable(const char* title, const T* values, int count, int per_row, int index_digits) {
    std::printf("%s\n", title);
    for (int i = 0; i < count; i += per_row) {
        std::printf("  %0*d:", index_digits, i);
        for (int j = i; j < count && j < i + per_row; ++j) std::printf(" %d", static_cast<int32_t>(values[j]));
        std::printf("\n");
    }
}

}  // namespace

namespace {

void JsonRegs(const std::string& path, const kelvo::alad_verification_registrator_& regs,
              const alad_registrator_driver& driver, const std::vector<std::string>& refused,
              const alad::CheckReport& report) {
    JsonWriter json;
    json.BeginObject().Member("register_file", path).Key("registers").BeginObject();
    for (const kelvo::RegisterInfo& reg : kelvo::kRegisters) {
        if (reg.public_form) json.Member(reg.name, regs.*reg.public_form);
    }
    json.EndObject();
    json.Key("block_counts").BeginObject();
    json.Member("blk_h_num", driver.reg_blk_h_num).Member("blk_w_num", driver.reg_blk_w_num).EndObject();
    json.Member("hist", std::vector<long long>(regs.hist_adjust_curve, regs.hist_adjust_curve + ALAD_HIST_ADJUST_CURVE_SIZE));
    json.Member("agtm", std::vector<int>(regs.agtm, regs.agtm + ALAD_AGTM_LUT_SIZE));
    json.Member("range_check", refused);
    json.Key("checks").BeginArray();
    for (const alad::FileProblem& p : report.problems) {
        json.BeginObject().Member("file", p.file).Member("line", static_cast<long long>(p.line));
        json.Member("column", static_cast<long long>(p.column));
        json.Member("severity", p.severity == alad::Severity::kError ? "error" : "warning");
        json.Member("message", p.message).EndObject();
    }
    json.EndArray();
    json.Member("check_errors", static_cast<long long>(report.errors));
    json.Member("check_warnings", static_cast<long long>(report.warnings)).EndObject();
    std::fputs(json.Text().c_str(), stdout);
}

}  // namespace

int RunRegs(int argc, char** argv) {
    const Options options(argc, argv, {}, {"strict", "json"});
    const std::vector<std::string>& args = options.Positional();
    if (args.size() != 1) throw UsageError("needs one REGFILE");
    const std::string& path = args[0];
    const bool strict = options.Has("strict"), as_json = options.Has("json");

    const alad::CheckReport report = alad::CheckRegisterFile(path);
    if (!as_json) PrintProblems(report, !strict, stderr);
    if (strict && report.errors > 0) {
        throw RunError("'" + path + "' has " + std::to_string(report.errors) + " error" +
                       (report.errors == 1 ? "" : "s") + " (--strict)");
    }

    std::vector<uint32_t> curve(ALAD_HIST_ADJUST_CURVE_SIZE);
    std::vector<int32_t> table(ALAD_AGTM_LUT_SIZE);
    kelvo::alad_verification_registrator_ regs;
    regs.hist_adjust_curve = curve.data();
    regs.agtm = table.data();
    try {
        EngineLines quiet(as_json ? EngineLineFilter::kNone : EngineLineFilter::kProblems);
        if (ReadRegisterFile(path.c_str(), regs) != 0) throw RunError("cannot read register file '" + path + "'");
    } catch (const RegisterFileError& e) {
        throw RunError(e.message());
    }
    const alad_registrator_driver driver = DriverView(regs);
    // The driver's range check, as its lines say it.
    std::vector<std::string> refused;
    for (const kelvo::RegisterInfo& reg : kelvo::kRegisters) {
        if (reg.driver && !kelvo::RegisterInRange(reg, driver.*reg.driver)) refused.push_back(reg.message);
    }

    if (as_json) {
        JsonRegs(path, regs, driver, refused, report);
        return refused.empty() ? 0 : 1;
    }
    std::printf("register file %s\n", path.c_str());
    for (const kelvo::RegisterInfo& reg : kelvo::kRegisters) {
        if (reg.public_form) std::printf("  %-18s %d\n", reg.name, regs.*reg.public_form);
    }
    std::printf("  %-18s %d  (height in blocks of %u)\n", "blk_h_num", driver.reg_blk_h_num,
                1u << kelvo::_get_size_log2(static_cast<uint32_t>(regs.reg_blk_height_b)));
    std::printf("  %-18s %d  (width in blocks of %u)\n", "blk_w_num", driver.reg_blk_w_num,
                1u << kelvo::_get_size_log2(static_cast<uint32_t>(regs.reg_blk_width_b)));
    PrintTable("hist (CLTM clip curve, 65 entries):", regs.hist_adjust_curve, ALAD_HIST_ADJUST_CURVE_SIZE, 13, 2);
    PrintTable("agtm (AGTM table, 256 entries):", regs.agtm, ALAD_AGTM_LUT_SIZE, 16, 3);
    std::printf("driver range check (one line per register out of range, none when all are in range):\n");
    std::fflush(stdout);
    {
        EngineLines lines(EngineLineFilter::kAll);
        checkAladRegisterParameterValidity(&driver);
    }
    if (!refused.empty()) {
        std::fprintf(stderr, "alad regs: the driver's range check refuses %zu register%s\n", refused.size(),
                     refused.size() == 1 ? "" : "s");
        return 1;
    }
    return 0;
}

}  // namespace alad_tool
