#include "io/RecordCountEstimate.h"

#include <filesystem>
#include <system_error>

size_t RecordTextBytes(const TokenList& tokens)
{
    size_t bytes = 0;
    for (size_t i = 0; i < tokens.size(); ++i) bytes += tokens[i].size() + 1;
    return bytes;
}

size_t EstimateRecordCount(const std::string& path, size_t recordBytes)
{
    if (recordBytes == 0) return 0;
    std::error_code error;
    const auto fileBytes = std::filesystem::file_size(path, error);
    if (error) return 0;
    const size_t records = static_cast<size_t>(fileBytes / recordBytes) + 1;
    return records + records / 8;
}
