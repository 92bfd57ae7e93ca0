#include "io/ArmFiles.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "io/LineReader.h"
#include "io/NumberParser.h"
#include "io/NvplTables.h"
#include "io/RecordCountEstimate.h"
#include "io/TextSource.h"
#include "io/Touchstone.h"
#include "io/Touchstone2.h"
#include "job/VoraJob.h"

namespace {

// What a port's reference resistance reads as when no file gave one.
constexpr double kResistanceNotGiven = -10.0;

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
    const char type = group.armKind == kArmShortZOpenY ? 'Z' : 'S';
    double R = kResistanceNotGiven;
    bool bTypeFound = false;
    for (size_t k = 0; k < tokens.size(); ++k) {
        if (IsLetter(tokens[k], 'R')) {
            R = ParseNumber(TokenAfter(tokens, k));
            if (group.armKind == kArmS && DiffersFromWholeResistance(group, R))
                return Fail(group, "VORA:  R of arm S file is not same as R of whole S file  \n");
            if (group.armKind == kArmShortSOpenS && DiffersFromWholeResistance(group, R))
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
    const char type = group.armKind == kArmShortZOpenY ? 'Y' : 'S';
    double R = kResistanceNotGiven;
    bool bTypeFound = false;
    for (size_t k = 0; k < tokens.size(); ++k) {
        if (IsLetter(tokens[k], 'R')) {
            R = ParseNumber(TokenAfter(tokens, k));
            if (group.armKind == kArmShortSOpenS && DiffersFromWholeResistance(group, R))
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

// The layout of a group's short (or arm S) records, or of its open records: port count, the
// value positions kept and the lines' weights. false after logging a line count the Nvpl
// form does not know.
bool SetUpRecordLayout(CalibrationGroup& group, bool bOpen)
{
    const bool bExtended = group.bExtendedArmSyntax != 0;
    if (bOpen) {
        group.openPortCount = bExtended ? group.portCount : 2 * group.nvpl;
        if (!OpenKeepPositions(group.nvpl, group.openKeepPositionsA, group.openKeepPositionsB) && !bExtended) {
            *group.logStream << "VORA:  Nvpl=" << group.nvpl << " not implemented yet error. \n";
            return false;
        }
        group.openWeightsA = group.shortWeights;
        group.openWeightsB = group.shortWeights;
        return true;
    }
    group.shortPortCount = bExtended ? group.portCount : group.nvpl;
    if (!ShortKeepPositions(group.shortPortCount, group.shortKeepPositions)) {
        if (!bExtended) {
            *group.logStream << "VORA:  VPLN=" << group.shortPortCount << " not implemented yet error. \n";
            return false;
        }
        // The extended form keeps every value and never consults the list.
        group.shortKeepPositions.assign(static_cast<size_t>(std::max(group.shortPortCount, 0)), 0);
    }
    group.shortWeights.resize(static_cast<size_t>(std::max(group.shortPortCount, 0)));
    for (size_t k = 0; k < group.shortWeights.size(); ++k)
        group.shortWeights[k] = NvplLineWeight(group.nvpl, static_cast<int64_t>(k));
    return true;
}

// Where one arm file's records go, and the words its failures are logged in.
struct ArmFileTarget {
    const std::string& path;
    std::vector<double>& frequencies;
    int32_t& recordCount;
    RecordTable& values;
    double& unitFactor;
    const char* badLine;
    const char* countError;  // too many records, or records and frequencies disagree
    const char* mismatch;    // the first reference differs from the whole structure's R
};

ArmFileTarget TargetOf(CalibrationGroup& group, bool bOpen)
{
    if (bOpen)
        return {group.armFile1Path,
                group.openFrequencies,
                group.openRecordCount,
                group.openValues,
                group.openUnitFactor,
                "VORA:  Reading a line of Open Y File error \n",
                "VORA:  Readin ARM Open freq number error. \n",
                group.bExtendedArmSyntax != 0 && group.armKind == kArmShortSOpenS
                    ? "VORA:  R of open S file is not same as R of whole S file  \n"
                    : nullptr};
    return {group.armFile2Path,
            group.shortFrequencies,
            group.shortRecordCount,
            group.shortValues,
            group.shortUnitFactor,
            "VORA:  Reading a line of Short Z File or Arm S File error \n",
            "VORA:  Readin ARM each freq number error. \n",
            group.armKind == kArmS             ? "VORA:  R of arm S file is not same as R of whole S file  \n"
            : group.armKind == kArmShortSOpenS ? "VORA:  R of short S file is not same as R of whole S file  \n"
                                               : nullptr};
}

// Reads one arm file from `input`: the first file (short, or arm S) or the open file, into
// the group's records as the file states them (real and imaginary parts). Returns 0, or -1
// after logging.
int32_t ReadArmFile(CalibrationGroup& group, TextSource& input, bool bOpen)
{
    const bool bExtended = group.bExtendedArmSyntax != 0;
    if (!SetUpRecordLayout(group, bOpen)) return -1;
    const ArmFileTarget to = TargetOf(group, bOpen);
    // The arm S file describes the 2P-port of both ends of the group's P lines.
    const bool bArmS = !bOpen && group.armKind == kArmS;
    const int64_t P = bOpen ? group.openPortCount : group.shortPortCount;
    const int64_t E = bArmS ? 8 * P * P + 1 : 2 * P * P + 1;
    const int64_t valueCount = std::max<int64_t>(E - 1, 0);
    const std::vector<uint8_t> keep =
        bExtended ? std::vector<uint8_t>()
        : bOpen   ? KeepMask(valueCount, group.openKeepPositionsA, group.openKeepPositionsB)
                  : KeepMask(valueCount, group.shortKeepPositions, {});
    to.frequencies.clear();
    to.recordCount = 0;
    to.values.Reset(bExtended ? valueCount : CountKept(keep));

    ArmFileForm form = MakeForm(bArmS ? 2 * P : P);
    bool bReadToTheEnd = true;  // else the count of records says nothing about the file
    // Touchstone's default, for a file without an option line. The Nvpl form's open file
    // never sets its unit: its frequencies stay in the file's numbers.
    if (!bOpen || bExtended) to.unitFactor = 1e9;
    std::vector<double> values;
    std::string line;
    TokenList tokens;
    for (;;) {
        const LineStatus status = ReadLogicalLine(input, CommentMode::Touchstone, nullptr, line, tokens, form.E);
        if (status == LineStatus::EndOfData) break;
        if (StartsNoiseData(form, tokens, to.frequencies, to.unitFactor)) break;
        if (status == LineStatus::Bad) return Fail(group, to.badLine);
        // The arm S file may run past the whole structure: it ends with the first record
        // beyond its last frequency (+1 Hz).
        if (bArmS && !to.frequencies.empty() && to.frequencies.back() > group.wholeMaxFrequency + 1.0) {
            bReadToTheEnd = false;
            break;
        }

        if (!tokens.empty() && tokens[0] == "#") {
            if (!bOpen) {
                if (ReadShortOptionLine(group, tokens, form.format) != 0) return -1;
                continue;
            }
            // The Nvpl form takes neither R nor the unit from the open file's option line,
            // but its values are read in the form it states.
            form.format = ReadOptionTokens(tokens).format;
            if (bExtended && ReadOpenOptionLine(group, tokens) != 0) return -1;
            continue;
        }
        if (!tokens.empty() && tokens[0].front() == '[') {
            if (ReadArmKeyword(group, input, line, to.path, to.badLine, form, to.mismatch) != 0) return -1;
            if (form.header.bEnd) break;
            continue;
        }
        const bool bLengthRight = static_cast<int64_t>(tokens.size()) == form.E;
        if (!bOpen && !bLengthRight)
            return Fail(group, "VORA:  Reading a frequency line of Short Z File or Arm S File error \n");
        if (bOpen && !bLengthRight) *group.logStream << "VORA:  Reading a frequency line of Open Y File error \n";
        if (!bLengthRight || (bOpen ? tokens.size() < 2 : E < 2))
            return Fail(group, "VORA:  Readin ARM each freq-s line error. \n");
        if (to.recordCount == std::numeric_limits<int32_t>::max()) return Fail(group, to.countError);

        double frequency = 0.0;
        if (!ParseRecord(group, to.path, tokens, form, to.badLine, frequency, values)) return -1;
        if (to.recordCount == 0) ReserveFor(to.path, tokens, to.frequencies, to.values);
        to.frequencies.push_back(frequency * to.unitFactor);
        double* record = to.values.Append();
        if (bExtended) {
            std::copy(values.begin(), values.begin() + valueCount, record);
        } else {
            int64_t kept = 0;
            for (int64_t p = 0; p < valueCount; ++p)
                if (keep[static_cast<size_t>(p)]) record[kept++] = values[static_cast<size_t>(p)];
        }
        ++to.recordCount;
    }
    if (static_cast<size_t>(to.recordCount) != to.frequencies.size()) return Fail(group, to.countError);
    if (bReadToTheEnd && CheckFrequencyCount(group, form, to.path, to.recordCount, to.badLine) != 0) return -1;
    return 0;
}

}  // namespace

bool SetUpArmRecordLayout(CalibrationGroup& group)
{
    return SetUpRecordLayout(group, false) && (group.armKind == kArmS || SetUpRecordLayout(group, true));
}

int32_t ReadGroupArmFiles(VoraJob& job, CalibrationGroup& group)
{
    if (group.job == nullptr) group.job = &job;
    if (group.logStream == nullptr) group.logStream = &job.logStream;
    if (job.frequencyCount > 0 && !job.frequencies.empty()) group.wholeMaxFrequency = job.frequencies.back();

    TextSource input;
    if (!input.Open(group.armFile2Path)) {
        *group.logStream << "VORA:: Could not open s-arm " << group.armFile2Path << " file\n";
        *group.logStream << "VORA:: Could not find s-arm " << group.firstPort << " file\n";
        return -1;
    }
    if (ReadArmFile(group, input, false) != 0) return -1;
    input.Close();
    if (group.armKind == kArmS) return 0;

    if (!input.Open(group.armFile1Path)) {
        *group.logStream << "VORA:: Could not find o-arm " << group.firstPort << " file\n";
        return -1;
    }
    return ReadArmFile(group, input, true);
}
