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
        {{"d", "--ports", "3", "--group", "1:plain-EP", "--group", "2-3:ES"}, true},
        {{"d", "--group", "1,2", "--group", "2,3"}, false},          // port in two groups
        {{"d", "--group", "1,5"}, false},                             // outside 4 ports
        {{"d", "--group", "1,2:plain-EP"}, false},                    // plain is one port
        {{"d", "--group", "1:plain-ED", "--group", "2:EP"}, false},   // ER would switch syntax
        {{"d", "--ports", "3", "--device", "through"}, false},        // through pairs ports
        {{"d", "--group", "1:EP:0"}, false},                          // no short data at l = 0
        {{"d", "--group", "1,2:ES:0"}, true},                         // identity arm is fine for ES
        {{"d", "--fstart", "0"}, false},
        {{"d", "--fstart", "1M", "--points", "3", "--arm-grid", "offset", "--fstop", "5M"}, false},  // reaches 0 Hz
        {{"d", "--unit", "THz"}, false},
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

TEST(JobgenRequest, DefaultJobStaysBelowTheAnalysisLimit)
{
    std::string problem;
    const JobRequest request = Parsed({"d"}, problem);
    ASSERT_EQ(problem, "");
    ASSERT_EQ(request.groups.size(), 2u);
    for (const GroupRequest& g : request.groups) {
        EXPECT_EQ(g.ports.size(), 2u);
        EXPECT_GT(AnalysisLimit(request.er, g.length), 2.0 * request.fStop);
        const std::vector<double> eps = ModalEffectivePermittivities(GroupLines(request, g));
        ASSERT_EQ(eps.size(), 2u);
        EXPECT_GT(eps.front(), 2.5);  // FR-4-like microstrip modes
        EXPECT_LT(eps.back(), request.er);
    }
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

TEST(JobgenTool, WritesAJobWhoseFilesReadBack)
{
    TempDir dir;
    const std::string job = dir.path().string() + "/job";
    const std::string command = std::string(VORA_TOOLS_DIR) + "/vora-jobgen --ports 3 --group 1:plain-ED --group 2,3:ES " +
                                "--points 11 --unit MHz " + job + " >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string map = ReadFileText(job + "/job.map");
    EXPECT_NE(map.find("\nED 1 arm1_open.s2p arm1_short.s1p\n"), std::string::npos) << map;
    EXPECT_NE(map.find("\nES 2 2 3 arm2.s4p\n"), std::string::npos) << map;
    EXPECT_EQ(map.find("\nER "), std::string::npos);  // plain syntax: no ER
    EXPECT_NE(ReadFileText(job + "/arm1_open.s2p").find("# Hz S RI R 50\n"), std::string::npos);

    struct FileCase {
        const char* name;
        int32_t ports;
        double firstFrequency;  // Hz
    };
    for (const FileCase c : {FileCase{"whole.s3p", 3, 1e7}, FileCase{"device.s3p", 3, 1e7}, FileCase{"arm2.s4p", 4, 1e7},
                             FileCase{"arm1_short.s1p", 1, 1e7}, FileCase{"arm1_open.s2p", 2, 1e7}}) {
        std::vector<MatrixEntry> entries;
        ASSERT_EQ(ParseEntries(c.ports > 1 ? "S11,S12,S21" : "S11", c.ports, entries), "");
        TouchstoneSeries series;
        ASSERT_EQ(ReadTouchstoneSeries(job + "/" + c.name, c.ports, entries, series), "") << c.name;
        ASSERT_EQ(series.frequencies.size(), 11u) << c.name;
        EXPECT_NEAR(series.frequencies[0], c.firstFrequency, 1e-6) << c.name;
        EXPECT_NEAR(series.frequencies[10], 2e9, 1e-3) << c.name;
        for (size_t k = 0; k < 11; ++k) {
            EXPECT_LE(std::abs(series.values[0][k]), 1.0 + 1e-12) << c.name;
            if (c.ports > 1) {
                EXPECT_LT(std::abs(series.values[1][k] - series.values[2][k]), 1e-12) << c.name;
            }
        }
    }

    // A bad request writes nothing and says why.
    const std::string bad = std::string(VORA_TOOLS_DIR) + "/vora-jobgen --group 1,9 " + job + "2 2>/dev/null";
    EXPECT_EQ(WEXITSTATUS(std::system(bad.c_str())), 2);
    EXPECT_FALSE(dir.Exists("job2"));
}

TEST(JobgenPlot, EntriesTicksAndPicture)
{
    struct Case {
        const char* text;
        int32_t ports;
        bool ok;
    };
    for (const Case c : {Case{"S11,S21", 2, true}, Case{"S10_12", 12, true}, Case{"S13", 2, false}, Case{"S1", 4, false},
                         Case{"X11", 2, false}, Case{"S123", 20, false}, Case{"S_3", 12, false}, Case{"S3_", 12, false}}) {
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
