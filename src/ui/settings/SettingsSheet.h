#pragma once

// The "Vantor Settings" sheet the menu's "Options..." opens: the pages
// "General", "Buttons", "About" and "Skins" over OK and Cancel, modal.
//
// `UserSettings::Edit` gives it what the pages show before each opening
// and, after OK, takes the general values; the window loads the chosen skin
// (with its fall-back) and saves every setting. The Buttons page works on
// the window's function table directly, so bindings changed there hold
// even after Cancel; they are saved only after OK, with the rest.
//
// The sheet takes the window's palette (and font, unless given one) and
// covers the window, as the handheld's full-screen sheet did.
//
// Threads: the window's thread only.

#include <QDialog>
#include <QImage>
#include <optional>
#include <string>

#include "session/RegistryStore.h"
#include "ui/keys/FunctionTable.h"
#include "ui/window/Prompter.h"

class QDialogButtonBox;
class QStyle;
class QTabWidget;

namespace vantor::ui {

class AboutPage;
class ButtonsPage;
class GeneralPage;
class SkinsPage;

inline constexpr const char* kSettingsTitle = "Vantor Settings";

class SettingsSheet final : public QDialog {
public:
    // `functions` and `prompter` outlive the sheet; `shellKeys` names the
    // application buttons (null: none are named).
    SettingsSheet(FunctionTable& functions, Prompter& prompter, const RegistryStore* shellKeys,
                  QWidget* parent = nullptr);
    ~SettingsSheet() override;

    // What the pages show; each is read when the sheet opens.
    void SetGeneral(bool autoConnect, bool nowPlayingOnIdle);
    void SetServerVersion(const std::string& version);  // empty: not known
    // The install folder (ending in "/") and the skin in use.
    void SetSkins(const std::string& installDir, const std::string& currentSkinPath);
    void SetProductIcon(const QImage& icon);

    // Fills the pages (Run does it first; a test may show the sheet
    // without running it).
    void Prepare();
    // Shows the sheet modally; true when it was closed with OK.
    bool Run();

    // After OK: the general values as the user left them (before: as given).
    bool AutoConnect() const;
    bool NowPlayingOnIdle() const;
    // The skin the user chose when it is not the one in use, to be loaded.
    std::optional<std::string> NewSkin() const;

    QTabWidget* Tabs() const { return tabs_; }
    GeneralPage& General() const { return *general_; }
    ButtonsPage& Buttons() const { return *buttons_; }
    AboutPage& About() const { return *about_; }
    SkinsPage& Skins() const { return *skins_; }
    QDialogButtonBox* ButtonBox() const { return buttonBox_; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void FitToFont();

    std::string installDir_;
    std::string currentSkinPath_;
    QTabWidget* tabs_;
    GeneralPage* general_;
    ButtonsPage* buttons_;
    AboutPage* about_;
    SkinsPage* skins_;
    QDialogButtonBox* buttonBox_;
    QStyle* style_ = nullptr;  // owned by the sheet as its child
};

}  // namespace vantor::ui
