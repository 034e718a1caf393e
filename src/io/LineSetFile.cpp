// The binary line set, in descending frequency.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "io/LineFileBlocks.h"
#include "io/LineSetHeader.h"
#include "io/LineSorter.h"
#include "kiv/files.h"
#include "lines/LineDerivatives.h"

namespace kiv {
namespace {

using namespace line_set;

std::string Label(const std::string& name) {
    constexpr std::size_t kWidth = 5;
    return name + std::string(kWidth - std::min(name.size(), kWidth), ' ');
}

// Where the sections of a line set go, in their order.
class SectionTaker {
  public:
    virtual ~SectionTaker() = default;
    virtual void Put(const void* data, std::size_t bytes) = 0;
    /// The derivatives of all lines, which are nowhere kept.
    virtual void PutDerivatives() = 0;
};

// Tells the sections of a line set, each when it has been sorted.
class LineSetSections {
  public:
    using Column = LineSorter::Column;

    LineSetSections(const LineSetHeader& header, LineSorter& sorter, const LineSource& source)
        : header_(header),
          sorter_(sorter),
          source_(source),
          derivatives_(static_cast<std::size_t>(source.lower.num_derivatives +
                                                source.upper.num_derivatives)),
          head_(MakeHeader()),
          zeros_(NumFitted() * sizeof(double), '\0') {}

    // What is passed on stays as long as this, unless `passes` tells that it was written at once.
    Status Tell(SectionTaker& taker, bool passes);

    // Bytes of the file, the covariance apart.
    std::size_t Size() const { return kHeaderSize + BodySize(); }

    std::size_t num() const { return sorter_.num(); }
    std::size_t derivatives() const { return derivatives_; }  // a line

    // Derivatives of `count` lines from `first` on.
    void FillDerivatives(std::size_t first, std::size_t count, double* out) const {
        const std::int16_t* label = &sorter_.lines().label[6 * first];
        for (std::size_t i = 0; i < count; ++i, label += 6, out += derivatives_) {
            LineDerivatives(source_.lower, source_.upper, label, out);
        }
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
    void PutLines(SectionTaker& taker, const Array<T>& array, std::size_t width = 1) const {
        const std::size_t num = sorter_.num() * width;
        if (num > 0) taker.Put(array.data(), num * sizeof(T));
    }

    Status PutAmplitudes(SectionTaker& taker);
    Status PutEnergies(SectionTaker& taker);
    void PutStateEnergies(SectionTaker& taker, const Levels& levels,
                          const Array<std::int32_t>& level) const;
    void PutCovariance(SectionTaker& taker) const;

    const LineSetHeader& header_;
    LineSorter& sorter_;
    const LineSource source_;
    std::size_t derivatives_;
    HeaderBytes head_;
    std::string zeros_;  // a row of the covariance
};

Status LineSetSections::Tell(SectionTaker& taker, bool passes) {
    taker.Put(head_.data(), kHeaderSize);
    KIV_TRY(sorter_.Sort(Column::Positions));
    PutLines(taker, sorter_.lines().position);
    KIV_TRY(sorter_.Sort(Column::Observed));
    PutLines(taker, sorter_.observed());
    KIV_TRY(sorter_.Sort(Column::Uncertainties));
    PutLines(taker, sorter_.uncertainties());
    if (passes) sorter_.DropUncertainties();
    KIV_TRY(sorter_.Sort(Column::Intensities));
    PutLines(taker, sorter_.lines().intensity);
    KIV_TRY(PutAmplitudes(taker));
    KIV_TRY(sorter_.Sort(Column::Bands));
    PutLines(taker, sorter_.lines().band);
    KIV_TRY(sorter_.Sort(Column::Labels));
    PutLines(taker, sorter_.lines().label, 6);
    if (derivatives_ > 0) taker.PutDerivatives();
    KIV_TRY(PutEnergies(taker));
    PutCovariance(taker);
    return {};
}

// Sorted whether they are written or not, so that the list stays one table.
Status LineSetSections::PutAmplitudes(SectionTaker& taker) {
    KIV_TRY(sorter_.Sort(Column::Amplitudes));
    if (!HasAmplitudes()) return {};
    PutLines(taker, sorter_.lines().amplitude_real, 3);
    if (source_.lower.is_complex) PutLines(taker, sorter_.lines().amplitude_imag, 3);
    return {};
}

void LineSetSections::PutStateEnergies(SectionTaker& taker, const Levels& levels,
                                       const Array<std::int32_t>& level) const {
    taker.Put(levels.energy.data(), levels.size() * sizeof(double));
    PutLines(taker, level);
}

Status LineSetSections::PutEnergies(SectionTaker& taker) {
    KIV_TRY(sorter_.Sort(Column::LowerLevels));
    if (HasEnergies()) PutStateEnergies(taker, source_.lower, sorter_.lines().lower_level);
    KIV_TRY(sorter_.Sort(Column::UpperLevels));
    if (!HasEnergies() || !IsOneState()) return {};
    PutStateEnergies(taker, source_.upper, sorter_.lines().upper_level);
    return {};
}

// Rows and columns 1..P; zeros where no fit left a matrix of that size.
void LineSetSections::PutCovariance(SectionTaker& taker) const {
    const std::size_t num = NumFitted();
    const Table<double>* const matrix = header_.covariance;
    const bool whole = matrix && matrix->rows() > num && matrix->cols() > num;
    for (std::size_t row = 1; row <= num; ++row) {
        taker.Put(whole ? static_cast<const void*>(&(*matrix)(row, 1)) : zeros_.data(),
                  zeros_.size());
    }
}

constexpr std::size_t kBlock = std::size_t{1} << 17;  // bytes a write
// The same on threads: to hand a file from one to the other takes as long as to write a small
// block.
constexpr std::size_t kSharedBlock = std::size_t{1} << 20;

// Lines whose derivatives fit into a block.
std::size_t LinesOfBlock(const LineSetSections& sections, std::size_t block) {
    return std::max<std::size_t>(1, block / (sections.derivatives() * sizeof(double)));
}

// Writes each section as soon as it is there.
class SectionWriter final : public SectionTaker {
  public:
    SectionWriter(Sink& sink, const LineSetSections& sections) : sink_(sink), from_(sections) {}

    void Put(const void* data, std::size_t bytes) override { sink_.Put(data, bytes); }

    void PutDerivatives() override {
        const std::size_t room = LinesOfBlock(from_, kBlock);
        std::vector<double> block(room * from_.derivatives());
        for (std::size_t first = 0; first < from_.num(); first += room) {
            const std::size_t count = std::min(room, from_.num() - first);
            from_.FillDerivatives(first, count, block.data());
            sink_.Put(block.data(), count * from_.derivatives() * sizeof(double));
        }
    }

  private:
    Sink& sink_;
    const LineSetSections& from_;
};

// The sections cut into blocks, to be written side by side with another file.
class LineSetBlocks final : public BlockFile, private SectionTaker {
  public:
    LineSetBlocks(Sink& sink, const LineSetHeader& header, LineSorter& sorter,
                  const LineSource& source, int threads)
        : BlockFile(sink),
          sections_(header, sorter, source),
          made_(static_cast<std::size_t>(threads)) {}

    Status Prepare() {
        KIV_TRY(sections_.Tell(*this, false));
        sink().Expect(sections_.Size());
        return {};
    }

    int blocks() const override { return static_cast<int>(blocks_.size()); }

    std::span<const char> Make(int block, int thread) override {
        const Block& of = blocks_[static_cast<std::size_t>(block)];
        if (of.data) return {of.data, of.size};
        std::vector<double>& made = made_[static_cast<std::size_t>(thread)];
        made.resize(of.size * sections_.derivatives());
        sections_.FillDerivatives(of.first, of.size, made.data());
        return {reinterpret_cast<const char*>(made.data()), made.size() * sizeof(double)};
    }

  private:
    struct Block {
        const char* data = nullptr;  // null: derivatives, to be made
        std::size_t size = 0;        // bytes, or lines
        std::size_t first = 0;       // line
    };

    void Put(const void* data, std::size_t bytes) override {
        const char* const from = static_cast<const char*>(data);
        for (std::size_t first = 0; first < bytes; first += kSharedBlock) {
            blocks_.push_back({from + first, std::min(kSharedBlock, bytes - first)});
        }
    }

    void PutDerivatives() override {
        const std::size_t room = LinesOfBlock(sections_, kSharedBlock);
        for (std::size_t first = 0; first < sections_.num(); first += room) {
            blocks_.push_back({nullptr, std::min(room, sections_.num() - first), first});
        }
    }

    LineSetSections sections_;
    std::vector<Block> blocks_;
    std::vector<std::vector<double>> made_;  // by thread
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

Result<SortedLines> WriteLineSet(Sink& sink, const LineSetHeader& header, LineList lines,
                                 const LineSource& source, const Memory& memory) {
    LineSorter sorter(std::move(lines), source.assignments, memory);
    LineSetSections sections(header, sorter, source);
    sink.Expect(sections.Size());
    SectionWriter writer(sink, sections);
    KIV_TRY(sections.Tell(writer, true));
    return std::move(sorter).Take();
}

Result<std::unique_ptr<BlockFile>> CutLineSet(Sink& sink, const LineSetHeader& header,
                                              LineSorter& sorter, const LineSource& source,
                                              int threads) {
    auto blocks = std::make_unique<LineSetBlocks>(sink, header, sorter, source, threads);
    KIV_TRY(blocks->Prepare());
    return std::unique_ptr<BlockFile>(std::move(blocks));
}

}  // namespace kiv
