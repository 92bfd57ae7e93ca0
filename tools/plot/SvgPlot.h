#pragma once
// |S| in dB against frequency as a self-contained SVG document.

#include <string>
#include <vector>

struct PlotCurve {
    std::string label;
    std::vector<double> frequencies;  // Hz
    std::vector<double> decibels;
    int colorIndex = 0;  // one colour per matrix entry
    int styleIndex = 0;  // one line style per file: solid, dashed, dotted, ...
};

/// Round tick positions covering [low, high], about `target` of them.
std::vector<double> NiceTicks(double low, double high, int target);

/// 20·log10|z|, with -300 dB for z = 0.
double Decibels(double magnitude);

/// Text with <, >, & and " written as XML entities.
std::string EscapeXml(const std::string& text);

/// One number by a printf format ("%.2f").
std::string FormatNumber(const char* format, double value);

std::string RenderSvg(const std::vector<PlotCurve>& curves, const std::string& title);
