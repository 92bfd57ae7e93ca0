#include "io/ArmFiles.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "io/MapFile.h"
#include "io/TouchstoneText.h"
#include "io/WholeStructureFile.h"
#include "job/VoraJob.h"
#include "support/VoraRun.h"

namespace {

const char* const kOneLineGeometry = "ER 1\nNP 1 1e-4 3.5e-5 0.01 5.8e7\n";
const char* const kTwoLineGeometry = "ER 1\nNP 2 1e-4 3.5e-5 0.01 5.8e7 1e-4 3.5e-5 0.01 5.8e7\n";

class ArmFilesTest : public ::testing::Test {
protected:
    // Runs the three readers in the driver's order: 0, or the failing reader's number.
    int32_t Load(const std::string& map, const PortLineAnalysisHooks& hooks = {})
    {
        dir.Write("job.map", map);
        job.directoryPath = dir.dir();
        job.mapFileName = "job.map";
        job.mapFilePath = dir.dir() + "job.map";
        job.outputFilePath = dir.dir() + "out.sNp";
        if (ReadMapFile(job) != 0) return 1;
        if (ReadWholeStructureFile(job) != 0) return 2;
        if (ReadArmFiles(job, hooks) != 0) return 3;
        return 0;
    }
    void WriteWhole(int64_t ports, const std::vector<double>& frequenciesGHz, const std::string& option = "# GHz S RI R 50\n")
    {
        dir.Write("whole.sNp", TouchstoneText(option, ports, frequenciesGHz, PositionValue));
    }
    void Write(const std::string& name, const std::string& option, int64_t ports, const std::vector<double>& frequencies,
               double (*value)(size_t, int64_t) = PositionValue)
    {
        dir.Write(name, TouchstoneText(option, ports, frequencies, value));
    }
    std::vector<double> Record(const RecordTable& table, size_t k) const
    {
        return std::vector<double>(table[k], table[k] + table.width());
    }

    TempDir dir;
    std::ostringstream log;
    VoraJob job{log};
};

TEST_F(ArmFilesTest, WholeStructureHeaderGoesToTheOutputAndRToEveryGroup)
{
    dir.Write("whole.sNp", "! first comment\n# GHz S RI R 50\n! second comment\n" +
                               TouchstoneText("", 2, {1, 2}, PositionValue));
    ASSERT_EQ(Load(std::string(kTwoLineGeometry) + "NC 1\nWS whole.sNp\nEP 2 2 1 o s\n"), 3) << log.str();
    job.outputStream->flush();
    EXPECT_EQ(dir.Read("out.sNp"), "! first comment\n# GHz S RI R 50\n! second comment\n");
    EXPECT_EQ(job.frequencies, (std::vector<double>{1e9, 2e9}));
    EXPECT_EQ(job.wholeValues.width(), 8);
    EXPECT_EQ(Record(job.wholeValues, 1), (std::vector<double>{1000, 1001, 1002, 1003, 1004, 1005, 1006, 1007}));
    EXPECT_EQ(job.portResistances, (std::vector<double>{50, 50}));
    EXPECT_EQ(job.calibrationGroups[0].portResistances, (std::vector<double>{50, 50}));
}

TEST_F(ArmFilesTest, WholeStructureWithoutOptionLineHasNoReferenceResistance)
{
    dir.Write("whole.sNp", TouchstoneText("! no option line\n", 1, {5, 6}, ZeroValue));
    Write("short.s1p", "# GHz S RI R 50\n", 1, {5, 6}, ZeroValue);
    ASSERT_EQ(Load(std::string(kOneLineGeometry) + "NC 1\nWS whole.sNp\nED 1 1 open.s1p short.s1p\n"), 3);
    EXPECT_EQ(job.frequencies, (std::vector<double>{5, 6}));
    EXPECT_EQ(job.portResistances, std::vector<double>{-10.0});
    EXPECT_EQ(job.calibrationGroups[0].portResistances, std::vector<double>{-10.0});
    EXPECT_EQ(log.str(), "VORA:  R of short S file is not same as R of whole S file  \n"
                         "VORA:  The first arm process error. \n");
}

TEST_F(ArmFilesTest, MissingFilesNameWhatIsMissing)
{
    EXPECT_EQ(Load(std::string(kOneLineGeometry) + "NC 1\nWS whole.sNp\nEP 1 1 open.s1p short.s1p\n"), 2);
    EXPECT_EQ(log.str(), "VORA:: Could not find whole structure file" + dir.dir() + "whole.sNp\n");

    log.str("");
    WriteWhole(1, {1});
    ASSERT_EQ(ReadWholeStructureFile(job), 0);
    EXPECT_EQ(ReadArmFiles(job, {}), -1);
    EXPECT_EQ(log.str(), "VORA:: Could not open s-arm " + dir.dir() + "short.s1p file\n"
                         "VORA:: Could not find s-arm 1 file\n"
                         "VORA:  The first arm process error. \n");

    log.str("");
    Write("short.s1p", "# GHz Z RI R 50\n", 1, {1});
    EXPECT_EQ(ReadArmFiles(job, {}), -1);
    EXPECT_EQ(log.str(), "VORA:: Could not find o-arm 1 file\nVORA:  The first arm process error. \n");
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
    for (const Case& c : cases) {
        std::ostringstream caseLog;
        VoraJob caseJob{caseLog};
        const bool bArmS = std::string(c.armLine).rfind("ES", 0) == 0;
        dir.Write("job.map", std::string(kOneLineGeometry) + "NC 1\nWS whole.sNp\n" + c.armLine + "\n");
        WriteWhole(1, {1, 2});
        Write("s.s1p", std::string("# GHz S RI R ") + c.shortR + "\n", bArmS ? 2 : 1, {1, 2}, ZeroValue);
        Write("o.s1p", std::string("# GHz S RI R ") + c.openR + "\n", 1, {1, 2}, ZeroValue);
        caseJob.directoryPath = dir.dir();
        caseJob.mapFileName = "job.map";
        caseJob.mapFilePath = dir.dir() + "job.map";
        caseJob.outputFilePath = dir.dir() + "out.s1p";
        ASSERT_EQ(ReadMapFile(caseJob), 0);
        ASSERT_EQ(ReadWholeStructureFile(caseJob), 0);
        const std::string expected = *c.message ? std::string(c.message) + "VORA:  The first arm process error. \n" : "";
        EXPECT_EQ(ReadArmFiles(caseJob, {}), *c.message ? -1 : 0) << c.armLine << " " << c.shortR;
        EXPECT_EQ(caseLog.str(), expected) << c.armLine << " " << c.shortR;
    }
}

TEST_F(ArmFilesTest, ArmSFileLongerThanTheWholeStructureStopsAfterTheFirstPointBeyond)
{
    WriteWhole(1, {1, 2, 3});
    Write("arm.s2p", "# GHz S RI R 50\n", 2, {1, 2, 3, 4, 5, 6});
    ASSERT_EQ(Load(std::string(kOneLineGeometry) + "NC 1\nWS whole.sNp\nES 1 1 arm.s2p\n"), 0) << log.str();
    const CalibrationGroup& group = job.calibrationGroups[0];
    EXPECT_EQ(group.shortFrequencies, (std::vector<double>{1e9, 2e9, 3e9, 4e9}));
    EXPECT_EQ(group.commonFrequencies, group.shortFrequencies);
    EXPECT_EQ(group.shortValues.width(), 8);
    EXPECT_EQ(Record(group.shortValues, 3)[7], 3007);
}

TEST_F(ArmFilesTest, ExtendedShortAndOpenKeepEveryValue)
{
    WriteWhole(2, {1, 2});
    Write("short.s2p", "# GHz Z RI R 50\n", 2, {1, 2});
    Write("open.s2p", "# GHz Y RI R 50\n", 2, {1, 2});
    ASSERT_EQ(Load(std::string(kTwoLineGeometry) + "NC 1\nWS whole.sNp\nEP 2 1 2 open.s2p short.s2p\n"), 0) << log.str();
    const CalibrationGroup& group = job.calibrationGroups[0];
    EXPECT_EQ(Record(group.shortValues, 0), (std::vector<double>{0, 1, 2, 3, 4, 5, 6, 7}));
    // An exactly zero Re Y(1,1) is stored as 1e-12.
    EXPECT_EQ(Record(group.openValues, 0), (std::vector<double>{1e-12, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(Record(group.openValues, 1)[0], 1000);
    EXPECT_EQ(group.commonFrequencyCount, 2);
}

TEST_F(ArmFilesTest, ExtendedSArmsAreConvertedToZshortAndYopen)
{
    WriteWhole(2, {1, 2}, "# GHz S RI R 25\n");
    Write("short.s2p", "# GHz S RI R 25\n", 2, {1, 2}, ZeroValue);
    Write("open.s2p", "# GHz S RI R 25\n", 2, {1, 2}, ZeroValue);
    ASSERT_EQ(Load(std::string(kTwoLineGeometry) + "NC 1\nWS whole.sNp\nED 2 1 2 open.s2p short.s2p\n"), 0) << log.str();
    const CalibrationGroup& group = job.calibrationGroups[0];
    // Matched arms: Z = diag(R), Y = diag(1/R) (Re S(1,1) of the open arm became 1e-12 first).
    for (size_t k = 0; k < 2; ++k) {
        const std::vector<double> z = Record(group.shortValues, k);
        const std::vector<double> y = Record(group.openValues, k);
        EXPECT_NEAR(z[0], 25, 1e-12);
        EXPECT_NEAR(z[6], 25, 1e-12);
        EXPECT_NEAR(z[2], 0, 1e-12);
        EXPECT_NEAR(y[0], 0.04, 1e-12);
        EXPECT_NEAR(y[6], 0.04, 1e-15);
        EXPECT_NEAR(y[3], 0, 1e-15);
    }
    EXPECT_EQ(group.rootReference.n, 0);  // released once the group is loaded
    EXPECT_EQ(group.conversionS.data, nullptr);
}

TEST_F(ArmFilesTest, NvplFormKeepsTheDiagonalsOfEveryLine)
{
    for (const char* kind : {"EP", "ED"}) {
        std::ostringstream caseLog;
        VoraJob caseJob{caseLog};
        const bool bS = std::string(kind) == "ED";
        dir.Write("job.map", std::string("NP 1\nNV 2\nNC 1\nWS whole.sNp\n") + kind + " 1 open.s4p short.s2p\n");
        WriteWhole(1, {1, 2});
        Write("short.s2p", bS ? "# GHz S RI R 50\n" : "# GHz Z RI R 50\n", 2, {1, 2});
        // The Nvpl form takes nothing from the open file's option line: kHz is not applied.
        Write("open.s4p", "# kHz Q\n", 4, {1e6, 2e6});
        caseJob.directoryPath = dir.dir();
        caseJob.mapFileName = "job.map";
        caseJob.mapFilePath = dir.dir() + "job.map";
        caseJob.outputFilePath = dir.dir() + "out.s1p";
        ASSERT_EQ(ReadMapFile(caseJob), 0);
        ASSERT_EQ(ReadWholeStructureFile(caseJob), 0);
        ASSERT_EQ(ReadArmFiles(caseJob, {}), 0) << kind << caseLog.str();
        const CalibrationGroup& group = caseJob.calibrationGroups[0];
        EXPECT_EQ(Record(group.shortValues, 1), (std::vector<double>{1000, 1001, 1006, 1007})) << kind;
        EXPECT_EQ(Record(group.openValues, 0), (std::vector<double>{1e-12, 1, 10, 11, 20, 21, 30, 31})) << kind;
        EXPECT_EQ(group.openFrequencies, (std::vector<double>{1e6, 2e6})) << kind;
        EXPECT_EQ(group.shortWeights, (std::vector<double>{0.5, 0.5})) << kind;
    }
}

TEST_F(ArmFilesTest, NvplBeyondSevenIsNotImplemented)
{
    WriteWhole(1, {1});
    Write("short.s8p", "# GHz Z RI R 50\n", 8, {1});
    EXPECT_EQ(Load("NP 1\nNV 8\nNC 1\nWS whole.sNp\nEP 1 open.s16p short.s8p\n"), 3);
    EXPECT_EQ(log.str(), "VORA:  VPLN=8 not implemented yet error. \nVORA:  The first arm process error. \n");
}

TEST_F(ArmFilesTest, OpenPointsWithinATenthOfAHertzOfAShortPointAreCommon)
{
    WriteWhole(1, {1});
    dir.Write("short.s1p", "# Hz Z RI R 50\n1000000000 1 0\n2000000000 1 0\n");
    dir.Write("open.s1p", "# Hz Y RI R 50\n1000000000.05 1 0\n2000000000.2 1 0\n");
    ASSERT_EQ(Load(std::string(kOneLineGeometry) + "NC 1\nWS whole.sNp\nEP 1 1 open.s1p short.s1p\n"), 0) << log.str();
    EXPECT_EQ(job.calibrationGroups[0].commonFrequencies, std::vector<double>{1000000000.05});
}

// The analysis entries record their calls; a test sets what they answer.
struct HookLog {
    static inline std::vector<std::string> calls;
    static inline int32_t answer = 0;
    static double Resonance(CalibrationGroup&, int32_t which)
    {
        calls.push_back("resonance " + std::to_string(which));
        return which == 1 ? 7e9 : 8e9;
    }
    static int32_t Plain(CalibrationGroup&)
    {
        calls.push_back("plain");
        return answer;
    }
    static int32_t Noise(CalibrationGroup&)
    {
        calls.push_back("noise");
        return answer;
    }
};

TEST_F(ArmFilesTest, ExtendedGroupsEndWithThePortLineAnalysis)
{
    const PortLineAnalysisHooks hooks{HookLog::Resonance, HookLog::Plain, HookLog::Noise};
    struct Case {
        const char* geometry;
        const char* armLine;
        const char* shortOption;
        std::vector<std::string> calls;
    };
    // A 0.1 mm line resonates above 100 GHz: method code 0 selects the plain analysis.
    const Case cases[] = {
        {kOneLineGeometry, "EP 1 1 o s", "# GHz Z RI R 50\n", {"resonance 1", "resonance 0", "noise"}},
        {"ER 1\nNP 1 1e-4 3.5e-5 1e-4 5.8e7\n", "EP 1 1 o s", "# GHz Z RI R 50\n", {"resonance 1", "resonance 0", "plain"}},
        {kOneLineGeometry, "ED 1 1 o s", "# GHz S RI R 50\n", {"noise"}},
        {kOneLineGeometry, "ES 1 1 s", "# GHz S RI R 50\n", {}},
        {"NP 1\n", "EP 1 o s", "# GHz Z RI R 50\n", {}},  // the Nvpl form is not analysed
    };
    for (const Case& c : cases) {
        std::ostringstream caseLog;
        VoraJob caseJob{caseLog};
        const bool bArmS = std::string(c.armLine).rfind("ES", 0) == 0;
        dir.Write("job.map", std::string(c.geometry) + "NC 1\nWS whole.sNp\n" + c.armLine + "\n");
        WriteWhole(1, {1});
        Write("s", c.shortOption, bArmS ? 2 : 1, {1});
        const bool bNvplForm = c.geometry[0] == 'N';  // its open file holds both ends: 2 ports
        Write("o", c.shortOption[6] == 'Z' ? "# GHz Y RI R 50\n" : c.shortOption, bNvplForm ? 2 : 1, {1});
        caseJob.directoryPath = dir.dir();
        caseJob.mapFileName = "job.map";
        caseJob.mapFilePath = dir.dir() + "job.map";
        caseJob.outputFilePath = dir.dir() + "out.s1p";
        ASSERT_EQ(ReadMapFile(caseJob), 0);
        ASSERT_EQ(ReadWholeStructureFile(caseJob), 0);
        HookLog::calls.clear();
        HookLog::answer = 0;
        ASSERT_EQ(ReadArmFiles(caseJob, hooks), 0) << c.armLine << caseLog.str();
        EXPECT_EQ(HookLog::calls, c.calls) << c.armLine;
        if (c.calls.size() == 3) {
            EXPECT_EQ(caseJob.calibrationGroups[0].shortResonanceFrequency, 7e9);
            EXPECT_EQ(caseJob.calibrationGroups[0].openResonanceFrequency, 8e9);
        }
    }

    HookLog::answer = -1;
    WriteWhole(1, {1});
    Write("s", "# GHz Z RI R 50\n", 1, {1});
    Write("o", "# GHz Y RI R 50\n", 1, {1});
    EXPECT_EQ(Load(std::string(kOneLineGeometry) + "NC 1\nWS whole.sNp\nEP 1 1 o s\n", hooks), 3);
    EXPECT_EQ(log.str(), "VORA:: Noise filter error \nVORA:  The first arm process error. \n");
}

TEST_F(ArmFilesTest, ThirdAndLaterGroupsAreCountedWithTh)
{
    WriteWhole(3, {1});
    for (const char* name : {"s1", "s2"}) Write(name, "# GHz S RI R 50\n", 2, {1});
    EXPECT_EQ(Load("ER 1\nNP 3 1 1 1 1 1 1 1 1 1 1 1 1\nNC 3\nWS whole.sNp\nES 1 1 s1\nES 1 2 s2\nES 1 3 s3\n"), 3);
    EXPECT_EQ(log.str(), "VORA:: Could not open s-arm " + dir.dir() + "s3 file\nVORA:: Could not find s-arm 3 file\n"
                         "VORA:  The 3th arm process error. \n");
}

TEST_F(ArmFilesTest, CoverageNamesTheFileThatMissesAFrequency)
{
    WriteWhole(1, {1, 1.5, 2.5});
    Write("arm.s2p", "# GHz S RI R 50\n", 2, {1, 2});
    ASSERT_EQ(Load(std::string(kOneLineGeometry) + "NC 1\nWS whole.sNp\nES 1 1 arm.s2p\n"), 0) << log.str();
    EXPECT_EQ(CheckArmFrequencyCoverage(job, job.calibrationGroups[0]), -1);
    EXPECT_EQ(log.str(), "VORA:: " + dir.dir() + "arm.s2p (Arm S File)'s frequency range does not include 2.5e+09 in " +
                             dir.dir() + "whole.sNp\n");

    // Short and open: the open file is checked first; 1.5 GHz is bracketed, 1 GHz matched.
    log.str("");
    job.frequencies = {1e9 + 0.005, 1.5e9};
    CalibrationGroup& group = job.calibrationGroups[0];
    group.armKind = 0;
    group.openFrequencies = {1e9, 1.2e9};
    group.shortFrequencies = {1e9, 2e9};
    EXPECT_EQ(CheckArmFrequencyCoverage(job, group), -1);
    EXPECT_EQ(log.str(), "VORA:: " + group.armFile1Path + " (Open Y File)'s frequency range does not include 1.5e+09 in " +
                             dir.dir() + "whole.sNp\n");
    group.openFrequencies = {1e9, 2e9};
    EXPECT_EQ(CheckArmFrequencyCoverage(job, group), 0);
    group.shortFrequencies = {1.2e9, 2e9};
    log.str("");
    EXPECT_EQ(CheckArmFrequencyCoverage(job, group), -1);
    EXPECT_NE(log.str().find("(Short Z File)'s frequency range does not include 1e+09"), std::string::npos);
}

}  // namespace
