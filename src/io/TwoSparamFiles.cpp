#include "io/TwoSparamFiles.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "io/JobOutput.h"
#include "io/LineReader.h"
#include "io/RecordCountEstimate.h"
#include "io/TextSource.h"
#include "io/Touchstone.h"
#include "io/Touchstone2.h"
#include "job/VoraJob.h"

namespace {

// Token k of an option line, or empty text when the line is shorter.
std::string_view TokenOrEmpty(const TokenList& tokens, size_t k) { return k < tokens.size() ? tokens[k] : std::string_view(); }

// One of the two files and what its reading knows so far.
struct SFile {
    SFile(const std::string& fileName, const char* badLineText) : name(fileName), badLine(badLineText) {}

    const std::string& name;
    const char* badLine;
    TextSource source;
    std::string line;
    TokenList tokens;
    Touchstone2Header header;
    RecordLayout layout;
    int64_t E = 0;  // tokens of a record
    // No option line leaves the factor 0.0, so that the file's frequencies all read as 0 Hz:
    // intended, parent tools rely on it.
    double unitFactor = 0.0;
    bool bRecordRead = false;
    double lastFrequency = 0.0;  // of the record before, for the start of noise data
    int64_t records = 0;         // data records handed out
    bool bEnded = false;
    std::string failure;         // why the reading stopped, a line of its own before badLine
    std::vector<double> values;  // a record's values as the file gives them
};

// A version-1 two-port file may end with noise parameters: from the first record whose
// frequency is not above the one before it and whose line holds the five numbers of a
// noise record. The shape matters here as it does not in the other readers: this mode has
// always read records of falling frequencies as data, and parent tools may rely on it. The
// frequency is compared as written when the file has no unit, since every frequency of
// such a file is 0 Hz.
bool StartsNoiseData(const SFile& file, int64_t N, double& frequency)
{
    double written = 0.0;
    if (N != 2 || file.header.bVersion2 || !ParseDataNumber(file.tokens[0], written)) return false;
    frequency = file.unitFactor != 0.0 ? written * file.unitFactor : written;
    if (!file.bRecordRead || frequency > file.lastFrequency) return false;
    size_t onFirstLine = 1;
    while (onFirstLine < file.tokens.size() && file.tokens.LineOf(onFirstLine) == file.tokens.LineOf(0)) ++onFirstLine;
    return onFirstLine == 5;
}

// Reads the file's next record or option line into file.tokens, taking the keyword lines
// of version 2 on the way. 1: a record or option line, 0: end of data, -1: unreadable
// (the reason in file.failure, if any).
int NextRecord(SFile& file, int64_t N)
{
    for (;;) {
        const LineStatus status = ReadLogicalLine(file.source, CommentMode::Touchstone, nullptr, file.line, file.tokens, file.E);
        double frequency = 0.0;
        if (status == LineStatus::EndOfData || (!file.tokens.empty() && StartsNoiseData(file, N, frequency))) {
            file.bEnded = true;
            return 0;
        }
        if (status == LineStatus::Bad) return -1;
        if (file.tokens[0].front() != '[') {
            if (file.tokens[0] != "#") {
                file.bRecordRead = true;
                file.lastFrequency = frequency;
                ++file.records;
            }
            return 1;
        }
        const std::string_view content = std::string_view(file.line).substr(0, file.line.find('!'));
        std::string reason = ReadKeywordLine(file.source, content, file.header);
        if (!reason.empty())
            reason = ": " + reason;
        else if (file.header.portCount >= 0 && file.header.portCount != N)
            reason = " holds " + std::to_string(file.header.portCount) + " ports; the generalized mode reads " +
                     std::to_string(N) + "-port files";
        else if (file.header.bNetworkData && file.header.references.size() > 1 &&
                 file.header.references.size() != static_cast<size_t>(N))
            reason = " gives " + std::to_string(file.header.references.size()) + " references for " +
                     std::to_string(N) + " ports";
        if (!reason.empty()) {
            file.failure = "VORA:: " + file.name + reason + "\n";
            return -1;
        }
        MakeRecordLayout(file.header, N, file.layout);
        file.E = file.layout.valueCount + 1;
        if (file.header.bEnd) {
            file.bEnded = true;
            return 0;
        }
    }
}

// The frequency and values of a record whose every token is a number; false after logging
// the first that is not, and then the file's bad-line text.
bool ParseRecordNumbers(VoraJob& job, SFile& file, double& frequency)
{
    const TokenList& tokens = file.tokens;
    file.values.resize(tokens.size() - 1);
    for (size_t k = 0; k < tokens.size(); ++k) {
        if (!ParseDataNumber(tokens[k], k == 0 ? frequency : file.values[k - 1])) {
            job.logStream << "VORA:: Not a number in " << file.name << " line " << tokens.LineOf(k) << ": " << tokens[k]
                          << "\n"
                          << file.badLine;
            return false;
        }
    }
    return true;
}

// The record's values, in version 1's layout.
void StoreRecord(const SFile& file, double* row, size_t width)
{
    if (file.layout.target.empty()) {
        std::copy_n(file.values.begin(), width, row);
        return;
    }
    for (size_t p = 0; p < file.layout.target.size(); ++p)
        for (const int32_t to : {file.layout.target[p], file.layout.mirror[p]}) {
            if (to < 0) continue;
            row[2 * static_cast<size_t>(to)] = file.values[2 * p];
            row[2 * static_cast<size_t>(to) + 1] = file.values[2 * p + 1];
        }
}

// [Number of Frequencies] against the records of a file. The lock step stops at the end of
// the shorter file, so a file with a count still unchecked is first read on to its end
// (a line it cannot read there leaves the count unchecked, as the lock step would never
// have read it). Returns 0, or -1 after logging.
int32_t CheckFrequencyCount(VoraJob& job, SFile& file, int64_t N)
{
    if (file.header.frequencyCount < 0) return 0;
    while (!file.bEnded)
        if (NextRecord(file, N) < 0) return 0;
    if (file.header.frequencyCount == file.records) return 0;
    job.logStream << "VORA:: " << file.name << " holds " << file.records << " frequencies; [Number of Frequencies] says "
                  << file.header.frequencyCount << "\n"
                  << file.badLine;
    return -1;
}

// Both files record by record, side by side: the reading every job's result is defined by.
int32_t ReadInLockStep(VoraJob& job, SFile& file1, SFile& file2, int64_t N)
{
    const int64_t width = 2 * N * N;
    job.frequencyCount = 0;
    job.frequencies.clear();
    job.sFile1Values.Reset(width);
    job.sFile2Values.Reset(width);
    for (SFile* file : {&file1, &file2}) file->E = width + 1;

    for (;;) {
        bool bEnd = false;
        for (SFile* file : {&file1, &file2}) {
            const int got = NextRecord(*file, N);
            if (got < 0) {
                job.logStream << file->failure << file->badLine;
                return -1;
            }
            if (got == 0) {
                bEnd = true;
                break;
            }
        }
        if (bEnd) break;

        // Lock step: an option line of one file uses up whatever record the other file gives.
        const bool option1 = file1.tokens[0] == "#";
        const bool option2 = file2.tokens[0] == "#";
        if (option1) {
            file1.unitFactor = UnitFactorOfToken(TokenOrEmpty(file1.tokens, 1));
            job.sFile1Format = UpperCase(TokenOrEmpty(file1.tokens, 3));
        }
        if (option2) {
            file2.unitFactor = UnitFactorOfToken(TokenOrEmpty(file2.tokens, 1));
            job.sFile2Format = UpperCase(TokenOrEmpty(file2.tokens, 3));
        }
        if (option1 || option2) continue;

        // The same wording as the whole-structure reader: parent tools match this line.
        if (static_cast<int64_t>(file1.tokens.size()) != file1.E || static_cast<int64_t>(file2.tokens.size()) != file2.E) {
            job.logStream << "VORA:  Reading a frequency line of Whole S File error \n";
            return -1;
        }
        if (file1.E < 2 || file2.E < 2) {
            job.logStream << "VORA:  Readin WS each freq-s line error. \n";
            return -1;
        }
        // Every token of both records must be a number, file 1's before file 2's.
        double f1 = 0.0;
        double f2 = 0.0;
        if (!ParseRecordNumbers(job, file1, f1) || !ParseRecordNumbers(job, file2, f2)) return -1;
        f1 *= file1.unitFactor;
        f2 *= file2.unitFactor;
        if (!(f1 == f2)) {
            job.logStream << "VORA:  Reading S File frequency error \n";
            job.logStream << "The two S files should be with same frequency points. Difference exists at frequency id : "
                          << job.frequencyCount + 1 << "\n";
            return -1;
        }
        if (job.frequencyCount == 0) {
            // Sized from the file lengths once, so that the tables never move while they grow.
            const size_t expected1 = EstimateRecordCount(file1.name, RecordTextBytes(file1.tokens));
            const size_t expected2 = EstimateRecordCount(file2.name, RecordTextBytes(file2.tokens));
            job.frequencies.reserve(std::min(expected1, expected2));
            job.sFile1Values.Reserve(expected1);
            job.sFile2Values.Reserve(expected2);
        }
        job.frequencies.push_back(f1);
        StoreRecord(file1, job.sFile1Values.Append(), static_cast<size_t>(width));
        StoreRecord(file2, job.sFile2Values.Append(), static_cast<size_t>(width));
        ++job.frequencyCount;
    }

    if (static_cast<size_t>(job.frequencyCount) != job.frequencies.size()) {
        job.logStream << "VORA:  Readin WS each freq number error. \n";
        return -1;
    }
    if (CheckFrequencyCount(job, file1, N) != 0 || CheckFrequencyCount(job, file2, N) != 0) return -1;
    return 0;
}

}  // namespace

int32_t ReadTwoSparamFiles(VoraJob& job, const std::string& sFile1Name, const std::string& sFile2Name)
{
    SFile file1{sFile1Name, "VORA:  Reading a line of S File 1 error \n"};
    SFile file2{sFile2Name, "VORA:  Reading a line of S File 2 error \n"};
    for (SFile* file : {&file1, &file2}) {
        if (!file->source.Open(file->name)) {
            job.logStream << "VORA:: Could not find S parameter file: " << file->name << "\n";
            return -1;
        }
    }

    if (OpenJobOutput(job, {sFile1Name, sFile2Name}) != 0) return -1;
    *job.outputStream << "#\tHz\tS\tRI\tR\t50 \n";

    // 2·N² would overflow (and ask for unbounded records) long before a port count this large.
    const int64_t N = job.portCount;
    if (N < 0 || N > (int64_t{1} << 20)) {
        job.logStream << "VORA:: The port count " << N << " is out of range for the S parameter files.\n";
        return -1;
    }
    return ReadInLockStep(job, file1, file2, N);
}
