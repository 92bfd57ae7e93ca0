#include "support/VoraRun.h"

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

std::string ShellQuote(const std::string& s)
{
    std::string q = "'";
    for (char c : s) {
        if (c == '\'') q += "'\\''";
        else q += c;
    }
    return q + "'";
}

}  // namespace

TempDir::TempDir()
{
    std::string name = (fs::temp_directory_path() / "vora-test-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot create a temporary directory");
    path_ = name;
}

TempDir::~TempDir()
{
    std::error_code ec;
    fs::remove_all(path_, ec);
}

void TempDir::Write(const std::string& name, const std::string& text) const
{
    fs::path file = path_ / name;
    fs::create_directories(file.parent_path());
    std::ofstream f(file, std::ios::binary);
    f << text;
}

std::string TempDir::Read(const std::string& name) const { return ReadFileText(path_ / name); }

bool TempDir::Exists(const std::string& name) const { return fs::exists(path_ / name); }

std::string ReadFileText(const fs::path& file)
{
    std::ifstream f(file, std::ios::binary);
    if (!f) return "";
    std::ostringstream s;
    s << f.rdbuf();
    return s.str();
}

VoraRun RunVora(const std::vector<std::string>& args, const fs::path& workDir, const fs::path& logDir,
                const std::string& binary)
{
    VoraRun run;
    TempDir capture;
    std::string command = "cd " + ShellQuote(workDir.string()) + " && " + ShellQuote(binary);
    for (const std::string& a : args) command += " " + ShellQuote(a);
    command += " >" + ShellQuote((capture.path() / "out").string());
    command += " 2>" + ShellQuote((capture.path() / "err").string()) + " </dev/null";
    int raw = std::system(command.c_str());
    run.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw);
    run.out = capture.Read("out");
    run.err = capture.Read("err");
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(logDir, ec)) {
        std::string name = entry.path().filename().string();
        if (name.rfind("vora_", 0) == 0 && name.size() > 9 && name.substr(name.size() - 4) == ".log") {
            ++run.logCount;
            run.log = ReadFileText(entry.path());
            run.logPath = entry.path().string();
        }
    }
    EXPECT_EQ(TemporaryFilesIn(logDir), std::vector<std::string>{});
    return run;
}

std::vector<std::string> TemporaryFilesIn(const fs::path& dir)
{
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(dir, ec)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(".") && name.find(".vora-") != std::string::npos && name.ends_with(".tmp")) names.push_back(name);
    }
    return names;
}

std::string WithoutSystemReasons(const std::string& err)
{
    std::string kept;
    std::istringstream lines(err);
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with("VORA: cannot ")) kept += line + "\n";
    return kept;
}

std::string FailureNotice(const VoraRun& run)
{
    std::string notice;
    std::string last;
    std::istringstream lines(run.log);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("VORA:: ")) notice += line + "\n";
        if (!line.empty()) last = line;
    }
    if (notice.empty()) notice = last + "\n";
    return notice + "VORA: the run log is " + run.logPath + "\n";
}
