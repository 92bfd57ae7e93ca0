#include "io/GeneralizedOutput.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "io/JobOutput.h"
#include "io/NumberFormat.h"
#include "io/OutputFile.h"
#include "job/VoraJob.h"
#include "parallel/OrderedLines.h"

namespace {

// The whole hertz of f as an unsigned 64-bit integer, converted as x86-64 converts a double
// (so NaN, negative and too large frequencies give that machine's values, without the
// undefined behaviour of the plain cast).
uint64_t WholeHertz(double f)
{
    constexpr double two63 = 9223372036854775808.0;
    constexpr uint64_t indefinite = uint64_t{1} << 63;
    const auto truncateSigned = [](double x) -> uint64_t {
        if (!(x > -two63 - 1.0 && x < two63)) return indefinite;
        return static_cast<uint64_t>(static_cast<int64_t>(x));
    };
    if (f >= two63) return truncateSigned(f - two63) ^ indefinite;
    return truncateSigned(f);
}

// Room for one line: the whole hertz, two blocks of four blanks and a number, the line feed.
constexpr size_t kLineRoom = 32 + 2 * (4 + kStreamFixedMaxLength) + 1;

}  // namespace

int32_t WriteGeneralizedOutput(VoraJob& job)
{
    if (!job.outputStream || job.outputStream->fail()) {
        job.logStream << "VORA:: Could not open output file " << job.outputFilePath << "\n";
        return -1;
    }
    const std::vector<Complex>& g = job.generalizedValues;
    const size_t K = std::min(g.size(), job.frequencies.size());
    // The stream's fixed format with 15 decimals, written without the stream.
    const auto formatLine = [&](size_t k, char* line) {
        char* p = std::to_chars(line, line + kLineRoom, WholeHertz(job.frequencies[k])).ptr;
        std::memcpy(p, "    ", 4);
        p = FormatStreamFixed15(p + 4, g[k].real());
        std::memcpy(p, "    ", 4);
        p = FormatStreamFixed15(p + 4, g[k].imag());
        *p++ = '\n';
        return p;
    };
    // A failed run's output never appears, so the lines go to the file in whole chunks.
    OutputFile& out = *job.outputStream;
    WriteTextInOrder(K, kLineRoom, formatLine,
                     [&](const char* text, size_t length) { out.write(text, static_cast<std::streamsize>(length)); });
    return FinishJobOutput(job);
}
