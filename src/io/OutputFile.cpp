#include "io/OutputFile.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <streambuf>
#include <string>

// The fuzz build makes the buffer tiny, so that every write path is taken by small outputs.
#ifndef VORA_OUTPUT_BUFFER_BYTES
#define VORA_OUTPUT_BUFFER_BYTES (size_t{1} << 20)
#endif

namespace {

std::string Reason(const char* operation, const std::string& path, int error)
{
    return std::string(operation) + " " + path + ": " + std::strerror(error);
}

// A name that is a symbolic link to an existing file names that file: the result replaces
// the file the link points at, and the link stays a link.
std::string ReplacedPath(const std::string& path)
{
    struct stat link {};
    if (::lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) return path;
    char resolved[PATH_MAX];
    if (::realpath(path.c_str(), resolved) == nullptr) return path;
    return resolved;
}

}  // namespace

std::string TemporaryPathFor(const std::string& path)
{
    const size_t slash = path.find_last_of('/');
    const size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    return path.substr(0, nameStart) + "." + path.substr(nameStart) + ".vora-" +
           std::to_string(static_cast<long long>(::getpid())) + ".tmp";
}

// The stream buffer of OutputFile: one large buffer written to a file descriptor with
// write(2), so that Discard can drop what has not been written yet.
class OutputFileBuffer : public std::streambuf {
public:
    OutputFileBuffer() : buffer_(std::make_unique_for_overwrite<char[]>(bufferSize)) { ResetPut(); }
    OutputFileBuffer(const OutputFileBuffer&) = delete;
    OutputFileBuffer& operator=(const OutputFileBuffer&) = delete;
    ~OutputFileBuffer() override { CloseFile(false); }

    bool OpenFile(const std::string& path, bool replacing)
    {
        CloseFile(false);
        failed_ = false;
        reason_.clear();
        finalPath_ = replacing ? ReplacedPath(path) : path;
        openedPath_ = replacing ? TemporaryPathFor(finalPath_) : path;
        // O_NOFOLLOW: a link planted at the temporary name must not redirect the result.
        const int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | (replacing ? O_NOFOLLOW : 0);
        struct stat existing {};
        // A directory under the result's name could never be replaced: refused at once, as
        // opening it for writing would be.
        if (replacing && ::stat(finalPath_.c_str(), &existing) == 0 && S_ISDIR(existing.st_mode)) {
            errno = EISDIR;
            fd_ = -1;
        } else {
            fd_ = ::open(openedPath_.c_str(), flags, 0666);
        }
        if (fd_ < 0) {
            reason_ = Reason("cannot create", replacing ? finalPath_ : openedPath_, errno);
            openedPath_.clear();
        } else if (replacing) {
            // The result keeps the permissions of the file it replaces.
            struct stat previous {};
            if (::stat(finalPath_.c_str(), &previous) == 0) static_cast<void>(::fchmod(fd_, previous.st_mode & 07777));
        }
        replacing_ = replacing;
        ResetPut();
        return fd_ >= 0;
    }
    bool IsOpen() const { return fd_ >= 0; }
    bool IsReplacing() const { return fd_ >= 0 && replacing_; }

    /// writeBuffered false drops the buffer (and a temporary file). false: a write, the
    /// sync, the close or the rename failed; a temporary file is then removed.
    bool CloseFile(bool writeBuffered)
    {
        if (fd_ < 0) return true;
        bool ok = true;
        if (writeBuffered) ok = WriteOut();
        if (ok && writeBuffered && replacing_ && ::fsync(fd_) != 0) ok = Fail("cannot sync", errno);
        if (::close(fd_) != 0 && writeBuffered) ok = Fail("cannot close", errno);
        fd_ = -1;
        ResetPut();
        ok = ok && !failed_;
        if (replacing_) {
            if (ok && writeBuffered) {
                if (::rename(openedPath_.c_str(), finalPath_.c_str()) != 0) ok = Fail("cannot rename onto", errno);
            }
            if (!ok || !writeBuffered) ::unlink(openedPath_.c_str());
        }
        failed_ = false;
        replacing_ = false;
        return ok;
    }

    const std::string& FailureReason() const { return reason_; }
    void KeepCopy() { keepCopy_ = true; }
    const std::string& Copy() const { return copy_; }

protected:
    // A failed write does not put the stream into a failed state: the text after it is still
    // taken (and kept in the copy, so the run log's last lines can still be shown), and the
    // failure is reported by the close. Only a closed file refuses text at once.
    int_type overflow(int_type c) override
    {
        if (fd_ < 0) return traits_type::eof();
        WriteOut();
        if (traits_type::eq_int_type(c, traits_type::eof())) return traits_type::not_eof(c);
        *pptr() = traits_type::to_char_type(c);
        pbump(1);
        return c;
    }

    std::streamsize xsputn(const char* s, std::streamsize count) override
    {
        if (fd_ < 0) return 0;
        const size_t n = static_cast<size_t>(count);
        const size_t room = static_cast<size_t>(epptr() - pptr());
        // A large block of text goes to the file directly, after what is buffered: copying
        // it into the buffer would only add its pages to the run's memory.
        if (n >= directBytes) {
            WriteOut();
            if (keepCopy_) copy_.append(s, n);
            WriteAll(s, n);
            return count;
        }
        // Too big for what is left: write out what is buffered, then buffer the text.
        if (n > room) WriteOut();
        std::memcpy(pptr(), s, n);
        pbump(static_cast<int>(n));
        return count;
    }

    int sync() override
    {
        if (fd_ < 0) return -1;
        WriteOut();
        return 0;
    }

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

    // Records the first failure with the system's reason; returns false.
    bool Fail(const char* operation, int error)
    {
        if (reason_.empty()) reason_ = Reason(operation, replacing_ ? finalPath_ : openedPath_, error);
        failed_ = true;
        return false;
    }

    bool WriteAll(const char* data, size_t n)
    {
        while (n > 0) {
            const ssize_t written = ::write(fd_, data, n);
            if (written < 0) {
                if (errno == EINTR) continue;
                return Fail("cannot write", errno);
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
        if (keepCopy_) copy_.append(buffer_.get(), n);
        return WriteAll(buffer_.get(), n);
    }

    // Not zero-filled: a run log of a few lines touches only the pages it uses.
    std::unique_ptr<char[]> buffer_;
    int fd_ = -1;
    bool failed_ = false;
    bool replacing_ = false;
    std::string finalPath_;   // the name the result gets
    std::string openedPath_;  // the file written: finalPath_, or its temporary file
    std::string reason_;
    bool keepCopy_ = false;
    std::string copy_;
};

OutputFile::OutputFile() : std::ostream(nullptr), buffer_(std::make_unique<OutputFileBuffer>())
{
    rdbuf(buffer_.get());
}

OutputFile::~OutputFile()
{
    // Like a file stream: what is buffered reaches the file when the stream goes away. A
    // result still in its temporary file was not finished: it is dropped.
    buffer_->CloseFile(!buffer_->IsReplacing());
}

bool OutputFile::Open(const std::string& path)
{
    if (!buffer_->OpenFile(path, false)) {
        setstate(std::ios_base::failbit);
        return false;
    }
    clear();
    return true;
}

bool OutputFile::OpenReplacing(const std::string& path)
{
    if (!buffer_->OpenFile(path, true)) {
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

const std::string& OutputFile::FailureReason() const { return buffer_->FailureReason(); }

void OutputFile::KeepCopy() { buffer_->KeepCopy(); }

const std::string& OutputFile::Copy() const { return buffer_->Copy(); }
