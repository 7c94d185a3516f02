#include "cli/program.h"

int main(int argc, char** argv) { return kalvetra::runProgram(argc, argv); }
