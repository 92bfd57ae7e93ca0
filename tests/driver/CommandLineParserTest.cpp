#include "driver/CommandLine.h"
#include "driver/Prescan.h"

#include <gtest/gtest.h>

#include <sstream>

#include "driver/Arguments.h"
#include "job/VoraJob.h"

namespace {

struct Parsed {
    std::ostringstream log;
    std::ostringstream console;
    VoraJob job{log};
    CommandLineResult result = CommandLineResult::Rejected;
};

void Parse(Parsed& p, Arguments args, bool generalized)
{
    p.result = generalized ? ParseCommandLineGeneralized(p.job, args.argc(), args.argv(), p.console)
                           : ParseCommandLine(p.job, args.argc(), args.argv(), p.console);
}

// The names as given; the paths join them to the directory (the pre-scan's, which the
// generalized parser does not repeat: set here to "g/").
TEST(ParseCommandLine, StoresNamesAndBuildsPaths)
{
    struct Case {
        Arguments args;
        bool generalized;
        std::string map, output, mapPath, outputPath;  // generalized: map is "file1 file2"
    } cases[] = {
        {{"vora", "-filepath", "/jobs/a", "-in", "m.map", "-out", "o.s4p"}, false, "m.map", "o.s4p", "/jobs/a/m.map",
         "/jobs/a/o.s4p"},
        {{"vora", "-In", "M.Map", "-oUT", "O.S2P"}, false, "M.Map", "O.S2P", "./M.Map", "./O.S2P"},
        // Options and values pair by position in their lists, not by adjacency.
        {{"vora", "-filepath", "d", "-in", "-out", "a.map", "b.s4p"}, false, "a.map", "b.s4p", "d/a.map", "d/b.s4p"},
        // A repeated option overwrites.
        {{"vora", "-in", "first.map", "-in", "second.map", "-out", "o"}, false, "second.map", "o", "./second.map", "./o"},
        {{"vora", "GENERALIZEDSPARAM", "-filepath", "g", "-InputSFile1", "A.s2p", "-inputsfile2", "b.s2p", "-out", "o.txt"},
         true, "A.s2p b.s2p", "", "", "g/o.txt"},
    };
    for (Case& c : cases) {
        Parsed p;
        if (c.generalized) p.job.directoryPath = "g/";
        Parse(p, c.args, c.generalized);
        SCOPED_TRACE(c.outputPath);
        EXPECT_EQ(p.result, CommandLineResult::Accepted);
        EXPECT_EQ(p.job.outputFilePath, c.outputPath);
        EXPECT_EQ(p.console.str(), "");
        if (c.generalized) {
            EXPECT_EQ(p.job.sFile1Name + " " + p.job.sFile2Name, c.map);
            EXPECT_EQ(p.job.portCount, 2);
        } else {
            EXPECT_EQ(p.job.mapFileName, c.map);
            EXPECT_EQ(p.job.outputFileName, c.output);
            EXPECT_EQ(p.job.mapFilePath, c.mapPath);
        }
    }
}

// The plain grammar errors and the unopenable log of the de-embedding mode are covered end
// to end; these are the less obvious ones.
TEST(ParseCommandLine, GrammarErrorsAndAnUnopenableLog)
{
    const std::string kSyntax = "VORA: command line contains incorrect syntax. \n";
    const std::string kUnsupported = "VORA: command line contains unsupported syntax. \n";
    const std::string kNoLog = "VORA:  cannot open log file. \n";
    struct Case {
        Arguments args;
        bool generalized;
        bool bLogOpen;
        CommandLineResult result;
        std::string message;  // the end of the log, or the console when the log cannot open
    } cases[] = {
        // A value that begins with "-" counts as an option.
        {{"v", "-filepath", "d", "-in", "-a.map", "-out", "o"}, false, true, CommandLineResult::Rejected, kSyntax},
        {{"v", "-inputsfile1", "a", "-in", "m"}, false, true, CommandLineResult::Rejected, kUnsupported},
        {{"v", "G", "-filepath", "g", "-inputsfile1", "a", "-inputsfile2", "b", "-out"}, true, true,
         CommandLineResult::Rejected, kSyntax},
        {{"v", "G", "-filepath", "g", "-in", "a", "-inputsfile2", "b", "-out", "o"}, true, true,
         CommandLineResult::Rejected, kUnsupported},
        {{"vora", "-v"}, true, false, CommandLineResult::EndRunFailed, kNoLog},
    };
    for (Case& c : cases) {
        Parsed p;
        if (!c.bLogOpen) p.log.setstate(std::ios::failbit);
        Parse(p, c.args, c.generalized);
        EXPECT_EQ(p.result, c.result);
        EXPECT_TRUE((c.bLogOpen ? p.log.str() : p.console.str()).ends_with(c.message)) << p.log.str();
        EXPECT_EQ(p.console.str(), c.bLogOpen ? "" : kNoLog);
    }
}

TEST(PrescanArguments, ModeAndDirectory)
{
    struct Case {
        Arguments args;
        int runMode;
        std::string directory;
    } cases[] = {
        {{"vora"}, 0, "./"},
        {{"vora", "-filepath", "jobs/a", "-in", "m.map"}, 0, "jobs/a/"},
        {{"vora", "-in", "m.map", "-FilePath", "jobs/a/"}, 0, "jobs/a/"},
        {{"vora", "-filepath"}, 0, "./"},
        {{"vora", "GENERALIZEDSPARAM", "-filepath", "g", "-out", "o"}, 1, "g/"},
        // The directory is two places after the mode word, whatever stands between.
        {{"vora", "-in", "m", "GeneralizedSparam", "-x", "d\\"}, 1, "d\\"},
        // After "-filepath" the mode word is an ordinary argument.
        {{"vora", "-filepath", "d", "GENERALIZEDSPARAM"}, 0, "d/"},
        {{"vora", "-filepath", "GENERALIZEDSPARAM", "x"}, 0, "GENERALIZEDSPARAM/"},
        {{"vora", "-filepath", "C:\\data"}, 0, "C:\\data/"},
        {{"vora", "-filepath", "out/"}, 0, "out/"},
        // Quotes are tested after the "/" was appended, so they stay.
        {{"vora", "-filepath", "\"C:\\my data\""}, 0, "\"C:\\my data\"/"},
    };
    for (Case& c : cases) {
        std::ostringstream log;
        VoraJob job(log);
        PrescanArguments(job, c.args.argc(), c.args.argv());
        SCOPED_TRACE(testing::Message() << "expected directory " << c.directory);
        EXPECT_EQ(job.runMode, c.runMode);
        EXPECT_EQ(job.directoryPath, c.directory);
    }
}

}  // namespace
