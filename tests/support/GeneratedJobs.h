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

// Largest |a - b| over all entries, comparing a's records from `skipA` on with b's; 1e9 when
// the shapes differ.
inline double LargestDeviation(const TouchstoneSeries& a, const TouchstoneSeries& b, size_t skipA = 0)
{
    if (a.frequencies.size() != b.frequencies.size() + skipA || a.values.size() != b.values.size()) return 1e9;
    double worst = 0.0;
    for (size_t e = 0; e < b.values.size(); ++e)
        for (size_t k = 0; k < b.frequencies.size(); ++k)
            worst = std::max(worst, std::abs(a.values[e][k + skipA] - b.values[e][k]));
    return worst;
}

// Largest deviation of dir/output from dir/device.sNp; -1 when a file is unusable.
inline double DeviationFromDevice(const std::string& dir, int32_t ports, const std::string& output)
{
    TouchstoneSeries out, device;
    if (!ReadAllEntries(dir + output, ports, out) ||
        !ReadAllEntries(dir + "device.s" + std::to_string(ports) + "p", ports, device))
        return -1.0;
    return LargestDeviation(out, device);
}

// Runs vora-jobgen with `options` into the directory `dir`; true on success.
inline bool GenerateJob(const std::string& options, const std::string& dir)
{
    const std::string command = std::string(VORA_TOOLS_DIR) + "/vora-jobgen " + options + " " + dir + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

#endif
