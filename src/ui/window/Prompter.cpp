#include "ui/window/Prompter.h"

#include <QMessageBox>
#include <QString>

#include "core/Logger.h"
#include "ui/view/QtText.h"

namespace vantor::ui {

void MessageBoxPrompter::Style(QWidget& box) const {
    if (styled_) {
        box.setPalette(palette_);
        box.setFont(font_);
    }
}

void MessageBoxPrompter::Inform(const std::string& caption, const std::string& text,
                                PromptIcon icon) {
    QMessageBox box(icon == PromptIcon::Warning ? QMessageBox::Warning : QMessageBox::Information,
                    Q(caption), Q(text), QMessageBox::Ok, parent_);
    Style(box);
    box.exec();
}

bool MessageBoxPrompter::AskYesNo(const std::string& caption, const std::string& text) {
    QMessageBox box(QMessageBox::Question, Q(caption), Q(text), QMessageBox::Yes | QMessageBox::No,
                    parent_);
    Style(box);
    return box.exec() == QMessageBox::Yes;
}

void UnattendedPrompter::Inform(const std::string& caption, const std::string& text,
                                PromptIcon /*icon*/) {
    Log(kLogError, "%s: %s", caption.c_str(), text.c_str());
}

bool UnattendedPrompter::AskYesNo(const std::string& caption, const std::string& text) {
    Log(kLogError, "%s: %s (answered No: nobody is at the screen)", caption.c_str(), text.c_str());
    return false;
}

}  // namespace vantor::ui
