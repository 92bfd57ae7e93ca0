#include "driver/RunSteps.h"

#include <gtest/gtest.h>

#include <new>
#include <sstream>

#include "driver/Arguments.h"
#include "io/DeembeddedOutput.h"
#include "io/OutputFile.h"
#include "job/VoraJob.h"
#include "parallel/WorkerProcess.h"
#include "support/TestData.h"
#include "support/VoraRun.h"

namespace {

// The step named `failing` answers `answer` (kThrow: throws std::bad_alloc; kLost: its
// worker process is lost), every other step 0; the fakes record what they saw.
constexpr int32_t kThrow = 1000;
constexpr int32_t kLost = 1001;
struct FakeState {
    std::string failing;
    int32_t answer = 0;
    std::string calls;
    std::string logOnDiskBeforeWhole;  // the log file as the second step finds it
    std::string sFiles;
} fake;

int32_t Outcome(const std::string& name)
{
    fake.calls += name + ' ';
    if (name != fake.failing) return 0;
    if (fake.answer == kThrow) throw std::bad_alloc();
    if (fake.answer == kLost) throw WorkerProcessLost();
    return fake.answer;
}

int32_t FakeMap(VoraJob&) { return Outcome("map"); }
int32_t FakeWhole(VoraJob& job)
{
    fake.logOnDiskBeforeWhole = ReadFileText(job.logFilePath);
    // Like the real reader: opens the output and gives it a header that is still buffered.
    job.outputStream = std::make_unique<OutputFile>();
    job.outputStream->OpenReplacing(job.outputFilePath);
    *job.outputStream << "! header\n";
    return Outcome("whole");
}
int32_t FakeArms(VoraJob&) { return Outcome("arms"); }
int32_t FakeCalibration(VoraJob& job)
{
    *job.outputStream << "1 0 0\n";
    return Outcome("calibration");
}
int32_t FakeTwoFiles(VoraJob&, const std::string& a, const std::string& b)
{
    fake.sFiles = a + " " + b;
    return Outcome("twoFiles");
}
int32_t FakeGeneralized(VoraJob&) { return Outcome("generalized"); }
int32_t FakeWriteGeneralized(VoraJob&) { return 0; }

const RunSteps kFakeSteps{&FakeMap,      &FakeWhole,       &FakeArms,
                          &FakeCalibration, &FakeTwoFiles, &FakeGeneralized, &WriteDeembeddedOutput,
                          &FakeWriteGeneralized};

class RunSequence : public testing::Test {
protected:
    void SetUp() override { fake = FakeState{}; }

    int Run(bool generalized)
    {
        Arguments args = generalized ? Arguments{"vora", "GENERALIZEDSPARAM", "-filepath", dir.dir(), "-inputsfile1",
                                                 "a.s2p", "-inputsfile2", "b.s2p", "-out", "g.txt"}
                                     : Arguments{"vora", "-filepath", dir.dir(), "-in", "m.map", "-out", "o.s2p"};
        console.str("");
        errors.str("");
        return RunProgramWithSteps(args.argc(), args.argv(), console, errors, kFakeSteps);
    }
    std::string Log() const
    {
        for (const auto& entry : std::filesystem::directory_iterator(dir.path()))
            if (entry.path().extension() == ".log") return ReadFileText(entry.path());
        return "<no log>";
    }
    TempDir dir;
    std::ostringstream console;
    std::ostringstream errors;
};

// Only -1 fails a reading step; any negative value fails the calibration or the generalized
// step. A command line that fails runs no step (CommandLine, end to end).
TEST_F(RunSequence, LogsOneResultLinePerStep)
{
    const std::string map = "VORA:  Reading map file successfully. \n";
    const std::string read = map + "VORA:  Reading whole structure file successfully. \n"
                                   "VORA:  Reading Open Y Files and Short Z Files succesffuly. \n";
    const std::string done = read + "VORA:  Program successfully completed.\n";
    const std::string twoRead = "VORA:  Reading the two Sparam files successfully. \n";
    const std::string twoFailed = "VORA:  Reading the two Sparam files error. \n";
    const std::string twoDone = twoRead + "VORA:  Calculate Generalized Sparam successfully completed.\n";
    const std::string noMemory = "VORA:  Memory allocation error.\n";
    const std::string all = "map whole arms calibration ", two = "twoFiles generalized ";
    struct Case {
        bool generalized;
        std::string failing;
        int32_t answer;
        int status;
        std::string calls, log;  // the log after the command-line lines
    } cases[] = {
        {false, "", 0, 0, all, done},
        {false, "map", -2, 0, all, done},
        {false, "whole", 1, 0, all, done},
        {false, "arms", -3, 0, all, done},
        {false, "calibration", 2, 0, all, done},
        {false, "map", -1, -1, "map ", "VORA:  Reading map file error. \n"},
        {false, "whole", -1, -1, "map whole ", map + "VORA:  Reading whole structure file error. \n"},
        {false, "arms", -1, -1, "map whole arms ",
         map + "VORA:  Reading whole structure file successfully. \nVORA:  Reading Open Y Files and Short Z Files error. \n"},
        {false, "calibration", -2, -1, all, read + "VORA:  Program fails.\n"},
        {false, "whole", kThrow, -1, "map whole ", map + noMemory + "VORA:  Reading whole structure file error. \n"},
        {false, "calibration", kThrow, -1, all, read + noMemory + "VORA:  Program fails.\n"},
        {false, "calibration", kLost, -1, all,
         read + "VORA:: The worker process was killed or crashed before it finished its share of the frequencies\n"
                "VORA:  Program fails.\n"},
        {true, "", 0, 0, two, twoDone},
        {true, "twoFiles", -2, 0, two, twoDone},
        {true, "twoFiles", -1, -1, "twoFiles ", twoFailed},
        {true, "generalized", -7, -1, two, twoRead + "VORA:  Calculate Generalized Sparam fails.\n"},
        {true, "twoFiles", kThrow, -1, "twoFiles ", noMemory + twoFailed},
    };
    const std::string parsed = "VORA:  Command line option successfully.\n";
    for (const Case& c : cases) {
        SetUp();
        fake.failing = c.failing;
        fake.answer = c.answer;
        SCOPED_TRACE(c.failing + " " + std::to_string(c.answer));
        EXPECT_EQ(Run(c.generalized), c.status);
        EXPECT_EQ(fake.calls, c.calls);
        const std::string log = Log();
        ASSERT_NE(log.find(parsed), std::string::npos) << log;
        EXPECT_EQ(log.substr(log.find(parsed) + parsed.size()), c.log);
        EXPECT_EQ(console.str(), "");
        // A failure names the log on stderr, after its reasons; a success says nothing there.
        EXPECT_EQ(errors.str().find("VORA: the run log is " + dir.dir() + "vora_") != std::string::npos, c.status != 0)
            << errors.str();
        if (c.generalized) {
            EXPECT_EQ(fake.sFiles, "a.s2p b.s2p");
        } else {
            // The success line of a step reaches the file before the next step starts.
            EXPECT_TRUE(c.calls == "map " || fake.logOnDiskBeforeWhole.ends_with(parsed + map));

            // A success puts in place what the steps left buffered; a failure leaves no output.
            EXPECT_EQ(dir.Read("o.s2p"), c.status == 0 ? "! header\n1 0 0\n" : "");
            EXPECT_EQ(dir.Exists("o.s2p"), c.status == 0);
            EXPECT_EQ(TemporaryFilesIn(dir.path()), std::vector<std::string>{});
        }
        ClearDirectory(dir.path());
    }
}

}  // namespace
