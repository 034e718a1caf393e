#include "console/InputReport.h"

#include <cstdio>
#include <memory>
#include <string_view>

#include "console/AssignmentConversion.h"
#include "console/PhaseLog.h"
#include "io/InputFile.h"
#include "io/TextLines.h"

namespace kiv {
namespace {

constexpr std::size_t kMaxInputText = std::size_t{1} << 26;  // no input file comes near 64 MiB

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

class InputReport : public InputListener {
  public:
    InputReport(Console& console, const std::string& name) : console_(console), name_(name) {}

    void VersionFound(const std::string& version) override {
        console_.Put("VERSION NUMBER OF INPUT FILE [%s] IS [%s]\n\n", name_.c_str(),
                     version.c_str());
    }
    void SubVersionFound(const char* version) override {
        console_.Put("INPUT FILE HAS VERSION [%s] FORMAT!\n", version);
    }
    bool AskOldFormat() override {
        console_.Put("FORMAT OUTPUT ACCORDING TO TELVORAN QZ (y|n)?");
        return console_.surroundings().ask_char() == 'y';
    }
    void Refused(InputFault fault, const std::string& word) override {
        switch (fault) {
            case InputFault::Version:
                return console_.Put("KIV INPUT FILE [%s] HAS INCORRECT VERSION NUMBER!\n",
                                    name_.c_str());
            case InputFault::Layout:
                return console_.Put("KIV INPUT FILE [%s] HAS FORMAT UNKNOWN?", name_.c_str());
            case InputFault::Unit:
                return console_.Put("\nUNDEFINED TEMPERATURE CONVERSION UNIT [%s]!\n",
                                    word.c_str());
            case InputFault::BandType:
                return console_.Put("\nIMPROPER BAND TYPE [%s]!\n", word.c_str());
            case InputFault::Record:
                return;  // no message of its own
        }
    }

  private:
    Console& console_;
    const std::string& name_;
};

// False, with a message, when the file cannot be read; a folder reads as an empty file.
bool Load(Console& console, const std::string& name, const Memory& memory, Array<char>& text) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(name.c_str(), "rb"));
    if (file) {
        StreamSource source(file.get());
        const bool loaded = LoadText(source, kMaxInputText, memory, text);
        if (loaded && (!source.broken() || text.size() == 0)) return true;
    }
    console.Put("FAILED TO OPEN KIV INPUT FILE [%s] FOR READING!\n", name.c_str());
    return false;
}

}  // namespace

Result<InputFile> ReadInputOf(Console& console, const std::string& name, const Memory& memory) {
    Array<char> text;
    if (!Load(console, name, memory, text)) {
        return Error{ErrorCode::CannotRead, "cannot read " + name, name};
    }
    InputReport report(console, name);
    Result<InputFile> file = ReadInputFile(std::string_view(text.data(), text.size()), report);
    if (!file) return file;
    const int major = MajorVersion(file.value().version);
    console.SetDebug(file.value().debug);
    OpenDebugLog(console);
    if (major == 1 && file.value().old_format == 1 &&
        !ConvertAssignments(console, file.value().assignment_file, memory)) {
        return Error{ErrorCode::BadInput, "cannot convert the assignment file", ""};
    }
    if (major < 4) console.Exit("KivReadOldInputParm");
    console.Exit("KivReadInputParm");
    return file;
}

}  // namespace kiv
