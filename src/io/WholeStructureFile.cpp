#include "io/WholeStructureFile.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "io/JobOutput.h"
#include "io/LineReader.h"
#include "io/MapFile.h"
#include "io/OutputFile.h"
#include "io/RecordCountEstimate.h"
#include "io/TextSource.h"
#include "io/TokenList.h"
#include "io/Touchstone.h"
#include "io/Touchstone2.h"
#include "job/VoraJob.h"
#include "numerics/Dcm.h"
#include "numerics/NetworkConversions.h"

namespace {

// Every port of the whole structure gets its R, and every group port the R of its port.
int32_t DistributePortResistances(VoraJob& job, const std::vector<double>& R)
{
    job.portResistances = R;
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

int32_t DistributePortResistance(VoraJob& job, double R)
{
    return DistributePortResistances(job, std::vector<double>(static_cast<size_t>(job.portCount), R));
}

// Replaces Y or Z records by S in place. Version 1 gives them normalised to the reference;
// version 2 does not (bNormalise), and they are normalised to the ports' references first.
void ConvertToS(VoraJob& job, char parameter, bool bNormalise)
{
    // Work matrices of a declared port count that no record backs would claim memory for nothing.
    if (job.frequencyCount <= 0) return;
    const auto n = static_cast<int32_t>(job.portCount);
    dcm E(n), M(n), P(n), T(n), S(n), given(n);
    const ConversionScratch work{E.data, M.data, P.data, T.data};
    const size_t count = S.Size();
    for (size_t k = 0; k < static_cast<size_t>(job.frequencyCount); ++k) {
        double* record = job.wholeValues.Record(k);
        for (size_t i = 0; i < count; ++i) given.data[i] = Complex(record[2 * i], record[2 * i + 1]);
        if (bNormalise) {
            // z = Z / sqrt(Ri Rj), y = Y · sqrt(Ri Rj)
            for (int32_t i = 0; i < n; ++i)
                for (int32_t j = 0; j < n; ++j) {
                    const double root = std::sqrt(job.portResistances[static_cast<size_t>(i)] *
                                                  job.portResistances[static_cast<size_t>(j)]);
                    given(i, j) = parameter == 'Z' ? given(i, j) / root : given(i, j) * root;
                }
        }
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

// The option line of the output: the input's when it states S and RI, else one that says
// what the output holds.
void WriteOutputOptionLine(VoraJob& job, const TouchstoneOptions& options, const std::string& line, double R)
{
    if (options.parameter == 'S' && options.format == ValueFormat::RealImaginary && !line.empty()) {
        *job.outputStream << line << '\n';
        return;
    }
    *job.outputStream << "# " << options.unitToken << " S RI R ";
    if (line.empty() || R != options.resistance) {
        std::ostringstream number;
        number << R;
        *job.outputStream << number.str() << '\n';
    } else {
        *job.outputStream << options.resistanceToken << '\n';
    }
}

// The header of a version-2 output, for references that differ per port (which version 1
// cannot state). Its two-port records keep version 1's order, hence 21_12.
void WriteVersion2Header(VoraJob& job, const TouchstoneOptions& options)
{
    std::ostringstream header;
    header << "[Version] 2.0\n# " << options.unitToken << " S RI R " << job.portResistances[0] << "\n[Number of Ports] "
           << job.portCount << "\n";
    if (job.portCount == 2) header << "[Two-Port Data Order] 21_12\n";
    header << "[Number of Frequencies] " << job.frequencyCount << "\n[Reference]";
    for (double R : job.portResistances) header << ' ' << R;
    header << "\n[Network Data]\n";
    *job.outputStream << header.str();
    job.bOutputVersion2 = 1;
}

// The first token of a record that is not a number.
struct BadNumber {
    bool bFound = false;
    int64_t line = 0;  // in the file, 1-based
    std::string text;
};

// The values of a data record (tokens after the frequency) into its row, as real and
// imaginary parts; with a layout, each pair goes to its place in the full matrix (and its
// mirror). A token that is not a number reads as 0, and the first one is kept in `bad`.
void ConvertRecord(const TokenList& tokens, double* row, size_t width, ValueFormat format, const RecordLayout& layout,
                   BadNumber& bad)
{
    const auto parse = [&](size_t k) {
        double value = 0.0;
        if (!ParseDataNumber(tokens[k + 1], value) && !bad.bFound)
            bad = {true, tokens.LineOf(k + 1), std::string(tokens[k + 1])};
        return value;
    };
    if (layout.target.empty()) {
        for (size_t k = 0; k < width; ++k) row[k] = parse(k);
        if (format == ValueFormat::RealImaginary) return;
        for (size_t k = 0; k + 1 < width; k += 2) ToRealImaginary(format, row[k], row[k + 1]);
        return;
    }
    const auto valueCount = static_cast<size_t>(layout.valueCount);
    for (size_t k = 0; k + 1 < valueCount; k += 2) {
        double a = parse(k), b = parse(k + 1);
        ToRealImaginary(format, a, b);
        const size_t pair = k / 2;
        const auto at = static_cast<size_t>(layout.target[pair]) * 2;
        row[at] = a;
        row[at + 1] = b;
        if (layout.mirror[pair] >= 0) {
            const auto mirrored = static_cast<size_t>(layout.mirror[pair]) * 2;
            row[mirrored] = a;
            row[mirrored + 1] = b;
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
    int64_t E = 2 * N * N + 1;
    job.frequencyCount = 0;
    job.frequencies.clear();
    job.wholeValues.Reset(E - 1);

    bool bOptionLineRead = false;
    bool bOptionLineWritten = false;
    TouchstoneOptions options;
    std::string optionLine;  // as read, comment and all
    Touchstone2Header header;
    RecordLayout layout;
    std::string line;
    TokenList tokens;
    // A value that is not a number ends the reading: it is what the run reports, whatever
    // would have come after it.
    BadNumber bad;
    const char* const badLine = "VORA:  Reading a line of Whole S File error \n";
    const char* error = nullptr;
    std::string failure;  // a line of its own before the bad-line text
    // A version-2 file states its references after the option line: the output's option
    // line waits for the data.
    const auto writeOptionLine = [&] {
        if (bOptionLineWritten) return;
        bOptionLineWritten = true;
        WriteOutputOptionLine(job, options, header.references.empty() ? optionLine : std::string(),
                              job.portResistances.empty() ? options.resistance : job.portResistances[0]);
        job.outputStream->flush();
    };
    const auto differsPerPort = [&] {
        return std::adjacent_find(job.portResistances.begin(), job.portResistances.end(), std::not_equal_to<>()) !=
               job.portResistances.end();
    };
    for (;;) {
        // Comment lines are copied into the output as its header.
        const LineStatus status =
            ReadLogicalLine(input, CommentMode::Touchstone, job.outputStream.get(), line, tokens, E);
        if (status == LineStatus::EndOfData) break;
        // A version-1 two-port file may end with noise parameters: they start with the first
        // record whose frequency is not above the one before it, and are read past.
        if (N == 2 && !header.bVersion2 && job.frequencyCount > 0 && !tokens.empty()) {
            double f = 0.0;
            if (ParseDataNumber(tokens[0], f) && f * job.freqUnitFactor <= job.frequencies.back()) break;
        }
        if (status == LineStatus::Bad) {
            error = badLine;
            break;
        }

        if (!tokens.empty() && tokens[0] == "#") {
            options = ReadOptionTokens(tokens);
            if (options.parameter != 'S' && options.parameter != 'Y' && options.parameter != 'Z') {
                job.logStream << "VORA:: Whole structure file holds " << options.parameter
                              << " parameters; S, Y or Z are read\n";
                return -1;
            }
            job.freqUnitFactor = options.unitFactor;
            if (DistributePortResistance(job, options.resistance) != 0) return -1;
            bOptionLineRead = true;
            optionLine = line;
            bOptionLineWritten = false;
            if (!header.bVersion2) writeOptionLine();
            continue;
        }
        if (!tokens.empty() && tokens[0].front() == '[') {
            const std::string_view keywordLine = std::string_view(line).substr(0, line.find('!'));
            const std::string reason = ReadKeywordLine(input, keywordLine, header);
            if (!reason.empty()) {
                failure = "VORA:: " + job.wholeStructureFilePath + ": " + reason + "\n";
                error = badLine;
                break;
            }
            if (header.portCount >= 0 && header.portCount != N) {
                failure = "VORA:: " + job.wholeStructureFilePath + " holds " + std::to_string(header.portCount) +
                          " ports; the job has " + std::to_string(N) + "\n";
                error = badLine;
                break;
            }
            MakeRecordLayout(header, N, layout);
            E = layout.valueCount + 1;
            if (header.bNetworkData) {
                std::vector<double> R;
                if (!PortReferences(header, N, options.resistance, R)) {
                    failure = "VORA:: " + job.wholeStructureFilePath + " gives " +
                              std::to_string(header.references.size()) + " references for " + std::to_string(N) +
                              " ports\n";
                    error = badLine;
                    break;
                }
                if (DistributePortResistances(job, R) != 0) return -1;
                if (!differsPerPort()) writeOptionLine();
            }
            if (header.bEnd) break;
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
            LogNotANumber(job, tokens.LineOf(0), tokens[0]);
            job.logStream << badLine;
            return -1;
        }
        if (job.frequencyCount == 0) {
            const size_t expected = EstimateRecordCount(job.wholeStructureFilePath, RecordTextBytes(tokens));
            job.frequencies.reserve(expected);
            job.wholeValues.Reserve(expected);
        }
        job.frequencies.push_back(frequency * job.freqUnitFactor);
        ConvertRecord(tokens, job.wholeValues.Append(), static_cast<size_t>(job.wholeValues.width()), options.format,
                      layout, bad);
        ++job.frequencyCount;
        if (bad.bFound) break;
    }
    if (bad.bFound) {
        LogNotANumber(job, bad.line, bad.text);
        job.logStream << badLine;
        return -1;
    }
    if (error == nullptr && header.frequencyCount >= 0 && header.frequencyCount != job.frequencyCount) {
        failure = "VORA:: " + job.wholeStructureFilePath + " holds " + std::to_string(job.frequencyCount) +
                  " frequencies; [Number of Frequencies] says " + std::to_string(header.frequencyCount) + "\n";
        error = badLine;
    }
    if (error != nullptr) {
        job.logStream << failure << error;
        return -1;
    }
    // A file without an option line reads with Touchstone's defaults; the output then says
    // what its records hold, when it has any.
    if (!bOptionLineRead && job.frequencyCount > 0) {
        job.freqUnitFactor = options.unitFactor;
        for (double& f : job.frequencies) f *= job.freqUnitFactor;
    }
    if (!bOptionLineRead && DistributePortResistance(job, options.resistance) != 0) return -1;
    if (header.bVersion2 && differsPerPort() && !bOptionLineWritten) {
        bOptionLineWritten = true;
        WriteVersion2Header(job, options);
    }
    if ((bOptionLineRead || job.frequencyCount > 0) && !bOptionLineWritten) writeOptionLine();

    if (static_cast<size_t>(job.frequencyCount) != job.frequencies.size()) {
        job.logStream << "VORA:  Readin WS each freq number error. \n";
        return -1;
    }
    if (options.parameter != 'S') ConvertToS(job, options.parameter, header.bVersion2);
    input.Close();
    return 0;
}
