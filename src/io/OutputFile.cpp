#include "io/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <streambuf>

// The fuzz build makes the buffer tiny, so that every write path is taken by small outputs.
#ifndef VORA_OUTPUT_BUFFER_BYTES
#define VORA_OUTPUT_BUFFER_BYTES (size_t{1} << 20)
#endif

// The stream buffer of OutputFile: one large buffer written to a file descriptor with
// write(2), so that Discard can drop what has not been written yet.
class OutputFileBuffer : public std::streambuf {
public:
    OutputFileBuffer() : buffer_(std::make_unique_for_overwrite<char[]>(bufferSize)) { ResetPut(); }
    OutputFileBuffer(const OutputFileBuffer&) = delete;
    OutputFileBuffer& operator=(const OutputFileBuffer&) = delete;
    ~OutputFileBuffer() override { CloseFile(false); }

    bool OpenFile(const std::string& path)
    {
        CloseFile(false);
        fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        failed_ = false;
        ResetPut();
        return fd_ >= 0;
    }
    bool IsOpen() const { return fd_ >= 0; }

    /// writeBuffered false drops the buffer. false: a write or the close failed.
    bool CloseFile(bool writeBuffered)
    {
        if (fd_ < 0) return true;
        bool ok = true;
        if (writeBuffered) ok = WriteOut();
        if (::close(fd_) != 0) ok = false;
        fd_ = -1;
        ResetPut();
        ok = ok && !failed_;
        failed_ = false;
        return ok;
    }

protected:
    int_type overflow(int_type c) override
    {
        if (!WriteOut()) return traits_type::eof();
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
        return c;
    }

    std::streamsize xsputn(const char* s, std::streamsize count) override
    {
        const size_t n = static_cast<size_t>(count);
        const size_t room = static_cast<size_t>(epptr() - pptr());
        // A large block of text goes to the file directly, after what is buffered: copying
        // it into the buffer would only add its pages to the run's memory.
        if (n >= directBytes) {
            if (!WriteOut()) return 0;
            return WriteAll(s, n) ? count : 0;
        }
        if (n <= room) {
            std::memcpy(pptr(), s, n);
            pbump(static_cast<int>(n));
            return count;
        }
        // Too big for what is left: write out what is buffered, then buffer the text.
        if (!WriteOut()) return 0;
        std::memcpy(pptr(), s, n);
        pbump(static_cast<int>(n));
        return count;
    }

    int sync() override { return WriteOut() ? 0 : -1; }

private:
    static constexpr size_t bufferSize = VORA_OUTPUT_BUFFER_BYTES;
    static constexpr size_t directBytes = std::min(bufferSize, size_t{16} << 10);

    // A closed file gets no put area, so that writing to it fails at once.
    void ResetPut()
    {
        if (fd_ >= 0)
            setp(buffer_.get(), buffer_.get() + bufferSize);
        else
            setp(nullptr, nullptr);
    }

    bool WriteAll(const char* data, size_t n)
    {
        while (n > 0) {
            const ssize_t written = ::write(fd_, data, n);
            if (written < 0) {
                if (errno == EINTR) continue;
                failed_ = true;
                return false;
            }
            data += written;
            n -= static_cast<size_t>(written);
        }
        return true;
    }

    bool WriteOut()
    {
        if (fd_ < 0) return false;
        const size_t n = static_cast<size_t>(pptr() - pbase());
        ResetPut();
        if (n == 0) return !failed_;
        return WriteAll(buffer_.get(), n);
    }

    // Not zero-filled: a run log of a few lines touches only the pages it uses.
    std::unique_ptr<char[]> buffer_;
    int fd_ = -1;
    bool failed_ = false;
};

OutputFile::OutputFile() : std::ostream(nullptr), buffer_(std::make_unique<OutputFileBuffer>())
{
    rdbuf(buffer_.get());
}

OutputFile::~OutputFile()
{
    // Like a file stream: what is buffered reaches the file when the stream goes away.
    buffer_->CloseFile(true);
}

bool OutputFile::Open(const std::string& path)
{
    if (!buffer_->OpenFile(path)) {
        setstate(std::ios_base::failbit);
        return false;
    }
    clear();
    return true;
}

bool OutputFile::IsOpen() const { return buffer_->IsOpen(); }

bool OutputFile::Close()
{
    if (!buffer_->IsOpen()) {
        setstate(std::ios_base::failbit);
        return false;
    }
    if (!buffer_->CloseFile(true)) {
        setstate(std::ios_base::failbit);
        return false;
    }
    return true;
}

void OutputFile::Discard() { buffer_->CloseFile(false); }
