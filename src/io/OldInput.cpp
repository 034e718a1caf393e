#include "io/OldInput.h"

#include <algorithm>
#include <span>
#include <string>
#include <string_view>

namespace kiv {
namespace {

// Direction of the moment by band word: pure types along an axis, hybrids half way between two.
struct BandType {
    std::string_view word;
    double theta;
    double chi;
};

// clang-format off
constexpr BandType kBandTypes[] = {
    {"A",    0.0,  0.0},
    {"B",   90.0,  0.0},
    {"C",   90.0, 90.0},
    {"B/A", 45.0,  0.0},
    {"C/A", 45.0, 90.0},
    {"C/B", 90.0, 45.0},
};
// clang-format on

constexpr std::span<const ConstantGroup> kFirstGroups = std::span(kOldGroups).first(3);

// What the ground block of a version 1 file tells about the excited one.
struct FirstBlock {
    bool has_tail = false;  // 1.2: each block ends with a group of DJ and PZ3
    double upper_A = 0.0;   // 1.1: excited A, which stands behind the ground block
};

// Reads the number behind the ground block: the DJ status of a 1.2 file or the excited A of 1.1.
void FindSubVersion(InputFile& file, RecordReader& in, FirstBlock& first, InputListener& listener) {
    double number = 0.0;
    in.Read({&number});
    if (!in.ok()) return;
    first.has_tail = number == 0.0 || number == 1.0;
    if (first.has_tail) {
        file.states[kLower].status[Constant::DJ] = number == 1.0 ? 1 : 0;
    } else {
        first.upper_A = number;
    }
    listener.SubVersionFound(first.has_tail ? "1.2" : "1.1");
}

// Excited block of a 1.1 file, whose A was read before.
void ReadBlockWithoutA(InputState& state, RecordReader& in, const FirstBlock& first) {
    state.value[Constant::A] = first.upper_A;
    in.Read({&state.value[Constant::B], &state.value[Constant::C]});
    in.ReadFrame(state, kFirstGroups[0]);
    in.ReadGroups(state, kFirstGroups.subspan(1));
}

// The rest of the group of DJ and PZ3, behind its first status.
void ReadTail(InputState& state, RecordReader& in) {
    in.Read({&state.status[Constant::PZ3]});
    in.Read({&state.value[Constant::DJ], &state.value[Constant::PZ3]});
    in.Read({&state.fit[Constant::DJ], &state.fit[Constant::PZ3]});
}

void ReadFirstBlocks(InputFile& file, RecordReader& in, InputListener& listener) {
    InputState &lower = file.states[kLower], &upper = file.states[kUpper];
    FirstBlock first;
    in.ReadBlock(lower, kFirstGroups);
    FindSubVersion(file, in, first, listener);
    if (!first.has_tail) return ReadBlockWithoutA(upper, in, first);
    ReadTail(lower, in);
    in.ReadBlock(upper, kFirstGroups);
    in.Read({&upper.status[Constant::DJ]});
    ReadTail(upper, in);
}

void SetBandType(InputFile& file, const std::string& word, RecordReader& in) {
    const auto* const type =
        std::find_if(std::begin(kBandTypes), std::end(kBandTypes),
                     [&word](const BandType& known) { return known.word == word; });
    if (type == std::end(kBandTypes)) return in.Refuse(InputFault::BandType, word);
    file.moment_method = 0;
    file.moment_frame = kLower;
    file.moment_angles = {1.0, type->theta, type->chi};
    MatchMoment(file);
}

}  // namespace

// The Ka limit of these files is read and not used.
void ReadVersion2(InputFile& file, RecordReader& in) {
    in.ReadComment();
    in.ReadRows(kOldHeadRows);
    for (InputState& state : file.states) in.ReadBlock(state, kOldGroups);
    in.ReadRows(kOriginRows);
    in.ReadRows(kOldRunRows);
    in.ReadRows(kOldEndRows);
    file.temperatures[1] = 0.0;
    file.temperatures[2] = 1.0;
    file.assignment_max_Ka = file.assignment_max_Kc = -1;
}

// The magnitude of the moment is read and not used: band types have the magnitude 1.
void ReadVersion1(InputFile& file, RecordReader& in, InputListener& listener) {
    std::string band;
    double magnitude = 0.0;
    in.ReadComment();
    in.ReadRows(kOldHeadRows);
    ReadFirstBlocks(file, in, listener);
    in.Read({&file.origin, &file.origin_fit});
    in.Read({Word{&band, kMaxSwitch}, &file.delta_K, &file.band_split});
    in.Read({&magnitude});
    if (in.ok()) SetBandType(file, band, in);
    in.Read({&file.temperatures[0], &file.min_intensity});
    if (!in.ok()) return;
    file.old_format = listener.AskOldFormat() ? 1 : 0;
    file.intensity_scale = 100.0;
    in.Read({&file.energy_scale, &file.spectral_range});
    in.ReadRows(kOldEndRows);
}

}  // namespace kiv
