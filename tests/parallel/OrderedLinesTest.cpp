#include "parallel/OrderedLines.h"
#include "parallel/WorkerProcess.h"

#include <gtest/gtest.h>

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

// Every line handed over once, whole and in order, for counts on both sides of the chunk
// boundaries (a chunk holds 256 KiB of room: 2,621 lines of 100 bytes, one of 200 KiB, one
// of 1 MiB) and of the eight chunks from which a second thread formats; lines longer than a
// chunk are all formatted by the caller.
TEST(WriteLinesInOrder, EveryLineOnceInOrder)
{
    for (const size_t room : {size_t{100}, size_t{200} << 10, size_t{1} << 20}) {
        const size_t perChunk = room == 100 ? 2621 : 1;
        const bool longerThanAChunk = room > (size_t{256} << 10);
        for (const size_t count : {size_t{0}, size_t{1}, perChunk - 1 + (perChunk == 1), perChunk, perChunk + 1,
                                   7 * perChunk, 7 * perChunk + 1, size_t{20000}}) {
            std::vector<std::string> lines;
            std::mutex mutex;
            std::set<std::thread::id> formatters;
            WriteLinesInOrder(
                count, room,
                [&](size_t k, char* out) {
                    {
                        std::lock_guard lock(mutex);
                        formatters.insert(std::this_thread::get_id());
                    }
                    return FormatLine(k, out);
                },
                [&](const char* text, size_t length) { lines.emplace_back(text, length); });
            ASSERT_EQ(lines.size(), count) << room;
            for (size_t k = 0; k < count; ++k) {
                char expected[200];
                const size_t length = static_cast<size_t>(FormatLine(k, expected) - expected);
                ASSERT_EQ(lines[k], std::string(expected, length)) << "room " << room << ", line " << k;
            }
            if ((count + perChunk - 1) / perChunk >= 8 && !longerThanAChunk) {
                EXPECT_EQ(formatters.size(), UsableProcessors() >= 2 ? 2u : 1u) << count;
            } else {
                EXPECT_EQ(formatters.size(), count > 0 ? 1u : 0u) << count;
            }
        }
    }
}

}  // namespace
