#include "vesmo/filesystem/AtomicFile.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace vesmo::filesystem {

namespace detail {

void ThrowError(const std::string& what, const std::string& path, int error) {
    throw std::runtime_error("Cannot " + what + " " + path + ": " + std::strerror(error));
}

std::string DirectoryOf(const std::string& path) {
    std::string parent = std::filesystem::path(path).parent_path().string();
    return parent.empty() ? std::string(".") : parent;
}

int CreateTemporaryFor(const std::string& path, std::string& temporary) {
    const std::filesystem::path target(path);
    temporary = (target.parent_path() / ("." + target.filename().string() + ".tmp-XXXXXX")).string();
    int fd = ::mkstemp(temporary.data());
    if (fd < 0)
        ThrowError("create a temporary file for", path, errno);
    // mkstemp creates 0600; a saved file should look like any other file the user makes.
    mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
    return fd;
}

void WriteAll(int fd, const void* data, size_t size, const std::string& path) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t written = ::write(fd, bytes, size);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            ThrowError("write", path, errno);
        }
        bytes += written;
        size -= static_cast<size_t>(written);
    }
}

void SyncAndClose(int fd, const std::string& path) {
    if (::fsync(fd) != 0) {
        int error = errno;
        ::close(fd);
        ThrowError("sync", path, error);
    }
    if (::close(fd) != 0)
        ThrowError("close", path, errno);
}

void SyncDirectory(const std::string& directory) {
    int fd = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        ThrowError("open the folder", directory, errno);
    if (::fsync(fd) != 0) {
        int error = errno;
        ::close(fd);
        ThrowError("sync the folder", directory, error);
    }
    ::close(fd);
}

void SyncDirectoryOf(const std::string& path) { SyncDirectory(DirectoryOf(path)); }

void RenameInto(const std::string& temporary, const std::string& path) {
    if (::rename(temporary.c_str(), path.c_str()) != 0)
        ThrowError("replace", path, errno);
}

} // namespace detail

void WriteFileAtomic(const std::string& path, const void* data, size_t size) {
    std::string temporary;
    int fd = detail::CreateTemporaryFor(path, temporary);
    try {
        try {
            detail::WriteAll(fd, data, size, path);
        } catch (...) {
            ::close(fd);
            throw;
        }
        detail::SyncAndClose(fd, path);
        detail::RenameInto(temporary, path);
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
    detail::SyncDirectoryOf(path);
}

std::string ReadWholeFile(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        detail::ThrowError("open", path, errno);
    std::string content;
    char buffer[16384];
    for (;;) {
        ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            int error = errno;
            ::close(fd);
            detail::ThrowError("read", path, error);
        }
        if (got == 0)
            break;
        content.append(buffer, static_cast<size_t>(got));
    }
    ::close(fd);
    return content;
}

WriteBatch::~WriteBatch() {
    for (const Entry& entry : _entries)
        ::unlink(entry.temporary.c_str());
}

void WriteBatch::Add(const std::string& path, const void* data, size_t size) {
    std::string temporary;
    int fd = detail::CreateTemporaryFor(path, temporary);
    try {
        detail::WriteAll(fd, data, size, path);
    } catch (...) {
        ::close(fd);
        ::unlink(temporary.c_str());
        throw;
    }
    if (::close(fd) != 0) {
        int error = errno;
        ::unlink(temporary.c_str());
        detail::ThrowError("close", path, error);
    }
    _entries.push_back({std::move(temporary), path});
}

void WriteBatch::AddTemporary(const std::string& temporary, const std::string& path) {
    _entries.push_back({temporary, path});
}

void WriteBatch::Commit() {
    if (_entries.empty())
        return;
    // One syncfs makes every temporary's data durable at once (they share the file system of their
    // targets); only then may the renames expose them.
    {
        int fd = ::open(_entries.front().temporary.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0 || ::syncfs(fd) != 0) {
            int error = errno;
            if (fd >= 0)
                ::close(fd);
            detail::ThrowError("sync the file system of", _entries.front().target, error);
        }
        ::close(fd);
    }
    std::set<std::string> folders;
    std::vector<Entry> entries = std::move(_entries);
    _entries.clear();
    for (size_t i = 0; i < entries.size(); ++i) {
        try {
            detail::RenameInto(entries[i].temporary, entries[i].target);
        } catch (...) {
            for (size_t j = i; j < entries.size(); ++j)
                ::unlink(entries[j].temporary.c_str());
            throw;
        }
        folders.insert(detail::DirectoryOf(entries[i].target));
    }
    for (const std::string& folder : folders)
        detail::SyncDirectory(folder);
}

} // namespace vesmo::filesystem
