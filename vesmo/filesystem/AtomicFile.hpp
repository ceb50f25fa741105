#pragma once
// Crash-safe file replacement.
//
// A file is never rewritten in place. The new bytes go to a temporary file in the target's folder
// (".<name>.tmp-XXXXXX"), which is flushed and fsync'ed and then renamed over the target; the folder is
// fsync'ed last, so that the rename itself is durable. A crash at any moment leaves either the old file or
// the new one, whole. Any failure (create, write, sync, rename) removes the temporary, leaves the old file
// as it was and throws std::runtime_error naming the path and the operating system's error.
//
// Saving many files (a world) with an fsync each is slow, so WriteBatch gathers finished temporaries and
// makes them durable together: one syncfs() of the file system, then the renames, then one fsync per
// folder. Until Commit() no target is touched; a batch destroyed without Commit() discards its temporaries.
//
// All or nothing. A batch made with a journal path commits as one unit: after the syncfs, the list of its
// renames is written to the journal (crash-safely), then the renames run, then the journal is removed. A
// crash before the journal is whole leaves every old file; a crash after it leaves a journal that
// Recover() finishes at the next start, so every new file. Without a journal, a crash in the middle of
// the renames leaves some files new and some old (each of them whole).
//
// One batch per thread at a time gathers everything. While a batch lives on a thread, a WriteBatch made
// on that thread is a part of it (its files go to the first batch, its Commit does nothing), and
// WriteFileAtomic on that thread goes into it too. So a world's save can open one journaled batch and
// call code that writes its own files (modules, the entities' own batch), and all of them commit together.
//
// Temporaries of a write that never finished (a crash before the journal) keep their ".<name>.tmp-XXXXXX"
// names; RemoveTemporaries() clears them from a folder.

#include <cstddef>
#include <string>
#include <vector>

namespace vesmo::filesystem {

// Replaces `path` with `size` bytes at `data`, durably; inside an open batch of this thread, at its commit.
void WriteFileAtomic(const std::string& path, const void* data, size_t size);
inline void WriteFileAtomic(const std::string& path, const std::string& text) {
    WriteFileAtomic(path, text.data(), text.size());
}

// The whole content of a file. Throws std::runtime_error naming the path when it cannot be read.
std::string ReadWholeFile(const std::string& path);

class WriteBatch {
public:
    // `journal`: the file that makes the commit all or nothing (empty: none). Ignored for a batch made
    // inside another one, which commits with that one.
    explicit WriteBatch(std::string journal = {});
    ~WriteBatch();
    WriteBatch(const WriteBatch&) = delete;
    WriteBatch& operator=(const WriteBatch&) = delete;

    // Writes `size` bytes to a temporary beside `path` (no fsync yet) and queues the replacement.
    void Add(const std::string& path, const void* data, size_t size);
    // Queues a temporary that the caller has written and closed (used by BinaryFileStream).
    void AddTemporary(const std::string& temporary, const std::string& path);

    // Makes every queued file durable and puts it in place. Throws on the first failure; files renamed
    // before it are in place, the rest keep their old content and their temporaries are removed.
    void Commit();
    size_t Size() const { return _entries.size(); }

    // Finishes the commit that `journal` records, if there is one: renames what is still waiting, then
    // removes the journal. True when there was a journal. Throws std::runtime_error when a rename fails.
    static bool Recover(const std::string& journal);
    // Removes the temporaries (".<name>.tmp-XXXXXX") that unfinished writes left in `folder`; returns how
    // many. Call it after Recover, which needs the temporaries its journal names.
    static size_t RemoveTemporaries(const std::string& folder);

private:
    struct Entry {
        std::string temporary;
        std::string target;
    };
    std::vector<Entry> _entries;
    std::string _journal;
    WriteBatch* _outer = nullptr; // the batch this one is a part of, or null
};

namespace detail {
// Shared by the writers: create a temporary beside `path`, write to it, sync a descriptor, sync a folder.
int CreateTemporaryFor(const std::string& path, std::string& temporary);
void WriteAll(int fd, const void* data, size_t size, const std::string& path);
void SyncAndClose(int fd, const std::string& path);
void SyncDirectory(const std::string& directory);
void SyncDirectoryOf(const std::string& path);
std::string DirectoryOf(const std::string& path);
void RenameInto(const std::string& temporary, const std::string& path);
[[noreturn]] void ThrowError(const std::string& what, const std::string& path, int error);
} // namespace detail

} // namespace vesmo::filesystem
