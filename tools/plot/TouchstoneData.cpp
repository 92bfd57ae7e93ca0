#include "plot/TouchstoneData.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

enum class Format { RI, MA, DB };

double UnitFactor(const std::string& unit)
{
    if (unit.empty()) return 1.0;
    switch (unit[0]) {
    case 'G': return 1e9;
    case 'M': return 1e6;
    case 'k':
    case 'K': return 1e3;
    case 'T': return 1e12;
    default: return 1.0;
    }
}

std::string Upper(std::string text)
{
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

}  // namespace

std::string ParseEntries(const std::string& text, int32_t ports, std::vector<MatrixEntry>& entries)
{
    std::stringstream list(text);
    std::string item;
    while (std::getline(list, item, ',')) {
        if (item.size() < 3 || (item[0] != 'S' && item[0] != 's')) return "bad entry " + item;
        const std::string digits = item.substr(1);
        long row = 0, column = 0;
        const size_t underscore = digits.find('_');
        char* end = nullptr;
        if (underscore != std::string::npos) {
            const std::string rowText = digits.substr(0, underscore), columnText = digits.substr(underscore + 1);
            row = std::strtol(rowText.c_str(), &end, 10);
            if (rowText.empty() || *end != '\0') return "bad entry " + item;
            column = std::strtol(columnText.c_str(), &end, 10);
            if (columnText.empty() || *end != '\0') return "bad entry " + item;
        } else {
            if (digits.size() != 2 || !std::isdigit(static_cast<unsigned char>(digits[0])) ||
                !std::isdigit(static_cast<unsigned char>(digits[1])))
                return "bad entry " + item + " (write S<row>_<column> for ports above 9)";
            row = digits[0] - '0';
            column = digits[1] - '0';
        }
        if (row < 1 || row > ports || column < 1 || column > ports)
            return "entry " + item + " is outside a " + std::to_string(ports) + "-port";
        entries.push_back(MatrixEntry{static_cast<int32_t>(row - 1), static_cast<int32_t>(column - 1), item});
    }
    if (entries.empty()) return "no entries given";
    return "";
}

std::string ReadTouchstoneSeries(const std::string& path, int32_t ports, const std::vector<MatrixEntry>& entries,
                                 TouchstoneSeries& series)
{
    std::ifstream in(path);
    if (!in) return "cannot open " + path;
    const size_t recordLength = 2 * static_cast<size_t>(ports) * static_cast<size_t>(ports) + 1;
    double factor = 1.0;
    Format format = Format::RI;
    series.frequencies.clear();
    series.values.assign(entries.size(), {});

    std::vector<double> record;
    record.reserve(recordLength);
    std::string line;
    size_t lineNumber = 0;
    while (std::getline(in, line)) {
        ++lineNumber;
        const size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '!') continue;
        if (line[first] == '#') {
            std::stringstream tokens(line.substr(first + 1));
            std::string token;
            bool unitSeen = false;
            while (tokens >> token) {
                const std::string upper = Upper(token);
                if (!unitSeen) {
                    factor = UnitFactor(token);
                    unitSeen = true;
                } else if (upper == "RI") {
                    format = Format::RI;
                } else if (upper == "MA") {
                    format = Format::MA;
                } else if (upper == "DB") {
                    format = Format::DB;
                }
            }
            continue;
        }
        const char* cursor = line.c_str();
        while (true) {
            while (*cursor == ' ' || *cursor == '\t' || *cursor == '\r') ++cursor;
            if (*cursor == '\0' || *cursor == '!') break;
            char* end = nullptr;
            const double value = std::strtod(cursor, &end);
            if (end == cursor) return path + ":" + std::to_string(lineNumber) + ": not a number";
            cursor = end;
            record.push_back(value);
            if (record.size() < recordLength) continue;
            series.frequencies.push_back(record[0] * factor);
            for (size_t e = 0; e < entries.size(); ++e) {
                const size_t at = 1 + 2 * (static_cast<size_t>(entries[e].row) * static_cast<size_t>(ports) +
                                            static_cast<size_t>(entries[e].column));
                const double a = record[at], b = record[at + 1];
                std::complex<double> z;
                if (format == Format::RI) z = {a, b};
                else if (format == Format::MA) z = std::polar(a, b * M_PI / 180.0);
                else z = std::polar(std::pow(10.0, a / 20.0), b * M_PI / 180.0);
                series.values[e].push_back(z);
            }
            record.clear();
        }
    }
    if (!record.empty()) return path + ": last record incomplete (is --ports right?)";
    if (series.frequencies.empty()) return path + ": no data records";
    return "";
}
