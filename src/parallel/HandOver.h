#pragma once
// HandOver: entries passed from one thread to another through a ring, in order. The
// producer fills the entry Fill gives it and publishes it with Filled; the consumer takes
// entries with Take and gives each back with Done. Both sides publish their progress once
// per batch, not per entry, so that they seldom wake each other, and publish everything
// before they wait.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <vector>

template <class Entry>
class HandOver {
public:
    /// `slots` entries (at least 2); progress is published every eighth of them (at most
    /// every 32).
    explicit HandOver(size_t slots) : ring_(std::max<size_t>(slots, 2)), batch_(std::clamp<size_t>(slots / 8, 1, 32)) {}
    HandOver(const HandOver&) = delete;
    HandOver& operator=(const HandOver&) = delete;

    // --- producer ----------------------------------------------------------------------
    /// The next entry to fill (the same one again until Filled is called), after waiting for
    /// room; nullptr once the consumer has called Stop.
    Entry* Fill()
    {
        for (;;) {
            const size_t done = done_.load(std::memory_order_acquire);
            if (done & kFinal) return nullptr;
            if (filled_ - done < ring_.size()) return &ring_[filled_ % ring_.size()];
            PublishFilled();
            done_.wait(done);
        }
    }
    void Filled()
    {
        ++filled_;
        if (filled_ - publishedFilled_ >= batch_) PublishFilled();
    }
    /// Waits until the consumer has given back every filled entry (or has stopped).
    void WaitUntilTaken()
    {
        PublishFilled();
        for (;;) {
            const size_t done = done_.load(std::memory_order_acquire);
            if ((done & kFinal) || done >= filled_) return;
            done_.wait(done);
        }
    }
    /// No more entries: Take returns nullptr after the last one.
    void Close()
    {
        ready_.store(filled_ | kFinal, std::memory_order_release);
        ready_.notify_one();
    }

    // --- consumer ----------------------------------------------------------------------
    /// The next entry, after waiting for it; nullptr when the producer has closed and every
    /// entry has been taken.
    Entry* Take()
    {
        for (;;) {
            const size_t ready = ready_.load(std::memory_order_acquire);
            if ((ready & ~kFinal) > taken_) return &ring_[taken_ % ring_.size()];
            if (ready & kFinal) return nullptr;
            PublishDone();
            ready_.wait(ready);
        }
    }
    void Done()
    {
        ++taken_;
        if (taken_ - publishedDone_ >= batch_) PublishDone();
    }
    /// The consumer gives up: Fill returns nullptr from now on.
    void Stop()
    {
        done_.store(taken_ | kFinal, std::memory_order_release);
        done_.notify_one();
    }

private:
    // Set in a counter by Close (in ready_) or Stop (in done_).
    static constexpr size_t kFinal = size_t{1} << (8 * sizeof(size_t) - 1);

    void PublishFilled()
    {
        if (publishedFilled_ == filled_) return;
        publishedFilled_ = filled_;
        ready_.store(filled_, std::memory_order_release);
        ready_.notify_one();
    }
    void PublishDone()
    {
        if (publishedDone_ == taken_) return;
        publishedDone_ = taken_;
        done_.store(taken_, std::memory_order_release);
        done_.notify_one();
    }

    std::vector<Entry> ring_;
    const size_t batch_;
    alignas(64) std::atomic<size_t> ready_{0};  // entries the consumer may take (| kFinal: closed)
    alignas(64) std::atomic<size_t> done_{0};   // entries the consumer has given back (| kFinal: stopped)
    alignas(64) size_t filled_ = 0;             // producer side
    size_t publishedFilled_ = 0;
    alignas(64) size_t taken_ = 0;              // consumer side
    size_t publishedDone_ = 0;
};
