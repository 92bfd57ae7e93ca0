#include "io/RecordReadAhead.h"

#include <cassert>
#include <system_error>

#include "io/NumberParser.h"
#include "io/RecordCountEstimate.h"
#include "parallel/WorkerProcess.h"

namespace {

// Lines held ahead: enough to ride over the caller's pauses.
constexpr size_t kAheadLines = 256;
constexpr size_t kHelperWorthBytes = size_t{1} << 20;

}  // namespace

RecordReadAhead::RecordReadAhead(TextSource& source, int64_t expected, size_t fileBytes)
    : source_(source), expected_(expected)
{
    if (fileBytes < kHelperWorthBytes || UsableProcessors() < 2) return;
    lines_ = std::make_unique<HandOver<AheadLine>>(kAheadLines);
    const auto run = [this] {
        while (AheadLine* entry = lines_->Fill()) {
            Read(*entry);
            const bool last = entry->error || entry->status != LineStatus::Line;
            lines_->Filled();
            if (last) break;
        }
        lines_->Close();
    };
    try {
        thread_ = std::thread(run);
    } catch (const std::system_error&) {
        lines_.reset();
    }
}

RecordReadAhead::~RecordReadAhead()
{
    if (!thread_.joinable()) return;
    lines_->Stop();
    thread_.join();
}

void RecordReadAhead::Read(AheadLine& entry)
{
    entry.error = nullptr;
    try {
        entry.status = ReadLogicalLine(source_, CommentMode::Touchstone, nullptr, line_, tokens_, expected_);
        entry.tokenCount = tokens_.size();
        entry.option = false;
        entry.unit.clear();
        entry.format.clear();
        entry.numbers.clear();
        entry.textBytes = 0;
        if (entry.status != LineStatus::Line || tokens_.empty()) return;
        entry.option = tokens_[0] == "#";
        if (entry.option) {
            if (tokens_.size() > 1) entry.unit.assign(tokens_[1]);
            if (tokens_.size() > 3) entry.format.assign(tokens_[3]);
            return;
        }
        entry.textBytes = RecordTextBytes(tokens_);
        if (static_cast<int64_t>(tokens_.size()) != expected_) return;
        entry.numbers.resize(tokens_.size());
        for (size_t k = 0; k < tokens_.size(); ++k) entry.numbers[k] = ParseNumber(tokens_[k]);
    } catch (...) {
        entry.error = std::current_exception();
    }
}

const AheadLine& RecordReadAhead::Next()
{
    if (!lines_) {
        if (!ended_) Read(inline_);
        current_ = &inline_;
    } else if (!ended_) {
        if (current_ != nullptr) lines_->Done();
        current_ = lines_->Take();
    }
    // The thread ends after the last line, so Take always finds it.
    assert(current_ != nullptr);
    ended_ = current_->error || current_->status != LineStatus::Line;
    if (current_->error) std::rethrow_exception(current_->error);
    return *current_;
}
