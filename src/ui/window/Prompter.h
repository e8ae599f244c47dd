#pragma once

// Message boxes, behind an interface so that tests answer them. Every box
// the user sees goes through a Prompter: the texts and captions are fixed
// by the callers.
//
// Threads: the window's thread only. A worker that needs an answer asks the
// window to ask (CMainFrame::AskOnWindowThread).

#include <QFont>
#include <QPalette>
#include <string>

class QWidget;

namespace vantor::ui {

// The first start's welcome box (the tour tells it from the others by its
// caption).
inline constexpr const char* kWelcomeCaption = "Welcome!";
inline constexpr const char* kWelcomeText =
    "Welcome to Vantor! Since this appears to be the first time you have configured this "
    "remote, you will now be taken to the Settings screen to choose the media player you'd like "
    "Vantor to control.";

enum class PromptIcon { Information, Warning };

class Prompter {
public:
    virtual ~Prompter() = default;
    // A box with an OK button; returns when it is closed.
    virtual void Inform(const std::string& caption, const std::string& text,
                        PromptIcon icon = PromptIcon::Information) = 0;
    // A box with Yes and No; true for Yes.
    virtual bool AskYesNo(const std::string& caption, const std::string& text) = 0;
    // The window's colours and font, for boxes that look like its own. A
    // prompter that shows nothing has no use for them.
    virtual void SetLook(const QPalette& palette, const QFont& font) {
        (void)palette;
        (void)font;
    }
};

// Modal QMessageBox over the given window.
class MessageBoxPrompter final : public Prompter {
public:
    explicit MessageBoxPrompter(QWidget* parent) : parent_(parent) {}
    void SetLook(const QPalette& palette, const QFont& font) override {
        palette_ = palette;
        font_ = font;
        styled_ = true;
    }
    void Inform(const std::string& caption, const std::string& text, PromptIcon icon) override;
    bool AskYesNo(const std::string& caption, const std::string& text) override;

private:
    void Style(QWidget& box) const;

    QWidget* parent_;
    QPalette palette_;
    QFont font_;
    bool styled_ = false;
};

// Answers without showing anything, and logs what it was asked: for runs
// with nobody at the screen (the tour). Says No to every question.
class UnattendedPrompter final : public Prompter {
public:
    void Inform(const std::string& caption, const std::string& text, PromptIcon icon) override;
    bool AskYesNo(const std::string& caption, const std::string& text) override;
};

}  // namespace vantor::ui
