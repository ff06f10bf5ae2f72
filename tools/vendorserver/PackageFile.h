#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>
#include <vector>

/// A package that is being sent: an open file of fixed size, read piece by piece through one small
/// buffer, so that a package of any size costs the same memory.
class PackageFile {
public:
    /// Null when `file` is no readable regular file.
    static std::shared_ptr<PackageFile> open(const std::filesystem::path& file);

    ~PackageFile();
    PackageFile(const PackageFile&) = delete;
    PackageFile& operator=(const PackageFile&) = delete;

    /// The size in bytes when the file was opened.
    std::uint64_t size() const { return fileSize; }

    /// At most `length` bytes from `offset`, valid until the next call. Empty when the file has
    /// become shorter or cannot be read.
    std::string_view read(std::uint64_t offset, std::uint64_t length);

private:
    PackageFile(int openDescriptor, std::uint64_t sizeInBytes);

    int descriptor;
    std::uint64_t fileSize;
    std::vector<char> buffer;
};
