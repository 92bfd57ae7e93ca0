#pragma once
// TextSource: a text file read in large chunks and handed out as physical lines, so that
// memory holds one chunk and the values parsed from it, never the whole file.

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

class TextSource {
public:
    TextSource() = default;
    TextSource(const TextSource&) = delete;
    TextSource& operator=(const TextSource&) = delete;
    ~TextSource() { Close(); }

    /// false: the file cannot be opened for reading (a directory counts as unopenable).
    [[nodiscard]] bool Open(const std::string& path);
    /// Reads from the given text instead of a file (tests, fuzz targets).
    void OpenText(std::string text);
    bool IsOpen() const;
    void Close();

    /// The next physical line without its line feed; false at the end of the input.
    /// The view stays valid until the next call.
    [[nodiscard]] bool NextLine(std::string_view& line);
    /// Makes the next NextLine hand out the line it last returned again (one line of
    /// look-ahead for continuation lines). Only valid directly after a successful NextLine.
    void UnreadLine();
    /// The 1-based number of the physical line NextLine last handed out (0 before the first).
    int64_t LineNumber() const { return lineNumber_; }

private:
    bool Refill();

    std::FILE* file_ = nullptr;
    bool textMode_ = false;
    bool atEnd_ = false;
    std::vector<char> buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
    std::string longLine_;
    std::string_view lastLine_;
    bool repeatLast_ = false;
    int64_t lineNumber_ = 0;
};
