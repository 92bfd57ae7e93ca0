#include "jobgen/JobWriter.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "jobgen/Embedding.h"
#include "jobgen/TouchstoneWriter.h"

namespace {

// A grid value cut to 15 significant digits, so 0.01995 stays 0.01995 in the files rather
// than 0.019950000000000002; the physics uses the same cut value the engine will read.
double CleanGridValue(double value)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.15g", value);
    return std::strtod(text, nullptr);
}

std::string TouchstoneName(const std::string& stem, int32_t ports)
{
    return stem + ".s" + std::to_string(ports) + "p";
}

bool AllFinite(const dcm& M)
{
    for (size_t i = 0; i < M.Size(); ++i)
        if (!std::isfinite(M.data[i].real()) || !std::isfinite(M.data[i].imag())) return false;
    return true;
}

// One group's files and the data it writes per frequency.
struct GroupOutput {
    const GroupRequest* request = nullptr;
    LineParameters lines;
    std::unique_ptr<TextFileWriter> first;   // short file, or the arm S file
    std::unique_ptr<TextFileWriter> second;  // open file (none for ES)
    std::string firstName, secondName;
    ChainMatrix chain;  // at the current frequency
    ArmBlocks arm;
};

// The plain (Nvpl) form reads a 2n-port open file and keeps its diagonal; with one line the
// open admittance stands on both diagonal places.
void DoubledDiagonal(const Complex& value, dcm& M)
{
    M.Resize(2);
    M.SetZero();
    M(0, 0) = value;
    M(1, 1) = value;
}

class JobBuilder {
public:
    JobBuilder(const JobRequest& request, const std::string& directory, JobReport& report)
        : request_(request), directory_(directory), report_(report), multiplier_(UnitMultiplier(request.unit))
    {
    }

    std::string Run();

private:
    std::string OpenFiles();
    std::string WriteMap();
    // Arm data of every group at one frequency (file unit value fu, Hz f); with
    // haveChains the groups' chain matrices and arm blocks are already those of f.
    std::string WriteArmPoint(double fu, double f, bool haveChains);

    const JobRequest& request_;
    std::string directory_;
    JobReport& report_;
    double multiplier_;
    std::vector<GroupOutput> groups_;
    TextFileWriter whole_, device_;
    LineWork lineWork_;
    dcm Zshort_, Yopen_, Sshort_, Sopen_, full_, plainOpen_;
};

std::string JobBuilder::Run()
{
    std::error_code error;
    std::filesystem::create_directories(directory_, error);
    if (error) return "cannot create " + directory_ + ": " + error.message();
    if (!directory_.empty() && directory_.back() != '/') directory_ += '/';

    const int32_t n = request_.portCount;
    for (const GroupRequest& group : request_.groups) {
        GroupOutput out;
        out.request = &group;
        out.lines = GroupLines(request_, group);
        groups_.push_back(std::move(out));
    }
    std::string failure = WriteMap();
    if (!failure.empty()) return failure;
    failure = OpenFiles();
    if (!failure.empty()) return failure;

    DeviceModel device;
    if (request_.device == DeviceKind::Random)
        device = RandomDevice(n, request_.r, request_.seed, request_.fStart, request_.fStop);
    else if (request_.device == DeviceKind::Through)
        device = ThroughDevice(n, request_.r);
    else
        device = SeriesDevice(n, request_.r, request_.seriesR, request_.seriesL, request_.seriesC);

    const std::vector<double> wholeGrid = WholeGrid(request_);
    const std::vector<double> armGrid = ArmGrid(request_, wholeGrid);
    const bool sameGrid = request_.armGrid == ArmGrid::Same;

    ErrorNetwork network;
    EmbeddingWork embedWork;
    dcm Sd, Swhole, work1, work2;
    for (double fu : wholeGrid) {
        const double f = fu * multiplier_;
        const double omega = 2.0 * M_PI * f;
        if (!DeviceS(device, omega, Sd, work1, work2) || !AllFinite(Sd))
            return "the device has no S matrix at " + NumberText(f) + " Hz";
        ResetErrorNetwork(n, network);
        for (GroupOutput& g : groups_) {
            LineChainMatrix(g.lines, omega, g.chain, lineWork_);
            if (!ArmSFromChain(g.chain, request_.r, g.arm, lineWork_)) return "arm S undefined at " + NumberText(f) + " Hz";
            PlaceArm(g.request->ports, g.arm, network);
        }
        if (!EmbedDevice(network, Sd, Swhole, embedWork) || !AllFinite(Swhole))
            return "the whole structure has no S matrix at " + NumberText(f) + " Hz";
        device_.Record(fu, Sd);
        whole_.Record(fu, Swhole);
        if (sameGrid) {
            failure = WriteArmPoint(fu, f, true);
            if (!failure.empty()) return failure;
        }
    }
    if (!sameGrid)
        for (double fu : armGrid) {
            failure = WriteArmPoint(fu, fu * multiplier_, false);
            if (!failure.empty()) return failure;
        }

    if (!whole_.Close() || !device_.Close()) return "writing the whole-structure or device file failed";
    for (GroupOutput& g : groups_) {
        if (g.first && !g.first->Close()) return "writing " + g.firstName + " failed";
        if (g.second && !g.second->Close()) return "writing " + g.secondName + " failed";
    }
    if (request_.version == 2) {
        std::vector<std::string> names{report_.wholeFile};
        for (const GroupOutput& g : groups_) {
            names.push_back(g.firstName);
            if (g.second) names.push_back(g.secondName);
        }
        for (const std::string& name : names) {
            const std::string failure = RewriteAsVersion2(directory_ + name, request_.matrixFormat);
            if (!failure.empty()) return failure;
        }
    }

    // What keeps the engine from giving the device back exactly.
    const double armTop = armGrid.back() * multiplier_;
    for (size_t k = 0; k < groups_.size(); ++k) {
        const GroupRequest& group = *groups_[k].request;
        double limit = 0.0;
        if (group.syntax == ArmSyntax::EP || group.syntax == ArmSyntax::ED) {
            limit = AnalysisLimit(request_.er, group.length);
            if (armTop >= limit)
                report_.warnings.push_back("group " + std::to_string(k + 1) + ": arm data up to " + NumberText(armTop) +
                                           " Hz reach the analysis limit fD = " + NumberText(limit) +
                                           " Hz, above which the engine replaces them");
            const std::vector<double> eps = ModalEffectivePermittivities(groups_[k].lines);
            if (!eps.empty() && eps.back() > request_.er)
                report_.warnings.push_back("group " + std::to_string(k + 1) + ": slowest mode has effective permittivity " +
                                           NumberText(eps.back()) + " above ER " + NumberText(request_.er));
        }
        if (group.syntax == ArmSyntax::ED)
            report_.warnings.push_back("group " + std::to_string(k + 1) +
                                       ": ED in the extended syntax is iterated on Z/Y converted from the S files; "
                                       "the result is not the device");
        if (request_.seriesShunt && group.syntax != ArmSyntax::ES)
            report_.warnings.push_back("group " + std::to_string(k + 1) +
                                       ": --series-shunt writes lumped Z'l and Y'l; the result is approximate");
        report_.analysisLimits.push_back(limit);
    }
    if (request_.armGrid == ArmGrid::Offset || request_.armGrid == ArmGrid::Shifted)
        report_.warnings.push_back("offset arm grid: the engine interpolates arm data linearly; the result is approximate");
    return "";
}

std::string JobBuilder::WriteMap()
{
    const int32_t n = request_.portCount;
    bool needsEr = false;
    for (const GroupRequest& g : request_.groups)
        needsEr = needsEr || g.syntax == ArmSyntax::EP || g.syntax == ArmSyntax::ED;

    report_.wholeFile = TouchstoneName("whole", n);
    report_.deviceFile = TouchstoneName("device", n);
    report_.outputSuggestion = TouchstoneName("deembedded", n);

    std::string map;
    map += "* " + request_.commandLine + "\n";
    map += "* known answer: " + report_.deviceFile + "\n";
    if (needsEr) {
        map += "ER " + NumberText(request_.er) + "\n";
        // Geometry of every port: the group's length for grouped ports, the default else.
        std::vector<double> lengths(static_cast<size_t>(n), request_.length);
        for (const GroupRequest& g : request_.groups)
            for (int32_t p : g.ports) lengths[static_cast<size_t>(p - 1)] = g.length;
        map += "NP " + std::to_string(n);
        for (int32_t p = 0; p < n; ++p)
            map += " " + NumberText(request_.width) + " " + NumberText(request_.thickness) + " " +
                   NumberText(lengths[static_cast<size_t>(p)]) + " " + NumberText(request_.conductivity);
        map += "\n";
    } else {
        map += "NP " + std::to_string(n) + "\n";
    }
    map += "NV 1\n";
    map += "NC " + std::to_string(request_.groups.size()) + "\n";
    map += "WS " + report_.wholeFile + "\n";
    for (size_t k = 0; k < groups_.size(); ++k) {
        GroupOutput& g = groups_[k];
        const GroupRequest& group = *g.request;
        const int32_t p = static_cast<int32_t>(group.ports.size());
        const std::string stem = "arm" + std::to_string(k + 1);
        std::string ports;
        for (int32_t port : group.ports) ports += " " + std::to_string(port);
        switch (group.syntax) {
        case ArmSyntax::ES:
            g.firstName = TouchstoneName(stem, 2 * p);
            map += "ES " + std::to_string(p) + ports + " " + g.firstName + "\n";
            break;
        case ArmSyntax::EP:
        case ArmSyntax::ED:
            g.firstName = TouchstoneName(stem + "_short", p);
            g.secondName = TouchstoneName(stem + "_open", p);
            map += std::string(group.syntax == ArmSyntax::EP ? "EP " : "ED ") + std::to_string(p) + ports + " " +
                   g.secondName + " " + g.firstName + "\n";
            break;
        case ArmSyntax::PlainEP:
        case ArmSyntax::PlainED:
            g.firstName = TouchstoneName(stem + "_short", 1);
            g.secondName = TouchstoneName(stem + "_open", 2);
            map += std::string(group.syntax == ArmSyntax::PlainEP ? "EP" : "ED") + ports + " " + g.secondName + " " +
                   g.firstName + "\n";
            break;
        }
    }
    TextFileWriter file;
    if (!file.Open(directory_ + request_.mapName)) return "cannot create " + directory_ + request_.mapName;
    file.Text(map);
    if (!file.Close()) return "writing " + request_.mapName + " failed";
    report_.files.push_back(request_.mapName);
    return "";
}

std::string JobBuilder::OpenFiles()
{
    const std::string header = "! " + request_.commandLine + "\n";
    auto open = [&](TextFileWriter& file, const std::string& name, const std::string& unit, char type) {
        if (!file.Open(directory_ + name)) return false;
        // The device is the answer the engine's RI output is compared with.
        const std::string format = &file == &device_ ? std::string("RI") : request_.format;
        file.SetFormat(format);
        file.Text(header);
        file.Text(OptionLine(unit, type, request_.r, format));
        report_.files.push_back(name);
        return true;
    };
    if (!open(whole_, report_.wholeFile, request_.unit, 'S')) return "cannot create " + report_.wholeFile;
    if (!open(device_, report_.deviceFile, request_.unit, 'S')) return "cannot create " + report_.deviceFile;
    for (GroupOutput& g : groups_) {
        const ArmSyntax syntax = g.request->syntax;
        const bool sParameters = syntax == ArmSyntax::ED || syntax == ArmSyntax::PlainED;
        g.first = std::make_unique<TextFileWriter>();
        if (!open(*g.first, g.firstName, request_.unit, syntax == ArmSyntax::ES || sParameters ? 'S' : 'Z'))
            return "cannot create " + g.firstName;
        if (syntax == ArmSyntax::ES) continue;
        g.second = std::make_unique<TextFileWriter>();
        // The plain form ignores the open file's option line, so its frequencies are in Hz.
        const std::string unit = IsPlain(syntax) ? std::string("Hz") : request_.unit;
        if (!open(*g.second, g.secondName, unit, sParameters ? 'S' : 'Y')) return "cannot create " + g.secondName;
    }
    return "";
}

std::string JobBuilder::WriteArmPoint(double fu, double f, bool haveChains)
{
    const double omega = 2.0 * M_PI * f;
    for (GroupOutput& g : groups_) {
        const ArmSyntax syntax = g.request->syntax;
        const int32_t p = g.lines.lineCount;
        if (!haveChains && !(request_.seriesShunt && syntax != ArmSyntax::ES)) {
            LineChainMatrix(g.lines, omega, g.chain, lineWork_);
            if (syntax == ArmSyntax::ES && !ArmSFromChain(g.chain, request_.r, g.arm, lineWork_))
                return "arm S undefined at " + NumberText(f) + " Hz";
        }
        if (syntax == ArmSyntax::ES) {
            const ArmBlocks& arm = g.arm;
            full_.Resize(2 * p);
            for (int32_t i = 0; i < p; ++i)
                for (int32_t j = 0; j < p; ++j) {
                    full_(i, j) = arm.Saa(i, j);
                    full_(i, p + j) = arm.Sab(i, j);
                    full_(p + i, j) = arm.Sba(i, j);
                    full_(p + i, p + j) = arm.Sbb(i, j);
                }
            if (!AllFinite(full_)) return "arm S not finite at " + NumberText(f) + " Hz";
            g.first->Record(fu, full_);
            continue;
        }
        if (request_.seriesShunt) {
            SeriesAndShunt(g.lines, omega, Zshort_, Yopen_);
        } else {
            if (!ShortAndOpenFromChain(g.chain, Zshort_, Yopen_, lineWork_))
                return "short/open data undefined at " + NumberText(f) + " Hz (quarter-wave resonance)";
        }
        const dcm* shortData = &Zshort_;
        const dcm* openData = &Yopen_;
        if (syntax == ArmSyntax::ED || syntax == ArmSyntax::PlainED) {
            if (!ReflectionFromImpedance(Zshort_, request_.r, Sshort_, lineWork_) ||
                !ReflectionFromAdmittance(Yopen_, request_.r, Sopen_, lineWork_))
                return "short/open S undefined at " + NumberText(f) + " Hz";
            shortData = &Sshort_;
            openData = &Sopen_;
        }
        if (!AllFinite(*shortData) || !AllFinite(*openData)) return "arm data not finite at " + NumberText(f) + " Hz";
        g.first->Record(fu, *shortData);
        if (IsPlain(syntax)) {
            DoubledDiagonal((*openData)(0, 0), plainOpen_);
            g.second->Record(f, plainOpen_);
        } else {
            g.second->Record(fu, *openData);
        }
    }
    return "";
}

}  // namespace

std::vector<double> WholeGrid(const JobRequest& request)
{
    const double multiplier = UnitMultiplier(request.unit);
    const double start = request.fStart / multiplier;
    const double stop = request.fStop / multiplier;
    std::vector<double> grid(static_cast<size_t>(request.points));
    for (int32_t i = 0; i < request.points; ++i)
        grid[static_cast<size_t>(i)] =
            request.points == 1 ? start
                             : CleanGridValue(start + (stop - start) * static_cast<double>(i) / (request.points - 1));
    grid.back() = stop;
    return grid;
}

std::vector<double> ArmGrid(const JobRequest& request, const std::vector<double>& whole)
{
    if (request.armGrid == ArmGrid::Same || whole.size() < 2) return whole;
    const size_t count = whole.size();
    const double step = (whole.back() - whole.front()) / static_cast<double>(count - 1);
    std::vector<double> grid;
    if (request.armGrid == ArmGrid::Offset) {
        for (size_t i = 0; i <= count; ++i)
            grid.push_back(CleanGridValue(whole.front() + (static_cast<double>(i) - 0.5) * step));
        return grid;
    }
    if (request.armGrid == ArmGrid::Shifted) {
        // Every whole point lies a third of an arm step above an arm point, never on one and
        // never midway, so interpolation weights that were swapped would show.
        const size_t k = static_cast<size_t>(request.shiftedFactor);
        const double armStep = step / static_cast<double>(k);
        for (size_t i = 0; i <= k * (count - 1) + 1; ++i)
            grid.push_back(CleanGridValue(whole.front() + (static_cast<double>(i) - 1.0 / 3.0) * armStep));
        return grid;
    }
    const size_t k = static_cast<size_t>(request.fineFactor);
    for (size_t i = 0; i + 1 < count; ++i)
        for (size_t j = 0; j < k; ++j)
            // Every k-th point is the whole grid's own value, so the engine finds it exactly.
            grid.push_back(j == 0 ? whole[i]
                                 : CleanGridValue(whole[i] + (whole[i + 1] - whole[i]) * static_cast<double>(j) / k));
    grid.push_back(whole.back());
    return grid;
}

LineParameters GroupLines(const JobRequest& request, const GroupRequest& group)
{
    return CoupledLines(static_cast<int32_t>(group.ports.size()), group.length, request.rSelf, request.rMutual, request.lSelf,
                        request.lMutual, request.gSelf, request.gMutual, request.cSelf, request.cMutual);
}

double AnalysisLimit(double er, double length) { return (3e8 / std::sqrt(er)) / (4.0 * length) * 3.0 * 0.25; }

std::string WriteJob(const JobRequest& request, const std::string& directory, JobReport& report)
{
    JobBuilder builder(request, directory, report);
    return builder.Run();
}
