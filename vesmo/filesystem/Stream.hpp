#pragma once
// Byte streams: in memory (WriteOnlyStream, ReadOnlyStream) and on disk (BinaryFileStream).
//
// Raw values go as their memory image; the game writes little-endian data on a little-endian machine.
// Two framed forms are self-delimiting, so a reader can take them back without knowing their size:
//   Write(const std::string&)  an unsigned 64-bit little-endian byte count, then the bytes.
//   Write(const Stream&)       the same: a 64-bit little-endian count, then the whole buffer of that
//                              stream (all of it, whatever has been read from it already).
// A read that would go past the end, including a framed count larger than what is left, throws
// std::runtime_error naming the stream ("... from <file path>"), and never yields made-up bytes.

#include "vesmo/filesystem/AtomicFile.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace vesmo::filesystem {

class ReadOnlyStream;

class Stream {
public:
    virtual ~Stream() = default;

    virtual void Write(const unsigned char* data, size_t size) = 0;
    void Write(const std::string& text);
    void Write(const Stream& stream);

    virtual void Read(unsigned char* data, size_t size) = 0;
    void Read(std::string& text);
    ReadOnlyStream ReadStream();

    virtual void Flush() {}

    // Convenience for trivially copyable values (numbers, glm vectors, packed records).
    template <class T> void WriteValue(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        Write(reinterpret_cast<const unsigned char*>(&value), sizeof(T));
    }
    template <class T> T ReadValue() {
        static_assert(std::is_trivially_copyable_v<T>);
        T value;
        Read(reinterpret_cast<unsigned char*>(&value), sizeof(T));
        return value;
    }

    // What the stream is, for messages: a file path or "memory".
    virtual std::string Name() const = 0;

protected:
    // Buffer of an in-memory stream; a stream without one cannot be nested into another.
    virtual const std::vector<unsigned char>* Contents() const { return nullptr; }
    // Bytes a reader may still take, or SIZE_MAX when unknown.
    virtual size_t Remaining() const { return SIZE_MAX; }
    [[noreturn]] void ThrowPastEnd(size_t wanted) const;
};

// A growing buffer that is only written.
class WriteOnlyStream : public Stream {
public:
    explicit WriteOnlyStream(size_t capacity = 0) { _buffer.reserve(capacity); }

    using Stream::Read;
    using Stream::Write;
    void Write(const unsigned char* data, size_t size) override;
    void Read(unsigned char* data, size_t size) override; // throws: the stream is write-only

    const std::vector<unsigned char>& Buffer() const { return _buffer; }
    size_t Size() const { return _buffer.size(); }
    void Clear() { _buffer.clear(); }
    std::string Name() const override { return "memory"; }

protected:
    const std::vector<unsigned char>* Contents() const override { return &_buffer; }

private:
    std::vector<unsigned char> _buffer;
};

// A buffer read from the front. Empty when default-constructed.
class ReadOnlyStream : public Stream {
public:
    ReadOnlyStream() = default;
    explicit ReadOnlyStream(std::vector<unsigned char> bytes, std::string name = "memory")
        : _buffer(std::move(bytes)), _name(std::move(name)) {}

    using Stream::Read;
    using Stream::Write;
    void Write(const unsigned char* data, size_t size) override; // throws: the stream is read-only
    void Read(unsigned char* data, size_t size) override;

    const std::vector<unsigned char>& Buffer() const { return _buffer; }
    size_t Size() const { return _buffer.size(); }
    size_t Position() const { return _position; }
    bool AtEnd() const { return _position == _buffer.size(); }
    std::string Name() const override { return _name; }

protected:
    const std::vector<unsigned char>* Contents() const override { return &_buffer; }
    size_t Remaining() const override { return _buffer.size() - _position; }

private:
    std::vector<unsigned char> _buffer;
    size_t _position = 0;
    std::string _name = "memory";
};

// A file read or written through a buffer. The first Write or Read decides the direction.
//
// Writing is crash-safe (see AtomicFile.hpp): bytes go to a temporary beside the file and replace it
// only at Close() (or destruction), so the old file stays whole until the new one is complete and synced.
// With a WriteBatch set, Close() hands the finished temporary to the batch instead, and the batch's
// Commit() puts it in place. A stream destroyed while an exception unwinds through its owner discards
// what it wrote. With `append` set, writes go straight to the end of the existing file instead (a log,
// not crash-safe).
class BinaryFileStream : public Stream {
public:
    BinaryFileStream(std::string path, size_t bufferSize = 1024, bool append = false);
    ~BinaryFileStream() override;
    BinaryFileStream(const BinaryFileStream&) = delete;
    BinaryFileStream& operator=(const BinaryFileStream&) = delete;

    using Stream::Read;
    using Stream::Write;
    void Write(const unsigned char* data, size_t size) override;
    void Read(unsigned char* data, size_t size) override;
    void Flush() override;

    // Finishes a write (flush, sync, replace) or a read. Throws on a failed write; idempotent.
    void Close();
    // Discards a write in progress: the temporary goes, the old file stays.
    void Abandon();
    void SetBatch(WriteBatch* batch) { _batch = batch; }

    const std::string& Path() const { return _path; }
    std::string Name() const override { return _path; }

protected:
    size_t Remaining() const override;

private:
    enum class Mode { Unopened, Reading, Writing, Closed };
    void OpenForWriting();
    void OpenForReading();
    void FillBuffer();

    std::string _path;
    std::string _temporary;
    std::vector<unsigned char> _buffer;
    size_t _bufferUsed = 0;     // writing: bytes waiting; reading: bytes loaded
    size_t _bufferPosition = 0; // reading: next byte to hand out
    uint64_t _fileSize = 0;     // reading: size at open
    uint64_t _consumed = 0;     // reading: bytes handed out
    int _fd = -1;
    int _uncaught = 0;
    Mode _mode = Mode::Unopened;
    bool _append;
    WriteBatch* _batch = nullptr;
};

} // namespace vesmo::filesystem
