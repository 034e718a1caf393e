#include "support/CommandTest.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <regex>

namespace kiv {
namespace {

namespace fs = std::filesystem;

int StatusOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

// What it says goes through pipes, so that a limit on the size of files does not meet it.
CommandTest::Ended CommandTest::Kiv(const std::string& words, const std::string& before) {
    const std::string command = before + " '" KIV_PROGRAM "' " + words;
    int pipes[2][2];
    if (pipe(pipes[0]) != 0 || pipe(pipes[1]) != 0) return {};
    const pid_t child = fork();
    if (child == 0) {
        for (int i : {0, 1}) {
            dup2(pipes[i][1], i + 1);
            close(pipes[i][0]);
            close(pipes[i][1]);
        }
        execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        _exit(99);
    }
    Ended ended;
    std::string* const said[] = {&ended.out, &ended.err};
    pollfd open_ends[] = {{pipes[0][0], POLLIN, 0}, {pipes[1][0], POLLIN, 0}};
    for (auto& ends : pipes) close(ends[1]);
    while (open_ends[0].fd >= 0 || open_ends[1].fd >= 0) {
        poll(open_ends, 2, -1);
        for (int i : {0, 1}) {
            if (open_ends[i].fd < 0 || open_ends[i].revents == 0) continue;
            char block[4096];
            const ssize_t size = read(open_ends[i].fd, block, sizeof block);
            if (size > 0) {
                said[i]->append(block, static_cast<std::size_t>(size));
            } else {
                close(open_ends[i].fd);
                open_ends[i].fd = -1;
            }
        }
    }
    int status = 0;
    waitpid(child, &status, 0);
    ended.status = StatusOf(status);
    return ended;
}

CommandTest::Files CommandTest::AllFiles() {
    Files files;
    for (const auto& entry : fs::directory_iterator(".")) {
        if (entry.is_regular_file()) files[entry.path().filename()] = ReadText(entry);
    }
    return files;
}

std::vector<std::string> CommandTest::CodesOf(const std::string& lines) {
    static const std::regex finding(R"(:(\d+):\d+: (?:error|warning): .* \[([A-Za-z-]+)\]\n)");
    std::vector<std::string> codes;
    for (std::sregex_iterator at(lines.begin(), lines.end(), finding), end; at != end; ++at) {
        codes.push_back((*at)[2].str() + ":" + (*at)[1].str());
    }
    return codes;
}

// The lines are those of A, B, C = 9000, 5000, 3000 MHz, closed forms of J = 0, 1, 2, with errors
// of some tens of kHz.
std::string CommandTest::WriteFit() {
    WriteText("lines.csv",
              "J_up,Ka_up,Kc_up,J_lo,Ka_lo,Kc_lo,frequency,uncertainty\n"
              "1,0,1,0,0,0,8000.03,0.05\n"
              "1,1,1,0,0,0,11999.98,0.05\n"
              "1,1,0,1,0,1,5999.99,0.05\n"
              "2,1,2,1,1,1,14000.02,0.05\n"
              "2,1,1,1,1,0,17999.97,0.05\n"
              "2,1,1,2,1,2,6000.01,0.05\n");
    const std::string input =
        "kiv = 1\n"
        "title = \"a rigid rotor\"  # comments stay\n"
        "[lower]\n"
        "A = 9010.0   # MHz\n"
        "B = 5005.0\n"
        "C = 2996.0\n"
        "fit = [\"A\", \"B\", \"C\"]\n"
        "[moment]\n"
        "mu = [1.0, 1.0, 1.0]\n"
        "[spectrum]\n"
        "J_max = 5\n"
        "temperature = 0.5\n"
        "[fit]\n"
        "lines = \"lines.csv\"\n";
    WriteText("rotor.toml", input);
    return input;
}

}  // namespace kiv
