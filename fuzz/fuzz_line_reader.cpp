// The line reader and the number parser on arbitrary text. Byte 0 chooses the comment
// mode, the echo and the expected record length (bit 1 is not used); the rest is the text.
// Every token is parsed, and the parser's fast path is checked against the C library's
// conversion that it must agree with.

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "io/LineReader.h"
#include "io/NumberParser.h"
#include "io/TextSource.h"

namespace {

// ParseNumber as its contract states it: strtod of the text before the first letter other
// than E/e, times the letter's multiplier.
double ReferenceNumber(std::string_view text)
{
    size_t at = 0;
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    while (at < text.size() && !(isLetter(text[at]) && text[at] != 'e' && text[at] != 'E')) ++at;
    double multiplier = 1.0;
    if (at < text.size()) {
        switch (text[at]) {
        case 'p': case 'P': multiplier = 1e-12; break;
        case 'n': case 'N': multiplier = 1e-9; break;
        case 'u': case 'U': multiplier = 1e-6; break;
        case 'm': multiplier = 1e-3; break;
        case 'k': case 'K': multiplier = 1e3; break;
        case 'M': multiplier = 1e6; break;
        case 'G': multiplier = 1e9; break;
        case 'T': multiplier = 1e12; break;
        default: break;
        }
    }
    const std::string prefix(text.substr(0, at));
    return std::strtod(prefix.c_str(), nullptr) * multiplier;
}

bool SameDouble(double a, double b) { return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1) return 0;
    const uint8_t control = data[0];
    const CommentMode mode = (control & 1) != 0 ? CommentMode::Touchstone : CommentMode::Map;
    const bool bEcho = (control & 4) != 0;
    const int64_t expectedCount = control >> 3;  // 0 .. 31

    TextSource source;
    source.OpenText(std::string(reinterpret_cast<const char*>(data + 1), size - 1));
    std::ostringstream echo;
    std::string line;
    TokenList tokens;
    std::string unquoted;
    // Every call consumes at least one physical line, so the count of calls is bounded.
    for (size_t calls = 0; calls <= size; ++calls) {
        const LineStatus status = ReadLogicalLine(source, mode, bEcho ? &echo : nullptr, line, tokens, expectedCount);
        if (status == LineStatus::EndOfData) return 0;
        for (size_t i = 0; i < tokens.size(); ++i) {
            const std::string_view token = tokens[i];
            if (token.empty()) __builtin_trap();
            if (!SameDouble(ParseNumber(token), ReferenceNumber(token))) __builtin_trap();
            if (StripQuotes(token, unquoted) && unquoted.size() + 2 != token.size()) __builtin_trap();
        }
    }
    __builtin_trap();  // the reader did not reach the end of its input
}
