// The text list of a line set, in ascending frequency.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "base/TextBuffer.h"
#include "io/LineFileBlocks.h"
#include "io/NumText.h"
#include "kiv/files.h"

namespace kiv {
namespace {

// What a row reads, for line n of the sorted list.
struct RowSource {
    const char* band;
    const std::int16_t* label;
    const float* intensity;
    const double* observed;
    const double* calculated;
    const std::int32_t* level;  // null: no column of lower energies
    const double* energy;
    double wavenumbers;
};

constexpr std::size_t kMaxRow = 6 * (kIntRoom + 1) + 5 * (kFixed4Room + 1) + 32;
constexpr std::size_t kUsualRow = 78;     // with an energy
constexpr std::size_t kAhead = 8;         // rows between a fetch and its use
constexpr std::size_t kBlockRows = 6400;  // a write

// Texts that many lines have in common, by what they are made from. A place holds one text at a
// time; the levels of a run all have places of their own.
template <class Key>
class TextMemory {
  public:
    // Room for `num` texts; without memory for it, none is remembered.
    TextMemory(std::size_t num, const Memory& memory) {
        std::size_t places = 1;
        while (places < num) places *= 2;
        last_ = places - 1;
        static_cast<void>(place_.Take(memory, static_cast<std::int64_t>(places)));
    }

    void Fetch(std::size_t number) const {
        if (!place_.is_null()) __builtin_prefetch(&place_[number & last_]);
    }

    // Writes the text of `key`, whose place is `number`; make(out) writes it the first time.
    template <class Make>
    char* Put(char* out, std::size_t number, Key key, const Make& make) {
        if (place_.is_null()) return make(out);
        Text& text = place_[number & last_];
        if (text.size == 0 || text.from != key) {
            char* const end = make(out);
            const auto size = static_cast<std::size_t>(end - out);
            if (size > kRoom) return end;
            std::memcpy(text.chars, out, kRoom);
            text.from = key;
            text.size = static_cast<std::uint32_t>(size);
            return end;
        }
        std::memcpy(out, text.chars, kRoom);
        return out + text.size;
    }

  private:
    static constexpr std::size_t kRoom = 24;
    struct Text {
        Key from;
        std::uint32_t size;
        char chars[kRoom];
    };
    Array<Text> place_;
    std::size_t last_ = 0;
};

// " %11.4lf"
char* PutColumn(char* out, double value) {
    *out++ = ' ';
    return PutFixed4<11>(out, value);
}

// Quantum numbers of one level, J in `width` columns.
char* PutLevel(char* out, const std::int16_t* q, int width) {
    for (int i = 0; i < 3; ++i) {
        *out++ = ' ';
        out = PutInt(out, q[i], i == 0 ? width : 2);
    }
    return out;
}

// The rows of the list.
class RowWriter {
  public:
    RowWriter(const RowSource& source, std::size_t num_levels, const Memory& memory)
        : from_(source),
          upper_(num_levels, memory),
          lower_(num_levels, memory),
          energy_(num_levels, memory) {}

    // type 1  J' 3-4  Ka' 6-7  Kc' 9-10  J" 12-14  Ka" 16-17  Kc" 19-20  intensity 22-29
    // observed 31-41  calculated 43-53  difference 55-65  ground energy 67-77
    char* Put(char* out, std::size_t n) {
        *out++ = from_.band[n];
        out = PutKnownLevel(out, upper_, &from_.label[6 * n], 2);
        out = PutKnownLevel(out, lower_, &from_.label[6 * n + 3], 3);
        *out++ = ' ';
        out = PutFixed4<8>(out, static_cast<double>(from_.intensity[n]));
        const double observed = from_.observed[n], calculated = from_.calculated[n];
        out = PutObserved(out, observed);
        out = PutColumn(out, calculated);
        if (observed == 0.0) {
            std::memset(out, ' ', 12);
            out += 12;
        } else {
            out = PutColumn(out, observed - calculated);
        }
        if (from_.level) {
            const std::int32_t level = from_.level[n];
            out = energy_.Put(out, static_cast<std::size_t>(level), level, [&](char* to) {
                return PutColumn(to, from_.energy[level] * from_.wavenumbers);
            });
        }
        *out++ = '\n';
        return out;
    }

    // Brings what row n needs nearer: in a large run the levels do not fit the cache.
    void Fetch(std::size_t n) const {
        upper_.Fetch(NumberOf(&from_.label[6 * n]));
        lower_.Fetch(NumberOf(&from_.label[6 * n + 3]));
        if (from_.level) energy_.Fetch(static_cast<std::size_t>(from_.level[n]));
    }

  private:
    using LevelTexts = TextMemory<std::uint64_t>;

    // Most lines have none, and then the same text.
    static char* PutObserved(char* out, double observed) {
        constexpr char kNone[] = "      0.0000";
        if (observed != 0.0 || std::signbit(observed)) return PutColumn(out, observed);
        std::memcpy(out, kNone, 12);
        return out + 12;
    }

    static std::size_t NumberOf(const std::int16_t* q) {
        return static_cast<std::size_t>(q[0] * (q[0] + 1) + q[1] - q[2]);
    }

    static char* PutKnownLevel(char* out, LevelTexts& levels, const std::int16_t* q, int width) {
        std::uint64_t key = 0;
        std::memcpy(&key, q, 3 * sizeof *q);
        return levels.Put(out, NumberOf(q), key, [&](char* to) { return PutLevel(to, q, width); });
    }

    RowSource from_;
    LevelTexts upper_, lower_;
    TextMemory<std::int32_t> energy_;  // of the lower levels
};

// Blocks of rows, from the last line to the first: ascending frequency.
class LineListBlocks final : public BlockFile {
  public:
    LineListBlocks(Sink& sink, const RowSource& source, std::size_t num, std::size_t num_levels,
                   const Memory& memory, int threads)
        : BlockFile(sink), num_(num) {
        for (int i = 0; i < threads; ++i) writers_.emplace_back(source, num_levels, memory);
    }

    int blocks() const override { return static_cast<int>((num_ + kBlockRows - 1) / kBlockRows); }

    std::span<const char> Make(int block, int thread) override {
        auto& [rows, text] = writers_[static_cast<std::size_t>(thread)];
        const std::size_t before = static_cast<std::size_t>(block) * kBlockRows;
        const std::size_t last = num_ - before, first = last - std::min(last, kBlockRows);
        text.Clear();
        for (std::size_t n = last; n-- > first;) {
            if (n >= kAhead) rows.Fetch(n - kAhead);
            text.Add(rows.Put(text.Room(kMaxRow), n));
        }
        return text.text();
    }

  private:
    struct Writer {
        Writer(const RowSource& source, std::size_t num_levels, const Memory& memory)
            : rows(source, num_levels, memory) {}

        RowWriter rows;
        TextBuffer text;
    };

    std::size_t num_;              // rows
    std::vector<Writer> writers_;  // by thread
};

// The first line of the list, by whether it has a column of ground energies.
constexpr char kIntensityHeading[] =
    "BT J'Ka'Kc'  J\"Ka\"Kc\"     ITN         OBL        CALC         OmC\n";
constexpr char kEnergyHeading[] =
    "BT J'Ka'Kc'  J\"Ka\"Kc\" Sij*Mu**2       OBL        CALC         OmC     GND ERG (CM-1)\n";

}  // namespace

std::unique_ptr<BlockFile> CutLineList(Sink& sink, const LineSetHeader& header,
                                       const LineList& lines, const Array<double>& observed,
                                       const Levels& lower, const Memory& memory, int threads) {
    const bool has_energies = header.temperatures[0] <= 0.0;
    const RowSource source{
        lines.band.data(),      lines.label.data(),
        lines.intensity.data(), observed.data(),
        lines.position.data(),  has_energies ? lines.lower_level.data() : nullptr,
        lower.energy.data(),    header.wavenumbers};
    const auto num = static_cast<std::size_t>(lines.size);
    const char* const heading = has_energies ? kEnergyHeading : kIntensityHeading;
    sink.Expect(num * kUsualRow);
    sink.Put(heading, std::strlen(heading));
    return std::make_unique<LineListBlocks>(sink, source, num, lower.size(), memory, threads);
}

void WriteLineList(Sink& sink, const LineSetHeader& header, const SortedLines& sorted,
                   const Levels& lower, const Memory& memory) {
    const std::unique_ptr<BlockFile> file =
        CutLineList(sink, header, sorted.lines, sorted.observed, lower, memory, 1);
    BlockFile* const files[] = {file.get()};
    Threads alone;
    WriteBlocks(files, alone);
}

}  // namespace kiv
