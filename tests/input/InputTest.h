// Fixture of the input tests: texts as input files, and what the files of tests/input/files hold.
#pragma once

#include <cstring>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "input/InputParm.h"
#include "run/KivRecord.h"
#include "support/KivTest.h"

using std::string_literals::operator""s;

class InputTest : public KivTest {
  protected:
    /// A file of tests/input/files.
    static std::string Sample(const std::string& name) {
        return ReadText(std::string(KIV_SOURCE_DIR) + "/tests/input/files/" + name);
    }

    /// Rows of a table of tests/input/files: cells between bars; lines with "# " are remarks. In a
    /// cell \n is a line end, \0 a zero byte, x{9} nine x.
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

    /// Reads `text` as an input file into a fresh record; Console holds what was printed.
    int Read(const std::string& text) {
        Kiv = KivRecord{};
        return ReadAgain(text);
    }

    /// The same into the record as it is.
    int ReadAgain(const std::string& text) {
        WriteText("test.in", text);
        return ReadFile("test.in");
    }

    int ReadFile(const std::string& name) {
        Kiv.Inp_Flnm = name;
        return Call([] { return KivReadInputParm(Kiv); });
    }

    template <class Routine>
    int Call(Routine routine) {
        testing::internal::CaptureStdout();
        const int status = routine();
        Console = testing::internal::GetCapturedStdout();
        return status;
    }

    /// `text` with its only `from` replaced.
    static std::string With(std::string text, const std::string& from, const std::string& to) {
        const std::size_t at = text.find(from);
        EXPECT_TRUE(at != std::string::npos && at == text.rfind(from)) << from;
        return at == std::string::npos ? text : text.replace(at, from.size(), to);
    }

    /// All that input files fill, to be compared with the files *.txt of tests/input/files.
    static std::string Slots() {
        std::ostringstream out;
        out << std::setprecision(12) << Kiv.Comment;
        const auto put = [&out](const char* name, const auto&... value) {
            out << name;
            ((out << ' ' << value), ...);
            out << '\n';
        };
        const KivRecord& k = Kiv;
        const std::int32_t *wt = k.Spin_Wt, *debug = k.Debug_Stat;
        const double *ang = k.TM_Ang, *pct = k.TM_Pct;
        put("names", k.Out_Base, k.Asn_Flnm, k.NextInp_Flnm);
        put("fit", k.Fit_Stat, k.Gnd_Only, k.Red_Stat);
        put("range", k.Max_J, k.Delta_K_Order, k.Itn_Cutoff);
        put("assignments", k.Asn_J_Max, k.Asn_Ka_Max, k.Asn_Kc_Max, k.Band_Split);
        put("spin", wt[0], wt[1], wt[2], wt[3], k.Spin_On);
        put("moment", k.TM_Method, k.TM_Frame, ang[0], ang[1], ang[2], pct[0], pct[1], pct[2]);
        put("temperature", k.Temp[0], k.Temp[1], k.Temp[2], k.Erg_Unit, k.Erg_Conv);
        put("cycles", k.LS_Cycles, k.Uniform_Unc, k.Rej_Level);
        put("listed", k.Erg_Print_J_Min, k.Erg_Print_J_Max, k.Vec_Print_J_Min, k.Vec_Print_J_Max);
        put("parity", k.Parity_Stat, k.Gnd_Parity, k.Exc_Parity);
        put("scalars", k.QZ_Fmt, k.Erg_Scale, k.Itn_Scale, k.FSR);
        put("debug", debug[0], debug[1], debug[2], debug[3], debug[4], debug[5]);
        for (int s : {ST_GND, ST_EXC}) {
            put(k.State_Lbl[s], k.Euler_Phi[s], k.Euler_Theta[s], k.Euler_Chi[s]);
            for (int p = 0; p < NUM_PRM; ++p) {
                put(k.Prm_Lbl[p], k.Prm_Stat[s][p], k.Prm_Val[s][p], k.Prm_Fit[s][p]);
            }
        }
        return out.str();
    }

    std::string Console;
};
