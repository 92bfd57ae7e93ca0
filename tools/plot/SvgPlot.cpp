#include "plot/SvgPlot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

const char* const kColors[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e", "#17becf", "#8c564b", "#e377c2"};
const char* const kDashes[] = {"", "9,5", "2,4", "12,4,2,4"};
const double kWidths[] = {3.2, 2.0, 1.6, 1.4};

std::string Escape(const std::string& text)
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

std::string Format(const char* format, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

}  // namespace

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
    svg += "<text x=\"" + Format("%.1f", left + plotW / 2) + "\" y=\"30\" text-anchor=\"middle\" font-size=\"16\">" +
           Escape(title) + "</text>\n";

    for (double t : NiceTicks(fMin / scale, fMax / scale, 8)) {
        const std::string x = Format("%.2f", X(t * scale));
        svg += "<line x1=\"" + x + "\" y1=\"" + Format("%.2f", top) + "\" x2=\"" + x + "\" y2=\"" +
               Format("%.2f", top + plotH) + "\" stroke=\"#ddd\"/>\n";
        svg += "<text x=\"" + x + "\" y=\"" + Format("%.2f", top + plotH + 18) + "\" text-anchor=\"middle\">" +
               Format("%g", t) + "</text>\n";
    }
    for (double t : NiceTicks(yLow, yHigh, 8)) {
        const std::string y = Format("%.2f", Y(t));
        svg += "<line x1=\"" + Format("%.2f", left) + "\" y1=\"" + y + "\" x2=\"" + Format("%.2f", left + plotW) +
               "\" y2=\"" + y + "\" stroke=\"#ddd\"/>\n";
        svg += "<text x=\"" + Format("%.2f", left - 8) + "\" y=\"" + y + "\" text-anchor=\"end\" dy=\"4\">" +
               Format("%g", t) + "</text>\n";
    }
    svg += "<rect x=\"" + Format("%.2f", left) + "\" y=\"" + Format("%.2f", top) + "\" width=\"" + Format("%.2f", plotW) +
           "\" height=\"" + Format("%.2f", plotH) + "\" fill=\"none\" stroke=\"black\"/>\n";
    svg += "<text x=\"" + Format("%.1f", left + plotW / 2) + "\" y=\"" + Format("%.1f", height - 15) +
           "\" text-anchor=\"middle\">frequency (" + unit + ")</text>\n";
    svg += "<text transform=\"translate(22," + Format("%.1f", top + plotH / 2) +
           ") rotate(-90)\" text-anchor=\"middle\">|S| (dB)</text>\n";

    svg += "<clipPath id=\"plot\"><rect x=\"" + Format("%.2f", left) + "\" y=\"" + Format("%.2f", top) + "\" width=\"" +
           Format("%.2f", plotW) + "\" height=\"" + Format("%.2f", plotH) + "\"/></clipPath>\n";
    for (size_t c = 0; c < curves.size(); ++c) {
        const PlotCurve& curve = curves[c];
        const char* color = kColors[static_cast<size_t>(curve.colorIndex) % 8];
        const size_t style = static_cast<size_t>(curve.styleIndex) % 4;
        std::string style_attr = std::string(" stroke=\"") + color + "\" stroke-width=\"" + Format("%.1f", kWidths[style]) + "\"";
        if (kDashes[style][0] != '\0') style_attr += std::string(" stroke-dasharray=\"") + kDashes[style] + "\"";
        svg += "<polyline clip-path=\"url(#plot)\" fill=\"none\"" + style_attr + " points=\"";
        for (size_t k = 0; k < curve.frequencies.size(); ++k) {
            if (k > 0) svg += ' ';
            svg += Format("%.2f", X(curve.frequencies[k])) + "," + Format("%.2f", Y(curve.decibels[k]));
        }
        svg += "\"/>\n";
        const double ly = top + 10 + 22.0 * static_cast<double>(c);
        const double lx = left + plotW + 15;
        svg += "<line x1=\"" + Format("%.1f", lx) + "\" y1=\"" + Format("%.1f", ly) + "\" x2=\"" + Format("%.1f", lx + 40) +
               "\" y2=\"" + Format("%.1f", ly) + "\"" + style_attr + "/>\n";
        svg += "<text x=\"" + Format("%.1f", lx + 48) + "\" y=\"" + Format("%.1f", ly + 4) + "\">" + Escape(curve.label) +
               "</text>\n";
    }
    svg += "</svg>\n";
    return svg;
}
