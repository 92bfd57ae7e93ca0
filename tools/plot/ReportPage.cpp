#include "plot/ReportPage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include <nlohmann/json.hpp>

#include "plot/SvgPlot.h"

namespace {

using Json = nlohmann::json;

const char* const kColors[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd",
                               "#ff7f0e", "#17becf", "#8c564b", "#e377c2"};

// j[key], or null where j is not an object or has no such key: a report of another
// version must not make the page fail.
const Json& Field(const Json& j, const char* key)
{
    static const Json null;
    if (!j.is_object()) return null;
    const auto at = j.find(key);
    return at == j.end() ? null : *at;
}

double NumberOr(const Json& j, double otherwise) { return j.is_number() ? j.get<double>() : otherwise; }

std::vector<double> Numbers(const Json& j)
{
    std::vector<double> values;
    if (!j.is_array()) return values;
    for (const Json& x : j) values.push_back(NumberOr(x, std::numeric_limits<double>::quiet_NaN()));
    return values;
}

std::string Text(const Json& j)
{
    if (j.is_string()) return j.get<std::string>();
    if (j.is_null()) return "-";
    if (j.is_number_float()) return FormatNumber("%.6g", j.get<double>());
    return j.dump();
}

std::string Hertz(const Json& j)
{
    if (!j.is_number()) return "-";
    const double f = j.get<double>();
    if (std::fabs(f) >= 1e9) return FormatNumber("%.6g GHz", f / 1e9);
    if (std::fabs(f) >= 1e6) return FormatNumber("%.6g MHz", f / 1e6);
    if (std::fabs(f) >= 1e3) return FormatNumber("%.6g kHz", f / 1e3);
    return FormatNumber("%.6g Hz", f);
}

// Background colour of a class cell.
const char* ClassColor(const std::string& c)
{
    if (c == "Good") return "#b9e4bc";
    if (c == "Acceptable") return "#e6f0a0";
    if (c == "Inconclusive") return "#ffd59a";
    if (c == "Poor") return "#f4a3a3";
    return "#eeeeee";
}

std::string ClassCell(const Json& metric, const std::string& worst)
{
    if (!metric.is_object()) return "<td class=\"none\">no pairs</td>";
    const std::string c = Text(Field(metric, "class"));
    return std::string("<td style=\"background:") + ClassColor(c) + "\"><b>" + EscapeXml(c) + "</b> " +
           EscapeXml(Text(Field(metric, "score"))) + "<br><small>" + worst + "</small></td>";
}

}  // namespace

std::string RenderChart(const Chart& chart)
{
    const double width = 640, height = 300, left = 70, right = 170, top = 30, bottom = 45;
    const double plotW = width - left - right, plotH = height - top - bottom;
    const auto value = [&chart](double y) { return chart.bLogarithmicY ? (y > 0.0 ? std::log10(y) : NAN) : y; };

    double xMin = INFINITY, xMax = -INFINITY, yMin = INFINITY, yMax = -INFINITY;
    for (const ChartSeries& s : chart.series)
        for (size_t k = 0; k < s.x.size() && k < s.y.size(); ++k) {
            const double y = value(s.y[k]);
            if (!std::isfinite(s.x[k]) || !std::isfinite(y)) continue;
            xMin = std::min(xMin, s.x[k]);
            xMax = std::max(xMax, s.x[k]);
            yMin = std::min(yMin, y);
            yMax = std::max(yMax, y);
        }
    if (chart.bReferenceLine && std::isfinite(value(chart.reference))) {
        yMin = std::min(yMin, value(chart.reference));
        yMax = std::max(yMax, value(chart.reference));
    }
    if (!(xMax > xMin)) xMin = std::isfinite(xMin) ? xMin - 1.0 : 0.0, xMax = xMin + 2.0;
    if (!std::isfinite(yMin)) yMin = 0.0, yMax = 1.0;
    if (chart.bLogarithmicY) {
        yMin = std::floor(yMin);
        yMax = std::max(std::ceil(yMax), yMin + 1.0);
        // Round-off floors of 1e-17 would squash the rest: at most 12 decades are shown.
        yMin = std::max(yMin, yMax - 12.0);
    } else {
        // A curve flat to six digits gets a range its tick labels can tell apart.
        const double center = 0.5 * (yMin + yMax), size = std::max(1.0, std::fabs(center));
        if (yMax - yMin < 1e-6 * size) {
            yMin = center - 0.05 * size;
            yMax = center + 0.05 * size;
        }
        const double pad = (yMax - yMin) * 0.08;
        yMin -= pad;
        yMax += pad;
    }
    double scale = 1.0;
    std::string unit = "Hz";
    if (xMax >= 1e9)
        scale = 1e9, unit = "GHz";
    else if (xMax >= 1e6)
        scale = 1e6, unit = "MHz";
    else if (xMax >= 1e3)
        scale = 1e3, unit = "kHz";
    const auto X = [&](double x) { return left + (x - xMin) / (xMax - xMin) * plotW; };
    const auto Y = [&](double y) { return top + (yMax - std::clamp(y, yMin, yMax)) / (yMax - yMin) * plotH; };

    std::string svg =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"640\" height=\"300\" viewBox=\"0 0 640 300\" "
        "font-family=\"sans-serif\" font-size=\"11\" role=\"img\">\n";
    svg += "<rect width=\"640\" height=\"300\" fill=\"white\"/>\n";
    svg += "<text x=\"" + FormatNumber("%.1f", left + plotW / 2) +
           "\" y=\"18\" text-anchor=\"middle\" font-size=\"13\">" + EscapeXml(chart.title) + "</text>\n";
    for (const auto& [a, b] : chart.shaded) {
        const double x0 = X(std::max(a, xMin)), x1 = X(std::min(b, xMax));
        if (!(x1 >= x0)) continue;
        svg += "<rect class=\"extrapolated\" x=\"" + FormatNumber("%.2f", x0) + "\" y=\"" +
               FormatNumber("%.2f", top) + "\" width=\"" + FormatNumber("%.2f", std::max(x1 - x0, 2.0)) +
               "\" height=\"" + FormatNumber("%.2f", plotH) + "\" fill=\"#f6c8a0\" fill-opacity=\"0.55\"/>\n";
    }
    for (double t : NiceTicks(xMin / scale, xMax / scale, 6)) {
        const std::string x = FormatNumber("%.2f", X(t * scale));
        svg += "<line x1=\"" + x + "\" y1=\"" + FormatNumber("%.2f", top) + "\" x2=\"" + x + "\" y2=\"" +
               FormatNumber("%.2f", top + plotH) + "\" stroke=\"#ddd\"/>\n";
        svg += "<text x=\"" + x + "\" y=\"" + FormatNumber("%.2f", top + plotH + 15) + "\" text-anchor=\"middle\">" +
               FormatNumber("%g", t) + "</text>\n";
    }
    std::vector<double> yTicks;
    if (chart.bLogarithmicY) {
        const double step = std::max(1.0, std::ceil((yMax - yMin) / 6.0));
        for (double t = yMin; t <= yMax + 1e-9; t += step) yTicks.push_back(t);
    } else {
        yTicks = NiceTicks(yMin, yMax, 6);
    }
    for (double t : yTicks) {
        const std::string y = FormatNumber("%.2f", Y(t));
        svg += "<line x1=\"" + FormatNumber("%.2f", left) + "\" y1=\"" + y + "\" x2=\"" +
               FormatNumber("%.2f", left + plotW) + "\" y2=\"" + y + "\" stroke=\"#ddd\"/>\n";
        const std::string label = chart.bLogarithmicY ? "1e" + FormatNumber("%.0f", t) : FormatNumber("%.6g", t);
        svg += "<text x=\"" + FormatNumber("%.2f", left - 6) + "\" y=\"" + y + "\" text-anchor=\"end\" dy=\"4\">" +
               label + "</text>\n";
    }
    if (chart.bReferenceLine && std::isfinite(value(chart.reference))) {
        const std::string y = FormatNumber("%.2f", Y(value(chart.reference)));
        svg += "<line x1=\"" + FormatNumber("%.2f", left) + "\" y1=\"" + y + "\" x2=\"" +
               FormatNumber("%.2f", left + plotW) + "\" y2=\"" + y +
               "\" stroke=\"black\" stroke-dasharray=\"6,3\"/>\n";
    }
    svg += "<rect x=\"" + FormatNumber("%.2f", left) + "\" y=\"" + FormatNumber("%.2f", top) + "\" width=\"" +
           FormatNumber("%.2f", plotW) + "\" height=\"" + FormatNumber("%.2f", plotH) +
           "\" fill=\"none\" stroke=\"black\"/>\n";
    svg += "<text x=\"" + FormatNumber("%.1f", left + plotW / 2) + "\" y=\"" + FormatNumber("%.1f", height - 6) +
           "\" text-anchor=\"middle\">frequency (" + unit + ")</text>\n";
    svg += "<text transform=\"translate(14," + FormatNumber("%.1f", top + plotH / 2) +
           ") rotate(-90)\" text-anchor=\"middle\">" + EscapeXml(chart.yLabel) + "</text>\n";

    for (size_t c = 0; c < chart.series.size(); ++c) {
        const ChartSeries& s = chart.series[c];
        std::string style = std::string(" stroke=\"") + kColors[static_cast<size_t>(s.colorIndex) % 8] +
                            "\" stroke-width=\"" + (s.bDashed ? "1.6" : "2.4") + "\"";
        if (s.bDashed) style += " stroke-dasharray=\"7,4\"";
        // A gap (NaN) ends one polyline and the next finite point starts another.
        std::string points;
        const auto flush = [&] {
            if (!points.empty()) svg += "<polyline fill=\"none\"" + style + " points=\"" + points + "\"/>\n";
            points.clear();
        };
        for (size_t k = 0; k < s.x.size() && k < s.y.size(); ++k) {
            const double y = value(s.y[k]);
            if (!std::isfinite(y) || !std::isfinite(s.x[k])) {
                flush();
                continue;
            }
            if (!points.empty()) points += ' ';
            points += FormatNumber("%.2f", X(s.x[k])) + "," + FormatNumber("%.2f", Y(y));
        }
        flush();
        const double ly = top + 8 + 16.0 * static_cast<double>(c), lx = left + plotW + 10;
        svg += "<line x1=\"" + FormatNumber("%.1f", lx) + "\" y1=\"" + FormatNumber("%.1f", ly) + "\" x2=\"" +
               FormatNumber("%.1f", lx + 28) + "\" y2=\"" + FormatNumber("%.1f", ly) + "\"" + style + "/>\n";
        svg += "<text x=\"" + FormatNumber("%.1f", lx + 33) + "\" y=\"" + FormatNumber("%.1f", ly + 4) + "\">" +
               EscapeXml(s.label) + "</text>\n";
    }
    svg += "</svg>\n";
    return svg;
}

std::string RenderReportPage(const std::string& reportJson, std::string& error)
{
    const Json report = Json::parse(reportJson, nullptr, false);
    if (!report.is_object() || !report.contains("status") || !report.contains("quality")) {
        error = "not a vora run report";
        return "";
    }
    std::string html;
    html += "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>vora run report</title>\n";
    html +=
        "<style>\nbody{font-family:sans-serif;margin:24px;color:#222;background:#fff}\n"
        "table{border-collapse:collapse;margin:8px 0 20px}\n"
        "td,th{border:1px solid #bbb;padding:4px 10px;text-align:left;vertical-align:top}\n"
        "th{background:#f0f0f0}\nsmall{color:#555}\n.charts svg{margin:0 12px 12px 0}\n"
        ".status-success{color:#1b5e20;font-weight:bold}\n.status-failure{color:#b71c1c;font-weight:bold}\n"
        "</style>\n</head>\n<body>\n";
    const std::string status = Text(Field(report, "status"));
    html += "<h1>vora run report</h1>\n<table id=\"summary\">\n";
    const auto row = [&html](const std::string& name, const std::string& value) {
        html += "<tr><th>" + EscapeXml(name) + "</th><td>" + value + "</td></tr>\n";
    };
    row("program", EscapeXml(Text(Field(report, "program")) + " " + Text(Field(report, "version"))));
    row("mode", EscapeXml(Text(Field(report, "mode"))));
    row("status", "<span class=\"status-" + EscapeXml(status) + "\">" + EscapeXml(status) + "</span>");
    if (status != "success") {
        row("failure", EscapeXml(Text(Field(report, "failureLine"))));
        row("failed step", EscapeXml(Text(Field(report, "lastLogLine"))));
    }
    row("run log", EscapeXml(Text(Field(report, "logFile"))));
    row("output", EscapeXml(Text(Field(report, "outputFile"))));
    row("ports", EscapeXml(Text(Field(report, "ports"))));
    const Json& f = Field(report, "frequencies");
    std::string frequencies = EscapeXml(Text(Field(f, "count"))) + " from " + Hertz(Field(f, "firstHz")) + " to " +
                              Hertz(Field(f, "lastHz"));
    if (Field(f, "collapsedInDefaultFormat") == true)
        frequencies += "; two of them print alike in the default format (\"" +
                       EscapeXml(Text(Field(Field(f, "collapsed"), "text"))) + "\")";
    row("frequencies", frequencies);
    html += "</table>\n";

    if (Field(report, "groups").is_array() && !Field(report, "groups").empty()) {
        html +=
            "<h2>Calibration groups</h2>\n<table id=\"groups\">\n<tr><th>group</th><th>ports</th><th>arm</th>"
            "<th>files</th><th>analysis limit</th><th>resonances</th><th>extrapolated arm points</th>"
            "<th>arm sampling</th></tr>\n";
        for (const Json& g : Field(report, "groups")) {
            const Json& x = Field(g, "extrapolated");
            std::string extrapolated = EscapeXml(Text(Field(x, "count")));
            if (NumberOr(Field(x, "count"), 0) > 0)
                extrapolated += ", " + Hertz(Field(x, "firstHz")) + " to " + Hertz(Field(x, "lastHz"));
            std::string files, sampling;
            for (const Json& file : Field(g, "armFiles"))
                files += (files.empty() ? "" : "<br>") + EscapeXml(Text(file));
            for (const auto& [name, s] : Field(g, "sampling").items())
                sampling += (sampling.empty() ? "" : "<br>") + EscapeXml(name) + ": " +
                            EscapeXml(Text(Field(s, "matched"))) + " matched, " +
                            EscapeXml(Text(Field(s, "interpolated"))) + " interpolated, " +
                            EscapeXml(Text(Field(s, "uncovered"))) + " not covered";
            html += "<tr><td>" + EscapeXml(Text(Field(g, "group"))) + "</td><td>" +
                    EscapeXml(Text(Field(g, "ports"))) + "</td><td>" + EscapeXml(Text(Field(g, "armKind"))) +
                    "</td><td>" + files + "</td><td>" + Hertz(Field(g, "analysisLimitHz")) +
                    "</td><td>short Z11: " + Hertz(Field(Field(g, "resonanceHz"), "shortZ11")) +
                    "<br>open Y11: " + Hertz(Field(Field(g, "resonanceHz"), "openY11")) + "</td><td>" + extrapolated +
                    "</td><td>" + sampling + "</td></tr>\n";
        }
        html += "</table>\n";
    }

    html += "<h2>Warnings</h2>\n";
    if (Field(report, "warnings").empty()) {
        html += "<p>none</p>\n";
    } else {
        html += "<ul id=\"warnings\">\n";
        for (const Json& w : Field(report, "warnings")) html += "<li>" + EscapeXml(Text(w)) + "</li>\n";
        html += "</ul>\n";
    }

    html +=
        "<h2>Quality</h2>\n<table id=\"quality\">\n<tr><th>sweep</th><th>ports</th><th>points</th>"
        "<th>passivity</th><th>reciprocity</th><th>causality</th></tr>\n";
    for (const Json& q : Field(report, "quality")) {
        const Json& p = Field(q, "passivity");
        const Json& r = Field(q, "reciprocity");
        const Json& c = Field(q, "causality");
        const std::string pw = "largest singular value " + EscapeXml(Text(Field(p, "worstLargestSingularValue"))) +
                               " at " + Hertz(Field(p, "worstFrequencyHz"));
        const std::string rw = r.is_object() ? "largest difference " + EscapeXml(Text(Field(r, "worstDifference"))) +
                                                   " at " + Hertz(Field(r, "worstFrequencyHz"))
                                             : "";
        const std::string cw =
            "worst element " + EscapeXml(Text(Field(c, "worstElement"))) +
            (Field(c, "worstFrequencyHz").is_number() ? " near " + Hertz(Field(c, "worstFrequencyHz")) : "");
        html += "<tr><td>" + EscapeXml(Text(Field(q, "name"))) + "<br><small>" + EscapeXml(Text(Field(q, "source"))) +
                "</small></td><td>" + EscapeXml(Text(Field(q, "ports"))) + "</td><td>" +
                EscapeXml(Text(Field(q, "points"))) + "</td>" + ClassCell(p, pw) + ClassCell(r, rw) +
                ClassCell(c, cw) + "</tr>\n";
    }
    html +=
        "</table>\n<p><small>Passivity and reciprocity: Good &gt; 99.9, Acceptable &gt; 99, Inconclusive &gt; 80, "
        "else Poor. Causality: Good &gt; 80, Acceptable &gt; 50, Inconclusive &gt; 20, else Poor.</small></p>\n";

    // Extrapolated arm data, shaded in every chart.
    std::vector<std::pair<double, double>> shaded;
    for (const Json& g : Field(report, "groups"))
        if (const Json& x = Field(g, "extrapolated"); Field(x, "firstHz").is_number()) {
            const double first = Field(x, "firstHz").get<double>();
            shaded.emplace_back(first, NumberOr(Field(x, "lastHz"), first));
        }

    html += "<h2>Charts</h2>\n";
    if (!shaded.empty()) html += "<p><small>Shaded: arm data replaced by extrapolation.</small></p>\n";
    html += "<div class=\"charts\">\n";
    const std::vector<double> plotFrequencies = Numbers(Field(Field(report, "plots"), "frequencyHz"));
    for (const Json& panel : Field(Field(report, "plots"), "panels")) {
        Chart chart;
        chart.title = "|" + Text(Field(panel, "title")) + "|";
        chart.yLabel = "dB";
        chart.shaded = shaded;
        int index = 0;
        for (const Json& curve : Field(panel, "curves")) {
            ChartSeries s;
            s.label = Text(Field(curve, "label"));
            s.x = plotFrequencies;
            s.y = Numbers(Field(curve, "db"));
            s.colorIndex = index;
            s.bDashed = index > 0;
            ++index;
            chart.series.push_back(std::move(s));
        }
        html += RenderChart(chart);
    }
    Chart passivity, reciprocity;
    passivity.title = "largest singular value of S";
    passivity.yLabel = "largest singular value";
    passivity.bReferenceLine = true;
    passivity.reference = 1.0;
    passivity.shaded = shaded;
    reciprocity.title = "reciprocity: mean |Skm - Smk|";
    reciprocity.yLabel = "mean |Skm - Smk|";
    reciprocity.bLogarithmicY = true;
    reciprocity.shaded = shaded;
    int index = 0;
    for (const Json& q : Field(report, "quality")) {
        ChartSeries s;
        s.label = Text(Field(q, "name"));
        s.x = Numbers(Field(q, "frequencyHz"));
        s.colorIndex = index;
        s.bDashed = index % 2 == 1;
        s.y = Numbers(Field(q, "largestSingularValue"));
        passivity.series.push_back(s);
        s.y = Numbers(Field(q, "reciprocityMeasure"));
        if (!s.y.empty()) reciprocity.series.push_back(s);
        ++index;
    }
    if (!passivity.series.empty()) html += RenderChart(passivity);
    if (!reciprocity.series.empty()) html += RenderChart(reciprocity);
    html += "</div>\n</body>\n</html>\n";
    return html;
}
