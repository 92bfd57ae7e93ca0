#pragma once
// RecordConverter: the values of data records converted into a RecordTable by a helper
// thread while the caller reads the next records. The caller reads each logical line into
// the slot it is given; a data record it commits gets its row in the table at once (so the
// table's size and any allocation failure are where a plain loop would have them), and its
// numbers are converted behind the caller's back.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <thread>

#include "io/TokenList.h"
#include "io/Touchstone.h"
#include "io/Touchstone2.h"
#include "job/RecordTable.h"
#include "parallel/HandOver.h"

// A logical line, and the row its values go to once committed.
struct RecordSlot {
    std::string line;
    TokenList tokens;
    double* row = nullptr;
    int64_t index = 0;  // of the record among those committed
};

// The first token of the records that is not a number.
struct BadNumber {
    int64_t record = -1;  // -1: none
    size_t token = 0;
    int64_t line = 0;     // in the file, 1-based
    std::string text;
};

class RecordConverter {
public:
    /// Converts into `values`, whose width is set, records of about `recordBytes` characters
    /// (which bounds the text held) from a file of `fileBytes`. A small file, or a single
    /// processor, has everything done by Commit: a helper's start and hand-overs would cost
    /// more than they save.
    RecordConverter(RecordTable& values, size_t recordBytes, size_t fileBytes);
    ~RecordConverter();
    RecordConverter(const RecordConverter&) = delete;
    RecordConverter& operator=(const RecordConverter&) = delete;

    /// Where to read the next logical line; the same slot until Commit.
    RecordSlot& Slot();
    /// The slot holds a data record of width + 1 tokens (the first, the frequency, is not
    /// converted): appends its row and hands it on. Values are converted to real and
    /// imaginary parts pair by pair.
    void Commit();
    /// Returns once every committed record is converted; rethrows what the conversion threw.
    /// Called before anything is logged or returned, so that the run sees what a plain loop
    /// would have seen first.
    void CatchUp();
    /// CatchUp, then the helper thread ends; later records are converted by Commit.
    void Finish();
    /// The form of the value pairs of records committed from now on.
    void SetFormat(ValueFormat format) { format_ = format; }
    /// Where the value pairs of records committed from now on go (after CatchUp).
    void SetLayout(const RecordLayout& layout);
    /// After CatchUp or Finish: the first token of the committed records that was not a
    /// number (its value is then 0), or record -1.
    BadNumber FirstBadNumber() const;

private:
    // Values [first, last) of the slot's record.
    // Values [first, last) of the slot's record; first even.
    void Convert(const RecordSlot& slot, size_t first, size_t last, BadNumber& bad) const;
    // Reading a record takes about two thirds of the time converting its RI values does, so
    // the reading thread converts a sixth of them itself and both threads are about equally
    // busy; the angles of MA and DB make converting half as dear again, and its share 5/18.
    size_t OwnShare() const
    {
        return (format_ == ValueFormat::RealImaginary ? valueCount_ / 6 : valueCount_ * 5 / 18) / 2 * 2;
    }

    RecordTable& values_;
    const size_t width_;
    size_t valueCount_;  // values of a record as written; the reading thread converts a sixth
    RecordLayout layout_;
    size_t slotBytes_ = 0;   // text a slot is meant to hold
    std::unique_ptr<HandOver<RecordSlot>> slots_;
    RecordSlot own_;  // without the thread
    ValueFormat format_ = ValueFormat::RealImaginary;
    int64_t committed_ = 0;
    BadNumber ownBad_;     // met by the reading thread
    BadNumber helperBad_;  // met by the helper
    std::exception_ptr error_;
    std::thread thread_;
};
