#pragma once
// The web view's three threads, as the client launcher runs them, and their orderly end.
//
// The browser process of this repository is started, from the game's working folder, with
//   node tools/webview/webview.mjs --pipe ../Orkalin-data/<pipeName>
// (paths as the launcher lays them out; see tools/webview/webview.mjs).
//
// Start-up: construct a WebviewThreads once Game::isActive is true. It makes the PipeServer of `pipeName`
// and starts
//   - the browser thread: ElectronWebview::RunElectron(command);
//   - the read thread:    ReadFromPipe in a loop while the game is active;
//   - the write thread:   WriteToPipe in a loop while the game is active, one message per turn of
//                         TurnInterval, so an idle view costs a few hundred "ping "s a second, not a
//                         spinning core.
// When the browser goes away the read end reports end of file and the write end a broken pipe; the loops
// then close their direction, and the next turn waits in open(2) for a browser to come back instead of
// spinning. SIGPIPE is set to be ignored, as a dead reader must not end the game.
//
// Shutdown: call Game::Quit (Game::isActive false), then Stop (the destructor calls it too). The read and
// write threads may be blocked in open(2), read(2) or write(2) on a pipe whose other side never comes or
// never answers; Stop wakes them with SIGURG, which this class gives a handler that does nothing and
// doesn't restart calls, so the blocked call fails with EINTR, Read and Write report as on end of file,
// and the loop sees that it must end. The signal is repeated until the thread has left its loop, so one
// that was just about to block isn't missed. Then both directions are closed: the browser reads end of
// file and quits, and the browser thread's system() returns. A browser still starting, blocked in its own
// open(2), is knocked loose by opening and closing the pipe's other end without blocking. If the browser
// hasn't ended after `browserGrace`, the browser thread is detached with a line on stderr; it only touches
// the ElectronWebview, which must outlive it (Game::electronWebview does).

#include "game/webview/ElectronWebview.hpp"
#include "game/webview/PipeServer.hpp"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace game {

class WebviewThreads {
public:
    static constexpr std::chrono::milliseconds TurnInterval{4};

    WebviewThreads(ElectronWebview& webview, const std::string& pipeName, const std::string& command,
                   std::chrono::milliseconds browserGrace = std::chrono::seconds(10));
    ~WebviewThreads();

    WebviewThreads(const WebviewThreads&) = delete;
    WebviewThreads& operator=(const WebviewThreads&) = delete;

    // Ends the three threads; returns once they have ended (or the browser thread has been detached).
    // Meant to be called after the game has stopped being active; the read and write loops end anyway,
    // but the browser thread waits for the game's end by design. Calling it twice is harmless.
    void Stop();

    PipeServer& Pipe() { return _pipe; }

private:
    void ReadLoop();
    void WriteLoop();
    void Knock();
    bool Active() const { return !_stopping.load() && ElectronWebview::GameIsActive(); }

    ElectronWebview& _webview;
    PipeServer _pipe;
    const std::chrono::milliseconds _browserGrace;
    std::atomic<bool> _stopping{false};
    std::atomic<bool> _readDone{false};
    std::atomic<bool> _writeDone{false};
    std::atomic<bool> _browserDone{false};
    std::thread _browser;
    std::thread _reader;
    std::thread _writer;
};

} // namespace game
