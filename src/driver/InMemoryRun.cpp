#include "driver/InMemoryRun.h"

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "calibration/ArmPreparation.h"
#include "calibration/CalibrationDriver.h"
#include "driver/RunSteps.h"
#include "gsparam/GeneralizedSparam.h"
#include "io/ArmFiles.h"
#include "io/OutputFile.h"
#include "io/WholeStructureFile.h"
#include "job/CalibrationGroupSetUp.h"
#include "job/VoraJob.h"
#include "parallel/WorkerProcess.h"

namespace {

std::mutex engineMutex;

void Require(bool condition, const std::string& what)
{
    if (!condition) throw std::invalid_argument(what);
}

bool AllFinite(const std::vector<double>& values)
{
    for (double v : values)
        if (!std::isfinite(v)) return false;
    return true;
}

bool AllFinite(const std::vector<Complex>& values)
{
    for (const Complex& v : values)
        if (!std::isfinite(v.real()) || !std::isfinite(v.imag())) return false;
    return true;
}

// Position of element (i, j) of an m x m record in the order a Touchstone file holds it:
// row by row, except the two-port's 11 21 12 22.
size_t FilePosition(size_t m, size_t i, size_t j) { return m == 2 ? j * 2 + i : i * m + j; }

// Fills `table` with one record per frequency of m x m values, as a file reader stores them.
void FillRecords(RecordTable& table, const std::vector<Complex>& values, size_t count, size_t m)
{
    table.Reset(static_cast<int64_t>(2 * m * m));
    table.Reserve(count);
    for (size_t k = 0; k < count; ++k) {
        double* record = table.Append();
        const Complex* matrix = values.data() + k * m * m;
        for (size_t i = 0; i < m; ++i) {
            for (size_t j = 0; j < m; ++j) {
                const size_t p = FilePosition(m, i, j);
                record[2 * p] = matrix[i * m + j].real();
                record[2 * p + 1] = matrix[i * m + j].imag();
            }
        }
    }
}

void CheckArm(const ArmData& arm, size_t m, const std::string& name)
{
    Require(!arm.frequencies.empty(), name + ": no frequencies");
    Require(AllFinite(arm.frequencies), name + ": a frequency is not finite");
    Require(arm.values.size() == arm.frequencies.size() * m * m,
            name + ": " + std::to_string(arm.values.size()) + " values for " + std::to_string(arm.frequencies.size()) +
                " frequencies of " + std::to_string(m) + "x" + std::to_string(m) + " matrices");
    Require(AllFinite(arm.values), name + ": a value is not finite");
}

void CheckJob(const MemoryJob& in)
{
    const size_t N = in.portCount > 0 ? static_cast<size_t>(in.portCount) : 0;
    Require(in.portCount >= 1 && in.portCount <= 16383, "s: the port count must be 1 to 16383");
    Require(!in.frequencies.empty(), "frequencies: none given");
    Require(AllFinite(in.frequencies), "frequencies: a frequency is not finite");
    Require(in.s.size() == in.frequencies.size() * N * N,
            "s: " + std::to_string(in.s.size()) + " values for " + std::to_string(in.frequencies.size()) +
                " frequencies of " + std::to_string(N) + "x" + std::to_string(N) + " matrices");
    Require(AllFinite(in.s), "s: a value is not finite");
    Require(in.referenceResistances.size() == 1 || in.referenceResistances.size() == N,
            "reference_resistance: one value, or one per port");
    Require(AllFinite(in.referenceResistances), "reference_resistance: a value is not finite");
    Require(in.portLineGeometry.empty() || in.portLineGeometry.size() == 4 * N,
            "geometry: four values (w, t, l, s) per port");
    Require(AllFinite(in.portLineGeometry), "geometry: a value is not finite");
    Require(std::isfinite(in.maxRelativePermittivity) && in.maxRelativePermittivity >= 0,
            "max_permittivity: must be finite and not negative");
    Require(!in.groups.empty(), "groups: none given");
    for (size_t g = 0; g < in.groups.size(); ++g) {
        const MemoryGroup& group = in.groups[g];
        const std::string name = "groups[" + std::to_string(g) + "]";
        Require(!group.ports.empty(), name + ": no ports");
        for (int32_t port : group.ports)
            Require(port >= 1 && port <= in.portCount,
                    name + ": port " + std::to_string(port) + " is outside 1.." + std::to_string(in.portCount));
        const size_t P = group.ports.size();
        switch (group.armKind) {
        case kArmS: CheckArm(group.first, 2 * P, name + " arm S"); break;
        case kArmShortZOpenY:
            CheckArm(group.first, P, name + " short Z");
            CheckArm(group.open, P, name + " open Y");
            break;
        case kArmShortSOpenS:
            CheckArm(group.first, P, name + " short S");
            CheckArm(group.open, P, name + " open S");
            break;
        default: Require(false, name + ": unknown arm kind " + std::to_string(group.armKind));
        }
    }
}

void FillArm(const ArmData& arm, size_t m, std::vector<double>& frequencies, int32_t& count, RecordTable& values)
{
    frequencies = arm.frequencies;
    count = static_cast<int32_t>(arm.frequencies.size());
    FillRecords(values, arm.values, arm.frequencies.size(), m);
}

// The job as the map, whole-structure and arm readers would have left it.
void BuildJob(const MemoryJob& in, VoraJob& job)
{
    const size_t N = static_cast<size_t>(in.portCount);
    job.bExtendedArmSyntax = 1;
    job.portCount = in.portCount;
    job.bMaxEprNotGiven = in.maxRelativePermittivity > 0 ? 0 : 1;
    if (in.maxRelativePermittivity > 0) job.maxEpr = in.maxRelativePermittivity;
    job.portLineGeometry = in.portLineGeometry.empty() ? std::vector<double>(4 * N, 1.0) : in.portLineGeometry;

    job.wholeStructureFilePath = "s";
    job.frequencies = in.frequencies;
    job.frequencyCount = static_cast<int32_t>(in.frequencies.size());
    FillRecords(job.wholeValues, in.s, in.frequencies.size(), N);
    job.portResistances.assign(N, in.referenceResistances[0]);
    if (in.referenceResistances.size() == N) job.portResistances = in.referenceResistances;

    job.calibrationGroupCount = static_cast<int32_t>(in.groups.size());
    for (size_t g = 0; g < in.groups.size(); ++g) {
        const MemoryGroup& from = in.groups[g];
        CalibrationGroup& group = SetUpCalibrationGroup(job, g, from.armKind, from.ports);
        group.wholeMaxFrequency = job.frequencies.back();
        group.portResistances.clear();
        for (int32_t port : group.ports) group.portResistances.push_back(job.portResistances[static_cast<size_t>(port - 1)]);
        const size_t P = group.ports.size();
        // The log names the argument where a file run names the file.
        const std::string name = "groups[" + std::to_string(g) + "]";
        group.armFile2Path = name + (from.armKind == kArmS ? "['arm']" : "['short']");
        group.armFile1Path = from.armKind == kArmS ? group.armFile2Path : name + "['open']";
        if (!SetUpArmRecordLayout(group)) throw std::invalid_argument(name + ": arm layout");
        if (from.armKind == kArmS) {
            FillArm(from.first, 2 * P, group.shortFrequencies, group.shortRecordCount, group.shortValues);
        } else {
            FillArm(from.first, P, group.shortFrequencies, group.shortRecordCount, group.shortValues);
            FillArm(from.open, P, group.openFrequencies, group.openRecordCount, group.openValues);
        }
    }
}

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    for (size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        lines.emplace_back(text, start, end - start);
        start = end + 1;
    }
    return lines;
}

// The de-embedded matrices as a Touchstone reader reads them back from the output, which
// is written row by row for every port count.
std::vector<Complex> OutputValues(const VoraJob& job)
{
    const size_t N = static_cast<size_t>(job.portCount);
    std::vector<Complex> values(job.vdcm_Sout.size() * N * N);
    for (size_t k = 0; k < job.vdcm_Sout.size(); ++k) {
        const dcm& S = job.vdcm_Sout[k];
        for (size_t i = 0; i < N; ++i)
            for (size_t j = 0; j < N; ++j) {
                const size_t p = FilePosition(N, i, j);
                values[k * N * N + i * N + j] = S(static_cast<int32_t>(p / N), static_cast<int32_t>(p % N));
            }
    }
    return values;
}

}  // namespace

std::unique_lock<std::mutex> LockEngine() { return std::unique_lock<std::mutex>(engineMutex); }

namespace {

// Runs one in-memory job under the engine lock: fill builds the job and computes, returning
// its status; its log ends with the verdict line of the mode (closing) and the result takes
// what done() hands over from the job.
template <class Fill, class Done>
MemoryResult RunGuarded(WorkerProcessUse use, const char* failed, const char* succeeded, Fill fill, Done done)
{
    const std::unique_lock<std::mutex> engine = LockEngine();
    std::optional<SplitsInThisProcess> here;
    if (use == WorkerProcessUse::Never || (use == WorkerProcessUse::WhenSingleThreaded && !ProcessIsSingleThreaded()))
        here.emplace();

    MemoryResult result;
    std::ostringstream log;
    {
        VoraJob job(log);
        try {
            result.status = fill(job) == 0 ? 0 : -1;
            log << (result.status == 0 ? succeeded : failed);
            if (result.status == 0) done(job, result);
        } catch (const std::bad_alloc&) {
            log << "VORA:  Memory allocation error.\n" << failed;
            result.status = -1;
        } catch (const WorkerProcessLost&) {
            log << "VORA:: The worker process was killed or crashed before it finished its share of the frequencies\n"
                << failed;
            result.status = -1;
        }
        result.warnings = job.warnings;
    }
    result.log = LinesOf(log.str());
    return result;
}

}  // namespace

MemoryResult DeembedInMemory(const MemoryJob& in, WorkerProcessUse use)
{
    CheckJob(in);
    return RunGuarded(
        use, "VORA:  Program fails.\n", "VORA:  Program successfully completed.\n",
        [&](VoraJob& job) {
            BuildJob(in, job);
            return LoadPreparedArms(job) == 0 && RunCalibration(job) >= 0 ? 0 : -1;
        },
        [](VoraJob& job, MemoryResult& result) { result.values = OutputValues(job); });
}

MemoryResult GeneralizedSparamInMemory(const std::vector<double>& frequencies, const std::vector<Complex>& s1,
                                       const std::vector<Complex>& s2, WorkerProcessUse use)
{
    Require(!frequencies.empty(), "frequencies: none given");
    Require(AllFinite(frequencies), "frequencies: a frequency is not finite");
    for (const auto& [values, name] : {std::pair{&s1, "s1"}, std::pair{&s2, "s2"}}) {
        Require(values->size() == 4 * frequencies.size(), std::string(name) + ": one 2x2 matrix per frequency is needed");
        Require(AllFinite(*values), std::string(name) + ": a value is not finite");
    }
    return RunGuarded(
        use, "VORA:  Calculate Generalized Sparam fails.\n",
        "VORA:  Calculate Generalized Sparam successfully completed.\n",
        [&](VoraJob& job) {
            job.runMode = 1;
            job.portCount = 2;
            job.frequencies = frequencies;
            job.frequencyCount = static_cast<int32_t>(frequencies.size());
            FillRecords(job.sFile1Values, s1, frequencies.size(), 2);
            FillRecords(job.sFile2Values, s2, frequencies.size(), 2);
            job.sFile1Format = job.sFile2Format = "RI";
            return ComputeGeneralizedSparam(job) < 0 ? -1 : 0;
        },
        [](VoraJob& job, MemoryResult& result) { result.values = job.generalizedValues; });
}

TouchstoneData ReadTouchstoneData(const std::string& path, int32_t ports)
{
    if (ports < 1 || ports > 16383) throw std::invalid_argument("ports: must be 1 to 16383");
    const std::unique_lock<std::mutex> engine = LockEngine();
    TouchstoneData data;
    std::ostringstream log;
    char scratch[] = "/tmp/vora-read-XXXXXX";
    if (::mkdtemp(scratch) == nullptr) throw std::runtime_error("cannot create a scratch folder in /tmp");
    {
        VoraJob job(log);
        job.portCount = ports;
        job.wholeStructureFilePath = path;
        job.outputFilePath = std::string(scratch) + "/header";
        try {
            data.status = ReadWholeStructureFile(job);
        } catch (const std::bad_alloc&) {
            log << "VORA:  Memory allocation error.\n";
            data.status = -1;
        }
        if (job.outputStream) job.outputStream->Discard();
        if (data.status == 0) {
            const size_t N = static_cast<size_t>(ports);
            data.frequencies = job.frequencies;
            data.resistances = job.portResistances;
            data.resistances.resize(N, data.resistances.empty() ? 50.0 : data.resistances.back());
            data.values.resize(job.wholeValues.size() * N * N);
            for (size_t k = 0; k < job.wholeValues.size(); ++k)
                for (size_t i = 0; i < N; ++i)
                    for (size_t j = 0; j < N; ++j) {
                        const size_t p = FilePosition(N, i, j);
                        data.values[k * N * N + i * N + j] = Complex(job.wholeValues[k][2 * p], job.wholeValues[k][2 * p + 1]);
                    }
        }
    }
    ::rmdir(scratch);
    data.log = LinesOf(log.str());
    return data;
}
