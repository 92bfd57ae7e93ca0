#include "jobgen/TouchstoneWriter.h"

#include <charconv>
#include <cmath>

namespace {
constexpr size_t kFlushSize = 1 << 20;
}

TextFileWriter::~TextFileWriter()
{
    if (file_ != nullptr) static_cast<void>(Close());
}

bool TextFileWriter::Open(const std::string& path)
{
    file_ = std::fopen(path.c_str(), "wb");
    failed_ = file_ == nullptr;
    buffer_.clear();
    buffer_.reserve(kFlushSize + 4096);
    return !failed_;
}

bool TextFileWriter::Close()
{
    if (file_ == nullptr) return false;
    if (!buffer_.empty() && std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size()) failed_ = true;
    buffer_.clear();
    if (std::fclose(file_) != 0) failed_ = true;
    file_ = nullptr;
    return !failed_;
}

void TextFileWriter::FlushIfFull()
{
    if (buffer_.size() < kFlushSize || file_ == nullptr) return;
    if (std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size()) failed_ = true;
    buffer_.clear();
}

void TextFileWriter::Number(double value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    buffer_.append(text, result.ptr);
}

void TextFileWriter::Record(double frequency, const dcm& M)
{
    Number(frequency);
    const int32_t n = M.n;
    for (int32_t i = 0; i < n; ++i)
        for (int32_t j = 0; j < n; ++j) {
            if (n > 2 && j % 4 == 0 && !(i == 0 && j == 0)) buffer_ += '\n';
            const Complex& z = M(i, j);
            double first = z.real(), second = z.imag();
            if (format_ != "RI") {
                first = format_ == "MA" ? std::abs(z) : 20.0 * std::log10(std::abs(z));
                second = std::arg(z) * (180.0 / M_PI);
            }
            buffer_ += ' ';
            Number(first);
            buffer_ += ' ';
            Number(second);
        }
    buffer_ += '\n';
    FlushIfFull();
}

std::string OptionLine(const std::string& unit, char parameterType, double r, const std::string& format)
{
    return "# " + unit + " " + parameterType + " " + format + " R " + NumberText(r) + "\n";
}

std::string NumberText(double value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}
