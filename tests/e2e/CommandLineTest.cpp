// The command line as a parent tool sees it: console text, exit status and run log of the
// real binary, up to the map file it names.

#include <gtest/gtest.h>

#include <regex>
#include <tuple>

#include "e2e/EndToEnd.h"
#include "support/TestData.h"

namespace {

const std::string kStarted = "VORA:  Program started.\n";
const std::string kUsage =
    "==========VORA Program Command Line Options==========\n"
    "vora.exe  -filepath \"input_file_and_output_file_locations\\\" -in input_map_file_name.map -out "
    "output_touchstone_file_name\n"
    " Type the program name with -V option to show the version number.\n"
    " Contact Quorvane support for input netlist file format and detailed application of this program.\n";
const std::string kTooFew = "VORA: command line contains too few arguments. \n";

TEST(CommandLine, ConsoleStatusAndLogOfEachKindOfCommandLine)
{
    TempDir job;
    const std::string d = job.dir();
    const std::string kFailedOption = "VORA:  Command line option error.\n";
    const std::vector<std::string> tooFewGeneralized = {"GeneralizedSparam", "-filepath", d, "-inputsfile1", "a.s2p",
                                                        "-inputsfile2", "b.s2p"};
    const std::vector<std::string> misordered = {"a.map", "-filepath", d, "-in", "x", "-out", "y"};
    const std::vector<std::string> extra = {"-filepath", d, "-in", "m.map", "-out", "o.s2p", "-extra"};
    const std::vector<std::string> unsupported = {"-filepath", d, "-in", "m.map", "-OUT", "o.s2p", "-xyz", "v"};
    const std::vector<std::string> noMap = {"-filepath", d, "-out", "o.s2p"};
    const std::vector<std::string> missingMap = {"-filepath", d, "-in", "missing.map", "-out", "o.s2p"};
    const std::string kMapFailed = "VORA:  Reading map file error. \n";
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string out, log;  // log "": not compared (the version run)
    } cases[] = {
        {{}, 0, kUsage, kStarted},
        {{"-x"}, 0, kTooFew + kUsage, kStarted + Echo({"-x"}) + kTooFew},
        {tooFewGeneralized, 0, kTooFew + kUsage, kStarted + Echo(tooFewGeneralized) + kTooFew},
        {misordered, kFailed, "",
         kStarted + Echo(misordered) + "VORA: command line contains incorrect order. \n" + kFailedOption},
        {extra, kFailed, "", kStarted + Echo(extra) + "VORA: command line contains incorrect syntax. \n" + kFailedOption},
        {unsupported, kFailed, "",
         kStarted + Echo(unsupported) + "VORA: command line contains unsupported syntax. \n" + kFailedOption},
        {noMap, kFailed, "", kStarted + Echo(noMap) + kParsed + "VORA:  Can't find map file. \n" + kMapFailed},
        {missingMap, kFailed, "",
         kStarted + Echo(missingMap) + kParsed + "VORA:: Could not find " + d + "missing.map\n" + kMapFailed},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.log);
        const VoraRun run = RunVora(c.args, job.path(), job.path());
        EXPECT_EQ(run.status, c.status);
        EXPECT_EQ(run.out, c.out);
        EXPECT_EQ(WithoutSystemReasons(run.err), c.status == 0 ? "" : FailureNotice(run));
        EXPECT_EQ(run.logCount, 1);  // every run writes its own log: removed before the next
        EXPECT_EQ(run.log, c.log);
        ClearDirectory(job.path());
    }
    for (const char* v : {"-v", "-V"}) {
        const VoraRun run = RunVora({v}, job.path(), job.path());
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(std::regex_match(run.out, std::regex("\\d+\\.\\d+\\.\\d+\\.\\d+\\.\\d+   \\d{3}\n"))) << run.out;
        EXPECT_EQ(run.log, kStarted);
    }
    EXPECT_EQ(RunVora({"-v"}, job.path(), job.path()).logCount, 3);
}

// Options no parent tool passes: help from anywhere on the line, without a log; a bad value
// of a new option, or one the mode does not take, is told on stderr before anything runs.
TEST(CommandLine, HelpAndBadNewOptionsAnswerBeforeTheRun)
{
    TempDir job;
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {"-h"}, {"--help"}, {"-?"}, {"-filepath", job.dir(), "-H", "-in", "m.map"}}) {
        const VoraRun run = RunVora(args, job.path(), job.path());
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(run.out.starts_with("vora: removes the port leads")) << run.out;
        for (const char* word : {"GENERALIZEDSPARAM", "-precision", "-report", "-inputsfile2", "vora_<process id>.log"})
            EXPECT_NE(run.out.find(word), std::string::npos) << word;
        EXPECT_EQ(run.logCount, 0);
    }
    const std::vector<std::string> map = {"-filepath", job.dir(), "-in", "m.map", "-out", "o.s2p"};
    const std::vector<std::string> generalized = {"GENERALIZEDSPARAM", "-filepath", job.dir(), "-inputsfile1", "a.s2p",
                                                  "-inputsfile2", "b.s2p", "-out", "g.txt"};
    const std::string digits = "VORA: -precision takes a number of significant digits from 1 to 17, or full; not ";
    for (const auto& [args, extra, message] : std::vector<std::tuple<std::vector<std::string>, std::vector<std::string>, std::string>>{
             {map, {"-precision", "0"}, digits + "\"0\"\n"},
             {map, {"-precision", "18"}, digits + "\"18\"\n"},
             {map, {"-report"}, "VORA: -report needs a value\n"},
             {generalized, {"-precision", "8"}, "VORA: -precision applies to the de-embedding mode only, not to GENERALIZEDSPARAM\n"}}) {
        std::vector<std::string> all = args;
        all.insert(all.end(), extra.begin(), extra.end());
        const VoraRun run = RunVora(all, job.path(), job.path());
        EXPECT_EQ(run.status, kFailed);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, message);
        EXPECT_EQ(run.logCount, 0);
    }
}

}  // namespace
