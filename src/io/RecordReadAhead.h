#pragma once
// RecordReadAhead: the logical lines of one Touchstone source, read and converted to
// numbers in a helper thread while the caller works on another file, delivered in file
// order exactly as ReadLogicalLine and ParseNumber would give them there.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "io/LineReader.h"
#include "parallel/HandOver.h"

// One logical line as the caller needs it.
struct AheadLine {
    LineStatus status = LineStatus::EndOfData;
    size_t tokenCount = 0;
    bool option = false;          // the first token is "#"
    std::string unit;             // of an option line: its second and fourth tokens, or empty
    std::string format;
    std::vector<double> numbers;  // ParseNumber of every token, when there are exactly `expected`
    size_t textBytes = 0;         // RecordTextBytes of the tokens
    std::exception_ptr error;     // reading threw (out of memory): rethrown by Next
};

class RecordReadAhead {
public:
    /// Starts reading `source` (Touchstone comments, records of `expected` tokens, a file of
    /// `fileBytes`) ahead; for a small file, or with a single processor, Next reads when
    /// asked: a helper's start and hand-overs would cost more than they save.
    RecordReadAhead(TextSource& source, int64_t expected, size_t fileBytes);
    ~RecordReadAhead();
    RecordReadAhead(const RecordReadAhead&) = delete;
    RecordReadAhead& operator=(const RecordReadAhead&) = delete;

    /// The next logical line, valid until the next call. After a line that is not
    /// LineStatus::Line nothing more is read, and that line is given again.
    const AheadLine& Next();

private:
    void Read(AheadLine& entry);

    TextSource& source_;
    const int64_t expected_;
    std::string line_;
    TokenList tokens_;
    std::unique_ptr<HandOver<AheadLine>> lines_;
    AheadLine* current_ = nullptr;  // the caller's line, from lines_
    AheadLine inline_;              // without the thread
    bool ended_ = false;
    std::thread thread_;
};
