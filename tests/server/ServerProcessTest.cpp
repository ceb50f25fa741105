// The dedicated server as a user runs it: the real orkalin-server binary in a temporary working directory
// whose modules/ is the build's sample modules, with worlds under ../Orkalin-data beside it.

#include "TestSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using testing_support::ReadText;
using testing_support::TempDir;
using testing_support::WriteText;

struct Outcome {
    int exitCode = -1;
    std::string out;
    std::string err;
};

class Server : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(GameDir());
        fs::create_symlink(ORKALIN_SAMPLE_MODULE_DIR, GameDir() / "modules");
    }

    fs::path GameDir() const { return temp.Path() / "game"; }
    fs::path WorldDir(const std::string& world) const {
        return temp.Path() / "Orkalin-data" / "server" / "worlds" / world;
    }
    fs::path EntityDir(const std::string& world) const { return WorldDir(world) / "entities"; }

    // Starts the server in GameDir() with its output going to files; returns its process id.
    pid_t Start(const std::vector<std::string>& args) {
        const std::string out = (temp.Path() / "stdout.txt").string(), err = (temp.Path() / "stderr.txt").string();
        const pid_t pid = fork();
        if (pid == 0) {
            if (chdir(GameDir().c_str()) != 0)
                _exit(127);
            const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(o, 1);
            dup2(e, 2);
            std::vector<char*> argv{const_cast<char*>(ORKALIN_SERVER_BIN)};
            for (const std::string& a : args)
                argv.push_back(const_cast<char*>(a.c_str()));
            argv.push_back(nullptr);
            execv(ORKALIN_SERVER_BIN, argv.data());
            _exit(127);
        }
        return pid;
    }
    Outcome Finish(pid_t pid) {
        int status = 0;
        waitpid(pid, &status, 0);
        Outcome run;
        run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        run.out = ReadText((temp.Path() / "stdout.txt").string());
        run.err = ReadText((temp.Path() / "stderr.txt").string());
        return run;
    }
    Outcome RunServer(const std::vector<std::string>& args) { return Finish(Start(args)); }

    // Every file under the world's folder with its bytes.
    std::map<std::string, std::string> Snapshot(const std::string& world) const {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(WorldDir(world)))
            if (entry.is_regular_file())
                files[entry.path().string()] = ReadText(entry.path().string());
        return files;
    }
    size_t EntityFiles(const std::string& world) const {
        size_t n = 0;
        for (const auto& entry : fs::directory_iterator(EntityDir(world)))
            n += entry.path().extension() == ".entitystate";
        return n;
    }
    std::string Dump(const std::string& name) const { return (temp.Path() / name).string(); }

    TempDir temp;
};

TEST_F(Server, ASavedWorldContinuesInANewProcessWhereItStopped) {
    const Outcome first =
        RunServer({"--create", "--modules", "Planet", "w", "--ticks", "120", "--dump", Dump("a.txt")});
    ASSERT_EQ(first.exitCode, 0) << first.err;
    EXPECT_NE(first.out.find("new world"), std::string::npos) << first.out;
    // Every vehicle of the starting scene is saved (the rover's wheels are components and are not).
    const std::string poses = ReadText(Dump("a.txt"));
    const size_t vehicles = static_cast<size_t>(std::count(poses.begin(), poses.end(), '\n'));
    EXPECT_GT(vehicles, 20u);
    EXPECT_EQ(EntityFiles("w"), vehicles);
    EXPECT_NE(ReadText((WorldDir("w") / "world.conf").string()).find("ticks 120"), std::string::npos);

    // Loaded by another process and saved again without a tick: the same poses, bit for bit.
    const Outcome second = RunServer({"w", "--ticks", "0", "--dump", Dump("b.txt")});
    ASSERT_EQ(second.exitCode, 0) << second.err;
    EXPECT_NE(second.out.find("world continues at 2.00 s"), std::string::npos) << second.out;
    EXPECT_TRUE(ReadText(Dump("b.txt")) == poses) << "poses after the reload differ from the saved ones:\n"
                                                  << ReadText(Dump("b.txt"));

    // And it runs on from there: the clock continues, the rovers keep driving, nothing is lost.
    const Outcome third = RunServer({"w", "--ticks", "60", "--dump", Dump("c.txt")});
    ASSERT_EQ(third.exitCode, 0) << third.err;
    EXPECT_NE(ReadText((WorldDir("w") / "world.conf").string()).find("ticks 180"), std::string::npos);
    const std::string later = ReadText(Dump("c.txt"));
    EXPECT_EQ(std::count(later.begin(), later.end(), '\n'), static_cast<long>(vehicles));
    EXPECT_TRUE(later != poses) << "nothing moved in the session after the reload";
    EXPECT_EQ(EntityFiles("w"), vehicles);
}

TEST_F(Server, SigtermDuringARunFinishesTheTickSavesAndExitsZero) {
    const pid_t pid = Start({"--create", "--modules", "Planet", "live"});
    // Wait for the first progress line: the world is loaded and ticking at its fixed rate.
    const std::string out = (temp.Path() / "stdout.txt").string();
    for (int i = 0; i < 200 && ReadText(out).find("ticks/s") == std::string::npos; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (ReadText(out).find("ticks/s") == std::string::npos) {
        kill(pid, SIGKILL); // never leave a server running behind a failed test
        Finish(pid);
        FAIL() << "no progress line within 10 s";
    }
    kill(pid, SIGTERM);
    const Outcome run = Finish(pid);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("saved"), std::string::npos) << run.out;
    EXPECT_GT(EntityFiles("live"), 20u);
    EXPECT_TRUE(fs::exists(WorldDir("live") / "planet.state"));
    // About a second at 60 Hz: the fixed rate held, not a burst of thousands of ticks.
    const std::string world = ReadText((WorldDir("live") / "world.conf").string());
    const size_t at = world.find("ticks ");
    ASSERT_NE(at, std::string::npos);
    const long ticks = std::stol(world.substr(at + 6));
    EXPECT_GE(ticks, 30);
    EXPECT_LT(ticks, 60 * 15);
}

TEST_F(Server, TruncatedAndEmptyEntityFilesAreNamedDamagedWithTheirId) {
    ASSERT_EQ(RunServer({"--create", "--modules", "Planet", "w", "--ticks", "10"}).exitCode, 0);
    fs::path victim;
    for (const auto& entry : fs::directory_iterator(EntityDir("w")))
        victim = entry.path();
    const std::string bytes = ReadText(victim.string());
    const std::string id = victim.stem().string();
    const std::pair<std::string, std::string> cases[] = {
        {bytes.substr(0, bytes.size() / 2), "Truncated save state file for entity " + id},
        {"", "Invalid save state magic string for entity " + id},
    };
    for (const auto& [content, sentence] : cases) {
        WriteText(victim.string(), content);
        const auto before = Snapshot("w");
        const Outcome run = RunServer({"w", "--ticks", "10"});
        EXPECT_EQ(run.exitCode, 5);
        EXPECT_NE(run.err.find("damaged entity file"), std::string::npos) << run.err;
        EXPECT_NE(run.err.find(sentence + "\n"), std::string::npos) << run.err;
        EXPECT_EQ(Snapshot("w"), before);
    }
}

TEST_F(Server, EntitiesOfATypeNoModuleRegistersAreReportedAndTheirFilesKept) {
    ASSERT_EQ(RunServer({"--create", "--modules", "Planet", "w", "--ticks", "5"}).exitCode, 0);
    // Two crates become "crabs", a type of the same length that nothing registers.
    int renamed = 0;
    for (const auto& entry : fs::directory_iterator(EntityDir("w"))) {
        std::string bytes = ReadText(entry.path().string());
        const size_t at = bytes.find("crate");
        if (at == std::string::npos || renamed == 2)
            continue;
        bytes.replace(at, 5, "crabs");
        WriteText(entry.path().string(), bytes);
        ++renamed;
    }
    ASSERT_EQ(renamed, 2);
    const size_t files = EntityFiles("w");
    const Outcome run = RunServer({"w", "--ticks", "5"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("Not loaded: 2 entities of type 'crabs' of module 'DEMO_planet'"), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("which no loaded module registers; their files are kept"), std::string::npos) << run.out;
    EXPECT_EQ(EntityFiles("w"), files);
}

TEST_F(Server, AModuleThatCannotReadItsStateRefusesTheWorldAndChangesNoFile) {
    ASSERT_EQ(RunServer({"--create", "--modules", "Planet", "w", "--ticks", "10"}).exitCode, 0);
    WriteText((WorldDir("w") / "planet.state").string(), "\x01\x02 garbage\n");
    const auto before = Snapshot("w");
    const Outcome run = RunServer({"w", "--ticks", "10"});
    EXPECT_EQ(run.exitCode, 5);
    EXPECT_NE(run.err.find("module 'Planet' cannot load world 'w': Planet: cannot read its state file"),
              std::string::npos)
        << run.err;
    EXPECT_EQ(Snapshot("w"), before);
}

TEST_F(Server, TemporariesOfAnInterruptedSaveAreClearedAtTheNextLoad) {
    ASSERT_EQ(RunServer({"--create", "--modules", "Planet", "w", "--ticks", "10"}).exitCode, 0);
    const std::string stray = (EntityDir("w") / ".ENTT0000000100000000000000AB.entitystate.tmp-a1B2c3").string();
    WriteText(stray, "half a file");
    WriteText((WorldDir("w") / ".planet.state.tmp-Zz9Yy8").string(), "seed");
    const Outcome run = RunServer({"w", "--ticks", "0"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("removed 2 temporary files of an interrupted save"), std::string::npos) << run.out;
    EXPECT_FALSE(fs::exists(stray));
    EXPECT_FALSE(fs::exists(WorldDir("w") / ".planet.state.tmp-Zz9Yy8"));
}

TEST_F(Server, MissingWorldsUnknownModulesAndBadArgumentsHaveTheirOwnExitCodes) {
    Outcome run = RunServer({"nowhere"});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_NE(run.err.find("no world 'nowhere'"), std::string::npos) << run.err;
    EXPECT_FALSE(fs::exists(WorldDir("nowhere")));

    run = RunServer({"--create", "--modules", "Planet,Nonexistent", "w"});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_NE(run.err.find("module 'Nonexistent' failed to load"), std::string::npos) << run.err;
    EXPECT_FALSE(fs::exists(WorldDir("w") / "world.conf"));

    run = RunServer({"w", "--ticks", "many"});
    EXPECT_EQ(run.exitCode, 2);
    // Values the server cannot honour are refused with their range, before the world is made or written.
    const std::pair<std::vector<std::string>, const char*> refused[] = {
        {{"--ticks", "99999999999999999999"}, "--ticks wants a whole number from 0 to 1000000000"},
        {{"--ticks", "1.5"}, "--ticks wants a whole number"},
        {{"--seconds", "nan"}, "--seconds wants a number from 0 to 1e+07"},
        {{"--seconds", "inf"}, "--seconds wants a number from 0 to 1e+07"},
        {{"--substeps", "0"}, "--substeps wants a whole number from 1 to 64, not '0'"},
        {{"--substeps", "100000000"}, "--substeps wants a whole number from 1 to 64"},
        {{"--rate", "1e6"}, "--rate wants a number from 1 to 1000"},
    };
    for (const auto& [args, sentence] : refused) {
        std::vector<std::string> line{"--create", "--modules", "Planet", "w"};
        line.insert(line.end(), args.begin(), args.end());
        run = RunServer(line);
        EXPECT_EQ(run.exitCode, 2) << args[0] << ' ' << args[1];
        EXPECT_NE(run.err.find(sentence), std::string::npos) << run.err;
        EXPECT_FALSE(fs::exists(WorldDir("w") / "world.conf")) << args[0] << ' ' << args[1];
    }
    run = RunServer({"--help"});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_NE(run.out.find("build/game/"), std::string::npos);
}

TEST_F(Server, TheTemplateModuleRunsBesideThePlanetAndTheRunCanBeProfiled) {
    const Outcome run =
        RunServer({"--create", "--modules", "Template,Planet", "t", "--ticks", "5", "--summary", "--profile"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("Template: loaded"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("| crate"), std::string::npos) << run.out;
    // The table names the scopes of the tick, five server updates among them.
    const size_t table = run.out.find("Profiled scopes of the run");
    ASSERT_NE(table, std::string::npos) << run.out;
    const size_t line = run.out.find("\nServerUpdate ", table);
    ASSERT_NE(line, std::string::npos) << run.out;
    EXPECT_EQ(std::stoi(run.out.substr(run.out.find_first_not_of(' ', line + 13))), 5) << run.out;
    EXPECT_NE(run.out.find("\nIntegrateMotion ", table), std::string::npos) << run.out;
}

} // namespace
