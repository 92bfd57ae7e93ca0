#include "io/OutputFile.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/VoraRun.h"

namespace {

// Numbers as a default stream writes them, and writes larger than the buffer intact.
TEST(OutputFile, FormatsLikeADefaultStreamAndKeepsLargeWritesIntact)
{
    TempDir dir;
    const std::string path = (dir.path() / "o.txt").string();
    std::ostringstream reference;
    OutputFile out;
    ASSERT_TRUE(out.Open(path));
    for (std::ostream* s : {static_cast<std::ostream*>(&reference), static_cast<std::ostream*>(&out)}) {
        *s << 1.0 / 3.0 << '\t' << 1e10 << ' ' << 100000.0 << ' ' << 1234567.0 << ' ' << -0.0 << ' ' << 1e-5 << ' '
           << 42 << " x\n";
        for (int i = 0; i < 200000; ++i) *s << i << ' ';
        *s << std::string(3u << 20, 'z') << "end";
    }
    EXPECT_TRUE(out.Close());
    EXPECT_EQ(ReadFileText(path), reference.str());
}

// Discarding is pinned end to end: a failed run leaves only what was flushed.
TEST(OutputFile, ReportsFailuresByFailbit)
{
    TempDir dir;
    OutputFile out;
    EXPECT_FALSE(out.Open((dir.path() / "no" / "such" / "dir.txt").string()));
    EXPECT_TRUE(out.fail());
    EXPECT_FALSE(out.Close());

    // A block too large to be worth buffering reaches the file at once, after the text
    // buffered before it; what follows it is still dropped.
    const std::string path = (dir.path() / "d.txt").string();
    OutputFile dropped;
    ASSERT_TRUE(dropped.Open(path));
    const std::string block(size_t{64} << 10, 'b');
    dropped << "head\n";
    dropped.write(block.data(), static_cast<std::streamsize>(block.size()));
    dropped << "tail\n";
    dropped.Discard();
    EXPECT_EQ(ReadFileText(path), "head\n" + block);

    OutputFile full;
    ASSERT_TRUE(full.Open("/dev/full"));
    full << "cannot be written\n";
    EXPECT_FALSE(full.Close());
    EXPECT_TRUE(full.fail());
}

}  // namespace
