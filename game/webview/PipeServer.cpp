#include "game/webview/PipeServer.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

PipeServer::PipeServer(const std::string& name) : path("../Orkalin-data/" + name) {
    // Failure is expected when the FIFO already exists; a missing folder shows later as a failed open.
    mkfifo(WritePath().c_str(), 0666);
    mkfifo(ReadPath().c_str(), 0666);
}

PipeServer::~PipeServer() {
    CloseWrite();
    CloseRead();
    unlink(WritePath().c_str());
    unlink(ReadPath().c_str());
}

unsigned long PipeServer::Read(char* buffer, unsigned long size) {
    if (readFd == -1) {
        readFd = open(ReadPath().c_str(), O_RDONLY);
        if (readFd == -1)
            return 0;
    }
    const ssize_t count = read(readFd, buffer, size);
    return count < 0 ? 0 : static_cast<unsigned long>(count);
}

bool PipeServer::Write(const char* data, unsigned long size) {
    if (writeFd == -1) {
        writeFd = open(WritePath().c_str(), O_WRONLY);
        if (writeFd == -1)
            return false;
    }
    // A short or failed write is the reader's loss: the protocol has no way to resend.
    [[maybe_unused]] const ssize_t written = write(writeFd, data, size);
    return true;
}

void PipeServer::CloseWrite() {
    if (writeFd != -1) {
        close(writeFd);
        writeFd = -1;
    }
}

void PipeServer::CloseRead() {
    if (readFd != -1) {
        close(readFd);
        readFd = -1;
    }
}
