#include "exchange/ImportSuite.h"

#include <algorithm>

#include "exchange/Foreign.h"
#include "exchange/IntensityFile.h"
#include "exchange/MeasuredLines.h"
#include "exchange/ParameterFile.h"
#include "exchange/SuiteCodes.h"
#include "named/LineFile.h"
#include "named/NumberText.h"
#include "named/Text.h"

namespace kiv {
namespace {

std::string WithoutFolder(const std::string& name) {
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

class Importer {
  public:
    Importer(const SuiteSet& set, const std::string& line_file)
        : set_(set), line_file_(line_file) {}

    SuiteImport Import() {
        ReadParameters();
        if (parameters_ && set_.intensities) ReadIntensities();
        if (parameters_ && set_.lines) ReadLines();
        if (!parameters_) LookAtOthers();
        if (parameters_ && !made_.findings.has_errors()) Finish();
        made_.findings.Sort();
        if (!made_.findings.has_errors()) made_.text = Comment() + WriteNamed(made_.input);
        return std::move(made_);
    }

  private:
    LineReport ReportOf(const SuiteFile& file) { return {file.name, made_.findings}; }

    void ReadParameters() {
        const LineReport report = ReportOf(set_.parameters);
        if (TellForeign(set_.parameters.text, SuiteKind::Parameters, report)) return;
        parameters_ = ReadParameterFile(set_.parameters.text, set_.is_var, report);
        if (parameters_) TakeParameters(*parameters_, report, made_.input);
    }

    void ReadIntensities() {
        const LineReport report = ReportOf(*set_.intensities);
        if (TellForeign(set_.intensities->text, SuiteKind::Intensities, report)) return;
        intensities_ = ReadIntensityFile(set_.intensities->text, report);
        if (intensities_) TakeIntensities(*intensities_, report, made_.input);
    }

    void ReadLines() {
        const LineReport report = ReportOf(*set_.lines);
        if (TellForeign(set_.lines->text, SuiteKind::Lines, report)) return;
        LineContext context;
        context.two_states = made_.input.two_states;
        context.unit = made_.input.unit;
        lines_ = ReadMeasuredLines(set_.lines->text, context, report);
        CheckCount();
        if (context.unit == EnergyUnit::Wavenumber && lines_->has_MHz) {
            report.Add(FindingCode::UnitMismatch, {1, 1},
                       "FLAGS says that constants are in cm-1; lines with a positive uncertainty "
                       "were taken as MHz, those with a negative one as cm-1");
        }
    }

    // Without the constants, whether the other files are at least what they seem.
    void LookAtOthers() {
        if (set_.intensities) {
            const LineReport report = ReportOf(*set_.intensities);
            if (!TellForeign(set_.intensities->text, SuiteKind::Intensities, report)) {
                ReadIntensityFile(set_.intensities->text, report);
            }
        }
        if (set_.lines) {
            TellForeign(set_.lines->text, SuiteKind::Lines, ReportOf(*set_.lines));
        }
    }

    // NLINE may be larger than the file, which the suite then reads to its end.
    void CheckCount() {
        const SuiteNumber& num = parameters_->count(kNline);
        if (num.value < 0.0 || num.value >= lines_->rows) return;
        ReportOf(set_.parameters)
            .Add(FindingCode::CountMismatch, num.place,
                 "NLINE = " + std::to_string(num.whole()) + ", but " +
                     WithoutFolder(set_.lines->name) + " has " + std::to_string(lines_->rows) +
                     " lines: the suite leaves out those behind the first " +
                     std::to_string(num.whole()) + ", here all are there");
    }

    void Finish() {
        FinishMoment();
        FinishLines();
        FinishBasis();
    }

    void FinishMoment() {
        const LineReport report = ReportOf(set_.parameters);
        if (set_.intensities || set_.lines) return;
        NamedMoment moment;
        moment.values = {1.0, 1.0, 1.0};
        made_.input.moment = moment;
        report.Add(FindingCode::NoMoment, {1, 1},
                   "there is no .int and so no dipole; mu = [1.0, 1.0, 1.0] makes lines of every "
                   "type, put your dipole in its place");
    }

    void FinishLines() {
        NamedInput& input = made_.input;
        const bool is_covariance_lost = set_.is_var && !lines_;
        const auto is_bound = [](const SuiteParameter& parameter) {
            return parameter.error.value > kHeldError && parameter.error.value < kFreeError;
        };
        const auto& all = parameters_->parameters;
        const auto bound = std::find_if(all.begin(), all.end(), is_bound);
        if (is_covariance_lost && bound != all.end()) {
            ReportOf(set_.parameters)
                .Add(FindingCode::LeftOut, bound->error.place,
                     "errors and covariance of a .var are left out: predicted uncertainties come "
                     "from a fit, import the .lin, too");
        }
        if (!lines_) return;
        if (parameters_->count(kNitr).value == 0.0) input.fit.cycles = 0;
        input.fit.lines = line_file_;
        made_.features = lines_->features;
        LineContext context;
        context.two_states = input.two_states;
        context.unit = input.unit;
        const Result<std::string> text = WriteLineFile(made_.features, LineFormat::Csv, context);
        if (text) {
            made_.lines = text.value();
        } else {
            ReportOf(*set_.lines).Add(FindingCode::NoCounterpart, {1, 1}, text.error().text);
        }
        ReachLines();
    }

    // The highest J is at least that of the lines: the suite fits them whatever FEND says.
    void ReachLines() {
        int& max_J = made_.input.spectrum.max_J;
        if (lines_->highest_J <= max_J) return;
        if (intensities_) {
            ReportOf(*set_.intensities)
                .Add(FindingCode::BeyondJMax, intensities_->number(kFend).place,
                     "FEND = " + std::to_string(max_J) +
                         ", but lines reach J = " + std::to_string(lines_->highest_J) +
                         ": J_max is that, so that they can be fitted");
        }
        max_J = lines_->highest_J;
    }

    void FinishBasis() {
        const SuiteNumber& most = parameters_->option(kKnmax);
        const int reached = intensities_ ? made_.input.spectrum.max_J
                            : lines_     ? lines_->highest_J
                                         : 0;
        if (most.value >= reached) return;
        ReportOf(set_.parameters)
            .Add(FindingCode::CutBasis, most.place,
                 "KNMAX = " + ShortestText(most.value) + " cuts the basis there, J reaches " +
                     std::to_string(reached) +
                     ": lists of the suite lack levels of higher K, which are there here");
    }

    // ------------------------------------------------------------------------------- comment

    std::string Comment() const {
        std::vector<std::string> names{WithoutFolder(set_.parameters.name)};
        if (set_.intensities) names.push_back(WithoutFolder(set_.intensities->name));
        if (set_.lines) names.push_back(WithoutFolder(set_.lines->name));
        std::string text = "# Imported from " + Printable(names[0]);
        for (std::size_t i = 1; i < names.size(); ++i) {
            text += (i + 1 == names.size() ? " and " : ", ") + Printable(names[i]);
        }
        text += " by kiv import.\n";
        if (intensities_) text += CatalogueComment();
        if (!made_.findings.empty()) text += "#\n# Noted:\n";
        for (Finding finding : made_.findings) {
            finding.file = WithoutFolder(finding.file);
            text += "#   " + Printable(TextOf(finding)) + "\n";
        }
        return text + "\n";
    }

    std::string CatalogueComment() const {
        const SuiteNumber& Q = intensities_->number(kQrot);
        std::string text =
            "# Its catalogue: kiv export cat FILE" + CatalogueOptions(*intensities_) + "\n";
        if (Q.value > 0.0) {
            text += "# There Q(" + ShortestText(made_.input.spectrum.rules.temperature) +
                    " K) was given as " + ShortestText(Q.value) + "; here it is summed.\n";
        }
        return text;
    }

    const SuiteSet& set_;
    const std::string& line_file_;
    SuiteImport made_;
    std::optional<ParameterFile> parameters_;
    std::optional<IntensityFile> intensities_;
    std::optional<MeasuredLines> lines_;
};

}  // namespace

SuiteImport ImportSuite(const SuiteSet& set, const std::string& line_file) {
    return Importer(set, line_file).Import();
}

}  // namespace kiv
