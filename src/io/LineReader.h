#pragma once
// The one reader of every text input: logical lines with comments skipped, "+"
// continuation lines joined, and (Touchstone mode) data records gathered over several
// physical lines up to the expected token count.

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "io/TextSource.h"
#include "io/TokenList.h"

enum class CommentMode {
    Map,         // "*" starts a comment; "#" is ordinary text
    Touchstone,  // "!" starts a comment anywhere; "#" starts the option line, "[" a keyword
};

enum class LineStatus {
    Line,       // success flag set: a line (or record, or option line) is in `line`/`tokens`
    EndOfData,  // end of input between lines or records
    Bad,        // success flag cleared: wrong token count, or input ended inside a record
};

/// Reads the next logical line. expectedCount is used in the Touchstone mode only, where
/// text after "!" is a comment on any line, and the option line ("#") and a keyword line
/// ("[") are single lines whose `line` keeps its comment. When echo is given, comment lines
/// are copied to it, each followed by a line feed. The tokens point into `line`: they are
/// valid until `line` is next changed, and know the file line each came from.
[[nodiscard]] LineStatus ReadLogicalLine(TextSource& source, CommentMode mode, std::ostream* echo,
                                         std::string& line, TokenList& tokens, int64_t expectedCount);

/// Splits on white space; a word starting with a double quote is joined (one blank between
/// words) with the following words up to the one that ends with a double quote. The tokens
/// point into the text of `line`.
void SplitTokens(std::string_view line, TokenList& tokens);
