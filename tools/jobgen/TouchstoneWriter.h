#pragma once
// Buffered writer of the generated text files. Numbers are written in the shortest form
// that reads back to the same double, so the engine sees exactly the generator's values.

#include <cstdio>
#include <string>

#include "numerics/Dcm.h"

class TextFileWriter {
public:
    TextFileWriter() = default;
    ~TextFileWriter();
    TextFileWriter(const TextFileWriter&) = delete;
    TextFileWriter& operator=(const TextFileWriter&) = delete;

    // false: the file cannot be created.
    [[nodiscard]] bool Open(const std::string& path);
    // false: a write or the close failed (disk full, ...).
    [[nodiscard]] bool Close();

    void Text(const std::string& text) { buffer_ += text; FlushIfFull(); }
    void Number(double value);
    // The form of the value pairs Record writes: "RI", "MA" or "DB" (angles in degrees).
    void SetFormat(const std::string& format) { format_ = format; }
    // One Touchstone data record of an N-port: frequency, then the matrix row by row as
    // real/imaginary pairs; rows of more than two ports start a new line, at most four
    // pairs per line (the engine joins lines until the record is complete).
    void Record(double frequency, const dcm& M);

private:
    void FlushIfFull();

    std::FILE* file_ = nullptr;
    std::string buffer_;
    bool failed_ = false;
    std::string format_ = "RI";
};

/// "# <unit> <type> <format> R <r>\n".
std::string OptionLine(const std::string& unit, char parameterType, double r, const std::string& format = "RI");
/// Shortest round-trip text of a double.
std::string NumberText(double value);

/// Rewrites the version-1 file at `path` (an N-port, N from its ".sNp" name) as version 2:
/// [Number of Frequencies], [Reference] on the line after its keyword with one value per port,
/// [Matrix Format] `matrixFormat` (Full, Upper or Lower), two-port data in 12_21 order, and
/// each matrix row on a line of its own with a comment after it. "" or the reason it failed.
std::string RewriteAsVersion2(const std::string& path, const std::string& matrixFormat);
