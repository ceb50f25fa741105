#include "game/entity/ServerSideEntity.hpp"

#include "EntityTestSupport.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <vector>

using game::entity::Id;
using game::entity::ServerSideEntity;
namespace fs = std::filesystem;

namespace {

// Little-endian, packed: the file tables byte by byte.
class Bytes {
public:
    Bytes& Text(const std::string& text) {
        _bytes.insert(_bytes.end(), text.begin(), text.end());
        return *this;
    }
    template <class T> Bytes& Value(T value) {
        unsigned char raw[sizeof(T)];
        std::memcpy(raw, &value, sizeof(T));
        _bytes.insert(_bytes.end(), raw, raw + sizeof(T));
        return *this;
    }
    Bytes& Vec(double x, double y, double z) { return Value(x).Value(y).Value(z); }
    Bytes& Framed(const std::string& text) { return Value<uint64_t>(text.size()).Text(text); }
    std::string String() const { return std::string(_bytes.begin(), _bytes.end()); }

private:
    std::vector<unsigned char> _bytes;
};

class Persistence : public entity_test::World {
protected:
    void MakeReady(const ServerSideEntity::Ptr& entity) {
        auto& interface = entity->_interface;
        interface->interfaceEntity = entity;
        interface->interfaceSelf = interface;
        interface->interfaceId = entity->GetID();
        interface->ready = true;
    }
    static std::string Read(const std::string& path) { return testing_support::ReadText(path); }
    static void Overwrite(const std::string& path, size_t offset, const std::string& bytes) {
        std::string content = Read(path);
        content.replace(offset, bytes.size(), bytes);
        testing_support::WriteText(path, content);
    }
};

} // namespace

TEST_F(Persistence, AStateFileIsLaidOutByteForByte) {
    const Id id(0x0000CAFE'54544E45ull, 0x0123456789ABCDEFull);
    auto entity = ServerSideEntity::Create<ServerSideEntity>(Module(), game::entity::Type("blob"), id);
    const std::string moduleBytes("module\0bytes", 12);
    _module.SetBlob(entity->_interface.get(), &moduleBytes);
    entity->environmentId = 0x1122334455667788ull;
    entity->orbitEnvironmentId = 42;
    entity->parentEntity = Id(0xAAAA, 0xBBBB);
    entity->position = {1.5, -2.25, 3.0};
    entity->orientation = glm::dquat(0.5, -0.5, 0.5, -0.5); // w, x, y, z
    entity->isDynamic = 1;
    entity->settleTime = 1.0;
    entity->linearVelocity = {4, 5, 6};
    entity->angularVelocity = {-7, -8, -9};
    entity->boundingRadius = 0.75;
    entity->Serialize();

    const ServerSideEntity::ModuleID module = Module();
    // clang-format off
    const std::string expected = Bytes().Text("ORKALIN!ENTITY !").Value<uint32_t>(1).Value(module.vendor)
        .Value(module.name).Framed("blob").Value<uint64_t>(0x1122334455667788ull).Value<uint64_t>(42)
        .Value<uint64_t>(0xAAAA).Value<uint64_t>(0xBBBB).Vec(1.5, -2.25, 3.0)
        .Value(0.5).Value(-0.5).Value(0.5).Value(-0.5).Value<uint8_t>(1).Vec(4, 5, 6).Vec(-7, -8, -9).Value(0.75)
        .Value<uint8_t>(1) // settled: dynamic at 1.0 s
        .Text("\n\n\n\n").Value<uint64_t>(8 + moduleBytes.size()).Framed(moduleBytes).Text("\nEOF").String();
    // clang-format on
    EXPECT_EQ(entity->GetStateSaveFile(),
              "../Orkalin-data/server/worlds/test world/entities/" + id.ToString() + ".entitystate");
    EXPECT_EQ(Read(entity->GetStateSaveFile()), expected);
}

TEST_F(Persistence, ACheckpointIsLaidOutByteForByteAndRollsBack) {
    auto entity = New("counter");
    MakeReady(entity);
    entity->Update(0.1);
    entity->Update(0.1);
    entity->position = {1, 2, 3};
    entity->linearVelocity = {0, 0, -1};
    entity->parentEntity = Id(3, 4);
    entity->environmentId = 9;
    entity->isDynamic = 1;
    entity->SerializeCheckpoint();

    const Id id = entity->GetID();
    // clang-format off
    const std::string expected = Bytes().Text("CHECKPNT").Value<uint32_t>(0).Value(id.First()).Value(id.Second())
        .Vec(1, 2, 3).Value(1.0).Vec(0, 0, 0).Vec(0, 0, -1).Vec(0, 0, 0)
        .Value<uint64_t>(3).Value<uint64_t>(4).Value<uint64_t>(9).Value<uint64_t>(0).Value<uint8_t>(1)
        .Value<uint64_t>(4).Value<int32_t>(2) // the counter's own state
        .String();
    // clang-format on
    EXPECT_EQ(Read(entity->GetCheckpointSaveFile()), expected);

    entity->position = {50, 50, 50};
    entity->parentEntity = Id();
    entity->settleTime = 5.0;
    entity->Update(0.1);
    entity->DeserializeCheckpoint();
    EXPECT_EQ(entity->position, glm::dvec3(1, 2, 3));
    EXPECT_EQ(entity->parentEntity, Id(3, 4));
    EXPECT_EQ(entity->settleTime, 0.0);
    EXPECT_EQ(_module.Count(entity->_interface.get()), 2);
}

TEST_F(Persistence, ACheckpointOfAnotherEntityOrADamagedOneChangesNothing) {
    auto first = New("counter");
    auto second = New("counter");
    MakeReady(first);
    MakeReady(second);
    first->position = {1, 1, 1};
    first->SerializeCheckpoint();
    second->position = {2, 2, 2};
    second->Update(0.1);
    fs::copy_file(first->GetCheckpointSaveFile(), second->GetCheckpointSaveFile());

    auto load = [&] { return testing_support::StderrOf([&] { second->DeserializeCheckpoint(); }); };
    EXPECT_EQ(load(), "Invalid checkpoint parent entity ID\n");
    EXPECT_EQ(second->position, glm::dvec3(2, 2, 2));
    EXPECT_EQ(_module.Count(second->_interface.get()), 1);

    Overwrite(second->GetCheckpointSaveFile(), 8, Bytes().Value<uint32_t>(3).String());
    EXPECT_EQ(load(), "Unsupported checkpoint version\n");

    Overwrite(second->GetCheckpointSaveFile(), 0, "X");
    EXPECT_EQ(load(), "Invalid checkpoint file\n");
    EXPECT_EQ(second->position, glm::dvec3(2, 2, 2));

    // A file that breaks off in the middle leaves the entity as it was, too.
    second->SerializeCheckpoint();
    second->position = {3, 3, 3};
    const std::string whole = Read(second->GetCheckpointSaveFile());
    testing_support::WriteText(second->GetCheckpointSaveFile(), whole.substr(0, 60));
    EXPECT_NE(load().find("Invalid checkpoint file"), std::string::npos);
    EXPECT_EQ(second->position, glm::dvec3(3, 3, 3));
}

TEST_F(Persistence, AThousandEntitiesComeBackWithTheirModuleBytesInANewGeneration) {
    std::vector<Id> ids;
    for (int i = 0; i < 1000; ++i) {
        auto entity = New("counter");
        MakeReady(entity);
        for (int n = 0; n < i % 7; ++n)
            entity->Update(0.1);
        entity->position = {i, -i, 0.5 * i};
        entity->isDynamic = i % 2;
        entity->settleTime = (i % 4 == 1) ? 0.5 : 1.0;
        entity->saveCounter = 1;
        ids.push_back(entity->GetID());
    }
    auto component = New("counter");
    component->isComponent = 1;
    component->saveCounter = 1;
    component.reset();

    ServerSideEntity::UnloadAllEntities();
    EXPECT_EQ(Count(), 0u);
    EXPECT_EQ(std::distance(fs::directory_iterator(Folder()), fs::directory_iterator()), 1000);

    // The module goes away and comes back, as across a restart.
    _module.Unload();
    _module.Load();
    _module.SetGeneration(2);
    ServerSideEntity::LoadAllEntities();
    ASSERT_EQ(Count(), 1000u);
    for (int i = 0; i < 1000; ++i) {
        const auto entity = ServerSideEntity::Get(ids[i]);
        ASSERT_NE(entity, nullptr);
        const auto* interface = entity->_interface.get();
        ASSERT_NE(interface, nullptr);
        EXPECT_TRUE(interface->ready);
        EXPECT_EQ(interface->interfaceId, ids[i]);
        EXPECT_EQ(interface->interfaceEntity.lock(), entity);
        EXPECT_TRUE(_module.Initialised(interface));
        EXPECT_EQ(_module.Count(interface), i % 7);
        EXPECT_EQ(_module.SavedGeneration(interface), 1);
        EXPECT_EQ(entity->position, glm::dvec3(i, -i, 0.5 * i));
        EXPECT_EQ(entity->type, "counter");
        EXPECT_EQ(entity->moduleId, Module());
        // A dynamic body saved while settling settles again; one at rest (or a static one) is done.
        EXPECT_EQ(entity->settleTime, (i % 2 == 1 && i % 4 == 1) ? 0.0 : 2.0) << i;
        EXPECT_EQ(entity->saveCounter.load(), 1u);
        EXPECT_DOUBLE_EQ(entity->mass, 40.0); // the body comes from the config again
    }
    std::lock_guard guard(ServerSideEntity::_module_entities_mutex);
    EXPECT_EQ(ServerSideEntity::_module_entities.at(Module().String()).size(), 1000u);
}

TEST_F(Persistence, AnEntityWhoseModuleIsGoneKeepsItsFiles) {
    auto entity = New("counter");
    MakeReady(entity);
    entity->saveCounter = 1;
    entity->SerializeCheckpoint();
    const std::string state = entity->GetStateSaveFile();
    const std::string checkpoint = entity->GetCheckpointSaveFile();
    entity.reset();
    ServerSideEntity::UnloadAllEntities();
    ASSERT_TRUE(fs::exists(state));

    _module.Unload();
    ServerSideEntity::LoadAllEntities();
    EXPECT_EQ(Count(), 0u);
    ServerSideEntity::UnloadAllEntities();
    EXPECT_TRUE(fs::exists(state));
    EXPECT_TRUE(fs::exists(checkpoint));

    _module.Load();
    ServerSideEntity::LoadAllEntities();
    EXPECT_EQ(Count(), 1u);
}

TEST_F(Persistence, AnUnmarkedEntityTakesItsFilesWithIt) {
    auto entity = New("counter");
    MakeReady(entity);
    entity->saveCounter = 1;
    entity->SerializeCheckpoint();
    const Id id = entity->GetID();
    const std::string state = entity->GetStateSaveFile();
    entity.reset();
    ServerSideEntity::UnloadAllEntities();
    ServerSideEntity::LoadAllEntities();
    auto loaded = ServerSideEntity::Get(id);
    ASSERT_NE(loaded, nullptr);
    loaded->saveCounter = 0;
    const std::string checkpoint = loaded->GetCheckpointSaveFile();
    loaded.reset();
    ServerSideEntity::UnloadAllEntities();
    EXPECT_FALSE(fs::exists(state));
    EXPECT_FALSE(fs::exists(checkpoint));
}

TEST_F(Persistence, ADamagedStateFileNamesItsEntityAndTouchesNoOtherFile) {
    std::vector<Id> ids;
    for (int i = 0; i < 3; ++i) {
        auto entity = New("blob");
        entity->saveCounter = 1;
        ids.push_back(entity->GetID());
    }
    ServerSideEntity::UnloadAllEntities();
    auto path = [&](const Id& id) { return Folder() + "/" + id.ToString() + ".entitystate"; };
    const std::string good0 = Read(path(ids[0])), good2 = Read(path(ids[2]));

    struct Damage {
        size_t offset;
        std::string bytes;
        std::string sentence;
    };
    const size_t interfaceMagic = 36 + 8 + 4 + 8 + 8 + 16 + 24 + 32 + 1 + 24 + 24 + 8 + 1;
    const Damage damages[] = {
        {0, "X", "Invalid save state magic string for entity "},
        {8, "X", "Invalid save state magic string for entity "},
        {16, Bytes().Value<uint32_t>(2).String(), "Invalid save state version for entity "},
        {interfaceMagic, "X", "Invalid save state interface magic string for entity "},
    };
    const std::string intact = Read(path(ids[1]));
    for (const Damage& damage : damages) {
        testing_support::WriteText(path(ids[1]), intact);
        Overwrite(path(ids[1]), damage.offset, damage.bytes);
        vesmo::filesystem::ReadOnlyStream bytes;
        EXPECT_EQ(testing_support::ThrownMessage<std::runtime_error>(
                      [&] { ServerSideEntity::Create<ServerSideEntity>(ids[1], bytes); }),
                  damage.sentence + ids[1].ToString());
        EXPECT_EQ(Read(path(ids[0])), good0);
        EXPECT_EQ(Read(path(ids[2])), good2);
        EXPECT_EQ(ServerSideEntity::Get(ids[1]), nullptr);
    }

    // Through the world's load: the sentence leaves LoadAllEntities, and no file is removed or changed.
    EXPECT_EQ(testing_support::ThrownMessage<std::runtime_error>(ServerSideEntity::LoadAllEntities),
              "Invalid save state interface magic string for entity " + ids[1].ToString());
    ServerSideEntity::UnloadAllEntities();
    EXPECT_EQ(Read(path(ids[0])), good0);
    EXPECT_EQ(Read(path(ids[2])), good2);

    fs::remove(path(ids[1]));
    vesmo::filesystem::ReadOnlyStream bytes;
    EXPECT_EQ(testing_support::ThrownMessage<std::runtime_error>(
                  [&] { ServerSideEntity::Create<ServerSideEntity>(ids[1], bytes); }),
              "Save state file does not exist for entity " + ids[1].ToString());
}

TEST_F(Persistence, TheLoaderSkipsWhatIsNoStateFileAndRefusesBadNames) {
    fs::create_directories(Folder());
    testing_support::WriteText(Folder() + "/.entitystate", "no extension by the rules of paths");
    testing_support::WriteText(Folder() + "/notes.txt", "");
    fs::create_directories(Folder() + "/folder.entitystate");
    ServerSideEntity::LoadAllEntities();
    EXPECT_EQ(Count(), 0u);

    testing_support::WriteText(Folder() + "/short.entitystate", "");
    EXPECT_EQ(testing_support::ThrownMessage<std::runtime_error>(ServerSideEntity::LoadAllEntities),
              "UniqueId string length should be 28");
    fs::remove(Folder() + "/short.entitystate");
    testing_support::WriteText(Folder() + "/ENTTxx345678EFCDAB8967452301.entitystate", "");
    EXPECT_EQ(testing_support::ThrownMessage<std::invalid_argument>(ServerSideEntity::LoadAllEntities),
              "not a hex digit");
}

TEST_F(Persistence, ALoadedEntityWithTheIdOfALiveOneIsRefused) {
    auto entity = New("counter");
    entity->Serialize();
    EXPECT_THROW(ServerSideEntity::Interface::Create(entity->GetID()), std::runtime_error);
    // The refused copy did not take the live entity's file with it.
    EXPECT_TRUE(fs::exists(entity->GetStateSaveFile()));
}
