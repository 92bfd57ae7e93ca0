#include "parallel/OrderedLines.h"
#include "parallel/ProcessorsHere.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

// Line k: its number, then k % 97 letters, so lengths vary and chunks end mid-pattern.
char* FormatLine(size_t k, char* out)
{
    const std::string number = std::to_string(k);
    std::memcpy(out, number.data(), number.size());
    out += number.size();
    for (size_t i = 0; i < k % 97; ++i) *out++ = static_cast<char>('a' + i % 26);
    *out++ = '\n';
    return out;
}

// Every line handed over once, whole and in order, for counts on both sides of the point
// from which a second thread formats: eight chunks of at least 32 KiB of room (327 lines of
// 100 bytes each; one line of 200 KiB each). Larger outputs have larger chunks, up to
// 256 KiB; lines longer than that are all formatted by the caller.
TEST(WriteLinesInOrder, EveryLineOnceInOrder)
{
    struct Case {
        size_t room;
        std::vector<size_t> counts;
        size_t firstThreaded;
    };
    const std::vector<Case> cases = {
        {100, {0, 1, 326, 327, 328, 2289, 2290, 5243, 20000, 50000}, 2290},
        {size_t{200} << 10, {0, 1, 7, 8, 9, 21}, 8},
        {size_t{1} << 20, {0, 1, 8, 20}, SIZE_MAX},
    };
    for (const Case& c : cases) {
        const size_t room = c.room;
        for (const size_t count : c.counts) {
            std::vector<std::string> lines;
            std::mutex mutex;
            std::set<std::thread::id> formatters;
            const std::thread::id caller = std::this_thread::get_id();
            WriteLinesInOrder(
                count, room,
                [&](size_t k, char* out) {
                    {
                        std::lock_guard lock(mutex);
                        formatters.insert(std::this_thread::get_id());
                    }
                    return FormatLine(k, out);
                },
                [&](const char* text, size_t length) {
                    EXPECT_EQ(std::this_thread::get_id(), caller);  // the sink is written from here only
                    lines.emplace_back(text, length);
                });
            ASSERT_EQ(lines.size(), count) << room;
            for (size_t k = 0; k < count; ++k) {
                char expected[200];
                const size_t length = static_cast<size_t>(FormatLine(k, expected) - expected);
                ASSERT_EQ(lines[k], std::string(expected, length)) << "room " << room << ", line " << k;
            }
            if (count >= c.firstThreaded) {
                EXPECT_EQ(formatters.size(), ProcessorsHere() >= 2 ? 2u : 1u) << count;
            } else {
                EXPECT_EQ(formatters.size(), count > 0 ? 1u : 0u) << count;
            }

            // Handed on a chunk at a time: the same text, in pieces of whole lines.
            std::string whole;
            for (const std::string& line : lines) whole += line;
            std::string joined;
            size_t pieces = 0;
            WriteTextInOrder(count, room, FormatLine, [&](const char* text, size_t length) {
                ASSERT_GT(length, 0u);
                EXPECT_EQ(text[length - 1], '\n');
                joined.append(text, length);
                ++pieces;
            });
            EXPECT_EQ(joined, whole) << "room " << room << ", count " << count;
            // Chunks of at least 32 KiB of room: 327 lines of 100 bytes each.
            if (room == 100) {
                EXPECT_LE(pieces, (count + 326) / 327) << count;
            }
        }
    }
}

}  // namespace
