#include "io/RecordCountEstimate.h"

#include <filesystem>
#include <system_error>

size_t RecordTextBytes(const TokenList& tokens)
{
    size_t bytes = 0;
    for (size_t i = 0; i < tokens.size(); ++i) bytes += tokens[i].size() + 1;
    return bytes;
}

size_t FileBytes(const std::string& path)
{
    std::error_code error;
    const auto bytes = std::filesystem::file_size(path, error);
    return error ? 0 : static_cast<size_t>(bytes);
}

size_t EstimateRecordCount(const std::string& path, size_t recordBytes)
{
    if (recordBytes == 0) return 0;
    const size_t fileBytes = FileBytes(path);
    if (fileBytes == 0) return 0;
    const size_t records = fileBytes / recordBytes + 1;
    return records + records / 8;
}
