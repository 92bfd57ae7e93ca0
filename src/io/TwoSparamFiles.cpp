#include "io/TwoSparamFiles.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "io/JobOutput.h"
#include "io/LineReader.h"
#include "io/RecordCountEstimate.h"
#include "io/Touchstone.h"
#include "io/TwoFilesApart.h"
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

// The frequency of a record whose every token is a number; false after logging the first
// that is not, and then the file's bad-line text.
bool ParseRecordNumbers(VoraJob& job, const std::string& name, const TokenList& tokens, double& frequency,
                        const char* badLine)
{
    double value = 0.0;
    for (size_t k = 0; k < tokens.size(); ++k) {
        if (!ParseDataNumber(tokens[k], k == 0 ? frequency : value)) {
            job.logStream << "VORA:: Not a number in " << name << " line " << tokens.LineOf(k) << ": " << tokens[k]
                          << "\n"
                          << badLine;
            return false;
        }
    }
    return true;
}

// Both files record by record, side by side: the reading every job's result is defined by.
int32_t ReadInLockStep(VoraJob& job, TextSource& file1, const std::string& sFile1Name, TextSource& file2,
                       const std::string& sFile2Name, int64_t E)
{
    job.frequencyCount = 0;
    job.frequencies.clear();
    job.sFile1Values.Reset(E - 1);
    job.sFile2Values.Reset(E - 1);
    // No option line leaves the factor 0.0, so that file's frequencies all read as 0 Hz:
    // intended, parent tools rely on it.
    double unitFactor1 = 0.0;
    double unitFactor2 = 0.0;

    std::string line1;
    std::string line2;
    TokenList tokens1;
    TokenList tokens2;
    for (;;) {
        const int got1 = ReadRecord(file1, line1, tokens1, E, job, "VORA:  Reading a line of S File 1 error \n");
        if (got1 < 0) return -1;
        if (got1 == 0) break;
        const int got2 = ReadRecord(file2, line2, tokens2, E, job, "VORA:  Reading a line of S File 2 error \n");
        if (got2 < 0) return -1;
        if (got2 == 0) break;

        // Lock step: an option line of one file uses up whatever record the other file gives.
        const bool option1 = tokens1[0] == "#";
        const bool option2 = tokens2[0] == "#";
        if (option1) {
            unitFactor1 = UnitFactorOfToken(TokenOrEmpty(tokens1, 1));
            job.sFile1Format = UpperCase(TokenOrEmpty(tokens1, 3));
        }
        if (option2) {
            unitFactor2 = UnitFactorOfToken(TokenOrEmpty(tokens2, 1));
            job.sFile2Format = UpperCase(TokenOrEmpty(tokens2, 3));
        }
        if (option1 || option2) continue;

        // The same wording as the whole-structure reader: parent tools match this line.
        if (static_cast<int64_t>(tokens1.size()) != E || static_cast<int64_t>(tokens2.size()) != E) {
            job.logStream << "VORA:  Reading a frequency line of Whole S File error \n";
            return -1;
        }
        if (E < 2) {
            job.logStream << "VORA:  Readin WS each freq-s line error. \n";
            return -1;
        }
        // Every token of both records must be a number, file 1's before file 2's.
        double f1 = 0.0;
        double f2 = 0.0;
        if (!ParseRecordNumbers(job, sFile1Name, tokens1, f1, "VORA:  Reading a line of S File 1 error \n") ||
            !ParseRecordNumbers(job, sFile2Name, tokens2, f2, "VORA:  Reading a line of S File 2 error \n"))
            return -1;
        f1 *= unitFactor1;
        f2 *= unitFactor2;
        if (!(f1 == f2)) {
            job.logStream << "VORA:  Reading S File frequency error \n";
            job.logStream << "The two S files should be with same frequency points. Difference exists at frequency id : "
                          << job.frequencyCount + 1 << "\n";
            return -1;
        }
        if (job.frequencyCount == 0) {
            // Sized from the file lengths once, so that the tables never move while they grow.
            const size_t expected1 = EstimateRecordCount(sFile1Name, RecordTextBytes(tokens1));
            const size_t expected2 = EstimateRecordCount(sFile2Name, RecordTextBytes(tokens2));
            job.frequencies.reserve(std::min(expected1, expected2));
            job.sFile1Values.Reserve(expected1);
            job.sFile2Values.Reserve(expected2);
        }
        job.frequencies.push_back(f1);
        double* values1 = job.sFile1Values.Append();
        double* values2 = job.sFile2Values.Append();
        for (int64_t k = 1; k < E; ++k) static_cast<void>(ParseDataNumber(tokens1[static_cast<size_t>(k)], values1[k - 1]));
        for (int64_t k = 1; k < E; ++k) static_cast<void>(ParseDataNumber(tokens2[static_cast<size_t>(k)], values2[k - 1]));
        ++job.frequencyCount;
    }

    if (static_cast<size_t>(job.frequencyCount) != job.frequencies.size()) {
        job.logStream << "VORA:  Readin WS each freq number error. \n";
        return -1;
    }
    return 0;
}

// Opens both files from their start; false after logging the first that cannot be opened.
bool OpenBoth(VoraJob& job, TextSource& file1, const std::string& sFile1Name, TextSource& file2,
              const std::string& sFile2Name)
{
    for (auto [file, name] : {std::pair{&file1, &sFile1Name}, std::pair{&file2, &sFile2Name}}) {
        if (!file->Open(*name)) {
            job.logStream << "VORA:: Could not find S parameter file: " << *name << "\n";
            return false;
        }
    }
    return true;
}

int32_t ReadTwoFiles(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name, bool apartFirst)
{
    TextSource file1;
    TextSource file2;
    if (!OpenBoth(job, file1, sFile1Name, file2, sFile2Name)) return -1;

    if (OpenJobOutput(job, {sFile1Name, sFile2Name}) != 0) return -1;
    OutputFile& out = *job.outputStream;
    out << "#\tHz\tS\tRI\tR\t50 \n";

    // 2·N² would overflow (and ask for unbounded records) long before a port count this large.
    const int64_t N = job.portCount;
    if (N < 0 || N > (int64_t{1} << 20)) {
        job.logStream << "VORA:: The port count " << N << " is out of range for the S parameter files.\n";
        return -1;
    }
    const int64_t E = 2 * N * N + 1;

    // Files that are not plain files (a pipe) could not be read a second time.
    if (apartFirst && E >= 2 && FileBytes(sFile1Name) > 0 && FileBytes(sFile2Name) > 0) {
        if (ReadTwoFilesApart(job, file1, sFile1Name, file2, sFile2Name, E)) return 0;
        // The files hold something only the lock-step loop reproduces: it reads them again
        // from their start, without the values read so far taking room meanwhile.
        job.sFile1Values.Release();
        job.sFile2Values.Release();
        std::vector<double>().swap(job.frequencies);
        if (!OpenBoth(job, file1, sFile1Name, file2, sFile2Name)) return -1;
    }
    return ReadInLockStep(job, file1, sFile1Name, file2, sFile2Name, E);
}

}  // namespace

int32_t ReadTwoSparamFiles(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name)
{
    return ReadTwoFiles(job, sFile1Name, sFile2Name, true);
}

int32_t ReadTwoSparamFilesInLockStep(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name)
{
    return ReadTwoFiles(job, sFile1Name, sFile2Name, false);
}
