#pragma once
// Sizing the record tables before they fill: a large job must load without the table
// growing (and so copying itself) record by record.

#include <cstddef>
#include <string>

#include "io/TokenList.h"

/// Text length of a record, judged from its tokens and one separator per token.
[[nodiscard]] size_t RecordTextBytes(const TokenList& tokens);

/// Size of the file at `path`, 0 when unknown.
[[nodiscard]] size_t FileBytes(const std::string& path);

/// Records of about recordBytes characters that the file at `path` can hold, with an
/// eighth more for records written shorter than the one measured. 0 when the size of the
/// file is unknown or recordBytes is 0.
[[nodiscard]] size_t EstimateRecordCount(const std::string& path, size_t recordBytes);
