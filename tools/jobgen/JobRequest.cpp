#include "jobgen/JobRequest.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <set>

const char* const kJobgenUsage =
    "usage: vora-jobgen [options] <job directory>\n"
    "Writes a de-embedding job with a known answer: map file, whole-structure file, arm files\n"
    "and the device's own S (device.sNp).\n"
    "  --ports N             whole-structure ports (4)\n"
    "  --group GROUP         a calibration group, repeatable: PORTS[:KIND[:LENGTH]], PORTS like\n"
    "                        1,2 or 1-4; KIND EP, ES, ED, plain-EP, plain-ED (default: two\n"
    "                        groups, the first and the second half of the ports)\n"
    "  --arm KIND            kind of groups that name none (EP)\n"
    "  --length L            line length in metres (5m = 5 mm; 0.005)\n"
    "  --r-self, --r-mutual  series resistance per metre (20, 2)\n"
    "  --l-self, --l-mutual  inductance per metre (303n, 40n)\n"
    "  --g-self, --g-mutual  shunt conductance per metre (0.015, 0.0015; mutual enters as -g)\n"
    "  --c-self, --c-mutual  capacitance per metre (121p, 10p; mutual enters as -c)\n"
    "  --er ER               relative permittivity written as ER (4.3)\n"
    "  --width, --thickness, --conductivity   conductor geometry written to NP (0.2m, 35u, 5.8e7)\n"
    "  --fstart F, --fstop F, --points K      frequency sweep (10M, 2G, 201)\n"
    "  --unit U              Hz, kHz, MHz or GHz in the files (GHz)\n"
    "  --format F            RI, MA or DB: the value pairs of the whole-structure and arm\n"
    "                        files (RI; device.sNp is always RI)\n"
    "  --version V           1 or 2: Touchstone version of those files (1); version 2 lists\n"
    "                        one reference per port on the line after [Reference]\n"
    "  --matrix M            Full, Upper or Lower: the matrix format of version 2 (Full)\n"
    "  --arm-grid G          same, fine:K (K-times finer, contains the whole grid), offset\n"
    "                        (shifted by half a step, one point more) or shifted:K (K-times\n"
    "                        finer, each whole point a third of an arm step above an arm point)\n"
    "                        (same)\n"
    "  --device D            random, through or series (random)\n"
    "  --seed S              seed of the random device (1)\n"
    "  --series-r, --series-l, --series-c     the series element (10, 1n, 0 = no capacitor)\n"
    "  --series-shunt        short/open files carry Z'*l and Y'*l instead of true data\n"
    "  --r-ref R             reference resistance (50)\n"
    "  --map NAME            map file name (job.map)\n";

namespace {

bool ParseInteger(const std::string& text, int64_t& value)
{
    if (text.empty()) return false;
    char* end = nullptr;
    const long long parsed = std::strtoll(text.c_str(), &end, 10);
    if (*end != '\0') return false;
    value = parsed;
    return true;
}

std::string Lower(std::string text)
{
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

bool ParseSyntax(const std::string& text, ArmSyntax& syntax)
{
    const std::string name = Lower(text);
    if (name == "ep") syntax = ArmSyntax::EP;
    else if (name == "es") syntax = ArmSyntax::ES;
    else if (name == "ed") syntax = ArmSyntax::ED;
    else if (name == "plain-ep") syntax = ArmSyntax::PlainEP;
    else if (name == "plain-ed") syntax = ArmSyntax::PlainED;
    else return false;
    return true;
}

bool ParsePorts(const std::string& text, std::vector<int32_t>& ports)
{
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = std::min(text.find(',', start), text.size());
        const std::string item = text.substr(start, comma - start);
        const size_t dash = item.find('-');
        int64_t first = 0, last = 0;
        if (dash == std::string::npos) {
            if (!ParseInteger(item, first)) return false;
            last = first;
        } else if (!ParseInteger(item.substr(0, dash), first) || !ParseInteger(item.substr(dash + 1), last)) {
            return false;
        }
        if (first < 1 || last < first || last > 100000) return false;
        for (int64_t p = first; p <= last; ++p) ports.push_back(static_cast<int32_t>(p));
        start = comma + 1;
    }
    return !ports.empty();
}

bool ParseGroup(const std::string& text, GroupRequest& group)
{
    const size_t colon = text.find(':');
    if (!ParsePorts(text.substr(0, colon), group.ports)) return false;
    if (colon == std::string::npos) return true;
    const size_t colon2 = text.find(':', colon + 1);
    const std::string kind = text.substr(colon + 1, colon2 == std::string::npos ? std::string::npos : colon2 - colon - 1);
    if (!kind.empty()) {
        if (!ParseSyntax(kind, group.syntax)) return false;
        group.syntaxGiven = true;
    }
    if (colon2 == std::string::npos) return true;
    return ParseQuantity(text.substr(colon2 + 1), group.length) && group.length >= 0.0;
}

}  // namespace

bool ParseQuantity(const std::string& text, double& value)
{
    if (text.empty()) return false;
    char* end = nullptr;
    double parsed = std::strtod(text.c_str(), &end);
    if (end == text.c_str()) return false;
    const std::string suffix(end);
    if (!suffix.empty()) {
        static const std::string letters = "pnumkMGT";
        static const double factors[] = {1e-12, 1e-9, 1e-6, 1e-3, 1e3, 1e6, 1e9, 1e12};
        const size_t at = letters.find(suffix[0]);
        if (suffix.size() != 1 || at == std::string::npos) return false;
        parsed *= factors[at];
    }
    if (!std::isfinite(parsed)) return false;
    value = parsed;
    return true;
}

double UnitMultiplier(const std::string& unit)
{
    if (unit == "Hz") return 1.0;
    if (unit == "kHz") return 1e3;
    if (unit == "MHz") return 1e6;
    if (unit == "GHz") return 1e9;
    return 0.0;
}

const char* ArmSyntaxName(ArmSyntax syntax)
{
    switch (syntax) {
    case ArmSyntax::EP: return "EP";
    case ArmSyntax::ES: return "ES";
    case ArmSyntax::ED: return "ED";
    case ArmSyntax::PlainEP: return "plain-EP";
    case ArmSyntax::PlainED: return "plain-ED";
    }
    return "?";
}

bool IsPlain(ArmSyntax syntax) { return syntax == ArmSyntax::PlainEP || syntax == ArmSyntax::PlainED; }

std::string ParseJobArguments(const std::vector<std::string>& args, JobRequest& request, std::string& directory,
                              bool& helpRequested)
{
    helpRequested = false;
    directory.clear();
    request.commandLine = "vora-jobgen";
    for (const std::string& a : args) request.commandLine += " " + a;

    struct QuantityOption {
        const char* name;
        double* target;
    };
    const QuantityOption quantities[] = {
        {"--length", &request.length},       {"--r-self", &request.rSelf},         {"--r-mutual", &request.rMutual},
        {"--l-self", &request.lSelf},        {"--l-mutual", &request.lMutual},     {"--g-self", &request.gSelf},
        {"--g-mutual", &request.gMutual},    {"--c-self", &request.cSelf},         {"--c-mutual", &request.cMutual},
        {"--er", &request.er},               {"--width", &request.width},          {"--thickness", &request.thickness},
        {"--conductivity", &request.conductivity}, {"--fstart", &request.fStart}, {"--fstop", &request.fStop},
        {"--series-r", &request.seriesR},    {"--series-l", &request.seriesL},     {"--series-c", &request.seriesC},
        {"--r-ref", &request.r},
    };

    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& option = args[i];
        if (option == "--help" || option == "-h") {
            helpRequested = true;
            return "";
        }
        if (option == "--series-shunt") {
            request.seriesShunt = true;
            continue;
        }
        if (option.rfind("--", 0) != 0) {
            if (!directory.empty()) return "more than one job directory given: " + directory + " and " + option;
            directory = option;
            continue;
        }
        if (i + 1 >= args.size()) return "option " + option + " needs a value";
        const std::string& value = args[++i];

        bool handled = false;
        for (const QuantityOption& q : quantities)
            if (option == q.name) {
                if (!ParseQuantity(value, *q.target)) return "bad number for " + option + ": " + value;
                handled = true;
            }
        if (handled) continue;

        int64_t integer = 0;
        if (option == "--ports" || option == "--points") {
            if (!ParseInteger(value, integer)) return "bad count for " + option + ": " + value;
            if (option == "--ports") {
                if (integer < 1 || integer > 512) return "--ports must be 1 to 512";
                request.portCount = static_cast<int32_t>(integer);
            } else {
                if (integer < 1 || integer > 10000000) return "--points must be 1 to 10000000";
                request.points = static_cast<int32_t>(integer);
            }
        } else if (option == "--seed") {
            if (!ParseInteger(value, integer)) return "bad seed: " + value;
            request.seed = static_cast<uint64_t>(integer);
        } else if (option == "--group") {
            GroupRequest group;
            if (!ParseGroup(value, group)) return "bad group (PORTS[:KIND[:LENGTH]]): " + value;
            request.groups.push_back(group);
        } else if (option == "--arm") {
            if (!ParseSyntax(value, request.defaultSyntax)) return "bad arm kind (EP, ES, ED, plain-EP, plain-ED): " + value;
        } else if (option == "--unit") {
            if (UnitMultiplier(value) == 0.0) return "bad unit (Hz, kHz, MHz, GHz): " + value;
            request.unit = value;
        } else if (option == "--version") {
            if (value != "1" && value != "2") return "bad Touchstone version (1, 2): " + value;
            request.version = value == "2" ? 2 : 1;
        } else if (option == "--matrix") {
            if (value != "Full" && value != "Upper" && value != "Lower") return "bad matrix format (Full, Upper, Lower): " + value;
            request.matrixFormat = value;
        } else if (option == "--format") {
            if (value != "RI" && value != "MA" && value != "DB") return "bad format (RI, MA, DB): " + value;
            request.format = value;
        } else if (option == "--arm-grid") {
            if (value == "same") {
                request.armGrid = ArmGrid::Same;
            } else if (value == "offset") {
                request.armGrid = ArmGrid::Offset;
            } else if (value.rfind("fine:", 0) == 0 && ParseInteger(value.substr(5), integer) && integer >= 1 &&
                       integer <= 1000) {
                request.armGrid = ArmGrid::Fine;
                request.fineFactor = static_cast<int32_t>(integer);
            } else if (value.rfind("shifted:", 0) == 0 && ParseInteger(value.substr(8), integer) && integer >= 1 &&
                       integer <= 1000) {
                request.armGrid = ArmGrid::Shifted;
                request.shiftedFactor = static_cast<int32_t>(integer);
            } else {
                return "bad arm grid (same, fine:K, offset, shifted:K): " + value;
            }
        } else if (option == "--device") {
            if (value == "random") request.device = DeviceKind::Random;
            else if (value == "through") request.device = DeviceKind::Through;
            else if (value == "series") request.device = DeviceKind::Series;
            else return "bad device (random, through, series): " + value;
        } else if (option == "--map") {
            if (value.empty() || value.find_first_of("/ \t\"") != std::string::npos) return "bad map file name: " + value;
            request.mapName = value;
        } else {
            return "unknown option " + option;
        }
    }
    if (directory.empty()) return "no job directory given";
    return "";
}

std::string CompleteJobRequest(JobRequest& request)
{
    const int32_t n = request.portCount;
    if (request.groups.empty()) {
        GroupRequest first, second;
        const int32_t half = n / 2;
        for (int32_t p = 1; p <= n; ++p) (p <= half ? first : second).ports.push_back(p);
        if (!first.ports.empty()) request.groups.push_back(first);
        request.groups.push_back(second);
    }
    std::set<int32_t> used;
    bool anyPlain = false, anyExtendedShortOpen = false;
    for (GroupRequest& group : request.groups) {
        if (!group.syntaxGiven) group.syntax = request.defaultSyntax;
        if (group.length < 0.0) group.length = request.length;
        for (int32_t p : group.ports) {
            if (p < 1 || p > n) return "group port " + std::to_string(p) + " is outside 1.." + std::to_string(n);
            if (!used.insert(p).second) return "port " + std::to_string(p) + " is named by two groups";
        }
        if (IsPlain(group.syntax) && group.ports.size() != 1) return "a plain-syntax group has exactly one port";
        if (group.syntax != ArmSyntax::ES && !(group.length > 0.0))
            return "short/open groups need a line length above 0 (a zero-length arm has no short data)";
        anyPlain = anyPlain || IsPlain(group.syntax);
        anyExtendedShortOpen = anyExtendedShortOpen || group.syntax == ArmSyntax::EP || group.syntax == ArmSyntax::ED;
    }
    // ER switches every later arm line to the extended syntax, and EP/ED groups of the
    // extended syntax need ER for their geometry: both cannot share one map file.
    if (anyPlain && anyExtendedShortOpen) return "plain-syntax groups cannot be mixed with extended EP or ED groups";
    // Plain lines must come before any ES line, which switches to the extended syntax.
    std::stable_partition(request.groups.begin(), request.groups.end(),
                          [](const GroupRequest& g) { return IsPlain(g.syntax); });

    if ((request.device == DeviceKind::Through || request.device == DeviceKind::Series) && n % 2 != 0)
        return "the through and series devices pair port k with port k + N/2 and need an even port count";
    if (!(request.fStart > 0.0) || !(request.fStop >= request.fStart)) return "frequencies must satisfy 0 < fstart <= fstop";
    if (request.points < 2 && request.fStop > request.fStart) return "one point needs fstart = fstop";
    if (request.armGrid == ArmGrid::Offset) {
        if (request.points < 2) return "the offset arm grid needs at least 2 points";
        const double step = (request.fStop - request.fStart) / (request.points - 1);
        if (!(request.fStart - 0.5 * step > 0.0)) return "the offset arm grid would reach 0 Hz; raise fstart";
    }
    if (request.armGrid == ArmGrid::Shifted) {
        if (request.points < 2) return "the shifted arm grid needs at least 2 points";
        const double step = (request.fStop - request.fStart) / (request.points - 1) / request.shiftedFactor;
        if (!(request.fStart - step / 3.0 > 0.0)) return "the shifted arm grid would reach 0 Hz; raise fstart";
    }
    if (!(request.r > 0.0)) return "the reference resistance must be above 0";
    if (!(request.er >= 1.0)) return "ER must be at least 1";
    if (!(request.lSelf > 0.0) || !(request.cSelf > 0.0)) return "self inductance and capacitance must be above 0";
    if (request.rSelf < 0.0 || request.gSelf < 0.0) return "losses must not be negative";
    if (!(request.width > 0.0) || !(request.thickness > 0.0) || !(request.conductivity > 0.0))
        return "width, thickness and conductivity must be above 0";
    return "";
}
