#include "io/WholeStructureFile.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "io/LineReader.h"
#include "io/MapFile.h"
#include "io/OutputFile.h"
#include "io/RecordConverter.h"
#include "io/RecordCountEstimate.h"
#include "io/TextSource.h"
#include "io/Touchstone.h"
#include "job/VoraJob.h"
#include "numerics/Dcm.h"
#include "numerics/NetworkConversions.h"

namespace {

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

// Replaces Y or Z records (normalised, as version 1 writes them) by S in place.
void ConvertToS(VoraJob& job, char parameter)
{
    const auto n = static_cast<int32_t>(job.portCount);
    dcm E(n), M(n), P(n), T(n), S(n), given(n);
    const ConversionScratch work{E.data, M.data, P.data, T.data};
    const size_t count = S.Size();
    for (size_t k = 0; k < static_cast<size_t>(job.frequencyCount); ++k) {
        double* record = job.wholeValues.Record(k);
        for (size_t i = 0; i < count; ++i) given.data[i] = Complex(record[2 * i], record[2 * i + 1]);
        if (parameter == 'Z')
            SFromNormalizedZ(n, given.data, S.data, work);
        else
            SFromNormalizedY(n, given.data, S.data, work);
        for (size_t i = 0; i < count; ++i) {
            record[2 * i] = S.data[i].real();
            record[2 * i + 1] = S.data[i].imag();
        }
    }
}

// "VORA:: Not a number in <file> line <n>: <token>"
void LogNotANumber(VoraJob& job, int64_t line, std::string_view token)
{
    job.logStream << "VORA:: Not a number in " << job.wholeStructureFilePath << " line " << line << ": " << token
                  << "\n";
}

}  // namespace

int32_t ReadWholeStructureFile(VoraJob& job)
{
    TextSource input;
    if (!input.Open(job.wholeStructureFilePath)) {
        job.logStream << "VORA:: Could not find whole structure file" << job.wholeStructureFilePath << "\n";
        return -1;
    }
    if (!job.outputStream) job.outputStream = std::make_unique<OutputFile>();
    if (!job.outputStream->IsOpen() && !job.outputStream->Open(job.outputFilePath)) {
        job.logStream << "VORA:: Could not generate output file " << job.outputFilePath << "\n";
        return -1;
    }

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
    TouchstoneOptions options;
    // The values of each record are converted by a helper thread while the next is read;
    // it has caught up before anything is logged or the step returns.
    // About twenty characters per value, as a first guess at a record's text.
    RecordConverter converter(job.wholeValues, static_cast<size_t>(std::min<int64_t>(E, int64_t{1} << 40)) * 20,
                              FileBytes(job.wholeStructureFilePath));
    converter.SetFormat(options.format);
    const char* const badLine = "VORA:  Reading a line of Whole S File error \n";
    const char* error = nullptr;
    for (;;) {
        RecordSlot& slot = converter.Slot();
        const TokenList& tokens = slot.tokens;
        // Comment lines are copied into the output as its header.
        const LineStatus status =
            ReadLogicalLine(input, CommentMode::Touchstone, job.outputStream.get(), slot.line, slot.tokens, E);
        if (status == LineStatus::EndOfData) break;
        if (status == LineStatus::Bad) {
            error = badLine;
            break;
        }

        if (!tokens.empty() && tokens[0] == "#") {
            converter.CatchUp();
            if (converter.FirstBadNumber().record >= 0) break;
            options = ReadOptionTokens(tokens);
            if (options.parameter != 'S' && options.parameter != 'Y' && options.parameter != 'Z') {
                job.logStream << "VORA:: Whole structure file holds " << options.parameter
                              << " parameters; S, Y or Z are read\n";
                return -1;
            }
            job.freqUnitFactor = options.unitFactor;
            converter.SetFormat(options.format);
            if (DistributePortResistance(job, options.resistance) != 0) return -1;
            // The output holds S as real and imaginary parts: an option line that says
            // otherwise is written so that it says so.
            if (options.parameter == 'S' && options.format == ValueFormat::RealImaginary)
                *job.outputStream << slot.line << '\n';
            else
                *job.outputStream << "# " << options.unitToken << " S RI R " << options.resistanceToken << '\n';
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
        double frequency = 0.0;
        if (!ParseDataNumber(tokens[0], frequency)) {
            converter.Finish();
            if (converter.FirstBadNumber().record < 0) {
                LogNotANumber(job, tokens.LineOf(0), tokens[0]);
                job.logStream << badLine;
                return -1;
            }
            break;
        }
        if (job.frequencyCount == 0) {
            const size_t expected = EstimateRecordCount(job.wholeStructureFilePath, RecordTextBytes(tokens));
            job.frequencies.reserve(expected);
            job.wholeValues.Reserve(expected);
        }
        job.frequencies.push_back(frequency * job.freqUnitFactor);
        converter.Commit();
        ++job.frequencyCount;
    }
    converter.Finish();
    // A value that is not a number comes before whatever ended the reading.
    if (const BadNumber bad = converter.FirstBadNumber(); bad.record >= 0) {
        LogNotANumber(job, bad.line, bad.text);
        job.logStream << badLine;
        return -1;
    }
    if (error != nullptr) {
        job.logStream << error;
        return -1;
    }
    // A file without an option line reads with Touchstone's defaults; the output then says
    // what its records hold, when it has any.
    if (!bOptionLineRead && job.frequencyCount > 0) {
        job.freqUnitFactor = options.unitFactor;
        for (double& f : job.frequencies) f *= job.freqUnitFactor;
        *job.outputStream << "# " << options.unitToken << " S RI R " << options.resistanceToken << '\n';
    }
    if (!bOptionLineRead && DistributePortResistance(job, options.resistance) != 0) return -1;

    if (static_cast<size_t>(job.frequencyCount) != job.frequencies.size()) {
        job.logStream << "VORA:  Readin WS each freq number error. \n";
        return -1;
    }
    if (options.parameter != 'S') ConvertToS(job, options.parameter);
    input.Close();
    return 0;
}
