// The web view's records from the browser process, as they come through the pipe: every record read in turn
// until the pipe is drained, with a view registered under the id "v".

#include "FuzzSupport.hpp"

#include "game/webview/ElectronWebview.hpp"
#include "game/webview/PipeServer.hpp"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A pipe holds 64 KiB without a reader; longer inputs would block the write.
    if (size > 60000)
        return 0;
    int ends[2];
    if (pipe(ends) != 0)
        return 0;
    if (size > 0 && write(ends[1], data, size) != static_cast<ssize_t>(size)) {
        close(ends[0]);
        close(ends[1]);
        return 0;
    }
    close(ends[1]);
    FUZZ_BODY({
        PipeServer pipe("fuzz-webview");
        pipe.readFd = ends[0]; // the server closes it
        ends[0] = -1;
        game::ElectronWebview webview;
        webview.Open("v", "about:blank", 8, 8, 1.0);
        int waiting = 0;
        do {
            webview.ReadFromPipe(pipe);
        } while (ioctl(pipe.readFd, FIONREAD, &waiting) == 0 && waiting > 0);
    });
    if (ends[0] != -1)
        close(ends[0]);
    return 0;
}
