#include "ui/settings/UserSettings.h"

#include <filesystem>

#include "core/Logger.h"
#include "session/RegistryStore.h"
#include "session/Settings.h"
#include "ui/keys/FunctionTable.h"
#include "ui/settings/SettingsSheet.h"

namespace vantor::ui {

UserSettings::UserSettings(const std::string& path)
    : store_(std::make_unique<RegistryStore>(path.empty() ? RegistryStore::DefaultPath() : path)),
      settings_(std::make_unique<Settings>()),
      functions_(std::make_unique<FunctionTable>()) {}

UserSettings::~UserSettings() = default;

const std::string& UserSettings::Path() const {
    return store_->Path();
}

bool UserSettings::Load() {
    const bool firstRun = !std::filesystem::exists(store_->Path());
    store_->Load();
    EnsureInstalled(*store_);
    LoadSettings(*store_, *settings_);
    functions_->Load(*settings_);
    return firstRun;
}

void UserSettings::Save(const std::string& shown, const std::vector<std::string>& items,
                        const std::string& serverForRun) {
    if (serverForRun.empty() || shown != serverForRun) {
        settings_->servers = RebuildServerHistory(shown, items);
    }
    SaveSettings(*store_, *settings_);
    if (store_->Save() != 0) {
        Log(kLogError, "Could not save the settings to %s", store_->Path().c_str());
    }
}

std::optional<UserSettings::SheetChoice> UserSettings::Edit(QWidget* parent, Prompter& prompter,
                                                            const SheetLook& look) {
    // The store also holds the shell's names for the application buttons,
    // which the Buttons page shows.
    SettingsSheet sheet(*functions_, prompter, store_.get(), parent);
    sheet.setFont(look.font);
    sheet.SetGeneral(settings_->autoConnect, settings_->nowPlayingOnIdle);
    sheet.SetServerVersion(look.serverVersion);
    sheet.SetSkins(settings_->installDir, look.skinPath);
    sheet.SetProductIcon(look.icon);
    if (!sheet.Run()) {
        return std::nullopt;
    }
    settings_->autoConnect = sheet.AutoConnect();
    settings_->nowPlayingOnIdle = sheet.NowPlayingOnIdle();
    functions_->Store(*settings_);
    return SheetChoice{.skin = sheet.NewSkin()};
}

}  // namespace vantor::ui
