#include "io/RecordConverter.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "parallel/WorkerProcess.h"

namespace {

// Text of the records handed on at most: enough to ride over the caller's pauses.
constexpr size_t kPendingBytes = size_t{256} << 10;
constexpr size_t kMaxPendingRecords = 64;
constexpr size_t kHelperWorthBytes = size_t{1} << 20;

}  // namespace

RecordConverter::RecordConverter(RecordTable& values, size_t recordBytes, size_t fileBytes)
    : values_(values), width_(static_cast<size_t>(values.width())), valueCount_(width_)
{
    if (fileBytes < kHelperWorthBytes || UsableProcessors() < 2) return;
    const size_t slots = std::clamp<size_t>(kPendingBytes / std::max<size_t>(recordBytes, 1), 2, kMaxPendingRecords);
    slotBytes_ = std::max(kPendingBytes / slots, recordBytes);
    slots_ = std::make_unique<HandOver<RecordSlot>>(slots);
    const auto run = [this] {
        while (const RecordSlot* slot = slots_->Take()) {
            if (!error_) {
                try {
                    Convert(*slot, OwnShare(), valueCount_, helperBad_);
                } catch (...) {
                    error_ = std::current_exception();
                }
            }
            slots_->Done();
        }
    };
    try {
        thread_ = std::thread(run);
    } catch (const std::system_error&) {
        slots_.reset();
    }
}

RecordConverter::~RecordConverter()
{
    if (!thread_.joinable()) return;
    slots_->Close();
    thread_.join();
}

RecordSlot& RecordConverter::Slot()
{
    if (!slots_) return own_;
    // Records far longer than guessed would otherwise keep every slot that large.
    RecordSlot& slot = *slots_->Fill();
    if (slot.line.capacity() > 2 * slotBytes_) std::string().swap(slot.line);
    return slot;
}

void RecordConverter::Commit()
{
    if (!slots_) {
        own_.row = values_.Append();
        own_.index = committed_++;
        Convert(own_, 0, valueCount_, ownBad_);
        return;
    }
    // A table that grows moves its rows: none may be written meanwhile.
    if (values_.AppendMoves()) slots_->WaitUntilTaken();
    RecordSlot& slot = *slots_->Fill();
    slot.row = values_.Append();
    slot.index = committed_++;
    Convert(slot, 0, OwnShare(), ownBad_);
    slots_->Filled();
}

void RecordConverter::CatchUp()
{
    if (slots_) slots_->WaitUntilTaken();
    if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
}

void RecordConverter::Finish()
{
    if (thread_.joinable()) {
        slots_->Close();
        thread_.join();
        slots_.reset();
    }
    if (error_) std::rethrow_exception(std::exchange(error_, nullptr));
}

BadNumber RecordConverter::FirstBadNumber() const
{
    if (ownBad_.record < 0) return helperBad_;
    if (helperBad_.record < 0 || ownBad_.record < helperBad_.record ||
        (ownBad_.record == helperBad_.record && ownBad_.token < helperBad_.token))
        return ownBad_;
    return helperBad_;
}

void RecordConverter::SetLayout(const RecordLayout& layout)
{
    layout_ = layout;
    valueCount_ = layout.target.empty() ? width_ : static_cast<size_t>(layout.valueCount);
}

void RecordConverter::Convert(const RecordSlot& slot, size_t first, size_t last, BadNumber& bad) const
{
    const auto parse = [&](size_t k) {
        double value = 0.0;
        if (!ParseDataNumber(slot.tokens[k + 1], value) && bad.record < 0)
            bad = {slot.index, k + 1, slot.tokens.LineOf(k + 1), std::string(slot.tokens[k + 1])};
        return value;
    };
    double* const row = slot.row;
    if (layout_.target.empty()) {
        for (size_t k = first; k < last; ++k) row[k] = parse(k);
        if (format_ == ValueFormat::RealImaginary) return;
        for (size_t k = first; k + 1 < last; k += 2) ToRealImaginary(format_, row[k], row[k + 1]);
        return;
    }
    for (size_t k = first; k + 1 < last; k += 2) {
        double a = parse(k), b = parse(k + 1);
        ToRealImaginary(format_, a, b);
        const size_t pair = k / 2;
        const auto at = static_cast<size_t>(layout_.target[pair]) * 2;
        row[at] = a;
        row[at + 1] = b;
        if (layout_.mirror[pair] >= 0) {
            const auto mirrored = static_cast<size_t>(layout_.mirror[pair]) * 2;
            row[mirrored] = a;
            row[mirrored + 1] = b;
        }
    }
}
