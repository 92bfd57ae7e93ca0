// De-embeds the bundled coupled-lines job through the in-memory entry point: the job is
// described here as data (ports, line geometry, calibration groups) and its S-parameters are
// read from the example's Touchstone files by the few lines below, as a caller that has
// them from elsewhere (an instrument, a solver) would hand them over. Prints the de-embedded
// S as a Touchstone file on standard output and the run's log lines on standard error.
//
//   vora-in-memory-example <folder of examples/coupled-lines>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "driver/InMemoryRun.h"

namespace {

// A Touchstone 1 file of m ports in RI form with its frequencies in GHz, as the example's
// files are: the frequencies in Hz and the matrices row by row. Two-port records list
// 11 21 12 22.
ArmData ReadRiFile(const std::string& path, size_t m)
{
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read " + path);
    std::vector<double> numbers;
    std::string line;
    while (std::getline(in, line)) {
        line = line.substr(0, line.find('!'));
        if (line.find('#') != std::string::npos) continue;
        std::istringstream tokens(line);
        for (std::string token; tokens >> token;) numbers.push_back(std::stod(token));
    }
    const size_t width = 1 + 2 * m * m;
    if (numbers.size() % width != 0) throw std::runtime_error(path + ": records of an unexpected length");
    ArmData data;
    for (size_t at = 0; at < numbers.size(); at += width) {
        data.frequencies.push_back(numbers[at] * 1e9);
        std::vector<Complex> matrix(m * m);
        for (size_t p = 0; p < m * m; ++p) {
            const size_t i = m == 2 ? p % 2 : p / m, j = m == 2 ? p / 2 : p % m;
            matrix[i * m + j] = Complex(numbers[at + 1 + 2 * p], numbers[at + 2 + 2 * p]);
        }
        data.values.insert(data.values.end(), matrix.begin(), matrix.end());
    }
    return data;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: vora-in-memory-example <folder of examples/coupled-lines>\n";
        return 2;
    }
    const std::string folder = std::string(argv[1]) + "/";
    try {
        MemoryJob job;
        job.portCount = 5;
        const ArmData whole = ReadRiFile(folder + "whole.s5p", 5);
        job.frequencies = whole.frequencies;
        job.s = whole.values;
        job.referenceResistances = {50.0};
        job.maxRelativePermittivity = 4.3;
        // w, t, l, s of each port's line: ports 3 and 4 lead in through 8 mm, the others 5 mm.
        for (double length : {0.005, 0.005, 0.008, 0.008, 0.005})
            job.portLineGeometry.insert(job.portLineGeometry.end(), {2e-4, 3.5e-5, length, 5.8e7});
        for (const char* arm : {"arm1", "arm2"}) {
            MemoryGroup group;
            group.ports = arm == std::string("arm1") ? std::vector<int32_t>{1, 2} : std::vector<int32_t>{3, 4};
            group.armKind = kArmShortZOpenY;
            group.first = ReadRiFile(folder + arm + "_short.s2p", 2);
            group.open = ReadRiFile(folder + arm + "_open.s2p", 2);
            job.groups.push_back(std::move(group));
        }

        const MemoryResult result = DeembedInMemory(job);
        for (const std::string& line : result.log) std::cerr << line << "\n";
        if (result.status != 0) return 1;
        // The engine's own output form: GHz, six significant digits.
        std::cout << "# GHz S RI R 50\n";
        const size_t N = 5;
        for (size_t k = 0; k < job.frequencies.size(); ++k) {
            std::cout << job.frequencies[k] / 1e9;
            for (size_t e = 0; e < N * N; ++e)
                std::cout << " " << result.values[k * N * N + e].real() << " " << result.values[k * N * N + e].imag();
            std::cout << "\n";
        }
    } catch (const std::exception& e) {
        std::cerr << "vora-in-memory-example: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
