#pragma once
// The module host: one template, four families (see Families.hpp).
//
// A family class is at once the registry of its loaded modules (the statics) and the record of one
// loaded module (the members). A module is a shared object opened with dlopen; the record resolves the
// family's symbols into public function pointers, each null when the module doesn't export it. Callers
// test a pointer before every call: a module exports what it cares about and nothing more, and a file
// that opens is a module even if it exports nothing at all.
//
// Files: LoadModule("Example") of the family GAME_Mod opens "modules/Example/Example.GAME_Mod.so",
// relative to the working directory. LoadModuleLib takes any path; ".so" is always appended.
//
// Locks: `_mutexForLoadedModules` guards both maps. Walks (ForEachModule, ForEachSortedModule), GetModule
// and Count take its shared side for their whole length; loads, unloads, sorts and GetLock the exclusive
// side. The lock isn't recursive, so a hook called from a walk may walk again but must not load, unload or
// sort modules of the same family, and the load and unload callbacks (run under the exclusive lock) must
// not touch the family's registry at all.
//
// The three callbacks are swapped without a lock: set them before any module is loaded.
//
// Sorted lists: SortModules(list, less) fills a named list with every module loaded at that moment, in the
// comparator's order. A list that was never sorted is empty, so its walk calls nothing; a module loaded
// after the sort isn't in the list until the next sort. ForEachSortedModule creates a missing list under
// the shared lock only: sort every walked list before two threads can walk it for the first time.

#include "vesmo/core/SharedMutex.hpp"
#include "vesmo/modular/ModuleID.hpp"

#include <dlfcn.h>

#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace game::modular {

// The part of a record that every family shares: identity, file, handle and the five common symbols.
// Its destructor ends the module: "ModuleUnload" first, then dlclose.
class ModuleRecord {
public:
    virtual ~ModuleRecord();

    ModuleRecord(const ModuleRecord&) = delete;
    ModuleRecord& operator=(const ModuleRecord&) = delete;

    using Hook = void (*)();

    vesmo::modular::ModuleID id; // from `name`
    std::string name;            // the name it was loaded under
    std::string path;            // library path: the given path plus ".so"
    // Last write time in file clock ticks / 1e6 (milliseconds), 0 if the file is missing. The file clock
    // of libstdc++ counts from 2174, so today the value is negative: compare it, don't read it as a date.
    double fileTime = 0.0;
    void* handle = nullptr;          // from dlopen; null on failure
    const char* loadError = nullptr; // from dlerror; null on success

    Hook ModuleLoad = nullptr;   // called once all symbols are resolved
    Hook ModuleUnload = nullptr; // called by the destructor, before dlclose
    // Stored for the launcher's comparators and for modules; nothing in the library calls them, so their
    // signatures are the launcher's and the modules' to agree on.
    void* ModuleSort = nullptr;
    void* ModuleSetCustomPtr = nullptr;
    void* ModuleGetCustomPtr = nullptr;

protected:
    // Fills id, name, path and fileTime, then opens the library; `loadError` is set when that fails.
    ModuleRecord(const std::string& moduleName, const std::string& libraryPath);

    // The common symbols, after the family's own, then "ModuleLoad" if the module has it.
    void ResolveCommonAndLoad();

    template <class Field> void Resolve(const char* symbol, Field& field) {
        static_assert(std::is_pointer_v<Field>);
        field = reinterpret_cast<Field>(dlsym(handle, symbol));
    }
};

// One family. `Table` is a plain struct of the family's function pointers, null-initialised, with a
// `static constexpr const char* Family` and a `ResolveSymbols(resolver)` that names each field's symbol in
// the order the family resolves them.
template <class Table> class Module : public ModuleRecord, public Table {
public:
    using Ptr = std::shared_ptr<Module>;
    static constexpr const char* Family = Table::Family;

    Module(const std::string& moduleName, const std::string& libraryPath) : ModuleRecord(moduleName, libraryPath) {
        if (!handle)
            return;
        Table::ResolveSymbols([this](const char* symbol, auto& field) { Resolve(symbol, field); });
        ResolveCommonAndLoad();
    }
    ~Module() override = default;

    // Registry. Keys are "name.Family".
    static std::unordered_map<std::string, Ptr> _loadedModules;
    static std::unordered_map<std::string, std::vector<Ptr>> _loadedSortedModules;
    static vesmo::SharedMutex _mutexForLoadedModules;
    static std::function<void(Ptr)> _modulesLoadCallback;
    static std::function<void(Ptr)> _modulesUnloadCallback;
    static std::function<void(const char*)> _modulesLoadErrorCallback;

    // Loads "modules/<name>/<name>.<Family>.so".
    static Ptr LoadModule(const std::string& moduleName, bool reportError) {
        const std::string family = Family;
        return LoadModuleLib<Module>(moduleName, family, reportError,
                                     "modules/" + moduleName + "/" + moduleName + "." + family);
    }

    // Loads `libraryPath` + ".so" under the key "name.family" as a record of type T (this family or a class
    // derived from it). A name already loaded returns the stored pointer without opening anything, and
    // without a load callback. On success the record is stored and the load callback runs with the lock
    // held. On failure nothing is stored, so a later load tries the file again; with `reportError` the
    // error callback gets "Module '<path without .so>' failed to load with error: <dlerror text>".
    template <class T>
    static Ptr LoadModuleLib(const std::string& moduleName, const std::string& family, bool reportError,
                             std::string libraryPath) {
        static_assert(std::is_base_of_v<Module, T>);
        std::unique_lock lock(_mutexForLoadedModules);
        const std::string key = moduleName + "." + family;
        if (auto found = _loadedModules.find(key); found != _loadedModules.end())
            return found->second;
        Ptr module = std::make_shared<T>(moduleName, libraryPath);
        if (module->handle) {
            _loadedModules.emplace(key, module);
            _modulesLoadCallback(module);
            return module;
        }
        if (reportError) {
            std::string text = "Module '" + libraryPath + "' failed to load with error: ";
            if (module->loadError)
                text += module->loadError;
            _modulesLoadErrorCallback(text.c_str());
        }
        return {};
    }

    // Calls the unload callback, forgets the module in the registry and in every sorted list. The record
    // (and the library) ends here unless someone else still holds a Ptr: then it ends with the last holder.
    static void UnloadModule(const std::string& moduleName) {
        std::unique_lock lock(_mutexForLoadedModules);
        auto found = _loadedModules.find(moduleName + "." + Family);
        if (found == _loadedModules.end())
            return;
        _modulesUnloadCallback(found->second);
        Ptr module = found->second;
        _loadedModules.erase(found);
        if (module) {
            for (auto& [list, modules] : _loadedSortedModules)
                modules.erase(std::remove(modules.begin(), modules.end(), module), modules.end());
        }
        module.reset();
    }

    // Empties the registry and every sorted list, without unload callbacks.
    static void UnloadModules() {
        std::unique_lock lock(_mutexForLoadedModules);
        _loadedModules.clear();
        _loadedSortedModules.clear();
    }

    // The module loaded under `moduleName`, or an empty pointer.
    static Ptr GetModule(const std::string& moduleName) {
        std::shared_lock lock(_mutexForLoadedModules);
        auto found = _loadedModules.find(moduleName + "." + Family);
        return found != _loadedModules.end() ? found->second : Ptr();
    }

    static size_t Count() {
        std::shared_lock lock(_mutexForLoadedModules);
        return _loadedModules.size();
    }

    // The exclusive lock of the registry, held for as long as the caller keeps the returned object.
    static std::unique_lock<vesmo::SharedMutex> GetLock() {
        return std::unique_lock<vesmo::SharedMutex>(_mutexForLoadedModules);
    }

    // Every loaded module, in the map's order, under the shared lock for the whole walk.
    static void ForEachModule(std::function<void(Ptr&)> const&& function) {
        std::shared_lock lock(_mutexForLoadedModules);
        for (const auto& entry : _loadedModules) {
            // A copy, so that the function may hold on to its module. The name isn't copied: a name past
            // the short-string capacity ("Planet.SERVER_Mod") would cost an allocation per call.
            Ptr module = entry.second;
            if (module)
                function(module);
        }
    }

    // The sorted list `list` in its order, skipping empty entries. A list never sorted is created empty here.
    static void ForEachSortedModule(const char* list, std::function<void(Ptr&)> const&& function) {
        std::shared_lock lock(_mutexForLoadedModules);
        for (const Ptr& entry : _loadedSortedModules[list]) {
            Ptr module = entry;
            if (module)
                function(module);
        }
    }

    // Refills `list` with every loaded module, ordered by `less` (not stable).
    static void SortModules(const char* list, std::function<bool(Ptr, Ptr)> const& less) {
        std::unique_lock lock(_mutexForLoadedModules);
        std::vector<Ptr>& modules = _loadedSortedModules[list];
        modules.clear();
        modules.reserve(_loadedModules.size());
        for (const auto& entry : _loadedModules)
            modules.push_back(entry.second);
        std::sort(modules.begin(), modules.end(), less);
    }

    static void ModulesSetLoadCallback(std::function<void(Ptr)> const&& callback) { _modulesLoadCallback = callback; }
    static void ModulesSetUnloadCallback(std::function<void(Ptr)> const&& callback) {
        _modulesUnloadCallback = callback;
    }
    static void ModulesSetLoadErrorCallback(std::function<void(const char*)> const&& callback) {
        _modulesLoadErrorCallback = callback;
    }
};

template <class Table> std::unordered_map<std::string, typename Module<Table>::Ptr> Module<Table>::_loadedModules;
template <class Table>
std::unordered_map<std::string, std::vector<typename Module<Table>::Ptr>> Module<Table>::_loadedSortedModules;
template <class Table> vesmo::SharedMutex Module<Table>::_mutexForLoadedModules;
template <class Table>
std::function<void(typename Module<Table>::Ptr)> Module<Table>::_modulesLoadCallback = [](Ptr) {};
template <class Table>
std::function<void(typename Module<Table>::Ptr)> Module<Table>::_modulesUnloadCallback = [](Ptr) {};
template <class Table>
std::function<void(const char*)> Module<Table>::_modulesLoadErrorCallback =
    [](const char* text) { std::cerr << text << std::endl; };

} // namespace game::modular
