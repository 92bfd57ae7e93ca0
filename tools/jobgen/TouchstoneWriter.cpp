#include "jobgen/TouchstoneWriter.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>
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

std::string RewriteAsVersion2(const std::string& path, const std::string& matrixFormat)
{
    const size_t dot = path.rfind(".s");
    const int32_t n = dot == std::string::npos ? 0 : std::atoi(path.c_str() + dot + 2);
    if (n < 1) return path + ": no port count in the name";
    const size_t recordSize = 2 * static_cast<size_t>(n) * static_cast<size_t>(n) + 1;

    // First pass: the header lines and the number of records, which version 2 states first.
    std::ifstream in(path);
    if (!in) return "cannot read " + path;
    std::string comments, optionLine, line;
    size_t values = 0;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        if (line[0] == '!') {
            comments += line + "\n";
        } else if (line[0] == '#') {
            optionLine = line;
        } else {
            std::istringstream words(line);
            for (std::string word; words >> word;) ++values;
        }
    }
    if (values % recordSize != 0) return path + ": records do not fit " + std::to_string(n) + " ports";
    const size_t at = optionLine.find(" R ");
    const std::string R = at == std::string::npos ? "50" : optionLine.substr(at + 3);

    const std::string rewritten = path + ".v2";
    std::ofstream out(rewritten, std::ios::trunc);
    out << comments << "[Version] 2.0\n" << optionLine << "\n[Number of Ports] " << n << "\n";
    if (n == 2) out << "[Two-Port Data Order] 12_21\n";
    out << "[Number of Frequencies] " << values / recordSize << "\n[Reference]\n";
    for (int32_t i = 0; i < n; ++i) out << (i ? " " : "") << R;
    out << "\n[Matrix Format] " << matrixFormat << "\n[Network Data]\n";

    // Second pass: record by record.
    in.clear();
    in.seekg(0);
    std::vector<std::string> record;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '!' || line[0] == '#') continue;
        std::istringstream words(line);
        for (std::string word; words >> word;) record.push_back(word);
        if (record.size() < recordSize) continue;
        out << record[0];
        for (int32_t i = 0; i < n; ++i) {
            const int32_t from = matrixFormat == "Upper" ? i : 0;
            const int32_t to = matrixFormat == "Lower" ? i + 1 : n;
            for (int32_t j = from; j < to; ++j) {
                // A version-1 two-port record holds S_ij at pair j·2 + i (11 21 12 22).
                const size_t pair = static_cast<size_t>(n == 2 ? j * n + i : i * n + j);
                out << ' ' << record[1 + 2 * pair] << ' ' << record[2 + 2 * pair];
            }
            out << " ! row " << i + 1 << '\n';
        }
        record.clear();
    }
    out << "[End]\n";
    out.close();
    if (!out) return "writing " + rewritten + " failed";
    if (std::rename(rewritten.c_str(), path.c_str()) != 0) return "renaming " + rewritten + " failed";
    return "";
}
