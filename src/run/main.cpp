#include "output/TempName.h"
#include "run/KivRun.h"

int main(int argc, char** argv) {
    EndCleanlyOnSignals();
    return KivMain(argc, argv);
}
