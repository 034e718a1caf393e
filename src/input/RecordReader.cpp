#include "input/RecordReader.h"

#include <algorithm>
#include <cstring>

#include "input/InputParm.h"

namespace {

Cells CellsOf(std::int32_t (&values)[NUM_PRM], const HamGroup& group) {
    return {values[group.Prm[0]], values[group.Prm[1]], values[group.Prm[2]]};
}

Cells CellsOf(double (&values)[NUM_PRM], const HamGroup& group) {
    return {values[group.Prm[0]], values[group.Prm[1]], values[group.Prm[2]]};
}

std::string_view WithoutLineEnd(std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.ends_with('\r')) text.remove_suffix(1);
    return text;
}

}  // namespace

void KivLine::Clear() {
    Len = 0;
    Text[0] = '\0';
    Too_Long = false;
}

void KivLine::Append(std::string_view text) {
    const std::size_t fits = std::min(text.size(), kMaxRecordText - Len);
    Too_Long = Too_Long || fits < text.size();
    if (fits > 0) std::memcpy(Text + Len, text.data(), fits);
    Len += fits;
    Text[Len] = '\0';
}

int KivReadLine(TextScan& text, KivLine& line, int count) {
    line.Clear();
    int num = 0;
    do {
        std::string_view word;
        if (!text.Word(word)) return RD_EOF;
        if (word[0] == '#') {
            text.RestOfLine();
            continue;
        }
        line.Append(word);
        if (count == 0) line.Append(text.RestOfLine());
        if (++num < count) line.Append(" ");
    } while (num < count || num == 0);
    if (line.View().find('\0') != std::string_view::npos) return 0;
    return count == 0 || !line.Too_Long ? 1 : 0;
}

bool RecordReader::Gather(int count) {
    State = KivReadLine(Text, Line, count);
    if (State == RD_EOF) Rec.Last_Line = Line.Text;
    return State == 1;
}

void RecordReader::ReadComment() {
    if (State != 1) return;
    if (How == Mode::Words) {
        if (!Gather(0)) return;
    } else {
        std::string_view word;
        State = Text.Word(word) ? 1 : 0;
        Line.Clear();
        Line.Append(word);
        Line.Append(Text.RestOfLine());
        if (Line.View().find('\0') != std::string_view::npos) State = 0;
    }
    if (State != 1) return;
    const std::string_view comment = WithoutLineEnd(Line.View()).substr(0, kMaxRecordText - 1);
    static_assert(sizeof Rec.Comment == kMaxRecordText + 1);
    std::memcpy(Rec.Comment, comment.data(), comment.size());
    std::memcpy(Rec.Comment + comment.size(), "\n", 2);
}

void RecordReader::Read(const char* format, std::span<const Cell> cells) {
    if (State != 1) return;
    if (How == Mode::Direct) {
        State = ScanFields(Text, format, cells) ? 1 : 0;
    } else if (Gather(CountFields(format))) {
        TextScan record(Line.View());
        State = ScanFields(record, format, cells) ? 1 : 0;
    }
}

void RecordReader::ReadRows(std::span<const ParmRow> rows) {
    for (const ParmRow& row : rows) {
        if (State != 1) return;
        if (row.When && !row.When(Rec, Rec.Inp_Version)) continue;
        Read(row.Format, row.At(Rec));
        if (State == 1 && row.After) State = row.After(Rec);
    }
}

void RecordReader::ReadFrame(int state, const HamGroup& group) {
    Read(kAnglesFormat, {Rec.Euler_Phi[state], Rec.Euler_Theta[state], Rec.Euler_Chi[state]});
    Read(kFitFormat[group.Num], CellsOf(Rec.Prm_Fit[state], group));
}

void RecordReader::ReadGroups(int state, std::span<const HamGroup> groups) {
    for (const HamGroup& group : groups) {
        Read(kStatFormat[group.Num], CellsOf(Rec.Prm_Stat[state], group));
        Read(kValFormat[group.Num], CellsOf(Rec.Prm_Val[state], group));
        Read(kFitFormat[group.Num], CellsOf(Rec.Prm_Fit[state], group));
    }
}

void RecordReader::ReadBlock(int state, std::span<const HamGroup> groups) {
    Read(kValFormat[groups[0].Num], CellsOf(Rec.Prm_Val[state], groups[0]));
    ReadFrame(state, groups[0]);
    ReadGroups(state, groups.subspan(1));
}
