// Every arm form of a de-embedding job read through the real binary, up to the end of the
// reading steps: the readers' own messages are pinned where they are unit tested; here the
// driver must hand each form to them and report the outcome.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "io/TouchstoneText.h"
#include "e2e/EndToEnd.h"

namespace {

const std::string kRead = "VORA:  Reading map file successfully. \nVORA:  Reading whole structure file successfully. \n";
const std::string kArmsRead = "VORA:  Reading Open Y Files and Short Z Files succesffuly. \n";
const std::string kArmsFailed = "VORA:  The first arm process error. \nVORA:  Reading Open Y Files and Short Z Files error. \n";
const std::string kTwoLines = "ER 4.3\nNP 2 0.0001 0.000035 0.01 0.0002 0.0001 0.000035 0.01 0.0002\n";

// The log after the command line up to the end of the reading steps, without the lines of
// the port-line analysis that ends the loading of a group (made-up arm data).
std::string ReadingLog(const std::string& log)
{
    const std::string after = AfterCommandLine(log);
    std::string kept;
    for (size_t at = 0; at < after.size();) {
        const size_t end = std::min(after.find('\n', at), after.size() - 1) + 1;
        const std::string line = after.substr(at, end - at);
        if (line.rfind("VORA:: Port", 0) != 0 && line.rfind("VORA:: Find Port", 0) != 0) kept += line;
        if (line == kArmsRead) break;
        at = end;
    }
    return kept;
}

TEST(InputFiles, EveryArmFormIsReadThroughTheProgram)
{
    const char* Y = "# GHz Y RI R 50\n";
    const char* Z = "# GHz Z RI R 50\n";
    const char* S = "# GHz S RI R 50\n";
    const std::string one = kTwoLines + "NC 1\nWS whole.s2p\n";
    const std::string nvpl = "NP 2\nNV 2\nNC 1\nWS whole.s2p\n";
    struct Case {
        std::string map;
        std::vector<std::tuple<const char*, const char*, int64_t>> files;  // name, option line, port count
        std::string result;                                              // after the whole structure
    };
    // Extended: Z/Y (EP), S/S (ED), arm S of the 2-port of both ends (ES, longer than the
    // whole structure). Nvpl form: one port, a short file of nvpl lines and an open file of
    // both their ends; Nvpl 8 is not implemented.
    const Case cases[] = {
        {one + "EP 2 1 2 o.sNp s.sNp\n", {{"o.sNp", Y, 2}, {"s.sNp", Z, 2}}, kArmsRead},
        {kTwoLines + "NC 1\nWS \"my whole.s2p\"\nEP 2 1 2 \"open arm.s2p\" \"short arm.s2p\"\n",
         {{"my whole.s2p", S, 2}, {"open arm.s2p", Y, 2}, {"short arm.s2p", Z, 2}}, kArmsRead},
        {one + "ED 2 1 2 o.sNp s.sNp\n", {{"o.sNp", S, 2}, {"s.sNp", S, 2}}, kArmsRead},
        {one + "ES 2 1 2 a.sNp\n", {{"a.sNp", S, 4}}, kArmsRead},
        {nvpl + "EP 1 o.sNp s.sNp\n", {{"o.sNp", Y, 4}, {"s.sNp", Z, 2}}, kArmsRead},
        {nvpl + "ED 2 o.sNp s.sNp\n", {{"o.sNp", S, 4}, {"s.sNp", S, 2}}, kArmsRead},
        {"NP 2\nNV 8\nNC 1\nWS whole.s2p\nEP 1 o.sNp s.sNp\n", {{"s.sNp", Z, 8}},
         "VORA:  VPLN=8 not implemented yet error. \n" + kArmsFailed},
        // No R on the whole structure's option line: Touchstone's 50 ohm, which an arm at 20
        // does not match.
        {kTwoLines + "NC 2\nWS whole.s2p\nES 1 1 a.sNp\nES 1 2 a.sNp\n",
         {{"whole.s2p", "# GHz S RI\n", 2}, {"a.sNp", "# GHz S RI R 20\n", 2}},
         "VORA:  R of arm S file is not same as R of whole S file  \n" + kArmsFailed},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.map);
        TempDir dir;
        dir.Write("job.map", c.map);
        dir.Write("whole.s2p", TouchstoneText(S, 2, {1, 2, 3}, PositionValue));
        for (const auto& [name, option, ports] : c.files) dir.Write(name, TouchstoneText(option, ports, {1, 2, 3, 4, 5}, PositionValue));
        const VoraRun run = RunMapJob(dir, "out.s2p");
        EXPECT_EQ(ReadingLog(run.log), kRead + c.result);
        if (c.result != kArmsRead) {
            EXPECT_EQ(run.status, kFailed);
        }
    }
}

}  // namespace
