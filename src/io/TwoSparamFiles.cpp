#include "io/TwoSparamFiles.h"

#include <algorithm>
#include <string_view>

#include "io/LineReader.h"
#include "io/NumberParser.h"
#include "io/RecordCountEstimate.h"
#include "io/RecordReadAhead.h"
#include "io/Touchstone.h"
#include "job/VoraJob.h"

namespace {

// Token k of an option line, or empty text when the line is shorter.
std::string_view TokenOrEmpty(const TokenList& tokens, size_t k) { return k < tokens.size() ? tokens[k] : std::string_view(); }

// Reads the next record of one file. 1: a record, 0: end of data, -1: bad line (logged).
int ReadRecord(TextSource& source, std::string& line, TokenList& tokens, int64_t expectedCount, VoraJob& job,
               const char* badLineMessage)
{
    switch (ReadLogicalLine(source, CommentMode::Touchstone, nullptr, line, tokens, expectedCount)) {
    case LineStatus::Line: return 1;
    case LineStatus::EndOfData: return 0;
    case LineStatus::Bad: break;
    }
    job.logStream << badLineMessage;
    return -1;
}

}  // namespace

int32_t ReadTwoSparamFiles(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name)
{
    TextSource file1;
    TextSource file2;
    if (!file1.Open(sFile1Name)) {
        job.logStream << "VORA:: Could not find S parameter file: " << sFile1Name << "\n";
        return -1;
    }
    if (!file2.Open(sFile2Name)) {
        job.logStream << "VORA:: Could not find S parameter file: " << sFile2Name << "\n";
        return -1;
    }

    if (!job.outputStream || !job.outputStream->IsOpen()) {
        job.outputStream = std::make_unique<OutputFile>();
        if (!job.outputStream->Open(job.outputFilePath)) {
            job.logStream << "VORA:: Could not generate output file " << job.outputFilePath << "\n";
            return -1;
        }
    }
    OutputFile& out = *job.outputStream;
    out << "#\tHz\tS\tRI\tR\t50 \n";

    // 2·N² would overflow (and ask for unbounded records) long before a port count this large.
    const int64_t N = job.portCount;
    if (N < 0 || N > (int64_t{1} << 20)) {
        job.logStream << "VORA:: The port count " << N << " is out of range for the S parameter files.\n";
        return -1;
    }
    const int64_t E = 2 * N * N + 1;
    job.frequencyCount = 0;
    job.frequencies.clear();
    job.sFile1Values.Reset(E - 1);
    job.sFile2Values.Reset(E - 1);
    // No option line leaves the factor 0.0, so that file's frequencies all read as 0 Hz:
    // intended, parent tools rely on it.
    double unitFactor1 = 0.0;
    double unitFactor2 = 0.0;

    std::string line1;
    TokenList tokens1;
    // The second file is read and converted by a helper thread in step with this loop.
    RecordReadAhead file2Lines(file2, E, FileBytes(sFile2Name));
    for (;;) {
        const int got1 = ReadRecord(file1, line1, tokens1, E, job, "VORA:  Reading a line of S File 1 error \n");
        if (got1 < 0) return -1;
        if (got1 == 0) break;
        const AheadLine& record2 = file2Lines.Next();
        if (record2.status == LineStatus::Bad) {
            job.logStream << "VORA:  Reading a line of S File 2 error \n";
            return -1;
        }
        if (record2.status == LineStatus::EndOfData) break;

        // Lock step: an option line of one file uses up whatever record the other file gives.
        const bool option1 = tokens1[0] == "#";
        const bool option2 = record2.option;
        if (option1) {
            unitFactor1 = FrequencyUnitFactor(TokenOrEmpty(tokens1, 1));
            job.sFile1Format.assign(TokenOrEmpty(tokens1, 3));
        }
        if (option2) {
            unitFactor2 = FrequencyUnitFactor(record2.unit);
            job.sFile2Format.assign(record2.format);
        }
        if (option1 || option2) continue;

        // The same wording as the whole-structure reader: parent tools match this line.
        if (static_cast<int64_t>(tokens1.size()) != E || static_cast<int64_t>(record2.tokenCount) != E) {
            job.logStream << "VORA:  Reading a frequency line of Whole S File error \n";
            return -1;
        }
        if (E < 2) {
            job.logStream << "VORA:  Readin WS each freq-s line error. \n";
            return -1;
        }
        const double f1 = ParseNumber(tokens1[0]) * unitFactor1;
        const double f2 = record2.numbers[0] * unitFactor2;
        if (!(f1 == f2)) {
            job.logStream << "VORA:  Reading S File frequency error \n";
            job.logStream << "The two S files should be with same frequency points. Difference exists at frequency id : "
                          << job.frequencyCount + 1 << "\n";
            return -1;
        }
        if (job.frequencyCount == 0) {
            // Sized from the file lengths once, so that the tables never move while they grow.
            const size_t expected1 = EstimateRecordCount(sFile1Name, RecordTextBytes(tokens1));
            const size_t expected2 = EstimateRecordCount(sFile2Name, record2.textBytes);
            job.frequencies.reserve(std::min(expected1, expected2));
            job.sFile1Values.Reserve(expected1);
            job.sFile2Values.Reserve(expected2);
        }
        job.frequencies.push_back(f1);
        double* values1 = job.sFile1Values.Append();
        double* values2 = job.sFile2Values.Append();
        for (int64_t k = 1; k < E; ++k) values1[k - 1] = ParseNumber(tokens1[static_cast<size_t>(k)]);
        std::copy(record2.numbers.begin() + 1, record2.numbers.end(), values2);
        ++job.frequencyCount;
    }

    if (static_cast<size_t>(job.frequencyCount) != job.frequencies.size()) {
        job.logStream << "VORA:  Readin WS each freq number error. \n";
        return -1;
    }
    return 0;
}
