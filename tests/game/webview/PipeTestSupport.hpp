#pragma once
// The other side of a PipeServer, as the browser process would hold it, in a folder of its own.

#include "TestSupport.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace testing_support {

// A temporary folder holding "Orkalin-data/" and "work/", with "work/" as the working folder, so
// "../Orkalin-data/<name>" lands inside the temporary folder. The old working folder comes back at the end.
class PipeFolder {
public:
    explicit PipeFolder(bool withDataFolder = true) : _previous(std::filesystem::current_path()) {
        if (withDataFolder)
            std::filesystem::create_directories(_dir.Path() / "Orkalin-data");
        std::filesystem::create_directories(_dir.Path() / "work");
        std::filesystem::current_path(_dir.Path() / "work");
    }
    ~PipeFolder() { std::filesystem::current_path(_previous); }

    std::string Data(const std::string& file) const { return (_dir.Path() / "Orkalin-data" / file).string(); }

private:
    TempDir _dir;
    std::filesystem::path _previous;
};

inline bool IsFifo(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode);
}

// The child's ends. Opening never blocks: the reading end is non-blocking, the writing end is opened
// read-write (a FIFO opened so is never left waiting), so the game's side opens at once too.
class PipePeer {
public:
    PipePeer(const std::string& s2cPath, const std::string& c2sPath)
        : _in(open(s2cPath.c_str(), O_RDONLY | O_NONBLOCK)), _out(open(c2sPath.c_str(), O_RDWR)) {}
    ~PipePeer() {
        CloseIn();
        CloseOut();
    }
    PipePeer(const PipePeer&) = delete;
    PipePeer& operator=(const PipePeer&) = delete;

    bool Ok() const { return _in != -1 && _out != -1; }

    // Everything the game has written and not yet been read; empty when nothing waits.
    std::string Take() {
        std::string text;
        char buffer[4096];
        ssize_t count;
        while ((count = read(_in, buffer, sizeof(buffer))) > 0)
            text.append(buffer, static_cast<std::size_t>(count));
        return text;
    }

    void Send(const std::string& bytes) {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count = write(_out, bytes.data() + sent, bytes.size() - sent);
            if (count <= 0)
                return;
            sent += static_cast<std::size_t>(count);
        }
    }

    void CloseIn() {
        if (_in != -1)
            close(_in);
        _in = -1;
    }
    void CloseOut() {
        if (_out != -1)
            close(_out);
        _out = -1;
    }

private:
    int _in;
    int _out;
};

} // namespace testing_support
