#include "system/Process.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <initializer_list>

#include "system/TempName.h"

namespace kiv {
namespace {

extern "C" void EndBySignal(int sig) {
    RemoveTempFiles();
    signal(sig, SIG_DFL);
    raise(sig);  // delivered when the handler returns
}

void OpenStandardStreams() {
    for (int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDWR) != fd) _exit(0);
    }
}

void CatchEndSignals() {
    struct sigaction end = {};
    end.sa_handler = EndBySignal;
    for (int sig : kEndSignals) sigaddset(&end.sa_mask, sig);
    for (int sig : kEndSignals) {
        struct sigaction now;
        if (sigaction(sig, nullptr, &now) == 0 && now.sa_handler != SIG_IGN) {
            sigaction(sig, &end, nullptr);
        }
    }
}

}  // namespace

void PrepareProcess() {
    OpenStandardStreams();
    CatchEndSignals();
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

}  // namespace kiv
