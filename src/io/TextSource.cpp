#include "io/TextSource.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

// The fuzz build makes the chunk tiny, so that small inputs cross chunk borders and run
// longer than a chunk.
#ifndef VORA_TEXT_CHUNK_BYTES
#define VORA_TEXT_CHUNK_BYTES (size_t{64} << 10)
#endif

namespace {
// Large enough that the per-chunk cost (a read, moving a partial line) vanishes against
// parsing, small enough that the text stays in the processor's cache between reading and
// parsing, and that the memory of a run is its values.
constexpr size_t chunkSize = VORA_TEXT_CHUNK_BYTES;
}  // namespace

bool TextSource::Open(const std::string& path)
{
    Close();
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return false;
    // fopen succeeds on a directory; reading it would fail later, so refuse it here.
    struct stat info {};
    if (fstat(fileno(f), &info) != 0 || S_ISDIR(info.st_mode)) {
        std::fclose(f);
        return false;
    }
    file_ = f;
    // A file smaller than a chunk gets a buffer of its own size (one more byte, so that the
    // first read meets the end): map files and short arm files are, and a full chunk for
    // each would cost more in page faults than reading them does. Lines longer than the buffer are
    // collected piecewise anyway, so a file that grew since is still read whole.
    const size_t fileBytes = S_ISREG(info.st_mode) && info.st_size >= 0 ? static_cast<size_t>(info.st_size) : chunkSize;
    buffer_.resize(std::min(chunkSize, std::max<size_t>(fileBytes + 1, 64)));
    return true;
}

void TextSource::OpenText(std::string text)
{
    Close();
    textMode_ = true;
    atEnd_ = true;
    buffer_.assign(text.begin(), text.end());
    end_ = buffer_.size();
}

bool TextSource::IsOpen() const { return file_ != nullptr || textMode_; }

void TextSource::Close()
{
    if (file_ != nullptr) std::fclose(file_);
    file_ = nullptr;
    textMode_ = false;
    atEnd_ = false;
    buffer_.clear();
    buffer_.shrink_to_fit();
    begin_ = end_ = 0;
    longLine_.clear();
    lastLine_ = {};
    repeatLast_ = false;
    lineNumber_ = 0;
}

bool TextSource::Refill()
{
    if (file_ == nullptr) {
        atEnd_ = true;
        return false;
    }
    const size_t wanted = buffer_.size() - end_;
    const size_t got = std::fread(buffer_.data() + end_, 1, wanted, file_);
    end_ += got;
    // A read error ends the input like the end of the file does.
    if (got < wanted && (std::feof(file_) || std::ferror(file_))) atEnd_ = true;
    return got > 0;
}

void TextSource::UnreadLine()
{
    repeatLast_ = true;
    --lineNumber_;
}

bool TextSource::NextLine(std::string_view& line)
{
    if (repeatLast_) {
        repeatLast_ = false;
        line = lastLine_;
        ++lineNumber_;
        return true;
    }
    if (!IsOpen()) return false;
    bool inLongLine = false;
    longLine_.clear();
    for (;;) {
        char* const start = buffer_.data() + begin_;
        const size_t available = end_ - begin_;
        const void* feed = available > 0 ? std::memchr(start, '\n', available) : nullptr;
        if (feed != nullptr) {
            const size_t length = static_cast<size_t>(static_cast<const char*>(feed) - start);
            begin_ += length + 1;
            if (inLongLine) {
                longLine_.append(start, length);
                line = longLine_;
            } else {
                line = std::string_view(start, length);
            }
            lastLine_ = line;
            ++lineNumber_;
            return true;
        }
        if (atEnd_) {
            if (available == 0 && !inLongLine) return false;
            // The last line of a file without a final line feed.
            begin_ = end_;
            if (inLongLine) {
                longLine_.append(start, available);
                line = longLine_;
            } else {
                line = std::string_view(start, available);
            }
            lastLine_ = line;
            ++lineNumber_;
            return true;
        }
        if (available == buffer_.size()) {
            // A line longer than the whole chunk: collect it piecewise.
            longLine_.append(start, available);
            inLongLine = true;
            begin_ = end_ = 0;
        } else if (begin_ > 0) {
            std::memmove(buffer_.data(), start, available);
            begin_ = 0;
            end_ = available;
        }
        Refill();
    }
}
