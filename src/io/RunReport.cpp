#include "io/RunReport.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <unordered_map>

#include <nlohmann/json.hpp>

#include "io/NumberFormat.h"
#include "job/VoraJob.h"
#include "numerics/FrequencySearch.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr double kEqualFrequencyTolerance = 0.01;  // Hz, as the arm lookup matches

std::string FileNameOf(const std::string& path)
{
    const size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A number, or null where JSON has none (NaN, infinity).
Json Number(double x) { return std::isfinite(x) ? Json(x) : Json(nullptr); }

Json Numbers(const std::vector<double>& values)
{
    Json list = Json::array();
    for (double x : values) list.push_back(Number(x));
    return list;
}

const char* ArmKindName(int32_t armKind)
{
    switch (armKind) {
        case kArmShortZOpenY: return "open Y and short Z";
        case kArmS: return "arm S";
        case kArmShortSOpenS: return "open S and short S";
        default: return "unknown";
    }
}

Json PointFrequency(const QualityReport& q, size_t point)
{
    if (point == QualityMeasures::kNoPoint || point >= q.frequencies.size()) return nullptr;
    return Number(q.frequencies[point]);
}

Json QualityJson(const QualityReport& q)
{
    const QualityMeasures& m = q.measures;
    Json j;
    j["name"] = q.name;
    j["source"] = FileNameOf(q.source);
    j["ports"] = m.portCount;
    j["points"] = m.pointCount;
    j["passivity"] = {
        {"score", Number(m.passivityScore)},
        {"class", QualityClassName(ClassifyPassivityOrReciprocity(m.passivityScore))},
        {"worstFrequencyHz", PointFrequency(q, m.passivityWorstPoint)},
        {"worstLargestSingularValue", Number(m.passivityWorstValue)},
    };
    if (m.bReciprocity) {
        j["reciprocity"] = {
            {"score", Number(m.reciprocityScore)},
            {"class", QualityClassName(ClassifyPassivityOrReciprocity(m.reciprocityScore))},
            {"worstFrequencyHz", PointFrequency(q, m.reciprocityWorstPoint)},
            {"worstDifference", Number(m.reciprocityWorstValue)},
            {"worstPair",
             {SparamEntryName(m.reciprocityWorstRow, m.reciprocityWorstColumn),
              SparamEntryName(m.reciprocityWorstColumn, m.reciprocityWorstRow)}},
        };
    } else {
        j["reciprocity"] = nullptr;
    }
    j["causality"] = {
        {"score", Number(m.causalityScore)},
        {"class", QualityClassName(ClassifyCausality(m.causalityScore))},
        {"worstElement", SparamEntryName(m.causalityWorstRow, m.causalityWorstColumn)},
        {"worstFrequencyHz", PointFrequency(q, m.causalityWorstPoint)},
    };
    j["frequencyHz"] = Numbers(q.frequencies);
    j["largestSingularValue"] = Numbers(m.largestSingularValues);
    j["reciprocityMeasure"] = Numbers(m.reciprocityMeasures);
    return j;
}

Json GroupJson(const VoraJob& job, const CalibrationGroup& group, size_t number)
{
    Json j;
    j["group"] = number;
    j["ports"] = group.ports;
    j["armKind"] = ArmKindName(group.armKind);
    Json files = Json::array();
    if (!group.armFile2Path.empty()) files.push_back(FileNameOf(group.armFile2Path));
    if (!group.armFile1Path.empty() && group.armFile1Path != group.armFile2Path)
        files.push_back(FileNameOf(group.armFile1Path));
    j["armFiles"] = files;
    j["analysisLimitHz"] = Number(group.freqD);
    // Only the open-Y/short-Z kind searches the resonances, and only from method 2 on (below
    // it the search answers 2·freqE without looking); 0 or less: none found.
    const auto resonance = [&group](double f) {
        return group.armKind == kArmShortZOpenY && group.methodCode >= 2 && f > 0.0 ? Number(f) : Json(nullptr);
    };
    j["resonanceHz"] = {{"shortZ11", resonance(group.shortResonanceFrequency)},
                        {"openY11", resonance(group.openResonanceFrequency)}};
    const std::vector<double>& x = group.extrapolatedFrequencies;
    j["extrapolated"] = {
        {"count", x.size()},
        {"firstHz", x.empty() ? Json(nullptr) : Number(x.front())},
        {"lastHz", x.empty() ? Json(nullptr) : Number(x.back())},
        {"frequenciesHz", Numbers(x)},
    };
    const size_t K = std::min(job.frequencies.size(), static_cast<size_t>(std::max(job.frequencyCount, 0)));
    const std::vector<double> simulated(job.frequencies.begin(), job.frequencies.begin() + static_cast<long>(K));
    const auto sampling = [&simulated](const std::vector<double>& arm) {
        const ArmSampling s = CountArmSampling(arm, simulated);
        return Json{{"matched", s.matched}, {"interpolated", s.interpolated}, {"uncovered", s.uncovered}};
    };
    j["sampling"] = Json::object();
    if (group.armKind == kArmS) {
        j["sampling"]["armS"] = sampling(group.shortFrequencies);
    } else {
        j["sampling"]["short"] = sampling(group.shortFrequencies);
        j["sampling"]["open"] = sampling(group.openFrequencies);
    }
    return j;
}

}  // namespace

std::string SparamEntryName(int32_t row, int32_t column)
{
    return "S" + std::to_string(row + 1) + (row >= 9 || column >= 9 ? "," : "") + std::to_string(column + 1);
}

CollapsedFrequencies FindCollapsedFrequencies(const VoraJob& job)
{
    CollapsedFrequencies found;
    const size_t K = std::min(job.frequencies.size(), static_cast<size_t>(std::max(job.frequencyCount, 0)));
    char text[kStreamNumberMaxLength];
    const auto printed = [&](size_t k) {
        const char* end = FormatStreamDefault(text, job.frequencies[k] / job.freqUnitFactor);
        return std::string(static_cast<const char*>(text), end);
    };
    const auto report = [&](size_t first, size_t second, std::string same) {
        found.first = static_cast<int64_t>(first);
        found.second = static_cast<int64_t>(second);
        found.text = std::move(same);
        return found;
    };
    // Every run asks, so the usual ascending sweep is answered without formatting each
    // frequency: two values with the same six significant digits differ by less than a
    // unit in the sixth digit, at most 1e-5 of the larger, so only closer neighbours are
    // printed and compared.
    const std::vector<double> sweep(job.frequencies.begin(), job.frequencies.begin() + static_cast<long>(K));
    if (IsAscending(sweep)) {
        for (size_t k = 1; k < K; ++k) {
            const double a = sweep[k - 1] / job.freqUnitFactor;
            const double b = sweep[k] / job.freqUnitFactor;
            if (std::isfinite(a) && std::isfinite(b) && b - a > 2e-5 * std::max(std::fabs(a), std::fabs(b))) continue;
            std::string previous = printed(k - 1);
            if (previous == printed(k)) return report(k - 1, k, std::move(previous));
        }
        return found;
    }
    std::unordered_map<std::string, int64_t> seen;
    seen.reserve(K);
    for (size_t k = 0; k < K; ++k) {
        const auto [at, bNew] = seen.emplace(printed(k), static_cast<int64_t>(k));
        if (!bNew) return report(static_cast<size_t>(at->second), k, at->first);
    }
    return found;
}

ArmSampling CountArmSampling(const std::vector<double>& armFrequencies, const std::vector<double>& frequencies)
{
    ArmSampling s;
    const bool bAscending = IsAscending(armFrequencies);
    for (size_t k = 0; k < frequencies.size(); ++k) {
        const double f = frequencies[k];
        if (FindMatchingFrequency(armFrequencies, f, k, kEqualFrequencyTolerance, bAscending) >= 0)
            ++s.matched;
        else if (FindFrequencyBracket(armFrequencies, f, k, bAscending) >= 0)
            ++s.interpolated;
        else
            ++s.uncovered;
    }
    return s;
}

void AddDataWarnings(VoraJob& job)
{
    for (size_t g = 0; g < job.calibrationGroups.size(); ++g) {
        const CalibrationGroup& group = job.calibrationGroups[g];
        const std::vector<double>& x = group.extrapolatedFrequencies;
        if (x.empty()) continue;
        std::ostringstream text;
        text << "calibration group " << g << ": arm data of " << x.size() << " point" << (x.size() == 1 ? "" : "s")
             << " from " << x.front() << " Hz to " << x.back()
             << " Hz replaced by extrapolation above the group's analysis limit of " << group.freqD << " Hz";
        job.warnings.push_back(text.str());
    }
    // The generalized mode prints whole hertz, not the default format.
    if (job.runMode != 1) {
        const CollapsedFrequencies collapsed = FindCollapsedFrequencies(job);
        if (collapsed.first >= 0) {
            std::ostringstream text;
            text << "output frequencies " << collapsed.first + 1 << " and " << collapsed.second + 1
                 << " both print as \"" << collapsed.text << "\" in the default number format";
            job.warnings.push_back(text.str());
        }
    }
}

std::string RunReportJson(const VoraJob& job, const RunReport& report)
{
    Json j;
    j["program"] = report.program;
    j["version"] = report.version;
    j["mode"] = job.runMode == 1 ? "generalized" : "de-embedding";
    j["status"] = report.status;
    j["logFile"] = FileNameOf(job.logFilePath);
    const bool bFailed = report.status != "success";
    j["failureLine"] = bFailed && !report.failureLine.empty() ? Json(report.failureLine) : Json(nullptr);
    j["lastLogLine"] = bFailed && !report.lastLogLine.empty() ? Json(report.lastLogLine) : Json(nullptr);
    j["outputFile"] = job.outputFileName;

    const size_t K = std::min(job.frequencies.size(), static_cast<size_t>(std::max(job.frequencyCount, 0)));
    Json frequencies;
    frequencies["count"] = K;
    frequencies["firstHz"] = K > 0 ? Number(job.frequencies.front()) : Json(nullptr);
    frequencies["lastHz"] = K > 0 ? Number(job.frequencies[K - 1]) : Json(nullptr);
    if (job.runMode != 1) {
        const CollapsedFrequencies collapsed = FindCollapsedFrequencies(job);
        frequencies["collapsedInDefaultFormat"] = collapsed.first >= 0;
        if (collapsed.first >= 0)
            frequencies["collapsed"] = {
                {"first", collapsed.first + 1}, {"second", collapsed.second + 1}, {"text", collapsed.text}};
    } else {
        frequencies["collapsedInDefaultFormat"] = nullptr;  // the output prints whole hertz
    }
    j["ports"] = job.portCount;
    j["frequencies"] = frequencies;

    Json groups = Json::array();
    for (size_t g = 0; g < job.calibrationGroups.size(); ++g)
        groups.push_back(GroupJson(job, job.calibrationGroups[g], g));
    j["groups"] = groups;
    j["warnings"] = job.warnings;

    Json quality = Json::array();
    for (const QualityReport& q : report.quality) quality.push_back(QualityJson(q));
    j["quality"] = quality;

    Json panels = Json::array();
    for (const PlotPanel& p : report.panels) {
        Json curves = Json::array();
        for (size_t c = 0; c < p.labels.size() && c < p.decibels.size(); ++c)
            curves.push_back({{"label", p.labels[c]}, {"db", Numbers(p.decibels[c])}});
        panels.push_back({{"title", p.title}, {"curves", curves}});
    }
    j["plots"] = {{"frequencyHz", Numbers(report.plotFrequencies)}, {"panels", panels}};
    return j.dump(2) + "\n";
}

bool WriteRunReport(const VoraJob& job, const RunReport& report, std::string& error)
{
    const std::string path = job.directoryPath + job.reportFileName;
    const std::string text = RunReportJson(job, report);
    // Written under a temporary name and renamed, so a reader never sees half a report.
    const std::string temporary = path + ".tmp";
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    out.close();
    if (!out || std::rename(temporary.c_str(), path.c_str()) != 0) {
        std::remove(temporary.c_str());
        error = "cannot write the report " + path;
        return false;
    }
    return true;
}
