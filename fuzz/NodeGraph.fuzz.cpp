// The node graph of a program text: the JSON after "#NODES " rebuilds the graph and generates the text
// again, or the editor refuses it and keeps its graph.

#include "FuzzSupport.hpp"

#include "game/visual/VesmoCodeEditor.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ_BODY({
        VesmoCodeEditor::Editor editor;
        editor.Open("#NODES " + fuzz::Text(data, size) + "\n");
        (void)editor.Refresh();
    });
    return 0;
}
