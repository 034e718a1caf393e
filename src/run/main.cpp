#include "run/KivRun.h"
#include "run/Process.h"

int main(int argc, char** argv) {
    PrepareProcess();
    return KivMain(argc, argv);
}
