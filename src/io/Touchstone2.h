#pragma once
// The keywords of Touchstone version 2 files, and where each value pair of a record goes.
// Records of any version are stored as version 1 lays them out: an N-port's element (i, j)
// at pair i·N + j, except that a two-port's pairs come in the order 11 21 12 22, so every
// later step sees a version-2 file as it sees a version-1 file.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "io/TextSource.h"

enum class MatrixFormat : uint8_t { Full, Upper, Lower };

/// What the keywords of a file said so far.
struct Touchstone2Header {
    bool bVersion2 = false;
    int64_t portCount = -1;            // [Number of Ports]; -1: not given
    bool bOrder21_12 = false;          // [Two-Port Data Order]
    int64_t frequencyCount = -1;       // [Number of Frequencies]; -1: not given
    std::vector<double> references;    // [Reference]: one, or one per port
    MatrixFormat matrixFormat = MatrixFormat::Full;
    bool bNetworkData = false;         // [Network Data] read
    bool bEnd = false;                 // [End] read
};

/// Reads the keyword line `line` (text after "!" removed; starts with "["), taking further
/// physical lines from `source` where the keyword's values continue ([Reference]) or are
/// read past ([Noise Data] up to the next keyword). Returns "" or the reason it cannot be
/// read (a keyword this program does not read, a value that is not what the keyword takes).
[[nodiscard]] std::string ReadKeywordLine(TextSource& source, std::string_view line, Touchstone2Header& header);

/// Where the value pairs of a record go: pair p to pair target[p] of the stored row and,
/// for a triangular matrix, also to mirror[p] (-1: none). Empty target: in place.
struct RecordLayout {
    int64_t valueCount = 0;  // values in a record after its frequency
    std::vector<int32_t> target;
    std::vector<int32_t> mirror;
};

/// The layout of an N-port's records under the header.
void MakeRecordLayout(const Touchstone2Header& header, int64_t N, RecordLayout& layout);

/// The reference resistances of N ports: [Reference] (one value for all, or one each),
/// else R of the option line. false when [Reference] gives another count.
[[nodiscard]] bool PortReferences(const Touchstone2Header& header, int64_t N, double optionR, std::vector<double>& R);
