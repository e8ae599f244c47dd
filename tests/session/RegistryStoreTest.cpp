#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "session/RegistryStore.h"
#include "support/LogCapture.h"

namespace vantor {
namespace {

constexpr const char* kKey = "SOFTWARE\\Corvane\\Vantor";

std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
}

void Write(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

class RegistryStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = std::filesystem::path(::testing::TempDir()) /
                  ("registry-" + std::to_string(::getpid()) + "-" +
                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::remove_all(folder_);
        path_ = (folder_ / "nested" / "settings.reg").string();
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path folder_;
    std::string path_;
};

TEST_F(RegistryStoreTest, SavedValuesComeBackAndTheFileReadsPlainly) {
    RegistryStore store(path_);
    EXPECT_EQ(store.Load(), 0) << "no file yet is no error";
    EXPECT_FALSE(store.HasKey(kKey));
    EXPECT_FALSE(store.SetString(kKey, "Server1", "x")) << "the key must exist first";
    store.CreateKey(kKey);
    ASSERT_TRUE(store.SetString(kKey, "Server1", "den \"main\" \\ pc\nline two"));
    ASSERT_TRUE(store.SetDword(kKey, "AutoConnect", 1));
    ASSERT_TRUE(store.SetDword(kKey, "FunctionKey1", 0xFFFFFFFFu));
    ASSERT_EQ(store.Save(), 0);

    const std::string text = Read(path_);
    EXPECT_NE(text.find("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]"), std::string::npos);
    EXPECT_NE(text.find("\"AutoConnect\"=dword:00000001"), std::string::npos);
    EXPECT_NE(text.find("\"FunctionKey1\"=dword:ffffffff"), std::string::npos);
    EXPECT_NE(text.find(R"("Server1"="den \"main\" \\ pc\nline two")"), std::string::npos);

    RegistryStore again(path_);
    ASSERT_EQ(again.Load(), 0);
    EXPECT_EQ(again.QueryString(kKey, "Server1", 200), "den \"main\" \\ pc\nline two");
    EXPECT_EQ(again.QueryDword(kKey, "AutoConnect"), 1u);
    EXPECT_EQ(again.QueryDword(kKey, "FunctionKey1"), 0xFFFFFFFFu);
    EXPECT_FALSE(again.QueryDword(kKey, "Server1").has_value()) << "wrong type";
    EXPECT_FALSE(again.QueryString(kKey, "AutoConnect", 200).has_value()) << "wrong type";
    EXPECT_FALSE(again.QueryString("SOFTWARE\\Other", "Server1", 200).has_value());
}

TEST_F(RegistryStoreTest, TextLongerThanTheBufferReadsAsMissing) {
    RegistryStore store(path_);
    store.CreateKey(kKey);
    store.SetString(kKey, "Fits", std::string(99, 'a'));      // 200 bytes with the terminator
    store.SetString(kKey, "TooLong", std::string(100, 'a'));  // 202 bytes
    store.SetString(kKey, "Wide", std::string(50, 'a') + "\xF0\x9F\x8E\xB5");  // 52 units
    EXPECT_TRUE(store.QueryString(kKey, "Fits", 200).has_value());
    EXPECT_FALSE(store.QueryString(kKey, "TooLong", 200).has_value());
    EXPECT_TRUE(store.QueryString(kKey, "Wide", 106).has_value());
    EXPECT_FALSE(store.QueryString(kKey, "Wide", 105).has_value());
}

TEST_F(RegistryStoreTest, ADamagedFileIsKeptAsideAndReadsAsNoKey) {
    const char* const damaged[] = {
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\n\"AutoConnect\"=dword:zz\n",
        "\"Orphan\"=\"value outside any key\"\n",
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor\n",
        "[HKEY_CURRENT_USER\\X]\n",
        "[HKEY_LOCAL_MACHINE\\X]\n\"unterminated=\"x\n",
        "[HKEY_LOCAL_MACHINE\\X]\n\"A\"=\"bad escape \\q\"\n",
        "[HKEY_LOCAL_MACHINE\\X]\n\"A\"=dword:123456789\n",
        "\x7f\x45\x4c\x46\x02\x01\x01\x00 binary junk",
    };
    for (const char* content : damaged) {
        std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
        Write(path_, content);
        std::filesystem::remove(path_ + ".corrupt");
        testing::LogCapture capture(kLogError);
        RegistryStore store(path_);
        EXPECT_EQ(store.Load(), -1) << content;
        EXPECT_FALSE(store.HasKey(kKey)) << content;
        EXPECT_EQ(Read(path_ + ".corrupt"), content) << "kept as it was";
        EXPECT_FALSE(std::filesystem::exists(path_));
        ASSERT_EQ(capture.Lines().size(), 1u) << content;
        EXPECT_NE(capture.Lines()[0].find("damaged"), std::string::npos);
    }
}

TEST_F(RegistryStoreTest, CommentsAndBlankLinesAreAllowed) {
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
    Write(path_,
          "; my settings\n\n# also a comment\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\r\n"
          "  \"Server1\"=\"pc\"  \r\n\"AutoConnect\"=dword:0\n");
    RegistryStore store(path_);
    ASSERT_EQ(store.Load(), 0);
    EXPECT_EQ(store.QueryString(kKey, "Server1", 200), "pc");
    EXPECT_EQ(store.QueryDword(kKey, "AutoConnect"), 0u);
}

TEST_F(RegistryStoreTest, ACrashBeforeTheRenameLeavesTheOldSettings) {
    RegistryStore store(path_);
    store.CreateKey(kKey);
    store.SetString(kKey, "Server1", "old");
    ASSERT_EQ(store.Save(), 0);

    store.SetString(kKey, "Server1", "new");
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // The process dies with the new file written but not yet in place.
        store.Save([] { ::_exit(7); });
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 7);

    RegistryStore after(path_);
    ASSERT_EQ(after.Load(), 0);
    EXPECT_EQ(after.QueryString(kKey, "Server1", 200), "old");

    // The next save completes over the left-over file.
    ASSERT_EQ(store.Save(), 0);
    ASSERT_EQ(after.Load(), 0);
    EXPECT_EQ(after.QueryString(kKey, "Server1", 200), "new");
}

TEST_F(RegistryStoreTest, AnUnwritableLocationFailsAndKeepsWhatWasThere) {
    // A regular file where the folder should be: nothing can be created.
    std::filesystem::create_directories(folder_);
    Write((folder_ / "nested").string(), "not a folder");
    testing::LogCapture capture(kLogError);
    RegistryStore store(path_);
    store.CreateKey(kKey);
    EXPECT_EQ(store.Save(), -1);
    EXPECT_FALSE(capture.Lines().empty());
}

TEST(RegistryStoreDefaultPathTest, FollowsTheConfigHome) {
    const char* saved = std::getenv("XDG_CONFIG_HOME");
    const std::string keep = saved ? saved : "";
    ::setenv("XDG_CONFIG_HOME", "/tmp/vantor-config-home", 1);
    EXPECT_EQ(RegistryStore::DefaultPath(), "/tmp/vantor-config-home/vantor/settings.reg");
    ::setenv("XDG_CONFIG_HOME", "relative/ignored", 1);
    const char* home = std::getenv("HOME");
    EXPECT_EQ(RegistryStore::DefaultPath(),
              std::string(home ? home : ".") + "/.config/vantor/settings.reg");
    if (saved) {
        ::setenv("XDG_CONFIG_HOME", keep.c_str(), 1);
    } else {
        ::unsetenv("XDG_CONFIG_HOME");
    }
}

}  // namespace
}  // namespace vantor
