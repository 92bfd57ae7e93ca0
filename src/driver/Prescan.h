#pragma once
// The first look at the arguments, before the run log exists: which mode runs and in which
// directory the log is to be written.

#include <string>

struct VoraJob;

/// The text with every ASCII letter upper-cased: option names match in any letter case.
std::string UpperCased(const char* text);

/// Sets `runMode` and `directoryPath` from the raw arguments. The first "-filepath" or
/// "GENERALIZEDSPARAM" (any letter case) decides: the directory is the argument after
/// "-filepath", or the one two places after the mode word. No directory gives "./"; one
/// that does not end in "/" or "\" gets a "/".
void PrescanArguments(VoraJob& job, int argc, const char* const* argv);
