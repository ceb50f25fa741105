#include "game/entity/PressurizedVolume.hpp"

#include "game/Game.hpp"
#include "game/chemistry/Chemistry.hpp"
#include "game/entity/ServerSideEntity.hpp"

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <filesystem>
#include <limits>
#include <shared_mutex>
#include <thread>
#include <vector>

using game::Molecule;
using game::entity::Id;
using game::entity::PressurizedVolume;
using game::entity::ServerSideEntity;
using game::physics::EnvironmentInfo;

namespace {

constexpr double kRoom = 288.15;
const glm::dvec3 kNowhere{0.0};

// Sea-level air: mole fractions of the three main gases.
EnvironmentInfo Air() {
    EnvironmentInfo air;
    air.pressure = 101325.0;
    air.density = 1.225;
    air.composition = {{"N2", 0.78}, {"O2", 0.21}, {"Ar", 0.01}};
    return air;
}

double Sum(const std::unordered_map<std::string, double>& composition) {
    double total = 0.0;
    for (const auto& entry : composition)
        total += entry.second;
    return total;
}

PressurizedVolume Tank(double volume, double nitrogen) {
    PressurizedVolume tank(Id(), Id(), volume, kRoom);
    if (nitrogen > 0.0)
        tank.composition["N2"] = nitrogen;
    tank.Update(0.0);
    return tank;
}

} // namespace

TEST(PressurizedVolume, UpdateFollowsTheIdealGasLawWithTheMeanMolarMass) {
    PressurizedVolume tank(Id(), Id(), 2.0, 300.0);
    tank.composition = {{"N2", 1.4}, {"O2", 0.6}};
    tank.Update(0.0);
    const double moles = 1.4 / Molecule("N2").GetMolarMass() + 0.6 / Molecule("O2").GetMolarMass();
    EXPECT_DOUBLE_EQ(tank.totalMass, 2.0);
    EXPECT_DOUBLE_EQ(tank.density, 1.0);
    EXPECT_NEAR(tank.pressure, moles * PressurizedVolume::GasConstant * 300.0 / 2.0, 1e-6);
    const double condensed =
        1.4 / Molecule("N2").GetMaximumLiquidDensity() + 0.6 / Molecule("O2").GetMaximumLiquidDensity();
    EXPECT_DOUBLE_EQ(tank.liquidFraction, condensed / 2.0);

    // An empty volume has no pressure; a volume of no size is not touched at all.
    PressurizedVolume empty = Tank(1.0, 0.0);
    EXPECT_EQ(empty.pressure, 0.0);
    EXPECT_EQ(empty.density, 0.0);
    PressurizedVolume inert(Id(), Id(), 0.0, kRoom);
    inert.composition["N2"] = 5.0;
    inert.pressure = 42.0;
    inert.Leak();
    inert.Update(1.0);
    EXPECT_EQ(inert.pressure, 42.0);
    EXPECT_EQ(inert.totalMass, 0.0);
    EXPECT_EQ(inert.airtightness, 0.0);

    // Entries of no mass leave an empty volume, and the composition is cleared.
    PressurizedVolume zeros = Tank(1.0, 0.0);
    zeros.composition = {{"N2", 0.0}, {"O2", 0.0}};
    zeros.Update(0.0);
    EXPECT_TRUE(zeros.composition.empty());
    EXPECT_EQ(zeros.pressure, 0.0);
}

TEST(PressurizedVolume, AnOverfullVolumeShedsWhatDoesNotFitAsALiquid) {
    const double water = Molecule("H2O").GetMaximumLiquidDensity();
    PressurizedVolume tank(Id(), Id(), 1.0, kRoom);
    tank.composition = {{"H2O", 1.5 * water}}; // half again as much as the tank holds as a liquid
    tank.Update(0.0);
    EXPECT_DOUBLE_EQ(tank.liquidFraction, 1.0);
    EXPECT_NEAR(tank.composition["H2O"], 0.75 * water, 1e-9 * water); // k = 1 - 0.5
    EXPECT_NEAR(tank.totalMass, 0.75 * water, 1e-9 * water);

    // Twice the room or more gives k <= 0: the model empties.
    tank.composition = {{"H2O", 2.5 * water}};
    tank.Update(0.0);
    EXPECT_TRUE(tank.composition.empty());
    EXPECT_EQ(std::tuple(tank.totalMass, tank.pressure, tank.liquidFraction), std::tuple(0.0, 0.0, 0.0));
}

TEST(PressurizedVolume, PushAddsOnlyWhatFitsAndAFullTankTakesNothing) {
    const double water = Molecule("H2O").GetMaximumLiquidDensity();
    PressurizedVolume tank(Id(), Id(), 1.0, kRoom);
    tank.Push("H2O", 0.25 * water);
    EXPECT_DOUBLE_EQ(tank.composition["H2O"], 0.25 * water);

    // Room for three quarters more: a push of twice that is cut.
    tank.Push("H2O", 1.5 * water);
    EXPECT_NEAR(tank.composition["H2O"], water, 1e-9 * water);

    tank.Push("N2", 10.0);
    EXPECT_NEAR(tank.composition["N2"], 0.0, 1e-9);
    tank.Push("H2O", 1.0);
    EXPECT_NEAR(tank.composition["H2O"], water, 1e-9 * water);
}

TEST(PressurizedVolume, ALeakHealsAfterOneSecondOfUpdatesUnlessOpenedAgain) {
    PressurizedVolume tank = Tank(1.0, 1.0);
    EXPECT_TRUE(tank.IsAirtight());
    tank.Leak();
    EXPECT_FALSE(tank.IsAirtight());
    for (int i = 0; i < 7; ++i)
        tank.Update(0.125);
    EXPECT_FALSE(tank.IsAirtight());
    EXPECT_DOUBLE_EQ(tank.airtightness, 0.875);
    tank.Update(0.125);
    EXPECT_TRUE(tank.IsAirtight());
    tank.Update(5.0);
    EXPECT_EQ(tank.airtightness, 1.0);

    // A Transfer against the outside opens the volume, even when nothing flows.
    const EnvironmentInfo air = Air();
    PressurizedVolume::Transfer(&tank, air, kNowhere, kNowhere, 0.0, 0.1);
    EXPECT_EQ(tank.airtightness, 0.0);
    tank.Airtight();
    EXPECT_TRUE(tank.IsAirtight());

    // Between two volumes, both take the smaller value, also without flow.
    PressurizedVolume a = Tank(1.0, 1.0), b = Tank(1.0, 1.0);
    b.airtightness = 0.3;
    EXPECT_EQ(PressurizedVolume::Transfer(&a, &b, kNowhere, kNowhere, 0.1, 0.1), 0.0);
    EXPECT_EQ(a.airtightness, 0.3);
    EXPECT_EQ(b.airtightness, 0.3);
}

TEST(PressurizedVolume, TwoVolumesFlowOnlyAboveTheThresholdAndEqualise) {
    // 1,000 and 1,050 Pa: too close to flow.
    PressurizedVolume a(Id(), Id(), 1.0, kRoom), b(Id(), Id(), 1.0, kRoom);
    a.pressure = 1000.0;
    b.pressure = 1050.0;
    a.totalMass = b.totalMass = a.density = b.density = 0.012;
    a.composition = b.composition = {{"N2", 0.012}};
    EXPECT_EQ(PressurizedVolume::Transfer(&a, &b, kNowhere, kNowhere, 1.0, 1.0), 0.0);
    EXPECT_EQ(a.composition, b.composition);

    // Refused calls.
    PressurizedVolume none(Id(), Id(), 0.0, kRoom);
    EXPECT_EQ(PressurizedVolume::Transfer(nullptr, &b, kNowhere, kNowhere, 1.0, 1.0), 0.0);
    EXPECT_EQ(PressurizedVolume::Transfer(&a, nullptr, kNowhere, kNowhere, 1.0, 1.0), 0.0);
    EXPECT_EQ(PressurizedVolume::Transfer(&a, &none, kNowhere, kNowhere, 1.0, 1.0), 0.0);

    // Far apart: gas runs from the fuller tank (either argument order) until they are within 100 Pa, and
    // no mass is lost on the way.
    PressurizedVolume full = Tank(1.0, 2.0), half = Tank(1.0, 1.0);
    const double first = PressurizedVolume::Transfer(&half, &full, kNowhere, kNowhere, 1e-3, 0.01);
    EXPECT_GT(first, 0.0);
    EXPECT_NEAR(full.composition["N2"], 2.0 - first, 1e-12);
    EXPECT_NEAR(half.composition["N2"], 1.0 + first, 1e-12);
    int steps = 0;
    while (std::abs(full.pressure - half.pressure) >= 100.0 && steps < 100000) {
        PressurizedVolume::Transfer(&full, &half, kNowhere, kNowhere, 1e-3, 0.01);
        full.Update(0.01);
        half.Update(0.01);
        ++steps;
    }
    EXPECT_LT(steps, 100000);
    EXPECT_LT(std::abs(full.pressure - half.pressure), 100.0);
    EXPECT_NEAR(full.totalMass + half.totalMass, 3.0, 1e-9);
    EXPECT_NEAR(full.totalMass, 1.5, 0.01);
}

TEST(PressurizedVolume, AFlowAboveTheGiversMassEmptiesItAndOverfillsTheOther) {
    PressurizedVolume giver = Tank(1.0, 0.5), taker = Tank(1.0, 0.0);
    giver.composition["O2"] = 0.25;
    giver.Update(0.0);
    const double flow = PressurizedVolume::Transfer(&giver, &taker, kNowhere, kNowhere, 1.0, 1.0);
    EXPECT_GT(flow, giver.totalMass);
    EXPECT_TRUE(giver.composition.empty());
    EXPECT_NEAR(Sum(taker.composition), flow, 1e-9);
    EXPECT_GT(Sum(taker.composition), 0.75);
    EXPECT_NEAR(taker.composition["N2"] / taker.composition["O2"], 2.0, 1e-12);
}

TEST(PressurizedVolume, AVentedTankReachesTheDensityOfTheAirAroundIt) {
    const EnvironmentInfo air = Air();
    // A small opening closes the difference at once; a large one streams in up to the same limit.
    for (const double area : {0.01, 1.0}) {
        PressurizedVolume tank = Tank(3.0, 0.0);
        tank.composition["He"] = 0.002; // a gas the air does not have stays
        tank.Update(0.0);
        for (int i = 0; i < 5; ++i) {
            PressurizedVolume::Transfer(&tank, air, kNowhere, kNowhere, area, 0.1);
            tank.Update(0.1);
        }
        EXPECT_NEAR(tank.density, air.density + 0.002 / 3.0, 1e-9) << "area " << area;
        EXPECT_DOUBLE_EQ(tank.composition["He"], 0.002);
        const double mix = 0.78 * Molecule("N2").GetMolarMass() + 0.21 * Molecule("O2").GetMolarMass() +
                           0.01 * Molecule("Ar").GetMolarMass();
        EXPECT_NEAR(tank.composition["O2"], air.density * 3.0 * 0.21 * Molecule("O2").GetMolarMass() / mix, 1e-12);
        // The air's own share gives about its pressure at room temperature; helium adds some 400 Pa.
        EXPECT_NEAR(tank.pressure, air.pressure + 400.0, 150.0);
        EXPECT_FALSE(tank.IsAirtight());
    }

    // Nothing happens to a volume of no size, and it stays sealed.
    PressurizedVolume none(Id(), Id(), 0.0, kRoom);
    EXPECT_EQ(PressurizedVolume::Transfer(&none, air, kNowhere, kNowhere, 1.0, 1.0), 0.0);
    EXPECT_TRUE(none.IsAirtight());
    EXPECT_EQ(PressurizedVolume::Transfer(nullptr, air, kNowhere, kNowhere, 1.0, 1.0), 0.0);
}

TEST(PressurizedVolume, ADenseTankVentsByTheFlowAndVacuumLetsNothingIn) {
    const EnvironmentInfo air = Air();
    PressurizedVolume tank = Tank(100.0, 1000.0); // 10 kg/m³
    const double flow = PressurizedVolume::Transfer(&tank, air, kNowhere, kNowhere, 0.5, 0.05);
    EXPECT_GE(flow, PressurizedVolume::InstantEqualisationFlow);
    EXPECT_NEAR(tank.composition["N2"], 1000.0 - flow, 1e-9);
    EXPECT_EQ(tank.composition.count("O2"), 0u);

    // An empty tank under an environment without density: the flow is large but there is nothing to take.
    EnvironmentInfo strange;
    strange.pressure = 1e9;
    strange.composition = {{"N2", 1.0}};
    PressurizedVolume empty = Tank(1.0, 0.0);
    empty.density = 1.0; // keeps Bernoulli's speed finite
    EXPECT_EQ(PressurizedVolume::Transfer(&empty, strange, kNowhere, kNowhere, 1.0, 1.0), 0.0);
    EXPECT_TRUE(empty.composition.empty());
}

namespace {

// An entity behaviour that knows a sphere of radius 1 around the origin.
class Hull : public ServerSideEntity::Interface {
public:
    bool IsInsideVolume(const glm::dvec3& point) const override { return glm::length(point) < 1.0; }
};

class VolumeFind : public ::testing::Test {
protected:
    void SetUp() override {
        _previous = std::filesystem::current_path();
        std::filesystem::current_path(_dir.Path());
        Game::_current_world = "volume test";
    }
    void TearDown() override {
        ServerSideEntity::UnloadAllEntities();
        std::filesystem::current_path(_previous);
    }
    static ServerSideEntity::Ptr Entity(std::shared_ptr<ServerSideEntity::Interface> behaviour) {
        auto entity = ServerSideEntity::Create<ServerSideEntity>(vesmo::modular::ModuleID("TEST_volumes"),
                                                                 game::entity::Type("hull"), Id());
        entity->_interface = std::move(behaviour);
        return entity;
    }

    testing_support::TempDir _dir;
    std::filesystem::path _previous;
};

} // namespace

TEST_F(VolumeFind, FindsTheVolumeOfTheVehicleThatHoldsThePoint) {
    const Id ship(1, 1), other(2, 2);
    auto hull = Entity(std::make_shared<Hull>());
    auto plain = Entity(std::make_shared<ServerSideEntity::Interface>()); // does not override the test
    auto bare = Entity(nullptr);

    auto notOverridden = PressurizedVolume::Create(ship, plain->GetID(), 1.0, kRoom);
    auto withoutInterface = PressurizedVolume::Create(ship, bare->GetID(), 1.0, kRoom);
    auto withoutEntity = PressurizedVolume::Create(ship, Id(9, 9), 1.0, kRoom);
    auto ofNoSize = PressurizedVolume::Create(ship, hull->GetID(), 0.0, kRoom);
    auto otherShip = PressurizedVolume::Create(other, hull->GetID(), 1.0, kRoom);
    auto dropped = PressurizedVolume::Create(ship, hull->GetID(), 1.0, kRoom);
    dropped.reset();
    auto cabin = PressurizedVolume::Create(ship, hull->GetID(), 1.0, kRoom);
    auto second = PressurizedVolume::Create(ship, hull->GetID(), 1.0, kRoom);

    int calls = 0;
    std::shared_ptr<PressurizedVolume> found;
    auto remember = [&](std::shared_ptr<PressurizedVolume>& volume) {
        ++calls;
        found = volume;
    };
    EXPECT_FALSE(PressurizedVolume::Find(ship, glm::dvec3(3.0, 0.0, 0.0), remember));
    EXPECT_EQ(calls, 0);

    EXPECT_TRUE(PressurizedVolume::Find(ship, glm::dvec3(0.5, 0.0, 0.0), remember));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(found, cabin); // the first in the list; the search stops there
    EXPECT_TRUE(PressurizedVolume::Find(other, glm::dvec3(0.0), remember));
    EXPECT_EQ(found, otherShip);
    EXPECT_FALSE(PressurizedVolume::Find(Id(3, 3), glm::dvec3(0.0), remember));

    // The dropped volume left the list when the next one was made.
    {
        std::shared_lock lock(PressurizedVolume::_sharedObjectsMutex);
        EXPECT_EQ(PressurizedVolume::_sharedObjects.size(), 7u);
    }

    // A world unload forgets every volume, even those that modules still hold.
    ServerSideEntity::UnloadAllEntities();
    EXPECT_TRUE(PressurizedVolume::_sharedObjects.empty());
    EXPECT_FALSE(PressurizedVolume::Find(other, glm::dvec3(0.0), remember));
}

TEST_F(VolumeFind, TheCallbackRunsUnderTheVolumesLockAndMayLookUpEntities) {
    auto hull = Entity(std::make_shared<Hull>());
    auto cabin = PressurizedVolume::Create(Id(1, 1), hull->GetID(), 1.0, kRoom);
    bool sawEntity = false;
    EXPECT_TRUE(PressurizedVolume::Find(Id(1, 1), glm::dvec3(0.0), [&](std::shared_ptr<PressurizedVolume>& volume) {
        // Volumes before entities: taking the entities' lock in here is the allowed order.
        sawEntity = ServerSideEntity::Get(volume->entityId) == hull;
        EXPECT_FALSE(PressurizedVolume::_sharedObjectsMutex.try_lock());
    }));
    EXPECT_TRUE(sawEntity);
}

TEST_F(VolumeFind, LookupsMeetWorldUnloadsWithoutDeadlock) {
    // Find nests the entities' lock inside the volumes' lock; an unload takes them one after the other. Run
    // both at once for a while: a reversed order anywhere would hang here (and time out).
    std::atomic<bool> done = false;
    std::thread finder([&] {
        while (!done)
            PressurizedVolume::Find(Id(1, 1), glm::dvec3(0.0), [](std::shared_ptr<PressurizedVolume>&) {});
    });
    std::vector<std::shared_ptr<PressurizedVolume>> held;
    for (int round = 0; round < 200; ++round) {
        auto hull = Entity(std::make_shared<Hull>());
        held.push_back(PressurizedVolume::Create(Id(1, 1), hull->GetID(), 1.0, kRoom));
        hull.reset();
        if (round % 10 == 9)
            ServerSideEntity::UnloadAllEntities();
    }
    done = true;
    finder.join();
    EXPECT_TRUE(PressurizedVolume::_sharedObjects.empty());
}

TEST(PressurizedVolumeDeathTest, BrokenInvariantsEndTheProcessWithTheirText) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // A volume that is not a number gives a density that is not one.
    PressurizedVolume nan = Tank(1.0, 1.0);
    nan.volume = std::numeric_limits<double>::quiet_NaN();
    EXPECT_DEATH(nan.Update(0.0), "Assertion failed: !isnan\\(density\\), file game/entity/PressurizedVolume");
    // A negative volume below the smallest normal number: the shedding factor overflows to infinity.
    PressurizedVolume negative = Tank(1.0, 1.0);
    negative.volume = -1e-320;
    EXPECT_DEATH(negative.Update(0.0), "Assertion failed: !isinf\\(density\\), file game/entity/PressurizedVolume");
    // (The two totalMass tests stand behind them: a mass that is not a positive number empties the model
    // before they are reached, so only a broken density can get there first.)

    // The giving side's totalMass is stale until its Update; a pressure without mass is a broken state.
    PressurizedVolume a = Tank(1.0, 0.0), b = Tank(1.0, 1.0);
    a.pressure = b.pressure + 1000.0;
    EXPECT_DEATH(PressurizedVolume::Transfer(&a, &b, kNowhere, kNowhere, 1.0, 1.0),
                 "Assertion failed: a->totalMass > 0, file game/entity/PressurizedVolume");
    PressurizedVolume c = Tank(1.0, 1.0), d = Tank(1.0, 0.0);
    d.pressure = c.pressure + 1000.0;
    EXPECT_DEATH(PressurizedVolume::Transfer(&c, &d, kNowhere, kNowhere, 1.0, 1.0),
                 "Assertion failed: b->totalMass > 0, file game/entity/PressurizedVolume");
}
