#pragma once
// The run report as one self-contained HTML page: the job summary, the quality classes in
// colour and inline SVG charts (|S| of the whole structure against the de-embedded result,
// the largest singular value with the line at 1, the reciprocity measure), with the
// frequency ranges of extrapolated arm data shaded. No script, nothing fetched.

#include <string>
#include <utility>
#include <vector>

struct ChartSeries {
    std::string label;
    std::vector<double> x;  // Hz
    std::vector<double> y;  // NaN: a gap
    int colorIndex = 0;
    bool bDashed = false;
};

struct Chart {
    std::string title;
    std::string yLabel;
    std::vector<ChartSeries> series;
    std::vector<std::pair<double, double>> shaded;  // x ranges, Hz
    bool bReferenceLine = false;
    double reference = 0.0;
    bool bLogarithmicY = false;  // decades; values at or below 0 are left out
};

/// One chart as an inline <svg> element.
std::string RenderChart(const Chart& chart);

/// The whole page from the report's JSON text; "" with `error` set when the text is not a
/// run report.
std::string RenderReportPage(const std::string& reportJson, std::string& error);
