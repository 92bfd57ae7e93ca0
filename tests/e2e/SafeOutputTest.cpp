// What a run does to the files around it: an output that names an input, however spelled,
// fails before anything is touched; an output appears whole or not at all; every write is
// checked, on a real full file system where this machine lets a test mount one.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

#include "e2e/EndToEnd.h"
#include "support/GeneratedJobs.h"
#include "support/VoraRun.h"

#ifdef VORA_TESTS_WITH_JOBGEN

namespace {

namespace fs = std::filesystem;

// Every file under `dir` with its bytes, run logs left out.
std::map<std::string, std::string> Snapshot(const fs::path& dir)
{
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(dir)) {
        const std::string name = fs::relative(entry.path(), dir).string();
        if (entry.is_regular_file() && !entry.path().filename().string().starts_with("vora_"))
            files[name] = ReadFileText(entry.path());
    }
    return files;
}

void RemoveLogs(const fs::path& dir)
{
    for (const auto& entry : fs::directory_iterator(dir))
        if (entry.path().filename().string().starts_with("vora_")) fs::remove(entry.path());
}

// A file system mounted for one test and taken down after it; `reason` says why not.
struct Mount {
    Mount(const fs::path& at, const std::string& options)
    {
        fs::create_directories(at);
        if (::geteuid() != 0) {
            reason = "mounting needs root";
        } else if (std::system(("mount " + options + " '" + at.string() + "' 2>/dev/null").c_str()) != 0) {
            reason = "this machine does not let a test mount a file system";
        } else {
            point = at;
        }
    }
    ~Mount()
    {
        if (!point.empty()) static_cast<void>(std::system(("umount '" + point.string() + "'").c_str()));
    }
    fs::path point;
    std::string reason;
};

std::vector<std::string> GeneralizedArgs(const TempDir& dir, const std::string& out)
{
    return {"GENERALIZEDSPARAM", "-filepath", dir.dir(), "-inputsfile1", dir.dir() + "a.s2p",
            "-inputsfile2", dir.dir() + "b.s2p", "-out", out};
}

// Two 2-port files of `points` records, for the generalized mode.
void WriteTwoPortFiles(const TempDir& dir, int points)
{
    std::string a = "# Hz S RI R 50\n", b = a;
    for (int k = 0; k < points; ++k) {
        const std::string f = std::to_string(1000000 + 1000 * k);
        a += f + " 0.1 0.01 0.9 -0.1 0.9 -0.1 0.2 0.02\n";
        b += f + " 0.2 0.02 0.8 -0.2 0.8 -0.2 0.1 0.01\n";
    }
    dir.Write("a.s2p", a);
    dir.Write("b.s2p", b);
}

TEST(SafeOutput, AnOutputThatIsAnInputFailsAndLeavesEveryFileAsItWas)
{
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--fstart 500M --fstop 1.5G --points 3", dir.dir()));
    WriteTwoPortFiles(dir, 3);
    fs::create_directory(dir.path() / "sub");
    fs::create_symlink("whole.s4p", dir.path() / "link.s4p");
    fs::create_symlink(dir.path() / "b.s2p", dir.path() / "link.s2p");
    fs::create_hard_link(dir.path() / "arm1_short.s2p", dir.path() / "hard.s2p");
    fs::create_hard_link(dir.path() / "a.s2p", dir.path() / "hard-a.s2p");
    const std::string d = dir.dir();
    struct Case {
        bool generalized;
        std::string out, input;
    } cases[] = {
        {false, "whole.s4p", d + "whole.s4p"},         {false, "./job.map", d + "job.map"},
        {false, "sub/../arm1_open.s2p", d + "arm1_open.s2p"}, {false, "link.s4p", d + "whole.s4p"},
        {false, "hard.s2p", d + "arm1_short.s2p"},     {true, "a.s2p", d + "a.s2p"},
        {true, "sub/.././b.s2p", d + "b.s2p"},         {true, "link.s2p", d + "b.s2p"},
        {true, "hard-a.s2p", d + "a.s2p"},
    };
    const auto before = Snapshot(dir.path());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.out);
        const VoraRun run = c.generalized ? RunVora(GeneralizedArgs(dir, c.out), dir.path(), dir.path())
                                          : RunMapJob(dir, c.out);
        EXPECT_EQ(run.status, kFailed);
        const std::string failed = c.generalized ? "VORA:  Reading the two Sparam files error. \n"
                                                 : "VORA:  Reading whole structure file error. \n";
        EXPECT_TRUE(run.log.ends_with("VORA:: Output file is the same file as input file " + c.input + "\n" + failed))
            << run.log;
        EXPECT_EQ(run.err, FailureNotice(run));
        EXPECT_TRUE(Snapshot(dir.path()) == before);
        RemoveLogs(dir.path());
    }
}

// A good output survives every later failed run byte for byte: a broken input, and (where a
// small file system can be mounted) a disk that fills up while the output is written.
TEST(SafeOutput, AFailedRunLeavesThePreviousOutputAsItWas)
{
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--fstart 500M --fstop 1.5G --points 200", dir.dir()));
    WriteTwoPortFiles(dir, 2000);
    ASSERT_EQ(RunMapJob(dir, "out.s4p").status, 0);
    RemoveLogs(dir.path());
    const std::string good = dir.Read("out.s4p");
    ASSERT_GT(good.size(), size_t{16} << 10);

    fs::remove(dir.path() / "arm1_open.s2p");
    EXPECT_EQ(RunMapJob(dir, "out.s4p").status, kFailed);
    EXPECT_EQ(dir.Read("out.s4p"), good);
    RemoveLogs(dir.path());
    ASSERT_TRUE(GenerateJob("--fstart 500M --fstop 1.5G --points 200", dir.dir()));

    const Mount full(dir.path() / "full", "-t tmpfs -o size=16k tmpfs");
    if (full.point.empty()) GTEST_SKIP() << "no full disk: " << full.reason;
    for (const bool generalized : {false, true}) {
        SCOPED_TRACE(generalized ? "generalized" : "de-embedding");
        dir.Write("full/out", "previous\n");
        const VoraRun run = generalized ? RunVora(GeneralizedArgs(dir, "full/out"), dir.path(), dir.path())
                                        : RunMapJob(dir, "full/out");
        EXPECT_EQ(run.status, kFailed);
        EXPECT_NE(run.log.find("VORA:: Could not write output file " + dir.dir() + "full/out\n"), std::string::npos)
            << run.log;
        EXPECT_NE(run.err.find("No space left on device"), std::string::npos) << run.err;
        EXPECT_EQ(dir.Read("full/out"), "previous\n");
        EXPECT_EQ(TemporaryFilesIn(full.point), std::vector<std::string>{});
        RemoveLogs(dir.path());
    }
}

// A job directory on a full disk: the log cannot be written to its end either, which alone
// makes the status -1; the reason is on stderr.
TEST(SafeOutput, ALogThatCannotBeWrittenFailsTheRun)
{
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--fstart 500M --fstop 1.5G --points 3", dir.dir()));
    const Mount full(dir.path() / "full", "-t tmpfs -o size=16k tmpfs");
    if (full.point.empty()) GTEST_SKIP() << "no full disk: " << full.reason;
    for (const auto& entry : fs::directory_iterator(dir.path()))
        if (entry.is_regular_file()) fs::create_symlink(entry.path(), full.point / entry.path().filename());
    static_cast<void>(std::system(("dd if=/dev/zero of='" + (full.point / "filler").string() + "' bs=4k 2>/dev/null").c_str()));
    const VoraRun run = RunVora({"-filepath", full.point.string(), "-in", "job.map", "-out", "out.s4p"}, dir.path(),
                                full.point);
    EXPECT_EQ(run.status, kFailed);
    EXPECT_NE(run.err.find("VORA: the run log is incomplete: cannot write "), std::string::npos) << run.err;
    EXPECT_FALSE(fs::exists(full.point / "out.s4p"));
}

// Root writes through any permission bits, so a read-only mount stands for a directory
// nobody may write: the job directory itself (no log can be made) or the output's.
TEST(SafeOutput, AReadOnlyDirectoryFailsWithItsReasonAndTouchesNothing)
{
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--fstart 500M --fstop 1.5G --points 3", dir.dir()));
    fs::create_directory(dir.path() / "job");
    for (const auto& entry : fs::directory_iterator(dir.path()))
        if (entry.is_regular_file()) fs::copy_file(entry.path(), dir.path() / "job" / entry.path().filename());
    const Mount readOnly(dir.path() / "ro", "--bind -o ro '" + (dir.path() / "job").string() + "'");
    if (readOnly.point.empty()) GTEST_SKIP() << "no read-only directory: " << readOnly.reason;
    const auto before = Snapshot(dir.path() / "job");

    const VoraRun whole = RunVora({"-filepath", dir.dir() + "ro", "-in", "job.map", "-out", "out.s4p"}, dir.path(),
                                  dir.path() / "ro");
    EXPECT_EQ(whole.status, kFailed);
    EXPECT_EQ(whole.out, "VORA:  cannot open log file. \n");
    EXPECT_NE(whole.err.find("Read-only file system"), std::string::npos) << whole.err;

    const VoraRun output = RunMapJob(dir, "ro/out.s4p");
    EXPECT_EQ(output.status, kFailed);
    EXPECT_NE(output.log.find("VORA:: Could not generate output file " + dir.dir() + "ro/out.s4p\n"), std::string::npos)
        << output.log;
    EXPECT_NE(output.err.find("Read-only file system"), std::string::npos) << output.err;
    EXPECT_TRUE(Snapshot(dir.path() / "job") == before);
}

// SIGKILL cannot be caught: what protects the previous output is that it is only ever
// replaced by a rename. The run is killed as soon as its temporary file has data.
TEST(SafeOutput, ARunKilledWhileWritingLeavesThePreviousOutput)
{
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--fstart 10M --fstop 1.5G --points 20000", dir.dir()));
    dir.Write("out.s4p", "previous\n");
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        freopen("/dev/null", "w", stdout);
        freopen("/dev/null", "w", stderr);
        const std::string d = dir.dir();
        execl(VORA_BINARY, VORA_BINARY, "-filepath", d.c_str(), "-in", "job.map", "-out", "out.s4p", nullptr);
        ::_exit(127);
    }
    const fs::path temporary = dir.path() / (".out.s4p.vora-" + std::to_string(pid) + ".tmp");
    int status = 0;
    bool killed = false;
    for (int wait = 0; wait < 20000 && ::waitpid(pid, &status, WNOHANG) == 0; ++wait) {
        std::error_code ec;
        if (fs::file_size(temporary, ec) > 0 && !ec) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, &status, 0);
            killed = true;
            break;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    ASSERT_TRUE(killed) << "the run ended before its output was being written";
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(dir.Read("out.s4p"), "previous\n");
    EXPECT_LE(TemporaryFilesIn(dir.path()).size(), 1u);
}

}  // namespace

#endif
