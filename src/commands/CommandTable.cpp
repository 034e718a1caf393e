// The commands, and what help says of them.
#include <algorithm>
#include <iterator>

#include "commands/Commands.h"
#include "kiv/files.h"

namespace kiv {
namespace {

constexpr char kCheckHelp[] =
    "Says what was understood of an input, named (.toml) or of an old version, and of the line "
    "file\n"
    "that it names: constants with units, moment, temperature, levels and lines to expect, files "
    "that\n"
    "kiv run would write. Then every mistake and everything doubtful, one line each on standard\n"
    "error, with file, line, column and a code in brackets. FILE may be a line file (.csv, .asn,\n"
    ".lin), too. Calculates nothing costly, writes nothing.\n"
    "\n"
    "  --json      the findings as a list on standard output\n"
    "\n"
    "Status 3 when there is an error among the findings, else 0.\n";

constexpr char kRunHelp[] =
    "Calculates the lines of an input or fits its constants to measured lines, writes the results "
    "and\n"
    "prints a summary. The input itself is never changed. All files appear whole or not at all.\n"
    "\n"
    "  BASE.log        what was understood and what came out\n"
    "  BASE.asc        the lines as a text, ascending in frequency\n"
    "  BASE.QZS        the lines in binary form, descending in frequency\n"
    "  BASE.fit.toml   after a fit: your input with the fitted numbers (BASE.fit.in of an old "
    "one)\n"
    "\n"
    "BASE is FILE without its ending, or what an old input names, in the folder of FILE.\n"
    "\n"
    "  --out BASE      another BASE\n"
    "  --write LIST    which line files, default asc,qzs\n"
    "  --in-place      puts the fitted numbers into FILE itself; FILE.bak keeps the old one\n"
    "  --json          the summary as one JSON object\n"
    "\n"
    "A fit of a named input ends when every change is below 1e-4 of its standard error. Status 4 "
    "when\n"
    "it does not, or when there is no result for another reason: then only the log is written.\n";

constexpr char kReportHelp[] =
    "Fits the constants of an input to its measured lines and prints a report: conventions, "
    "constants,\n"
    "figures of the fit, correlations, every line with its deviation, leverage and predicted\n"
    "uncertainty, deviations by band type, J and Ka, rejected and repeated lines, blends. Writes "
    "no\n"
    "file. An input that fits nothing is calculated.\n"
    "\n"
    "  --format text|csv|latex|json   text is the default; csv: the measured lines; latex: a table "
    "of\n"
    "                                 the constants; json (or --json): the object of kiv run "
    "--json\n"
    "  --correlations all             all of them, not only those above 0.95\n"
    "  --omit NAME, --add NAME        a refit without varying, or with varying, one constant as\n"
    "                                 lower.DJ or upper.origin; may be repeated, each is a refit\n"
    "  --trials                       such refits for every varied constant and for those of the "
    "next\n"
    "                                 order of distortion\n"
    "  -o FILE                        writes the report there\n"
    "\n"
    "Status 4 when the fit does not converge or has no result; the report then shows what there "
    "is.\n";

constexpr char kImportHelp[] =
    "Makes a named input of files of the SPFIT/SPCAT suite: a .par or .var (constants), with a "
    ".int\n"
    "(dipole, temperature, range of J) and a .lin (measured lines, to OUT.csv) when there are any, "
    "in\n"
    "any order. Asymmetric tops of one state or of two without coupling, to octic constants of "
    "either\n"
    "reduction. What would change a result and has no words in a named input is refused, what else "
    "is\n"
    "left out is told, with file, line and column; OUT.toml begins with what was noted.\n"
    "\n"
    "  kiv import molecule.par molecule.lin molecule.int -o molecule.toml\n"
    "\n"
    "  -o OUT.toml    the file to make\n"
    "  --force        replaces files that are there\n"
    "  --json         the findings as a list on standard output\n"
    "\n"
    "Back: kiv export par, kiv export lin. docs/exchange.md has names, signs, units, "
    "conventions.\n";

constexpr char kConvertHelp[] =
    "Makes a named input of an old one of any version, or an old one (v5.6) of a named input. The "
    "line\n"
    "file goes with it: OUT.toml has its lines in OUT.csv, OUT.in in OUT.asn. What would change a\n"
    "result and has no words in the other form is refused by name; what changes none is noted.\n"
    "\n"
    "  -o OUT.toml | OUT.in    the file to make\n"
    "  --force                 replaces files that are there\n";

constexpr char kNewHelp[] =
    "Prints a commented named input to start from, which runs as it is: of a rotational spectrum\n"
    "(rotor, the default) or of a band between two states (band).\n"
    "\n"
    "  kiv new band -o mine.toml\n"
    "\n"
    "  -o FILE     writes it to FILE\n"
    "  --force     replaces a file that is there\n";

constexpr char kExportHelp[] =
    "Makes one product of an input, straight from it: the lines are calculated, or the constants "
    "are\n"
    "fitted first when the input asks for a fit, which then also gives predicted uncertainties. "
    "On\n"
    "standard output or in the file of -o.\n"
    "\n"
    "  csv         lines with frequency, uncertainty, strength, intensity, lgint, energies, band "
    "type\n"
    "              and observed values, all digits\n"
    "  cat         lines as catalogues have them: MHz, lgint in nm^2 MHz, lower energy in cm-1\n"
    "  egy         levels in cm-1\n"
    "  lin, par    measured lines and constants in files of the SPFIT/SPCAT suite\n"
    "  q           partition function at 300, 225, 150, 75, 37.5, 18.75, 9.375 K\n"
    "  spectrum    lines convolved with a line shape, alone or laid over a measured spectrum\n"
    "\n"
    "  --v 0-0|1-1|1-0     csv, cat: of two states the lines within one; 1-0, the band, is the "
    "default\n"
    "  --range FROM,TO     csv, cat: lowest and highest frequency, in place of that of the input\n"
    "  --min-lgint X       csv, cat: leaves out lines of smaller lgint\n"
    "  --Q VALUE           csv, cat: the partition function for lgint; else it is summed\n"
    "  --tag NUMBER        cat: tag of the species, 0 without it\n"
    "  --temperature LIST  q: more temperatures, as 10,100\n"
    "\n"
    "and of spectrum, frequencies and widths in the unit of the input:\n"
    "\n"
    "  --shape gauss|lorentz|voigt   gauss is the default\n"
    "  --fwhm X                      full width at half maximum; voigt: X,Y of gauss and lorentz\n"
    "  --from F, --to F, --step S    all lines and a tenth of the width are the default\n"
    "  --compare FILE                a measured spectrum: two columns, MHz, GHz or cm-1\n"
    "  --shift                       with it: the best shift up to one width, too\n"
    "  --json                        with it: scale, offset, shift, correlation, residual_rms\n"
    "\n"
    "lgint is at the temperature of the input, at 300 K when that is 0. Status 4 when there are no "
    "lines\n"
    "or the fit does not converge.\n";

constexpr char kViewHelp[] =
    "Makes one page that opens in any browser, offline, by a double click: the sticks and their\n"
    "convolution, measured spectra over, above or mirrored, a list of the lines, search, and\n"
    "assignments that are saved as the line file that a fit reads.\n"
    "\n"
    "  kiv view so2.toml --spectrum so2.txt\n"
    "\n"
    "  -o PAGE.html          the page; default: FILE with the ending .html, beside FILE\n"
    "  --spectrum TEXT...    measured spectra: two columns, MHz, GHz or cm-1\n"
    "  --min-intensity X     in place of that of the input\n"
    "  --max-lines N         the strongest N lines, 1000000 without it\n"
    "  --watch               makes the page again whenever one of its files changes, until Ctrl+C\n"
    "  --json                the summary of kiv run as JSON\n"
    "\n"
    "A page of this name is replaced. docs/view.md shows how to work with it.\n";

constexpr CommandInfo kCommands[] = {
    {CommandName::Check, "check", "FILE...",
     "say what was understood, what is wrong, what is doubtful", Check, kCheckHelp},
    {CommandName::Run, "run", "FILE", "calculate or fit, write the results, print a summary", Run,
     kRunHelp},
    {CommandName::Report, "report", "FILE", "fit and print a report to read", MakeReport,
     kReportHelp},
    {CommandName::Export, "export", "FORMAT FILE",
     "one product of an input: lines, levels, partition functions", ExportProduct, kExportHelp},
    {CommandName::Import, "import", "FILE... -o OUT.toml",
     "a named input of files of the SPFIT/SPCAT suite", Import, kImportHelp},
    {CommandName::Convert, "convert", "FILE -o OUT", "old inputs to named ones and back", Convert,
     kConvertHelp},
    {CommandName::New, "new", "[rotor|band]", "print a commented input to start from", New,
     kNewHelp},
    {CommandName::View, "view", "FILE", "make a page with the spectrum, to look at and to assign",
     ViewSpectrum, kViewHelp},
    {CommandName::Help, "help", "[COMMAND]", "this text, or that of a command", Help, ""},
    {CommandName::Version, "--version", "", "say which version this is", Version, ""},
};
static_assert(std::size(kCommands) == static_cast<std::size_t>(CommandName::Count));

constexpr char kUsage[] =
    "kiv computes and fits rotational and rovibronic spectra of asymmetric-top molecules.\n"
    "\n"
    "    kiv new rotor -o mine.toml      an input to start from: replace its numbers, then\n"
    "    kiv check mine.toml             see what is understood, what is wrong, what is doubtful\n"
    "    kiv run mine.toml               calculate the lines, or fit the constants\n"
    "    kiv report mine.toml            fit, and print all by which the fit is judged\n"
    "\n"
    "Commands:\n";

constexpr char kOptions[] =
    "\n"
    "Options of every command, before or behind it:\n"
    "  -o, --output FILE   write there what would be printed; - is standard output\n"
    "  -q, --quiet         no findings, notes and progress on standard error\n"
    "  -v, --verbose       says on standard error what is read, done and written\n"
    "      --json          results as JSON on standard output\n"
    "      --no-color      no colours (nor with NO_COLOR or TERM=dumb)\n"
    "  -C DIR              take all names from DIR\n"
    "  -j N                threads, by default as many as there are cores where J_max is 30 or\n"
    "                      more; results do not depend on it\n"
    "  -h, --help          help of the command; kiv --version says the version\n"
    "\n"
    "FILE is a named input (.toml), an input file of any old version, or - for standard input. "
    "Results\n"
    "go to standard output, everything else to standard error. Status: 0 done, 2 wrong use, 3 "
    "input\n"
    "not usable, 4 no result, 5 a file cannot be read or written, 1 a fault of the program.\n"
    "\n"
    "kiv FILE with an old input runs it as it always did: its messages, its files (BASE.in, the "
    "next\n"
    "input, may replace FILE), status 1 when FILE cannot be read, else 0. A file that is called "
    "like\n"
    "a command is reached as ./check. docs/ has formulas, conventions and formats.\n";

std::string UsageText() {
    constexpr std::size_t kColumn = 28;
    std::string text = kUsage;
    for (const CommandInfo& info : kCommands) {
        if (info.command == CommandName::Version) continue;
        std::string line = std::string("  ") + info.name + " " + info.arguments;
        line.resize(std::max(line.size() + 1, kColumn), ' ');
        text += line + info.summary + "\n";
    }
    return text + kOptions;
}

int Put(const std::string& text, Terminal& terminal) {
    const Status put = terminal.PutResult(text);
    if (put) return kDone;
    terminal.Fail(put.error().text);
    return kFileFailed;
}

}  // namespace

const CommandInfo& InfoOf(CommandName command) {
    return kCommands[static_cast<std::size_t>(command)];
}

const CommandInfo* CommandNamed(std::string_view word) {
    const auto* const info = std::find_if(std::begin(kCommands), std::end(kCommands),
                                          [&](const CommandInfo& row) { return word == row.name; });
    return info == std::end(kCommands) ? nullptr : info;
}

int Help(const Request& request, Terminal& terminal) {
    if (request.arguments.empty()) return Put(UsageText(), terminal);
    const CommandInfo* const info = CommandNamed(request.arguments.front());
    if (!info) {
        terminal.Fail("no command \"" + request.arguments.front() + "\". See kiv help.");
        return kWrongUse;
    }
    return Put(std::string("kiv ") + info->name + " " + info->arguments + "\n\n" + info->help +
                   "\nOptions of every command: kiv help\n",
               terminal);
}

int Version(const Request&, Terminal& terminal) {
    return Put(std::string("kiv ") + kInputVersion + "\n", terminal);
}

}  // namespace kiv
