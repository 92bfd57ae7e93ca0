#include "parallel/OrderedLines.h"

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "parallel/WorkerProcess.h"

namespace {

// Chunks of at most this much room, and at least the smaller size while the output gives
// each thread a few of them.
constexpr size_t kChunkBytes = size_t{256} << 10;
constexpr size_t kSmallChunkBytes = size_t{32} << 10;
constexpr size_t kChunksWorthAThread = 8;

// The formatted text of one chunk of lines, with where each line ends. The text is not
// zero-filled: lines fill a fraction of their room, and the rest need never be touched.
struct Chunk {
    std::unique_ptr<char[]> text;
    std::vector<size_t> ends;
    size_t index = 0;  // which chunk it holds
    bool ready = false;

    void Reserve(size_t lines, size_t lineBytes)
    {
        text = std::make_unique_for_overwrite<char[]>(lines * lineBytes);
        ends.reserve(lines);
    }
    void Format(size_t first, size_t last, const std::function<char*(size_t, char*)>& format)
    {
        ends.clear();
        char* p = text.get();
        for (size_t k = first; k < last; ++k) {
            p = format(k, p);
            ends.push_back(static_cast<size_t>(p - text.get()));
        }
    }
    void Write(const std::function<void(const char*, size_t)>& write, bool byLine) const
    {
        if (!byLine) {
            if (!ends.empty()) write(text.get(), ends.back());
            return;
        }
        size_t begin = 0;
        for (const size_t end : ends) {
            write(text.get() + begin, end - begin);
            begin = end;
        }
    }
};

void WriteInOrder(size_t count, size_t maxLineBytes, const std::function<char*(size_t k, char* out)>& format,
                  const std::function<void(const char* text, size_t length)>& write, bool byLine)
{
    const size_t lineBytes = std::max<size_t>(1, maxLineBytes);
    // An output of no more room than sixteen full chunks is cut into sixteen smaller ones (but
    // none below the small size), so that it too is formatted in two threads.
    constexpr size_t kChunksOfASmallOutput = 2 * kChunksWorthAThread;
    const bool small = count <= kChunksOfASmallOutput * kChunkBytes / lineBytes;
    const size_t chunkBytes =
        small ? std::max(count * lineBytes / kChunksOfASmallOutput, kSmallChunkBytes) : kChunkBytes;
    const size_t perChunk = std::max<size_t>(1, chunkBytes / lineBytes);
    const size_t chunks = (count + perChunk - 1) / perChunk;
    const auto first = [&](size_t c) { return c * perChunk; };
    const auto last = [&](size_t c) { return std::min(count, (c + 1) * perChunk); };

    Chunk own;
    own.Reserve(perChunk, maxLineBytes);
    const auto formatAndWrite = [&](size_t c) {
        own.Format(first(c), last(c), format);
        own.Write(write, byLine);
    };
    // A few chunks are not worth a thread's start and hand-overs; nor are lines longer than a
    // chunk, whose two extra buffers would each be as large as the longest line.
    if (chunks < kChunksWorthAThread || maxLineBytes > kChunkBytes || UsableProcessors() < 2) {
        for (size_t c = 0; c < chunks; ++c) formatAndWrite(c);
        return;
    }

    // The helper formats the odd chunks into two slots, the caller formats the even ones
    // and writes every chunk in turn.
    Chunk slots[2];
    for (Chunk& slot : slots) slot.Reserve(perChunk, maxLineBytes);
    std::mutex mutex;
    std::condition_variable changed;
    bool stop = false;
    const auto helper = [&] {
        for (size_t c = 1; c < chunks; c += 2) {
            Chunk& slot = slots[(c / 2) % 2];
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return !slot.ready || stop; });
                if (stop) return;
            }
            slot.Format(first(c), last(c), format);
            {
                std::lock_guard lock(mutex);
                slot.index = c;
                slot.ready = true;
            }
            changed.notify_all();
        }
    };
    std::thread thread;
    try {
        thread = std::thread(helper);
    } catch (const std::system_error&) {
        for (size_t c = 0; c < chunks; ++c) formatAndWrite(c);
        return;
    }
    // The helper is stopped and joined however the writing ends.
    struct Joiner {
        std::thread& thread;
        std::mutex& mutex;
        std::condition_variable& changed;
        bool& stop;
        ~Joiner()
        {
            {
                std::lock_guard lock(mutex);
                stop = true;
            }
            changed.notify_all();
            thread.join();
        }
    } joiner{thread, mutex, changed, stop};

    for (size_t c = 0; c < chunks; ++c) {
        if (c % 2 == 0) {
            formatAndWrite(c);
            continue;
        }
        Chunk& slot = slots[(c / 2) % 2];
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return slot.ready && slot.index == c; });
        }
        slot.Write(write, byLine);
        {
            std::lock_guard lock(mutex);
            slot.ready = false;
        }
        changed.notify_all();
    }
}

}  // namespace

void WriteLinesInOrder(size_t count, size_t maxLineBytes, const std::function<char*(size_t k, char* out)>& format,
                       const std::function<void(const char* text, size_t length)>& write)
{
    WriteInOrder(count, maxLineBytes, format, write, true);
}

void WriteTextInOrder(size_t count, size_t maxLineBytes, const std::function<char*(size_t k, char* out)>& format,
                      const std::function<void(const char* text, size_t length)>& write)
{
    WriteInOrder(count, maxLineBytes, format, write, false);
}
