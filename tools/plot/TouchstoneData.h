#pragma once
// Minimal Touchstone reading for plotting: the records of an N-port in the row-major order
// of the de-embedding files, only the entries asked for.

#include <complex>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct MatrixEntry {
    int32_t row = 0, column = 0;  // 0-based
    std::string name;             // as given, e.g. "S21"
};

struct TouchstoneSeries {
    std::vector<double> frequencies;                       // Hz
    std::vector<std::vector<std::complex<double>>> values; // [entry][frequency]
};

/// Parses "S11,S21,S10_12" (1-based row then column; "_" separates numbers of several
/// digits). Returns "" or the reason.
std::string ParseEntries(const std::string& text, int32_t ports, std::vector<MatrixEntry>& entries);

/// Reads `path` as an N-port (2·N²+1 numbers per record, records may span lines; "!"
/// comments; "#" option line with unit and RI/MA/DB format). Returns "" or the reason.
std::string ReadTouchstoneSeries(const std::string& path, int32_t ports, const std::vector<MatrixEntry>& entries,
                                 TouchstoneSeries& series);
