// kiv import
#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <vector>

#include "commands/Commands.h"
#include "commands/FindingsJson.h"
#include "commands/LoadJob.h"
#include "commands/Products.h"
#include "commands/PutProduct.h"
#include "exchange/ImportSuite.h"
#include "named/Text.h"
#include "system/OutputSet.h"
#include "system/TextFile.h"

namespace kiv {
namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 28;

enum class Role : std::uint8_t { Parameters, Intensities, Lines };

struct Ending {
    const char* text;
    Role role;
};

constexpr Ending kEndings[] = {{".par", Role::Parameters},
                               {".var", Role::Parameters},
                               {".int", Role::Intensities},
                               {".lin", Role::Lines}};

// The ending of a name in lower case.
std::string EndingOf(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    std::string ending = dot == std::string::npos ? "" : name.substr(dot);
    for (char& c : ending) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return ending;
}

int Refuse(const std::string& text, Terminal& terminal) {
    terminal.Fail(text);
    return kWrongUse;
}

// The names of a set by their roles; empty: not there.
using Names = std::array<std::string, 3>;

std::string& NameFor(Role role, Names& names) { return names[static_cast<std::size_t>(role)]; }

Result<Names> NamesOf(const std::vector<std::string>& arguments) {
    Names names;
    const auto wrong = [](const std::string& text) {
        return Error{ErrorCode::BadChoice, text, ""};
    };
    for (const std::string& name : arguments) {
        const std::string ending = EndingOf(name);
        const auto* const known =
            std::find_if(std::begin(kEndings), std::end(kEndings),
                         [&](const Ending& row) { return ending == row.text; });
        if (known == std::end(kEndings)) {
            return wrong(Quoted(name) + " has none of the endings .par, .var, .int, .lin");
        }
        std::string& place = NameFor(known->role, names);
        if (!place.empty()) {
            return wrong("there is one too many: " + Quoted(place) + " and " + Quoted(name));
        }
        place = name;
    }
    if (NameFor(Role::Parameters, names).empty()) {
        return wrong(
            "the constants are missing: name a .par or .var, too" +
            std::string(NameFor(Role::Lines, names).empty()
                            ? ""
                            : "; a named input takes a .lin as it is, in lines = \"...\""));
    }
    return names;
}

Status CheckNames(const Request& request) {
    const auto wrong = [](const std::string& text) {
        return Error{ErrorCode::BadChoice, text, ""};
    };
    if (!request.output) {
        return wrong("say what to make: kiv import " + Printable(request.arguments.front()) +
                     " ... -o OUT.toml");
    }
    if (*request.output != kStandardInput && !request.output->ends_with(".toml")) {
        return wrong(Quoted(*request.output) + " should end in .toml");
    }
    return {};
}

// Reads the files of a set. CannotRead tells of the first one that cannot be read.
Result<SuiteSet> LoadSet(Names names) {
    SuiteSet set;
    set.parameters.name = NameFor(Role::Parameters, names);
    set.is_var = EndingOf(set.parameters.name) == ".var";
    const std::string &intensities = NameFor(Role::Intensities, names),
                      &lines = NameFor(Role::Lines, names);
    if (!intensities.empty()) set.intensities = SuiteFile{intensities, ""};
    if (!lines.empty()) set.lines = SuiteFile{lines, ""};
    for (SuiteFile* file : {&set.parameters, set.intensities ? &*set.intensities : nullptr,
                            set.lines ? &*set.lines : nullptr}) {
        if (!file) continue;
        Result<std::string> text = ReadTextFile(file->name, kMostBytes);
        if (!text) return text.error();
        file->text = std::move(text).value();
    }
    return set;
}

// Both files appear, or none.
int PutImport(const Request& request, const SuiteImport& made, const std::string& line_file,
              Terminal& terminal) {
    const std::string& out = *request.output;
    if (out == kStandardInput) {
        return PutProduct(request, made.text, WholeFile::Kind::Product, terminal);
    }
    const WholeFile::Kind how = request.force ? WholeFile::Kind::Precious : WholeFile::Kind::Fresh;
    std::vector<std::string> names{out};
    if (!made.lines.empty()) names.push_back(JoinedTo(out, line_file));
    const Status free = CheckOutputs(names, request.arguments);
    if (!free) return Refuse(free.error().text, terminal);
    for (const std::string& name : names) {
        if (!MayWrite(request, name, terminal)) return kWrongUse;
    }
    OutputSet outputs;
    outputs.Add(out, made.text, how);
    if (names.size() > 1) outputs.Add(names[1], made.lines, how);
    const Status kept = outputs.Keep();
    if (kept) return kDone;
    terminal.Fail(kept.error().text);
    return kFileFailed;
}

}  // namespace

int Import(const Request& request, Terminal& terminal) {
    const Status named = CheckNames(request);
    if (!named) return Refuse(named.error().text, terminal);
    const Result<Names> names = NamesOf(request.arguments);
    if (!names) return Refuse(names.error().text, terminal);
    const Result<SuiteSet> set = LoadSet(names.value());
    if (!set) {
        terminal.Fail(set.error().text);
        return kFileFailed;
    }
    const bool to_stdout = *request.output == kStandardInput;
    if (to_stdout && set.value().lines) {
        return Refuse("standard output cannot take the line file, too; name a file behind -o",
                      terminal);
    }
    const std::string line_file = StemOf(*request.output) + ".csv";
    const SuiteImport made = ImportSuite(set.value(), line_file);
    terminal.Show(made.findings);
    int status = kUnusableInput;
    if (!made.findings.has_errors()) status = PutImport(request, made, line_file, terminal);
    if (!request.json || to_stdout) return status;
    JsonWriter json;
    PutFindings(made.findings, json);
    return terminal.PutResult(json.text() + "\n") ? status : kFileFailed;
}

}  // namespace kiv
