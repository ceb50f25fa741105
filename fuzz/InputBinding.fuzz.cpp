// Input bindings in the settings file: a text is a binding or not, and a binding prints to a text that reads
// back to the same binding.

#include "FuzzSupport.hpp"

#include "vesmo/filesystem/ConfigFile.hpp"

using Binding = vesmo::filesystem::ConfigFile::InputBinding;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FUZZ_BODY({
        Binding binding;
        if (Binding::FromString(fuzz::Text(data, size), binding)) {
            Binding again;
            GAME_ASSERT(Binding::FromString(binding.ToString(), again));
            GAME_ASSERT(again == binding);
        }
    });
    return 0;
}
