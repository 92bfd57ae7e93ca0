#include "io/WholeStructureFile.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "io/JobOutput.h"
#include "io/LineReader.h"
#include "io/MapFile.h"
#include "io/NumberParser.h"
#include "io/OutputFile.h"
#include "io/RecordConverter.h"
#include "io/RecordCountEstimate.h"
#include "io/TextSource.h"
#include "io/Touchstone.h"
#include "job/VoraJob.h"

namespace {

// A Touchstone file without a reference resistance leaves every port at this value, which
// no arm file's R can match.
constexpr double kResistanceNotGiven = -10.0;

// Every port of the whole structure gets R, and every group port the R of its port.
int32_t DistributePortResistance(VoraJob& job, double R)
{
    job.portResistances.assign(static_cast<size_t>(job.portCount), R);
    for (CalibrationGroup& group : job.calibrationGroups) {
        if (group.portCount < 0 || group.ports.size() < static_cast<size_t>(group.portCount)) {
            job.logStream << "VORA:: ARM structure Readin Wrong\n";
            return -1;
        }
        group.portResistances.resize(static_cast<size_t>(group.portCount));
        for (size_t i = 0; i < group.portResistances.size(); ++i) {
            const int32_t port = group.ports[i];
            if (port < 1 || port > job.portCount) {
                job.logStream << "VORA:: ARM structure Readin Wrong\n";
                return -1;
            }
            group.portResistances[i] = job.portResistances[static_cast<size_t>(port - 1)];
        }
    }
    return 0;
}

// The reference resistance of an option line: the number after the first "R" token that
// gives a value of 0 or more (-10.0 when there is none); token 1 sets the unit factor.
double ReadOptionLine(VoraJob& job, const TokenList& tokens)
{
    double R = kResistanceNotGiven;
    for (size_t k = 0; k < tokens.size(); ++k) {
        if (k == 1) job.freqUnitFactor = FrequencyUnitFactor(tokens[1]);
        if (tokens[k] == "R" || tokens[k] == "r") {
            R = ParseNumber(k + 1 < tokens.size() ? tokens[k + 1] : std::string_view());
            if (R >= 0) break;
        }
    }
    return R;
}

}  // namespace

int32_t ReadWholeStructureFile(VoraJob& job)
{
    TextSource input;
    if (!input.Open(job.wholeStructureFilePath)) {
        job.logStream << "VORA:: Could not find whole structure file" << job.wholeStructureFilePath << "\n";
        return -1;
    }
    std::vector<std::string> inputs{job.mapFilePath, job.wholeStructureFilePath};
    for (const CalibrationGroup& group : job.calibrationGroups) {
        inputs.push_back(group.armFile1Path);
        inputs.push_back(group.armFile2Path);
    }
    if (OpenJobOutput(job, inputs) != 0) return -1;

    const int64_t N = job.portCount;
    if (N < 0 || N > kMaxPortCount) {
        job.logStream << "VORA:: Nport w, t, l, s Readin Wrong\n";
        return -1;
    }
    const int64_t E = 2 * N * N + 1;
    job.frequencyCount = 0;
    job.frequencies.clear();
    job.wholeValues.Reset(E - 1);

    bool bOptionLineRead = false;
    // The values of each record are converted by a helper thread while the next is read;
    // it has caught up before anything is logged or the step returns.
    // About twenty characters per value, as a first guess at a record's text.
    RecordConverter converter(job.wholeValues, static_cast<size_t>(std::min<int64_t>(E, int64_t{1} << 40)) * 20,
                              FileBytes(job.wholeStructureFilePath));
    const char* error = nullptr;
    for (;;) {
        RecordSlot& slot = converter.Slot();
        const TokenList& tokens = slot.tokens;
        // Comment lines and the option line are copied into the output as its header.
        const LineStatus status =
            ReadLogicalLine(input, CommentMode::Touchstone, job.outputStream.get(), slot.line, slot.tokens, E);
        if (status == LineStatus::EndOfData) break;
        if (status == LineStatus::Bad) {
            error = "VORA:  Reading a line of Whole S File error \n";
            break;
        }

        if (!tokens.empty() && tokens[0] == "#") {
            converter.CatchUp();
            const double R = ReadOptionLine(job, tokens);
            if (DistributePortResistance(job, R) != 0) return -1;
            bOptionLineRead = true;
            job.outputStream->flush();
            continue;
        }

        if (static_cast<int64_t>(tokens.size()) != E) {
            error = "VORA:  Reading a frequency line of Whole S File error \n";
            break;
        }
        if (E < 2) {
            error = "VORA:  Readin WS each freq-s line error. \n";
            break;
        }
        if (job.frequencyCount == std::numeric_limits<int32_t>::max()) {
            error = "VORA:  Readin WS each freq number error. \n";
            break;
        }
        if (job.frequencyCount == 0) {
            const size_t expected = EstimateRecordCount(job.wholeStructureFilePath, RecordTextBytes(tokens));
            job.frequencies.reserve(expected);
            job.wholeValues.Reserve(expected);
        }
        job.frequencies.push_back(ParseNumber(tokens[0]) * job.freqUnitFactor);
        converter.Commit();
        ++job.frequencyCount;
    }
    converter.Finish();
    if (error != nullptr) {
        job.logStream << error;
        return -1;
    }
    // A file without an option line reads like one whose option line names no R.
    if (!bOptionLineRead && DistributePortResistance(job, kResistanceNotGiven) != 0) return -1;

    if (static_cast<size_t>(job.frequencyCount) != job.frequencies.size()) {
        job.logStream << "VORA:  Readin WS each freq number error. \n";
        return -1;
    }
    input.Close();
    return 0;
}
