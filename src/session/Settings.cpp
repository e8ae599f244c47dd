#include "session/Settings.h"

#include <filesystem>

#include "core/Text.h"

#ifndef VANTOR_DATA_DIR
#define VANTOR_DATA_DIR "/usr/local/share/vantor/"
#endif
#ifndef VANTOR_SOURCE_DIR
#define VANTOR_SOURCE_DIR ""
#endif

namespace vantor {

namespace {

// Text values are read into a zeroed buffer of this many bytes: 100 UTF-16
// units, the terminator included.
constexpr std::size_t kTextBufferBytes = 200;
constexpr std::size_t kStoredTextUnits = 100;

std::string ReadText(const RegistryStore& store, const char* name) {
    return store.QueryString(kSettingsKey, name, kTextBufferBytes).value_or(std::string());
}

std::string FunctionKeyName(int index) {
    return Format("FunctionKey%d", index + 1);
}

}  // namespace

std::string BuiltInInstallDir() {
    return VANTOR_DATA_DIR;
}

void LoadSettings(const RegistryStore& store, Settings& settings) {
    if (!store.HasKey(kSettingsKey)) {
        settings.autoConnect = true;
        settings.nowPlayingOnIdle = false;
        settings.useMultipleSpeakers = false;
        settings.showRemainingTime = false;
        return;
    }
    settings.installDir = ReadText(store, "InstallDir");
    if (settings.installDir.empty()) {
        settings.installDir = BuiltInInstallDir();
    }
    if (settings.installDir.back() != '/') {
        settings.installDir += '/';
    }
    settings.skinFilePath = ReadText(store, "SkinFilePath");
    for (int i = 0; i < kServerHistory; ++i) {
        settings.servers[static_cast<std::size_t>(i)] =
            ReadText(store, Format("Server%d", i + 1).c_str());
    }
    settings.connectionPort = ReadText(store, "ConnectionPort");
    if (settings.connectionPort.empty()) {
        settings.connectionPort = kDefaultPort;
    }
    const auto flag = [&](const char* name, std::uint32_t missing) {
        return store.QueryDword(kSettingsKey, name).value_or(missing);
    };
    settings.autoConnect = flag("AutoConnect", 1) != 0;
    settings.nowPlayingOnIdle = flag("NowPlayingOnIdle", 0) != 0;
    settings.useMultipleSpeakers = flag("UseMultipleSpeakers", 0) == 1;
    for (int i = 0; i < kFunctionCount; ++i) {
        settings.functionKeys[static_cast<std::size_t>(i)] = static_cast<std::int32_t>(
            store.QueryDword(kSettingsKey, FunctionKeyName(i)).value_or(0xFFFFFFFFu));
    }
    settings.showRemainingTime = flag("ShowRemainingTime", 0) != 0;
}

void SaveSettings(RegistryStore& store, const Settings& settings) {
    store.CreateKey(kSettingsKey);
    const auto text = [&](const std::string& name, const std::string& value) {
        store.SetString(kSettingsKey, name, std::string(TruncateUtf16(value, kStoredTextUnits)));
    };
    text("SkinFilePath", settings.skinFilePath);
    for (int i = 0; i < kServerHistory; ++i) {
        text(Format("Server%d", i + 1), settings.servers[static_cast<std::size_t>(i)]);
    }
    text("ConnectionPort", settings.connectionPort);
    store.SetDword(kSettingsKey, "AutoConnect", settings.autoConnect ? 1 : 0);
    store.SetDword(kSettingsKey, "NowPlayingOnIdle", settings.nowPlayingOnIdle ? 1 : 0);
    store.SetDword(kSettingsKey, "UseMultipleSpeakers", settings.useMultipleSpeakers ? 1 : 0);
    for (int i = 0; i < kFunctionCount; ++i) {
        store.SetDword(
            kSettingsKey, FunctionKeyName(i),
            static_cast<std::uint32_t>(settings.functionKeys[static_cast<std::size_t>(i)]));
    }
    store.SetDword(kSettingsKey, "ShowRemainingTime", settings.showRemainingTime ? 1 : 0);
}

std::array<std::string, kServerHistory> RebuildServerHistory(
    std::string_view shown, const std::vector<std::string>& listItems) {
    std::array<std::string, kServerHistory> history;
    if (shown != kFindAutomatically) {
        history[0] = std::string(shown);
    }
    std::size_t next = 1;
    for (std::size_t i = 1; i < listItems.size() && next < history.size(); ++i) {
        const std::string& item = listItems[i];
        if (item == kFindAutomatically || item == shown) {
            continue;
        }
        bool taken = false;
        for (const std::string& held : history) {
            taken = taken || held == item;
        }
        if (!taken) {
            history[next++] = item;
        }
    }
    return history;
}

int Install(RegistryStore& store, const std::string& installDir) {
    store.CreateKey(kSettingsKey);
    store.SetString(kSettingsKey, "InstallDir", installDir);
    return store.Save();
}

}  // namespace vantor

namespace vantor {

std::string LocateInstallDir() {
    // Beside the running program first (<prefix>/bin/../share/vantor/), so
    // a tree installed with another prefix than the build's, or unpacked
    // from a package, finds its own data.
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::string beside =
        error ? std::string() : (program.parent_path().parent_path() / "share/vantor/").string();
    for (const std::string& folder :
         {beside, std::string(VANTOR_DATA_DIR), std::string(VANTOR_SOURCE_DIR)}) {
        if (!folder.empty() && std::filesystem::is_regular_file(folder + kDefaultSkinFile)) {
            return folder.back() == '/' ? folder : folder + "/";
        }
    }
    return {};
}

int EnsureInstalled(RegistryStore& store) {
    if (store.QueryString(kSettingsKey, "InstallDir", kTextBufferBytes).value_or("") != "") {
        return 0;
    }
    const std::string folder = LocateInstallDir();
    return folder.empty() ? -1 : Install(store, folder);
}

}  // namespace vantor
