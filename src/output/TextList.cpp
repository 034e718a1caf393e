// The text list of a line set.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "output/LineSet.h"
#include "output/NumText.h"
#include "output/WholeFile.h"
#include "run/KivRecord.h"
#include "run/KivTrace.h"

namespace {

// What a row of the text list reads, for line n of the sorted store.
struct TextSource {
    const char* Type = Kiv.FI_BT_Lbl.Data();
    const std::int16_t* JKK = Kiv.FI_JKK_Lbl.Data();
    const float* Itn = Kiv.FI_Sim_Itn.Data();
    const double* Obs;
    const double* Calc = Kiv.FI_Sim_Erg.Data();
    const std::int32_t* Level = nullptr;  // null: no column of ground energies
    const double* Erg = Kiv.HamErg_Vector[ST_GND].Data();
    double Scale = 1.0;  // from the unit of the run to cm-1
};

constexpr double kCm1PerMHz = 1.0 / 29979.2458;

constexpr std::size_t kMaxRow = 6 * (kIntRoom + 1) + 5 * (kFixed4Room + 1) + 32;
constexpr std::size_t kUsualRow = 78;                     // with an energy
constexpr std::size_t kAhead = 8;                         // rows between a fetch and its use
constexpr std::size_t kTextBlock = std::size_t{1} << 17;  // bytes a write

// Texts that many lines have in common, by what they are made from. A place holds one text at a
// time; the levels of a run all have places of their own.
template <class Key>
class TextMemory {
  public:
    // Room for `num` texts; without memory for it, none is remembered.
    explicit TextMemory(std::int64_t num) {
        const auto places = std::bit_ceil(static_cast<std::uint64_t>(num));
        Last = static_cast<std::size_t>(places) - 1;
        ArrAlloc(Place, static_cast<std::int64_t>(places));
    }

    void Fetch(std::size_t number) const {
        if (!Place.IsNull()) __builtin_prefetch(&Place[number & Last]);
    }

    // Writes the text of `key`, whose place is `number`; make(out) writes it the first time.
    template <class Make>
    char* Put(char* out, std::size_t number, Key key, const Make& make) {
        if (Place.IsNull()) return make(out);
        Text& text = Place[number & Last];
        if (text.Size == 0 || text.From != key) {
            char* const end = make(out);
            const auto size = static_cast<std::size_t>(end - out);
            if (size > kRoom) return end;
            std::memcpy(text.Chars, out, kRoom);
            text.From = key;
            text.Size = static_cast<std::uint32_t>(size);
            return end;
        }
        std::memcpy(out, text.Chars, kRoom);
        return out + text.Size;
    }

  private:
    static constexpr std::size_t kRoom = 24;
    struct Text {
        Key From;
        std::uint32_t Size;
        char Chars[kRoom];
    };
    KivArray<Text> Place;
    std::size_t Last = 0;
};

// " %11.4lf"
char* PutColumn(char* out, double value) {
    *out++ = ' ';
    return PutFixed4(out, value, 11);
}

// Quantum numbers of one level, J in `width` columns.
char* PutLevel(char* out, const std::int16_t* q, int width) {
    for (int i = 0; i < 3; ++i) {
        *out++ = ' ';
        out = PutInt(out, q[i], i == 0 ? width : 2);
    }
    return out;
}

// The rows of the text list.
class TextRows {
  public:
    explicit TextRows(const TextSource& source)
        : From(source), Upper(NumLevels()), Lower(NumLevels()), Energy(NumLevels()) {}

    // type 1  J' 3-4  Ka' 6-7  Kc' 9-10  J" 12-14  Ka" 16-17  Kc" 19-20  intensity 22-29
    // observed 31-41  calculated 43-53  difference 55-65  ground energy 67-77
    char* Put(char* out, std::size_t n) {
        *out++ = From.Type[n];
        out = PutKnownLevel(out, Upper, &From.JKK[6 * n], 2);
        out = PutKnownLevel(out, Lower, &From.JKK[6 * n + 3], 3);
        *out++ = ' ';
        out = PutFixed4(out, static_cast<double>(From.Itn[n]), 8);
        const double obs = From.Obs[n], calc = From.Calc[n];
        if (std::bit_cast<std::uint64_t>(obs) == 0) {
            std::memcpy(out, "      0.0000", 12);
            out += 12;
        } else {
            out = PutColumn(out, obs);
        }
        out = PutColumn(out, calc);
        if (obs == 0.0) {
            std::memset(out, ' ', 12);
            out += 12;
        } else {
            out = PutColumn(out, obs - calc);
        }
        if (From.Level) {
            const std::int32_t level = From.Level[n];
            out = Energy.Put(out, static_cast<std::size_t>(level), level,
                             [&](char* to) { return PutColumn(to, From.Erg[level] * From.Scale); });
        }
        *out++ = '\n';
        return out;
    }

    // Brings what row n needs nearer: in a large run the levels do not fit the cache.
    void Fetch(std::size_t n) const {
        Upper.Fetch(NumberOf(&From.JKK[6 * n]));
        Lower.Fetch(NumberOf(&From.JKK[6 * n + 3]));
        if (From.Level) Energy.Fetch(static_cast<std::size_t>(From.Level[n]));
    }

  private:
    using Levels = TextMemory<std::uint64_t>;

    static std::size_t NumberOf(const std::int16_t* q) {
        return static_cast<std::size_t>(q[0] * (q[0] + 1) + q[1] - q[2]);
    }

    static char* PutKnownLevel(char* out, Levels& levels, const std::int16_t* q, int width) {
        std::uint64_t key = 0;
        std::memcpy(&key, q, 3 * sizeof *q);
        return levels.Put(out, NumberOf(q), key, [&](char* to) { return PutLevel(to, q, width); });
    }

    TextSource From;
    Levels Upper, Lower;
    TextMemory<std::int32_t> Energy;  // of the lower levels
};

// From the last line to the first: ascending frequency.
void PutTrsRows(WholeFile& file, const TextSource& from) {
    TextRows rows(from);
    char block[kTextBlock];
    char* const full = block + kTextBlock - kMaxRow;
    char* end = block;
    for (auto n = static_cast<std::size_t>(Kiv.Num_Trs); n-- > 0;) {
        if (n >= kAhead) rows.Fetch(n - kAhead);
        end = rows.Put(end, n);
        if (end >= full) {
            file.Put(block, static_cast<std::size_t>(end - block));
            end = block;
        }
    }
    file.Put(block, static_cast<std::size_t>(end - block));
}

// The first line of the text list, by whether it has a column of ground energies.
constexpr char kItnHeading[] =
    "BT J'Ka'Kc'  J\"Ka\"Kc\"     ITN         OBL        CALC         OmC\n";
constexpr char kErgHeading[] =
    "BT J'Ka'Kc'  J\"Ka\"Kc\" Sij*Mu**2       OBL        CALC         OmC     GND ERG (CM-1)\n";

}  // namespace

int PrntTrsQZS(const char* base, const double* obs) {
    TraceEnter("PrntTrsQZS");
    const std::string name = std::string(base) + ".asc";
    WholeFile file;
    if (!file.Open(name)) {
        return LogFail("FAILED TO CREATE ASCII FILE [%s] FOR WRITING!\n", name.c_str());
    }
    TextSource from = {.Obs = obs};
    if (HasEnergies()) {
        from.Level = Kiv.FI_Erg_Idx[ST_GND].Data();
        if (std::strcmp(Kiv.Erg_Unit, "MHz") == 0) from.Scale = kCm1PerMHz;
    }
    const char* heading = HasEnergies() ? kErgHeading : kItnHeading;
    file.Expect(static_cast<std::size_t>(Kiv.Num_Trs) * kUsualRow);
    file.Put(heading, std::strlen(heading));
    PutTrsRows(file, from);
    if (!file.Keep()) {
        return LogFail("FAILED TO CREATE ASCII FILE [%s] FOR WRITING!\n", name.c_str());
    }
    if (DebugIsOn(DBG_ALL)) {
        LogPut("EXIT PrntTrs()QZS\n");  // odd, and meant
        LogFlush();
    }
    return 1;
}
