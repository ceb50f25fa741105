// The tests' temporary folders: none is left behind, not even by a death test's child, which ends by
// abort and never runs a destructor.

#include "TestSupport.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

class FolderAndDeath : public ::testing::Test {
protected:
    testing_support::TempDir folder;
};

// Run only by the test below, as a process of its own.
TEST_F(FolderAndDeath, DISABLED_ChildDiesHoldingAFolder) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(std::abort(), "");
}

TEST(TempDir, ADeathTestLeavesNoFolderBehind) {
    testing_support::TempDir tmp; // the child's whole temporary folder
    // The death test re-runs the program by its argv[0]: give it the real path.
    const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
    const pid_t child = fork();
    if (child == 0) {
        setenv("TMPDIR", tmp.Path().c_str(), 1);
        execl(self.c_str(), self.c_str(), "--gtest_filter=FolderAndDeath.DISABLED_ChildDiesHoldingAFolder",
              "--gtest_also_run_disabled_tests", "--gtest_brief=1", static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_TRUE(std::filesystem::is_empty(tmp.Path())) << std::filesystem::directory_iterator(tmp.Path())->path();
}

} // namespace
