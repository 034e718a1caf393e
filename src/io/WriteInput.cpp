// Input files written from a document.
#include <algorithm>
#include <cstdio>
#include <string_view>

#include "io/InputLayout.h"
#include "io/RecordReader.h"
#include "io/TextScan.h"
#include "kiv/files.h"

namespace kiv {
namespace {

constexpr char kHalfRule[] = "########################################";
static_assert(sizeof kHalfRule == 41);

constexpr const char* kStateNames[kNumStates] = {"GROUND", "EXCITED"};

bool IsRead(const char* text, double value) {
    double read = 0.0;
    return TextScan(text).Real(read) == ScanEnd::Good && read == value;
}

// The fewest digits with an exponent that read back as the same number.
std::string WholeText(double value) {
    char text[40];
    for (int digits = kConstantDigits; digits < 17; ++digits) {
        std::snprintf(text, sizeof text, "%.*e", digits, value);
        if (IsRead(text, value)) break;
    }
    return text;
}

// The text of a value.
struct PutCell {
    InputDigits digits;

    std::string operator()(std::monostate) const { return ""; }
    std::string operator()(PassedOver) const { return ""; }
    std::string operator()(const std::int16_t* value) const { return std::to_string(*value); }
    std::string operator()(const std::int32_t* value) const { return std::to_string(*value); }
    std::string operator()(Word word) const { return *word.text; }

    std::string operator()(Real real) const {
        char text[400];  // the largest double has 309 digits before the point
        if (real.form == 'e') {
            std::snprintf(text, sizeof text, "%.*e", real.precision, *real.value);
        } else {
            std::snprintf(text, sizeof text, "%.*f", real.precision, *real.value);
        }
        const bool is_good = digits == InputDigits::Layout || IsRead(text, *real.value);
        return is_good ? text : WholeText(*real.value);
    }
};

class Writer {
  public:
    // The cells of rows point into a document that a reader would fill; this one is a copy.
    Writer(InputFile& file, InputDigits digits) : file_(file), digits_(digits) {}

    void PutHead() {
        PutRule("\n");
        text_ += "#                         KIV INPUT FILE : VERSION " + file_.version +
                 "                        #\n";
        PutRule("\n\n");
        text_ += "# COMMENT LINE (< 500 CHARACTERS WITH NEW LINE END):\n  ";
        text_ += Comment();
        text_ += '\n';
    }

    void PutRows(std::span<const InputRow> rows) {
        for (const InputRow& row : rows) {
            if (row.when && !row.when(file_)) continue;
            if (row.title) text_ += row.title;
            PutRecord(row.cells(file_), row.width, row.end, row.fills_last);
        }
    }

    void PutState(StateIndex index) {
        InputState& state = file_.states[index];
        const bool is_A = ModelOf(file_).states[index].reduction == Reduction::A;
        for (const ConstantGroup& group : kGroups) {
            const bool first = &group == kGroups;
            if (!first) {
                PutTitle(index, kStatusTitle);
                PutRecord(CellsOf(state.status, group), kColumn, "\n");
            }
            PutTitle(index, group.title_S && !is_A ? group.title_S : group.title);
            Cells values = CellsOf(state.value, group);
            for (std::size_t i = 0; i < group.size; ++i) {
                values[i] = Real(&state.value[group.constants[i]], 'e', kConstantDigits);
            }
            PutRecord(values, kConstantColumn, "\n");
            if (first) {
                PutTitle(index, kAnglesTitle);
                PutRecord(CellsOf(state.angles), kColumn, "\n");
            }
            PutTitle(index, kFitTitle);
            PutRecord(CellsOf(state.fit, group), kColumn, "\n\n");
        }
    }

    void PutRule(const char* end) { text_ += std::string(kHalfRule) + kHalfRule + end; }

    const std::string& text() const { return text_; }

  private:
    // A comment that looks empty, or like a comment line of the file, would not be found again.
    std::string_view Comment() const {
        const std::size_t first = file_.comment.find_first_not_of("# \t\n\v\f\r");
        if (first == std::string::npos) return "NO COMMENT\n";
        return std::string_view(file_.comment).substr(first);
    }

    void PutTitle(StateIndex state, const char* title) {
        text_ += std::string("# ") + kStateNames[state] + " " + title;
    }

    void PutRecord(const Cells& cells, int width, const char* end, bool fills_last = false) {
        text_ += ' ';
        for (std::size_t i = 0, num = CountCells(cells); i < num; ++i) {
            std::string value = std::visit(PutCell{digits_}, cells[i]);
            const bool filled = i + 1 < num || fills_last;
            if (filled) value.resize(std::max(value.size(), static_cast<std::size_t>(width)), ' ');
            text_ += " " + value;
        }
        text_ += end;
    }

    InputFile& file_;
    InputDigits digits_;
    std::string text_;
};

}  // namespace

void WriteInputFile(Sink& sink, const InputFile& file) {
    WriteInputFile(sink, file, InputDigits::Layout);
}

void WriteInputFile(Sink& sink, const InputFile& file, InputDigits digits) {
    InputFile written = file;
    written.version = kInputVersion;
    Writer writer(written, digits);
    writer.PutHead();
    writer.PutRows(kNameRows);
    writer.PutState(kLower);
    writer.PutState(kUpper);
    writer.PutRows(kOriginRows);
    writer.PutRows(kRunRows);
    writer.PutRule("\n");
    sink.Put(writer.text().data(), writer.text().size());
}

}  // namespace kiv
