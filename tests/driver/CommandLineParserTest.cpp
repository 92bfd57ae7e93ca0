#include "driver/CommandLine.h"

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

void Parse(Parsed& p, Arguments args, bool generalized = false)
{
    p.result = generalized ? ParseCommandLineGeneralized(p.job, args.argc(), args.argv(), p.console)
                           : ParseCommandLine(p.job, args.argc(), args.argv(), p.console);
}

TEST(ParseCommandLine, StoresNamesAndBuildsPaths)
{
    struct Case {
        Arguments args;
        std::string map, output, mapPath, outputPath;
    } cases[] = {
        {{"vora", "-filepath", "/jobs/a", "-in", "m.map", "-out", "o.s4p"}, "m.map", "o.s4p", "/jobs/a/m.map",
         "/jobs/a/o.s4p"},
        {{"vora", "-In", "M.Map", "-oUT", "O.S2P"}, "M.Map", "O.S2P", "./M.Map", "./O.S2P"},
        // Options and values pair by position in their lists, not by adjacency.
        {{"vora", "-filepath", "d", "-in", "-out", "a.map", "b.s4p"}, "a.map", "b.s4p", "d/a.map", "d/b.s4p"},
        // A repeated option overwrites.
        {{"vora", "-in", "first.map", "-in", "second.map", "-out", "o"}, "second.map", "o", "./second.map", "./o"},
    };
    for (Case& c : cases) {
        Parsed p;
        Parse(p, c.args);
        SCOPED_TRACE(c.mapPath);
        EXPECT_EQ(p.result, CommandLineResult::Accepted);
        EXPECT_EQ(p.job.mapFileName, c.map);
        EXPECT_EQ(p.job.outputFileName, c.output);
        EXPECT_EQ(p.job.mapFilePath, c.mapPath);
        EXPECT_EQ(p.job.outputFilePath, c.outputPath);
        EXPECT_EQ(p.console.str(), "");
    }
}

// The plain grammar errors are covered end to end; these are the less obvious ones.
TEST(ParseCommandLine, GrammarErrors)
{
    const std::string kSyntax = "VORA: command line contains incorrect syntax. \n";
    const std::string kUnsupported = "VORA: command line contains unsupported syntax. \n";
    struct Case {
        Arguments args;
        bool generalized;
        std::string message;
    } cases[] = {
        // A value that begins with "-" counts as an option.
        {{"v", "-filepath", "d", "-in", "-a.map", "-out", "o"}, false, kSyntax},
        {{"v", "-inputsfile1", "a", "-in", "m"}, false, kUnsupported},
        {{"v", "G", "-filepath", "g", "-inputsfile1", "a", "-inputsfile2", "b", "-out"}, true, kSyntax},
        {{"v", "G", "-filepath", "g", "-in", "a", "-inputsfile2", "b", "-out", "o"}, true, kUnsupported},
    };
    for (Case& c : cases) {
        Parsed p;
        Parse(p, c.args, c.generalized);
        EXPECT_EQ(p.result, CommandLineResult::Rejected);
        EXPECT_TRUE(p.log.str().ends_with(c.message)) << p.log.str();
        EXPECT_EQ(p.console.str(), "");
    }
}

TEST(ParseCommandLine, UnopenableLogEndsTheRunWithFailure)
{
    for (bool generalized : {false, true}) {
        Parsed p;
        p.log.setstate(std::ios::failbit);
        Parse(p, {"vora", "-v"}, generalized);
        EXPECT_EQ(p.result, CommandLineResult::EndRunFailed);
        EXPECT_EQ(p.console.str(), "VORA:  cannot open log file. \n");
    }
}

TEST(ParseCommandLineGeneralized, StoresNamesAndSetsTwoPorts)
{
    Parsed p;
    p.job.directoryPath = "g/";  // set by the pre-scan, which this parser does not repeat
    Parse(p, {"vora", "GENERALIZEDSPARAM", "-filepath", "g", "-InputSFile1", "A.s2p", "-inputsfile2", "b.s2p", "-out",
              "o.txt"},
          true);
    EXPECT_EQ(p.result, CommandLineResult::Accepted);
    EXPECT_EQ(p.job.sFile1Name, "A.s2p");
    EXPECT_EQ(p.job.sFile2Name, "b.s2p");
    EXPECT_EQ(p.job.outputFilePath, "g/o.txt");
    EXPECT_EQ(p.job.portCount, 2);
}

}  // namespace
