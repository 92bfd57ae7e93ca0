#include "FuzzSupport.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

std::vector<std::string> SplitInput(const uint8_t* data, size_t size, size_t maxParts)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<std::string> parts;
    size_t start = 0;
    while (parts.size() + 1 < maxParts) {
        const size_t at = text.find(kFileSeparator, start);
        if (at == std::string_view::npos) break;
        parts.emplace_back(text.substr(start, at - start));
        start = at + kFileSeparator.size();
    }
    parts.emplace_back(text.substr(start));
    return parts;
}

ScratchDir::ScratchDir()
{
    // A memory file system keeps the per-input file writes cheap.
    const fs::path base = fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
    std::string pattern = (base / "vora-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        std::perror("vora fuzz: mkdtemp");
        std::abort();
    }
    dir_ = pattern + "/";
}

ScratchDir::~ScratchDir()
{
    std::error_code error;
    fs::remove_all(dir_, error);
}

void ScratchDir::Write(const std::string& name, std::string_view text) const
{
    std::ofstream file(PathOf(name), std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
}

void ScratchDir::Clear() const
{
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(dir_, error)) fs::remove_all(entry.path(), error);
}

ScratchDir& Scratch()
{
    // Destroyed at exit, which removes the directory of a fuzzing run that ends normally.
    static ScratchDir dir;
    return dir;
}
