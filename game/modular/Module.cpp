#include "game/modular/Module.hpp"

#include "vesmo/cpu/Profiler.hpp"
#include "vesmo/filesystem/FilePath.hpp"

namespace game::modular {

ModuleRecord::ModuleRecord(const std::string& moduleName, const std::string& libraryPath)
    : id(moduleName), name(moduleName), path(libraryPath + ".so") {
    const vesmo::filesystem::FilePath file(path);
    if (file.Exists()) {
        const vesmo::filesystem::FileTime time = file.LastWriteTime();
        if (time != vesmo::filesystem::FileTime::min())
            fileTime = static_cast<double>(time.time_since_epoch().count()) / 1e6;
    }
    handle = dlopen(path.c_str(), RTLD_LAZY);
    if (!handle)
        loadError = dlerror();
}

void ModuleRecord::ResolveCommonAndLoad() {
    Resolve("ModuleLoad", ModuleLoad);
    Resolve("ModuleUnload", ModuleUnload);
    Resolve("ModuleSort", ModuleSort);
    Resolve("ModuleSetCustomPtr", ModuleSetCustomPtr);
    Resolve("ModuleGetCustomPtr", ModuleGetCustomPtr);
    if (ModuleLoad)
        ModuleLoad();
}

ModuleRecord::~ModuleRecord() {
    if (ModuleUnload)
        ModuleUnload();
    if (handle) {
        dlclose(handle);
        // The library's literals are gone; a later library may be mapped at their addresses.
        vesmo::cpu::Profiler::ForgetNameAddresses();
    }
}

} // namespace game::modular
