// The two files of the generalized mode: the reader that reads them each on its own must
// leave exactly what the record-by-record lock-step reading leaves (job, run log, status,
// output), and must take the fast way for the common shape only.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "io/OutputFile.h"
#include "io/TwoFilesApart.h"
#include "io/TwoSparamFiles.h"
#include "job/VoraJob.h"
#include "support/VoraRun.h"

namespace {

const std::string kOption = "#\tHz\tS\tRI\tR\t50 \n";

// One record of a 2-port: the frequency token and eight values that tell where they came from.
std::string Record(const std::string& frequency, int k)
{
    std::string text = frequency;
    for (int p = 0; p < 8; ++p) text += " " + std::to_string(k) + "." + std::to_string(p) + (p == 3 ? "e-2" : "");
    return text + "\n";
}

std::string Records(const std::string& unit, int count, int from = 1)
{
    std::string text;
    for (int k = from; k < from + count; ++k) text += Record(std::to_string(k) + unit, k);
    return text;
}

// Everything of the step a later step or a parent tool can see.
struct Outcome {
    int32_t status = 0;
    std::string log;
    std::string output;
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

Outcome StateOf(VoraJob& job, int32_t status, const std::ostringstream& log, const TempDir& dir, const std::string& out)
{
    if (job.outputStream) static_cast<void>(job.outputStream->Close());
    return {status,          log.str(),         dir.Read(out),           job.frequencyCount, job.frequencies,
            Values(job.sFile1Values), Values(job.sFile2Values), job.sFile1Format, job.sFile2Format};
}

// Runs one reader on the two texts; the formats start as "old" to show an untouched one.
Outcome ReadBoth(const std::string& file1, const std::string& file2, int64_t portCount, bool lockStep)
{
    TempDir dir;
    dir.Write("a.s2p", file1);
    dir.Write("b.s2p", file2);
    std::ostringstream log;
    VoraJob job(log);
    job.portCount = portCount;
    job.outputFilePath = dir.dir() + "g.txt";
    job.sFile1Format = job.sFile2Format = "old";
    const std::string a = dir.dir() + "a.s2p";
    const std::string b = dir.dir() + "b.s2p";
    const int32_t status = lockStep ? ReadTwoSparamFilesInLockStep(job, a, b) : ReadTwoSparamFiles(job, a, b);
    Outcome outcome = StateOf(job, status, log, dir, "g.txt");
    // File names in the log, without the directory that differs from run to run.
    for (size_t at = outcome.log.find(dir.dir()); at != std::string::npos; at = outcome.log.find(dir.dir()))
        outcome.log.replace(at, dir.dir().size(), "<dir>");
    return outcome;
}

// Bit for bit, so that a NaN equals itself and -0.0 differs from 0.0.
bool SameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

void ExpectSame(const Outcome& got, const Outcome& want, const std::string& name)
{
    EXPECT_EQ(got.status, want.status) << name;
    EXPECT_EQ(got.log, want.log) << name;
    EXPECT_EQ(got.output, want.output) << name;
    EXPECT_EQ(got.frequencyCount, want.frequencyCount) << name;
    EXPECT_TRUE(SameBits(got.frequencies, want.frequencies)) << name;
    EXPECT_TRUE(SameBits(got.values1, want.values1)) << name;
    EXPECT_TRUE(SameBits(got.values2, want.values2)) << name;
    EXPECT_EQ(got.format1, want.format1) << name;
    EXPECT_EQ(got.format2, want.format2) << name;
}

// Whether the fast way alone accepts the two texts; when it does, what it left.
bool ReadApart(const std::string& file1, const std::string& file2, int64_t portCount, Outcome& state)
{
    TempDir dir;
    dir.Write("a.s2p", file1);
    dir.Write("b.s2p", file2);
    std::ostringstream log;
    VoraJob job(log);
    job.sFile1Format = job.sFile2Format = "old";
    TextSource source1;
    TextSource source2;
    EXPECT_TRUE(source1.Open(dir.dir() + "a.s2p") && source2.Open(dir.dir() + "b.s2p"));
    const bool accepted =
        ReadTwoFilesApart(job, source1, dir.dir() + "a.s2p", source2, dir.dir() + "b.s2p", 2 * portCount * portCount + 1);
    dir.Write("g.txt", kOption);  // the step's own part, not the fast way's
    state = StateOf(job, 0, log, dir, "g.txt");
    return accepted;
}

struct Case {
    const char* name;
    std::string file1;
    std::string file2;
    bool fast;             // the fast way may take it
    int32_t status;        // what the step must answer, reasoned from the lock-step rules
    const char* logTail;   // the end of the run log
    int32_t frequencyCount;
};

std::vector<Case> SmallCases()
{
    const std::string ghz = "# GHz S RI R 50\n";
    const std::string mhz = "# MHz S MA R 50\n";
    std::string split = "! a comment\n\n" + mhz;
    for (int k = 1; k <= 3; ++k) {
        std::string record = Record(std::to_string(k * 1000), k);
        record.replace(record.find(' ', record.find(' ') + 1), 1, "\n! inside\n");  // over two lines
        split += record + "! after\n";
    }
    std::string continued = ghz + Records("", 3);
    continued.replace(continued.rfind(' '), 1, "\n+");
    return {
        {"common", ghz + Records("", 3), ghz + Records("", 3), true, 0, "", 3},
        {"units, formats, comments, split records", ghz + Records("", 3), split, true, 0, "", 3},
        {"continuation line", continued, ghz + Records("", 3), true, 0, "", 3},
        {"no option lines: every frequency 0 Hz", Records("", 2), Records("", 2, 7), true, 0, "", 2},
        {"two option lines each, the last counts", mhz + ghz + Records("", 2), ghz + mhz + Records("000", 2), true, 0, "", 2},
        {"only option lines", ghz, mhz + "! none\n", true, 0, "", 0},
        {"an option line of file 2 after its records", ghz + Records("", 3), ghz + Records("", 2) + mhz + Records("", 1),
         false, 0, "", 2},
        // The option line uses up record 3 of file 1, although both would agree without it.
        {"an option line of file 2 between agreeing records", ghz + Records("", 3), ghz + Records("", 2) + ghz + Records("", 1, 3),
         false, 0, "", 2},
        {"two option lines in file 1, one in file 2", ghz + ghz + Records("", 3), ghz + Records("", 3), false, -1,
         "Difference exists at frequency id : 1\n", 0},
        {"an option line in file 1 only", ghz + Records("", 3), Records("", 3), false, -1,
         "The two S files should be with same frequency points. Difference exists at frequency id : 1\n", 0},
        {"file 1 one record longer", ghz + Records("", 3), ghz + Records("", 2), false, 0, "", 2},
        {"file 2 longer, its extra record bad", ghz + Records("", 2), ghz + Records("", 2) + "9 1 2 3 4 5 6 7 8 9\n", false,
         0, "", 2},
        {"file 2 with a record too long", ghz + Records("", 3), ghz + Records("", 1) + "2 1 2 3 4 5 6 7 8 9\n", false, -1,
         "VORA:  Reading a line of S File 2 error \n", 1},
        {"file 1 ends inside a record", ghz + Records("", 2) + "3 1 2\n", ghz + Records("", 3), false, -1,
         "VORA:  Reading a line of S File 1 error \n", 2},
        {"frequencies differ at the second", ghz + Records("", 3), ghz + Record("1", 1) + Record("2.0000001", 2), false, -1,
         "VORA:  Reading S File frequency error \nThe two S files should be with same frequency points. Difference "
         "exists at frequency id : 2\n",
         1},
        {"a \"#\" word that is not an option line", ghz + Records("", 1) + "#GHz S RI\n", ghz + Records("", 2), false, -1,
         "VORA:  Reading a frequency line of Whole S File error \n", 1},
        // A frequency beyond the double range is no number.
        {"infinite frequency", Record("1e400", 1), Record("1e400", 1), false, -1,
         "VORA:: Not a number in <dir>a.s2p line 1: 1e400\nVORA:  Reading a line of S File 1 error \n", 0},
        {"value with a unit letter", ghz + Records("", 1), ghz + "1 0.5G 0 0 0 0 0 0 0\n", false, -1,
         "VORA:: Not a number in <dir>b.s2p line 2: 0.5G\nVORA:  Reading a line of S File 2 error \n", 0},
        {"empty files", "", "", false, 0, "", 0},
    };
}

bool EndsWith(const std::string& text, const std::string& tail)
{
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(TwoSparamFiles, SmallJobsLeaveWhatTheLockStepReadingLeaves)
{
    for (const Case& c : SmallCases()) {
        const Outcome reference = ReadBoth(c.file1, c.file2, 2, true);
        EXPECT_EQ(reference.status, c.status) << c.name;
        EXPECT_TRUE(EndsWith(reference.log, c.logTail)) << c.name << ": " << reference.log;
        EXPECT_EQ(reference.frequencyCount, c.frequencyCount) << c.name;
        EXPECT_EQ(reference.output, kOption) << c.name;
        ExpectSame(ReadBoth(c.file1, c.file2, 2, false), reference, c.name);

        if (c.file1.empty()) continue;  // the fast way is for plain, non-empty files only
        Outcome apart;
        EXPECT_EQ(ReadApart(c.file1, c.file2, 2, apart), c.fast) << c.name;
        if (c.fast) ExpectSame(apart, reference, c.name);
    }
}

// A few results worked out by hand, so that the lock-step reading is not only compared
// with itself.
TEST(TwoSparamFiles, CommonShapeGivesHertzValuesAndFormats)
{
    const Outcome got = ReadBoth("# GHz S RI R 50\n" + Record("1.5", 1) + Record("2", 2),
                            "# MHz S DB R 50\n" + Record("1500", 5) + Record("2000", 6), 2, false);
    EXPECT_EQ(got.status, 0);
    EXPECT_EQ(got.log, "");
    EXPECT_EQ(got.frequencies, (std::vector<double>{1.5e9, 2e9}));
    ASSERT_EQ(got.values1.size(), 16u);
    ASSERT_EQ(got.values2.size(), 16u);
    EXPECT_EQ(got.values1[3], 1.3e-2);
    EXPECT_EQ(got.values1[15], 2.7);
    EXPECT_EQ(got.values2[8], 6.0);
    EXPECT_EQ(got.format1, "RI");
    EXPECT_EQ(got.format2, "DB");

    // Without an option line a format stays as it was, and every frequency is 0 Hz.
    const Outcome bare = ReadBoth(Record("1", 1), Record("2", 1), 2, false);
    EXPECT_EQ(bare.status, 0);
    EXPECT_EQ(bare.frequencies, (std::vector<double>{0.0}));
    EXPECT_EQ(bare.format1, "old");
    EXPECT_EQ(bare.format2, "old");
}

// Port counts whose records the fast way does not read (none, or one token per record).
TEST(TwoSparamFiles, PortCountsOutsideTheCommonShape)
{
    const std::string one = "# GHz S RI\n1 0.5 0.25\n2 0.5 0.25\n";
    const Outcome onePort = ReadBoth(one, one, 1, false);
    EXPECT_EQ(onePort.status, 0);
    EXPECT_EQ(onePort.frequencyCount, 2);
    ExpectSame(onePort, ReadBoth(one, one, 1, true), "one port");

    const Outcome noPort = ReadBoth("# GHz\n1\n", "# GHz\n1\n", 0, false);
    EXPECT_EQ(noPort.status, -1);
    EXPECT_EQ(noPort.log, "VORA:  Readin WS each freq-s line error. \n");
    ExpectSame(noPort, ReadBoth("# GHz\n1\n", "# GHz\n1\n", 0, true), "no port");
}

// Files of more than 1 MiB, so that the second is read in the helper thread; the odd
// line sits near the end, after the helper has read most of its file.
TEST(TwoSparamFiles, LargeJobsLeaveWhatTheLockStepReadingLeaves)
{
    constexpr int kRecords = 16000;  // about 1.3 MB per file
    const std::string body = Records("", kRecords);
    const std::string ghz = "! large\n# GHz S RI R 50\n";
    ASSERT_GT(body.size(), size_t{1} << 20);
    const std::string last = Record(std::to_string(kRecords), kRecords);
    const std::string allButLast = body.substr(0, body.size() - last.size());
    struct LargeCase {
        const char* name;
        std::string file1;
        std::string file2;
        bool fast;
        int32_t status;
        int32_t frequencyCount;
    };
    const LargeCase cases[] = {
        {"common", ghz + body, "# MHz S MA\n" + Records("000", kRecords), true, 0, kRecords},
        {"last frequency differs", ghz + body, ghz + allButLast + Record("1e9", 1), false, -1, kRecords - 1},
        {"option line before the last record of file 2", ghz + body, ghz + allButLast + "# GHz\n" + last, false, 0,
         kRecords - 1},
        {"file 2 ends inside its last record", ghz + body, ghz + allButLast + "1 2 3\n", false, -1, kRecords - 1},
        {"file 1 ends inside its last record", ghz + allButLast + "1 2 3\n", ghz + body, false, -1, kRecords - 1},
        {"file 2 shorter", ghz + body, ghz + allButLast, false, 0, kRecords - 1},
    };
    for (const LargeCase& c : cases) {
        const Outcome reference = ReadBoth(c.file1, c.file2, 2, true);
        EXPECT_EQ(reference.status, c.status) << c.name;
        EXPECT_EQ(reference.frequencyCount, c.frequencyCount) << c.name;
        ExpectSame(ReadBoth(c.file1, c.file2, 2, false), reference, c.name);
        Outcome apart;
        EXPECT_EQ(ReadApart(c.file1, c.file2, 2, apart), c.fast) << c.name;
        if (c.fast) ExpectSame(apart, reference, c.name);
    }
}

}  // namespace
