#pragma once
// OutputFile: a buffered text output file with standard stream formatting.
//
// Two ways to open it. Open writes the named file directly (the run log: what reached it
// stays there whatever happens to the run). OpenReplacing writes a temporary file beside
// the named one, ".<name>.vora-<pid>.tmp", which Close flushes, syncs and renames onto the
// name only when every write succeeded; Discard, a failed Close and the destructor remove
// it. So a result file appears whole or not at all, and a failed run leaves the previous
// file at that name as it was.

#include <memory>
#include <ostream>
#include <string>

class OutputFileBuffer;

class OutputFile : public std::ostream {
public:
    OutputFile();
    ~OutputFile() override;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Creates or truncates the file. false (and failbit set) when it cannot be opened.
    bool Open(const std::string& path);
    /// Creates the temporary file for `path`; the file at `path` is not touched until Close.
    /// false (and failbit set) when the temporary file cannot be created.
    bool OpenReplacing(const std::string& path);
    bool IsOpen() const;
    /// Writes the buffer out and closes (and, opened replacing, syncs and renames into
    /// place). On any error sets failbit, removes a temporary file and returns false.
    bool Close();
    /// Drops whatever is still buffered and closes without writing it; a temporary file
    /// is removed.
    void Discard();
    /// The system's reason for the first failure to open, write, sync, close or rename, with
    /// the operation; "" when nothing failed.
    const std::string& FailureReason() const;
    /// Every byte handed to the file so far (kept only after KeepCopy), written or not.
    void KeepCopy();
    const std::string& Copy() const;

private:
    std::unique_ptr<OutputFileBuffer> buffer_;
};

/// The temporary file name OpenReplacing uses for `path` in this process.
std::string TemporaryPathFor(const std::string& path);
