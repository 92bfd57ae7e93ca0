#pragma once
// TokenList: the tokens of one logical line. A token is a span of the line's own text, so
// splitting a data record copies nothing; only a quoted token that joins several words
// (one blank between them) is built in the list's own buffer.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class TokenList {
public:
    void Clear()
    {
        base_ = nullptr;
        joined_.clear();
        spans_.clear();
        lineStarts_.clear();
    }
    // The text the spans refer to; set again whenever that text has moved (a line that grew).
    void Rebase(const char* base) { base_ = base; }
    // A token at [offset, offset + length) of the text given to Rebase.
    void Add(size_t offset, size_t length) { spans_.push_back({offset, length, offset, false}); }
    // The text from `offset` on came from the file's physical line `lineNumber` (1-based).
    void MarkLine(size_t offset, int64_t lineNumber) { lineStarts_.push_back({offset, lineNumber}); }
    // The physical line token i started on; 0 when no line was marked.
    int64_t LineOf(size_t i) const
    {
        int64_t lineNumber = 0;
        for (const LineStart& start : lineStarts_) {
            if (start.offset > spans_[i].origin) break;
            lineNumber = start.lineNumber;
        }
        return lineNumber;
    }
    // Appends " " + word to the last token (a quoted token spanning several words).
    void ExtendLast(std::string_view word)
    {
        Span& last = spans_.back();
        if (!last.joined) {
            const size_t at = joined_.size();
            joined_.append(base_ + last.offset, last.length);
            last = {at, last.length, last.origin, true};
        }
        joined_.push_back(' ');
        joined_.append(word);
        last.length += word.size() + 1;
    }
    size_t size() const { return spans_.size(); }
    bool empty() const { return spans_.empty(); }
    std::string_view operator[](size_t i) const
    {
        const Span& s = spans_[i];
        return {(s.joined ? joined_.data() : base_) + s.offset, s.length};
    }

private:
    struct Span {
        size_t offset;
        size_t length;
        size_t origin;  // where the token starts in the line, also once joined
        bool joined;    // in joined_, not in the line
    };
    struct LineStart {
        size_t offset;
        int64_t lineNumber;
    };
    const char* base_ = nullptr;
    std::string joined_;
    std::vector<Span> spans_;
    std::vector<LineStart> lineStarts_;
};
