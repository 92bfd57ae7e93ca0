#pragma once
// TokenList: the tokens of one logical line, kept in one buffer (no allocation per token
// once the buffer has grown to the longest line).

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

class TokenList {
public:
    void Clear()
    {
        text_.clear();
        spans_.clear();
    }
    void Add(std::string_view token)
    {
        spans_.push_back({text_.size(), token.size()});
        text_.append(token);
    }
    // Appends " " + word to the last token (a quoted token spanning several words).
    void ExtendLast(std::string_view word)
    {
        text_.push_back(' ');
        text_.append(word);
        spans_.back().length += word.size() + 1;
    }
    size_t size() const { return spans_.size(); }
    bool empty() const { return spans_.empty(); }
    std::string_view operator[](size_t i) const { return {text_.data() + spans_[i].offset, spans_[i].length}; }

private:
    struct Span {
        size_t offset;
        size_t length;
    };
    std::string text_;
    std::vector<Span> spans_;
};
