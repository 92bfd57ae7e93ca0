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
    const GroupSpec* spec = nullptr;
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
    JobBuilder(const JobSpec& spec, const std::string& directory, JobReport& report)
        : spec_(spec), directory_(directory), report_(report), multiplier_(UnitMultiplier(spec.unit))
    {
    }

    std::string Run();

private:
    std::string OpenFiles();
    std::string WriteMap();
    // Arm data of every group at one frequency (file unit value fu, Hz f); with
    // haveChains the groups' chain matrices and arm blocks are already those of f.
    std::string WriteArmPoint(double fu, double f, bool haveChains);

    const JobSpec& spec_;
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

    const int32_t n = spec_.portCount;
    for (const GroupSpec& group : spec_.groups) {
        GroupOutput out;
        out.spec = &group;
        out.lines = GroupLines(spec_, group);
        groups_.push_back(std::move(out));
    }
    std::string failure = WriteMap();
    if (!failure.empty()) return failure;
    failure = OpenFiles();
    if (!failure.empty()) return failure;

    DeviceModel device;
    if (spec_.device == DeviceKind::Random)
        device = RandomDevice(n, spec_.r, spec_.seed, spec_.fStart, spec_.fStop);
    else if (spec_.device == DeviceKind::Through)
        device = ThroughDevice(n, spec_.r);
    else
        device = SeriesDevice(n, spec_.r, spec_.seriesR, spec_.seriesL, spec_.seriesC);

    const std::vector<double> wholeGrid = WholeGrid(spec_);
    const std::vector<double> armGrid = ArmGrid(spec_, wholeGrid);
    const bool sameGrid = spec_.armGrid == ArmGrid::Same;

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
            if (!ArmSFromChain(g.chain, spec_.r, g.arm, lineWork_)) return "arm S undefined at " + NumberText(f) + " Hz";
            PlaceArm(g.spec->ports, g.arm, network);
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

    // What keeps the engine from giving the device back exactly.
    const double armTop = armGrid.back() * multiplier_;
    for (size_t k = 0; k < groups_.size(); ++k) {
        const GroupSpec& group = *groups_[k].spec;
        double limit = 0.0;
        if (group.syntax == ArmSyntax::EP || group.syntax == ArmSyntax::ED) {
            limit = AnalysisLimit(spec_.er, group.length);
            if (armTop >= limit)
                report_.warnings.push_back("group " + std::to_string(k + 1) + ": arm data up to " + NumberText(armTop) +
                                           " Hz reach the analysis limit fD = " + NumberText(limit) +
                                           " Hz, above which the engine replaces them");
            const std::vector<double> eps = ModalEffectivePermittivities(groups_[k].lines);
            if (!eps.empty() && eps.back() > spec_.er)
                report_.warnings.push_back("group " + std::to_string(k + 1) + ": slowest mode has effective permittivity " +
                                           NumberText(eps.back()) + " above ER " + NumberText(spec_.er));
        }
        if (group.syntax == ArmSyntax::ED)
            report_.warnings.push_back("group " + std::to_string(k + 1) +
                                       ": ED in the extended syntax is iterated on Z/Y converted from the S files; "
                                       "the result is not the device");
        if (spec_.seriesShunt && group.syntax != ArmSyntax::ES)
            report_.warnings.push_back("group " + std::to_string(k + 1) +
                                       ": --series-shunt writes lumped Z'l and Y'l; the result is approximate");
        report_.analysisLimits.push_back(limit);
    }
    if (spec_.armGrid == ArmGrid::Offset || spec_.armGrid == ArmGrid::Shifted)
        report_.warnings.push_back("offset arm grid: the engine interpolates arm data linearly; the result is approximate");
    return "";
}

std::string JobBuilder::WriteMap()
{
    const int32_t n = spec_.portCount;
    bool needsEr = false;
    for (const GroupSpec& g : spec_.groups)
        needsEr = needsEr || g.syntax == ArmSyntax::EP || g.syntax == ArmSyntax::ED;

    report_.wholeFile = TouchstoneName("whole", n);
    report_.deviceFile = TouchstoneName("device", n);
    report_.outputSuggestion = TouchstoneName("deembedded", n);

    std::string map;
    map += "* " + spec_.commandLine + "\n";
    map += "* known answer: " + report_.deviceFile + "\n";
    if (needsEr) {
        map += "ER " + NumberText(spec_.er) + "\n";
        // Geometry of every port: the group's length for grouped ports, the default else.
        std::vector<double> lengths(static_cast<size_t>(n), spec_.length);
        for (const GroupSpec& g : spec_.groups)
            for (int32_t p : g.ports) lengths[static_cast<size_t>(p - 1)] = g.length;
        map += "NP " + std::to_string(n);
        for (int32_t p = 0; p < n; ++p)
            map += " " + NumberText(spec_.width) + " " + NumberText(spec_.thickness) + " " +
                   NumberText(lengths[static_cast<size_t>(p)]) + " " + NumberText(spec_.conductivity);
        map += "\n";
    } else {
        map += "NP " + std::to_string(n) + "\n";
    }
    map += "NV 1\n";
    map += "NC " + std::to_string(spec_.groups.size()) + "\n";
    map += "WS " + report_.wholeFile + "\n";
    for (size_t k = 0; k < groups_.size(); ++k) {
        GroupOutput& g = groups_[k];
        const GroupSpec& group = *g.spec;
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
    if (!file.Open(directory_ + spec_.mapName)) return "cannot create " + directory_ + spec_.mapName;
    file.Text(map);
    if (!file.Close()) return "writing " + spec_.mapName + " failed";
    report_.files.push_back(spec_.mapName);
    return "";
}

std::string JobBuilder::OpenFiles()
{
    const std::string header = "! " + spec_.commandLine + "\n";
    auto open = [&](TextFileWriter& file, const std::string& name, const std::string& unit, char type) {
        if (!file.Open(directory_ + name)) return false;
        file.Text(header);
        file.Text(OptionLine(unit, type, spec_.r));
        report_.files.push_back(name);
        return true;
    };
    if (!open(whole_, report_.wholeFile, spec_.unit, 'S')) return "cannot create " + report_.wholeFile;
    if (!open(device_, report_.deviceFile, spec_.unit, 'S')) return "cannot create " + report_.deviceFile;
    for (GroupOutput& g : groups_) {
        const ArmSyntax syntax = g.spec->syntax;
        const bool sParameters = syntax == ArmSyntax::ED || syntax == ArmSyntax::PlainED;
        g.first = std::make_unique<TextFileWriter>();
        if (!open(*g.first, g.firstName, spec_.unit, syntax == ArmSyntax::ES || sParameters ? 'S' : 'Z'))
            return "cannot create " + g.firstName;
        if (syntax == ArmSyntax::ES) continue;
        g.second = std::make_unique<TextFileWriter>();
        // The plain form ignores the open file's option line, so its frequencies are in Hz.
        const std::string unit = IsPlain(syntax) ? std::string("Hz") : spec_.unit;
        if (!open(*g.second, g.secondName, unit, sParameters ? 'S' : 'Y')) return "cannot create " + g.secondName;
    }
    return "";
}

std::string JobBuilder::WriteArmPoint(double fu, double f, bool haveChains)
{
    const double omega = 2.0 * M_PI * f;
    for (GroupOutput& g : groups_) {
        const ArmSyntax syntax = g.spec->syntax;
        const int32_t p = g.lines.lineCount;
        if (!haveChains && !(spec_.seriesShunt && syntax != ArmSyntax::ES)) {
            LineChainMatrix(g.lines, omega, g.chain, lineWork_);
            if (syntax == ArmSyntax::ES && !ArmSFromChain(g.chain, spec_.r, g.arm, lineWork_))
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
        if (spec_.seriesShunt) {
            SeriesAndShunt(g.lines, omega, Zshort_, Yopen_);
        } else {
            if (!ShortAndOpenFromChain(g.chain, Zshort_, Yopen_, lineWork_))
                return "short/open data undefined at " + NumberText(f) + " Hz (quarter-wave resonance)";
        }
        const dcm* shortData = &Zshort_;
        const dcm* openData = &Yopen_;
        if (syntax == ArmSyntax::ED || syntax == ArmSyntax::PlainED) {
            if (!ReflectionFromImpedance(Zshort_, spec_.r, Sshort_, lineWork_) ||
                !ReflectionFromAdmittance(Yopen_, spec_.r, Sopen_, lineWork_))
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

std::vector<double> WholeGrid(const JobSpec& spec)
{
    const double multiplier = UnitMultiplier(spec.unit);
    const double start = spec.fStart / multiplier;
    const double stop = spec.fStop / multiplier;
    std::vector<double> grid(static_cast<size_t>(spec.points));
    for (int32_t i = 0; i < spec.points; ++i)
        grid[static_cast<size_t>(i)] =
            spec.points == 1 ? start
                             : CleanGridValue(start + (stop - start) * static_cast<double>(i) / (spec.points - 1));
    grid.back() = stop;
    return grid;
}

std::vector<double> ArmGrid(const JobSpec& spec, const std::vector<double>& whole)
{
    if (spec.armGrid == ArmGrid::Same || whole.size() < 2) return whole;
    const size_t count = whole.size();
    const double step = (whole.back() - whole.front()) / static_cast<double>(count - 1);
    std::vector<double> grid;
    if (spec.armGrid == ArmGrid::Offset) {
        for (size_t i = 0; i <= count; ++i)
            grid.push_back(CleanGridValue(whole.front() + (static_cast<double>(i) - 0.5) * step));
        return grid;
    }
    if (spec.armGrid == ArmGrid::Shifted) {
        // Every whole point lies a third of an arm step above an arm point, never on one and
        // never midway, so interpolation weights that were swapped would show.
        const size_t k = static_cast<size_t>(spec.shiftedFactor);
        const double armStep = step / static_cast<double>(k);
        for (size_t i = 0; i <= k * (count - 1) + 1; ++i)
            grid.push_back(CleanGridValue(whole.front() + (static_cast<double>(i) - 1.0 / 3.0) * armStep));
        return grid;
    }
    const size_t k = static_cast<size_t>(spec.fineFactor);
    for (size_t i = 0; i + 1 < count; ++i)
        for (size_t j = 0; j < k; ++j)
            // Every k-th point is the whole grid's own value, so the engine finds it exactly.
            grid.push_back(j == 0 ? whole[i]
                                 : CleanGridValue(whole[i] + (whole[i + 1] - whole[i]) * static_cast<double>(j) / k));
    grid.push_back(whole.back());
    return grid;
}

LineParameters GroupLines(const JobSpec& spec, const GroupSpec& group)
{
    return CoupledLines(static_cast<int32_t>(group.ports.size()), group.length, spec.rSelf, spec.rMutual, spec.lSelf,
                        spec.lMutual, spec.gSelf, spec.gMutual, spec.cSelf, spec.cMutual);
}

double AnalysisLimit(double er, double length) { return (3e8 / std::sqrt(er)) / (4.0 * length) * 3.0 * 0.25; }

std::string WriteJob(const JobSpec& spec, const std::string& directory, JobReport& report)
{
    JobBuilder builder(spec, directory, report);
    return builder.Run();
}
