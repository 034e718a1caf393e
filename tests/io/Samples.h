// The files of tests/io/files and what they hold.
#pragma once

#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "io/InputFile.h"
#include "support/FolderTest.h"

namespace kiv {

using std::string_literals::operator""s;

/// What a listener of an input file hears, as text; old formats are answered with `answer`.
class HeardInput : public InputListener {
  public:
    void VersionFound(const std::string& version) override { text += "version " + version; }
    void SubVersionFound(const char* version) override { text += " form "s + version; }
    bool AskOldFormat() override {
        text += " asked";
        return answer;
    }
    void Refused(InputFault fault, const std::string& word) override {
        const char* const faults[] = {"version", "layout", "unit", "band type", "record"};
        text += text.empty() ? "refused " : " refused ";
        text += faults[static_cast<int>(fault)];
        if (!word.empty() && fault != InputFault::Version) text += " " + word;
    }

    std::string text;
    bool answer = false;
};

class SampleTest : public FolderTest {
  protected:
    static std::string Sample(const std::string& name) {
        return ReadText(std::string(KIV_SOURCE_DIR) + "/tests/io/files/" + name);
    }

    /// Rows of a table: cells between bars; lines with "# " are remarks. In a cell \n is a line
    /// end, \0 a zero byte, x{9} nine x.
    static std::vector<std::vector<std::string>> Table(const std::string& name) {
        std::vector<std::vector<std::string>> rows;
        std::istringstream text(Sample(name));
        for (std::string line; std::getline(text, line);) {
            if (line.starts_with("# ")) continue;
            std::vector<std::string>& cells = rows.emplace_back(1);
            for (std::size_t i = 0; i < line.size(); ++i) {
                if (line[i] == '|') {
                    cells.emplace_back();
                } else if (line[i] == '{') {
                    const char last = cells.back().back();
                    cells.back().append(std::stoul(line.substr(i + 1)) - 1, last);
                    i = line.find('}', i);
                } else {
                    const bool escape = line[i] == '\\';
                    cells.back() += !escape ? line[i] : line[++i] == 'n' ? '\n' : '\0';
                }
            }
        }
        return rows;
    }

    /// Reads `text` as an input file; `heard` holds what was told, and " end" for a premature end.
    bool Read(const std::string& text) {
        HeardInput listener;
        listener.answer = answer;
        Result<InputFile> read = ReadInputFile(text, listener);
        heard = listener.text;
        if (!read.ok() && read.error().code == ErrorCode::Truncated) {
            heard += " end";
            cut_off = read.error().subject;
        }
        file = read.ok() ? read.value() : InputFile{};
        return read.ok();
    }

    /// `text` with its only `from` replaced.
    static std::string With(std::string text, const std::string& from, const std::string& to) {
        const std::size_t at = text.find(from);
        EXPECT_TRUE(at != std::string::npos && at == text.rfind(from)) << from;
        return at == std::string::npos ? text : text.replace(at, from.size(), to);
    }

    /// All that input files fill, to be compared with the files *.txt.
    std::string Slots() const {
        std::ostringstream out;
        out << std::setprecision(12) << file.comment;
        const auto put = [&out](const auto& name, const auto&... value) {
            out << name;
            ((out << ' ' << value), ...);
            out << '\n';
        };
        const InputFile& f = file;
        const auto& wt = f.spin_weights;
        const auto &t = f.listed_energies, &v = f.listed_vectors;
        const auto &ang = f.moment_angles, &pct = f.moment_percent, &temp = f.temperatures;
        put("names", f.out_base, f.assignment_file, f.next_input);
        put("fit", f.fit_status, f.one_state(), f.reduction_status);
        put("range", f.max_J, f.delta_K, f.min_intensity);
        put("assignments", f.assignment_max_J, f.assignment_max_Ka, f.assignment_max_Kc,
            f.band_split);
        put("spin", wt[0], wt[1], wt[2], wt[3]);
        put("moment", f.moment_method, f.moment_frame, ang[0], ang[1], ang[2], pct[0], pct[1],
            pct[2]);
        put("temperature", temp[0], temp[1], temp[2], f.energy_unit, *EnergyPerKelvin(f));
        put("cycles", f.cycles, f.uniform, f.reject_above);
        put("listed", t.first, t.last, v.first, v.last);
        put("parity", f.parity_status, f.ka_parity, f.kc_parity);
        put("scalars", f.old_format, f.energy_scale, f.intensity_scale, f.spectral_range);
        put("debug", f.debug[0], f.debug[1], f.debug[2], f.debug[3], f.debug[4], f.debug[5]);
        for (int s : {kLower, kUpper}) {
            const InputState& state = f.states[s];
            put(s == kLower ? "GROUND" : "EXCITED", state.angles.phi, state.angles.theta,
                state.angles.chi);
            for (int c = 0; c < kNumFileConstants; ++c) {
                out << std::left << std::setw(5) << NameOf(static_cast<Constant>(c));
                put("", state.status[c], state.value[c], state.fit[c]);
            }
        }
        put("ORI  ", f.origin, f.origin_fit);
        return out.str();
    }

    InputFile file;
    std::string heard;
    std::string cut_off;  // words of the record that the end cut off
    bool answer = false;  // to the question for the old format
};

}  // namespace kiv
