#include "plot/SvgPlot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

const char* const kColors[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#17becf", "#8c564b", "#e377c2"};
const char* const kDashes[] = {"", "9,5", "2,4", "12,4,2,4"};
const double kWidths[] = {3.2, 2.0, 1.6, 1.4};

}  // namespace

std::string EscapeXml(const std::string& text)
{
    std::string out;
    for (char c : text) {
        if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else if (c == '&') out += "&amp;";
        else if (c == '"') out += "&quot;";
        else out += c;
    }
    return out;
}

std::string FormatNumber(const char* format, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

double Decibels(double magnitude) { return magnitude > 0.0 ? 20.0 * std::log10(magnitude) : -300.0; }

std::vector<double> NiceTicks(double low, double high, int target)
{
    std::vector<double> ticks;
    if (!(high > low) || target < 1) return ticks;
    const double rough = (high - low) / target;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    double step = power;
    for (double m : {1.0, 2.0, 2.5, 5.0, 10.0})
        if (m * power >= rough) {
            step = m * power;
            break;
        }
    for (double t = std::ceil(low / step) * step; t <= high + step * 1e-9; t += step)
        ticks.push_back(std::abs(t) < step * 1e-9 ? 0.0 : t);
    return ticks;
}

std::string RenderSvg(const std::vector<PlotCurve>& curves, const std::string& title)
{
    const double width = 960, height = 600, left = 80, right = 250, top = 50, bottom = 60;
    const double plotW = width - left - right, plotH = height - top - bottom;

    double fMin = INFINITY, fMax = -INFINITY, yMax = -INFINITY, yMin = INFINITY;
    for (const PlotCurve& c : curves)
        for (size_t k = 0; k < c.frequencies.size(); ++k) {
            fMin = std::min(fMin, c.frequencies[k]);
            fMax = std::max(fMax, c.frequencies[k]);
            yMax = std::max(yMax, c.decibels[k]);
            yMin = std::min(yMin, c.decibels[k]);
        }
    if (!(fMax > fMin)) {
        fMin -= 1.0;
        fMax += 1.0;
    }
    // Deep nulls would squash everything else: show at most 100 dB below the top.
    yMin = std::max(yMin, yMax - 100.0);
    double yLow = std::floor(yMin / 10.0) * 10.0, yHigh = std::ceil(yMax / 10.0) * 10.0;
    if (yHigh - yLow < 10.0) yHigh = yLow + 10.0;

    double scale = 1.0;
    std::string unit = "Hz";
    if (fMax >= 1e9) scale = 1e9, unit = "GHz";
    else if (fMax >= 1e6) scale = 1e6, unit = "MHz";
    else if (fMax >= 1e3) scale = 1e3, unit = "kHz";

    auto X = [&](double f) { return left + (f - fMin) / (fMax - fMin) * plotW; };
    auto Y = [&](double db) { return top + (yHigh - std::clamp(db, yLow, yHigh)) / (yHigh - yLow) * plotH; };

    std::string svg;
    svg += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"960\" height=\"600\" viewBox=\"0 0 960 600\" "
           "font-family=\"sans-serif\" font-size=\"13\">\n";
    svg += "<rect width=\"960\" height=\"600\" fill=\"white\"/>\n";
    svg += "<text x=\"" + FormatNumber("%.1f", left + plotW / 2) + "\" y=\"30\" text-anchor=\"middle\" font-size=\"16\">" +
           EscapeXml(title) + "</text>\n";

    for (double t : NiceTicks(fMin / scale, fMax / scale, 8)) {
        const std::string x = FormatNumber("%.2f", X(t * scale));
        svg += "<line x1=\"" + x + "\" y1=\"" + FormatNumber("%.2f", top) + "\" x2=\"" + x + "\" y2=\"" +
               FormatNumber("%.2f", top + plotH) + "\" stroke=\"#ddd\"/>\n";
        svg += "<text x=\"" + x + "\" y=\"" + FormatNumber("%.2f", top + plotH + 18) + "\" text-anchor=\"middle\">" +
               FormatNumber("%g", t) + "</text>\n";
    }
    for (double t : NiceTicks(yLow, yHigh, 8)) {
        const std::string y = FormatNumber("%.2f", Y(t));
        svg += "<line x1=\"" + FormatNumber("%.2f", left) + "\" y1=\"" + y + "\" x2=\"" + FormatNumber("%.2f", left + plotW) +
               "\" y2=\"" + y + "\" stroke=\"#ddd\"/>\n";
        svg += "<text x=\"" + FormatNumber("%.2f", left - 8) + "\" y=\"" + y + "\" text-anchor=\"end\" dy=\"4\">" +
               FormatNumber("%g", t) + "</text>\n";
    }
    svg += "<rect x=\"" + FormatNumber("%.2f", left) + "\" y=\"" + FormatNumber("%.2f", top) + "\" width=\"" + FormatNumber("%.2f", plotW) +
           "\" height=\"" + FormatNumber("%.2f", plotH) + "\" fill=\"none\" stroke=\"black\"/>\n";
    svg += "<text x=\"" + FormatNumber("%.1f", left + plotW / 2) + "\" y=\"" + FormatNumber("%.1f", height - 15) +
           "\" text-anchor=\"middle\">frequency (" + unit + ")</text>\n";
    svg += "<text transform=\"translate(22," + FormatNumber("%.1f", top + plotH / 2) +
           ") rotate(-90)\" text-anchor=\"middle\">|S| (dB)</text>\n";

    svg += "<clipPath id=\"plot\"><rect x=\"" + FormatNumber("%.2f", left) + "\" y=\"" + FormatNumber("%.2f", top) + "\" width=\"" +
           FormatNumber("%.2f", plotW) + "\" height=\"" + FormatNumber("%.2f", plotH) + "\"/></clipPath>\n";
    for (size_t c = 0; c < curves.size(); ++c) {
        const PlotCurve& curve = curves[c];
        const char* color = kColors[static_cast<size_t>(curve.colorIndex) % 8];
        const size_t style = static_cast<size_t>(curve.styleIndex) % 4;
        std::string style_attr = std::string(" stroke=\"") + color + "\" stroke-width=\"" + FormatNumber("%.1f", kWidths[style]) + "\"";
        if (kDashes[style][0] != '\0') style_attr += std::string(" stroke-dasharray=\"") + kDashes[style] + "\"";
        svg += "<polyline clip-path=\"url(#plot)\" fill=\"none\"" + style_attr + " points=\"";
        for (size_t k = 0; k < curve.frequencies.size(); ++k) {
            if (k > 0) svg += ' ';
            svg += FormatNumber("%.2f", X(curve.frequencies[k])) + "," + FormatNumber("%.2f", Y(curve.decibels[k]));
        }
        svg += "\"/>\n";
        const double ly = top + 10 + 22.0 * static_cast<double>(c);
        const double lx = left + plotW + 15;
        svg += "<line x1=\"" + FormatNumber("%.1f", lx) + "\" y1=\"" + FormatNumber("%.1f", ly) + "\" x2=\"" + FormatNumber("%.1f", lx + 40) +
               "\" y2=\"" + FormatNumber("%.1f", ly) + "\"" + style_attr + "/>\n";
        svg += "<text x=\"" + FormatNumber("%.1f", lx + 48) + "\" y=\"" + FormatNumber("%.1f", ly + 4) + "\">" + EscapeXml(curve.label) +
               "</text>\n";
    }
    svg += "</svg>\n";
    return svg;
}
