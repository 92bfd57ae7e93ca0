#pragma once
// OutputFile: a buffered text output file with standard stream formatting, whose unwritten
// buffer can be dropped. The run log and the Touchstone outputs use it: on a failed run the
// output keeps exactly what had reached the file, as if the process had ended there.

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
    bool IsOpen() const;
    /// Writes the buffer out and closes; on any error sets failbit and returns false.
    bool Close();
    /// Drops whatever is still buffered and closes without writing it.
    void Discard();

private:
    std::unique_ptr<OutputFileBuffer> buffer_;
};
