#include "io/InputFile.h"

#include <iterator>

#include "io/InputLayout.h"
#include "io/OldInput.h"
#include "io/RecordReader.h"
#include "io/TextLines.h"
#include "io/TextScan.h"

namespace kiv {
namespace {

constexpr int kVersionWord = 7;                                            // of the second line
constexpr std::size_t kMaxVersion = 15;                                    // characters
constexpr std::string_view kMajors[] = {"", "v1", "2", "v3", "v4", "v5"};  // "2": files say 2.x

// The version word of the second line; empty when the line has none.
std::string_view FindVersion(TextScan text) {
    text.RestOfLine();
    TextScan line(text.RestOfLine());
    std::string_view word;
    for (int n = 0; n < kVersionWord; ++n) line.Word(word);
    return word;
}

bool IsVersion(std::string_view word) {
    return word.size() <= kMaxVersion && word.find('.') != word.npos &&
           word.find('\0') == word.npos;
}

// v3 to v5. Files without limits of Ka and Kc accept all.
void ReadVersion3(InputFile& file, RecordReader& in, std::span<const ConstantGroup> groups) {
    in.ReadComment();
    in.ReadRows(kNameRows);
    for (InputState& state : file.states) in.ReadBlock(state, groups);
    in.ReadRows(kOriginRows);
    in.ReadRows(kRunRows);
}

// A calculation of one state has no excited A, B, C; otherwise both carry the same constants.
void MatchStatus(InputFile& file) {
    auto &lower = file.states[kLower].status, &upper = file.states[kUpper].status;
    if (file.one_state()) {
        for (Constant c : {Constant::A, Constant::B, Constant::C}) upper[c] = 0;
        return;
    }
    for (int c = 0; c < kNumFileConstants; ++c) {
        if (lower[c] == 1 || upper[c] == 1) lower[c] = upper[c] = 1;
    }
}

}  // namespace

int MajorVersion(std::string_view version) {
    const std::string_view major = version.substr(0, version.rfind('.'));
    for (int k = 1; k < static_cast<int>(std::size(kMajors)); ++k) {
        if (major == kMajors[k]) return k;
    }
    return 0;
}

Result<InputFile> ReadInputFile(std::string_view text, InputListener& listener) {
    InputFile file;
    const TextScan scan(WithoutMark(text));
    const std::string_view version = FindVersion(scan);
    if (!version.empty() && !IsVersion(version)) {
        return RefuseInput(listener, InputFault::Version, std::string(version));
    }
    if (!version.empty()) file.version = version;
    listener.VersionFound(file.version);
    const int major = MajorVersion(file.version);
    if (major == 0) return RefuseInput(listener, InputFault::Layout, file.version);
    const auto mode = major == 1 ? RecordReader::Mode::Direct : RecordReader::Mode::Words;
    RecordReader in(file, scan, mode, listener);
    if (major == 1) {
        ReadVersion1(file, in, listener);
    } else if (major == 2) {
        ReadVersion2(file, in);
    } else if (major == 3) {
        ReadVersion3(file, in, kOldGroups);
    } else {
        ReadVersion3(file, in, kGroups);
    }
    if (!in.ok()) return in.error();
    MatchStatus(file);
    return file;
}

}  // namespace kiv
