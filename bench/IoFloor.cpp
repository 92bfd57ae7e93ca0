// The I/O floor of a job: the least work any program doing the engine's job must do. It
// reads every input file in 64 KiB chunks (which stay in the cache between reading and parsing), converts every number with the fastest correct
// conversion (from_chars), and writes as many output numbers as the engine writes, in the
// engine's format, taking them from the first file's records as they stream past. No
// matrices, no calibration: the engine's time over this program's is its overhead.
//
//   vora-iofloor touchstone N OUT WHOLE [ARM ...]   de-embedding: the body of an N-port output
//   vora-iofloor gsparam OUT FILE1 FILE2            generalized mode: one line per record
//
// Prints the count of numbers read and their sum (so that nothing is optimised away).

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "io/NumberFormat.h"

namespace {

constexpr size_t kChunk = size_t{64} << 10;

constexpr std::array<bool, 256> kSpace = [] {
    std::array<bool, 256> table{};
    for (unsigned char c : {' ', '\t', '\n', '\v', '\f', '\r'}) table[c] = true;
    return table;
}();

class Output {
public:
    explicit Output(const char* path) : fd_(::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0666)), buffer_(kChunk + 4096) {}
    ~Output() { Flush(); if (fd_ >= 0) ::close(fd_); }
    bool ok() const { return fd_ >= 0; }
    // Room for one more piece of at most 4 KiB.
    char* Reserve()
    {
        if (used_ >= kChunk) Flush();
        return buffer_.data() + used_;
    }
    void Commit(char* end) { used_ = static_cast<size_t>(end - buffer_.data()); }
    void Flush()
    {
        size_t done = 0;
        while (done < used_) {
            const ssize_t n = ::write(fd_, buffer_.data() + done, used_ - done);
            if (n <= 0) std::exit(1);
            done += static_cast<size_t>(n);
        }
        used_ = 0;
    }

private:
    int fd_;
    std::vector<char> buffer_;
    size_t used_ = 0;
};

// Writes the numbers of the first file's data records in the engine's layout.
class RecordWriter {
public:
    RecordWriter(Output& out, bool gsparam, int64_t ports) : out_(out), gsparam_(gsparam), ports_(ports) {}
    void Number(double v)
    {
        char* p = out_.Reserve();
        if (gsparam_) {
            // record: f, then S11 .. S22 as pairs; the engine writes f, and one complex number
            if (position_ == 0) {
                p = std::to_chars(p, p + 32, static_cast<uint64_t>(v)).ptr;
            } else if (position_ <= 2) {
                std::memcpy(p, "    ", 4);
                p = std::to_chars(p + 4, p + 64, v, std::chars_format::fixed, 15).ptr;
                if (position_ == 2) *p++ = '\n';
            }
            position_ = position_ == 8 ? 0 : position_ + 1;
        } else {
            const int64_t entries = ports_ * ports_;
            if (position_ == 0) {
                p = FormatStreamDefault(p, v);
            } else {
                *p++ = ' ';
                p = FormatStreamDefault(p, v);
                if (position_ % 2 == 0) {
                    const int64_t entry = position_ / 2;
                    if (ports_ > 6 && entry % 4 == 0 && entry != entries) {
                        *p++ = '\n';
                        *p++ = '\t';
                    }
                    if (entry == entries) *p++ = '\n';
                }
            }
            position_ = position_ == 2 * entries ? 0 : position_ + 1;
        }
        out_.Commit(p);
    }

private:
    Output& out_;
    bool gsparam_;
    int64_t ports_;
    int64_t position_ = 0;
};

struct Totals {
    int64_t count = 0;
    double sum = 0.0;
};

// Reads one file, converting every number of its data lines ("!" comments and the "#"
// option line skipped); hands each to writer when one is given.
bool ReadFile(const char* path, Totals& totals, RecordWriter* writer)
{
    const int fd = ::open(path, O_RDONLY);
    if (fd < 0) return false;
    std::vector<char> buffer(kChunk + 1);
    size_t kept = 0;  // bytes of an unfinished line carried to the next chunk
    for (;;) {
        const ssize_t got = ::read(fd, buffer.data() + kept, buffer.size() - 1 - kept);
        if (got < 0) {
            ::close(fd);
            return false;
        }
        const bool atEnd = got == 0;
        size_t end = kept + static_cast<size_t>(got);
        if (atEnd) buffer[end++] = '\n';  // close the last line
        size_t lineStart = 0;
        for (;;) {
            const void* feed = std::memchr(buffer.data() + lineStart, '\n', end - lineStart);
            if (feed == nullptr) break;
            const size_t lineEnd = static_cast<size_t>(static_cast<const char*>(feed) - buffer.data());
            const char first = buffer[lineStart];
            if (first != '!' && first != '#') {
                size_t i = lineStart;
                while (i < lineEnd) {
                    while (i < lineEnd && kSpace[static_cast<unsigned char>(buffer[i])]) ++i;
                    const size_t start = i;
                    while (i < lineEnd && !kSpace[static_cast<unsigned char>(buffer[i])]) ++i;
                    if (i == start) break;
                    double v = 0.0;
                    std::from_chars(buffer.data() + start, buffer.data() + i, v);
                    ++totals.count;
                    totals.sum += v;
                    if (writer != nullptr) writer->Number(v);
                }
            }
            lineStart = lineEnd + 1;
        }
        if (atEnd) break;
        kept = end - lineStart;
        if (kept == buffer.size() - 1) {  // a line longer than the buffer: grow
            buffer.resize(buffer.size() * 2);
        }
        std::memmove(buffer.data(), buffer.data() + lineStart, kept);
    }
    ::close(fd);
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string mode = argc > 1 ? argv[1] : "";
    int first;
    int64_t ports = 2;
    if (mode == "touchstone" && argc >= 5) {
        ports = std::strtoll(argv[2], nullptr, 10);
        first = 4;
    } else if (mode == "gsparam" && argc == 5) {
        first = 3;
    } else {
        std::fprintf(stderr,
                     "usage: vora-iofloor touchstone N OUT WHOLE [ARM ...]\n"
                     "       vora-iofloor gsparam OUT FILE1 FILE2\n");
        return 2;
    }
    Output out(argv[first - 1]);
    if (!out.ok() || ports < 1) return 1;
    RecordWriter writer(out, mode == "gsparam", ports);
    Totals totals;
    for (int a = first; a < argc; ++a)
        if (!ReadFile(argv[a], totals, a == first ? &writer : nullptr)) return 1;
    std::printf("%lld numbers, sum %g\n", static_cast<long long>(totals.count), totals.sum);
    return 0;
}
