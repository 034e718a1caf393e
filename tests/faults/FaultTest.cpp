#include "faults/FaultTest.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "run/KivRecord.h"
#include "run/KivRun.h"
#include "run/Process.h"

namespace {

namespace fs = std::filesystem;

// Lines of a rotor with A, B, C = 9, 5, 3 and an origin of 100; uppers are those of the same rotor.
constexpr char kLines[] =
    "A 1 0 1 0 0 0 108.0 0.1\n"
    "A 1 1 1 0 0 0 112.0 0.1\n"
    "A 1 1 0 0 0 0 114.0 0.1\n"
    "A 0 0 0 1 0 1 92.0 0.1\n"
    "A 0 0 0 1 1 1 88.0 0.1\n"
    "A 1 1 1 1 0 1 104.0 0.1\n";

RunKind Fit(const char* name, const char* fit_stat, const std::string& asn) {
    RunKind kind{name, {}, asn, "", ""};
    kind.Input.Fit_Stat = fit_stat;
    kind.Input.Fitted = "1 0 0";
    kind.Input.Cycles = "2 1 500.0";
    return kind;
}

// The sample of the oldest version, made small: few levels, one calculation, all parities.
std::string OldInput() {
    std::string text =
        FaultTest::ReadText(fs::path(KIV_SOURCE_DIR) / "tests" / "input" / "files" / "v1.2.in");
    const std::pair<const char*, const char*> changes[] = {{"base_name", "run"},
                                                           {"lines.asn", "run.asn"},
                                                           {"\n41\n", "\n3\n"},
                                                           {"\n13 16 ", "\n0 16 "},
                                                           {"\nY\n", "\nN\n"}};
    for (const auto& [from, to] : changes) text.replace(text.find(from), std::strlen(from), to);
    return text;
}

}  // namespace

std::vector<RunKind> FaultTest::AllKinds() {
    RunKind real{"real", {}, kLines, "", ""};
    RunKind cplx{"complex", {}, kLines, "", ""};
    cplx.Input.Angles = "20 30 40";
    RunKind old{"old", {}, "A 1 0 1 0 0 0 10.8\n", OldInput(), "y10\n"};
    RunKind scan = Fit("scan", "1 1", kLines);
    scan.Input.Cycles = "-1 1 500.0";
    return {real,
            cplx,
            Fit("fit", "1 1", kLines),
            Fit("two_sets", "1 1", std::string(kLines) + "//\nA 1 0 1 0 0 0 8.0 0.1\n"),
            Fit("differences", "3 1", kLines),
            scan,
            old};
}

RunKind FaultTest::KindOf(const std::string& name) {
    for (const RunKind& kind : AllKinds()) {
        if (kind.Name == name) return kind;
    }
    return {};
}

void FaultTest::Prepare(const RunKind& kind) {
    for (const auto& entry : fs::directory_iterator(".")) fs::remove_all(entry);
    WriteText("run.in", kind.Old_Input.empty() ? kind.Input.Text() : kind.Old_Input);
    WriteText("run.asn", kind.Asn);
    WriteText("run.QZS", "earlier");
    WriteText("run.asc", "earlier");
}

int FaultTest::RunHere(const RunKind& kind, std::string& console) {
    Kiv = KivRecord{};
    Waits().clear();
    SetAnswers(kind.Answers);
    char name[] = "kiv", input[] = "run.in";
    char* argv[] = {name, input, nullptr};
    testing::internal::CaptureStdout();
    const int status = KivMain(2, argv);
    console = testing::internal::GetCapturedStdout();
    return status;
}

int FaultTest::RunAsProgram(const RunKind& kind) {
    PrepareProcess();
    Kiv = KivRecord{};
    SetAnswers(kind.Answers);
    char name[] = "kiv", input[] = "run.in";
    char* argv[] = {name, input, nullptr};
    return KivMain(2, argv);
}

FaultTest::Ended FaultTest::RunApart(const RunKind& kind, const std::function<void()>& start) {
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
        ended.Console.append(block, static_cast<std::size_t>(n));
    }
    close(ends[0]);
    waitpid(child, &ended.Status, 0);
    return ended;
}

FaultTest::Files FaultTest::Whole(const RunKind& kind) {
    Prepare(kind);
    std::string console;
    EXPECT_EQ(RunHere(kind, console), 0);
    EXPECT_TRUE(Waits().empty()) << console;
    return Results();
}

FaultTest::Files FaultTest::Results() {
    Files files;
    for (const auto& entry : fs::directory_iterator(".")) {
        const std::string name = entry.path().filename();
        if (!name.ends_with(".log")) files[name] = ReadText(entry);
    }
    return files;
}

std::string FaultTest::Changes(const Files& files) {
    const Files now = Results();
    std::string names;
    for (const auto& [name, text] : files) {
        if (!now.contains(name) || now.at(name) != text) names += name + " ";
    }
    for (const auto& [name, text] : now) {
        if (!files.contains(name)) names += name + " ";
    }
    return names;
}

void FaultTest::ExpectWhole(const Files& before, const Files& after,
                            std::initializer_list<const char*> spare) {
    const auto is = [](const Files& files, const auto& file) {
        const auto found = files.find(file.first);
        return found != files.end() && found->second == file.second;
    };
    const Files now = Results();
    for (const auto& file : now) {
        const auto ends = [&file](const char* end) { return file.first.ends_with(end); };
        if (std::any_of(spare.begin(), spare.end(), ends)) continue;
        EXPECT_TRUE(is(before, file) || is(after, file))
            << file.first << " holds " << file.second.size() << " bytes";
    }
    for (const auto& file : before) EXPECT_TRUE(now.contains(file.first)) << file.first;
}
