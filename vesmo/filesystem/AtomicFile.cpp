#include "vesmo/filesystem/AtomicFile.hpp"

#include <cctype>
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

namespace {

// The batch open on this thread: the first one made and not yet destroyed.
thread_local WriteBatch* t_openBatch = nullptr;

void WriteDurably(const std::string& path, const void* data, size_t size) {
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

bool IsTemporaryName(const std::string& name) {
    // ".<name>.tmp-XXXXXX", XXXXXX from mkstemp's letters and digits.
    const size_t at = name.rfind(".tmp-");
    if (name.size() < 2 || name[0] != '.' || at == std::string::npos || at < 2 || name.size() - at != 11)
        return false;
    for (size_t i = at + 5; i < name.size(); ++i)
        if (!std::isalnum(static_cast<unsigned char>(name[i])))
            return false;
    return true;
}

} // namespace

void WriteFileAtomic(const std::string& path, const void* data, size_t size) {
    if (t_openBatch != nullptr)
        t_openBatch->Add(path, data, size);
    else
        WriteDurably(path, data, size);
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

WriteBatch::WriteBatch(std::string journal) : _journal(std::move(journal)) {
    if (t_openBatch != nullptr)
        _outer = t_openBatch;
    else
        t_openBatch = this;
}

WriteBatch::~WriteBatch() {
    if (t_openBatch == this)
        t_openBatch = nullptr;
    for (const Entry& entry : _entries)
        ::unlink(entry.temporary.c_str());
}

void WriteBatch::Add(const std::string& path, const void* data, size_t size) {
    if (_outer != nullptr)
        return _outer->Add(path, data, size);
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
    if (_outer != nullptr)
        return _outer->AddTemporary(temporary, path);
    _entries.push_back({temporary, path});
}

void WriteBatch::Commit() {
    if (_outer != nullptr || _entries.empty())
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
    // The journal is the commit point: once it is whole on disk, the renames below will be finished by
    // Recover() whatever happens to this process.
    if (!_journal.empty()) {
        std::string list;
        for (const Entry& entry : _entries) {
            if (entry.temporary.find('\n') != std::string::npos || entry.target.find('\n') != std::string::npos)
                detail::ThrowError("journal a path with a line break:", entry.target, EINVAL);
            list += entry.temporary + '\n' + entry.target + '\n';
        }
        WriteDurably(_journal, list.data(), list.size());
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
    if (!_journal.empty()) {
        ::unlink(_journal.c_str());
        detail::SyncDirectoryOf(_journal);
    }
}

bool WriteBatch::Recover(const std::string& journal) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(journal, error))
        return false;
    const std::string list = ReadWholeFile(journal);
    std::set<std::string> folders;
    size_t start = 0;
    for (;;) {
        const size_t first = list.find('\n', start);
        const size_t second = first == std::string::npos ? first : list.find('\n', first + 1);
        if (second == std::string::npos)
            break;
        const std::string temporary = list.substr(start, first - start);
        const std::string target = list.substr(first + 1, second - first - 1);
        start = second + 1;
        // A temporary that is gone was renamed before the interruption.
        if (std::filesystem::exists(temporary, error)) {
            detail::RenameInto(temporary, target);
            folders.insert(detail::DirectoryOf(target));
        }
    }
    for (const std::string& folder : folders)
        detail::SyncDirectory(folder);
    ::unlink(journal.c_str());
    detail::SyncDirectoryOf(journal);
    return true;
}

size_t WriteBatch::RemoveTemporaries(const std::string& folder) {
    size_t removed = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.is_regular_file(error) && IsTemporaryName(entry.path().filename().string()))
            removed += std::filesystem::remove(entry.path(), error) ? 1 : 0;
    }
    return removed;
}

} // namespace vesmo::filesystem
