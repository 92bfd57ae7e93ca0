#pragma once
#include <ostream>

/// The whole run: returns the process exit status (0 or -1).
int RunProgram(int argc, char** argv, std::ostream& out, std::ostream& err);
