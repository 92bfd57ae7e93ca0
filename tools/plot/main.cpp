// vora-plot: |S| in dB of chosen entries of one or more Touchstone files, as SVG.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "plot/ReportPage.h"
#include "plot/SvgPlot.h"
#include "plot/TouchstoneData.h"

namespace {

const char* const kUsage =
    "usage: vora-plot --ports N [--entries S11,S21] [--title TEXT] [-o plot.svg] FILE[=LABEL]...\n"
    "       vora-plot --report REPORT.json [-o report.html]\n"
    "Plots |S| in dB against frequency for the entries of every file (records row by row,\n"
    "2*N*N+1 numbers each, as the de-embedding files are). One colour per entry, one line\n"
    "style per file. Entries above port 9 are written S<row>_<column>, e.g. S10_12.\n"
    "With --report, writes the run report of vora -report as one self-contained HTML page.\n";

int Usage(const std::string& problem)
{
    std::fprintf(stderr, "vora-plot: %s\n%s", problem.c_str(), kUsage);
    return 2;
}

// 0, or 1 after saying why the file could not be written.
int WriteFile(const std::string& path, const std::string& text)
{
    std::ofstream out(path);
    out << text;
    out.close();
    if (!out) {
        std::fprintf(stderr, "vora-plot: cannot write %s\n", path.c_str());
        return 1;
    }
    std::printf("wrote %s\n", path.c_str());
    return 0;
}

int WriteReportPage(const std::string& reportPath, const std::string& output)
{
    std::ifstream in(reportPath);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in) {
        std::fprintf(stderr, "vora-plot: cannot read %s\n", reportPath.c_str());
        return 1;
    }
    std::string error;
    const std::string page = RenderReportPage(text.str(), error);
    if (page.empty()) {
        std::fprintf(stderr, "vora-plot: %s: %s\n", reportPath.c_str(), error.c_str());
        return 1;
    }
    return WriteFile(output, page);
}

}  // namespace

int main(int argc, char** argv)
{
    int ports = 0;
    std::string entryText = "S11,S21", title = "|S| in dB", output, report;
    std::vector<std::string> files;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--help" || option == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        const bool takesValue = option == "--ports" || option == "--entries" || option == "--title" || option == "-o" ||
                                option == "--report";
        if (takesValue && i + 1 >= argc) return Usage("option " + option + " needs a value");
        if (option == "--ports") {
            char* end = nullptr;
            const long n = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || n < 1 || n > 4096) return Usage("bad port count");
            ports = static_cast<int>(n);
        } else if (option == "--entries") {
            entryText = argv[++i];
        } else if (option == "--title") {
            title = argv[++i];
        } else if (option == "--report") {
            report = argv[++i];
        } else if (option == "-o") {
            output = argv[++i];
        } else if (option.rfind("-", 0) == 0) {
            return Usage("unknown option " + option);
        } else {
            files.push_back(option);
        }
    }
    if (!report.empty()) {
        if (ports != 0 || !files.empty()) return Usage("--report takes no --ports and no files");
        return WriteReportPage(report, output.empty() ? "report.html" : output);
    }
    if (output.empty()) output = "plot.svg";
    if (ports == 0) return Usage("--ports is required");
    if (files.empty()) return Usage("no files given");
    std::vector<MatrixEntry> entries;
    std::string problem = ParseEntries(entryText, ports, entries);
    if (!problem.empty()) return Usage(problem);

    std::vector<PlotCurve> curves;
    for (size_t f = 0; f < files.size(); ++f) {
        std::string path = files[f], label = files[f];
        const size_t equals = path.find('=');
        if (equals != std::string::npos) {
            label = path.substr(equals + 1);
            path = path.substr(0, equals);
        }
        TouchstoneSeries series;
        problem = ReadTouchstoneSeries(path, ports, entries, series);
        if (!problem.empty()) {
            std::fprintf(stderr, "vora-plot: %s\n", problem.c_str());
            return 1;
        }
        for (size_t e = 0; e < entries.size(); ++e) {
            PlotCurve curve;
            curve.label = entries[e].name + " " + label;
            curve.frequencies = series.frequencies;
            for (const auto& z : series.values[e]) curve.decibels.push_back(Decibels(std::abs(z)));
            curve.colorIndex = static_cast<int>(e);
            curve.styleIndex = static_cast<int>(f);
            curves.push_back(std::move(curve));
        }
    }
    return WriteFile(output, RenderSvg(curves, title));
}
