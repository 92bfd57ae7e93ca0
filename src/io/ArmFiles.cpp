#include "io/ArmFiles.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cmath>
#include <exception>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "io/FrequencySearch.h"
#include "io/LineReader.h"
#include "io/NumberParser.h"
#include "io/NvplTables.h"
#include "io/RecordCountEstimate.h"
#include "io/TextSource.h"
#include "io/Touchstone.h"
#include "io/Touchstone2.h"
#include "job/Switches.h"
#include "job/VoraJob.h"
#include "numerics/NetworkConversions.h"
#include "parallel/WorkerProcess.h"

namespace {

// What a port's reference resistance reads as when no file gave one.
constexpr double kResistanceNotGiven = -10.0;
// An open frequency is common with a short frequency closer than this (Hz).
constexpr double kCommonFrequencyTolerance = 0.1;
// A whole-structure frequency matches an arm frequency this close (Hz).
constexpr double kCoverageTolerance = 0.01;

bool IsLetter(std::string_view token, char upper)
{
    return token.size() == 1 && (token[0] == upper || token[0] == upper - 'A' + 'a');
}

std::string_view TokenAfter(const TokenList& tokens, size_t k)
{
    return k + 1 < tokens.size() ? tokens[k + 1] : std::string_view();
}

double WholeResistanceOfFirstPort(const CalibrationGroup& group)
{
    const VoraJob& job = *group.job;
    return job.portResistances.empty() ? kResistanceNotGiven : job.portResistances[0];
}

bool DiffersFromWholeResistance(const CalibrationGroup& group, double R)
{
    return std::fabs(R - WholeResistanceOfFirstPort(group)) > R * 1e-6;
}

int32_t Fail(CalibrationGroup& group, const char* text)
{
    *group.logStream << text;
    return -1;
}

// mask[p] is set when value position p is kept: p or p - 1 is one of the positions.
std::vector<uint8_t> KeepMask(int64_t valueCount, const std::vector<int32_t>& positions,
                              const std::vector<int32_t>& morePositions)
{
    std::vector<uint8_t> mask(static_cast<size_t>(valueCount), 0);
    for (const std::vector<int32_t>* list : {&positions, &morePositions})
        for (int32_t position : *list)
            for (int64_t p : {int64_t{position}, int64_t{position} + 1})
                if (p >= 0 && p < valueCount) mask[static_cast<size_t>(p)] = 1;
    return mask;
}

int64_t CountKept(const std::vector<uint8_t>& mask) { return std::count(mask.begin(), mask.end(), 1); }

// The reference and work matrices of the read-time S conversion, built when the first
// record needs them (so that their size is paid for by the data, not by the map line).
void PrepareConversion(CalibrationGroup& group, dcm& converted)
{
    const int32_t n = group.portCount;
    if (group.rootReference.n == n) return;
    // A group whose whole structure gave no R (hand-built jobs) converts with the
    // not-given value rather than reading past the list.
    group.portResistances.resize(static_cast<size_t>(n), kResistanceNotGiven);
    for (dcm* m : {&group.rootReference, &group.rootReferenceInverse, &group.conversionS, &group.conversionE,
                   &group.conversionM, &group.conversionP, &group.conversionT})
        m->Resize(n);
    converted.Resize(n);
    MakeRootReference(n, group.portResistances.data(), group.rootReference.data, group.rootReferenceInverse.data);
}

void ReleaseConversion(CalibrationGroup& group)
{
    for (dcm* m : {&group.rootReference, &group.rootReferenceInverse, &group.conversionS, &group.conversionE,
                   &group.conversionM, &group.conversionP, &group.conversionT})
        m->Release();
}

// Replaces an S record (row-major, real and imaginary interleaved) by the short arm's Z or
// the open arm's Y, in place in the table.
void ConvertRecordInPlace(CalibrationGroup& group, double* record, bool bShortArm, dcm& converted)
{
    PrepareConversion(group, converted);
    const int32_t n = group.portCount;
    const size_t count = group.conversionS.Size();
    for (size_t i = 0; i < count; ++i) group.conversionS.data[i] = Complex(record[2 * i], record[2 * i + 1]);
    GuardUnitDiagonal(n, group.conversionS.data);
    const ConversionScratch work{group.conversionE.data, group.conversionM.data, group.conversionP.data,
                                 group.conversionT.data};
    if (bShortArm)
        ZshortFromS(n, group.conversionS.data, group.rootReference.data, converted.data, work);
    else
        YopenFromS(n, group.conversionS.data, group.rootReferenceInverse.data, converted.data, work);
    for (size_t i = 0; i < count; ++i) {
        record[2 * i] = converted.data[i].real();
        record[2 * i + 1] = converted.data[i].imag();
    }
}

// An extended group of S files has its records turned into Z short and Y open as they are
// read (through LAPACK).
bool ConvertsWhileReading(const CalibrationGroup& group)
{
    return group.bExtendedArmSyntax != 0 && group.armKind == 2 && VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged;
}

// Whether some entry of L lies within kCommonFrequencyTolerance of f. Equal sampling
// answers at index k; a sorted list is searched, anything else scanned.
bool HasFrequencyNear(const std::vector<double>& L, bool bAscending, double f, size_t k)
{
    const auto near = [f](double x) { return std::fabs(x - f) < kCommonFrequencyTolerance; };
    if (k < L.size() && near(L[k])) return true;
    if (!bAscending) return std::any_of(L.begin(), L.end(), near);
    // The margin keeps every candidate that the exact test could accept despite rounding.
    const double margin = 2 * kCommonFrequencyTolerance;
    for (auto it = std::lower_bound(L.begin(), L.end(), f - margin); it != L.end() && *it <= f + margin; ++it)
        if (near(*it)) return true;
    return false;
}

void ReserveFor(const std::string& path, const TokenList& firstRecord, std::vector<double>& frequencies,
                RecordTable& values)
{
    const size_t expected = EstimateRecordCount(path, RecordTextBytes(firstRecord));
    frequencies.reserve(expected);
    values.Reserve(expected);
}

// The short (or arm S) file's option line. Returns 0, or -1 after logging.
int32_t ReadShortOptionLine(CalibrationGroup& group, const TokenList& tokens, ValueFormat& format)
{
    const TouchstoneOptions options = ReadOptionTokens(tokens);
    group.shortUnitFactor = options.unitFactor;
    format = options.format;
    const bool bExtended = group.bExtendedArmSyntax != 0;
    const char type = group.armKind == 0 ? 'Z' : 'S';
    double R = kResistanceNotGiven;
    bool bTypeFound = false;
    for (size_t k = 0; k < tokens.size(); ++k) {
        if (IsLetter(tokens[k], 'R')) {
            R = ParseNumber(TokenAfter(tokens, k));
            if (group.armKind == 1 && DiffersFromWholeResistance(group, R))
                return Fail(group, "VORA:  R of arm S file is not same as R of whole S file  \n");
            if (group.armKind == 2 && DiffersFromWholeResistance(group, R))
                return Fail(group, "VORA:  R of short S file is not same as R of whole S file  \n");
        }
        if (bExtended && IsLetter(tokens[k], type)) bTypeFound = true;
        if (R >= 0 && (bTypeFound || !bExtended)) break;
    }
    if (bExtended && !bTypeFound) return Fail(group, "VORA:  Readin ARM each short file error \n");
    return 0;
}

// The open file's option line (extended form only). Returns 0, or -1 after logging.
int32_t ReadOpenOptionLine(CalibrationGroup& group, const TokenList& tokens)
{
    group.openUnitFactor = ReadOptionTokens(tokens).unitFactor;
    const char type = group.armKind == 0 ? 'Y' : 'S';
    double R = kResistanceNotGiven;
    bool bTypeFound = false;
    for (size_t k = 0; k < tokens.size(); ++k) {
        if (IsLetter(tokens[k], 'R')) {
            R = ParseNumber(TokenAfter(tokens, k));
            if (group.armKind == 2 && DiffersFromWholeResistance(group, R))
                return Fail(group, "VORA:  R of open S file is not same as R of whole S file  \n");
        }
        if (IsLetter(tokens[k], type)) bTypeFound = true;
        if (bTypeFound && R >= 0) break;
    }
    if (!bTypeFound) return Fail(group, "VORA:  Readin ARM each open file error \n");
    return 0;
}

// What the reading of one arm file knows of its form.
struct ArmFileForm {
    ValueFormat format = ValueFormat::MagnitudeAngle;  // Touchstone's default
    Touchstone2Header header;
    RecordLayout layout;
    int64_t ports = 0;  // of the file
    int64_t E = 0;      // tokens of a record
    std::vector<double> written;  // a record's values as the file gives them
};

ArmFileForm MakeForm(int64_t ports)
{
    ArmFileForm form;
    form.ports = ports;
    form.E = 2 * ports * ports + 1;
    return form;
}

// A version-2 keyword line. mismatch: the failure text when the first reference differs from
// the whole structure's R (nullptr: not compared). Returns 0, or -1 after logging.
int32_t ReadArmKeyword(CalibrationGroup& group, TextSource& input, const std::string& line, const std::string& path,
                       const char* badLine, ArmFileForm& form, const char* mismatch)
{
    const std::string_view content = std::string_view(line).substr(0, line.find('!'));
    std::string reason = ReadKeywordLine(input, content, form.header);
    if (!reason.empty()) reason = ": " + reason;
    if (reason.empty() && form.header.portCount >= 0 && form.header.portCount != form.ports)
        reason = " holds " + std::to_string(form.header.portCount) + " ports; the arm has " + std::to_string(form.ports);
    if (reason.empty() && form.header.bNetworkData && form.header.references.size() > 1 &&
        form.header.references.size() != static_cast<size_t>(form.ports))
        reason = " gives " + std::to_string(form.header.references.size()) + " references for " +
                 std::to_string(form.ports) + " ports";
    if (!reason.empty()) {
        *group.logStream << "VORA:: " << path << reason << "\n" << badLine;
        return -1;
    }
    if (form.header.bNetworkData && mismatch != nullptr && !form.header.references.empty() &&
        DiffersFromWholeResistance(group, form.header.references[0]))
        return Fail(group, mismatch);
    MakeRecordLayout(form.header, form.ports, form.layout);
    form.E = form.layout.valueCount + 1;
    return 0;
}

// [Number of Frequencies] against the records read. Returns 0, or -1 after logging.
int32_t CheckFrequencyCount(CalibrationGroup& group, const ArmFileForm& form, const std::string& path, int32_t records,
                            const char* badLine)
{
    if (form.header.frequencyCount < 0 || form.header.frequencyCount == records) return 0;
    *group.logStream << "VORA:: " << path << " holds " << records << " frequencies; [Number of Frequencies] says "
                     << form.header.frequencyCount << "\n"
                     << badLine;
    return -1;
}

// A version-1 two-port file may end with noise parameters: from the first record whose
// frequency is not above the one before it.
bool StartsNoiseData(const ArmFileForm& form, const TokenList& tokens, const std::vector<double>& frequencies,
                     double unitFactor)
{
    double f = 0.0;
    return form.ports == 2 && !form.header.bVersion2 && !frequencies.empty() && !tokens.empty() &&
           ParseDataNumber(tokens[0], f) && f * unitFactor <= frequencies.back();
}

// Parses a record's frequency and values (tokens 1..) as real and imaginary parts, in the
// version-1 layout. false after logging the first token that is not a number and then the
// file's bad-line text.
bool ParseRecord(CalibrationGroup& group, const std::string& path, const TokenList& tokens, ArmFileForm& form,
                 const char* badLine, double& frequency, std::vector<double>& values)
{
    const bool bScatter = !form.layout.target.empty();
    std::vector<double>& written = bScatter ? form.written : values;
    written.resize(tokens.size() - 1);
    bool bNumbers = ParseDataNumber(tokens[0], frequency);
    size_t bad = 0;
    for (size_t k = 1; k < tokens.size() && bNumbers; ++k) {
        bNumbers = ParseDataNumber(tokens[k], written[k - 1]);
        bad = k;
    }
    if (!bNumbers) {
        *group.logStream << "VORA:: Not a number in " << path << " line " << tokens.LineOf(bad) << ": " << tokens[bad]
                         << "\n"
                         << badLine;
        return false;
    }
    if (form.format != ValueFormat::RealImaginary)
        for (size_t k = 0; k + 1 < written.size(); k += 2) ToRealImaginary(form.format, written[k], written[k + 1]);
    if (!bScatter) return true;
    values.resize(static_cast<size_t>(2 * form.ports * form.ports));
    for (size_t p = 0; p < form.layout.target.size(); ++p) {
        for (const int32_t to : {form.layout.target[p], form.layout.mirror[p]}) {
            if (to < 0) continue;
            values[2 * static_cast<size_t>(to)] = written[2 * p];
            values[2 * static_cast<size_t>(to) + 1] = written[2 * p + 1];
        }
    }
    return true;
}

// Reads the first arm file (short, or arm S) from `input`. Returns 0, or -1 after logging.
int32_t ReadShortFile(CalibrationGroup& group, TextSource& input, dcm& converted)
{
    const bool bExtended = group.bExtendedArmSyntax != 0;
    const bool bConvert = ConvertsWhileReading(group);

    group.shortPortCount = bExtended ? group.portCount : group.nvpl;
    if (!ShortKeepPositions(group.shortPortCount, group.shortKeepPositions)) {
        if (!bExtended) {
            *group.logStream << "VORA:  VPLN=" << group.shortPortCount << " not implemented yet error. \n";
            return -1;
        }
        // The extended form keeps every value and never consults the list.
        group.shortKeepPositions.assign(static_cast<size_t>(std::max(group.shortPortCount, 0)), 0);
    }
    group.shortWeights.resize(static_cast<size_t>(std::max(group.shortPortCount, 0)));
    for (size_t k = 0; k < group.shortWeights.size(); ++k)
        group.shortWeights[k] = NvplLineWeight(group.nvpl, static_cast<int64_t>(k));

    // The arm S file describes the 2P-port of both ends of the group's P lines.
    const int64_t P = group.shortPortCount;
    const int64_t E = group.armKind == 1 ? 8 * P * P + 1 : 2 * P * P + 1;
    const int64_t valueCount = std::max<int64_t>(E - 1, 0);
    const std::vector<uint8_t> keep =
        bExtended ? std::vector<uint8_t>() : KeepMask(valueCount, group.shortKeepPositions, {});
    group.shortFrequencies.clear();
    group.shortRecordCount = 0;
    group.shortValues.Reset(bExtended ? valueCount : CountKept(keep));

    const char* const badLine = "VORA:  Reading a line of Short Z File or Arm S File error \n";
    const char* const mismatch = group.armKind == 1   ? "VORA:  R of arm S file is not same as R of whole S file  \n"
                                 : group.armKind == 2 ? "VORA:  R of short S file is not same as R of whole S file  \n"
                                                      : nullptr;
    ArmFileForm form = MakeForm(group.armKind == 1 ? 2 * P : P);
    bool bReadToTheEnd = true;  // else the count of records says nothing about the file
    // Touchstone's default, for a file without an option line.
    group.shortUnitFactor = 1e9;
    std::vector<double> values;
    std::string line;
    TokenList tokens;
    for (;;) {
        const LineStatus status = ReadLogicalLine(input, CommentMode::Touchstone, nullptr, line, tokens, form.E);
        if (status == LineStatus::EndOfData) break;
        if (StartsNoiseData(form, tokens, group.shortFrequencies, group.shortUnitFactor)) break;
        if (status == LineStatus::Bad) return Fail(group, badLine);
        // The arm S file may run past the whole structure: it ends with the first record
        // beyond its last frequency (+1 Hz).
        if (group.armKind == 1 && !group.shortFrequencies.empty() &&
            group.shortFrequencies.back() > group.wholeMaxFrequency + 1.0) {
            bReadToTheEnd = false;
            break;
        }

        if (!tokens.empty() && tokens[0] == "#") {
            if (ReadShortOptionLine(group, tokens, form.format) != 0) return -1;
            continue;
        }
        if (!tokens.empty() && tokens[0].front() == '[') {
            if (ReadArmKeyword(group, input, line, group.armFile2Path, badLine, form, mismatch) != 0) return -1;
            if (form.header.bEnd) break;
            continue;
        }
        if (static_cast<int64_t>(tokens.size()) != form.E)
            return Fail(group, "VORA:  Reading a frequency line of Short Z File or Arm S File error \n");
        if (E < 2) return Fail(group, "VORA:  Readin ARM each freq-s line error. \n");
        if (group.shortRecordCount == std::numeric_limits<int32_t>::max())
            return Fail(group, "VORA:  Readin ARM each freq number error. \n");

        double frequency = 0.0;
        if (!ParseRecord(group, group.armFile2Path, tokens, form, badLine, frequency, values)) return -1;
        if (group.shortRecordCount == 0) ReserveFor(group.armFile2Path, tokens, group.shortFrequencies, group.shortValues);
        group.shortFrequencies.push_back(frequency * group.shortUnitFactor);
        double* record = group.shortValues.Append();
        if (bExtended) {
            std::copy(values.begin(), values.end(), record);
        } else {
            int64_t kept = 0;
            for (int64_t p = 0; p < valueCount; ++p)
                if (keep[static_cast<size_t>(p)]) record[kept++] = values[static_cast<size_t>(p)];
        }
        if (bConvert) ConvertRecordInPlace(group, record, true, converted);
        ++group.shortRecordCount;
    }
    if (static_cast<size_t>(group.shortRecordCount) != group.shortFrequencies.size())
        return Fail(group, "VORA:  Readin ARM each freq number error. \n");
    if (bReadToTheEnd && CheckFrequencyCount(group, form, group.armFile2Path, group.shortRecordCount, badLine) != 0)
        return -1;
    return 0;
}

// Reads the open file from `input`. Returns 0, or -1 after logging.
int32_t ReadOpenFile(CalibrationGroup& group, TextSource& input, dcm& converted)
{
    const bool bExtended = group.bExtendedArmSyntax != 0;
    const bool bConvert = ConvertsWhileReading(group);

    group.openPortCount = bExtended ? group.portCount : 2 * group.nvpl;
    if (!OpenKeepPositions(group.nvpl, group.openKeepPositionsA, group.openKeepPositionsB) && !bExtended) {
        *group.logStream << "VORA:  Nvpl=" << group.nvpl << " not implemented yet error. \n";
        return -1;
    }
    group.openWeightsA = group.shortWeights;
    group.openWeightsB = group.shortWeights;

    const int64_t P = group.openPortCount;
    const int64_t E = 2 * P * P + 1;
    const int64_t valueCount = std::max<int64_t>(E - 1, 0);
    const std::vector<uint8_t> keep = bExtended ? std::vector<uint8_t>()
                                                : KeepMask(valueCount, group.openKeepPositionsA, group.openKeepPositionsB);
    const bool bShortAscending = IsAscending(group.shortFrequencies);
    group.openFrequencies.clear();
    group.openRecordCount = 0;
    group.commonFrequencies.clear();
    group.openValues.Reset(bExtended ? valueCount : CountKept(keep));

    const char* const badLine = "VORA:  Reading a line of Open Y File error \n";
    const char* const mismatch =
        bExtended && group.armKind == 2 ? "VORA:  R of open S file is not same as R of whole S file  \n" : nullptr;
    ArmFileForm form = MakeForm(P);
    // Touchstone's default, for a file without an option line.
    if (bExtended) group.openUnitFactor = 1e9;
    std::vector<double> values;
    std::string line;
    TokenList tokens;
    for (;;) {
        const LineStatus status = ReadLogicalLine(input, CommentMode::Touchstone, nullptr, line, tokens, form.E);
        if (status == LineStatus::EndOfData) break;
        if (StartsNoiseData(form, tokens, group.openFrequencies, group.openUnitFactor)) break;
        if (status == LineStatus::Bad) return Fail(group, badLine);

        if (!tokens.empty() && tokens[0] == "#") {
            // The Nvpl form takes neither R nor the unit from the open file's option line,
            // but its values are read in the form it states.
            form.format = ReadOptionTokens(tokens).format;
            if (bExtended && ReadOpenOptionLine(group, tokens) != 0) return -1;
            continue;
        }
        if (!tokens.empty() && tokens[0].front() == '[') {
            if (ReadArmKeyword(group, input, line, group.armFile1Path, badLine, form, mismatch) != 0) return -1;
            if (form.header.bEnd) break;
            continue;
        }
        if (static_cast<int64_t>(tokens.size()) != form.E) *group.logStream << "VORA:  Reading a frequency line of Open Y File error \n";
        if (tokens.size() < 2 || static_cast<int64_t>(tokens.size()) != form.E)
            return Fail(group, "VORA:  Readin ARM each freq-s line error. \n");
        if (group.openRecordCount == std::numeric_limits<int32_t>::max())
            return Fail(group, "VORA:  Readin ARM Open freq number error. \n");

        double frequency = 0.0;
        if (!ParseRecord(group, group.armFile1Path, tokens, form, badLine, frequency, values)) return -1;
        if (group.openRecordCount == 0) ReserveFor(group.armFile1Path, tokens, group.openFrequencies, group.openValues);
        const double f = frequency * group.openUnitFactor;
        group.openFrequencies.push_back(f);
        if (HasFrequencyNear(group.shortFrequencies, bShortAscending, f, static_cast<size_t>(group.openRecordCount)))
            group.commonFrequencies.push_back(f);
        double* record = group.openValues.Append();
        int64_t kept = 0;
        for (int64_t p = 0; p < valueCount; ++p) {
            if (!bExtended && !keep[static_cast<size_t>(p)]) continue;
            double value = values[static_cast<size_t>(p)];
            // An open arm's Re Y(1,1) of exactly zero (either sign) is stored as 1e-12.
            if (p == 0 && value == 0.0) value = 1e-12;
            record[kept++] = value;
        }
        if (bConvert) ConvertRecordInPlace(group, record, false, converted);
        ++group.openRecordCount;
    }
    if (static_cast<size_t>(group.openRecordCount) != group.openFrequencies.size())
        return Fail(group, "VORA:  Readin ARM Open freq number error. \n");
    if (CheckFrequencyCount(group, form, group.armFile1Path, group.openRecordCount, badLine) != 0) return -1;
    group.commonFrequencyCount = static_cast<int32_t>(group.commonFrequencies.size());
    return 0;
}

// The port-line analysis that ends the loading of a group of the extended form.
int32_t AnalyseGroup(CalibrationGroup& group, const PortLineAnalysisHooks& hooks)
{
    if (group.armKind == 0 && hooks.findPortResonance != nullptr) {
        group.shortResonanceFrequency = hooks.findPortResonance(group, 1);
        group.openResonanceFrequency = hooks.findPortResonance(group, 0);
    }
    if (!VoraGlobal_b_AllowYopenAndZshortMatrices_ToBeChanged) return 0;
    if (group.armKind == 2) ReleaseConversion(group);
    const auto analyse = group.methodCode != 0 ? hooks.analysePortLinesNoiseProcess : hooks.analysePortLines;
    if (analyse != nullptr && analyse(group) != 0) return Fail(group, "VORA:: Noise filter error \n");
    return 0;
}

// "VORA:: <file> (<kind>)'s frequency range does not include <f> in <whole file>\n"
void LogUncoveredFrequency(const VoraJob& job, const std::string& armFile, const char* kind, double f)
{
    std::ostringstream number;  // default formatting: six significant digits
    number << f;
    job.logStream << "VORA:: " << armFile << " (" << kind << ")'s frequency range does not include " << number.str()
                  << " in " << job.wholeStructureFilePath << "\n";
}

bool IsCovered(const std::vector<double>& L, bool bAscending, double f, size_t i)
{
    return FindMatchingFrequency(L, f, i, kCoverageTolerance, bAscending) >= 0 ||
           FindFrequencyBracket(L, f, i, bAscending) >= 0;
}

// Arm files together this large are read in two threads, a group at a time each; below it
// the thread's start costs more than it saves.
constexpr size_t kArmBytesWorthAThread = size_t{256} << 10;

// Reads a group's files: everything of ReadGroupArmFiles but the closing analysis, which
// may call LAPACK and so stays in the calling thread. 0, or -1 after logging.
int32_t ReadGroupFiles(CalibrationGroup& group)
{
    assert(group.job != nullptr && group.logStream != nullptr && "groups are built by the map reader");
    TextSource input;
    if (!input.Open(group.armFile2Path)) {
        *group.logStream << "VORA:: Could not open s-arm " << group.armFile2Path << " file\n";
        *group.logStream << "VORA:: Could not find s-arm " << group.firstPort << " file\n";
        return -1;
    }
    dcm converted;  // the result of each record's conversion, before it is written back
    if (ReadShortFile(group, input, converted) != 0) return -1;
    input.Close();

    if (group.armKind == 1) {
        group.commonFrequencies = group.shortFrequencies;
        group.openFrequencies = group.shortFrequencies;
        group.commonFrequencyCount = group.shortRecordCount;
        group.openRecordCount = group.shortRecordCount;
        return 0;
    }

    if (!input.Open(group.armFile1Path)) {
        *group.logStream << "VORA:: Could not find o-arm " << group.firstPort << " file\n";
        return -1;
    }
    if (ReadOpenFile(group, input, converted) != 0) return -1;
    return 0;
}

bool EndsWithAnalysis(const CalibrationGroup& group) { return group.armKind != 1 && group.bExtendedArmSyntax != 0; }

// Whether the groups' files are worth reading in two threads. A group that converts its
// records calls LAPACK while it reads, which must not run in two threads at once.
bool WorthTwoThreads(const VoraJob& job)
{
    if (job.calibrationGroups.size() < 2 || UsableProcessors() < 2) return false;
    size_t bytes = 0;
    for (const CalibrationGroup& group : job.calibrationGroups) {
        if (ConvertsWhileReading(group)) return false;
        bytes += FileBytes(group.armFile2Path);
        if (group.armKind != 1) bytes += FileBytes(group.armFile1Path);
    }
    return bytes >= kArmBytesWorthAThread;
}

void PrepareGroup(VoraJob& job, CalibrationGroup& group)
{
    if (group.job == nullptr) group.job = &job;
    if (group.logStream == nullptr) group.logStream = &job.logStream;
    if (job.frequencyCount > 0 && !job.frequencies.empty()) group.wholeMaxFrequency = job.frequencies.back();
}

// The failure of group g's loading, in the words the parent tools match; -1.
int32_t ArmProcessFailed(VoraJob& job, size_t g)
{
    // "3th", "4th", ... for every group from the third on: the parent tools match it.
    if (g == 0)
        job.logStream << "VORA:  The first arm process error. \n";
    else if (g == 1)
        job.logStream << "VORA:  The second arm process error. \n";
    else
        job.logStream << "VORA:  The " << g + 1 << "th arm process error. \n";
    return -1;
}

// One group's files read ahead of its turn: its log is held back until the groups before it
// have been finished, so that the run log reads as if the groups were loaded one by one.
struct GroupReadAhead {
    std::ostringstream log;
    int32_t status = -1;
    std::exception_ptr error;
    bool read = false;
};

// The groups' files in two threads, each taking the next group not yet taken, then each
// group finished in order here. A helper that starts late (a processor woken from idle can
// take milliseconds) simply reads fewer groups. false when the helper could not be started.
bool ReadArmFilesInTwoThreads(VoraJob& job, const PortLineAnalysisHooks& hooks, int32_t& status)
{
    std::vector<CalibrationGroup>& groups = job.calibrationGroups;
    std::vector<GroupReadAhead> ahead(groups.size());
    // Groups after a failed one would never have been read: neither side starts them.
    std::atomic<size_t> firstFailed{groups.size()};
    std::atomic<size_t> nextGroup{0};
    const auto readGroup = [&](size_t g) {
        if (g > firstFailed.load(std::memory_order_relaxed)) return;
        CalibrationGroup& group = groups[g];
        GroupReadAhead& result = ahead[g];
        std::ostream* const logStream = group.logStream;
        group.logStream = &result.log;
        try {
            result.status = ReadGroupFiles(group);
        } catch (...) {
            result.error = std::current_exception();
        }
        group.logStream = logStream;
        result.read = true;
        if (result.status != 0) {
            size_t failed = firstFailed.load(std::memory_order_relaxed);
            while (g < failed && !firstFailed.compare_exchange_weak(failed, g, std::memory_order_relaxed)) {
            }
        }
    };
    const auto readGroups = [&] {
        for (size_t g = nextGroup.fetch_add(1); g < groups.size(); g = nextGroup.fetch_add(1)) readGroup(g);
    };
    std::thread helper;
    try {
        helper = std::thread(readGroups);
    } catch (const std::system_error&) {
        return false;
    }
    readGroups();
    helper.join();

    for (size_t g = 0; g < groups.size(); ++g) {
        CalibrationGroup& group = groups[g];
        GroupReadAhead& result = ahead[g];
        assert(result.read && "every group up to the first failure is read");
        *group.logStream << result.log.str();
        if (result.error) std::rethrow_exception(result.error);
        int32_t groupStatus = result.status;
        if (groupStatus == 0 && EndsWithAnalysis(group)) groupStatus = AnalyseGroup(group, hooks);
        if (groupStatus != 0) {
            status = ArmProcessFailed(job, g);
            return true;
        }
        job.groupFreqB[g] = group.freqB;
        job.groupFreqC[g] = group.freqC;
    }
    status = 0;
    return true;
}

}  // namespace

int32_t ReadGroupArmFiles(CalibrationGroup& group, const PortLineAnalysisHooks& hooks)
{
    if (ReadGroupFiles(group) != 0) return -1;
    return EndsWithAnalysis(group) ? AnalyseGroup(group, hooks) : 0;
}

int32_t ReadArmFiles(VoraJob& job, const PortLineAnalysisHooks& hooks)
{
    const size_t groupCount = job.calibrationGroups.size();
    if (job.groupFreqB.size() < groupCount) job.groupFreqB.resize(groupCount, 4.0e13);
    if (job.groupFreqC.size() < groupCount) job.groupFreqC.resize(groupCount, 4.0e13);
    if (WorthTwoThreads(job)) {
        for (CalibrationGroup& group : job.calibrationGroups) PrepareGroup(job, group);
        int32_t status = 0;
        if (ReadArmFilesInTwoThreads(job, hooks, status)) return status;
    }
    for (size_t g = 0; g < groupCount; ++g) {
        CalibrationGroup& group = job.calibrationGroups[g];
        PrepareGroup(job, group);
        if (ReadGroupArmFiles(group, hooks) != 0) return ArmProcessFailed(job, g);
        job.groupFreqB[g] = group.freqB;
        job.groupFreqC[g] = group.freqC;
    }
    return 0;
}

int32_t CheckArmFrequencyCoverage(const VoraJob& job, const CalibrationGroup& group)
{
    if (group.armKind != 0 && group.armKind != 1 && group.armKind != 2) return -1;
    const bool bOpenAscending = IsAscending(group.openFrequencies);
    const bool bShortAscending = IsAscending(group.shortFrequencies);
    for (size_t i = 0; i < job.frequencies.size(); ++i) {
        const double f = job.frequencies[i];
        if (group.armKind == 1) {
            if (!IsCovered(group.shortFrequencies, bShortAscending, f, i)) {
                LogUncoveredFrequency(job, group.armFile2Path, "Arm S File", f);
                return -1;
            }
            continue;
        }
        if (!IsCovered(group.openFrequencies, bOpenAscending, f, i)) {
            LogUncoveredFrequency(job, group.armFile1Path, "Open Y File", f);
            return -1;
        }
        if (!IsCovered(group.shortFrequencies, bShortAscending, f, i)) {
            LogUncoveredFrequency(job, group.armFile2Path, "Short Z File", f);
            return -1;
        }
    }
    return 0;
}
