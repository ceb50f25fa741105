#pragma once
// A pair of named pipes between this process and one child process.
//
// The pair lives at "../Orkalin-data/<name>.s2c" (this process writes, the child reads) and
// "../Orkalin-data/<name>.c2s" (the child writes, this process reads), relative to the working folder.
// Both FIFOs are made by the constructor and removed by the destructor; a FIFO left over from an earlier
// run is simply reused. Nothing is opened up front, because opening a FIFO blocks until the other side
// comes: each direction opens at its first Read or Write.
//
// Threads: each direction belongs to one thread; the two directions may be used at once, as they share
// nothing but the path. CloseRead and CloseWrite drop a direction (the next call opens it afresh); they
// unblock nothing by themselves. A blocked open or read is ended by the child, or by a signal delivered to
// the blocked thread (see game/webview/WebviewThreads.hpp), in which case the call reports as on end of file.
//
// A write to a pipe whose reader has gone raises SIGPIPE; the launcher ignores that signal.

#include <string>

class PipeServer {
public:
    std::string path; // base path of the pair, without the ".s2c" / ".c2s" suffix
    int writeFd = -1; // -1 when closed
    int readFd = -1;  // -1 when closed

    explicit PipeServer(const std::string& name);
    ~PipeServer();

    PipeServer(const PipeServer&) = delete;
    PipeServer& operator=(const PipeServer&) = delete;

    // Opens the reading end on demand (blocking until the child has opened its end), then one read(2).
    // Returns the bytes read, possibly fewer than `size`; 0 at end of file, on error, or when the pipe
    // couldn't be opened.
    unsigned long Read(char* buffer, unsigned long size);

    // Opens the writing end on demand (blocking until the child has opened its end), then one write(2),
    // whose result isn't checked. False only when the pipe couldn't be opened.
    bool Write(const char* data, unsigned long size);

    void CloseWrite();
    void CloseRead();

    std::string WritePath() const { return path + ".s2c"; }
    std::string ReadPath() const { return path + ".c2s"; }
};
