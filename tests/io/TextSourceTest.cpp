#include "io/TextSource.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "support/VoraRun.h"

namespace {

std::vector<std::string> Lines(TextSource& source)
{
    std::vector<std::string> lines;
    std::string_view line;
    while (source.NextLine(line)) lines.emplace_back(line);
    return lines;
}

std::vector<std::string> FileLines(const TempDir& dir, const std::string& text)
{
    dir.Write("f.txt", text);
    TextSource source;
    EXPECT_TRUE(source.Open((dir.path() / "f.txt").string()));
    return Lines(source);
}

TEST(TextSource, StripsTheLineFeedOnly)
{
    TempDir dir;
    using V = std::vector<std::string>;
    EXPECT_EQ(FileLines(dir, "a\r\nb\n\nc"), (V{"a\r", "b", "", "c"}));
    EXPECT_EQ(FileLines(dir, "\n"), (V{""}));
    EXPECT_EQ(FileLines(dir, ""), (V{}));
    TextSource text;
    text.OpenText("x\r\ny");
    EXPECT_EQ(Lines(text), (V{"x\r", "y"}));
}

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
        text += line + "\n";
        expected.push_back(std::move(line));
    }
    text += "tail without line feed";
    expected.push_back("tail without line feed");
    EXPECT_EQ(FileLines(dir, text), expected);
}

TEST(TextSource, UnreadLineRepeatsTheLastLine)
{
    TextSource source;
    source.OpenText("one\ntwo\n");
    std::string_view line;
    ASSERT_TRUE(source.NextLine(line));
    source.UnreadLine();
    ASSERT_TRUE(source.NextLine(line));
    EXPECT_EQ(line, "one");
    ASSERT_TRUE(source.NextLine(line));
    EXPECT_EQ(line, "two");
    EXPECT_FALSE(source.NextLine(line));
}

TEST(TextSource, RefusesDirectoriesAndMissingFiles)
{
    TempDir dir;
    TextSource source;
    EXPECT_FALSE(source.Open(dir.path().string()));
    EXPECT_FALSE(source.Open((dir.path() / "missing.s2p").string()));
    std::string_view line;
    EXPECT_FALSE(source.NextLine(line));
}

}  // namespace
