// The Python module's native part (vora._vora): numpy arrays in, numpy arrays out, the
// engine's in-memory entry between them. Argument errors raise ValueError naming the
// argument; a failed run raises vora.Error with the log's failure lines. The GIL is released
// while the engine runs; the engine serialises its own runs.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <unistd.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "driver/Driver.h"
#include "driver/InMemoryRun.h"
#include "parallel/WorkerProcess.h"

namespace py = pybind11;

namespace {

using ComplexArray = py::array_t<std::complex<double>, py::array::c_style | py::array::forcecast>;
using RealArray = py::array_t<double, py::array::c_style | py::array::forcecast>;

std::vector<double> Frequencies(const py::handle& object, const std::string& name)
{
    const RealArray a = RealArray::ensure(object);
    if (!a || a.ndim() != 1) throw py::value_error(name + ": a one-dimensional array of frequencies in Hz is needed");
    std::vector<double> f(a.data(), a.data() + a.size());
    for (double x : f)
        if (!std::isfinite(x)) throw py::value_error(name + ": a frequency is not finite");
    return f;
}

// A (K, m, m) complex array as m x m matrices back to back; m is returned.
std::vector<Complex> Matrices(const py::handle& object, size_t K, const std::string& name, size_t& m)
{
    const ComplexArray a = ComplexArray::ensure(object);
    if (!a || a.ndim() != 3 || a.shape(1) != a.shape(2))
        throw py::value_error(name + ": a complex array of shape (K, N, N) is needed");
    if (static_cast<size_t>(a.shape(0)) != K)
        throw py::value_error(name + ": " + std::to_string(a.shape(0)) + " matrices for " + std::to_string(K) +
                              " frequencies");
    m = static_cast<size_t>(a.shape(1));
    std::vector<Complex> values(a.data(), a.data() + a.size());
    for (const Complex& v : values)
        if (!std::isfinite(v.real()) || !std::isfinite(v.imag())) throw py::value_error(name + ": a value is not finite");
    return values;
}

ArmData Arm(const py::dict& group, const char* key, const std::string& name, size_t expected)
{
    if (!group.contains(key)) throw py::value_error(name + ": '" + key + "' (frequencies, matrices) is missing");
    const py::tuple pair = py::cast<py::tuple>(group[key]);
    if (pair.size() != 2) throw py::value_error(name + "['" + key + "']: a pair (frequencies, matrices) is needed");
    ArmData arm;
    arm.frequencies = Frequencies(pair[0], name + "['" + key + "'] frequencies");
    size_t m = 0;
    arm.values = Matrices(pair[1], arm.frequencies.size(), name + "['" + key + "'] matrices", m);
    if (m != expected)
        throw py::value_error(name + "['" + key + "']: matrices of " + std::to_string(m) + " ports; the group needs " +
                              std::to_string(expected));
    return arm;
}

py::array_t<std::complex<double>> ToArray(const std::vector<Complex>& values, size_t K, size_t N)
{
    py::array_t<std::complex<double>> out({K, N, N});
    std::copy(values.begin(), values.end(), out.mutable_data());
    return out;
}

// The log's failure line: the last that gives a reason ("VORA:: ..."; earlier ones may be
// remarks the run went on after), else the last line before the run's closing verdict.
std::string FailureText(const std::vector<std::string>& log)
{
    for (auto line = log.rbegin(); line != log.rend(); ++line)
        if (line->starts_with("VORA:: ")) return *line;
    return log.size() >= 2 ? log[log.size() - 2] : log.empty() ? std::string("vora failed") : log.back();
}

py::object errorType;

[[noreturn]] void RaiseFailure(const std::vector<std::string>& log)
{
    py::object error = errorType(FailureText(log));
    error.attr("log") = py::cast(log);
    PyErr_SetObject(errorType.ptr(), error.ptr());
    throw py::error_already_set();
}

// Whether only this thread runs Python code: a worker process may then be forked.
bool OnlyPythonThread() { return py::module_::import("threading").attr("active_count")().cast<int>() == 1; }

py::tuple Deembed(const py::handle& frequencies, const py::handle& s, const py::list& groups,
                  const py::object& referenceResistance, const py::object& geometry, const py::object& maxPermittivity)
{
    MemoryJob job;
    job.frequencies = Frequencies(frequencies, "frequencies");
    size_t N = 0;
    job.s = Matrices(s, job.frequencies.size(), "s", N);
    job.portCount = static_cast<int32_t>(N);
    const RealArray R = RealArray::ensure(referenceResistance);
    if (!R || R.ndim() > 1) throw py::value_error("reference_resistance: a number or one per port");
    job.referenceResistances.assign(R.data(), R.data() + R.size());
    if (!geometry.is_none()) {
        const RealArray g = RealArray::ensure(geometry);
        if (!g || g.size() != static_cast<py::ssize_t>(4 * N))
            throw py::value_error("geometry: (N, 4) values w, t, l, s per port are needed");
        job.portLineGeometry.assign(g.data(), g.data() + g.size());
    }
    if (!maxPermittivity.is_none()) job.maxRelativePermittivity = maxPermittivity.cast<double>();
    for (size_t g = 0; g < groups.size(); ++g) {
        const std::string name = "groups[" + std::to_string(g) + "]";
        const py::dict group = py::cast<py::dict>(groups[g]);
        MemoryGroup to;
        if (!group.contains("ports") || !group.contains("kind")) throw py::value_error(name + ": 'ports' and 'kind' are needed");
        to.ports = group["ports"].cast<std::vector<int32_t>>();
        const std::string kind = group["kind"].cast<std::string>();
        const size_t P = to.ports.size();
        if (kind == "EP") {
            to.armKind = kArmShortZOpenY;
            to.first = Arm(group, "short", name, P);
            to.open = Arm(group, "open", name, P);
        } else if (kind == "ED") {
            to.armKind = kArmShortSOpenS;
            to.first = Arm(group, "short", name, P);
            to.open = Arm(group, "open", name, P);
        } else if (kind == "ES") {
            to.armKind = kArmS;
            to.first = Arm(group, "arm", name, 2 * P);
        } else {
            throw py::value_error(name + ": kind must be 'EP', 'ED' or 'ES', not '" + kind + "'");
        }
        job.groups.push_back(std::move(to));
    }
    const bool bOnlyThread = OnlyPythonThread();
    MemoryResult result;
    {
        // Another Python thread may run while this one computes: no fork then.
        py::gil_scoped_release released;
        try {
            result = DeembedInMemory(job, bOnlyThread ? WorkerProcessUse::Allowed : WorkerProcessUse::Never);
        } catch (const std::invalid_argument& e) {
            py::gil_scoped_acquire held;
            throw py::value_error(e.what());
        }
    }
    if (result.status != 0) RaiseFailure(result.log);
    py::module_ warnings = py::module_::import("warnings");
    for (const std::string& w : result.warnings) warnings.attr("warn")("vora: " + w);
    return py::make_tuple(ToArray(result.values, job.frequencies.size(), N), py::cast(result.log));
}

// g per frequency of two two-port S sets: complex (K,).
py::array_t<std::complex<double>> Generalized(const py::handle& frequencies, const py::handle& s1, const py::handle& s2)
{
    const std::vector<double> f = Frequencies(frequencies, "frequencies");
    size_t m1 = 0, m2 = 0;
    const std::vector<Complex> a = Matrices(s1, f.size(), "s1", m1);
    const std::vector<Complex> b = Matrices(s2, f.size(), "s2", m2);
    if (m1 != 2) throw py::value_error("s1: two-port matrices (K, 2, 2) are needed");
    if (m2 != 2) throw py::value_error("s2: two-port matrices (K, 2, 2) are needed");
    const bool bOnlyThread = OnlyPythonThread();
    MemoryResult result;
    {
        py::gil_scoped_release released;
        result = GeneralizedSparamInMemory(f, a, b, bOnlyThread ? WorkerProcessUse::Allowed : WorkerProcessUse::Never);
    }
    if (result.status != 0) RaiseFailure(result.log);
    py::array_t<std::complex<double>> g(result.values.size());
    std::copy(result.values.begin(), result.values.end(), g.mutable_data());
    return g;
}

// The file job exactly as the executable runs it, in this process: (status, log lines).
py::tuple Run(const std::string& jobDir, const std::string& mapFile, const std::string& out)
{
    std::string folder = jobDir;
    if (folder.empty() || folder.back() != '/') folder += '/';
    std::vector<std::string> arguments{"vora", "-filepath", folder, "-in", mapFile, "-out", out};
    std::vector<char*> argv;
    for (std::string& a : arguments) argv.push_back(a.data());
    argv.push_back(nullptr);
    const bool bOnlyThread = OnlyPythonThread();
    int status = -1;
    {
        py::gil_scoped_release released;
        const std::unique_lock<std::mutex> engine = LockEngine();
        std::optional<SplitsInThisProcess> here;
        if (!bOnlyThread) here.emplace();
        std::ostringstream console, errors;  // nothing is printed
        status = RunProgram(static_cast<int>(arguments.size()), argv.data(), console, errors);
    }
    std::vector<std::string> log;
    std::ifstream logFile(folder + "vora_" + std::to_string(::getpid()) + ".log");
    for (std::string line; std::getline(logFile, line);) log.push_back(line);
    return py::make_tuple(status, log);
}

// A Touchstone file read by the engine's reader: (frequencies in Hz, S (K, N, N), R per port).
py::tuple ReadTouchstone(const std::string& path, const py::object& portsGiven)
{
    int32_t ports = 0;
    if (!portsGiven.is_none()) {
        ports = portsGiven.cast<int32_t>();
    } else {
        std::smatch match;
        static const std::regex sNp(R"(\.[sSyYzZ](\d+)[pP]$)");
        if (!std::regex_search(path, match, sNp))
            throw py::value_error("path: the port count is not in the name (.sNp); give ports=");
        ports = std::stoi(match[1]);
    }
    TouchstoneData data;
    {
        py::gil_scoped_release released;
        try {
            data = ReadTouchstoneData(path, ports);
        } catch (const std::invalid_argument& e) {
            py::gil_scoped_acquire held;
            throw py::value_error(e.what());
        }
    }
    if (data.status != 0) RaiseFailure(data.log);
    const size_t N = static_cast<size_t>(ports);
    RealArray frequencies(data.frequencies.size());
    std::copy(data.frequencies.begin(), data.frequencies.end(), frequencies.mutable_data());
    RealArray resistances(data.resistances.size());
    std::copy(data.resistances.begin(), data.resistances.end(), resistances.mutable_data());
    return py::make_tuple(frequencies, ToArray(data.values, data.frequencies.size(), N), resistances);
}

}  // namespace

PYBIND11_MODULE(_vora, m)
{
    m.doc() = "The vora de-embedding engine on numpy arrays";
    errorType = py::reinterpret_borrow<py::object>(PyErr_NewException("vora.Error", PyExc_RuntimeError, nullptr));
    m.attr("Error") = errorType;
    m.def("deembed", &Deembed, py::arg("frequencies"), py::arg("s"), py::arg("groups"),
          py::arg("reference_resistance") = 50.0, py::arg("geometry") = py::none(),
          py::arg("max_permittivity") = py::none());
    m.def("generalized_sparam", &Generalized, py::arg("frequencies"), py::arg("s1"), py::arg("s2"));
    m.def("run", &Run, py::arg("job_dir"), py::arg("map_file"), py::arg("out"));
    m.def("read_touchstone", &ReadTouchstone, py::arg("path"), py::arg("ports") = py::none());
}
