#include "io/LineReader.h"

#include <array>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// The white space of formatted stream input in the "C" locale; "\r" of a CRLF file is one.
// A table, because every character of every data file passes through this test.
constexpr std::array<bool, 256> kSpaceTable = [] {
    std::array<bool, 256> table{};
    for (unsigned char c : {' ', '\t', '\n', '\v', '\f', '\r'}) table[c] = true;
    return table;
}();
bool IsSpace(char c) { return kSpaceTable[static_cast<unsigned char>(c)]; }

// The end of the word starting at i: the first white space at or after i, or n. Sixteen
// characters at a time where the processor allows: every white space character is at most
// 0x20, so only such bytes are looked up (control characters below 0x20 that are not white
// space are part of the word).
size_t WordEnd(const char* chars, size_t i, size_t n)
{
#if defined(__SSE2__)
    const __m128i space = _mm_set1_epi8(0x20);
    while (i + 16 <= n) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(chars + i));
        // Bytes that are at most 0x20 as unsigned numbers.
        auto candidates = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_min_epu8(block, space), block)));
        while (candidates != 0) {
            const auto at = static_cast<size_t>(__builtin_ctz(candidates));
            if (IsSpace(chars[i + at])) return i + at;
            candidates &= candidates - 1;
        }
        i += 16;
    }
#endif
    while (i < n && !IsSpace(chars[i])) ++i;
    return i;
}

bool IsBlank(std::string_view line)
{
    for (char c : line)
        if (!IsSpace(c)) return false;
    return true;
}

// Appends the tokens of text[from..] to tokens (SplitTokens without the clearing); the
// tokens refer to text, which must stay where it is while they are used. A quote left open
// runs to the end of the text.
void AppendTokens(std::string_view text, size_t from, TokenList& tokens)
{
    tokens.Rebase(text.data());
    bool inQuote = false;
    size_t i = from;
    const size_t n = text.size();
    const char* const chars = text.data();
    while (i < n) {
        while (i < n && IsSpace(chars[i])) ++i;
        if (i == n) break;
        const size_t wordStart = i;
        i = WordEnd(chars, i, n);
        const size_t length = i - wordStart;
        if (inQuote) {
            tokens.ExtendLast(text.substr(wordStart, length));
            if (chars[i - 1] == '"') inQuote = false;
        } else {
            tokens.Add(wordStart, length);
            // A lone '"' opens a quote; a word both opening and closing one is complete.
            if (chars[wordStart] == '"' && (length < 2 || chars[i - 1] != '"')) inQuote = true;
        }
    }
}

// Touchstone text after "!" is a comment, on any line.
std::string_view WithoutComment(std::string_view physical, CommentMode mode)
{
    if (mode != CommentMode::Touchstone) return physical;
    const size_t bang = physical.find('!');
    return bang == std::string_view::npos ? physical : physical.substr(0, bang);
}

// The next line that is neither blank nor a comment (comments echoed); false at the end.
// `content` is the line without a trailing comment, `physical` the whole line.
bool NextContentLine(TextSource& source, CommentMode mode, std::ostream* echo, std::string_view& physical,
                     std::string_view& content)
{
    const char commentChar = mode == CommentMode::Map ? '*' : '!';
    for (;;) {
        if (!source.NextLine(physical)) return false;
        if (IsBlank(physical)) continue;
        content = WithoutComment(physical, mode);
        if (physical.front() == commentChar || IsBlank(content)) {
            if (echo != nullptr) *echo << physical << '\n';
            continue;
        }
        return true;
    }
}

// Appends every directly following physical line that starts with "+" to line (its text
// after the "+", one blank between). Only the very next line can continue: a blank or
// comment line ends the logical line.
void JoinContinuationLines(TextSource& source, CommentMode mode, std::string& line, TokenList& tokens)
{
    std::string_view physical;
    while (source.NextLine(physical)) {
        if (physical.empty() || physical.front() != '+') {
            source.UnreadLine();
            return;
        }
        line.push_back(' ');
        tokens.MarkLine(line.size(), source.LineNumber());
        line.append(WithoutComment(physical.substr(1), mode));
    }
}

}  // namespace

void SplitTokens(std::string_view line, TokenList& tokens)
{
    tokens.Clear();
    AppendTokens(line, 0, tokens);
}

LineStatus ReadLogicalLine(TextSource& source, CommentMode mode, std::ostream* echo, std::string& line,
                           TokenList& tokens, int64_t expectedCount)
{
    line.clear();
    tokens.Clear();
    std::string_view physical;
    std::string_view content;
    if (!NextContentLine(source, mode, echo, physical, content)) return LineStatus::EndOfData;

    // The option line and the keyword lines of version 2 stand alone. The line keeps its
    // comment (the option line is copied as it is); the tokens do not.
    if (mode == CommentMode::Touchstone && (physical.front() == '#' || physical.front() == '[')) {
        line.assign(physical);
        AppendTokens(std::string_view(line).substr(0, content.size()), 0, tokens);
        tokens.MarkLine(0, source.LineNumber());
        return LineStatus::Line;
    }

    line.assign(content);
    tokens.MarkLine(0, source.LineNumber());
    JoinContinuationLines(source, mode, line, tokens);
    AppendTokens(line, 0, tokens);
    if (mode == CommentMode::Map) return LineStatus::Line;

    // A data record may span several physical lines.
    while (static_cast<int64_t>(tokens.size()) < expectedCount) {
        if (!NextContentLine(source, mode, echo, physical, content)) return LineStatus::Bad;
        const size_t pieceStart = line.size() + 1;
        line.push_back(' ');
        tokens.MarkLine(pieceStart, source.LineNumber());
        line.append(content);
        JoinContinuationLines(source, mode, line, tokens);
        // The line may have moved as it grew: the earlier tokens follow it.
        AppendTokens(line, pieceStart, tokens);
    }
    return static_cast<int64_t>(tokens.size()) == expectedCount ? LineStatus::Line : LineStatus::Bad;
}
