#include "vesmo/audio/Studio.hpp"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using vesmo::audio::Studio;

TEST(Studio, KeepsWhatIsSetReadable) {
    Studio studio;
    EXPECT_EQ(studio.GetVolume("bus:/"), 1.0f); // a bus never set is at full volume
    studio.SetVolume(0.25f, "bus:/");
    studio.SetVolume(0.5f, "bus:/music");
    EXPECT_EQ(studio.GetVolume("bus:/"), 0.25f);
    EXPECT_EQ(studio.GetVolume("bus:/music"), 0.5f);

    studio.SetListenerAttributes(1, 2, 3, 4, 5, 6, 0, 0, -1, 0, 1, 0);
    const Studio::Listener listener = studio.GetListenerAttributes();
    EXPECT_EQ(listener.position[2], 3.0f);
    EXPECT_EQ(listener.velocity[0], 4.0f);
    EXPECT_EQ(listener.forward[2], -1.0f);
    EXPECT_EQ(listener.up[1], 1.0f);

    EXPECT_TRUE(studio.LoadBank("b/Master.bank"));
    EXPECT_TRUE(studio.LoadBank("b/other.bank"));
    EXPECT_TRUE(studio.LoadBank("b/Master.bank")); // loaded once
    EXPECT_EQ(studio.LoadedBanks(), (std::vector<std::string>{"b/Master.bank", "b/other.bank"}));

    EXPECT_EQ(studio.GetParameter("underwater"), 0.0f);
    studio.SetParameter("underwater", 1.0f);
    EXPECT_EQ(studio.GetParameter("underwater"), 1.0f);
}

TEST(Studio, EventsLiveUntilTheirObjectGoes) {
    Studio studio;
    {
        Studio::Event event(&studio, "event:/wind");
        EXPECT_FALSE(event.IsPlaying());
        event.Start();
        event.SetParameter("wind speed", 12.0f);
        event.SetVolume(0.5f);
        EXPECT_TRUE(event.IsPlaying());
        EXPECT_EQ(event.GetParameter("wind speed"), 12.0f);
        EXPECT_EQ(event.GetParameter("density"), 0.0f);
        EXPECT_EQ(event.GetVolume(), 0.5f);
        const auto instances = studio.EventInstances();
        ASSERT_EQ(instances.size(), 1u);
        EXPECT_EQ(instances[0]->path, "event:/wind");
        EXPECT_EQ(instances[0]->parameters.at("wind speed"), 12.0f);
        event.Stop();
        EXPECT_FALSE(event.IsPlaying());
    }
    EXPECT_TRUE(studio.EventInstances().empty());
    studio.Update();
    EXPECT_EQ(studio.UpdateCount(), 1u);
}

TEST(Studio, AnyThreadMayCall) {
    Studio studio;
    Studio::Event event(&studio, "event:/shared");
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 1000; ++i) {
                event.SetParameter(t % 2 ? "a" : "b", static_cast<float>(i));
                studio.SetVolume(static_cast<float>(i), "bus:/");
                studio.Update();
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(studio.UpdateCount(), 4000u);
    EXPECT_EQ(event.GetParameter("a"), 999.0f);
}
