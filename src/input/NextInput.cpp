#include "input/NextInput.h"

#include <span>
#include <string>

#include "input/InputLayout.h"
#include "input/RecordFormat.h"
#include "output/WholeFile.h"
#include "run/KivTrace.h"

namespace {

constexpr char kHalfRule[] = "########################################";
static_assert(sizeof kHalfRule == 41);

// The rows name the cells that a reader fills; here they are only looked at.
KivRecord& CellsOf(const KivRecord& kiv) { return const_cast<KivRecord&>(kiv); }

void PutRule(std::FILE* file, const char* end) {
    std::fprintf(file, "%s%s%s", kHalfRule, kHalfRule, end);
}

// A comment that looks empty, or like a comment line of the file, would not be found again.
const char* CommentText(const KivRecord& kiv) {
    const char* text = kiv.Comment;
    while (*text == '#' || *text == ' ' || (*text >= '\t' && *text <= '\r')) ++text;
    return *text ? text : "NO COMMENT\n";
}

void PutHead(const KivRecord& kiv, std::FILE* file) {
    PutRule(file, "\n");
    std::fprintf(file, "#                         KIV INPUT FILE : VERSION %s", kiv.Version);
    std::fprintf(file, "                        #\n");
    PutRule(file, "\n\n");
    std::fprintf(file, "# COMMENT LINE (< 500 CHARACTERS WITH NEW LINE END):\n");
    std::fprintf(file, "  %s\n", CommentText(kiv));
}

void PutRows(const KivRecord& kiv, std::FILE* file, std::span<const ParmRow> rows) {
    for (const ParmRow& row : rows) {
        if (row.When && !row.When(kiv, kiv.Version)) continue;
        if (row.Title) PutFields(file, row.Title, {});
        PutFields(file, row.Format, row.At(CellsOf(kiv)));
    }
}

void PutTitle(const KivRecord& kiv, int state, std::FILE* file, const char* title) {
    const Cell label[] = {CellsOf(kiv).State_Lbl[state]};
    PutFields(file, title, label);
}

void PutAngles(const KivRecord& kiv, int state, std::FILE* file) {
    KivRecord& k = CellsOf(kiv);
    PutTitle(kiv, state, file, kAnglesTitle);
    const Cell angles[] = {k.Euler_Phi[state], k.Euler_Theta[state], k.Euler_Chi[state]};
    PutFields(file, kAnglesFormat, angles);
}

void PutGroup(const KivRecord& kiv, int state, std::FILE* file, const HamGroup& group) {
    KivRecord& k = CellsOf(kiv);
    const bool first = group.Prm[0] == PRM_A;
    Cell stat[3], val[3], fit[3];
    for (int i = 0; i < group.Num; ++i) {
        stat[i] = k.Prm_Stat[state][group.Prm[i]];
        val[i] = k.Prm_Val[state][group.Prm[i]];
        fit[i] = k.Prm_Fit[state][group.Prm[i]];
    }
    if (!first) {
        PutTitle(kiv, state, file, kStatTitle);
        PutFields(file, kStatFormat[group.Num], stat);
    }
    const bool s_form = group.TitleS && !IsAReduction(kiv, state);
    PutTitle(kiv, state, file, s_form ? group.TitleS : group.Title);
    PutFields(file, kValFormat[group.Num], val);
    if (first) PutAngles(kiv, state, file);
    PutTitle(kiv, state, file, kFitTitle);
    PutFields(file, kFitFormat[group.Num], fit);
}

}  // namespace

void KivWriteHamParm(const KivRecord& kiv, int state, std::FILE* file) {
    for (const HamGroup& group : kHamGroups) PutGroup(kiv, state, file, group);
    if (state == ST_EXC) PutRows(kiv, file, kOriginRows);
}

int KivWriteInputParm(const KivRecord& kiv) {
    TraceEnter("KivWriteInputParm");
    const std::string name = std::string(kiv.Out_Base) + ".in";
    WholeFile file;
    file.Open(name, WholeFile::Kind::Precious);  // it may be the file that was read
    std::FILE* const stream = file.Stream();
    if (stream) {
        PutHead(kiv, stream);
        PutRows(kiv, stream, kNameRows);
        KivWriteHamParm(kiv, ST_GND, stream);
        KivWriteHamParm(kiv, ST_EXC, stream);
        PutRows(kiv, stream, kRunRows);
        PutRule(stream, "\n");
    }
    if (!stream || !file.Keep()) {
        return ConFail("FAILED TO CREATE ASCII INPUT FILE [%s] FOR WRITING!\n", name.c_str());
    }
    return TraceExit("KivWriteInputParm");
}
