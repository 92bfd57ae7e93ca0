#include "io/LineReader.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

#include "support/VoraRun.h"

namespace {

// Every answer of the reader over the whole text, one entry per call: "tok|tok|..." for a
// line, "BAD" and "END". Stops after the first END.
std::string ReadAll(const std::string& text, CommentMode mode, int64_t expectedCount, std::ostream* echo = nullptr)
{
    TextSource source;
    source.OpenText(text);
    std::string line;
    TokenList tokens;
    std::string result;
    for (int calls = 0; calls < 100; ++calls) {
        const LineStatus status = ReadLogicalLine(source, mode, echo, line, tokens, expectedCount);
        if (!result.empty()) result += " / ";
        if (status == LineStatus::EndOfData) return result + "END";
        if (status == LineStatus::Bad) {
            result += "BAD";
            continue;
        }
        for (size_t i = 0; i < tokens.size(); ++i) result += (i > 0 ? "|" : "") + std::string(tokens[i]);
    }
    return result + "(no end)";
}

TEST(SplitTokens, SeparatesOnWhiteSpaceAndKeepsQuotedWordsTogether)
{
    const auto split = [](const std::string& line) {
        TokenList tokens;
        SplitTokens("stale", tokens);
        SplitTokens(line, tokens);
        std::string result;
        for (size_t i = 0; i < tokens.size(); ++i) result += (i > 0 ? "|" : "") + std::string(tokens[i]);
        return result;
    };
    EXPECT_EQ(split("  a\tb \v c\f d\r"), "a|b|c|d");
    EXPECT_EQ(split("SF \"my  arm file.s4p\" 3"), "SF|\"my arm file.s4p\"|3");
    EXPECT_EQ(split("x \"open to the end"), "x|\"open to the end");
    EXPECT_EQ(split("x \" quoted\" y"), "x|\" quoted\"|y");
    EXPECT_EQ(split(" \t\r"), "");
}

// Words of any length against the sixteen-at-a-time scan: white space of every kind at every
// place of a block, and bytes near it that are not white space (other control characters,
// bytes above 0x7f) inside words.
TEST(SplitTokens, LongLinesOfMixedBytesSplitLikeACharacterLoop)
{
    // Fifteen word characters (a NUL among them), then the six white space characters.
    const std::string alphabet = std::string("ab0.e-+\x01\x1f\x7f\x80\xff!\"") + '\0' + " \t\n\v\f\r";
    const auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    std::mt19937 random(5);
    for (int trial = 0; trial < 20000; ++trial) {
        std::string line(static_cast<size_t>(random() % 80), ' ');
        // Long runs of one word character now and then, so that words span several blocks.
        const bool longWords = trial % 4 == 0;
        for (char& c : line) c = alphabet[random() % (longWords ? 9 : alphabet.size())];
        if (longWords)
            for (int k = 0; k < 3 && !line.empty(); ++k) line[random() % line.size()] = alphabet[15 + random() % 6];
        std::string expected;
        for (size_t i = 0; i < line.size();) {
            while (i < line.size() && isSpace(line[i])) ++i;
            const size_t start = i;
            while (i < line.size() && !isSpace(line[i])) ++i;
            if (i > start) expected += (expected.empty() ? "" : "|") + line.substr(start, i - start);
        }
        TokenList tokens;
        SplitTokens(line, tokens);
        std::string got;
        for (size_t i = 0; i < tokens.size(); ++i) got += (i > 0 ? "|" : "") + std::string(tokens[i]);
        // A word opening with '"' joins the words after it; only lines without one compare.
        if (line.find('"') != std::string::npos) continue;
        ASSERT_EQ(got, expected) << "trial " << trial;
    }
}

TEST(ReadLogicalLine, MapModeSkipsStarCommentsAndJoinsPlusLines)
{
    const std::string text = "* comment\nPN 4\n\n\r\n  \t\n! not a comment\n# ordinary\nLAST 1 2";
    std::ostringstream echo;
    EXPECT_EQ(ReadAll(text, CommentMode::Map, 0, &echo), "PN|4 / !|not|a|comment / #|ordinary / LAST|1|2 / END");
    EXPECT_EQ(echo.str(), "* comment\n");
    EXPECT_EQ(ReadAll("SF a\n+b \"c\n+d\" e\nNEXT\n", CommentMode::Map, 0), "SF|a|b|\"c d\"|e / NEXT / END");
    // Only the directly following line continues; a lone "+" line adds nothing.
    EXPECT_EQ(ReadAll("A\n*c\n+B\nC\n+\n", CommentMode::Map, 0), "A / +B / C / END");
}

TEST(ReadLogicalLine, TouchstoneModeGathersRecordsOverPhysicalLines)
{
    const std::string text =
        "! head\r\n"
        "# GHz S RI R 50\r\n"
        "1 0.1 0.2\r\n"
        "  0.3 0.4\r\n"
        "\r\n"
        "! between parts\n"
        "0.5 0.6\n"
        "+0.7 0.8\n"
        "2 1 2 3 4 5 6 7 8\n";
    std::ostringstream echo;
    EXPECT_EQ(ReadAll(text, CommentMode::Touchstone, 9, &echo),
              "#|GHz|S|RI|R|50 / 1|0.1|0.2|0.3|0.4|0.5|0.6|0.7|0.8 / 2|1|2|3|4|5|6|7|8 / END");
    // The option line is the reader's to copy: it may have to say what the output holds.
    EXPECT_EQ(echo.str(), "! head\r\n! between parts\n");

    struct Case {
        const char* text;
        const char* expected;
    };
    const Case cases[] = {
        {"1 2 3\n4 5 6", "1|2|3 / 4|5|6 / END"},             // missing final line feed
        {"1 2 3 4\n", "BAD / END"},                          // too many tokens
        {"1 2\n3 4\n", "BAD / END"},                         // a line overfills the record
        {"1 2 3\n4 5\n", "1|2|3 / BAD / END"},               // input ends inside a record
        {"#\n# a b c d e f\n", "# / #|a|b|c|d|e|f / END"},  // option lines of any length
        {"\r\n\r\n", "END"},
    };
    for (const Case& c : cases) EXPECT_EQ(ReadAll(c.text, CommentMode::Touchstone, 3), c.expected) << c.text;
}

// A record over many lines: the line grows (and moves) while the earlier tokens refer to
// it, so each must still read back as written.
TEST(ReadLogicalLine, ARecordOverManyLinesKeepsItsEarlierTokens)
{
    std::string wide;
    std::string expected;
    for (int i = 0; i < 400; ++i) {
        const std::string token = std::to_string(i) + std::string(static_cast<size_t>(i % 7), '0') + ".5";
        wide += token + (i % 8 == 7 ? "\n" : "\t");
        expected += (i > 0 ? "|" : "") + token;
    }
    EXPECT_EQ(ReadAll(wide, CommentMode::Touchstone, 400), expected + " / END");
}

// Files are read in chunks: lines across chunk borders, longer than a chunk, empty, and a
// last line without a line feed come out whole, their carriage returns kept.
TEST(TextSource, HandsOutLinesLongerThanItsChunkAndAcrossChunkBorders)
{
    TempDir dir;
    std::mt19937 random(7);
    std::vector<std::string> expected;
    std::string text;
    for (int i = 0; i < 60000; ++i) {
        size_t length = random() % 80;
        if (i % 20000 == 7) length = (size_t{5} << 20) / 2 + i;  // 2.5 MiB: longer than a chunk
        std::string line(length, static_cast<char>('a' + i % 26));
        if (i % 100 == 3) line += '\r';
        text += line + "\n";
        expected.push_back(std::move(line));
    }
    text += "tail without line feed";
    expected.push_back("tail without line feed");
    for (const auto& [content, lines] : {std::pair{text, expected}, {"", {}}, {"\n", {""}}}) {
        dir.Write("f.txt", content);
        TextSource source;
        ASSERT_TRUE(source.Open((dir.path() / "f.txt").string()));
        std::vector<std::string> read;
        std::string_view line;
        while (source.NextLine(line)) read.emplace_back(line);
        EXPECT_EQ(read, lines);
    }
}

}  // namespace
