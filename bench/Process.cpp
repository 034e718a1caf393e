#include "Process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace kiv {

double RunProcess(const Words& words) {
    std::vector<char*> argv;
    std::vector<std::string> texts{KIV_PROGRAM};
    texts.insert(texts.end(), words.begin(), words.end());
    for (std::string& text : texts) argv.push_back(text.data());
    argv.push_back(nullptr);
    char* no_environment[] = {nullptr};
    posix_spawn_file_actions_t silent;
    posix_spawn_file_actions_init(&silent);
    for (int fd : {STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&silent, fd, "/dev/null", O_WRONLY, 0);
    }
    pid_t pid = 0;
    int status = 0;
    rusage usage{};
    const bool ran =
        posix_spawn(&pid, KIV_PROGRAM, &silent, nullptr, argv.data(), no_environment) == 0 &&
        wait4(pid, &status, 0, &usage) == pid && status == 0;
    posix_spawn_file_actions_destroy(&silent);
    return ran ? static_cast<double>(usage.ru_maxrss) / 1024.0 : 0.0;
}

}  // namespace kiv
