#include "io/AssignmentFile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/LineKey.h"
#include "io/TextScan.h"
#include "linalg/Sort.h"

namespace kiv {
namespace {

constexpr std::int32_t kMaxKeyJ = 32767;  // 2J still fits a field of the key

enum class RowKind : std::uint8_t { Blank, Separator, Malformed, Beyond, Accepted };

struct Row {
    std::int64_t J_upper, Ka_upper, Kc_upper, J_lower, Ka_lower, Kc_lower;
    double frequency, uncertainty;
};

// Eight fields make a row; what stands in the place of the ninth without being a number is a
// remark.
bool ScanRow(TextScan text, Row& row) {
    for (std::int64_t* number :
         {&row.J_upper, &row.Ka_upper, &row.Kc_upper, &row.J_lower, &row.Ka_lower, &row.Kc_lower}) {
        using Limits = std::numeric_limits<std::int32_t>;
        if (text.Int(Limits::min(), Limits::max(), *number) != ScanEnd::Good) return false;
    }
    row.uncertainty = 0.0;
    return text.Real(row.frequency) == ScanEnd::Good && text.Real(row.uncertainty) != ScanEnd::Bad;
}

bool IsLevel(std::int64_t J, std::int64_t Ka, std::int64_t Kc, const AssignmentLimits& limits) {
    return J >= 0 && J <= limits.J && Ka >= 0 && Ka <= limits.Ka && Kc >= 0 && Kc <= limits.Kc &&
           J + Ka - Kc >= 0 && J + Ka - Kc <= 2 * J;
}

bool IsWithin(const Row& row, const AssignmentLimits& limits) {
    return IsLevel(row.J_upper, row.Ka_upper, row.Kc_upper, limits) &&
           IsLevel(row.J_lower, row.Ka_lower, row.Kc_lower, limits);
}

RowKind ReadRow(std::string_view text, const AssignmentLimits& limits, Row& row) {
    TextScan scan(text);
    std::string_view band;
    if (!scan.Word(band)) return RowKind::Blank;
    if (band == "//") return RowKind::Separator;
    if (!ScanRow(scan, row)) return RowKind::Malformed;
    return IsWithin(row, limits) ? RowKind::Accepted : RowKind::Beyond;
}

std::uint64_t KeyOf(const Row& row) {
    return LineKey(static_cast<int>(row.J_lower), static_cast<int>(row.J_upper),
                   static_cast<int>(row.J_lower + row.Ka_lower - row.Kc_lower),
                   static_cast<int>(row.J_upper + row.Ka_upper - row.Kc_upper));
}

// A row for the listener.
struct RowText {
    char text[TextLines::kMaxLine + 2];

    explicit RowText(std::string_view row) {
        if (row.ends_with('\n')) row.remove_suffix(1);
        if (row.ends_with('\r')) row.remove_suffix(1);
        std::memcpy(text, row.data(), row.size());
        std::memcpy(text + row.size(), "\n", 2);
    }
};

// Room for `num` lines, those that are there included.
Status Grow(Assignments& lines, std::int64_t num, const Memory& memory) {
    using namespace array_name;
    if (!lines.key.Resize(memory, num)) return NoMemory(kAssignmentKeys);
    if (!lines.frequency.Resize(memory, num)) return NoMemory(kAssignmentFrequencies);
    if (!lines.uncertainty.Resize(memory, num)) return NoMemory(kAssignmentUncertainties);
    return {};
}

void StoreRow(Assignments& lines, std::int32_t at, const Row& row) {
    const auto i = static_cast<std::size_t>(at);
    lines.key[i] = KeyOf(row);
    lines.frequency[i] = row.frequency;
    lines.uncertainty[i] = row.uncertainty == 0.0 ? kNoWeight : row.uncertainty;
}

// Sorts the `num` lines behind those of earlier sets.
Status SortSet(Assignments& lines, std::int32_t num, const Memory& memory) {
    if (num < 2) return {};
    const auto first = static_cast<std::size_t>(lines.size), n = static_cast<std::size_t>(num);
    const std::span<std::uint64_t> key = lines.key.Part(first, n);
    if (std::is_sorted(key.begin(), key.end())) return {};
    Array<std::int32_t> order;
    if (!order.Take(memory, num)) return NoMemory(array_name::kAssignmentOrder);
    SortIndex(key, order.Part(0, n), memory);
    const auto sort = [&](auto array) {
        return Permute(order.Part(0, n), Direction::Ascending, array, memory);
    };
    if (!sort(key) || !sort(lines.frequency.Part(first, n)) ||
        !sort(lines.uncertainty.Part(first, n))) {
        return NoMemory(array_name::kSortedAssignments);
    }
    return {};
}

// The sets of one file.
class SetReader {
  public:
    SetReader(TextLines& lines, const AssignmentOptions& options, const Memory& memory,
              AssignmentListener& listener)
        : lines_(lines), options_(options), memory_(memory), listener_(listener) {
        read_.uniform = options.uniform;
    }

    Result<AssignmentReading> ReadAll() {
        while (more_) KIV_TRY(ReadSet());
        if (complete_) CheckUncertainties();
        return std::move(read_);
    }

  private:
    // Reads one set and finds out whether there is a further one.
    Status ReadSet() {
        more_ = false;
        const SetCount count = CountSet();
        if (count.rows == 0 && read_.assignments.size > 0) return {};
        listener_.SetCounted(count);
        if (count.accepted == 0) {
            listener_.NoneAccepted();
            return Error{ErrorCode::BadInput, "a set of assignments has no acceptable line", ""};
        }
        KIV_TRY(Grow(read_.assignments, std::int64_t{read_.assignments.size} + count.accepted,
                     memory_));
        if (!FindSet()) {
            more_ = false;
            listener_.NotSeparated();
            return {};
        }
        const std::int32_t stored = StoreSet(count);
        if (stored == 0) {
            more_ = complete_ = false;
            listener_.NoneStored();
            return {};
        }
        KIV_TRY(SortSet(read_.assignments, stored, memory_));
        CloseSet(count, stored);
        return {};
    }

    // First pass over a set. Separators in front of the first row are skipped.
    SetCount CountSet() {
        SetCount count;
        std::string_view text;
        Row row;
        while (!more_ && lines_.Next(text)) {
            const RowKind kind = ReadRow(text, options_.limits, row);
            if (kind == RowKind::Separator) {
                more_ = count.rows > 0;
            } else if (kind != RowKind::Blank) {
                ++count.rows;
                if (kind == RowKind::Accepted) ++count.accepted;
                TellCounted(kind, RowText(text).text, count);
            }
        }
        if (count.rows > 0 && lines_.broken()) listener_.EarlyEnd();
        return count;
    }

    void TellCounted(RowKind kind, const char* row, const SetCount& count) {
        if (kind == RowKind::Malformed) listener_.Malformed(row, count.rows == 1);
        if (kind == RowKind::Beyond) listener_.BeyondLimits(row);
        if (kind == RowKind::Accepted) listener_.Counted(row, count);
    }

    // The next line that is not blank; false at the end of the file.
    bool NextWritten(RowKind& kind, Row& row, std::string_view& text) {
        while (lines_.Next(text)) {
            kind = ReadRow(text, options_.limits, row);
            if (kind != RowKind::Blank) return true;
        }
        return false;
    }

    // Moves from the start of the file behind the separator of the first set. The separators of
    // further sets are not counted, so only a second one can be found.
    bool FindSet() {
        lines_.Rewind();
        if (read_.assignments.size == 0) return true;
        if (read_.assignments.two_sets) return false;
        RowKind kind = RowKind::Blank;
        Row row;
        std::string_view text;
        for (std::int32_t n = read_.assignments.size + read_.rejected; n >= 0; --n) {
            if (!NextWritten(kind, row, text)) return false;
        }
        return kind == RowKind::Separator;
    }

    // Second pass over a set: stores its accepted rows and returns their number. The file may have
    // changed since it was counted; no more rows are stored than there is room for.
    std::int32_t StoreSet(const SetCount& count) {
        SetCount found;
        RowKind kind = RowKind::Blank;
        Row row;
        std::string_view text;
        while (found.rows < count.rows) {
            if (!NextWritten(kind, row, text)) {
                listener_.EarlyEnd();
                break;
            }
            if (found.rows == 0 && kind == RowKind::Separator) continue;
            ++found.rows;
            if (kind != RowKind::Accepted || found.accepted == count.accepted) continue;
            row.frequency *= options_.scale;
            StoreRow(read_.assignments, read_.assignments.size + found.accepted, row);
            ++found.accepted;
            if (row.uncertainty == 0.0) ++num_zero_;
            listener_.Stored(RowText(text).text, found);
        }
        listener_.SetStored();
        return found.accepted;
    }

    void CloseSet(const SetCount& count, std::int32_t stored) {
        Assignments& sets = read_.assignments;
        if (sets.size > 0) {
            sets.two_sets = true;
        } else {
            sets.split = stored;
        }
        sets.size += stored;
        read_.rejected += count.rows - count.accepted;
    }

    void CheckUncertainties() {
        if (read_.uniform == 0 && num_zero_ > 0) {
            listener_.WithoutUncertainty(num_zero_);
            if (num_zero_ == read_.assignments.size) {
                read_.uniform = 1;
                listener_.MadeUniform();
            }
        }
        if (read_.uniform == 1) listener_.UncertaintiesIgnored();
    }

    TextLines& lines_;
    const AssignmentOptions& options_;
    const Memory& memory_;
    AssignmentListener& listener_;
    AssignmentReading read_;
    std::int32_t num_zero_ = 0;
    bool more_ = true;
    bool complete_ = true;  // not ended by rows that were not found again
};

bool NamesLevel(int J, int Ka, int Kc) {
    return Ka >= 0 && Kc >= 0 && Ka <= J && Kc <= J && (Ka + Kc == J || Ka + Kc == J + 1);
}

// Adds a set of lines.
Status AddSet(Assignments& lines, std::span<const MeasuredLine> set, const Memory& memory) {
    for (const MeasuredLine& line : set) {
        const Row row{line.J_upper,  line.Ka_upper, line.Kc_upper,  line.J_lower,
                      line.Ka_lower, line.Kc_lower, line.frequency, line.uncertainty};
        for (const auto& [J, Ka, Kc] : {std::array{line.J_upper, line.Ka_upper, line.Kc_upper},
                                        std::array{line.J_lower, line.Ka_lower, line.Kc_lower}}) {
            if (IsWithin(row, {}) && NamesLevel(J, Ka, Kc)) continue;
            return Error{ErrorCode::OutOfRange,
                         "J Ka Kc = " + std::to_string(J) + " " + std::to_string(Ka) + " " +
                             std::to_string(Kc) + " name no level",
                         ""};
        }
        const auto at = static_cast<std::int32_t>(&line - set.data());
        StoreRow(lines, lines.size + at, row);
    }
    const auto num = static_cast<std::int32_t>(set.size());
    KIV_TRY(SortSet(lines, num, memory));
    lines.size += num;
    return {};
}

std::int32_t LimitOf(std::int32_t wanted, std::int32_t max_J) {
    return wanted >= 0 && wanted <= max_J ? wanted : max_J;
}

}  // namespace

Result<AssignmentReading> ReadAssignments(TextLines& lines, const AssignmentOptions& options,
                                          const Memory& memory, AssignmentListener& listener) {
    return SetReader(lines, options, memory, listener).ReadAll();
}

Result<Assignments> ReadAssignmentFile(std::string_view text, const AssignmentLimits& limits,
                                       const Memory& memory) {
    MemorySource source(text);
    TextLines lines(source);
    AssignmentListener silent;
    auto reading = ReadAssignments(lines, {limits}, memory, silent);
    if (!reading.ok()) return reading.error();
    return std::move(reading.value().assignments);
}

AssignmentLimits LimitsOf(const InputFile& file) {
    return {std::min(LimitOf(file.assignment_max_J, file.max_J), kMaxKeyJ),
            LimitOf(file.assignment_max_Ka, file.max_J),
            LimitOf(file.assignment_max_Kc, file.max_J)};
}

Result<Assignments> Assignments::From(std::span<const MeasuredLine> first,
                                      std::span<const MeasuredLine> second, const Memory& memory) {
    Assignments lines;
    const auto num = static_cast<std::int64_t>(first.size() + second.size());
    if (num > std::numeric_limits<std::int32_t>::max()) {
        return NoMemory(array_name::kAssignmentKeys);
    }
    KIV_TRY(Grow(lines, num, memory));
    KIV_TRY(AddSet(lines, first, memory));
    lines.split = lines.size;
    lines.two_sets = !second.empty();
    KIV_TRY(AddSet(lines, second, memory));
    return lines;
}

MeasuredLine Assignments::Line(std::int32_t i) const {
    const auto level = [](int J, int tau, int& Ka, int& Kc) {
        Ka = (tau + 1) / 2;
        Kc = J - tau / 2;
    };
    const auto at = static_cast<std::size_t>(i);
    MeasuredLine line;
    line.J_upper = KeyJUpper(key[at]);
    line.J_lower = KeyJLower(key[at]);
    level(line.J_upper, KeyTauUpper(key[at]), line.Ka_upper, line.Kc_upper);
    level(line.J_lower, KeyTauLower(key[at]), line.Ka_lower, line.Kc_lower);
    line.frequency = frequency[at];
    line.uncertainty = uncertainty[at];
    return line;
}

}  // namespace kiv
