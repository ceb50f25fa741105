#include "vesmo/filesystem/Stream.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace vesmo::filesystem {

namespace {
void WriteCount(Stream& stream, uint64_t count) {
    unsigned char bytes[8];
    for (int i = 0; i < 8; ++i)
        bytes[i] = static_cast<unsigned char>(count >> (8 * i));
    stream.Write(bytes, sizeof bytes);
}

uint64_t ReadCount(Stream& stream) {
    unsigned char bytes[8];
    stream.Read(bytes, sizeof bytes);
    uint64_t count = 0;
    for (int i = 0; i < 8; ++i)
        count |= static_cast<uint64_t>(bytes[i]) << (8 * i);
    return count;
}
} // namespace

void Stream::ThrowPastEnd(size_t wanted) const {
    throw std::runtime_error("Unexpected end of stream: " + std::to_string(wanted) + " more bytes wanted from " +
                             Name());
}

void Stream::Write(const std::string& text) {
    WriteCount(*this, text.size());
    Write(reinterpret_cast<const unsigned char*>(text.data()), text.size());
}

void Stream::Write(const Stream& stream) {
    const std::vector<unsigned char>* contents = stream.Contents();
    if (contents == nullptr)
        throw std::runtime_error("Cannot nest " + stream.Name() + " into " + Name() + ": it has no buffer");
    WriteCount(*this, contents->size());
    Write(contents->data(), contents->size());
}

void Stream::Read(std::string& text) {
    const uint64_t count = ReadCount(*this);
    if (count > Remaining())
        ThrowPastEnd(count);
    text.resize(count);
    Read(reinterpret_cast<unsigned char*>(text.data()), count);
}

ReadOnlyStream Stream::ReadStream() {
    const uint64_t count = ReadCount(*this);
    if (count > Remaining())
        ThrowPastEnd(count);
    std::vector<unsigned char> bytes(count);
    Read(bytes.data(), count);
    return ReadOnlyStream(std::move(bytes), Name());
}

void WriteOnlyStream::Write(const unsigned char* data, size_t size) {
    _buffer.insert(_buffer.end(), data, data + size);
}

void WriteOnlyStream::Read(unsigned char*, size_t) { throw std::runtime_error("Cannot read a write-only stream"); }

void ReadOnlyStream::Write(const unsigned char*, size_t) {
    throw std::runtime_error("Cannot write to the read-only stream " + _name);
}

void ReadOnlyStream::Read(unsigned char* data, size_t size) {
    if (size > _buffer.size() - _position)
        ThrowPastEnd(size);
    std::memcpy(data, _buffer.data() + _position, size);
    _position += size;
}

BinaryFileStream::BinaryFileStream(std::string path, size_t bufferSize, bool append)
    : _path(std::move(path)), _buffer(std::max<size_t>(bufferSize, 16)), _uncaught(std::uncaught_exceptions()),
      _append(append) {}

BinaryFileStream::~BinaryFileStream() {
    if (_mode == Mode::Writing && std::uncaught_exceptions() > _uncaught) {
        Abandon();
        return;
    }
    try {
        Close();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        std::fflush(stderr);
    }
}

void BinaryFileStream::OpenForWriting() {
    if (_mode == Mode::Reading || _mode == Mode::Closed)
        throw std::runtime_error("Cannot write to " + _path + ": the stream was opened for reading or closed");
    if (_append) {
        _fd = ::open(_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        if (_fd < 0)
            detail::ThrowError("open", _path, errno);
    } else {
        _fd = detail::CreateTemporaryFor(_path, _temporary);
    }
    _mode = Mode::Writing;
}

void BinaryFileStream::OpenForReading() {
    if (_mode == Mode::Writing || _mode == Mode::Closed)
        throw std::runtime_error("Cannot read " + _path + ": the stream was opened for writing or closed");
    _fd = ::open(_path.c_str(), O_RDONLY | O_CLOEXEC);
    if (_fd < 0)
        detail::ThrowError("open", _path, errno);
    struct stat status {};
    if (::fstat(_fd, &status) != 0)
        detail::ThrowError("inspect", _path, errno);
    _fileSize = static_cast<uint64_t>(status.st_size);
    _mode = Mode::Reading;
}

void BinaryFileStream::Write(const unsigned char* data, size_t size) {
    if (_mode != Mode::Writing)
        OpenForWriting();
    if (size >= _buffer.size()) {
        Flush();
        detail::WriteAll(_fd, data, size, _path);
        return;
    }
    if (_bufferUsed + size > _buffer.size())
        Flush();
    std::memcpy(_buffer.data() + _bufferUsed, data, size);
    _bufferUsed += size;
}

void BinaryFileStream::Flush() {
    if (_mode != Mode::Writing || _bufferUsed == 0)
        return;
    detail::WriteAll(_fd, _buffer.data(), _bufferUsed, _path);
    _bufferUsed = 0;
}

size_t BinaryFileStream::Remaining() const {
    if (_mode == Mode::Unopened)
        return SIZE_MAX; // not opened yet: the read itself will find out
    return static_cast<size_t>(_fileSize - _consumed);
}

void BinaryFileStream::FillBuffer() {
    for (;;) {
        ssize_t got = ::read(_fd, _buffer.data(), _buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            detail::ThrowError("read", _path, errno);
        _bufferUsed = static_cast<size_t>(got);
        _bufferPosition = 0;
        return;
    }
}

void BinaryFileStream::Read(unsigned char* data, size_t size) {
    if (_mode != Mode::Reading)
        OpenForReading();
    if (size > _fileSize - _consumed)
        ThrowPastEnd(size);
    size_t left = size;
    while (left > 0) {
        if (_bufferPosition == _bufferUsed) {
            FillBuffer();
            if (_bufferUsed == 0) // the file shrank under us
                ThrowPastEnd(left);
        }
        const size_t take = std::min(left, _bufferUsed - _bufferPosition);
        std::memcpy(data, _buffer.data() + _bufferPosition, take);
        _bufferPosition += take;
        data += take;
        left -= take;
    }
    _consumed += size;
}

void BinaryFileStream::Close() {
    const Mode mode = _mode;
    _mode = Mode::Closed;
    if (mode == Mode::Reading) {
        ::close(_fd);
        _fd = -1;
        return;
    }
    if (mode != Mode::Writing)
        return;

    const int fd = _fd;
    _fd = -1;
    try {
        try {
            detail::WriteAll(fd, _buffer.data(), _bufferUsed, _path);
            _bufferUsed = 0;
        } catch (...) {
            ::close(fd);
            throw;
        }
        if (_append || _batch != nullptr) {
            if (::close(fd) != 0)
                detail::ThrowError("close", _path, errno);
            if (_append)
                return;
            _batch->AddTemporary(_temporary, _path);
            return;
        }
        detail::SyncAndClose(fd, _path); // closes even when it throws
        detail::RenameInto(_temporary, _path);
    } catch (...) {
        if (!_temporary.empty())
            ::unlink(_temporary.c_str());
        throw;
    }
    detail::SyncDirectoryOf(_path);
}

void BinaryFileStream::Abandon() {
    if (_mode == Mode::Writing) {
        ::close(_fd);
        if (!_temporary.empty())
            ::unlink(_temporary.c_str());
    } else if (_mode == Mode::Reading) {
        ::close(_fd);
    }
    _fd = -1;
    _mode = Mode::Closed;
}

} // namespace vesmo::filesystem
