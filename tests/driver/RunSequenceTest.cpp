#include "driver/RunSteps.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>

#include "calibration/PortLineAnalysis.h"
#include "io/OutputFile.h"
#include "job/VoraJob.h"
#include "support/VoraRun.h"

namespace {

// What the fake steps return (a value of kThrow throws std::bad_alloc), and what they saw.
constexpr int32_t kThrow = 1000;
struct FakeState {
    int32_t map = 0, whole = 0, arms = 0, calibration = 0, twoFiles = 0, generalized = 0;
    std::string calls;
    std::string logOnDiskBeforeWhole;  // the log file as the second step finds it
    bool hooksComplete = false;
    std::string sFile1, sFile2;
} fake;

int32_t Outcome(int32_t value, const char* name)
{
    fake.calls += name;
    fake.calls += ' ';
    if (value == kThrow) throw std::bad_alloc();
    return value;
}

int32_t FakeMap(VoraJob&) { return Outcome(fake.map, "map"); }
int32_t FakeWhole(VoraJob& job)
{
    fake.logOnDiskBeforeWhole = ReadFileText(job.logFilePath);
    // Like the real reader: opens the output and gives it a header that is still buffered.
    job.outputStream = std::make_unique<OutputFile>();
    job.outputStream->Open(job.outputFilePath);
    *job.outputStream << "! header\n";
    return Outcome(fake.whole, "whole");
}
int32_t FakeArms(VoraJob&, const PortLineAnalysisHooks& hooks)
{
    fake.hooksComplete = hooks.findPortResonance == &FindPortResonance && hooks.analysePortLines == &AnalysePortLines &&
                         hooks.analysePortLinesNoiseProcess == &AnalysePortLinesNoiseProcess;
    return Outcome(fake.arms, "arms");
}
int32_t FakeCalibration(VoraJob& job)
{
    *job.outputStream << "1 0 0\n";
    return Outcome(fake.calibration, "calibration");
}
int32_t FakeTwoFiles(VoraJob&, const std::string& a, const std::string& b)
{
    fake.sFile1 = a;
    fake.sFile2 = b;
    return Outcome(fake.twoFiles, "twoFiles");
}
int32_t FakeGeneralized(VoraJob&) { return Outcome(fake.generalized, "generalized"); }

const RunSteps kFakeSteps{&FakeMap, &FakeWhole, &FakeArms, &FakeCalibration, &FakeTwoFiles, &FakeGeneralized};

class RunSequence : public testing::Test {
protected:
    void SetUp() override { fake = FakeState{}; }

    int Run(std::vector<std::string> args)
    {
        std::vector<const char*> argv;
        for (const std::string& a : args) argv.push_back(a.c_str());
        argv.push_back(nullptr);
        console.str("");
        return RunProgramWithSteps(static_cast<int>(args.size()), argv.data(), console, kFakeSteps);
    }
    int RunDeembedding() { return Run({"vora", "-filepath", dir.dir(), "-in", "m.map", "-out", "o.s2p"}); }
    int RunGeneralizedMode()
    {
        return Run({"vora", "GENERALIZEDSPARAM", "-filepath", dir.dir(), "-inputsfile1", "a.s2p", "-inputsfile2",
                    "b.s2p", "-out", "g.txt"});
    }
    std::string Log() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
            if (entry.path().extension() == ".log") return ReadFileText(entry.path());
        return "<no log>";
    }
    std::string Head() const
    {
        return "VORA:  Program started.\nVORA:  Command Line: vora -filepath " + dir.dir() +
               " -in m.map -out o.s2p \nVORA:  Command line option successfully.\n";
    }

    TempDir dir;
    std::ostringstream console;
};

TEST_F(RunSequence, DeembeddingLogsOneResultLinePerStep)
{
    EXPECT_EQ(RunDeembedding(), 0);
    EXPECT_EQ(fake.calls, "map whole arms calibration ");
    EXPECT_EQ(Log(), Head() +
                         "VORA:  Reading map file successfully. \n"
                         "VORA:  Reading whole structure file successfully. \n"
                         "VORA:  Reading Open Y Files and Short Z Files succesffuly. \n"
                         "VORA:  Program successfully completed.\n");
    EXPECT_EQ(console.str(), "");
    EXPECT_TRUE(fake.hooksComplete);
    // The success line of a step reaches the file before the next step starts.
    EXPECT_EQ(fake.logOnDiskBeforeWhole, Head() + "VORA:  Reading map file successfully. \n");
    // A successful run writes what the steps left buffered.
    EXPECT_EQ(dir.Read("o.s2p"), "! header\n1 0 0\n");
}

// Only -1 fails a reading step; any negative value fails the calibration.
TEST_F(RunSequence, DeembeddingFailureTests)
{
    struct Case {
        int32_t map, whole, arms, calibration;
        int status;
        std::string calls;
        int readingStepsPassed;
        std::string tail;
    } cases[] = {
        {-2, 1, -3, 0, 0, "map whole arms calibration ", 3, "VORA:  Program successfully completed.\n"},
        {0, 0, 0, 2, 0, "map whole arms calibration ", 3, "VORA:  Program successfully completed.\n"},
        {-1, 0, 0, 0, -1, "map ", 0, "VORA:  Reading map file error. \n"},
        {0, -1, 0, 0, -1, "map whole ", 1, "VORA:  Reading whole structure file error. \n"},
        {0, 0, -1, 0, -1, "map whole arms ", 2, "VORA:  Reading Open Y Files and Short Z Files error. \n"},
        {0, 0, 0, -2, -1, "map whole arms calibration ", 3, "VORA:  Program fails.\n"},
        {0, kThrow, 0, 0, -1, "map whole ", 1,
         "VORA:  Memory allocation error.\nVORA:  Reading whole structure file error. \n"},
        {0, 0, 0, kThrow, -1, "map whole arms calibration ", 3,
         "VORA:  Memory allocation error.\nVORA:  Program fails.\n"},
    };
    const std::string successLines[] = {"VORA:  Reading map file successfully. \n",
                                        "VORA:  Reading whole structure file successfully. \n",
                                        "VORA:  Reading Open Y Files and Short Z Files succesffuly. \n"};
    for (const Case& c : cases) {
        SetUp();
        fake.map = c.map;
        fake.whole = c.whole;
        fake.arms = c.arms;
        fake.calibration = c.calibration;
        SCOPED_TRACE(c.tail);
        EXPECT_EQ(RunDeembedding(), c.status);
        EXPECT_EQ(fake.calls, c.calls);
        std::string expected = Head();
        for (int k = 0; k < c.readingStepsPassed; ++k) expected += successLines[k];
        EXPECT_EQ(Log(), expected + c.tail);
        // A failure drops the output the steps left buffered.
        EXPECT_EQ(dir.Read("o.s2p"), c.status == 0 ? "! header\n1 0 0\n" : "");
        for (const auto& entry : std::filesystem::directory_iterator(dir.path())) std::filesystem::remove(entry);
    }
}

TEST_F(RunSequence, CommandLineErrorStopsBeforeTheSteps)
{
    EXPECT_EQ(Run({"vora", "-filepath", dir.dir(), "-in", "m.map", "-bad", "o"}), -1);
    EXPECT_EQ(fake.calls, "");
    EXPECT_TRUE(Log().ends_with("VORA:  Command line option error.\n"));
}

TEST_F(RunSequence, GeneralizedModeResultLines)
{
    struct Case {
        int32_t twoFiles, generalized;
        int status;
        std::string calls, tail;
    } cases[] = {
        {0, 0, 0, "twoFiles generalized ",
         "VORA:  Command line option successfully.\nVORA:  Reading the two Sparam files successfully. \n"
         "VORA:  Calculate Generalized Sparam successfully completed.\n"},
        {-2, 0, 0, "twoFiles generalized ", "VORA:  Calculate Generalized Sparam successfully completed.\n"},
        {-1, 0, -1, "twoFiles ", "VORA:  Reading the two Sparam files error. \n"},
        {0, -7, -1, "twoFiles generalized ", "VORA:  Calculate Generalized Sparam fails.\n"},
        {kThrow, 0, -1, "twoFiles ", "VORA:  Memory allocation error.\nVORA:  Reading the two Sparam files error. \n"},
    };
    for (const Case& c : cases) {
        SetUp();
        fake.twoFiles = c.twoFiles;
        fake.generalized = c.generalized;
        SCOPED_TRACE(c.tail);
        EXPECT_EQ(RunGeneralizedMode(), c.status);
        EXPECT_EQ(fake.calls, c.calls);
        const std::string log = Log();
        EXPECT_TRUE(log.ends_with(c.tail)) << log;
        EXPECT_EQ(fake.sFile1 + fake.sFile2, "a.s2pb.s2p");
        for (const auto& entry : std::filesystem::directory_iterator(dir.path())) std::filesystem::remove(entry);
    }
}

}  // namespace
