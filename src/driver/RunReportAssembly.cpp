#include "driver/RunReportAssembly.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "calibration/SymmetricGeometryCalibration.h"
#include "driver/CommandLine.h"
#include "gsparam/GeneralizedSparam.h"
#include "io/RunReport.h"
#include "job/VoraJob.h"
#include "numerics/QualityMetrics.h"

namespace {

// Plots are drawn for the first ports only: a page of hundreds of pictures helps nobody.
constexpr int32_t kPlottedPorts = 8;

size_t FrequencyCount(const VoraJob& job)
{
    return std::min(job.frequencies.size(), static_cast<size_t>(std::max(job.frequencyCount, 0)));
}

// The log lines that say why the run failed: the last "VORA:: " line (bad input contents;
// "" when there is none) and the log's last line (the failing step's own).
void ReadFailureLines(VoraJob& job, RunReport& report)
{
    job.logStream.flush();
    std::ifstream log(job.logFilePath);
    std::string line;
    while (std::getline(log, line)) {
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
        if (line.empty()) continue;
        report.lastLogLine = line;
        if (line.rfind("VORA:: ", 0) == 0) report.failureLine = line;
    }
}

// Measures `count` points whose S `fill` writes into an n x n matrix.
QualityReport Measure(const std::string& name, const std::string& source, int32_t n,
                      const std::vector<double>& frequencies, size_t count,
                      const std::function<void(size_t, dcm&)>& fill)
{
    QualityReport report;
    report.name = name;
    report.source = source;
    report.frequencies.assign(frequencies.begin(), frequencies.begin() + static_cast<long>(count));
    QualityAccumulator accumulator(n);
    dcm S(n);
    for (size_t k = 0; k < count; ++k) {
        fill(k, S);
        accumulator.Add(S);
    }
    report.measures = accumulator.Finish();
    return report;
}

double Decibels(Complex z) { return 20.0 * std::log10(std::abs(z)); }

// Entry (i, j) of the whole structure's record k, read row-major.
Complex WholeEntry(const VoraJob& job, size_t k, int32_t i, int32_t j)
{
    const double* v = job.wholeValues[k];
    const size_t e = static_cast<size_t>(i) * static_cast<size_t>(job.portCount) + static_cast<size_t>(j);
    return {v[2 * e], v[2 * e + 1]};
}

void MeasureDeembedding(VoraJob& job, bool bSucceeded, RunReport& report)
{
    const int64_t N = job.portCount;
    const size_t K = FrequencyCount(job);
    const bool bWhole =
        N >= 1 && N <= 46340 && K > 0 && job.wholeValues.size() >= K && job.wholeValues.width() == 2 * N * N;
    const int32_t n = static_cast<int32_t>(N);
    if (bWhole) {
        report.quality.push_back(
            Measure("whole structure", job.wholeStructureFilePath, n, job.frequencies, K, [&](size_t k, dcm& S) {
                for (int32_t i = 0; i < n; ++i)
                    for (int32_t j = 0; j < n; ++j) S(i, j) = WholeEntry(job, k, i, j);
            }));
    }

    for (size_t g = 0; g < job.calibrationGroups.size(); ++g) {
        CalibrationGroup& group = job.calibrationGroups[g];
        const std::string name = "arm of group " + std::to_string(g);
        // The telegrapher's method keeps its arms per arm frequency; the symmetric method
        // derives them per simulated frequency and keeps none, so they are derived again.
        if (!group.armS.empty() && group.armS.size() <= group.commonFrequencies.size() && group.armS[0].n > 0) {
            report.quality.push_back(Measure(name, "telegrapher's equations", group.armS[0].n,
                                             group.commonFrequencies, group.armS.size(),
                                             [&](size_t k, dcm& S) { S.Assign(group.armS[k]); }));
            continue;
        }
        if (group.portCount < 1) continue;
        QualityAccumulator accumulator(2 * group.portCount);
        const size_t derived = ForEachDerivedArm(group, [&](size_t, const dcm& S) { accumulator.Add(S); });
        if (derived == 0) continue;
        QualityReport q;
        q.name = name;
        q.source = "calibration";
        q.frequencies.assign(job.frequencies.begin(), job.frequencies.begin() + static_cast<long>(derived));
        q.measures = accumulator.Finish();
        report.quality.push_back(std::move(q));
    }

    const bool bOutput = bSucceeded && N >= 1 && job.vdcm_Sout.size() >= K && K > 0 && job.vdcm_Sout[0].n == N;
    if (bOutput) {
        report.quality.push_back(Measure("de-embedded output", job.outputFileName, n, job.frequencies, K,
                                         [&](size_t k, dcm& S) { S.Assign(job.vdcm_Sout[k]); }));
    }

    // |S| of each port's return and of its main transmission (the other port with the
    // largest mean |S| in the output, or in the whole structure without an output).
    if (!bWhole) return;
    report.plotFrequencies.assign(job.frequencies.begin(), job.frequencies.begin() + static_cast<long>(K));
    const auto entry = [&](bool bDeembedded, size_t k, int32_t i, int32_t j) {
        return bDeembedded ? job.vdcm_Sout[k](i, j) : WholeEntry(job, k, i, j);
    };
    const auto panel = [&](int32_t i, int32_t j) {
        PlotPanel p;
        p.title = SparamEntryName(i, j);
        p.labels.push_back("whole structure");
        if (bOutput) p.labels.push_back("de-embedded");
        for (size_t c = 0; c < p.labels.size(); ++c) {
            std::vector<double> db(K);
            for (size_t k = 0; k < K; ++k) db[k] = Decibels(entry(c == 1, k, i, j));
            p.decibels.push_back(std::move(db));
        }
        report.panels.push_back(std::move(p));
    };
    const int32_t plotted = std::min<int32_t>(n, kPlottedPorts);
    std::vector<std::pair<int32_t, int32_t>> transmissions;
    for (int32_t i = 0; i < plotted; ++i) {
        panel(i, i);
        int32_t best = -1;
        double bestMean = -1.0;
        for (int32_t j = 0; j < n; ++j) {
            if (j == i) continue;
            double sum = 0.0;
            for (size_t k = 0; k < K; ++k) sum += std::abs(entry(bOutput, k, j, i));
            if (sum > bestMean) {
                bestMean = sum;
                best = j;
            }
        }
        if (best < 0) continue;
        const std::pair<int32_t, int32_t> pair{std::max(i, best), std::min(i, best)};
        if (std::find(transmissions.begin(), transmissions.end(), pair) == transmissions.end())
            transmissions.push_back(pair);
    }
    for (const auto& [i, j] : transmissions) panel(i, j);
}

void MeasureGeneralized(VoraJob& job, bool bSucceeded, RunReport& report)
{
    const size_t K = FrequencyCount(job);
    if (K == 0) return;
    Complex s[4];
    const auto input = [&](const char* name, const std::string& file, const RecordTable& values,
                           const std::string& format) {
        if (values.size() < K || values.width() != 8 || !TwoPortSparamOfRecord(values[0], format, s)) return false;
        report.quality.push_back(Measure(name, file, 2, job.frequencies, K, [&](size_t k, dcm& S) {
            static_cast<void>(TwoPortSparamOfRecord(values[k], format, S.data));
        }));
        return true;
    };
    const bool b1 = input("input 1", job.sFile1Name, job.sFile1Values, job.sFile1Format);
    const bool b2 = input("input 2", job.sFile2Name, job.sFile2Values, job.sFile2Format);
    const size_t solved = std::min(job.generalizedValues.size(), K);
    if (bSucceeded && solved > 0)
        report.quality.push_back(Measure("generalized S", job.outputFileName, 1, job.frequencies, solved,
                                         [&](size_t k, dcm& S) { S(0, 0) = job.generalizedValues[k]; }));

    report.plotFrequencies.assign(job.frequencies.begin(), job.frequencies.begin() + static_cast<long>(K));
    for (const auto& [i, j] : {std::pair{0, 0}, std::pair{1, 0}}) {
        PlotPanel p;
        p.title = SparamEntryName(i, j);
        for (int file = 0; file < 2; ++file) {
            if (!(file == 0 ? b1 : b2)) continue;
            const RecordTable& values = file == 0 ? job.sFile1Values : job.sFile2Values;
            const std::string& format = file == 0 ? job.sFile1Format : job.sFile2Format;
            p.labels.push_back(file == 0 ? "input 1" : "input 2");
            std::vector<double> db(K);
            for (size_t k = 0; k < K; ++k) {
                static_cast<void>(TwoPortSparamOfRecord(values[k], format, s));
                db[k] = Decibels(s[2 * i + j]);
            }
            p.decibels.push_back(std::move(db));
        }
        if (!p.labels.empty()) report.panels.push_back(std::move(p));
    }
    if (bSucceeded && solved == K) {
        PlotPanel p;
        p.title = "generalized S";
        p.labels.push_back("generalized S");
        std::vector<double> db(K);
        for (size_t k = 0; k < K; ++k) db[k] = Decibels(job.generalizedValues[k]);
        p.decibels.push_back(std::move(db));
        report.panels.push_back(std::move(p));
    }
}

}  // namespace

void FinishRunReport(VoraJob& job, bool bSucceeded, std::ostream& err)
{
    try {
        AddDataWarnings(job);
        if (job.reportFileName.empty()) return;

        RunReport report;
        report.version = VoraVersionText;
        report.status = bSucceeded ? "success" : "failure";
        if (!bSucceeded) ReadFailureLines(job, report);
        if (job.runMode == 1)
            MeasureGeneralized(job, bSucceeded, report);
        else
            MeasureDeembedding(job, bSucceeded, report);

        for (const QualityReport& q : report.quality) {
            const QualityMeasures& m = q.measures;
            const char* passivity = QualityClassName(ClassifyPassivityOrReciprocity(m.passivityScore));
            const char* reciprocity =
                m.bReciprocity ? QualityClassName(ClassifyPassivityOrReciprocity(m.reciprocityScore)) : "-";
            const char* causality = QualityClassName(ClassifyCausality(m.causalityScore));
            err << "VORA report: " << q.name << ": passivity " << passivity << ", reciprocity " << reciprocity
                << ", causality " << causality << "\n";
            const auto poor = [&](const char* metric, const char* c, double score) {
                if (std::string(c) != "Poor") return;
                std::ostringstream text;
                text << q.name << ": " << metric << " is Poor (score " << score << ")";
                job.warnings.push_back(text.str());
            };
            poor("passivity", passivity, m.passivityScore);
            poor("reciprocity", reciprocity, m.reciprocityScore);
            poor("causality", causality, m.causalityScore);
        }
        std::string error;
        if (WriteRunReport(job, report, error))
            err << "VORA report: written to " << job.directoryPath + job.reportFileName << "\n";
        else
            err << "VORA report: " << error << "\n";
    } catch (const std::bad_alloc&) {
        err << "VORA report: out of memory, no report written\n";
    }
}
