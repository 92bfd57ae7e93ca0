#include "io/ArmFiles.h"
#include "io/JobOutput.h"
#include "calibration/ArmPreparation.h"
#include "driver/RunSteps.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "io/MapFile.h"
#include "io/WholeStructureFile.h"
#include "job/VoraJob.h"
#include "support/TestData.h"
#include "support/VoraRun.h"

namespace {

const std::string kOneLine = "ER 1\nNP 1 1e-4 3.5e-5 0.01 5.8e7\nNC 1\nWS whole.sNp\n";
const std::string kTwoLines = "ER 1\nNP 2 1e-4 3.5e-5 0.01 5.8e7 1e-4 3.5e-5 0.01 5.8e7\nNC 1\nWS whole.sNp\n";
const std::string kArmFailed = "VORA:  The first arm process error. \n";

class ArmFilesTest : public ::testing::Test {
protected:
    // Runs the three reading steps in the driver's order on a fresh job: 0, or the failing
    // step's number.
    int32_t Load(const std::string& map)
    {
        log.str("");
        job = std::make_unique<VoraJob>(log);
        dir.Write("job.map", map);
        job->directoryPath = dir.dir();
        job->mapFileName = "job.map";
        job->mapFilePath = dir.dir() + "job.map";
        job->outputFilePath = dir.dir() + "out.sNp";
        if (ReadMapFile(*job) != 0) return 1;
        if (ReadWholeStructureFile(*job) != 0) return 2;
        if (LoadArms(*job) != 0) return 3;
        return 0;
    }
    void Write(const std::string& name, const std::string& option, int64_t ports, const std::vector<double>& frequencies,
               double (*value)(size_t, int64_t) = PositionValue)
    {
        dir.Write(name, TouchstoneText(option, ports, frequencies, value));
    }
    static std::vector<double> Record(const RecordTable& table, size_t k)
    {
        return std::vector<double>(table[k], table[k] + table.width());
    }
    CalibrationGroup& Group() { return job->calibrationGroups[0]; }

    TempDir dir;
    std::ostringstream log;
    std::unique_ptr<VoraJob> job;
};

TEST_F(ArmFilesTest, WholeStructureHeaderGoesToTheOutputAndRToEveryGroup)
{
    dir.Write("whole.sNp", "! first comment\n# GHz S RI R 50\n! second comment\n" +
                               TouchstoneText("", 2, {1, 2}, PositionValue));
    ASSERT_EQ(Load(kTwoLines + "EP 2 2 1 o s\n"), 3) << log.str();
    ASSERT_EQ(FinishJobOutput(*job), 0);
    EXPECT_EQ(dir.Read("out.sNp"), "! first comment\n# GHz S RI R 50\n! second comment\n");
    EXPECT_EQ(job->frequencies, (std::vector<double>{1e9, 2e9}));
    EXPECT_EQ(Record(job->wholeValues, 1), (std::vector<double>{1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007}));
    EXPECT_EQ(Group().portResistances, (std::vector<double>{50, 50}));
    // Without an option line every port has R = -10: pinned end to end (InputFiles).
}

TEST_F(ArmFilesTest, MissingFilesNameWhatIsMissing)
{
    const std::string map = kOneLine + "EP 1 1 open.s1p short.s1p\n";
    EXPECT_EQ(Load(map), 2);
    EXPECT_EQ(log.str(), "VORA:: Could not find whole structure file" + dir.dir() + "whole.sNp\n");
    Write("whole.sNp", "# GHz S RI R 50\n", 1, {1});
    EXPECT_EQ(Load(map), 3);
    EXPECT_EQ(log.str(), "VORA:: Could not open s-arm " + dir.dir() + "short.s1p file\n"
                         "VORA:: Could not find s-arm 1 file\n" + kArmFailed);
    Write("short.s1p", "# GHz Z RI R 50\n", 1, {1});
    EXPECT_EQ(Load(map), 3);
    EXPECT_EQ(log.str(), "VORA:: Could not find o-arm 1 file\n" + kArmFailed);
    // Third and later groups are counted with "th".
    Write("whole.sNp", "# GHz S RI R 50\n", 3, {1});
    for (const char* name : {"s1", "s2"}) Write(name, "# GHz S RI R 50\n", 2, {1});
    EXPECT_EQ(Load("ER 1\nNP 3 1 1 1 1 1 1 1 1 1 1 1 1\nNC 3\nWS whole.sNp\nES 1 1 s1\nES 1 2 s2\nES 1 3 s3\n"), 3);
    EXPECT_EQ(log.str(), "VORA:: Could not open s-arm " + dir.dir() + "s3 file\nVORA:: Could not find s-arm 3 file\n"
                         "VORA:  The 3th arm process error. \n");
}

TEST_F(ArmFilesTest, ArmResistanceMustMatchTheWholeStructureToOnePartPerMillion)
{
    struct Case {
        const char* armLine;
        const char* shortR;
        const char* openR;
        const char* message;  // "" when accepted
    };
    const Case cases[] = {
        {"ED 1 1 o.s1p s.s1p", "50.00001", "50", ""},
        {"ED 1 1 o.s1p s.s1p", "50.001", "50", "VORA:  R of short S file is not same as R of whole S file  \n"},
        {"ED 1 1 o.s1p s.s1p", "50", "50.001", "VORA:  R of open S file is not same as R of whole S file  \n"},
        {"ES 1 1 s.s1p", "50.00001", "", ""},
        {"ES 1 1 s.s1p", "50.001", "", "VORA:  R of arm S file is not same as R of whole S file  \n"},
    };
    Write("whole.sNp", "# GHz S RI R 50\n", 1, {1, 2});
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.armLine << " " << c.shortR << " " << c.openR);
        const bool bArmS = c.armLine[1] == 'S';
        Write("s.s1p", std::string("# GHz S RI R ") + c.shortR + "\n", bArmS ? 2 : 1, {1, 2}, ZeroValue);
        Write("o.s1p", std::string("# GHz S RI R ") + c.openR + "\n", 1, {1, 2}, ZeroValue);
        EXPECT_EQ(Load(kOneLine + c.armLine + "\n"), *c.message ? 3 : 0);
        EXPECT_EQ(log.str(), *c.message ? c.message + kArmFailed : "");
    }
}

TEST_F(ArmFilesTest, ExtendedFormsKeepOrConvertEveryValue)
{
    // An arm S file longer than the whole structure stops after the first point beyond it.
    Write("whole.sNp", "# GHz S RI R 50\n", 1, {1, 2, 3});
    Write("arm.s2p", "# GHz S RI R 50\n", 2, {1, 2, 3, 4, 5, 6});
    ASSERT_EQ(Load(kOneLine + "ES 1 1 arm.s2p\n"), 0) << log.str();
    EXPECT_EQ(Group().shortFrequencies, (std::vector<double>{1e9, 2e9, 3e9, 4e9}));
    EXPECT_EQ(Group().commonFrequencies, Group().shortFrequencies);
    EXPECT_EQ(Record(Group().shortValues, 3)[7], 3007);

    // Z short and Y open as they stand; an exactly zero Re Y(1,1) is stored as 1e-12.
    Write("whole.sNp", "# GHz S RI R 50\n", 2, {1, 2});
    Write("short.s2p", "# GHz Z RI R 50\n", 2, {1, 2});
    Write("open.s2p", "# GHz Y RI R 50\n", 2, {1, 2});
    ASSERT_EQ(Load(kTwoLines + "EP 2 1 2 open.s2p short.s2p\n"), 0) << log.str();
    EXPECT_EQ(Record(Group().shortValues, 0), (std::vector<double>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(Record(Group().openValues, 0), (std::vector<double>{1e-12, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(Record(Group().openValues, 1)[0], 1000);

    // Matched S arms become Z = diag(R), Y = diag(1/R).
    Write("whole.sNp", "# GHz S RI R 25\n", 2, {1, 2});
    Write("short.s2p", "# GHz S RI R 25\n", 2, {1, 2}, ZeroValue);
    Write("open.s2p", "# GHz S RI R 25\n", 2, {1, 2}, ZeroValue);
    ASSERT_EQ(Load(kTwoLines + "ED 2 1 2 open.s2p short.s2p\n"), 0) << log.str();
    for (size_t k = 0; k < 2; ++k) {
        const std::vector<double> z = Record(Group().shortValues, k), y = Record(Group().openValues, k);
        for (size_t p : {0, 6}) {
            EXPECT_NEAR(z[p], 25, 1e-12);
            EXPECT_NEAR(y[p], 0.04, 1e-12);
        }
        EXPECT_NEAR(z[2], 0, 1e-12);
        EXPECT_NEAR(y[3], 0, 1e-15);
    }
    EXPECT_EQ(Group().rootReference.n, 0);  // released once the group is loaded
}

TEST_F(ArmFilesTest, NvplFormKeepsTheDiagonalsOfEveryLine)
{
    Write("whole.sNp", "# GHz S RI R 50\n", 1, {1, 2});
    for (const char* kind : {"EP", "ED"}) {
        SCOPED_TRACE(kind);
        Write("short.s2p", kind[1] == 'D' ? "# GHz S RI R 50\n" : "# GHz Z RI R 50\n", 2, {1, 2});
        // The Nvpl form takes only the value form from the open file's option line: kHz is
        // not applied.
        Write("open.s4p", "# kHz Q RI\n", 4, {1e6, 2e6});
        ASSERT_EQ(Load(std::string("NP 1\nNV 2\nNC 1\nWS whole.sNp\n") + kind + " 1 open.s4p short.s2p\n"), 0)
            << log.str();
        EXPECT_EQ(Record(Group().shortValues, 1), (std::vector<double>{1000, 1001, 1006, 1007}));
        EXPECT_EQ(Record(Group().openValues, 0), (std::vector<double>{1e-12, 1, 10, 11, 20, 21, 30, 31}));
        EXPECT_EQ(Group().openFrequencies, (std::vector<double>{1e6, 2e6}));
        EXPECT_EQ(Group().shortWeights, (std::vector<double>{0.5, 0.5}));
    }
    // Nvpl 8, which is not implemented, is pinned end to end (InputFiles).
}

TEST_F(ArmFilesTest, OpenPointsWithinATenthOfAHertzOfAShortPointAreCommon)
{
    Write("whole.sNp", "# GHz S RI R 50\n", 1, {1});
    dir.Write("short.s1p", "# Hz Z RI R 50\n1000000000 1 0\n2000000000 1 0\n");
    dir.Write("open.s1p", "# Hz Y RI R 50\n1000000000.05 1 0\n2000000000.2 1 0\n");
    ASSERT_EQ(Load(kOneLine + "EP 1 1 open.s1p short.s1p\n"), 0) << log.str();
    EXPECT_EQ(Group().commonFrequencies, std::vector<double>{1000000000.05});
}

// The coverage messages of every file type are pinned end to end; here the matching rule:
// a whole point within 0.01 Hz of a file point, or strictly bracketed by two.
TEST_F(ArmFilesTest, CoverageMatchesOrBracketsEveryWholeFrequency)
{
    Write("whole.sNp", "# GHz S RI R 50\n", 1, {1});
    Write("arm.s2p", "# GHz S RI R 50\n", 2, {1, 2});
    ASSERT_EQ(Load(kOneLine + "ES 1 1 arm.s2p\n"), 0) << log.str();
    CalibrationGroup& group = Group();
    group.armKind = 0;
    group.shortFrequencies = group.openFrequencies = {1e9, 2e9};
    struct Case {
        std::vector<double> whole;
        int32_t result;
    };
    for (const Case& c : {Case{{1e9 - 0.005, 1.5e9, 2e9 + 0.005}, 0}, Case{{1e9 - 0.02}, -1}, Case{{2e9 + 0.02}, -1}}) {
        job->frequencies = c.whole;
        EXPECT_EQ(CheckArmFrequencyCoverage(*job, group), c.result) << c.whole[0];
    }
    group.shortFrequencies = {1.2e9, 2e9};  // the short file is checked too
    job->frequencies = {1e9};
    EXPECT_EQ(CheckArmFrequencyCoverage(*job, group), -1);
}


}  // namespace
