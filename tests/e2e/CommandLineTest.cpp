// The command line as a parent tool sees it: console text, exit status and run log of the
// real binary.

#include <gtest/gtest.h>

#include <regex>

#include "support/VoraRun.h"

namespace {

const std::string kStarted = "VORA:  Program started.\n";
const std::string kUsage =
    "==========VORA Program Command Line Options==========\n"
    "vora.exe  -filepath \"input_file_and_output_file_locations\\\" -in input_map_file_name.map -out "
    "output_touchstone_file_name\n"
    " Type the program name with -V option to show the version number.\n"
    " Contact Quorvane support for input netlist file format and detailed application of this program.\n";
const std::string kTooFew = "VORA: command line contains too few arguments. \n";
const int kFailed = 255;  // -1 as the shell sees it

std::string Echo(const std::vector<std::string>& args)
{
    std::string echo = "VORA:  Command Line: " + std::string(VORA_BINARY) + " ";
    for (const std::string& a : args) echo += a + " ";
    return echo + "\n";
}

TEST(CommandLine, NoArgumentsPrintsTheUsage)
{
    TempDir work;
    VoraRun run = RunVora({}, work.path(), work.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, kUsage);
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.logCount, 1);  // in "./", the working directory
    EXPECT_EQ(run.log, kStarted);
}

TEST(CommandLine, VersionRequestPrintsOnlyTheVersionLine)
{
    for (const char* v : {"-v", "-V"}) {
        TempDir work;
        VoraRun run = RunVora({v}, work.path(), work.path());
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(std::regex_match(run.out, std::regex("\\d+\\.\\d+\\.\\d+\\.\\d+\\.\\d+   \\d{3}\n"))) << run.out;
        EXPECT_EQ(run.err, "");
        EXPECT_EQ(run.logCount, 1);
        EXPECT_EQ(run.log, kStarted);
    }
}

TEST(CommandLine, OneOtherArgumentIsTooFew)
{
    TempDir work;
    VoraRun run = RunVora({"-x"}, work.path(), work.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, kTooFew + kUsage);
    EXPECT_EQ(run.log, kStarted + Echo({"-x"}) + kTooFew);
}

TEST(CommandLine, GrammarErrorsFailTheRun)
{
    TempDir job;
    const std::string d = job.dir();
    struct Case {
        std::vector<std::string> args;
        std::string message;
    } cases[] = {
        {{"a.map", "-filepath", d, "-in", "x", "-out", "y"}, "VORA: command line contains incorrect order. \n"},
        {{"-filepath", d, "-in", "m.map", "-out", "o.s2p", "-extra"},
         "VORA: command line contains incorrect syntax. \n"},
        {{"-filepath", d, "-in", "m.map", "-OUT", "o.s2p", "-xyz", "v"},
         "VORA: command line contains unsupported syntax. \n"},
    };
    for (const Case& c : cases) {
        VoraRun run = RunVora(c.args, job.path(), job.path());
        SCOPED_TRACE(c.message);
        EXPECT_EQ(run.status, kFailed);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.log, kStarted + Echo(c.args) + c.message + "VORA:  Command line option error.\n");
        for (const auto& entry : std::filesystem::directory_iterator(job.path())) std::filesystem::remove(entry);
    }
}

TEST(CommandLine, UnopenableLogFailsOnTheConsole)
{
    TempDir work;
    const std::string missing = (work.path() / "no-such-dir").string();
    VoraRun run = RunVora({"-filepath", missing, "-in", "m.map", "-out", "o.s2p"}, work.path(), work.path());
    EXPECT_EQ(run.status, kFailed);
    EXPECT_EQ(run.out, "VORA:  cannot open log file. \n");
    EXPECT_EQ(run.logCount, 0);
}

TEST(CommandLine, EveryRunWritesItsOwnLog)
{
    TempDir job;
    for (int i = 0; i < 2; ++i) RunVora({"-filepath", job.dir(), "-in", "m.map", "-bad", "o"}, job.path(), job.path());
    VoraRun run = RunVora({"-v"}, job.path(), job.path());
    EXPECT_EQ(run.logCount, 3);
}

TEST(CommandLine, GeneralizedModeNeedsNineArguments)
{
    TempDir job;
    const std::vector<std::string> args = {"GeneralizedSparam", "-filepath", job.dir(), "-inputsfile1", "a.s2p",
                                           "-inputsfile2", "b.s2p"};
    VoraRun run = RunVora(args, job.path(), job.path());
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, kTooFew + kUsage);
    EXPECT_EQ(run.log, kStarted + Echo(args) + kTooFew);
}

}  // namespace
