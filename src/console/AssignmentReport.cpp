#include "console/AssignmentReport.h"

#include <cstdio>
#include <memory>

#include "console/PhaseLog.h"
#include "io/TextLines.h"

namespace kiv {
namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

class AssignmentReport : public AssignmentListener {
  public:
    AssignmentReport(Console& console, const InputFile& file)
        : console_(console),
          name_(file.assignment_file.c_str()),
          debug_(console.DebugIsOn(DebugPart::Input)) {}

    void Malformed(const char* row, bool first) override {
        console_.Both("ASN LINE FORMAT INCORRECT IN [%s]\n  %s\n", name_, row);
        if (first) {
            console_.Both(
                "PROPER FORMAT:  BT J'Ka' Kc'  J\"Ka\"Kc\"  Expt Frq  Expt Uncertainty\n");
        }
    }
    void BeyondLimits(const char* row) override {
        console_.Both("QUANTUM NUMBERS OF LINE EXCEED MAX VALUES IN [%s]\n  %s\n", name_, row);
    }
    void Counted(const char* row, const SetCount& so_far) override { PutRow('I', row, so_far); }
    void SetCounted(const SetCount& count) override {
        console_.Log("ASSIGNMENT FILENAME              = %s\n", name_);
        console_.Log("NUMBER OF ASSIGNMENTS READ       = %d\n", count.rows);
        console_.Log("REJECTED ASN Ka:Kc > Ka:Kc MAX   = %d\n", count.rows - count.accepted);
    }
    void NoneAccepted() override {
        console_.LogFail("ASSIGNMENT FILE [%s] EXISTS BUT ZERO LINES ACCEPTED!\n", name_);
    }
    void EarlyEnd() override { console_.Both("PREMATURE EOF IN ASSIGNMENT FILE [%s]\n", name_); }

    void NotSeparated() override {
        console_.Both("ASSIGNED LINE SETS MUST BE SEPARATED BY // IN ASN FILE [%s]\n", name_);
    }
    void Stored(const char* row, const SetCount& so_far) override { PutRow('F', row, so_far); }
    void SetStored() override { PutDashes(console_); }
    void NoneStored() override {
        console_.Log("ASSIGNMENT FILE [%s] EXISTS BUT NO ASSIGNED LINES ACCEPTED\n", name_);
    }

    void WithoutUncertainty(std::int32_t lines) override {
        console_.Both(
            "ASN FILE [%s] CONTAINS [%d] LINES WITH ZERO UNCERTAINTY - ASSIGNED UNCERTAINTY "
            "VALUE=[%.1e]\n",
            name_, lines, kNoWeight);
    }
    void MadeUniform() override {
        console_.Both(
            "NORM STAT FALSE FOR ASN FILE [%s] BUT NO UNCERTINTIES ASSIGNED - SET NORM STAT "
            "TRUE\n",
            name_);
    }
    void UncertaintiesIgnored() override {
        console_.Both("ASN UNCERTAINTIES IGNORED - PRM STD DEV BASED ON OMC\n");
    }

  private:
    void PutRow(char pass, const char* row, const SetCount& so_far) {
        if (!debug_) return;
        console_.Log("%c [%d][%d] %s", pass, so_far.rows, so_far.accepted, row);
    }

    Console& console_;
    const char* name_;
    const bool debug_;
};

}  // namespace

Result<AssignmentReading> ReadAssignmentsOf(Console& console, const InputFile& file,
                                            const Memory& memory) {
    PutDashes(console);
    console.Log("                              ASSIGNMENT INFORMATION\n");
    PutDashes(console);
    const std::unique_ptr<std::FILE, CloseFile> stream(
        std::fopen(file.assignment_file.c_str(), "rb"));
    AssignmentReading none;
    none.uniform = file.uniform;
    if (!stream) return none;
    StreamSource source(stream.get());
    TextLines lines(source);
    AssignmentReport report(console, file);
    const double scale = file.old_format != 0 ? file.energy_scale : 1.0;
    return ReadAssignments(lines, {LimitsOf(file), scale, file.uniform}, memory, report);
}

}  // namespace kiv
