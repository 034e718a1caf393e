// Input files of every version: the second line chooses it. The answers at the prompts of the
// oldest files come from the last byte.
#include <cmath>
#include <cstdio>
#include <string>

#include "FuzzSupport.h"
#include "console/InputReport.h"
#include "io/InputFile.h"

namespace kiv {
namespace {

int choice = 0;
bool may_convert = false;

int AnswerChar() {
    if (!may_convert) return 'n';
    return choice % 4 == 0 ? EOF : choice % 4 == 1 ? 'n' : 'y';
}

bool AnswerNumber(double& value) {
    constexpr double kAnswers[] = {1.0, 10.0, 0.0, NAN, INFINITY, -1e308, 1e-300};
    if (choice % 8 == 7) return false;
    value = kAnswers[choice % 7];
    return true;
}

// A file that is read with the old format.
class OldFormat : public InputListener {
    bool AskOldFormat() override { return true; }
};

// An assignment file is only converted in the working folder.
bool MayConvert(std::string_view text) {
    OldFormat old;
    const Result<InputFile> file = ReadInputFile(text, old);
    return file && file.value().assignment_file.find('/') == std::string::npos;
}

std::string Written(const InputFile& file) {
    StringSink text;
    WriteInputFile(text, file);
    return text.text();
}

void CheckDocument(const InputFile& file) {
    const int major = MajorVersion(file.version);
    Require(major >= 1 && major <= 5, "version");
    Require(file.moment_frame == kLower || file.moment_frame == kUpper, "frame of the moment");
    Require(EnergyPerKelvin(file).has_value(), "unit of the energies");
    const Model model = ModelOf(file);
    Require(model.one_state == file.one_state(), "number of states");
    Require(SettingsOf(file).max_J == file.max_J, "largest J");
}

// Numbers lose digits when they are written, but only once.
void CheckWritten(const InputFile& file) {
    const std::string once = Written(file);
    InputListener silent;
    const Result<InputFile> again = ReadInputFile(once, silent);
    if (again) Require(Written(again.value()) == once, "written again");
}

}  // namespace
}  // namespace kiv

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kiv;
    static MemFile input("input");
    BeginFuzz();
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    choice = size > 0 ? data[size - 1] : 0;
    may_convert = MayConvert(text);
    input.Set(text);
    Console console({Silent().wait, AnswerChar, AnswerNumber});
    const Result<InputFile> file = ReadInputOf(console, input.name(), SmallMemory());
    if (!file) return 0;
    CheckDocument(file.value());
    CheckWritten(file.value());
    return 0;
}
