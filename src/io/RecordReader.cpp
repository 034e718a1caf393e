#include "io/RecordReader.h"

#include <algorithm>
#include <limits>

namespace kiv {
namespace {

const char* NameOf(InputFault fault) {
    switch (fault) {
        case InputFault::Version:
            return "the input file has no version number";
        case InputFault::Layout:
            return "the input file is of an unknown version";
        case InputFault::Unit:
            return "the input file has an unknown unit";
        case InputFault::BandType:
            return "the input file has an unknown band type";
        default:
            return "the input file has a record that cannot be read";
    }
}

std::string_view WithoutLineEnd(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

// Reads the value of a cell; false when there is none.
struct ScanCell {
    TextScan& text;

    template <class T>
    bool Int(T& value) const {
        using Limits = std::numeric_limits<T>;
        std::int64_t wide = 0;
        if (text.Int(Limits::min(), Limits::max(), wide) != ScanEnd::Good) return false;
        value = static_cast<T>(wide);
        return true;
    }

    bool operator()(std::monostate) const { return true; }
    bool operator()(std::int16_t* value) const { return Int(*value); }
    bool operator()(std::int32_t* value) const { return Int(*value); }
    bool operator()(Real real) const { return text.Real(*real.value) == ScanEnd::Good; }

    bool operator()(Word cell) const {
        std::string_view word;
        if (!text.Word(word) || word[0] == '#' || word.find('\0') != word.npos) return false;
        if (word.size() > cell.most && !cell.cut) return false;
        cell.text->assign(word.substr(0, cell.most));
        return true;
    }

    bool operator()(PassedOver) const {
        std::int16_t value = 0;
        return Int(value);
    }
};

bool ScanCells(TextScan& text, const Cells& cells) {
    return std::all_of(cells.begin(), cells.end(),
                       [&text](const Cell& cell) { return std::visit(ScanCell{text}, cell); });
}

}  // namespace

Error RefuseInput(InputListener& listener, InputFault fault, const std::string& word) {
    listener.Refused(fault, word);
    std::string text = NameOf(fault);
    if (!word.empty()) text += ": " + word;
    return {ErrorCode::BadInput, text, word};
}

void RecordReader::Refuse(InputFault fault, const std::string& word) {
    error_ = RefuseInput(listener_, fault, word);
}

void RecordReader::Append(std::string_view text) {
    const std::size_t fits = std::min(text.size(), kMaxRecord - line_.size());
    too_long_ = too_long_ || fits < text.size();
    line_ += text.substr(0, fits);
}

// The oldest files tell no more than that they cannot be read.
void RecordReader::EndEarly() {
    if (mode_ == Mode::Direct) return Refuse(InputFault::Record);
    error_ = Error{ErrorCode::Truncated, "the input file ends within a record: " + line_, line_};
}

// Gathers the next `count` words, one blank between each two, and with 0 the next word and the rest
// of its line.
bool RecordReader::Gather(std::size_t count) {
    line_.clear();
    too_long_ = false;
    for (std::size_t num = 0; num == 0 || num < count;) {
        std::string_view word;
        if (!text_.Word(word)) {
            EndEarly();
            return false;
        }
        if (word[0] == '#' && mode_ == Mode::Words) {
            text_.RestOfLine();
            continue;
        }
        Append(word);
        if (count == 0) Append(text_.RestOfLine());
        if (++num < count) Append(" ");
    }
    const bool fits = count == 0 || !too_long_;
    if (!fits || line_.find('\0') != line_.npos) Refuse(InputFault::Record);
    return ok();
}

void RecordReader::ReadComment() {
    if (!ok()) return;
    if (!Gather(0)) return;
    file_.comment = WithoutLineEnd(line_).substr(0, kMaxRecord - 1);
    file_.comment += '\n';
}

void RecordReader::Read(const Cells& cells) {
    if (!ok()) return;
    if (mode_ == Mode::Direct) {
        if (!ScanCells(text_, cells)) Refuse(InputFault::Record);
    } else if (Gather(CountCells(cells))) {
        TextScan record(line_);
        if (!ScanCells(record, cells)) Refuse(InputFault::Record);
    }
}

void RecordReader::ReadRows(std::span<const InputRow> rows) {
    for (const InputRow& row : rows) {
        if (!ok()) return;
        if (row.when && !row.when(file_)) continue;
        Read(row.cells(file_));
        if (!ok() || !row.rule) continue;
        if (const auto fault = row.rule(file_)) {
            Refuse(*fault, *fault == InputFault::Unit ? file_.energy_unit : "");
        }
    }
}

void RecordReader::ReadFrame(InputState& state, const ConstantGroup& group) {
    Read(CellsOf(state.angles));
    Read(CellsOf(state.fit, group));
}

void RecordReader::ReadGroups(InputState& state, std::span<const ConstantGroup> groups) {
    for (const ConstantGroup& group : groups) {
        Read(CellsOf(state.status, group));
        Read(CellsOf(state.value, group));
        Read(CellsOf(state.fit, group));
    }
}

void RecordReader::ReadBlock(InputState& state, std::span<const ConstantGroup> groups) {
    Read(CellsOf(state.value, groups[0]));
    ReadFrame(state, groups[0]);
    ReadGroups(state, groups.subspan(1));
}

}  // namespace kiv
