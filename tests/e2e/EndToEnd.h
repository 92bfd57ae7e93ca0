#pragma once
// What the end-to-end tests share about a run of the real binary: its failed status, the
// lines it starts with, and a de-embedding run of a directory's job.map.

#include <functional>
#include <string>
#include <vector>

#include "support/VoraRun.h"

inline constexpr int kFailed = 255;  // -1 as the shell sees it
inline const std::string kParsed = "VORA:  Command line option successfully.\n";

inline std::string ReplaceAll(std::string text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// A change to a file's text, for the runs on generated jobs.
using Edit = std::function<std::string(const std::string&)>;
inline Edit ReplaceText(const std::string& from, const std::string& to)
{
    return [=](const std::string& text) { return ReplaceAll(text, from, to); };
}

// The log's echo of a command line.
inline std::string Echo(const std::vector<std::string>& args)
{
    std::string echo = "VORA:  Command Line: " + std::string(VORA_BINARY) + " ";
    for (const std::string& a : args) echo += a + " ";
    return echo + "\n";
}

// The log after the command-line lines (their paths differ between runs).
inline std::string AfterCommandLine(const std::string& log)
{
    const size_t start = log.find(kParsed);
    return start == std::string::npos ? "no command line in: " + log : log.substr(start + kParsed.size());
}

inline VoraRun RunMapJob(const TempDir& dir, const std::string& output, const std::string& binary = VORA_BINARY)
{
    return RunVora({"-filepath", dir.dir(), "-in", "job.map", "-out", output}, dir.path(), dir.path(), binary);
}
