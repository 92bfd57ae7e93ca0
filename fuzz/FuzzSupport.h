#pragma once
// Helpers shared by the fuzz targets: a scratch job directory that lives as long as the
// fuzzing process, and the splitting of one fuzz input into the files of a job.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The files of a job are separated by this marker in a fuzz input. No map or Touchstone
// text uses it, so a mutated input keeps its file boundaries.
inline constexpr std::string_view kFileSeparator = "%%";

/// The input cut at every separator; at most maxParts pieces (the last keeps the rest).
std::vector<std::string> SplitInput(const uint8_t* data, size_t size, size_t maxParts);

/// One directory per fuzzing process, emptied before every input.
class ScratchDir {
public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    /// The directory with a trailing "/", as the job's directoryPath.
    const std::string& dir() const { return dir_; }
    std::string PathOf(const std::string& name) const { return dir_ + name; }
    void Write(const std::string& name, std::string_view text) const;
    /// Removes every file in the directory.
    void Clear() const;

private:
    std::string dir_;
};

/// The directory of the current process (created on first use).
ScratchDir& Scratch();
