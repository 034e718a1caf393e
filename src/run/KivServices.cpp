#include "run/KivServices.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace {

void WaitSeconds(int seconds) { std::this_thread::sleep_for(std::chrono::seconds(seconds)); }

int AskCharStdin() { return std::getchar(); }

bool AskNumberStdin(double& value) { return std::scanf("%lf", &value) == 1; }

}  // namespace

KivServices Services = {WaitSeconds, AskCharStdin, AskNumberStdin};
