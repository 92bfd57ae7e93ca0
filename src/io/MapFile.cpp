#include "io/MapFile.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <string_view>

#include "io/LineReader.h"
#include "io/NumberParser.h"
#include "io/TextSource.h"
#include "job/Switches.h"
#include "job/VoraJob.h"

namespace {

// Group records allocated when NC is read; more are added as arm lines arrive, so that a
// huge NC on a short map file allocates nothing it will not use.
constexpr int64_t kGroupsAllocatedAhead = 4096;

// A count is the parsed number truncated toward zero. NaN and values outside the 32-bit
// range are not counts (casting them would be undefined).
bool ParseCount(std::string_view text, int64_t& count)
{
    const double value = ParseNumber(text);
    if (!(value > -2147483649.0 && value < 2147483648.0)) return false;
    count = static_cast<int64_t>(value);
    return true;
}

std::string FileNameToken(std::string_view token)
{
    std::string unquoted;
    if (StripQuotes(token, unquoted)) return unquoted;
    return std::string(token);
}

std::string KeywordOf(std::string_view token)
{
    std::string keyword(token.substr(0, 2));
    for (char& c : keyword) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return keyword;
}

int32_t Fail(VoraJob& job, const char* text)
{
    job.logStream << text;
    return -1;
}

// Grows the per-group records and arrays to `count` entries, new ones at their initial values.

void ReplaceGroupTables(VoraJob& job, size_t count)
{
    job.calibrationGroups.clear();
    job.groupMethodCode.clear();
    job.groupFreqA.clear();
    job.groupFreqB.clear();
    job.groupFreqC.clear();
    job.groupFreqD.clear();
    job.groupFreqE.clear();
    GrowGroupTables(job, count);
}

constexpr const char* kArmLineWrong = "VORA:: ARM structure Readin Wrong\n";
constexpr const char* kPortLineWrong = "VORA:: Nport w, t, l, s Readin Wrong\n";

int32_t ReadPortLine(VoraJob& job, const TokenList& tokens)
{
    if (tokens.size() < 2) return Fail(job, kPortLineWrong);
    int64_t N = 0;
    if (!ParseCount(tokens[1], N)) return Fail(job, kPortLineWrong);
    const bool bGeometryGiven = job.bMaxEprNotGiven == 0;
    // A negative count or one beyond kMaxPortCount cannot size the records.
    if (N < 0 || N > kMaxPortCount) return Fail(job, kPortLineWrong);
    const size_t required = bGeometryGiven ? static_cast<size_t>(4 * N + 2) : 2;
    if (tokens.size() != required) return Fail(job, kPortLineWrong);

    job.portCount = N;
    job.portLineGeometry.assign(static_cast<size_t>(4 * N), 1.0);
    if (bGeometryGiven)
        for (size_t i = 0; i < job.portLineGeometry.size(); ++i) job.portLineGeometry[i] = ParseNumber(tokens[i + 2]);
    return 0;
}

int32_t ReadGroupCountLine(VoraJob& job, const TokenList& tokens)
{
    constexpr const char* kWrong = "VORA:: Calibrate Number Readin Wrong\n";
    int64_t G = 0;
    if (tokens.size() != 2 || !ParseCount(tokens[1], G)) return Fail(job, kWrong);
    job.calibrationGroupCount = static_cast<int32_t>(G);
    if (G >= 1) ReplaceGroupTables(job, static_cast<size_t>(std::min(G, kGroupsAllocatedAhead)));
    return 0;
}

// One arm line: EP, ES or ED. g is the group's index.
int32_t ReadArmLine(VoraJob& job, const TokenList& tokens, int32_t armKind, int32_t g)
{
    if (armKind == kArmS) job.bExtendedArmSyntax = 1;
    const bool bExtended = job.bExtendedArmSyntax != 0;

    // Parse: the port count and the positions of the file names.
    int64_t P = 1;
    if (bExtended) {
        if (tokens.size() < 2 || !ParseCount(tokens[1], P)) return Fail(job, kArmLineWrong);
        const int64_t required = P + (armKind == kArmS ? 3 : 4);
        if (static_cast<int64_t>(tokens.size()) != required) return Fail(job, kArmLineWrong);
        if (P < 1) return Fail(job, kArmLineWrong);  // a group without ports
    } else if (tokens.size() != 4) {
        return Fail(job, kArmLineWrong);
    }
    const size_t firstPortToken = bExtended ? 2 : 1;
    const size_t file1Token = firstPortToken + static_cast<size_t>(P);
    const size_t file2Token = armKind == kArmS ? file1Token : file1Token + 1;

    // Check: every port must be one the NP line declared.
    std::vector<int32_t> ports;
    ports.reserve(static_cast<size_t>(P));
    for (int64_t i = 0; i < P; ++i) {
        int64_t port = 0;
        if (!ParseCount(tokens[firstPortToken + static_cast<size_t>(i)], port)) return Fail(job, kArmLineWrong);
        if (port < 1 || port > job.portCount) return Fail(job, kArmLineWrong);
        ports.push_back(static_cast<int32_t>(port));
    }

    // Fill.
    CalibrationGroup& group = SetUpCalibrationGroup(job, static_cast<size_t>(g), armKind, std::move(ports));
    group.armFile1Path = job.directoryPath + FileNameToken(tokens[file1Token]);
    group.armFile2Path = job.directoryPath + FileNameToken(tokens[file2Token]);
    return 0;
}

// What the map allows but is almost certainly a mistake: a port in two groups (the later
// group's arm is removed on top of the earlier one's), a line without length or width.
void WarnAboutGeometryAndGroups(VoraJob& job)
{
    std::map<int32_t, size_t> firstGroupOf;
    for (size_t g = 0; g < job.calibrationGroups.size(); ++g) {
        for (int32_t port : job.calibrationGroups[g].ports) {
            const auto [at, bInserted] = firstGroupOf.emplace(port, g);
            if (!bInserted && at->second != g)
                job.warnings.push_back("port " + std::to_string(port) + " is listed in calibration groups " +
                                       std::to_string(at->second + 1) + " and " + std::to_string(g + 1));
        }
    }
    const size_t portsWithGeometry = std::min(job.portLineGeometry.size() / 4, static_cast<size_t>(job.portCount));
    for (size_t p = 0; p < portsWithGeometry; ++p) {
        for (const auto& [offset, what] : {std::pair{size_t{0}, "width"}, std::pair{size_t{2}, "length"}}) {
            const double value = job.portLineGeometry[4 * p + offset];
            if (value > 0) continue;
            std::ostringstream text;
            text << "port " << p + 1 << " has a line " << what << " of " << value << " m";
            job.warnings.push_back(text.str());
        }
    }
}

}  // namespace


int32_t ReadMapFile(VoraJob& job)
{
    if (job.mapFileName.empty()) return Fail(job, "VORA:  Can't find map file. \n");
    TextSource mapStream;
    if (!mapStream.Open(job.mapFilePath)) {
        job.logStream << "VORA:: Could not find " << job.mapFilePath << "\n";
        return -1;
    }

    std::string line;
    TokenList tokens;
    int32_t armLineCount = 0;
    for (;;) {
        const LineStatus status = ReadLogicalLine(mapStream, CommentMode::Map, nullptr, line, tokens, 0);
        if (status == LineStatus::EndOfData) break;
        if (status == LineStatus::Bad) return Fail(job, "VORA:  Reading a line of map file \n");
        if (tokens.empty()) continue;  // a line of blanks carries no keyword

        const std::string keyword = KeywordOf(tokens[0]);
        const size_t n = tokens.size();
        if (keyword == "FN") {
            if (n != 2) return Fail(job, "VORA:: Noise Process Start Freq Readin Wrong\n");
            const double f = ParseNumber(tokens[1]);
            job.bExtendedArmSyntax = 1;
            job.groupMethodCode[0] = 3;
            job.groupFreqA[0] = f;
            job.groupFreqB[0] = 4 * f;
            job.groupFreqC[0] = 4 * f;
            job.groupFreqD[0] = f;
            job.groupFreqE[0] = 2 * f;
        } else if (keyword == "ER") {
            if (n != 2) return Fail(job, "VORA:: Max epr Readin Wrong\n");
            job.bMaxEprNotGiven = 0;
            job.bExtendedArmSyntax = 1;
            job.maxEpr = ParseNumber(tokens[1]);
        } else if (keyword == "NP") {
            if (ReadPortLine(job, tokens) != 0) return -1;
        } else if (keyword == "NV") {
            int64_t k = 0;
            if (n != 2 || !ParseCount(tokens[1], k)) return Fail(job, "VORA:: Nvpl Number Readin Wrong\n");
            job.nvpl = static_cast<int32_t>(k);
        } else if (keyword == "NC") {
            if (ReadGroupCountLine(job, tokens) != 0) return -1;
        } else if (keyword == "WS") {
            if (n != 2) return Fail(job, "VORA:: Whole structure Readin Wrong\n");
            job.wholeStructureFilePath = job.directoryPath + FileNameToken(tokens[1]);
        } else if (keyword == "EP" || keyword == "ED" || keyword == "ES") {
            const int32_t armKind = keyword == "EP" ? kArmShortZOpenY : (keyword == "ES" ? kArmS : kArmShortSOpenS);
            if (ReadArmLine(job, tokens, armKind, armLineCount) != 0) return -1;
            ++armLineCount;
        } else {
            job.warnings.push_back("map file line " + std::to_string(tokens.LineOf(0)) + " is ignored: " + line);
        }
    }
    mapStream.Close();

    if (armLineCount == 0) return Fail(job, "VORA:: There is no port calibration due to no specify Nc\n");
    if (armLineCount != job.calibrationGroupCount)
        return Fail(job, "VORA:: Input calibration group number is not equal to the intended number\n");
    // An NP line after the arm lines may have dropped ports that a group names.
    for (const CalibrationGroup& group : job.calibrationGroups)
        for (int32_t port : group.ports)
            if (port > job.portCount) return Fail(job, kArmLineWrong);
    WarnAboutGeometryAndGroups(job);
    return 0;
}
