#include "run/KivRun.h"

int main(int argc, char** argv) { return KivMain(argc, argv); }
