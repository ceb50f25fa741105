#include "vesmo/filesystem/AtomicFile.hpp"
#include "vesmo/filesystem/Stream.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <stdexcept>
#include <sys/resource.h>

using namespace vesmo::filesystem;
using testing_support::ReadText;
using testing_support::TempDir;
using testing_support::WriteText;

namespace {
size_t CountFiles(const std::filesystem::path& dir) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(dir), {}));
}

// Makes writes past `bytes` fail with EFBIG for the life of the object: a real failing write, even as root.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        _oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &_old);
        rlimit limit = _old;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &_old);
        std::signal(SIGXFSZ, _oldHandler);
    }

private:
    rlimit _old{};
    void (*_oldHandler)(int);
};
} // namespace

TEST(WriteFileAtomic, ReplacesTheFileWhole) {
    TempDir dir;
    const std::string path = dir.File("settings.ini");
    WriteFileAtomic(path, std::string("first"));
    EXPECT_EQ(ReadText(path), "first");
    WriteFileAtomic(path, std::string("second, longer"));
    EXPECT_EQ(ReadText(path), "second, longer");
    EXPECT_EQ(CountFiles(dir.Path()), 1u);
}

TEST(WriteFileAtomic, AFailedWriteLeavesTheOldFileAndNamesPathAndError) {
    TempDir dir;
    const std::string path = dir.File("world.bin");
    const std::string old(1000, 'o');
    WriteText(path, old);
    const std::string bigger(64 * 1024, 'n');
    FileSizeLimit limit(4096);
    const std::string message =
        testing_support::ThrownMessage<std::runtime_error>([&] { WriteFileAtomic(path, bigger); });
    EXPECT_NE(message.find(path), std::string::npos) << message;
    EXPECT_NE(message.find("too large"), std::string::npos) << message; // strerror(EFBIG)
    EXPECT_EQ(ReadText(path), old);
    EXPECT_EQ(CountFiles(dir.Path()), 1u); // the temporary is gone
}

TEST(WriteFileAtomic, AFailedStreamWriteLeavesTheOldFile) {
    TempDir dir;
    const std::string path = dir.File("entity.entitystate");
    WriteText(path, "old state");
    std::vector<unsigned char> bytes(64 * 1024, 0x42);
    FileSizeLimit limit(4096);
    EXPECT_THROW(
        {
            BinaryFileStream file(path, 1024, false);
            file.Write(bytes.data(), bytes.size());
            file.Close();
        },
        std::runtime_error);
    EXPECT_EQ(ReadText(path), "old state");
    EXPECT_EQ(CountFiles(dir.Path()), 1u);
}

TEST(WriteFileAtomic, UnwritableTargetsAreReported) {
    TempDir dir;
    // The target is a folder: rename fails, the folder stays, no temporary is left.
    std::filesystem::create_directory(dir.File("taken"));
    EXPECT_THROW(WriteFileAtomic(dir.File("taken"), std::string("x")), std::runtime_error);
    EXPECT_TRUE(std::filesystem::is_directory(dir.File("taken")));
    EXPECT_EQ(CountFiles(dir.Path()), 1u);
    // The folder does not exist: nothing can be created.
    EXPECT_THROW(WriteFileAtomic(dir.File("no/such/folder/file"), std::string("x")), std::runtime_error);
}

TEST(WriteBatch, NothingChangesBeforeCommitThenEverything) {
    TempDir dir;
    WriteText(dir.File("a"), "old a");
    {
        WriteBatch batch;
        batch.Add(dir.File("a"), "new a", 5);
        batch.Add(dir.File("b"), "new b", 5);
        {
            BinaryFileStream stream(dir.File("c"));
            stream.SetBatch(&batch);
            stream.Write(std::string("c"));
        }
        EXPECT_EQ(batch.Size(), 3u);
        EXPECT_EQ(ReadText(dir.File("a")), "old a");
        EXPECT_FALSE(std::filesystem::exists(dir.File("b")));
        EXPECT_FALSE(std::filesystem::exists(dir.File("c")));
        batch.Commit();
    }
    EXPECT_EQ(ReadText(dir.File("a")), "new a");
    EXPECT_EQ(ReadText(dir.File("b")), "new b");
    EXPECT_TRUE(std::filesystem::exists(dir.File("c")));
    EXPECT_EQ(CountFiles(dir.Path()), 3u);
}

TEST(WriteBatch, ABatchDroppedWithoutCommitLeavesNoTrace) {
    TempDir dir;
    WriteText(dir.File("a"), "old a");
    {
        WriteBatch batch;
        batch.Add(dir.File("a"), "new a", 5);
        batch.Add(dir.File("b"), "new b", 5);
    }
    EXPECT_EQ(ReadText(dir.File("a")), "old a");
    EXPECT_EQ(CountFiles(dir.Path()), 1u);
}

TEST(WriteBatch, OneOpenBatchTakesNestedBatchesAndAtomicWritesOfItsThread) {
    TempDir dir;
    WriteText(dir.File("module.state"), "old");
    {
        WriteBatch save(dir.File("save.journal"));
        WriteFileAtomic(dir.File("module.state"), std::string("new"));
        {
            WriteBatch entities; // as the entities' own save makes it
            entities.Add(dir.File("entity"), "e", 1);
            entities.Commit(); // a part of `save`: nothing yet
        }
        EXPECT_EQ(ReadText(dir.File("module.state")), "old");
        EXPECT_FALSE(std::filesystem::exists(dir.File("entity")));
        EXPECT_EQ(save.Size(), 2u);
        save.Commit();
    }
    EXPECT_EQ(ReadText(dir.File("module.state")), "new");
    EXPECT_EQ(ReadText(dir.File("entity")), "e");
    EXPECT_FALSE(std::filesystem::exists(dir.File("save.journal")));
    // With the batch gone, a write is immediate again.
    WriteFileAtomic(dir.File("module.state"), std::string("later"));
    EXPECT_EQ(ReadText(dir.File("module.state")), "later");
}

TEST(WriteBatch, RecoverFinishesAJournaledCommitAndStrayTemporariesAreRemoved) {
    TempDir dir;
    // A commit interrupted after its journal and its first rename: "a" is in place, "b" still waits.
    WriteText(dir.File("a"), "new a");
    WriteText(dir.File("b"), "old b");
    WriteText(dir.File(".b.tmp-Q1w2E3"), "new b");
    WriteText(dir.File("save.journal"), dir.File(".a.tmp-Zz9Yy8") + "\n" + dir.File("a") + "\n" +
                                            dir.File(".b.tmp-Q1w2E3") + "\n" + dir.File("b") + "\n");
    // Left by a save that never reached its journal, beside files that only look alike.
    WriteText(dir.File(".c.tmp-AbCdEf"), "half");
    WriteText(dir.File(".hidden"), "kept");
    WriteText(dir.File("c.tmp-AbCdEf"), "kept");

    EXPECT_TRUE(WriteBatch::Recover(dir.File("save.journal")));
    EXPECT_EQ(ReadText(dir.File("a")), "new a");
    EXPECT_EQ(ReadText(dir.File("b")), "new b");
    EXPECT_FALSE(std::filesystem::exists(dir.File("save.journal")));
    EXPECT_FALSE(WriteBatch::Recover(dir.File("save.journal")));

    EXPECT_EQ(WriteBatch::RemoveTemporaries(dir.Path().string()), 1u);
    EXPECT_FALSE(std::filesystem::exists(dir.File(".c.tmp-AbCdEf")));
    EXPECT_EQ(CountFiles(dir.Path()), 4u); // a, b, .hidden, c.tmp-AbCdEf
}
