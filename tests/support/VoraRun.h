#pragma once
// Runs the real vora binary on a job directory and collects what a parent tool sees:
// exit status, console output and the run log.

#include <filesystem>
#include <string>
#include <vector>

// A fresh directory under the system's temporary folder, removed with everything in it.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // The directory with a trailing "/", as the program's -filepath takes it.
    std::string dir() const { return path_.string() + "/"; }
    void Write(const std::string& name, const std::string& text) const;
    std::string Read(const std::string& name) const;
    bool Exists(const std::string& name) const;

private:
    std::filesystem::path path_;
};

struct VoraRun {
    int status = -1;   // exit status as the shell sees it (-1 becomes 255)
    std::string out;   // standard output
    std::string err;   // standard error
    std::string log;   // text of the single vora_<pid>.log in logDir ("" if none)
    int logCount = 0;  // number of vora_*.log files in logDir
    std::string logPath;  // the last of them
};

// Runs `binary` (default: the vora under test) with args, working directory `workDir`;
// the log is looked up in logDir (the job directory). Every run, failed or not, must leave
// no temporary output file in logDir: checked here for every run.
VoraRun RunVora(const std::vector<std::string>& args, const std::filesystem::path& workDir,
                const std::filesystem::path& logDir, const std::string& binary = VORA_BINARY);

// What a failed run tells on standard error: the log's "VORA:: " lines (or its last line
// when it has none), then where the log is.
std::string FailureNotice(const VoraRun& run);

// Standard error without the lines that give the system's reason for a failed open or
// write ("VORA: cannot ..."), whose wording is the C library's.
std::string WithoutSystemReasons(const std::string& err);

// The names of temporary output files (".<name>.vora-<pid>.tmp") in `dir`.
std::vector<std::string> TemporaryFilesIn(const std::filesystem::path& dir);

// The text of a file, or "" when it cannot be read.
std::string ReadFileText(const std::filesystem::path& file);
