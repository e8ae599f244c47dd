#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "protocol/Messages.h"
#include "session/SelfUpdate.h"
#include "support/ScriptedHttp.h"
#include "support/TestServer.h"

namespace vantor {
namespace {

using testing::ScriptedHttp;
using testing::ScriptedReply;
using namespace std::chrono_literals;

TEST(ClientVersionTest, PartsCompareAsNumbers) {
    struct Case {
        const char* offered;
        bool newer;
    };
    const Case cases[] = {{"1.5.0.1", false}, {"1.5.0.10", true},  {"1.5.0.2", true},
                          {"1.5.0.0", false}, {"1.5", false},      {"v1.6", true},
                          {"2", true},        {"1.4.9.99", false}, {"", false},
                          {"1.5.1", true},    {"1..6", false},     {"version 1.5.0.1b", false}};
    const ClientVersion own = ParseClientVersion("1.5.0.1");
    for (const Case& c : cases) {
        EXPECT_EQ(IsNewer(ParseClientVersion(c.offered), own), c.newer) << c.offered;
    }
    const ClientVersion parsed = ParseClientVersion("v1.6");
    EXPECT_EQ(parsed.major, 1);
    EXPECT_EQ(parsed.minor, 6);
    EXPECT_EQ(parsed.build, 0);
    EXPECT_EQ(parsed.revision, 0);
}

class FakeUi final : public UpdateUi {
public:
    bool AskYesNo(const std::string& caption, const std::string& text) override {
        log.push_back("ask " + caption + ": " + text);
        return answer;
    }
    void ShowError(const std::string& caption, const std::string& text) override {
        log.push_back("error " + caption + ": " + text);
    }
    bool OnConnectScreen() const override { return connectScreen; }
    void SetStatus(const std::string& text) override { log.push_back("status " + text); }
    void ShowProgressBar(bool shown) override { log.push_back(shown ? "bar on" : "bar off"); }
    void SetProgress(int percent) override { percents.push_back(percent); }
    void ShowInTitle(const std::string& text) override { log.push_back("title " + text); }
    void RestoreTitle() override { log.push_back("title restored"); }
    void Quit() override { log.push_back("quit"); }

    bool answer = true;
    bool connectScreen = true;
    std::vector<std::string> log;
    std::vector<int> percents;
};

class FakeLauncher final : public Launcher {
public:
    bool Open(const std::string& file, const std::string& parameters) override {
        opened.push_back(file + " " + parameters);
        return works;
    }
    bool works = true;
    std::vector<std::string> opened;
};

const std::string kInstaller(50000, 'i');
class SelfUpdateTest : public ::testing::Test {
protected:
    void SetUp() override {
        folder_ = std::filesystem::path(::testing::TempDir()) /
                  ("update-" + std::to_string(::getpid()) + "-" +
                   ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder_ / "served");
        std::filesystem::create_directories(folder_ / "install");
        served_ = (folder_ / "served" / "vantor-1.6.0.0.deb").string();
        std::ofstream(served_, std::ios::binary) << kInstaller;
        auto options = testing::LoopbackServerOptions();
        options.updateFile = served_;
        options.info.clientVersion = "1.6.0.0";
        options.info.clientParameters = "--quiet";
        server_ = std::make_unique<testing::TestServer>(options);
        offer_ = Offer();
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    // What the server offers, asked of it as the client does.
    GetClientVersionResponse Offer() { return ServerConnectionProbe(server_->Port()).Ask(); }

    SelfUpdate Update() {
        return SelfUpdate(
            ui_, launcher_, [] { return std::string("127.0.0.1"); },
            (folder_ / "install").string() + "/", (*server_)->MediaPort());
    }
    std::string Installed() const { return (folder_ / "install" / "vantor-1.6.0.0.deb").string(); }

    // Asks a server for its client offer over a connection of its own.
    class ServerConnectionProbe final : public ServerConnection::Handler {
    public:
        explicit ServerConnectionProbe(std::uint16_t port) : connection_(this) {
            connection_.Connect("127.0.0.1", port);
        }
        GetClientVersionResponse Ask() {
            auto request = std::make_unique<GetClientVersionRequest>();
            request->type = "ppc";
            auto answer = connection_.SendAndWait(std::move(request), std::chrono::seconds(5));
            return answer ? *As<GetClientVersionResponse>(*answer) : GetClientVersionResponse();
        }
        void OnEvent(std::unique_ptr<Message>) override {}
        void OnResponse(std::unique_ptr<Message>, std::unique_ptr<Message>) override {}
        void OnChannelLost(int) override {}

    private:
        ServerConnection connection_;
    };

    std::filesystem::path folder_;
    std::string served_;
    std::unique_ptr<testing::TestServer> server_;
    GetClientVersionResponse offer_;
    FakeUi ui_;
    FakeLauncher launcher_;
};

TEST_F(SelfUpdateTest, AVerifiedUpdateIsOpenedAndTheClientQuits) {
    SelfUpdate update = Update();
    EXPECT_TRUE(update.Run(offer_));
    EXPECT_EQ(launcher_.opened, std::vector<std::string>{Installed() + " --quiet"});
    EXPECT_EQ(ui_.log,
              (std::vector<std::string>{
                  "ask Update Available: A new client version is available. Would you "
                  "like to upgrade now?",
                  "status Downloading update...", "bar on", "bar off", "status Verifying update...",
                  "bar off", "status Applying update...", "status ", "quit"}));
    ASSERT_FALSE(ui_.percents.empty());
    EXPECT_EQ(ui_.percents.front(), 0);
    EXPECT_EQ(ui_.percents.back(), 100);
    EXPECT_TRUE(std::is_sorted(ui_.percents.begin(), ui_.percents.end()));
    std::ifstream in(Installed(), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), kInstaller);
}

TEST_F(SelfUpdateTest, AWrongOrUpperCaseChecksumIsNotOpened) {
    std::string upper = offer_.checksum;
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    for (const std::string& checksum : {upper, std::string(32, '0'), offer_.checksum + "0"}) {
        ui_.log.clear();
        launcher_.opened.clear();
        GetClientVersionResponse offer = offer_;
        offer.checksum = checksum;
        SelfUpdate update = Update();
        EXPECT_FALSE(update.Run(offer)) << checksum;
        EXPECT_TRUE(launcher_.opened.empty()) << checksum;
        ASSERT_GE(ui_.log.size(), 2u);
        EXPECT_EQ(ui_.log.back(),
                  "error Error Applying Update: There was a problem downloading the update, "
                  "please try again later or manually install using ActiveSync.");
        EXPECT_TRUE(std::filesystem::exists(Installed())) << "left for a later check to delete";
    }
}

TEST_F(SelfUpdateTest, OnOtherScreensTheTitleShowsProgress) {
    ui_.connectScreen = false;
    SelfUpdate update = Update();
    EXPECT_TRUE(update.Run(offer_));
    EXPECT_EQ(ui_.log[1], "title Downloading update...");
    EXPECT_NE(std::find(ui_.log.begin(), ui_.log.end(), "title Downloading update: 100%"),
              ui_.log.end());
    EXPECT_NE(std::find(ui_.log.begin(), ui_.log.end(), "title Verifying update..."),
              ui_.log.end());
    EXPECT_EQ(ui_.log[ui_.log.size() - 2], "title restored");
    EXPECT_EQ(ui_.log.back(), "quit");
}

TEST_F(SelfUpdateTest, DecliningOrAFailedLaunchGoesOn) {
    ui_.answer = false;
    SelfUpdate update = Update();
    EXPECT_FALSE(update.Run(offer_));
    EXPECT_EQ(ui_.log.size(), 1u) << "asked, declined, nothing else";

    ui_.answer = true;
    ui_.log.clear();
    launcher_.works = false;
    EXPECT_FALSE(update.Run(offer_));
    EXPECT_EQ(ui_.log.back().rfind("error Error Applying Update", 0), 0u);
    EXPECT_TRUE(std::find(ui_.log.begin(), ui_.log.end(), "quit") == ui_.log.end());
}

TEST_F(SelfUpdateTest, NothingNewerDeletesOnlyAnInstallerThisClientDownloaded) {
    // A file the client did not download is never deleted, whatever the
    // offered URL names.
    const std::string settings = (folder_ / "install" / "settings.reg").string();
    std::ofstream(settings) << "keep";
    std::ofstream(Installed()) << "not downloaded";
    GetClientVersionResponse same = offer_;
    same.version = "1.5.0.1";
    for (const std::string& url : {same.url, std::string("/x/settings.reg")}) {
        GetClientVersionResponse offer = same;
        offer.url = url;
        EXPECT_FALSE(Update().Run(offer));
    }
    EXPECT_TRUE(ui_.log.empty()) << "no question";
    EXPECT_TRUE(std::filesystem::exists(settings));
    EXPECT_TRUE(std::filesystem::exists(Installed()));

    // Nor is it replaced by a download of that name.
    GetClientVersionResponse wrong = offer_;
    wrong.checksum = std::string(32, '0');
    EXPECT_FALSE(Update().Run(wrong));
    std::ifstream kept(Installed());
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "not downloaded");

    // One it downloaded and could not verify stays until a later check,
    // of this run or the next, finds nothing newer.
    std::filesystem::remove(Installed());
    EXPECT_FALSE(Update().Run(wrong));
    ASSERT_TRUE(std::filesystem::exists(Installed()));
    EXPECT_FALSE(Update().Run(wrong)) << "its own download is fetched again";
    ASSERT_TRUE(std::filesystem::exists(Installed()));
    same.url = "no-slash";
    EXPECT_FALSE(Update().Run(same));
    EXPECT_TRUE(std::filesystem::exists(Installed())) << "an offer without a \"/\" deletes nothing";
    same.url = "/x/other.deb";
    EXPECT_FALSE(Update().Run(same));
    EXPECT_FALSE(std::filesystem::exists(Installed()));
    EXPECT_TRUE(std::filesystem::exists(settings));

    // Names that are no file of their own are not downloaded to at all.
    for (const char* url : {"/x/", "/x/.", "/x/.."}) {
        EXPECT_EQ(Update().LocalPath(url), "") << url;
    }
}

TEST_F(SelfUpdateTest, ADownloadWithoutALengthShowsNoPercentage) {
    ScriptedHttp plain([](const std::string&) {
        return ScriptedReply{"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + kInstaller};
    });
    SelfUpdate update = Update();
    ASSERT_TRUE(update.Download(plain.Url("/x/vantor.deb"), Installed()));
    EXPECT_TRUE(ui_.percents.empty());

    // Whatever length a server claims, the download never divides by zero:
    // the percentage is worked out in 32 bits, and a length whose low 32
    // bits are 0 shows none. (The body ends early; only the progress counts.)
    struct Case {
        const char* length;
        bool percents;
    };
    const Case cases[] = {
        {"0", false},         {"4294967296", false},         {"8589934592", false},
        {"4294967297", true}, {"9223372036854775807", true}, {"-1", false}};
    for (const Case& c : cases) {
        ui_.percents.clear();
        ScriptedHttp lying([&](const std::string&) {
            return ScriptedReply{std::string("HTTP/1.1 200 OK\r\nContent-Length: ") + c.length +
                                     "\r\n\r\n" + kInstaller.substr(0, 3000),
                                 0ms, true};
        });
        static_cast<void>(
            update.Download(lying.Url("/x/vantor.deb"), (folder_ / "lying.deb").string()));
        EXPECT_EQ(!ui_.percents.empty(), c.percents) << c.length;
    }
    EXPECT_EQ(DownloadPercent(50, 200), 25);
    EXPECT_EQ(DownloadPercent(3000, (std::int64_t{1} << 32) + 100), 3000 * 100 / 100)
        << "the length's low 32 bits, as the handheld computed it";
    EXPECT_EQ(DownloadPercent(1, std::int64_t{1} << 32), -1);
    EXPECT_EQ(DownloadPercent(1, 0), -1);
    EXPECT_TRUE(SelfUpdate::Verify(Installed(), offer_.checksum));
    EXPECT_FALSE(SelfUpdate::Verify(Installed() + ".missing", offer_.checksum));
    EXPECT_FALSE(update.RunUpdate("", "", offer_.checksum));
    EXPECT_FALSE(update.RunUpdate("nowhere", "", offer_.checksum));
}

// An offered URL whose name is a file the install folder already holds:
// the download replaces it, and the clean-up then counts it as an installer
// of its own and deletes it. An offered URL naming the download list itself
// lets the server write the names the clean-up deletes.
TEST_F(SelfUpdateTest, TheCleanUpNeverDeletesAFileTheClientFoundOrAServerNamed) {
    const std::filesystem::path install = folder_ / "install";
    std::ofstream(install / "settings.reg") << "keep";
    std::ofstream(install / "victim.txt") << "keep";
    ScriptedHttp hostile([](const std::string& head) {
        const std::string body =
            head.find(SelfUpdate::kDownloadedList) != std::string::npos ? "victim.txt\n" : "x";
        return ScriptedReply{"HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " +
                             std::to_string(body.size()) + "\r\n\r\n" + body};
    });
    GetClientVersionResponse same = offer_;
    same.version = "1.5.0.1";
    for (const char* name : {"settings.reg", SelfUpdate::kDownloadedList}) {
        GetClientVersionResponse newer = offer_;
        newer.url = hostile.Url(std::string("/x/") + name);
        newer.checksum = std::string(32, '0');  // never verifies: nothing is opened
        EXPECT_FALSE(Update().Run(newer)) << name;
        EXPECT_FALSE(Update().Run(same)) << name;  // the clean-up
    }
    EXPECT_TRUE(std::filesystem::exists(install / "settings.reg"))
        << "a file the client found there is not its download";
    EXPECT_TRUE(std::filesystem::exists(install / "victim.txt"))
        << "the list names only what the client downloaded";
}

}  // namespace
}  // namespace vantor
