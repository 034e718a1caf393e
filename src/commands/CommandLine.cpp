// The syntax of command lines.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>

#include "commands/Commands.h"
#include "named/Text.h"

namespace kiv {
namespace {

constexpr int kMaxThreads = 1024;

// Arguments of a command, and how many it takes.
struct Arguments {
    CommandName command;
    std::size_t least, most;
};

constexpr std::size_t kMany = 1000000;
constexpr Arguments kArguments[] = {
    {CommandName::Check, 1, kMany}, {CommandName::Run, 1, 1},    {CommandName::Report, 1, 1},
    {CommandName::Export, 2, 2},    {CommandName::Import, 1, 3}, {CommandName::Convert, 1, 1},
    {CommandName::New, 0, 1},       {CommandName::View, 1, 1},   {CommandName::Help, 0, 1},
};

Error WrongUse(const std::string& text) { return {ErrorCode::BadChoice, text, ""}; }

void AddOptions(CLI::App& app, Request& request) {
    app.add_option("-o,--output", request.output)->type_name("FILE");
    app.add_flag("-q,--quiet", request.quiet);
    app.add_flag("-v,--verbose", request.verbose);
    app.add_flag("--json", request.json);
    app.add_flag("--no-color", request.no_color);
    app.add_option("-C", request.folder)->type_name("DIR");
    app.add_option("-j", request.threads)->type_name("N");
}

void AddOptionsOf(CommandName command, CLI::App& app, Request& request) {
    if (command == CommandName::Run) {
        app.add_option("--out", request.base)->type_name("BASE");
        app.add_option("--write", request.products)->type_name("LIST");
        app.add_flag("--in-place", request.in_place);
    }
    if (command == CommandName::Report) {
        app.add_option("--format", request.format)->type_name("FORMAT");
        app.add_option("--correlations", request.correlations)->type_name("all");
        app.add_option("--omit", request.omit)->type_name("NAME")->allow_extra_args(false);
        app.add_option("--add", request.add)->type_name("NAME")->allow_extra_args(false);
        app.add_flag("--trials", request.trials);
    }
    if (command == CommandName::Export) {
        app.add_option("--tag", request.tag)->type_name("NUMBER");
        app.add_option("--Q", request.q_value)->type_name("VALUE");
        app.add_option("--min-lgint", request.min_lgint)->type_name("X");
        app.add_option("--range", request.range)->type_name("FROM,TO");
        app.add_option("--temperature", request.temperatures)->type_name("LIST");
        app.add_option("--v", request.states)->type_name("0-0|1-1|1-0");
        app.add_option("--shape", request.shape)->type_name("gauss|lorentz|voigt");
        app.add_option("--fwhm", request.fwhm)->type_name("X[,Y]");
        app.add_option("--from", request.from)->type_name("F");
        app.add_option("--to", request.to)->type_name("F");
        app.add_option("--step", request.step)->type_name("S");
        app.add_option("--compare", request.measured)->type_name("FILE");
        app.add_flag("--shift", request.shift);
    }
    if (command == CommandName::View) {
        app.add_option("--spectrum", request.spectra)->type_name("TEXT...");
        app.add_option("--min-intensity", request.min_intensity)->type_name("X");
        app.add_option("--max-lines", request.max_lines)->type_name("N");
        app.add_flag("--watch", request.watch);
    }
    if (command == CommandName::Convert || command == CommandName::New ||
        command == CommandName::Import) {
        app.add_flag("--force", request.force);
    }
}

std::vector<std::string> OptionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    }
    return names;
}

std::vector<std::string> CommandNames() {
    std::vector<std::string> names;
    for (int c = 0; c < static_cast<int>(CommandName::Version); ++c) {
        names.emplace_back(InfoOf(static_cast<CommandName>(c)).name);
    }
    return names;
}

// The nearest of some words, when it is near.
std::string Suggestion(const std::string& word, const std::vector<std::string>& known) {
    const std::string nearest(Nearest(word, known));
    const auto most = static_cast<int>(std::max<std::size_t>(word.size(), 3));
    if (nearest.empty() || EditDistance(word, nearest) > most) return "";
    return ", did you mean " + nearest + "?";
}

std::string UnknownOption(const std::string& word, std::vector<std::string> known,
                          const std::string& where) {
    const std::string name = word.substr(0, word.find('='));
    return "unknown option " + Quoted(name) + Suggestion(name, known) + " See " + where + ".";
}

std::string NoCommand(const std::string& word) {
    const std::string suggestion = Suggestion(word, CommandNames());
    if (!suggestion.empty()) return "no command " + Quoted(word) + suggestion + " See kiv help.";
    return "no command " + Quoted(word) +
           "; an input file stands behind a command, as in: kiv run " + Printable(word);
}

// What the parser says, in our words.
std::string TextOf(const CLI::ParseError& error) {
    const std::string text = error.what();
    const std::string name = text.substr(0, text.find(':'));
    if (error.get_name() == "ArgumentMismatch") return name + " needs a value behind it.";
    if (error.get_name() == "ConversionError")
        return "the value of an option is no number: " + text;
    return text;
}

// A bare hyphen is a name; what else begins with one is an option.
bool IsOption(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

class Reader {
  public:
    // Only a command that is among the words gets its options: to make all of them takes longer
    // than a short command.
    Reader(int argc, const char* const* argv) : app_("kiv"), argc_(argc), argv_(argv) {
        app_.set_help_flag();
        app_.fallthrough();
        app_.allow_extras();
        AddOptions(app_, request_);
        app_.add_flag("-h,--help", help_);
        app_.add_flag("--version", version_);
        for (const Arguments& arguments : kArguments) {
            CLI::App& sub = *app_.add_subcommand(InfoOf(arguments.command).name);
            sub.set_help_flag();
            sub.allow_extras();
            if (IsAmongTheWords(sub.get_name())) AddOptionsOf(arguments.command, sub, request_);
        }
        app_.require_subcommand(0, 1);
    }

    Result<Request> Read();

  private:
    bool IsAmongTheWords(const std::string& name) const {
        return std::find(argv_ + 1, argv_ + argc_, name) != argv_ + argc_;
    }
    Status CheckArguments(const Arguments& arguments, const CLI::App& sub);

    Request request_;
    bool help_ = false, version_ = false;
    CLI::App app_;
    const int argc_;
    const char* const* const argv_;
};

Status Reader::CheckArguments(const Arguments& arguments, const CLI::App& sub) {
    const std::string name = InfoOf(arguments.command).name;
    std::vector<std::string> known = OptionNames(app_);
    const std::vector<std::string> own = OptionNames(sub);
    known.insert(known.end(), own.begin(), own.end());
    for (const std::string& word : app_.remaining(true)) {
        if (IsOption(word) && word != "--") {
            return WrongUse(UnknownOption(word, known, "kiv help " + name));
        }
        if (word != "--") request_.arguments.push_back(word);
    }
    // `kiv view --spectrum A B FILE`: the option takes all that stands behind it
    if (request_.arguments.empty() && request_.spectra.size() > 1) {
        request_.arguments.push_back(request_.spectra.back());
        request_.spectra.pop_back();
    }
    const std::size_t num = request_.arguments.size();
    const std::string form = "kiv " + name + " " + InfoOf(arguments.command).arguments;
    if (help_) return {};
    if (num < arguments.least) return WrongUse("something is missing, the form is: " + form);
    if (num > arguments.most) {
        return WrongUse(Quoted(request_.arguments[arguments.most]) +
                        " is one argument too many, the form is: " + form);
    }
    return {};
}

Result<Request> Reader::Read() {
    try {
        app_.parse(argc_, argv_);
    } catch (const CLI::ParseError& error) {
        return WrongUse(TextOf(error));
    }
    if (request_.threads && (*request_.threads < 1 || *request_.threads > kMaxThreads)) {
        return WrongUse("-j takes a number of threads from 1 to " + std::to_string(kMaxThreads) +
                        ", not " + std::to_string(*request_.threads));
    }
    const std::vector<CLI::App*> used = app_.get_subcommands();
    if (used.empty()) {
        for (const std::string& word : app_.remaining()) {
            if (IsOption(word)) {
                return WrongUse(UnknownOption(word, OptionNames(app_), "kiv help"));
            }
            return WrongUse(word == "-" ? "a command is missing, as in: kiv run -"
                                        : NoCommand(word));
        }
        if (!help_ && !version_) return WrongUse("a command is missing. See kiv help.");
        request_.command = version_ ? CommandName::Version : CommandName::Help;
        return request_;
    }
    const CommandInfo& info = *CommandNamed(used.front()->get_name());
    request_.command = info.command;
    const auto* const arguments =
        std::find_if(std::begin(kArguments), std::end(kArguments),
                     [&](const Arguments& row) { return row.command == info.command; });
    KIV_TRY(CheckArguments(*arguments, *used.front()));
    if (help_) {
        request_.command = CommandName::Help;
        request_.arguments = {info.name};
    }
    return request_;
}

}  // namespace

Result<Request> ReadCommandLine(int argc, const char* const* argv) {
    return Reader(argc, argv).Read();
}

}  // namespace kiv
