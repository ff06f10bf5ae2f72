#include "PackageFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace {
constexpr std::size_t bufferSize = 256 * 1024;
}

std::shared_ptr<PackageFile> PackageFile::open(const std::filesystem::path& file) {
    // Without waiting, as a named pipe without a writer would hold the request for ever.
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return nullptr;
    }
    struct stat status {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        close(descriptor);
        return nullptr;
    }
    return std::shared_ptr<PackageFile>(
        new PackageFile(descriptor, static_cast<std::uint64_t>(status.st_size)));
}

PackageFile::PackageFile(int openDescriptor, std::uint64_t sizeInBytes)
    : descriptor(openDescriptor), fileSize(sizeInBytes), buffer(bufferSize) {}

PackageFile::~PackageFile() {
    close(descriptor);
}

std::string_view PackageFile::read(std::uint64_t offset, std::uint64_t length) {
    const std::size_t wanted = std::min<std::uint64_t>(length, buffer.size());
    const ssize_t got = pread(descriptor, buffer.data(), wanted, static_cast<off_t>(offset));
    return {buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0};
}
