// The Nvpl arm forms of a de-embedding job read through the real binary, up to the end of the
// reading steps: the driver must hand them to the readers and report the outcome.

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

TEST(InputFiles, NvplFormsAreReadThroughTheProgram)
{
    const char* Z = "# GHz Z RI R 50\n";
    const char* S = "# GHz S RI R 50\n";
    const std::string nvpl = "NP 2\nNV 2\nNC 1\nWS whole.s2p\n";
    struct Case {
        std::string map;
        std::vector<std::tuple<const char*, const char*, int64_t>> files;  // name, option line, port count
        std::string result;                                              // after the whole structure
    };
    // The extended forms and the Nvpl forms of one and two lines are read by every generated
    // job and by the arm readers' own tests; Nvpl 8 is not implemented, and the driver must
    // end the reading with the reader's line.
    const Case cases[] = {
        {nvpl + "ED 2 o.sNp s.sNp\n", {{"o.sNp", S, 4}, {"s.sNp", S, 2}}, kArmsRead},
        {"NP 2\nNV 8\nNC 1\nWS whole.s2p\nEP 1 o.sNp s.sNp\n", {{"s.sNp", Z, 8}},
         "VORA:  VPLN=8 not implemented yet error. \n" + kArmsFailed},
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
