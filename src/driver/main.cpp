#include <iostream>

#include "driver/Driver.h"

int main(int argc, char** argv) { return RunProgram(argc, argv, std::cout, std::cerr); }
