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
};

// Runs `binary` (default: the vora under test) with args, working directory `workDir`;
// the log is looked up in logDir (the job directory).
VoraRun RunVora(const std::vector<std::string>& args, const std::filesystem::path& workDir,
                const std::filesystem::path& logDir, const std::string& binary = VORA_BINARY);

// The text of a file, or "" when it cannot be read.
std::string ReadFileText(const std::filesystem::path& file);
