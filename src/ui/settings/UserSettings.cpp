#include "ui/settings/UserSettings.h"

#include <filesystem>
#include <initializer_list>

#include "core/Logger.h"
#include "session/RegistryStore.h"
#include "session/Settings.h"
#include "ui/keys/FunctionTable.h"
#include "ui/settings/SettingsSheet.h"
#include "ui/window/Prompter.h"

namespace vantor::ui {

namespace {

// The text with each "%s" replaced by the next of `values`.
std::string Fill(std::string text, std::initializer_list<std::string> values) {
    std::size_t at = 0;
    for (const std::string& value : values) {
        at = text.find("%s", at);
        if (at == std::string::npos) {
            break;
        }
        text.replace(at, 2, value);
        at += value.size();
    }
    return text;
}

}  // namespace

UserSettings::UserSettings(const std::string& path)
    : store_(std::make_unique<RegistryStore>(path.empty() ? RegistryStore::DefaultPath() : path)),
      settings_(std::make_unique<Settings>()),
      functions_(std::make_unique<FunctionTable>()) {}

UserSettings::~UserSettings() = default;

const std::string& UserSettings::Path() const {
    return store_->Path();
}

bool UserSettings::Load(Prompter& prompter) {
    const bool firstRun = !std::filesystem::exists(store_->Path());
    const bool partly = store_->Load() == 1;
    EnsureInstalled(*store_);
    LoadSettings(*store_, *settings_);
    functions_->Load(*settings_);
    if (partly) {
        prompter.Inform(kSettingsCaption,
                        Fill(kSettingsPartlyReadText,
                             {store_->Path(), store_->KeptCopy().empty()
                                                  ? std::string("(no copy could be made)")
                                                  : store_->KeptCopy()}),
                        PromptIcon::Warning);
        // Written again now, so the next start reads it whole.
        Write(prompter);
    }
    return firstRun;
}

void UserSettings::Save(const std::string& shown, const std::vector<std::string>& items,
                        const std::string& serverForRun, Prompter& prompter) {
    if (serverForRun.empty() || shown != serverForRun) {
        settings_->servers = RebuildServerHistory(shown, items);
    }
    Write(prompter);
}

void UserSettings::Write(Prompter& prompter) {
    SaveSettings(*store_, *settings_);
    if (store_->Save() == 0) {
        return;
    }
    Log(kLogError, "Could not save the settings to %s", store_->Path().c_str());
    if (!saveFailureTold_) {
        saveFailureTold_ = true;
        prompter.Inform(kSettingsCaption,
                        Fill(kSettingsNotSavedText, {store_->Path(), store_->SaveError()}),
                        PromptIcon::Warning);
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
