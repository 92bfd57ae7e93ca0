// The two files of the generalized mode, read in lock step: what the step answers, logs,
// and leaves in the job, for version 1 and version 2 files.
#include "io/TwoSparamFiles.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "e2e/EndToEnd.h"
#include "io/OutputFile.h"
#include "job/VoraJob.h"
#include "support/VoraRun.h"

namespace {

// One record of a 2-port: the frequency token and eight values that tell where they came from.
std::string Record(const std::string& frequency, int k)
{
    std::string text = frequency;
    for (int p = 0; p < 8; ++p) text += " " + std::to_string(k) + "." + std::to_string(p);
    return text + "\n";
}

std::string Records(int count, int from = 1)
{
    std::string text;
    for (int k = from; k < from + count; ++k) text += Record(std::to_string(k), k);
    return text;
}

struct Outcome {
    int32_t status = 0;
    std::string log;  // the directory as "<dir>"
    int32_t frequencyCount = 0;
    std::vector<double> frequencies;
    std::vector<double> values1;
    std::vector<double> values2;
    std::string format1;
    std::string format2;
};

std::vector<double> Values(const RecordTable& table)
{
    std::vector<double> values;
    for (size_t k = 0; k < table.size(); ++k) values.insert(values.end(), table[k], table[k] + table.width());
    return values;
}

// The formats start as "old" to show an untouched one.
Outcome ReadBoth(const std::string& file1, const std::string& file2, int64_t portCount = 2)
{
    TempDir dir;
    dir.Write("a.s2p", file1);
    dir.Write("b.s2p", file2);
    std::ostringstream log;
    VoraJob job(log);
    job.portCount = portCount;
    job.outputFilePath = dir.dir() + "g.txt";
    job.sFile1Format = job.sFile2Format = "old";
    const int32_t status = ReadTwoSparamFiles(job, dir.dir() + "a.s2p", dir.dir() + "b.s2p");
    if (job.outputStream) job.outputStream->Discard();
    return {status, ReplaceAll(log.str(), dir.dir(), "<dir>"), job.frequencyCount, job.frequencies,
            Values(job.sFile1Values), Values(job.sFile2Values), job.sFile1Format, job.sFile2Format};
}

const std::string kGhz = "# GHz S RI R 50\n";
const std::string kBad1 = "VORA:  Reading a line of S File 1 error \n";
const std::string kBad2 = "VORA:  Reading a line of S File 2 error \n";
// The head of a version-2 two-port file.
std::string Version2(const std::string& keywords = "")
{
    return "[Version] 2.0\n" + kGhz + "[Number of Ports] 2\n" + keywords + "[Network Data]\n";
}

TEST(TwoSparamFiles, AnswersLogsAndCountsAsTheLockStepRulesSay)
{
    const std::string noise = "3 1.5 0.1 10 0.2\n4 1.7 0.1 11 0.2\n";
    const std::string differAt2 = "VORA:  Reading S File frequency error \nThe two S files should be with same "
                                  "frequency points. Difference exists at frequency id : 2\n";
    struct Case {
        const char* name;
        std::string file1, file2;
        int32_t status;
        std::string log;
        int32_t frequencyCount;
    };
    const Case cases[] = {
        {"units", kGhz + Records(3), "# MHz S MA\n" + Record("1000", 1) + Record("2e3", 2) + Record("3000", 3), 0, "", 3},
        {"no option lines: every frequency 0 Hz", Records(2), Records(2, 7), 0, "", 2},
        // The option line uses up record 3 of file 1, although both would agree without it.
        {"an option line of file 2 between records", kGhz + Records(3), kGhz + Records(2) + kGhz + Records(1, 3), 0, "", 2},
        {"an option line in file 1 only", kGhz + Records(3), Records(3), -1,
         "VORA:  Reading S File frequency error \nThe two S files should be with same frequency points. Difference "
         "exists at frequency id : 1\n",
         0},
        {"file 1 longer", kGhz + Records(3), kGhz + Records(2), 0, "", 2},
        {"file 2 longer, its extra record bad", kGhz + Records(2), kGhz + Records(2) + "9 1 2 3 4 5 6 7 8 9\n", 0, "", 2},
        {"file 2 with a record too long", kGhz + Records(3), kGhz + Records(1) + "2 1 2 3 4 5 6 7 8 9\n", -1, kBad2, 1},
        {"file 1 ends inside a record", kGhz + Records(2) + "3 1 2\n", kGhz + Records(3), -1, kBad1, 2},
        {"frequencies differ at the second", kGhz + Records(3), kGhz + Record("1", 1) + Record("2.0000001", 2), -1,
         differAt2, 1},
        {"a \"#\" word that is not an option line", kGhz + Records(2), kGhz + "#GHz S RI\n" + Records(1, 2), -1,
         "VORA:  Reading a frequency line of Whole S File error \n", 0},
        {"infinite frequency", Record("1e400", 1), Record("1e400", 1), -1,
         "VORA:: Not a number in <dir>a.s2p line 1: 1e400\n" + kBad1, 0},
        {"value with a unit letter", kGhz + Records(1), kGhz + "1 0.5G 0 0 0 0 0 0 0\n", -1,
         "VORA:: Not a number in <dir>b.s2p line 2: 0.5G\n" + kBad2, 0},
        // Noise parameters start with the first frequency not above the one before, in a
        // line of five numbers; falling frequencies of whole records are data, as always.
        {"version-1 noise data read past", kGhz + Records(5), kGhz + Records(4) + noise, 0, "", 4},
        {"noise data of a file without units", Records(3) + "2 1 2 3 4\n", Records(3), 0, "", 3},
        {"falling frequencies", Record("2", 2) + Record("1", 1) + Record("1", 1), Records(3), 0, "", 3},

        {"version 2, both files", Version2("[Number of Frequencies] 3\n") + Records(3) + "[End]\n",
         Version2("[Two-Port Data Order] 12_21\n[Reference] 50\n") + Records(3) + "[Noise Data]\n" + noise + "[End]\n", 0,
         "", 3},
        {"version 2.1, records wrap anywhere", kGhz + Records(2),
         "[Version] 2.1\n" + kGhz + "1 1.0 1.1\n1.2 1.3 1.4 1.5 1.6\n1.7\n" + Record("2", 2), 0, "", 2},
        {"three ports", "[Version] 2.0\n" + kGhz + "[Number of Ports] 3\n" + Records(1), kGhz + Records(1), -1,
         "VORA:: <dir>a.s2p holds 3 ports; the generalized mode reads 2-port files\n" + kBad1, 0},
        {"three references", kGhz + Records(1), Version2("[Reference] 50 50 75\n") + Records(1), -1,
         "VORA:: <dir>b.s2p gives 3 references for 2 ports\n" + kBad2, 0},
        {"mixed-mode keyword", kGhz + Records(1), Version2("[Mixed-Mode Order] D2,1 C2,1\n") + Records(1), -1,
         "VORA:: <dir>b.s2p: the keyword [Mixed-Mode Order] is not read\n" + kBad2, 0},
        {"keyword of a version-1 file", kGhz + "[Number of Ports] 2\n" + Records(1), kGhz + Records(1), -1,
         "VORA:: <dir>a.s2p: the keyword [Number of Ports] is not read\n" + kBad1, 0},
        {"too few frequencies", Version2("[Number of Frequencies] 3\n") + Records(2) + "[End]\n", kGhz + Records(2), -1,
         "VORA:: <dir>a.s2p holds 2 frequencies; [Number of Frequencies] says 3\n" + kBad1, 2},
        // The shorter file ends the lock step; the longer one's count is still checked.
        {"too many frequencies in the longer file", kGhz + Records(2),
         Version2("[Number of Frequencies] 2\n") + Records(3) + "[End]\n", -1,
         "VORA:: <dir>b.s2p holds 3 frequencies; [Number of Frequencies] says 2\n" + kBad2, 2},
        {"the longer file as many as it says", kGhz + Records(2), Version2("[Number of Frequencies] 3\n") + Records(3), 0,
         "", 2},
        {"not a number after [End]", Version2() + Records(2) + "[End]\nnonsense\n", kGhz + Records(3), 0, "", 2},
        {"not a number in version 2", Version2() + "1 1 2 3 4 5 6 7 x\n", kGhz + Records(1), -1,
         "VORA:: Not a number in <dir>a.s2p line 5: x\n" + kBad1, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Outcome got = ReadBoth(c.file1, c.file2);
        EXPECT_EQ(got.status, c.status);
        EXPECT_EQ(got.log, c.log);
        EXPECT_EQ(got.frequencyCount, c.frequencyCount);
    }
}

// Values in hertz and in version 1's order (S11 S21 S12 S22, the pairs of Record(., 1)
// being 1.0 1.1, 1.2 1.3, 1.4 1.5, 1.6 1.7), worked out by hand.
TEST(TwoSparamFiles, StoresHertzAndVersionOneOrder)
{
    const std::vector<double> inOrder = {1.0, 1.1, 1.2, 1.3, 1.4, 1.5, 1.6, 1.7};
    // 12_21 gives S11 S12 S21 S22: the middle pairs change places.
    const std::vector<double> swapped = {1.0, 1.1, 1.4, 1.5, 1.2, 1.3, 1.6, 1.7};
    // Upper gives S11 S12 S22; S21 is S12.
    // Upper gives S11 S12 S22, Lower S11 S21 S22: the other one mirrored.
    const std::vector<double> triangle = {1.0, 1.1, 1.2, 1.3, 1.2, 1.3, 1.4, 1.5};
    struct Case {
        const char* name;
        std::string file2;
        std::vector<double> values2;
    } cases[] = {
        {"version 1 in MHz", "# MHz S DB R 50\n" + Record("1500", 1), inOrder},
        {"version 2, 21_12", Version2("[Two-Port Data Order] 21_12\n") + Record("1.5", 1), inOrder},
        {"version 2, 12_21", Version2("[Two-Port Data Order] 12_21\n") + Record("1.5", 1), swapped},
        {"version 2, upper", Version2("[Matrix Format] Upper\n") + "1.5 1.0 1.1 1.2 1.3 1.4 1.5\n", triangle},
        {"version 2, lower", Version2("[Matrix Format] lower\n") + "1.5 1.0 1.1 1.2 1.3\n 1.4 1.5\n", triangle},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Outcome got = ReadBoth(kGhz + Record("1.5", 1), c.file2);
        EXPECT_EQ(got.log, "");
        EXPECT_EQ(got.frequencies, std::vector<double>{1.5e9});
        EXPECT_EQ(got.values1, inOrder);
        EXPECT_EQ(got.values2, c.values2);
        EXPECT_EQ(got.format2, c.file2[0] == '#' ? "DB" : "RI");
    }

    // Without an option line a format stays as it was, and every frequency is 0 Hz.
    const Outcome bare = ReadBoth(Record("1", 1), Record("2", 1));
    EXPECT_TRUE(bare.frequencies == std::vector<double>{0.0} && bare.format1 == "old");
}

}  // namespace
