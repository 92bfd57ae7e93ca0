// The job generator's choices that the engine depends on, and its files as written.
#if __has_include("jobgen/JobWriter.h")

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "jobgen/JobRequest.h"
#include "jobgen/JobWriter.h"
#include "plot/SvgPlot.h"
#include "plot/TouchstoneData.h"
#include "support/VoraRun.h"

namespace {

JobRequest Parsed(const std::vector<std::string>& args, std::string& problem)
{
    JobRequest request;
    std::string directory;
    bool help = false;
    problem = ParseJobArguments(args, request, directory, help);
    if (problem.empty()) problem = CompleteJobRequest(request);
    return request;
}

}  // namespace

TEST(JobgenRequest, RejectsJobsTheEngineCouldNotReadBack)
{
    struct Case {
        std::vector<std::string> args;
        bool ok;
    };
    const Case cases[] = {
        {{"d"}, true},
        {{"d", "--ports", "6", "--group", "1-3:ES", "--group", "4,5:ED", "--group", "6:EP:3m"}, true},
        {{"d", "--group", "1,2", "--group", "2,3"}, false},          // port in two groups
        {{"d", "--group", "1,2:plain-EP"}, false},                    // plain is one port
        {{"d", "--group", "1:plain-ED", "--group", "2:EP"}, false},   // ER would switch syntax
        {{"d", "--ports", "3", "--device", "through"}, false},        // through pairs ports
        {{"d", "--group", "1:EP:0"}, false},                          // no short data at l = 0
        {{"d", "--group", "1,2:ES:0"}, true},                         // identity arm is fine for ES
        {{"d", "--fstart", "1M", "--points", "3", "--arm-grid", "offset", "--fstop", "5M"}, false},  // reaches 0 Hz
        {{"--ports", "4"}, false},                                    // no directory
    };
    for (const Case& c : cases) {
        std::string problem;
        Parsed(c.args, problem);
        std::string joined;
        for (const std::string& a : c.args) joined += a + " ";
        EXPECT_EQ(problem.empty(), c.ok) << joined << "-> " << problem;
    }
    std::string problem;
    const JobRequest request = Parsed({"d", "--ports", "3", "--group", "2-3:ES", "--group", "1:plain-EP"}, problem);
    ASSERT_EQ(problem, "");
    EXPECT_EQ(request.groups[0].syntax, ArmSyntax::PlainEP);  // plain lines must precede ES lines
}

TEST(JobgenRequest, ArmGridsContainOrBracketTheWholeGrid)
{
    std::string problem;
    JobRequest request = Parsed({"d", "--fstart", "10M", "--fstop", "2G", "--points", "201", "--arm-grid", "fine:3"}, problem);
    ASSERT_EQ(problem, "");
    const std::vector<double> whole = WholeGrid(request);
    EXPECT_EQ(whole[1], 0.01995);  // clean values in the file unit (GHz)
    const std::vector<double> fine = ArmGrid(request, whole);
    ASSERT_EQ(fine.size(), 601u);
    for (size_t i = 0; i < whole.size(); ++i) EXPECT_EQ(fine[3 * i], whole[i]);
    for (size_t i = 1; i < fine.size(); ++i) EXPECT_GT(fine[i], fine[i - 1]);

    request.armGrid = ArmGrid::Offset;
    const std::vector<double> offset = ArmGrid(request, whole);
    ASSERT_EQ(offset.size(), whole.size() + 1);
    for (size_t i = 0; i < whole.size(); ++i) {
        EXPECT_LT(offset[i], whole[i]);
        EXPECT_GT(offset[i + 1], whole[i]);
    }

    request.armGrid = ArmGrid::Shifted;
    request.shiftedFactor = 2;
    const std::vector<double> shifted = ArmGrid(request, whole);
    ASSERT_EQ(shifted.size(), 2 * (whole.size() - 1) + 2);
    for (size_t i = 0; i < whole.size(); ++i)  // a third of the way from arm point 2i to 2i+1
        EXPECT_NEAR((whole[i] - shifted[2 * i]) / (shifted[2 * i + 1] - shifted[2 * i]), 1.0 / 3.0, 1e-9) << i;
}

// The files a job writes are read back by every end-to-end test of a generated job.
TEST(JobgenTool, ABadRequestWritesNothingAndSaysWhy)
{
    TempDir dir;
    const std::string command =
        std::string(VORA_TOOLS_DIR) + "/vora-jobgen --group 1,9 " + dir.path().string() + "/job 2>" + dir.dir() + "err";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 2);
    EXPECT_FALSE(dir.Exists("job"));
    EXPECT_NE(dir.Read("err"), "");
}

TEST(JobgenPlot, EntriesTicksAndPicture)
{
    struct Case {
        const char* text;
        int32_t ports;
        bool ok;
    };
    for (const Case c : {Case{"S11,S21", 2, true}, Case{"S13", 2, false}, Case{"S1", 4, false}, Case{"S123", 20, false},
                         Case{"S3_", 12, false}}) {
        std::vector<MatrixEntry> entries;
        EXPECT_EQ(ParseEntries(c.text, c.ports, entries).empty(), c.ok) << c.text;
    }
    std::vector<MatrixEntry> entries;
    ASSERT_EQ(ParseEntries("S10_12", 12, entries), "");
    EXPECT_EQ(entries[0].row, 9);
    EXPECT_EQ(entries[0].column, 11);

    const std::vector<double> ticks = NiceTicks(-47.0, 3.0, 8);
    ASSERT_FALSE(ticks.empty());
    EXPECT_GE(ticks.front(), -47.0);
    EXPECT_LE(ticks.back(), 3.0);
    EXPECT_LE(ticks.front() - (ticks[1] - ticks[0]), -47.0);  // no room for another tick
    EXPECT_EQ(Decibels(0.1), -20.0);

    PlotCurve curve{"S21 <raw>", {1e9, 2e9}, {-3.0, -6.0}, 1, 0};
    const std::string svg = RenderSvg({curve}, "t");
    EXPECT_NE(svg.find("<polyline"), std::string::npos);
    EXPECT_NE(svg.find("S21 &lt;raw&gt;"), std::string::npos);
    EXPECT_NE(svg.find("frequency (GHz)"), std::string::npos);
}

#endif
