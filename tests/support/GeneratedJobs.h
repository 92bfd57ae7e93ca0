#pragma once
// Jobs written by vora-jobgen around a known device (device.sNp), and how far an engine's
// output lies from that device. Only where the job generator is built.

#if __has_include("jobgen/JobWriter.h")
#define VORA_TESTS_WITH_JOBGEN 1

#include <algorithm>
#include <complex>
#include <cstdlib>
#include <string>
#include <vector>

#include "plot/TouchstoneData.h"

// Every S entry of a ports-port Touchstone file; false when it cannot be read.
inline bool ReadAllEntries(const std::string& path, int32_t ports, TouchstoneSeries& series)
{
    std::string all;
    for (int32_t i = 1; i <= ports; ++i)
        for (int32_t j = 1; j <= ports; ++j) all += (all.empty() ? "S" : ",S") + std::to_string(i) + std::to_string(j);
    std::vector<MatrixEntry> entries;
    return ParseEntries(all, ports, entries).empty() && ReadTouchstoneSeries(path, ports, entries, series).empty();
}

// Largest |S| difference of dir/output from dir/device.sNp over all entries and frequencies;
// -1 when a file is unusable, 1e9 when their frequencies differ by more than `relative`.
inline double DeviationFromDevice(const std::string& dir, int32_t ports, const std::string& output,
                                  double relative = 1e-5)
{
    TouchstoneSeries out, device;
    if (!ReadAllEntries(dir + output, ports, out) ||
        !ReadAllEntries(dir + "device.s" + std::to_string(ports) + "p", ports, device))
        return -1.0;
    if (out.values.size() != device.values.size() || out.frequencies.size() != device.frequencies.size()) return 1e9;
    double worst = 0.0;
    for (size_t k = 0; k < device.frequencies.size(); ++k) {
        if (std::abs(out.frequencies[k] - device.frequencies[k]) > relative * device.frequencies[k]) return 1e9;
        for (size_t e = 0; e < device.values.size(); ++e) worst = std::max(worst, std::abs(out.values[e][k] - device.values[e][k]));
    }
    return worst;
}

// Runs vora-jobgen with `options` into the directory `dir`; true on success.
inline bool GenerateJob(const std::string& options, const std::string& dir)
{
    const std::string command = std::string(VORA_TOOLS_DIR) + "/vora-jobgen " + options + " " + dir + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

#endif
