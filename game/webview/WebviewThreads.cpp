#include "game/webview/WebviewThreads.hpp"

#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace game {

namespace {

// The signal that wakes a thread blocked on a pipe. SIGURG is ignored by default and only ever sent for
// sockets that asked for it, so taking it costs nobody anything.
constexpr int WakeSignal = SIGURG;

void Ignore(int) {}

void InstallSignals() {
    static std::once_flag once;
    std::call_once(once, [] {
        std::signal(SIGPIPE, SIG_IGN);
        struct sigaction action = {};
        action.sa_handler = Ignore;
        sigemptyset(&action.sa_mask);
        action.sa_flags = 0; // no SA_RESTART: a blocked open, read or write must fail with EINTR
        sigaction(WakeSignal, &action, nullptr);
    });
}

short PollEvents(int fd, short events) {
    pollfd entry{fd, events, 0};
    return poll(&entry, 1, 0) == 1 ? entry.revents : 0;
}

} // namespace

WebviewThreads::WebviewThreads(ElectronWebview& webview, const std::string& pipeName, const std::string& command,
                               std::chrono::milliseconds browserGrace)
    : _webview(webview), _pipe(pipeName), _browserGrace(browserGrace) {
    InstallSignals();
    _browser = std::thread([this, command] {
        _webview.RunElectron(command);
        _browserDone = true;
    });
    _reader = std::thread([this] { ReadLoop(); });
    _writer = std::thread([this] { WriteLoop(); });
}

WebviewThreads::~WebviewThreads() { Stop(); }

void WebviewThreads::ReadLoop() {
    while (Active()) {
        _webview.ReadFromPipe(_pipe);
        // Every writer gone and nothing left to read: wait in open() for the next browser rather than
        // read end of file in a tight loop.
        if (_pipe.readFd != -1) {
            const short events = PollEvents(_pipe.readFd, POLLIN);
            if ((events & POLLHUP) && !(events & POLLIN))
                _pipe.CloseRead();
        }
    }
    _readDone = true;
}

void WebviewThreads::WriteLoop() {
    while (Active()) {
        _webview.WriteToPipe(_pipe);
        if (_pipe.writeFd != -1 && (PollEvents(_pipe.writeFd, POLLOUT) & POLLERR))
            _pipe.CloseWrite(); // the reader is gone
        std::this_thread::sleep_for(TurnInterval);
    }
    _writeDone = true;
}

void WebviewThreads::Knock() {
    // A browser blocked in opening its reading end gets a writer that leaves at once (end of file); one
    // blocked in opening its writing end gets a reader that leaves at once (broken pipe). Neither open
    // here can block.
    int fd = open(_pipe.WritePath().c_str(), O_WRONLY | O_NONBLOCK);
    if (fd != -1)
        close(fd);
    fd = open(_pipe.ReadPath().c_str(), O_RDONLY | O_NONBLOCK);
    if (fd != -1)
        close(fd);
}

void WebviewThreads::Stop() {
    if (_stopping.exchange(true))
        return;

    while (!_readDone || !_writeDone) {
        if (!_readDone)
            pthread_kill(_reader.native_handle(), WakeSignal);
        if (!_writeDone)
            pthread_kill(_writer.native_handle(), WakeSignal);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    _reader.join();
    _writer.join();

    _pipe.CloseWrite();
    _pipe.CloseRead();

    const auto deadline = std::chrono::steady_clock::now() + _browserGrace;
    while (!_browserDone && std::chrono::steady_clock::now() < deadline) {
        Knock();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (_browserDone) {
        _browser.join();
    } else {
        std::cerr << "The web view's browser did not end; its thread is left behind" << std::endl;
        _browser.detach();
    }
}

} // namespace game
