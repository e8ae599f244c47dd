#pragma once

// The user's settings for the window's life: read from the settings file
// at start, changed by the menu and the settings sheet, written back on
// every save. The key bindings are kept here too: the sheet edits them in
// place, so a binding holds from then on, but only OK writes it into the
// settings that are saved.
//
// Threads: the window's thread only.

#include <QFont>
#include <QImage>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QWidget;

namespace vantor {
class RegistryStore;
struct Settings;
}  // namespace vantor

namespace vantor::ui {

class FunctionTable;
class Prompter;

class UserSettings {
public:
    explicit UserSettings(const std::string& path);  // empty: the default file
    ~UserSettings();

    // Reads the file, recording where the program's data is when it says
    // nothing of it; true when there was no file (the first run). A file
    // read only in part is told to the user and written again at once with
    // what was read (its old form is kept beside it).
    bool Load(Prompter& prompter);
    // Writes every setting. The server history is rebuilt from the connect
    // box (`shown` over `items`), unless the box still shows the server
    // given for this run only. The first save that fails is told to the
    // user, the later ones only logged.
    void Save(const std::string& shown, const std::vector<std::string>& items,
              const std::string& serverForRun, Prompter& prompter);

    // The settings file.
    const std::string& Path() const;

    Settings& Get() { return *settings_; }
    const Settings& Get() const { return *settings_; }
    FunctionTable& Functions() { return *functions_; }
    const FunctionTable& Functions() const { return *functions_; }

    // What the sheet shows besides the settings themselves.
    struct SheetLook {
        QFont font;
        QImage icon;
        std::string serverVersion;  // empty: not known
        std::string skinPath;       // the skin in use
    };
    struct SheetChoice {
        std::optional<std::string> skin;  // a skin other than the one in use
    };
    // Runs the settings sheet over `parent`. After OK the general values
    // and the bindings are taken into the settings (not yet saved) and the
    // choice is returned; after Cancel nothing is.
    std::optional<SheetChoice> Edit(QWidget* parent, Prompter& prompter, const SheetLook& look);

private:
    void Write(Prompter& prompter);

    std::unique_ptr<RegistryStore> store_;
    std::unique_ptr<Settings> settings_;
    std::unique_ptr<FunctionTable> functions_;
    bool saveFailureTold_ = false;
};

// What the user is told when the settings file could be read only in part,
// and when the settings could not be saved.
inline constexpr const char* kSettingsCaption = "Vantor Settings";
inline constexpr const char* kSettingsPartlyReadText =
    "Some of your settings could not be read from %s, so they were left out and their defaults "
    "are used. Everything else was kept. The file as it was is saved as %s.";
inline constexpr const char* kSettingsNotSavedText =
    "Your settings could not be saved to %s (%s). Not saved: the server list, the key "
    "bindings, the skin and the options. They stay as they are until Vantor closes.";

}  // namespace vantor::ui
