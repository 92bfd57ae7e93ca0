// The -report option end to end: the JSON report beside the output, its lines on standard
// error, and a run whose log, output and status stay what they are without it.
#include "support/GeneratedJobs.h"
#ifdef VORA_TESTS_WITH_JOBGEN

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "e2e/EndToEnd.h"

namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;

Json ReadReport(const TempDir& dir, const std::string& name)
{
    std::ifstream in(dir.path() / name);
    if (!in) return Json();
    return Json::parse(in, nullptr, false);
}

const Json* QualityNamed(const Json& report, const std::string& name)
{
    for (const Json& q : report["quality"])
        if (q["name"] == name) return &q;
    return nullptr;
}

int CountLines(const std::string& text, const std::string& start)
{
    int count = 0;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) count += line.rfind(start, 0) == 0;
    return count;
}

void CopyExample(const TempDir& dir)
{
    for (const auto& entry : fs::directory_iterator(fs::path(VORA_SOURCE_DIR) / "examples/coupled-lines"))
        fs::copy_file(entry.path(), dir.path() / entry.path().filename());
}

TEST(RunReport, TheExampleScoresGoodAndRunsAsWithoutTheReport)
{
    TempDir plain, reported;
    CopyExample(plain);
    CopyExample(reported);
    const VoraRun a = RunMapJob(plain, "out.s5p");
    const VoraRun b = RunVora({"-filepath", reported.dir(), "-in", "job.map", "-out", "out.s5p", "-report", "r.json"},
                              reported.path(), reported.path());
    ASSERT_EQ(a.status, 0) << a.log;
    EXPECT_EQ(b.status, 0);
    EXPECT_EQ(b.out, a.out);
    EXPECT_EQ(AfterCommandLine(b.log), AfterCommandLine(a.log));
    EXPECT_EQ(reported.Read("out.s5p"), plain.Read("out.s5p"));
    EXPECT_EQ(a.err, "");

    const Json report = ReadReport(reported, "r.json");
    ASSERT_TRUE(report.is_object()) << b.err;
    EXPECT_EQ(report["status"], "success");
    EXPECT_EQ(report["mode"], "de-embedding");
    EXPECT_TRUE(report["failureLine"].is_null());
    EXPECT_EQ(report["frequencies"]["count"], 301);
    EXPECT_EQ(report["frequencies"]["collapsedInDefaultFormat"], false);
    ASSERT_EQ(report["groups"].size(), 2u);
    EXPECT_EQ(report["groups"][1]["ports"], Json::array({3, 4}));
    EXPECT_EQ(report["groups"][0]["extrapolated"]["count"], 0);
    EXPECT_EQ(report["groups"][0]["sampling"]["short"]["matched"], 301);
    // One line per measured sweep: the whole structure, two arms (each a 4-port) and the output.
    EXPECT_EQ(CountLines(b.err, "VORA report: "), 5) << b.err;
    EXPECT_EQ(report["quality"].size(), 4u);
    const Json* arm = QualityNamed(report, "arm of group 0");
    ASSERT_NE(arm, nullptr);
    EXPECT_EQ((*arm)["ports"], 4);
    const Json* output = QualityNamed(report, "de-embedded output");
    ASSERT_NE(output, nullptr);
    for (const char* metric : {"passivity", "reciprocity", "causality"})
        EXPECT_EQ((*output)[metric]["class"], "Good");
    EXPECT_NE(b.err.find("VORA report: de-embedded output: passivity Good, reciprocity Good, causality Good\n"),
              std::string::npos);
}

TEST(RunReport, ListsTheArmPointsExtrapolatedAboveTheLimitAndWarns)
{
    // 21 arm points from 1 to 8 GHz on 5 mm lines with ER 4.3: the limit lies near 5.4 GHz.
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--ports 2 --group 1,2:EP --points 21 --fstart 1G --fstop 8G", dir.dir()));
    const VoraRun run = RunVora({"-filepath", dir.dir(), "-in", "job.map", "-out", "out.s2p", "-report", "r.json"},
                                dir.path(), dir.path());
    const Json report = ReadReport(dir, "r.json");
    ASSERT_TRUE(report.is_object()) << run.err;
    const double limit = (3e8 / std::sqrt(4.3)) / (4 * 5e-3) * 0.75;
    std::vector<double> above;
    for (int k = 0; k < 21; ++k)
        if (1e9 + k * 0.35e9 >= limit) above.push_back(1e9 + k * 0.35e9);
    ASSERT_GE(above.size(), 3u);
    const Json& x = report["groups"][0]["extrapolated"];
    EXPECT_EQ(x["count"], above.size());
    ASSERT_EQ(x["frequenciesHz"].size(), above.size());
    for (size_t k = 0; k < above.size(); ++k) EXPECT_NEAR(x["frequenciesHz"][k].get<double>(), above[k], 1e-3);
    EXPECT_NEAR(report["groups"][0]["analysisLimitHz"].get<double>(), limit, 1e-6 * limit);
    const std::string warning =
        "VORA warning: calibration group 0: arm data of " + std::to_string(above.size()) + " points from ";
    EXPECT_NE(run.err.find(warning), std::string::npos) << run.err;
    ASSERT_FALSE(report["warnings"].empty());
    EXPECT_NE(report["warnings"][0].get<std::string>().find("replaced by extrapolation"), std::string::npos);
    // The log is for the parent tools: no warning there.
    EXPECT_EQ(run.log.find("replaced by extrapolation"), std::string::npos);
}

TEST(RunReport, AFailedRunReportsItsReasonAndWhatWasRead)
{
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--ports 4", dir.dir()));
    fs::remove(dir.path() / "arm2_open.s2p");
    const VoraRun run = RunVora({"-filepath", dir.dir(), "-in", "job.map", "-out", "out.s4p", "-report", "r.json"},
                                dir.path(), dir.path());
    EXPECT_EQ(run.status, kFailed);
    const Json report = ReadReport(dir, "r.json");
    ASSERT_TRUE(report.is_object()) << run.err;
    EXPECT_EQ(report["status"], "failure");
    std::string lastContentLine, lastLine;
    std::istringstream log(run.log);
    for (std::string line; std::getline(log, line);) {
        if (line.rfind("VORA:: ", 0) == 0) lastContentLine = line;
        if (!line.empty()) lastLine = line;
    }
    ASSERT_FALSE(lastContentLine.empty()) << run.log;
    EXPECT_EQ(report["failureLine"], lastContentLine);
    EXPECT_EQ(report["lastLogLine"].get<std::string>() + " ", lastLine);  // the log's line ends in a blank
    EXPECT_NE(QualityNamed(report, "whole structure"), nullptr);
    EXPECT_EQ(QualityNamed(report, "de-embedded output"), nullptr);
}

TEST(RunReport, FrequenciesThatPrintAlikeAreFlagged)
{
    // 1 GHz to 1.00001 GHz in GHz: six significant digits print the first points as "1".
    TempDir dir;
    ASSERT_TRUE(GenerateJob("--ports 2 --group 1,2:EP --points 11 --fstart 1G --fstop 1.00001G", dir.dir()));
    const VoraRun run = RunVora({"-filepath", dir.dir(), "-in", "job.map", "-out", "out.s2p", "-report", "r.json"},
                                dir.path(), dir.path());
    EXPECT_NE(
        run.err.find("VORA warning: output frequencies 1 and 2 both print as \"1\" in the default number format"),
        std::string::npos)
        << run.err;
    const Json report = ReadReport(dir, "r.json");
    ASSERT_TRUE(report.is_object());
    EXPECT_EQ(report["frequencies"]["collapsedInDefaultFormat"], true);
}

TEST(RunReport, GeneralizedModeMeasuresBothInputsAsRead)
{
    // S = [[0.1, 0.9], [0.9, 0.2]] at every point: symmetric, so its largest singular value
    // is its largest |eigenvalue|, (0.3 + sqrt(0.01 + 3.24)) / 2.
    TempDir dir;
    std::string file = "# Hz S RI R 50\n";
    for (int k = 1; k <= 5; ++k) file += std::to_string(k) + "000000 0.1 0 0.9 0 0.9 0 0.2 0\n";
    dir.Write("a.s2p", file);
    dir.Write("b.s2p", file);
    const VoraRun run = RunVora({"GENERALIZEDSPARAM", "-filepath", dir.dir(), "-inputsfile1", dir.dir() + "a.s2p",
                                 "-inputsfile2", dir.dir() + "b.s2p", "-out", "g.txt", "-report", "r.json"},
                                dir.path(), dir.path());
    const Json report = ReadReport(dir, "r.json");
    ASSERT_TRUE(report.is_object()) << run.err;
    EXPECT_EQ(report["mode"], "generalized");
    // PW = (1.0514 - A)/B = 0.5138 at each of the five points: PQM 48.6, Poor, which is a
    // warning and not a failure.
    EXPECT_EQ(run.status, 0) << run.log;
    EXPECT_NE(run.err.find("VORA warning: input 1: passivity is Poor (score 48.6"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("VORA report: input 2: passivity Poor, reciprocity Good, causality Good\n"),
              std::string::npos);
    for (const char* name : {"input 1", "input 2"}) {
        const Json* q = QualityNamed(report, name);
        ASSERT_NE(q, nullptr) << name;
        EXPECT_EQ((*q)["points"], 5);
        EXPECT_NEAR((*q)["passivity"]["worstLargestSingularValue"].get<double>(), (0.3 + std::sqrt(3.25)) / 2, 1e-14);
        EXPECT_EQ((*q)["reciprocity"]["score"], 100.0);
    }
}

}  // namespace

#endif
