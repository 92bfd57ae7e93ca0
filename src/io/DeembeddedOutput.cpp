#include "io/DeembeddedOutput.h"

#include <algorithm>

#include "io/JobOutput.h"
#include "io/NumberFormat.h"
#include "io/OutputFile.h"
#include "job/VoraJob.h"
#include "parallel/OrderedLines.h"

int32_t WriteDeembeddedOutput(VoraJob& job)
{
    if (!job.outputStream) return FinishJobOutput(job);
    OutputFile& out = *job.outputStream;
    const int32_t N = static_cast<int32_t>(job.portCount);
    const int64_t entries = static_cast<int64_t>(N) * N;
    const bool wrap = N > 6;
    const size_t K = std::min({static_cast<size_t>(std::max(job.frequencyCount, 0)), job.frequencies.size(),
                               job.vdcm_Sout.size()});
    // One line of text per frequency: the frequency, two numbers per entry with a blank
    // before each, a wrap after every fourth entry and the line feed.
    const int precision = job.outputPrecision;
    const size_t numberRoom = precision == 0 ? kStreamNumberMaxLength : kOutputNumberMaxLength;
    const size_t lineRoom =
        static_cast<size_t>(2 * entries + 1) * (numberRoom + 1) + static_cast<size_t>(entries / 4 + 1) * 2 + 1;
    const auto formatLine = [&](size_t k, char* p) {
        p = FormatOutputNumber(p, job.frequencies[k] / job.freqUnitFactor, precision);
        const dcm& S = job.vdcm_Sout[k];
        int64_t entry = 0;
        for (int32_t r = 0; r < N; ++r) {
            for (int32_t c = 0; c < N; ++c) {
                *p++ = ' ';
                p = FormatOutputNumber(p, S(r, c).real(), precision);
                *p++ = ' ';
                p = FormatOutputNumber(p, S(r, c).imag(), precision);
                ++entry;
                if (wrap && entry % 4 == 0 && entry != entries) {
                    *p++ = '\n';
                    *p++ = '\t';
                }
            }
        }
        *p++ = '\n';
        return p;
    };
    if (K > 0 && N > 0)
        WriteTextInOrder(K, lineRoom, formatLine,
                         [&](const char* text, size_t length) { out.write(text, static_cast<std::streamsize>(length)); });
    if (job.bOutputVersion2 != 0) out << "[End]\n";
    return FinishJobOutput(job);
}
