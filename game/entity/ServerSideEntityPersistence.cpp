// An entity on disk: its state file, its checkpoint, and the load and save of a whole world. The formats
// are described in ServerSideEntity.hpp.

#include "game/entity/ServerSideEntity.hpp"

#include "game/Assert.hpp"
#include "game/Game.hpp"
#include "game/entity/PressurizedVolume.hpp"
#include "vesmo/filesystem/AtomicFile.hpp"
#include "vesmo/filesystem/FilePath.hpp"

#include <cstring>
#include <iostream>
#include <map>
#include <shared_mutex>
#include <stdexcept>

namespace game::entity {

namespace {

using Interface = ServerSideEntity::Interface;
using vesmo::filesystem::BinaryFileStream;
using vesmo::filesystem::ReadOnlyStream;
using vesmo::filesystem::Stream;
using vesmo::filesystem::WriteOnlyStream;

constexpr char kMagic1[8] = {'O', 'R', 'K', 'A', 'L', 'I', 'N', '!'};
constexpr char kMagic2[8] = {'E', 'N', 'T', 'I', 'T', 'Y', ' ', '!'};
constexpr char kMagicInterface[4] = {'\n', '\n', '\n', '\n'};
constexpr char kMagicEof[4] = {'\n', 'E', 'O', 'F'};
constexpr char kCheckpointMagic[8] = {'C', 'H', 'E', 'C', 'K', 'P', 'N', 'T'};
constexpr uint32_t kStateVersion = 1;
constexpr uint32_t kCheckpointVersion = 0;

void WriteId(Stream& out, const Id& id) {
    out.WriteValue<uint64_t>(id.First());
    out.WriteValue<uint64_t>(id.Second());
}

Id ReadId(Stream& in) {
    const uint64_t first = in.ReadValue<uint64_t>();
    const uint64_t second = in.ReadValue<uint64_t>();
    return Id(first, second);
}

void WriteOrientation(Stream& out, const glm::dquat& q) {
    const double wxyz[4] = {q.w, q.x, q.y, q.z};
    out.WriteValue(wxyz);
}

glm::dquat ReadOrientation(Stream& in) {
    double wxyz[4];
    in.Read(reinterpret_cast<unsigned char*>(wxyz), sizeof(wxyz));
    return glm::dquat(wxyz[0], wxyz[1], wxyz[2], wxyz[3]);
}

template <size_t N> bool ReadMagic(Stream& in, const char (&magic)[N]) {
    unsigned char bytes[N];
    in.Read(bytes, N);
    return std::memcmp(bytes, magic, N) == 0;
}

// The module and type named by a state file that has been read whole once already.
std::pair<std::string, std::string> ModuleAndTypeOf(const std::string& path) {
    BinaryFileStream file(path, 1024, false);
    unsigned char header[20];
    file.Read(header, sizeof header);
    ServerSideEntity::ModuleID module;
    module.vendor = file.ReadValue<uint64_t>();
    module.name = file.ReadValue<uint64_t>();
    std::string type;
    file.Read(type);
    return {module.String(), type};
}

template <size_t N> void WriteMagic(Stream& out, const char (&magic)[N]) {
    out.Write(reinterpret_cast<const unsigned char*>(magic), N);
}

} // namespace

std::string ServerSideEntity::GetCheckpointDir() {
    return "../Orkalin-data/server/worlds/" + Game::_current_world + "/" + "entities";
}

std::string ServerSideEntity::GetStateSaveFile() const {
    return GetCheckpointDir() + "/" + id.ToString() + ".entitystate";
}

std::string ServerSideEntity::GetCheckpointSaveFile() const {
    return GetCheckpointDir() + "/" + id.ToString() + ".checkpoint";
}

void ServerSideEntity::WriteState(Stream& file, const WriteOnlyStream& interfaceBytes) const {
    WriteMagic(file, kMagic1);
    WriteMagic(file, kMagic2);
    file.WriteValue<uint32_t>(kStateVersion);
    file.WriteValue<uint64_t>(moduleId.vendor);
    file.WriteValue<uint64_t>(moduleId.name);
    file.Write(type);
    file.WriteValue<uint64_t>(environmentId);
    file.WriteValue<uint64_t>(orbitEnvironmentId);
    WriteId(file, parentEntity);
    file.WriteValue(position);
    WriteOrientation(file, orientation);
    file.WriteValue<uint8_t>(isDynamic);
    file.WriteValue(linearVelocity);
    file.WriteValue(angularVelocity);
    file.WriteValue(boundingRadius);
    // Computed, not stored: a body at rest when saved needs no settling phase after loading.
    file.WriteValue<uint8_t>(!isDynamic || settleTime >= 1.0 ? 1 : 0);
    WriteMagic(file, kMagicInterface);
    file.Write(interfaceBytes);
    WriteMagic(file, kMagicEof);
}

void ServerSideEntity::Serialize(vesmo::filesystem::WriteBatch* batch) {
    WriteOnlyStream interfaceBytes(0);
    if (_interface)
        _interface->Serialize(interfaceBytes);
    if (!batch)
        vesmo::filesystem::FilePath(GetCheckpointDir()).CreateDirectories();
    BinaryFileStream file(GetStateSaveFile(), 1024, false);
    file.SetBatch(batch);
    WriteState(file, interfaceBytes);
    file.Flush();
    file.Close();
}

ReadOnlyStream ServerSideEntity::Deserialize() {
    const std::string path = GetStateSaveFile();
    const std::string name = id.ToString();
    if (!vesmo::filesystem::FilePath(path).IsFile())
        throw std::runtime_error("Save state file does not exist for entity " + name);
    BinaryFileStream file(path, 1024, false);
    // A file cut short (an empty one included) is damaged like one with wrong bytes, and is named by the
    // same kind of sentence ending in the id, not by the stream's own words about its end.
    bool magic = false;
    try {
        magic = ReadMagic(file, kMagic1) && ReadMagic(file, kMagic2);
    } catch (const std::runtime_error&) {
    }
    if (!magic)
        throw std::runtime_error("Invalid save state magic string for entity " + name);
    uint32_t version = 0;
    bool interfaceMagic = false;
    ReadOnlyStream interfaceBytes;
    try {
        version = file.ReadValue<uint32_t>();
        if (version == kStateVersion) {
            moduleId.vendor = file.ReadValue<uint64_t>();
            moduleId.name = file.ReadValue<uint64_t>();
            file.Read(type);
            environmentId = file.ReadValue<uint64_t>();
            orbitEnvironmentId = file.ReadValue<uint64_t>();
            parentEntity = ReadId(file);
            position = file.ReadValue<glm::dvec3>();
            orientation = ReadOrientation(file);
            isDynamic = file.ReadValue<uint8_t>();
            linearVelocity = file.ReadValue<glm::dvec3>();
            angularVelocity = file.ReadValue<glm::dvec3>();
            boundingRadius = file.ReadValue<double>();
            if (file.ReadValue<uint8_t>() != 0)
                settleTime = 2.0;
            interfaceMagic = ReadMagic(file, kMagicInterface);
            if (interfaceMagic)
                interfaceBytes = file.ReadStream();
        }
    } catch (const std::runtime_error&) {
        throw std::runtime_error("Truncated save state file for entity " + name);
    }
    if (version != kStateVersion)
        throw std::runtime_error("Invalid save state version for entity " + name);
    if (!interfaceMagic)
        throw std::runtime_error("Invalid save state interface magic string for entity " + name);
    // The end mark is not checked: the interface's bytes are complete once their count has been read.
    file.Close();
    return interfaceBytes;
}

void ServerSideEntity::SerializeCheckpoint() {
    GAME_ASSERT(_interface);
    WriteOnlyStream interfaceBytes(0);
    if (_interface->Overrides(Interface::Hook::SerializeState))
        _interface->SerializeState(interfaceBytes);
    vesmo::filesystem::FilePath(GetCheckpointDir()).CreateDirectories();
    BinaryFileStream file(GetCheckpointSaveFile(), 1024, false);
    WriteMagic(file, kCheckpointMagic);
    file.WriteValue<uint32_t>(kCheckpointVersion);
    WriteId(file, id);
    file.WriteValue(position);
    WriteOrientation(file, orientation);
    file.WriteValue(linearVelocity);
    file.WriteValue(angularVelocity);
    WriteId(file, parentEntity);
    file.WriteValue<uint64_t>(environmentId);
    file.WriteValue<uint64_t>(orbitEnvironmentId);
    file.WriteValue<uint8_t>(isDynamic);
    file.Write(interfaceBytes);
    file.Flush();
    file.Close();
}

void ServerSideEntity::DeserializeCheckpoint() {
    // Everything is read before anything is applied, so a file that breaks off leaves the entity as it was.
    glm::dvec3 newPosition, newLinearVelocity, newAngularVelocity;
    glm::dquat newOrientation;
    Id newParent;
    uint64_t newEnvironment = 0, newOrbitEnvironment = 0;
    uint8_t newIsDynamic = 0;
    ReadOnlyStream interfaceBytes;
    try {
        const std::string path = GetCheckpointSaveFile();
        if (!vesmo::filesystem::FilePath(path).IsFile()) {
            std::cerr << "Invalid checkpoint file" << std::endl;
            return;
        }
        BinaryFileStream file(path, 1024, false);
        if (!ReadMagic(file, kCheckpointMagic)) {
            std::cerr << "Invalid checkpoint file" << std::endl;
            return;
        }
        if (file.ReadValue<uint32_t>() != kCheckpointVersion) {
            std::cerr << "Unsupported checkpoint version" << std::endl;
            return;
        }
        if (ReadId(file) != id) {
            std::cerr << "Invalid checkpoint parent entity ID" << std::endl;
            return;
        }
        newPosition = file.ReadValue<glm::dvec3>();
        newOrientation = ReadOrientation(file);
        newLinearVelocity = file.ReadValue<glm::dvec3>();
        newAngularVelocity = file.ReadValue<glm::dvec3>();
        newParent = ReadId(file);
        newEnvironment = file.ReadValue<uint64_t>();
        newOrbitEnvironment = file.ReadValue<uint64_t>();
        newIsDynamic = file.ReadValue<uint8_t>();
        interfaceBytes = file.ReadStream();
        file.Close();
    } catch (const std::runtime_error& error) {
        std::cerr << "Invalid checkpoint file: " << error.what() << std::endl;
        return;
    }

    position = newPosition;
    orientation = newOrientation;
    linearVelocity = newLinearVelocity;
    angularVelocity = newAngularVelocity;
    parentEntity = newParent;
    environmentId = newEnvironment;
    orbitEnvironmentId = newOrbitEnvironment;
    isDynamic = newIsDynamic;
    if (isDynamic)
        settleTime = 0.0;
    if (_interface && _interface->Overrides(Interface::Hook::DeserializeState))
        _interface->DeserializeState(interfaceBytes);
    RefreshCache();
}

void ServerSideEntity::LoadAllEntities() {
    const vesmo::filesystem::FilePath dir(GetCheckpointDir());
    if (!dir.IsDirectory())
        return;
    // Temporaries of a save that never finished are not the world: the old files beside them are.
    vesmo::filesystem::WriteBatch::RemoveTemporaries(dir.String());
    std::map<std::pair<std::string, std::string>, size_t> unregistered; // (module, type) -> entities
    for (const vesmo::filesystem::FilePath& file : dir.Files()) {
        if (file.Extension() != ".entitystate")
            continue;
        const Id entityId(file.Stem());
        if (const Ptr entity = Interface::Create(entityId))
            entity->saveCounter.fetch_add(1);
        else
            ++unregistered[ModuleAndTypeOf(file.String())];
    }
    // Dropped without a word, such an entity would be lost to whoever runs the world without its module.
    for (const auto& [key, count] : unregistered)
        std::cout << "Not loaded: " << count << (count == 1 ? " entity" : " entities") << " of type '" << key.second
                  << "' of module '" << key.first << "', which no loaded module registers; "
                  << (count == 1 ? "its file is" : "their files are") << " kept" << std::endl;
}

void ServerSideEntity::UnloadAllEntities() {
    // Every state file of the world goes through one batch: one sync for all of them, and a crash leaves
    // each file either as it was or as it is now.
    vesmo::filesystem::WriteBatch batch;
    {
        std::unique_lock lock(_sharedObjectsMutex);
        bool folderReady = false;
        for (auto entry = _sharedObjects.begin(); entry != _sharedObjects.end();) {
            if (!entry->second) {
                ++entry;
                continue;
            }
            ServerSideEntity& entity = *entry->second;
            if (entity.saveCounter.load() != 0 && !entity.isComponent) {
                if (!folderReady) {
                    vesmo::filesystem::FilePath(GetCheckpointDir()).CreateDirectories();
                    folderReady = true;
                }
                entity.Serialize(&batch);
                entity.deleteFilesOnDestroy = false;
            }
            entry->second.reset();
            entry = _sharedObjects.erase(entry);
        }
    }
    batch.Commit();
    {
        std::unique_lock lock(_sharedObjectsMutex);
        _sharedObjects.clear();
    }
    // Taken after the entities' lock is released: the volumes' lock never nests inside it.
    {
        std::unique_lock lock(PressurizedVolume::_sharedObjectsMutex);
        PressurizedVolume::_sharedObjects.clear();
    }
}

} // namespace game::entity
