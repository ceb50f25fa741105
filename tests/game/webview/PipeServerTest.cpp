#include "game/webview/PipeServer.hpp"

#include "game/webview/PipeTestSupport.hpp"

#include <gtest/gtest.h>

#include <cstring>

using testing_support::IsFifo;
using testing_support::PipeFolder;
using testing_support::PipePeer;

TEST(PipeServer, MakesBothFifosUnderTheDataFolderAndRemovesThem) {
    PipeFolder folder;
    {
        PipeServer pipe("view");
        EXPECT_EQ(std::tuple(pipe.path, pipe.writeFd, pipe.readFd), std::tuple("../Orkalin-data/view", -1, -1));
        EXPECT_TRUE(IsFifo(folder.Data("view.s2c")) && IsFifo(folder.Data("view.c2s")));
    }
    EXPECT_FALSE(std::filesystem::exists(folder.Data("view.s2c")) || std::filesystem::exists(folder.Data("view.c2s")));
}

TEST(PipeServer, ReusesALeftoverPairAndWorksAgainAfterAnEarlierOne) {
    PipeFolder folder;
    ASSERT_EQ(mkfifo(folder.Data("view.s2c").c_str(), 0666), 0); // left by a crashed run
    for (int round = 0; round < 2; ++round) {
        PipeServer pipe("view");
        PipePeer peer(folder.Data("view.s2c"), folder.Data("view.c2s"));
        ASSERT_TRUE(peer.Ok());
        EXPECT_TRUE(pipe.Write("hello", 5));
        EXPECT_EQ(peer.Take(), "hello");
        peer.Send("back");
        char buffer[16] = {};
        EXPECT_EQ(pipe.Read(buffer, sizeof(buffer)), 4u);
        EXPECT_STREQ(buffer, "back");
    }
}

TEST(PipeServer, ReadPassesOnAShortCountAndZeroAtEndOfFile) {
    PipeFolder folder;
    PipeServer pipe("view");
    PipePeer peer(folder.Data("view.s2c"), folder.Data("view.c2s"));
    ASSERT_TRUE(peer.Ok());

    peer.Send("abc");
    char buffer[64];
    EXPECT_EQ(pipe.Read(buffer, sizeof(buffer)), 3u);
    EXPECT_EQ(std::memcmp(buffer, "abc", 3), 0);

    peer.Send("tail");
    peer.CloseOut(); // the child is gone; what it wrote is still read
    EXPECT_EQ(pipe.Read(buffer, sizeof(buffer)), 4u);
    EXPECT_EQ(pipe.Read(buffer, sizeof(buffer)), 0u);
    EXPECT_EQ(pipe.Read(buffer, sizeof(buffer)), 0u);
}

TEST(PipeServer, ClosedDirectionsOpenAfreshOnTheirNextUse) {
    PipeFolder folder;
    PipeServer pipe("view");
    PipePeer peer(folder.Data("view.s2c"), folder.Data("view.c2s"));
    ASSERT_TRUE(peer.Ok());

    ASSERT_TRUE(pipe.Write("one", 3));
    const int firstWriteFd = pipe.writeFd;
    EXPECT_NE(firstWriteFd, -1);
    pipe.CloseWrite();
    EXPECT_EQ(pipe.writeFd, -1);
    pipe.CloseWrite(); // closing twice is harmless
    ASSERT_TRUE(pipe.Write("two", 3));
    EXPECT_NE(pipe.writeFd, -1);
    EXPECT_EQ(peer.Take(), "onetwo");

    peer.Send("x");
    char buffer[4];
    ASSERT_EQ(pipe.Read(buffer, 4), 1u);
    pipe.CloseRead();
    EXPECT_EQ(pipe.readFd, -1);
    peer.Send("y");
    ASSERT_EQ(pipe.Read(buffer, 4), 1u);
    EXPECT_EQ(buffer[0], 'y');
}

TEST(PipeServer, WithoutTheDataFolderReadGivesZeroAndWriteFalse) {
    PipeFolder folder(/*withDataFolder=*/false);
    PipeServer pipe("view");
    char buffer[8];
    EXPECT_EQ(pipe.Read(buffer, sizeof(buffer)), 0u);
    EXPECT_FALSE(pipe.Write("ping ", 5));
    EXPECT_EQ(std::tuple(pipe.readFd, pipe.writeFd), std::tuple(-1, -1));
}
