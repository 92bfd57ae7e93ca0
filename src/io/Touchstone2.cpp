#include "io/Touchstone2.h"

#include "io/LineReader.h"
#include "io/Touchstone.h"

namespace {

bool IsBlank(std::string_view text) { return text.find_first_not_of(" \t\r\n\v\f") == std::string_view::npos; }

std::string_view WithoutComment(std::string_view line)
{
    const size_t bang = line.find('!');
    return bang == std::string_view::npos ? line : line.substr(0, bang);
}

// A count of 1 .. 2^31 - 1 as a whole number.
bool ParseCount(const TokenList& values, int64_t& count)
{
    double value = 0.0;
    if (values.size() != 1 || !ParseDataNumber(values[0], value) || value < 0 || value > 2147483647.0 ||
        value != static_cast<double>(static_cast<int64_t>(value)))
        return false;
    count = static_cast<int64_t>(value);
    return true;
}

// The keyword's name, upper-cased and with its blanks as written: "[NUMBER OF PORTS]".
std::string KeywordName(std::string_view line, size_t& end)
{
    end = line.find(']');
    if (end == std::string_view::npos) end = line.size() - 1;
    return UpperCase(line.substr(0, end + 1));
}

std::string NotRead(std::string_view keyword) { return "the keyword " + std::string(keyword) + " is not read"; }
std::string WrongValue(std::string_view keyword) { return "the value of " + std::string(keyword) + " is not read"; }

}  // namespace

std::string ReadKeywordLine(TextSource& source, std::string_view line, Touchstone2Header& header)
{
    size_t end = 0;
    const std::string name = KeywordName(line, end);
    const std::string_view keyword = line.substr(0, end + 1);
    TokenList values;
    SplitTokens(line.substr(end + 1), values);

    if (name == "[VERSION]") {
        if (values.size() != 1 || (values[0] != "2.0" && values[0] != "2.1")) return WrongValue(keyword);
        header.bVersion2 = true;
        return "";
    }
    if (!header.bVersion2) return NotRead(keyword);
    if (name == "[NUMBER OF PORTS]") return ParseCount(values, header.portCount) ? "" : WrongValue(keyword);
    if (name == "[NUMBER OF FREQUENCIES]") return ParseCount(values, header.frequencyCount) ? "" : WrongValue(keyword);
    if (name == "[NUMBER OF NOISE FREQUENCIES]") {
        int64_t count = 0;
        return ParseCount(values, count) ? "" : WrongValue(keyword);
    }
    if (name == "[TWO-PORT DATA ORDER]") {
        if (values.size() != 1 || (values[0] != "12_21" && values[0] != "21_12")) return WrongValue(keyword);
        header.bOrder21_12 = values[0] == "21_12";
        return "";
    }
    if (name == "[MATRIX FORMAT]") {
        const std::string format = values.size() == 1 ? UpperCase(values[0]) : std::string();
        if (format == "FULL")
            header.matrixFormat = MatrixFormat::Full;
        else if (format == "UPPER")
            header.matrixFormat = MatrixFormat::Upper;
        else if (format == "LOWER")
            header.matrixFormat = MatrixFormat::Lower;
        else
            return WrongValue(keyword);
        return "";
    }
    if (name == "[REFERENCE]") {
        // The values may continue on the following lines, up to one per port.
        header.references.clear();
        const auto take = [&](const TokenList& tokens) {
            for (size_t k = 0; k < tokens.size(); ++k) {
                double R = 0.0;
                if (!ParseDataNumber(tokens[k], R)) return false;
                header.references.push_back(R);
            }
            return true;
        };
        if (!take(values)) return WrongValue(keyword);
        const size_t wanted = header.portCount > 0 ? static_cast<size_t>(header.portCount) : 1;
        std::string_view physical;
        while (header.references.size() < wanted && source.NextLine(physical)) {
            const std::string_view content = WithoutComment(physical);
            if (IsBlank(content)) continue;
            const size_t first = content.find_first_not_of(" \t");
            if (content[first] == '[' || content[first] == '#') {
                source.UnreadLine();
                break;
            }
            TokenList more;
            SplitTokens(content, more);
            if (!take(more)) return WrongValue(keyword);
        }
        if (header.references.empty()) return WrongValue(keyword);
        return "";
    }
    if (name == "[NETWORK DATA]") {
        header.bNetworkData = true;
        return "";
    }
    if (name == "[NOISE DATA]") {
        // Noise parameters are not used: read past them up to the next keyword.
        std::string_view physical;
        while (source.NextLine(physical)) {
            const size_t first = physical.find_first_not_of(" \t");
            if (first != std::string_view::npos && physical[first] == '[') {
                source.UnreadLine();
                break;
            }
        }
        return "";
    }
    if (name == "[END]") {
        header.bEnd = true;
        return "";
    }
    return NotRead(keyword);
}

void MakeRecordLayout(const Touchstone2Header& header, int64_t N, RecordLayout& layout)
{
    layout.target.clear();
    layout.mirror.clear();
    layout.valueCount = header.matrixFormat == MatrixFormat::Full ? 2 * N * N : N * (N + 1);
    const bool bTwoPortOrder = N == 2 && header.bVersion2;
    if (header.matrixFormat == MatrixFormat::Full && !(bTwoPortOrder && !header.bOrder21_12)) return;
    // Version 1 order of a two-port: S_ij at pair j·N + i.
    const auto at = [&](int64_t i, int64_t j) { return static_cast<int32_t>(N == 2 ? j * N + i : i * N + j); };
    for (int64_t i = 0; i < N; ++i) {
        const int64_t from = header.matrixFormat == MatrixFormat::Upper ? i : 0;
        const int64_t to = header.matrixFormat == MatrixFormat::Lower ? i + 1 : N;
        for (int64_t j = from; j < to; ++j) {
            layout.target.push_back(at(i, j));
            layout.mirror.push_back(header.matrixFormat != MatrixFormat::Full && i != j ? at(j, i) : -1);
        }
    }
}

bool PortReferences(const Touchstone2Header& header, int64_t N, double optionR, std::vector<double>& R)
{
    if (header.references.empty()) {
        R.assign(static_cast<size_t>(N), optionR);
        return true;
    }
    if (header.references.size() == 1) {
        R.assign(static_cast<size_t>(N), header.references[0]);
        return true;
    }
    if (header.references.size() != static_cast<size_t>(N)) return false;
    R = header.references;
    return true;
}
