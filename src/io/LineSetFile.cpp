// The binary line set, in descending frequency.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "kiv/files.h"
#include "linalg/Sort.h"
#include "lines/LineDerivatives.h"

namespace kiv {
namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the binary file is little-endian");
static_assert(sizeof(float) == 4 && sizeof(double) == 8);

// Offsets in the header of the binary file. Bytes without an entry are zero.
// clang-format off
enum HeaderOffset : std::size_t {
    kFormat        = 0,     // char[1316]     "QZS v1.6"
    kStatus        = 1316,  // int32[2][50]   constants of each state, the origin behind the upper
    kMomentAngles  = 3008,  // double[3]      squared magnitude, theta, chi
    kTemperatures  = 3032,  // double[3]      T1, T2, weight of T2
    kEnergyScale   = 3056,  // double         energy units per kelvin
    kConstants     = 3154,  // int32          22
    kLabels        = 3158,  // char[50][10]   labels of the constants and of the origin
    kValues        = 3658,  // double[2][50]  as the switches
    kDeviations    = 4458,  // double[2][50]  as the switches
    kRms           = 5258,  // float          standard deviation of the fit
    kLines         = 5262,  // int32          lines, N
    kAssignments   = 5266,  // int32          assignments read
    kMatched       = 5270,  // int32          of these with a calculated line
    kMissing       = 5274,  // int32          of these without one
    kSplit         = 5278,  // int32          assignments of the first set
    kHasDerivatives= 5282,  // int32          1: derivatives are in the file
    kHasEnergies   = 5286,  // int32          1: level energies are in the file
    kDerivatives   = 5294,  // int32          derivatives a line, K
    kFitted        = 5298,  // int32          fitted constants, P
    kCovariances   = 5302,  // int32          P * P
    kLevels        = 5306,  // int32          levels a state, L
    kHasAmplitudes = 5318,  // int32          1: amplitudes are in the file
    kHasAmplitudes2= 5322,  // int32          the same again
    kIsComplex     = 5326,  // int32          1: complex Hamiltonians
    kProgram       = 5366,  // char[7944]     "KIV " and the version
    kHeaderSize    = 13310
};
// clang-format on

constexpr std::size_t kHeaderSlots = 50;  // room for constants of a state
constexpr std::size_t kLabelSize = 10;    // of a label
constexpr std::size_t kOriginSlot = kNumFileConstants;

// Slot of a constant: those of positional files, the origin, then the higher ones.
constexpr std::size_t SlotOf(int constant) {
    return static_cast<std::size_t>(constant < kNumFileConstants ? constant : constant + 1);
}
static_assert(SlotOf(kNumConstants - 1) < kHeaderSlots);
static_assert(kLabels + kHeaderSlots * kLabelSize == kValues);
static_assert(kValues + 2 * kHeaderSlots * sizeof(double) == kDeviations);
static_assert(kDeviations + 2 * kHeaderSlots * sizeof(double) == kRms);
static_assert(kProgram + 7944 == kHeaderSize);

// The first bytes of the file.
class HeaderBytes {
  public:
    template <class T>
    void Set(std::size_t offset, T value) {
        std::memcpy(&bytes_[offset], &value, sizeof value);
    }

    void SetInt(std::size_t offset, std::int64_t value) {
        Set(offset, static_cast<std::int32_t>(value));
    }

    void SetText(std::size_t offset, const std::string& text) {
        std::memcpy(&bytes_[offset], text.data(), text.size());
    }

    // One number for each constant of both states, and for the origin.
    template <class T>
    void SetConstants(std::size_t offset, const PerConstant<T>& lower, const PerConstant<T>& upper,
                      T origin) {
        const std::size_t second = offset + kHeaderSlots * sizeof(T);
        for (int c = 0; c < kNumConstants; ++c) {
            Set(offset + SlotOf(c) * sizeof(T), lower[c]);
            Set(second + SlotOf(c) * sizeof(T), upper[c]);
        }
        Set(second + kOriginSlot * sizeof(T), origin);
    }

    const char* data() const { return bytes_.data(); }

  private:
    std::array<char, kHeaderSize> bytes_{};
};

std::string Label(const std::string& name) {
    constexpr std::size_t kWidth = 5;
    return name + std::string(kWidth - std::min(name.size(), kWidth), ' ');
}

// Calls place(line, assignment) for every assignment that has a calculated line.
template <class Place>
void ForEachMatch(const LineList& lines, const Assignments* assignments, Place place) {
    if (!assignments) return;
    for (std::size_t k = 0; k < static_cast<std::size_t>(lines.matched); ++k) {
        const std::int32_t line = lines.match_line[k], assignment = lines.match_assignment[k];
        if (line < 0 || line >= lines.size) continue;
        if (assignment < 0 || assignment >= assignments->size) continue;
        place(static_cast<std::size_t>(line), static_cast<std::size_t>(assignment));
    }
}

// Brings the arrays of a list into the order of the files, one after another.
class LineSorter {
  public:
    LineSorter(LineList lines, const Assignments* assignments, const Memory& memory)
        : assignments_(assignments), memory_(memory), num_(static_cast<std::size_t>(lines.size)) {
        sorted_.lines = std::move(lines);
    }

    const LineList& lines() const { return sorted_.lines; }
    const Array<double>& observed() const { return sorted_.observed; }
    std::size_t num() const { return num_; }

    Status Positions() {
        Array<double>& position = sorted_.lines.position;
        if (!index_.Take(memory_, lines().size)) return NoMemory(array_name::kSortIndex);
        SortIndex(position.Part(0, num_), index_.Part(0, num_), memory_);
        return Sort(position, array_name::kSortedDoubles);
    }

    // Makes the column of observed frequencies.
    Status Observed() {
        Array<double>& column = sorted_.observed;
        if (!column.Take(memory_, lines().size)) return NoMemory(array_name::kObservedColumn);
        ForEachMatch(lines(), assignments_, [&](std::size_t line, std::size_t assignment) {
            column[line] = assignments_->frequency[assignment];
        });
        if (lines().matched == 0) return {};
        return Sort(column, array_name::kSortedDoubles);
    }

    // Makes the column of their uncertainties.
    Status Uncertainties(Array<float>& column) {
        if (!column.Take(memory_, lines().size)) return NoMemory(array_name::kUncertaintyColumn);
        ForEachMatch(lines(), assignments_, [&](std::size_t line, std::size_t assignment) {
            column[line] = static_cast<float>(assignments_->uncertainty[assignment]);
        });
        if (lines().matched == 0) return {};
        return Sort(column, array_name::kSortedFloats);
    }

    Status Intensities() { return Sort(sorted_.lines.intensity, array_name::kSortedFloats); }

    Status Amplitudes() {
        KIV_TRY(Sort<3>(sorted_.lines.amplitude_real, array_name::kSortedFloats));
        return Sort<3>(sorted_.lines.amplitude_imag, array_name::kSortedFloats);
    }

    Status Bands() { return Sort(sorted_.lines.band, array_name::kSortedChars); }

    Status Labels() { return Sort<6>(sorted_.lines.label, array_name::kSortedShorts); }

    Status LowerLevels() { return Sort(sorted_.lines.lower_level, array_name::kSortedLongs); }

    Status UpperLevels() { return Sort(sorted_.lines.upper_level, array_name::kSortedLongs); }

    SortedLines Take() && { return std::move(sorted_); }

  private:
    template <std::size_t Width = 1, class T>
    Status Sort(Array<T>& array, const char* copy) {
        if (array.is_null()) return {};
        const bool sorted = Permute<Width>(index_.Part(0, num_), Direction::Descending,
                                           array.Part(0, num_ * Width), memory_);
        return sorted ? Status() : NoMemory(copy);
    }

    SortedLines sorted_;
    const Assignments* assignments_;
    const Memory& memory_;
    std::size_t num_;            // lines
    Array<std::int32_t> index_;  // ascending order of the frequencies
};

// Writes the sections of a line set, each when it has been sorted.
class LineSetWriter {
  public:
    LineSetWriter(Sink& sink, const LineSetHeader& header, LineSorter& sorter,
                  const LineSource& source)
        : sink_(sink),
          header_(header),
          sorter_(sorter),
          source_(source),
          derivatives_(static_cast<std::size_t>(source.lower.num_derivatives +
                                                source.upper.num_derivatives)) {}

    Status Write() {
        PutHeader();
        KIV_TRY(sorter_.Positions());
        PutLines(sorter_.lines().position);
        KIV_TRY(sorter_.Observed());
        PutLines(sorter_.observed());
        KIV_TRY(PutUncertainties());
        KIV_TRY(sorter_.Intensities());
        PutLines(sorter_.lines().intensity);
        KIV_TRY(PutAmplitudes());
        KIV_TRY(sorter_.Bands());
        PutLines(sorter_.lines().band);
        KIV_TRY(sorter_.Labels());
        PutLines(sorter_.lines().label, 6);
        PutDerivatives();
        KIV_TRY(PutEnergies());
        PutCovariance();
        return {};
    }

  private:
    // They are only written for pure or equally mixed moments.
    bool HasAmplitudes() const {
        const auto& percent = header_.moment_percent;
        return std::all_of(percent.begin(), percent.end(),
                           [](double p) { return p == 100.0 || p == 0.0; });
    }

    // At no positive temperature the lines carry strengths, and the file the level energies.
    bool HasEnergies() const { return header_.temperatures[0] <= 0.0; }

    bool IsOneState() const { return !sorter_.lines().upper_level.is_null(); }

    std::size_t NumFitted() const {
        return static_cast<std::size_t>(std::max(header_.num_fitted, 0));
    }

    // Those of positional files, or all when a higher one is on.
    int NumConstants() const {
        for (const LineSetHeader::Constants& state : header_.states) {
            const auto higher = state.status.values.begin() + kNumFileConstants;
            if (std::find(higher, state.status.values.end(), 1) != state.status.values.end()) {
                return kNumConstants;
            }
        }
        return kNumFileConstants;
    }

    HeaderBytes MakeHeader() const {
        const auto &lower = header_.states[kLower], &upper = header_.states[kUpper];
        const auto& lines = sorter_.lines();
        HeaderBytes bytes;
        bytes.SetText(kFormat, "QZS v1.6");
        bytes.SetConstants<std::int32_t>(kStatus, lower.status, upper.status,
                                         header_.origin.on ? 1 : 0);
        bytes.Set(kMomentAngles, header_.moment_angles);
        bytes.Set(kTemperatures, header_.temperatures);
        bytes.Set(kEnergyScale, header_.energy_per_kelvin);
        const int constants = NumConstants();
        bytes.SetInt(kConstants, constants);
        bytes.SetText(kLabels + kOriginSlot * kLabelSize, Label("ORI"));
        for (int c = 0; c < constants; ++c) {
            bytes.SetText(kLabels + SlotOf(c) * kLabelSize,
                          Label(NameOf(static_cast<Constant>(c))));
        }
        bytes.SetConstants(kValues, lower.value, upper.value, header_.origin.value);
        bytes.SetConstants(kDeviations, lower.sd, upper.sd, header_.origin.sd);
        bytes.Set(kRms, static_cast<float>(header_.rms));
        bytes.SetInt(kLines, lines.size);
        bytes.SetInt(kAssignments, header_.assignments);
        bytes.SetInt(kMatched, lines.matched);
        bytes.SetInt(kMissing, header_.missing);
        bytes.SetInt(kSplit, header_.split);
        bytes.SetInt(kHasDerivatives, 1);
        bytes.SetInt(kHasEnergies, HasEnergies());
        bytes.SetInt(kDerivatives, static_cast<std::int64_t>(derivatives_));
        bytes.SetInt(kFitted, header_.num_fitted);
        bytes.SetInt(kCovariances, std::int64_t{header_.num_fitted} * header_.num_fitted);
        bytes.SetInt(kLevels, static_cast<std::int64_t>(source_.lower.size()));
        bytes.SetInt(kHasAmplitudes, HasAmplitudes());
        bytes.SetInt(kHasAmplitudes2, HasAmplitudes());
        bytes.SetInt(kIsComplex, source_.lower.is_complex);
        bytes.SetText(kProgram, "KIV " + header_.version);
        return bytes;
    }

    void PutHeader() {
        sink_.Expect(kHeaderSize + BodySize());
        sink_.Put(MakeHeader().data(), kHeaderSize);
    }

    // Bytes behind the header, the covariance apart.
    std::size_t BodySize() const {
        const std::size_t parts = source_.lower.is_complex ? 2 : 1;
        const std::size_t states = !HasEnergies() ? 0 : IsOneState() ? 2 : 1;
        const std::size_t line =
            37 + (HasAmplitudes() ? 12 * parts : 0) + derivatives_ * sizeof(double) + 4 * states;
        return sorter_.num() * line + states * source_.lower.size() * sizeof(double);
    }

    // `width` numbers a line.
    template <class T>
    void PutLines(const Array<T>& array, std::size_t width = 1) {
        const std::size_t num = sorter_.num() * width;
        if (num > 0) sink_.Put(array.data(), num * sizeof(T));
    }

    Status PutUncertainties() {
        Array<float> column;
        KIV_TRY(sorter_.Uncertainties(column));
        PutLines(column);
        return {};
    }

    // Sorted whether they are written or not, so that the list stays one table.
    Status PutAmplitudes() {
        KIV_TRY(sorter_.Amplitudes());
        if (!HasAmplitudes()) return {};
        PutLines(sorter_.lines().amplitude_real, 3);
        if (source_.lower.is_complex) PutLines(sorter_.lines().amplitude_imag, 3);
        return {};
    }

    void PutDerivatives() {
        constexpr std::size_t kBlock = std::size_t{1} << 14;  // doubles for one write
        if (derivatives_ == 0) return;
        double block[kBlock];
        const std::size_t room = kBlock / derivatives_;
        const std::int16_t* label = sorter_.lines().label.data();
        for (std::size_t first = 0; first < sorter_.num(); first += room) {
            const std::size_t count = std::min(room, sorter_.num() - first);
            for (std::size_t i = 0; i < count; ++i, label += 6) {
                LineDerivatives(source_.lower, source_.upper, label, block + i * derivatives_);
            }
            sink_.Put(block, count * derivatives_ * sizeof(double));
        }
    }

    void PutStateEnergies(const Levels& levels, const Array<std::int32_t>& level) {
        sink_.Put(levels.energy.data(), levels.size() * sizeof(double));
        PutLines(level);
    }

    Status PutEnergies() {
        KIV_TRY(sorter_.LowerLevels());
        if (HasEnergies()) PutStateEnergies(source_.lower, sorter_.lines().lower_level);
        KIV_TRY(sorter_.UpperLevels());
        if (!HasEnergies() || !IsOneState()) return {};
        PutStateEnergies(source_.upper, sorter_.lines().upper_level);
        return {};
    }

    // Rows and columns 1..P; zeros where no fit left a matrix of that size.
    void PutCovariance() {
        const std::size_t num = NumFitted();
        const Table<double>* const matrix = header_.covariance;
        const bool whole = matrix && matrix->rows() > num && matrix->cols() > num;
        const std::string zeros(num * sizeof(double), '\0');
        for (std::size_t row = 1; row <= num; ++row) {
            sink_.Put(whole ? static_cast<const void*>(&(*matrix)(row, 1)) : zeros.data(),
                      zeros.size());
        }
    }

    Sink& sink_;
    const LineSetHeader& header_;
    LineSorter& sorter_;
    const LineSource& source_;
    std::size_t derivatives_;  // a line
};

}  // namespace

LineSetHeader HeaderOf(const InputFile& file, const Model& model, const LineList& lines,
                       const Assignments* assignments) {
    constexpr double kWavenumberPerMHz = 1.0 / 29979.2458;
    LineSetHeader header;
    for (StateIndex state : {kLower, kUpper}) {
        LineSetHeader::Constants& constants = header.states[state];
        for (int c = 0; c < kNumConstants; ++c) {
            const Term& term = model.states[state].terms[c];
            // without their signs, as they always were
            constants.status[c] = static_cast<std::uint16_t>(file.states[state].status[c]);
            constants.value[c] = term.value;
            constants.sd[c] = term.sd;
        }
    }
    header.origin = model.origin;
    header.moment_angles = file.moment_angles;
    header.moment_percent = file.moment_percent;
    header.temperatures = file.temperatures;
    header.energy_per_kelvin = EnergyPerKelvin(file).value_or(header.energy_per_kelvin);
    header.wavenumbers = file.energy_unit == "MHz" ? kWavenumberPerMHz : 1.0;
    header.assignments = assignments ? assignments->size : 0;
    header.split = assignments ? assignments->split : 0;
    header.missing = lines.missing;
    return header;
}

Result<SortedLines> SortLines(LineList lines, const Assignments* assignments,
                              const Memory& memory) {
    LineSorter sorter(std::move(lines), assignments, memory);
    for (auto part : {&LineSorter::Positions, &LineSorter::Observed, &LineSorter::Intensities,
                      &LineSorter::Amplitudes, &LineSorter::Bands, &LineSorter::Labels,
                      &LineSorter::LowerLevels, &LineSorter::UpperLevels}) {
        KIV_TRY((sorter.*part)());
    }
    return std::move(sorter).Take();
}

Result<SortedLines> WriteLineSet(Sink& sink, const LineSetHeader& header, LineList lines,
                                 const LineSource& source, const Memory& memory) {
    LineSorter sorter(std::move(lines), source.assignments, memory);
    KIV_TRY(LineSetWriter(sink, header, sorter, source).Write());
    return std::move(sorter).Take();
}

}  // namespace kiv
