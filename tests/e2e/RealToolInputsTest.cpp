// Files that are broken (empty, a directory, cut inside a record, unwritable output, more
// ports than any memory holds): every run ends with the program's own messages and status,
// never a signal. (Line endings, blanks, letter case and long lines are the readers' unit
// tests' business.)

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "io/TouchstoneText.h"
#include "e2e/EndToEnd.h"

namespace {

const std::string kDone = "VORA:  Program successfully completed.\n";

// Made-up but well-conditioned arm and whole-structure data (f in GHz): the calibration
// runs through, so a file that is misread shows in the output.
double WholeS(size_t k, int64_t p)
{
    const bool diagonal = p == 0 || p == 1 || p == 6 || p == 7;
    const double re = diagonal ? 0.1 + 0.01 * static_cast<double>(k) : 0.8 - 0.02 * static_cast<double>(k);
    return p % 2 == 0 ? re : (diagonal ? -0.05 : 0.1);
}
double ShortZ(size_t k, int64_t p)
{
    const double f = static_cast<double>(k + 1);
    const bool diagonal = p == 0 || p == 1 || p == 6 || p == 7;
    return p % 2 == 0 ? (diagonal ? 0.5 : 0.01) : (diagonal ? 30.0 * f : 2.0 * f);
}
double OpenY(size_t k, int64_t p)
{
    const double f = static_cast<double>(k + 1);
    const bool diagonal = p == 0 || p == 1 || p == 6 || p == 7;
    return p % 2 == 0 ? (diagonal ? 1e-4 : 1e-6) : (diagonal ? 0.004 * f : -0.0004 * f);
}

const std::vector<double> kGHz = {1, 2, 3};
const std::string kMap = "* two lines, one group\nER 4.3\nNP 2 0.0001 0.000035 0.01 0.0002 0.0001 0.000035 0.01 0.0002\n"
                         "NC 1\nWS whole.s2p\nEP 2 1 2 open.s2p short.s2p\n";

struct JobFiles {
    std::string map = kMap;
    std::string whole = TouchstoneText("! measured\n# GHz S RI R 50\n", 2, kGHz, WholeS);
    std::string open = TouchstoneText("# GHz Y RI R 50\n", 2, kGHz, OpenY);
    std::string shortArm = TouchstoneText("# GHz Z RI R 50\n", 2, kGHz, ShortZ);
};

struct Result {
    VoraRun run;
    std::string log;     // after the command-line lines, the job directory as "<dir>"
    std::string output;  // the output file
    bool outputIsFile = false;
};

// How a case changes the example job: its files, its command line (args[3] the map, args[5]
// the output) and the job directory.
using Change = void (*)(const TempDir& dir, JobFiles& files, std::vector<std::string>& args);

Result RunJob(Change change = nullptr)
{
    TempDir dir;
    JobFiles files;
    std::vector<std::string> args = {"-filepath", dir.dir(), "-in", "job.map", "-out", "out.s2p"};
    if (change) change(dir, files, args);
    dir.Write("job.map", files.map);
    dir.Write("whole.s2p", files.whole);
    dir.Write("open.s2p", files.open);
    dir.Write("short.s2p", files.shortArm);
    Result result{RunVora(args, dir.path(), dir.path()), "", "", false};
    result.outputIsFile = std::filesystem::is_regular_file(dir.path() / args[5]);
    result.log = ReplaceAll(AfterCommandLine(result.run.log), dir.dir(), "<dir>");
    result.output = dir.Read(args[5]);
    return result;
}

// The text up to its last blank: the last record loses its last value (and line feed).
std::string CutInsideLastRecord(const std::string& text) { return text.substr(0, text.rfind(' ')); }

std::string WholeFailed(const std::string& reason) { return reason + "VORA:  Reading whole structure file error. \n"; }
std::string ArmsFailed(const std::string& reason)
{
    return "VORA:  Reading whole structure file successfully. \n" + reason +
           "VORA:  The first arm process error. \nVORA:  Reading Open Y Files and Short Z Files error. \n";
}

TEST(RealToolInputs, BrokenJobsEndWithTheProgramsOwnMessages)
{
    const std::string mapRead = "VORA:  Reading map file successfully. \n";
    const std::string mapFailed = "VORA:  Reading map file error. \n";
    const std::string calibrationFailed =
        "VORA:  Update_vdcm_Sout_ForAllFrequencies_Swhole error. \n"
        "VORA:  DoShortOpenCalibration_BasedOnSymmetricalGeometricalPropertyOfTransmissionLines error. \n"
        "VORA:  Program fails.\n";
    struct Case {
        const char* name;
        Change change;
        std::string logTail;
    };
    const Case cases[] = {
        {"port count beyond what records could hold",
         [](const TempDir&, JobFiles& f, auto&) { f.map = "NP 100000\nNC 1\nWS whole.s2p\nES 1 1 a\n"; },
         "VORA:: Nport w, t, l, s Readin Wrong\n" + mapFailed},
        {"empty map", [](const TempDir&, JobFiles& f, auto&) { f.map = ""; },
         "VORA:: There is no port calibration due to no specify Nc\n" + mapFailed},
        {"map is a directory",
         [](const TempDir& dir, JobFiles&, auto& args) {
             std::filesystem::create_directory(dir.path() / "jobs");
             args[3] = "jobs";
         },
         "VORA:: Could not find <dir>jobs\n" + mapFailed},
        {"whole structure is a directory",
         [](const TempDir& dir, JobFiles& f, auto&) {
             std::filesystem::create_directory(dir.path() / "data");
             f.map = ReplaceAll(f.map, "WS whole.s2p", "WS data");
         },
         mapRead + WholeFailed("VORA:: Could not find whole structure file<dir>data\n")},
        {"output in a directory that does not exist", [](const TempDir&, JobFiles&, auto& args) { args[5] = "missing/out.s2p"; },
         mapRead + WholeFailed("VORA:: Could not generate output file <dir>missing/out.s2p\n")},
        {"output named like a directory",
         [](const TempDir& dir, JobFiles&, auto& args) {
             std::filesystem::create_directory(dir.path() / "results");
             args[5] = "results";
         },
         mapRead + WholeFailed("VORA:: Could not generate output file <dir>results\n")},
        {"whole structure ends inside a record",
         [](const TempDir&, JobFiles& f, auto&) { f.whole = CutInsideLastRecord(f.whole) + "\n"; },
         mapRead + WholeFailed("VORA:  Reading a line of Whole S File error \n")},
        {"short arm is a directory",
         [](const TempDir& dir, JobFiles& f, auto&) {
             std::filesystem::create_directory(dir.path() / "arms");
             f.map = ReplaceAll(f.map, "short.s2p", "arms");
         },
         mapRead + ArmsFailed("VORA:: Could not open s-arm <dir>arms file\nVORA:: Could not find s-arm 1 file\n")},
        {"short arm ends inside a record",
         [](const TempDir&, JobFiles& f, auto&) { f.shortArm = CutInsideLastRecord(f.shortArm) + "\n"; },
         mapRead + ArmsFailed("VORA:  Reading a line of Short Z File or Arm S File error \n")},
        {"open arm ends inside a record, without a line feed",
         [](const TempDir&, JobFiles& f, auto&) { f.open = CutInsideLastRecord(f.open); },
         mapRead + ArmsFailed("VORA:  Reading a line of Open Y File error \n")},
        {"short arm value beyond the double range",
         [](const TempDir&, JobFiles& f, auto&) { f.shortArm = ReplaceAll(f.shortArm, "\n1 0.5", "\n1 1e400"); },
         mapRead + ArmsFailed("VORA:: Not a number in <dir>short.s2p line 2: 1e400\n"
                              "VORA:  Reading a line of Short Z File or Arm S File error \n")},
        // A lone lower-case "g" is no unit: it reads the whole structure's points as 1, 2, 3 Hz,
        // which the GHz arms do not cover.
        {"whole structure in g",
         [](const TempDir&, JobFiles& f, auto&) { f.whole = TouchstoneText("# g S RI R 50\n", 2, kGHz, WholeS); },
         "VORA:: <dir>open.s2p (Open Y File)'s frequency range does not include 1 in <dir>whole.s2p\n" + calibrationFailed},
    };
    for (const Case& c : cases) {
        const Result result = RunJob(c.change);
        EXPECT_EQ(result.run.status, kFailed) << c.name;
        const std::string& log = result.log;
        EXPECT_EQ(log.substr(log.size() - std::min(log.size(), c.logTail.size())), c.logTail) << c.name << "\n" << log;
        EXPECT_EQ(result.run.out, "") << c.name;
        // Nothing of a failed run appears under the output's name.
        EXPECT_FALSE(result.outputIsFile) << c.name;
    }
}

TEST(RealToolInputs, EmptyDataFilesGiveAnEmptyResultNotAFailure)
{
    // No records anywhere: nothing to de-embed. The output holds what the whole structure
    // gave as header (here nothing at all).
    const Result result = RunJob([](const TempDir&, JobFiles& f, auto&) {
        f.whole = "";
        f.open = "# GHz Y RI R 50\n";
        f.shortArm = "";
    });
    EXPECT_EQ(result.run.status, 0) << result.log;
    EXPECT_NE(result.log.find(kDone), std::string::npos);
    EXPECT_EQ(result.output, "");
}

TEST(RealToolInputs, PortsDeclaredFarBeyondTheDataClaimNoMemoryForThem)
{
    // 16383 ports over files without a single record: the work matrices of that order
    // would need tens of gigabytes. The run is held to 2 GB of address space (or of single
    // allocation under AddressSanitizer, whose shadow memory rules out an address limit).
    TempDir dir;
    dir.Write("job.map", "NP 16383\nNC 1\nWS whole.s2p\nES 1 1 arm.s2p\n");
    dir.Write("whole.s2p", "# GHz S RI R 50\n");
    dir.Write("arm.s2p", "# GHz S RI R 50\n");
#if defined(__SANITIZE_ADDRESS__)
    const std::string limit = "export ASAN_OPTIONS=\"${ASAN_OPTIONS:+$ASAN_OPTIONS:}max_allocation_size_mb=2048\"";
#else
    const std::string limit = "ulimit -v 2097152";
#endif
    const VoraRun run = RunVora({"-c", limit + " && exec \"$0\" \"$@\"", VORA_BINARY, "-filepath", dir.dir(), "-in",
                                 "job.map", "-out", "out.s2p"},
                                dir.path(), dir.path(), "/bin/sh");
    EXPECT_EQ(run.status, 0) << run.log << run.err;
    EXPECT_NE(run.log.find(kDone), std::string::npos) << run.log;
    EXPECT_EQ(dir.Read("out.s2p"), "# GHz S RI R 50\n");
}

}  // namespace
