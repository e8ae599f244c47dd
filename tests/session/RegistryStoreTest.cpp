#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
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

// One line a person or another tool got wrong costs that line, not the
// server history and every binding: the rest is read, the file as it was
// is kept in a numbered copy that never replaces an earlier one.
TEST_F(RegistryStoreTest, ADamagedLineCostsOnlyThatLine) {
    const std::string header = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\n";
    const std::string good = "\"Server1\"=\"den\"\n\"FunctionKey1\"=dword:00000026\n";
    struct Case {
        const char* label;
        std::string content;
        std::size_t unread;
        bool keyRead;
    };
    const Case cases[] = {
        {"blanks around =", header + "\"Server1\" = \"den\"\n\"FunctionKey1\" =dword:00000026\n", 0,
         true},
        {"another tool's header line", "Windows Registry Editor Version 5.00\n" + header + good, 1,
         true},
        {"a bad number", header + "\"AutoConnect\"=dword:zz\n" + good, 1, true},
        {"a value outside any key", "\"Orphan\"=\"x\"\n" + header + good, 1, true},
        {"an unclosed key line", "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor\n" + good, 3,
         false},
        {"another root's key", "[HKEY_CURRENT_USER\\X]\n\"A\"=\"b\"\n" + header + good, 2, true},
        {"an unterminated name", header + "\"unterminated=\"x\n" + good, 1, true},
        {"a bad escape", header + "\"A\"=\"bad escape \\q\"\n" + good, 1, true},
        {"a number too long", header + "\"A\"=dword:123456789\n" + good, 1, true},
        {"binary junk", "\x7f\x45\x4c\x46\x02\x01\x01\x00 binary junk", 1, false},
    };
    for (const Case& c : cases) {
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
        Write(path_, c.content);
        testing::LogCapture capture(kLogError);
        RegistryStore store(path_);
        EXPECT_EQ(store.Load(), c.unread == 0 ? 0 : 1) << c.label;
        EXPECT_EQ(store.Unread().size(), c.unread) << c.label;
        if (c.keyRead) {
            EXPECT_EQ(store.QueryString(kKey, "Server1", 200), "den") << c.label;
            EXPECT_EQ(store.QueryDword(kKey, "FunctionKey1"), 0x26u) << c.label;
        } else {
            EXPECT_FALSE(store.HasKey(kKey)) << c.label;
        }
        if (c.unread == 0) {
            EXPECT_TRUE(capture.Lines().empty()) << c.label;
            EXPECT_FALSE(std::filesystem::exists(path_ + ".corrupt")) << c.label;
            continue;
        }
        EXPECT_EQ(store.KeptCopy(), path_ + ".corrupt") << c.label;
        EXPECT_EQ(Read(path_ + ".corrupt"), c.content) << "kept as it was: " << c.label;
        EXPECT_EQ(Read(path_), c.content) << "left for the next save: " << c.label;
        ASSERT_EQ(capture.Lines().size(), 1u) << c.label;
        EXPECT_NE(capture.Lines()[0].find("damaged"), std::string::npos);
    }

    // Damaged again: the first copy stays, the next gets the next number.
    Write(path_, "second damage\n" + header + good);
    RegistryStore again(path_);
    EXPECT_EQ(again.Load(), 1);
    EXPECT_EQ(again.KeptCopy(), path_ + ".corrupt.2");
    EXPECT_EQ(Read(path_ + ".corrupt"), cases[std::size(cases) - 1].content);
    EXPECT_EQ(Read(path_ + ".corrupt.2"), "second damage\n" + header + good);
}

// A file saved again by an editor that starts it with a byte order mark
// (as many do for UTF-8) is still the settings, key line first.
TEST_F(RegistryStoreTest, AByteOrderMarkCostsNoSetting) {
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
    Write(path_,
          "\xEF\xBB\xBF[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\n\"Server1\"=\"den\"\n");
    RegistryStore store(path_);
    EXPECT_EQ(store.Load(), 0);
    EXPECT_EQ(store.QueryString(kKey, "Server1", 200), "den");
}

// A settings file kept elsewhere and linked to stays linked.
TEST_F(RegistryStoreTest, SavingThroughALinkKeepsTheLink) {
    const std::filesystem::path real = folder_ / "dotfiles" / "vantor.reg";
    std::filesystem::create_directories(real.parent_path());
    std::filesystem::create_directories(std::filesystem::path(path_).parent_path());
    Write(real.string(), "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Corvane\\Vantor]\n\"Server1\"=\"old\"\n");
    std::filesystem::create_symlink("../dotfiles/vantor.reg", path_);
    RegistryStore store(path_);
    ASSERT_EQ(store.Load(), 0);
    ASSERT_TRUE(store.SetString(kKey, "Server1", "new"));
    ASSERT_EQ(store.Save(), 0);
    EXPECT_TRUE(std::filesystem::is_symlink(path_));
    EXPECT_NE(Read(real.string()).find("\"Server1\"=\"new\""), std::string::npos);
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
    EXPECT_EQ(store.SaveError(), std::strerror(ENOTDIR)) << "the reason, for the user";
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
