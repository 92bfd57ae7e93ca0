// The two helpers that read or convert Touchstone records in a second thread must give
// exactly what the plain single-threaded loop gives, line for line.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "io/LineReader.h"
#include "io/NumberParser.h"
#include "io/RecordConverter.h"
#include "io/RecordCountEstimate.h"
#include "io/RecordReadAhead.h"

namespace {

// Claimed file size: large enough for the helper thread to be used.
constexpr size_t kLargeFile = size_t{1} << 30;

// Records of 9 tokens (some over two lines), comments, option lines mid-file, unit letters,
// 3,000 records so the rings wrap many times; `tail` ends the text.
std::string Touchstone(const std::string& tail)
{
    std::string text = "! a comment\n# GHz S RI R 50\n";
    for (int k = 0; k < 3000; ++k) {
        text += std::to_string(k) + ".5 0." + std::to_string(k % 7) + " -1e-3 2 3";
        text += k % 3 == 0 ? "\n 4 5 6 7k\n" : " 4 5 6 7\n";
        if (k == 1500) text += "! another\n# MHz S MA R 50\n";
    }
    return text + tail;
}

void ExpectSameLine(const AheadLine& got, LineStatus status, const TokenList& tokens, int64_t expected, int line)
{
    ASSERT_EQ(got.status, status) << line;
    if (status != LineStatus::Line) return;
    ASSERT_EQ(got.tokenCount, tokens.size()) << line;
    const bool option = tokens[0] == "#";
    ASSERT_EQ(got.option, option) << line;
    if (option) {
        EXPECT_EQ(got.unit, tokens.size() > 1 ? std::string(tokens[1]) : "") << line;
        EXPECT_EQ(got.format, tokens.size() > 3 ? std::string(tokens[3]) : "") << line;
        return;
    }
    EXPECT_EQ(got.textBytes, RecordTextBytes(tokens)) << line;
    if (static_cast<int64_t>(tokens.size()) != expected) return;
    ASSERT_EQ(got.numbers.size(), tokens.size()) << line;
    for (size_t k = 0; k < tokens.size(); ++k) ASSERT_EQ(got.numbers[k], ParseNumber(tokens[k])) << line << ":" << k;
}

TEST(RecordReadAhead, GivesWhatThePlainReaderGives)
{
    FillUnitLetterTable();
    // Ends: plainly, with a record cut short, with a line of the wrong length.
    for (const std::string& tail : {std::string(), std::string("9 1 2\n"), std::string("9 1 2 3 4 5 6 7 8 9\n")}) {
        TextSource plain;
        plain.OpenText(Touchstone(tail));
        TextSource ahead;
        ahead.OpenText(Touchstone(tail));
        RecordReadAhead reader(ahead, 9, kLargeFile);
        std::string line;
        TokenList tokens;
        for (int n = 0;; ++n) {
            const LineStatus status = ReadLogicalLine(plain, CommentMode::Touchstone, nullptr, line, tokens, 9);
            ExpectSameLine(reader.Next(), status, tokens, 9, n);
            if (status != LineStatus::Line) {
                // The end is given again, nothing more is read.
                EXPECT_EQ(reader.Next().status, status);
                break;
            }
        }
    }
    ClearUnitLetterTable();

    // Given up after a few lines: the helper stops without reading on.
    TextSource source;
    source.OpenText(Touchstone(""));
    RecordReadAhead early(source, 9, kLargeFile);
    EXPECT_EQ(early.Next().status, LineStatus::Line);
}

TEST(RecordConverter, FillsTheTableAsThePlainLoopDoes)
{
    FillUnitLetterTable();
    const std::string text = Touchstone("");
    RecordTable plain;
    plain.Reset(8);
    {
        TextSource source;
        source.OpenText(text);
        std::string line;
        TokenList tokens;
        while (ReadLogicalLine(source, CommentMode::Touchstone, nullptr, line, tokens, 9) == LineStatus::Line) {
            if (tokens[0] == "#") continue;
            double* row = plain.Append();
            for (size_t k = 1; k < 9; ++k) row[k - 1] = ParseNumber(tokens[k]);
        }
    }
    // From an empty table (which moves as it grows, many times) and with caught-up pauses.
    RecordTable converted;
    converted.Reset(8);
    {
        TextSource source;
        source.OpenText(text);
        RecordConverter converter(converted, 9 * 8, kLargeFile);
        for (;;) {
            RecordSlot& slot = converter.Slot();
            if (ReadLogicalLine(source, CommentMode::Touchstone, nullptr, slot.line, slot.tokens, 9) != LineStatus::Line)
                break;
            if (slot.tokens[0] == "#") {
                converter.CatchUp();
                continue;
            }
            converter.Commit();
        }
        converter.Finish();
    }
    ClearUnitLetterTable();
    ASSERT_EQ(converted.size(), plain.size());
    for (size_t r = 0; r < plain.size(); ++r)
        for (size_t k = 0; k < 8; ++k) ASSERT_EQ(converted[r][k], plain[r][k]) << r << ":" << k;
}

}  // namespace
