#include "support/ConsoleTest.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "console/Run.h"
#include "system/Process.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;

const fs::path kTests = fs::path(KIV_SOURCE_DIR) / "tests";

std::vector<int> pauses;
std::string answers_left;
const char* next_answer = nullptr;  // reading takes no memory, which tests refuse

void NotePause(int seconds) { pauses.push_back(seconds); }

int AnswerChar() { return *next_answer != '\0' ? *next_answer++ : EOF; }

bool AnswerNumber(double& value) {
    char* end = nullptr;
    value = std::strtod(next_answer, &end);
    return std::exchange(next_answer, end) != end;
}

}  // namespace

std::string ConsoleTest::InputText(const std::vector<Edit>& edits) {
    std::vector<std::string> lines;
    std::istringstream text(ReadText(kTests / "runs" / "rigid_J1" / "input.in"));
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    for (const Edit& edit : edits) {
        const auto found = std::find_if(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.starts_with('#') && Has(line, edit.comment);
        });
        EXPECT_NE(found, lines.end()) << edit.comment;
        if (found != lines.end()) found[edit.offset] = edit.line;
    }
    std::string input;
    for (const std::string& line : lines) input += line + "\n";
    return input;
}

std::string ConsoleTest::OldInputText() {
    return With(ReadText(kTests / "io" / "files" / "v1.2.in"), {{"base_name", "input"},
                                                                {"C/B 5 18", "C/B 5 1"},
                                                                {"\n41\n", "\n3\n"},
                                                                {"\n13 16 ", "\n0 16 "},
                                                                {"\nY\n", "\nN\n"}});
}

std::string ConsoleTest::With(std::string text,
                              const std::vector<std::pair<std::string, std::string>>& changes) {
    for (const auto& [from, to] : changes) {
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        if (at != std::string::npos) text.replace(at, from.size(), to);
    }
    return text;
}

std::vector<RunKind> ConsoleTest::AllKinds() {
    const std::string lines = ReadText(kTests / "runs" / "fit_J1" / "lines.asn");
    const std::string rotation = "A 1 0 1 0 0 0 8.0 0.1\nA 1 1 0 1 0 1 6.0 0.1\n";
    const auto fit = [](const char* data, const char* cycles) {
        return InputText({{"FIT & A RED", data},
                          {"LS FIT CYCS", cycles},
                          {"GROUND STATE FIT", "1 0 0"},
                          {"ORIGIN", data[0] == '0' ? "0" : "100"},
                          {"TEMPERATURES", data[0] == '0' ? "20 10 0.5 MHz" : "0 0 0 MHz"}});
    };
    return {{"real", InputText(), lines, ""},
            {"complex", InputText({{"GROUND STATE PHI", "20 30 40"}}), lines, ""},
            {"ground", fit("0 1", "2 1 50"), rotation, ""},
            {"fit", fit("1 1", "2 1 50"), lines, ""},
            {"two_sets", fit("1 1", "2 0 50"), lines + "//\n" + rotation, ""},
            {"differences", fit("3 1", "2 1 50"), lines, ""},
            {"scan", fit("1 1", "-1 1 50"), lines, ""},
            {"old", OldInputText(), "A 1 0 1 0 0 0 10.8\n", "y10\n"}};
}

RunKind ConsoleTest::KindOf(const std::string& name) {
    const std::vector<RunKind> all = AllKinds();
    return *std::find_if(all.begin(), all.end(), [&](const auto& k) { return k.name == name; });
}

void ConsoleTest::Prepare(const RunKind& kind) {
    for (const auto& entry : fs::directory_iterator(".")) fs::remove_all(entry);
    WriteText("input.in", kind.input);
    WriteText("lines.asn", kind.lines);
    for (const char* name : {"input.QZS", "input.asc"}) WriteText(name, "earlier");
}

Surroundings ConsoleTest::Watched(const std::string& answers) {
    pauses.clear();
    pauses.reserve(8);
    answers_left = answers;
    next_answer = answers_left.c_str();
    return {NotePause, AnswerChar, AnswerNumber};
}

const std::vector<int>& ConsoleTest::Pauses() { return pauses; }

ConsoleTest::Ran ConsoleTest::RunFile(const std::string& name, const std::string& answers,
                                      const Memory& memory) {
    testing::internal::CaptureStdout();
    const int status = RunInputFile(name, Watched(answers), memory);
    return {status, testing::internal::GetCapturedStdout(), pauses};
}

ConsoleTest::Ran ConsoleTest::RunText(const std::string& input, const std::string& lines) {
    WriteText("input.in", input);
    if (!lines.empty()) WriteText("lines.asn", lines);
    return RunFile();
}

int ConsoleTest::RunAsProgram(const RunKind& kind) {
    PrepareProcess();
    return RunInputFile("input.in", Watched(kind.answers), Memory());
}

ConsoleTest::Ended ConsoleTest::RunApart(const RunKind& kind, const std::function<void()>& start) {
    Ended ended;
    int ends[2];
    if (pipe(ends) != 0) return ended;
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        start();
        _exit(RunAsProgram(kind));
    }
    close(ends[1]);
    char block[4096];
    for (ssize_t n = 0; (n = read(ends[0], block, sizeof block)) > 0;) {
        ended.console.append(block, static_cast<std::size_t>(n));
    }
    close(ends[0]);
    waitpid(child, &ended.status, 0);
    return ended;
}

ConsoleTest::Files ConsoleTest::FilesIn(const fs::path& folder) {
    Files files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.is_regular_file()) files[entry.path().filename()] = ReadText(entry);
    }
    return files;
}

ConsoleTest::Files ConsoleTest::Results(const std::string& folder) {
    Files files = FilesIn(folder);
    std::erase_if(files, [](const auto& file) { return file.first.ends_with(".log"); });
    return files;
}

ConsoleTest::Files ConsoleTest::Whole(const RunKind& kind) {
    Prepare(kind);
    const Ran ran = RunFile("input.in", kind.answers);
    EXPECT_TRUE(ran.status == 0 && ran.pauses.empty()) << ran.console;
    return Results();
}

void ConsoleTest::ExpectWhole(const Files& before, const Files& after,
                              std::initializer_list<const char*> spare) {
    Files now = Results();
    for (const auto& file : before) EXPECT_TRUE(now.contains(file.first)) << file.first;
    std::erase_if(now, [&](const auto& file) {
        return std::any_of(spare.begin(), spare.end(),
                           [&](const char* end) { return file.first.ends_with(end); });
    });
    for (const auto& [name, text] : now) {
        const auto old = before.find(name), made = after.find(name);
        EXPECT_TRUE((old != before.end() && old->second == text) ||
                    (made != after.end() && made->second == text))
            << name << " holds " << text.size() << " bytes";
    }
}

}  // namespace kiv
