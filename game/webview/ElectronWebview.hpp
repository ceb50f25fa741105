#pragma once
// Web pages on in-game surfaces, rendered by a browser in a process of its own.
//
// The game and the browser process speak over a PipeServer pair. Text commands go out, one message per
// write(2), with no terminator or length (the reader splits them by their leading word):
//
//   "ping "                                       nothing to send this turn
//   "open <id> <url> <width> <height> <scale>"    width and height in decimal, scale as "%f"
//   "close <id>"
//   "input <id> <json>"                           one input event for a view, JSON texts below
//
//   {"type":"mouseMove","x":%f,"y":%f}
//   {"type":"mouseDown"|"mouseUp","x":%f,"y":%f,"button":"left"|"right","clickCount":1}
//   {"type":"mouseWheel","x":0,"y":0,"deltaX":%f,"deltaY":%f}        wheel offsets x 40
//   {"type":"keyDown"|"keyUp","keyCode":"<name>"}                    names in ElectronWebview.cpp
//   {"type":"char","keyCode":"<c>"}                                  a backslash goes as two; a double
//                                                                    quote goes as it is
//
// Images come back as binary records, one after another, in host byte order:
//
//   offset 0             4 bytes      nameSize, unsigned
//   offset 4             4 bytes      imageSize, unsigned, at most 0x100000 (1 MiB)
//   offset 8             nameSize     view id, no terminator
//   offset 8 + nameSize  imageSize    image bytes, handed as they are to the view's callback
//
// Ids and URLs carry no spaces. Mouse positions are in the page's CSS pixels (a view of width w at scale s
// lays its page out w / s CSS pixels wide). The image bytes are whatever the view's callback decodes;
// the browser process in tools/webview sends PNG (JPEG when a PNG would pass the limit), which
// vesmo::graphics::DynamicAsyncTexture::Load decodes.
//
// Threads: three loops drive the object (game/webview/WebviewThreads.hpp runs them and ends them at shutdown):
// RunElectron on one thread, ReadFromPipe in a loop on another, WriteToPipe in a loop on a third. Every
// public operation takes the mutex and is safe from any thread. Image callbacks run on the read thread
// with the mutex held: they must not call back into this object.

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

class PipeServer;

namespace vesmo::graphics {
class DynamicAsyncTexture;
}

namespace game {

class ElectronWebview {
public:
    using ImageCallback = std::function<void(const char*, unsigned long)>;

    // The largest image a record may carry; a larger one is a broken invariant.
    static constexpr unsigned long MaxImageSize = 0x100000;

    // Starts the browser with system(command), which returns when the browser process ends. Then waits,
    // 10 ms at a time, until the game stops being active: the thread outlives a crash of the browser and
    // only ends with the game. The browser isn't restarted.
    void RunElectron(const std::string& command);

    // Receives one image record into a static 1 MiB buffer (no allocation per frame) and hands it to its
    // view's callback, with the mutex held. Each field is read until it is complete, so a record that the
    // pipe delivers in pieces stays in step; a pipe that ends inside a record drops that record. Returns
    // at once when the pipe is at end of file (browser gone), so a bare loop around it spins.
    // An imageSize over 1 MiB is the assertion "imageSize <= readBuffer.size()"; a nameSize that leaves
    // no room for the id's terminator, "nameSize < readBuffer.size()".
    void ReadFromPipe(PipeServer& pipe);

    // Sends one message: the oldest queued command, else the latest mouse position if one is waiting,
    // else "ping ". Mouse moves are never queued; only the latest position goes out, after the commands.
    // The message is chosen under the mutex and written once the mutex is released: a Write blocks until
    // the browser has opened its end (and while the pipe is full), which must not stall the threads that
    // send input. With one write thread the order on the wire is the order chosen.
    void WriteToPipe(PipeServer& pipe);

    // Opens a view whose images are dropped.
    void Open(const std::string& id, const std::string& url, unsigned int width, unsigned int height, double scale);

    // Opens a view of the texture's size whose images go to texture->Load while the texture lives. The
    // callback keeps a weak reference to the texture, whose control block may be a module's code: a
    // launcher calls ClearCallbacks before it unloads the modules.
    void Texture(const std::shared_ptr<vesmo::graphics::DynamicAsyncTexture>& texture, const std::string& id,
                 const std::string& url, double scale);

    void Close(const std::string& id);
    void ClearCallbacks();

    // Input goes to the view under the mouse (the last id given to MouseMove); with none it's dropped.
    void InputKey(int key, int action); // GLFW key codes; action 1 down, 0 up
    void InputChar(char c);
    void MouseMove(const std::string& id, double x, double y);
    void MouseButton(const std::string& id, int button, int action, double x, double y); // button 0 left, 1 right
    void MouseUp();
    void MouseWheel(double x, double y);

    // True while RunElectron runs.
    bool IsRunning();

    // True once a view has been asked for (Open or Texture). A launcher starts the browser and the three
    // threads then, not before: most runs never show a page, and those pay for no browser. One atomic load,
    // so a loop may ask every frame.
    bool ViewAsked() const { return viewAsked.load(std::memory_order_relaxed); }

    // The one place where the web view polls the game's life (Game::isActive).
    static bool GameIsActive();

private:
    void MouseUpLocked();
    void SetCallbackLocked(const std::string& id, ImageCallback callback, ImageCallback& previous);

    std::mutex mutex;
    std::deque<std::string> commands;
    std::unordered_map<std::string, ImageCallback> callbacks;
    std::string mouseTarget;
    double mouseX = 0.0;
    double mouseY = 0.0;
    bool mouseDown = false;
    bool mouseMoved = false;
    bool running = false;
    std::atomic<bool> viewAsked{false};
};

} // namespace game
