#include "io/TwoFilesApart.h"

#include <atomic>
#include <climits>
#include <exception>
#include <new>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "io/LineReader.h"
#include "io/RecordCountEstimate.h"
#include "io/Touchstone.h"
#include "job/VoraJob.h"
#include "parallel/WorkerProcess.h"

namespace {

// Below this a thread's start costs about what reading the file does.
constexpr size_t kHelperWorthBytes = size_t{1} << 20;

// What one file held, as far as the check of the two against each other needs it.
struct FileShape {
    bool regular = false;     // option lines, then well-formed records up to the end
    size_t optionLines = 0;
    double unitFactor = 0.0;  // as the record-by-record reader starts: no option line, 0 Hz
    std::string format;       // of the last option line
    std::exception_ptr error;
};

std::string_view TokenOrEmpty(const TokenList& tokens, size_t k) { return k < tokens.size() ? tokens[k] : std::string_view(); }

// Reads every record of `source`, stopping early (shape.regular false) at the first thing
// the record-by-record reader would treat otherwise than "the n-th record of one file
// pairs with the n-th record of the other": a bad line, a line of the wrong length, an
// option line after a record. `stop` set from outside ends the reading the same way.
void ReadOneFile(TextSource& source, const std::string& name, int64_t E, std::vector<double>& frequencies,
                 RecordTable& values, FileShape& shape, const std::atomic<bool>* stop)
{
    std::string line;
    TokenList tokens;
    bool inData = false;
    for (;;) {
        if (stop != nullptr && stop->load(std::memory_order_relaxed)) return;
        switch (ReadLogicalLine(source, CommentMode::Touchstone, nullptr, line, tokens, E)) {
        case LineStatus::Line: break;
        case LineStatus::EndOfData: shape.regular = true; return;
        case LineStatus::Bad: return;
        }
        if (tokens.empty()) return;
        if (tokens[0] == "#") {
            if (inData) return;
            ++shape.optionLines;
            shape.unitFactor = UnitFactorOfToken(TokenOrEmpty(tokens, 1));
            shape.format = UpperCase(TokenOrEmpty(tokens, 3));
            continue;
        }
        // A line starting with "#" but not with the token "#" is read as a record.
        if (static_cast<int64_t>(tokens.size()) != E) return;
        if (!inData) {
            inData = true;
            // Sized from the file length once, so that the table never moves while it grows.
            const size_t expected = EstimateRecordCount(name, RecordTextBytes(tokens));
            frequencies.reserve(expected);
            values.Reserve(expected);
        }
        // A token that is not a number is for the record-by-record reader to report.
        double frequency = 0.0;
        if (!ParseDataNumber(tokens[0], frequency)) return;
        frequencies.push_back(frequency * shape.unitFactor);
        double* record = values.Append();
        for (int64_t k = 1; k < E; ++k)
            if (!ParseDataNumber(tokens[static_cast<size_t>(k)], record[k - 1])) return;
    }
}

// Ends the helper (asking it to stop first) when the caller leaves early or throws.
class HelperThread {
public:
    explicit HelperThread(std::atomic<bool>& stop) : stop_(stop) {}
    ~HelperThread() { Join(true); }
    HelperThread(const HelperThread&) = delete;
    HelperThread& operator=(const HelperThread&) = delete;

    template <class Work>
    bool Start(Work&& work)
    {
        try {
            thread_ = std::thread(std::forward<Work>(work));
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }
    bool Running() const { return thread_.joinable(); }
    void Join(bool stopFirst)
    {
        if (!thread_.joinable()) return;
        if (stopFirst) stop_.store(true, std::memory_order_relaxed);
        thread_.join();
    }

private:
    std::atomic<bool>& stop_;
    std::thread thread_;
};

}  // namespace

bool ReadTwoFilesApart(VoraJob& job, TextSource& file1, const std::string& sFile1Name, TextSource& file2,
                       const std::string& sFile2Name, int64_t recordLength)
{
    const int64_t E = recordLength;
    job.frequencyCount = 0;
    job.frequencies.clear();
    job.sFile1Values.Reset(E - 1);
    job.sFile2Values.Reset(E - 1);
    std::vector<double> frequencies2;
    FileShape shape1;
    FileShape shape2;
    std::atomic<bool> stop{false};
    const auto readFile2 = [&] {
        try {
            ReadOneFile(file2, sFile2Name, E, frequencies2, job.sFile2Values, shape2, &stop);
        } catch (...) {
            shape2.error = std::current_exception();
        }
    };

    HelperThread helper(stop);
    if (FileBytes(sFile2Name) >= kHelperWorthBytes && UsableProcessors() >= 2) static_cast<void>(helper.Start(readFile2));
    ReadOneFile(file1, sFile1Name, E, job.frequencies, job.sFile1Values, shape1, nullptr);
    if (helper.Running())
        helper.Join(!shape1.regular);
    else if (shape1.regular)
        readFile2();
    if (shape2.error) {
        // Out of memory is the caller's to report; anything else only costs the fast way.
        try {
            std::rethrow_exception(shape2.error);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (...) {
            return false;
        }
    }

    if (!shape1.regular || !shape2.regular || shape1.optionLines != shape2.optionLines) return false;
    const size_t K = job.frequencies.size();
    if (frequencies2.size() != K || K > static_cast<size_t>(INT32_MAX)) return false;
    for (size_t k = 0; k < K; ++k)
        if (!(job.frequencies[k] == frequencies2[k])) return false;

    job.frequencyCount = static_cast<int32_t>(K);
    if (shape1.optionLines > 0) job.sFile1Format = std::move(shape1.format);
    if (shape2.optionLines > 0) job.sFile2Format = std::move(shape2.format);
    return true;
}
