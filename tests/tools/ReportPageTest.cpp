#include "plot/ReportPage.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// A report as the engine writes it, cut to what the page reads (without lastLogLine, as a
// report of another version might be: the page must not depend on every field).
const char* const kReport = R"({
  "program": "vora", "version": "1.0.0.1.0   001", "mode": "de-embedding", "status": "failure",
  "logFile": "vora_1.log", "failureLine": "VORA:: Could not find o-arm <1> file", "outputFile": "out.s2p",
  "ports": 2, "frequencies": {"count": 3, "firstHz": 1e9, "lastHz": 3e9, "collapsedInDefaultFormat": false},
  "groups": [{"group": 0, "ports": [1, 2], "armKind": "arm S", "armFiles": ["arm1.s4p"],
              "analysisLimitHz": 2.5e9, "resonanceHz": {"shortZ11": null, "openY11": null},
              "extrapolated": {"count": 1, "firstHz": 3e9, "lastHz": 3e9, "frequenciesHz": [3e9]},
              "sampling": {"armS": {"matched": 3, "interpolated": 0, "uncovered": 0}}}],
  "warnings": ["calibration group 0: arm data of 1 point ..."],
  "quality": [{"name": "whole structure", "source": "whole.s2p", "ports": 2, "points": 3,
               "passivity": {"score": 50.01, "class": "Poor", "worstFrequencyHz": 1e9, "worstLargestSingularValue": 1.05},
               "reciprocity": null,
               "causality": {"score": 100, "class": "Good", "worstElement": "S11", "worstFrequencyHz": null},
               "frequencyHz": [1e9, 2e9, 3e9], "largestSingularValue": [1.05, null, 1.05], "reciprocityMeasure": []}],
  "plots": {"frequencyHz": [1e9, 2e9, 3e9],
            "panels": [{"title": "S11", "curves": [{"label": "whole structure", "db": [-10, -12, null]}]}]}
})";

TEST(ReportPage, ShowsTheRunWithItsClassesAndNothingToFetch)
{
    std::string error;
    const std::string page = RenderReportPage(kReport, error);
    ASSERT_FALSE(page.empty()) << error;
    // Text from the report is escaped, not markup.
    EXPECT_NE(page.find("VORA:: Could not find o-arm &lt;1&gt; file"), std::string::npos);
    EXPECT_NE(page.find("background:#f4a3a3\"><b>Poor</b> 50.01"), std::string::npos);
    EXPECT_NE(page.find("<td class=\"none\">no pairs</td>"), std::string::npos);
    EXPECT_NE(page.find("class=\"extrapolated\""), std::string::npos);  // the shaded range
    // Two pictures: |S11| and the singular values; no reciprocity picture without pairs.
    size_t charts = 0;
    for (size_t at = page.find("<svg"); at != std::string::npos; at = page.find("<svg", at + 1)) ++charts;
    EXPECT_EQ(charts, 2u);
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_EQ(page.find("https://"), std::string::npos);
}

TEST(ReportPage, RefusesTextThatIsNotARunReport)
{
    for (const char* text : {"", "{\"a\": 1}", "[1, 2]", "{\"status\": \"success\""}) {
        std::string error;
        EXPECT_EQ(RenderReportPage(text, error), "") << text;
        EXPECT_FALSE(error.empty());
    }
}

}  // namespace
