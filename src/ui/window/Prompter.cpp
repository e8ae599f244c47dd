#include "ui/window/Prompter.h"

#include <QEvent>
#include <QLayout>
#include <QMessageBox>
#include <QString>
#include <algorithm>

#include "core/Logger.h"
#include "ui/view/QtText.h"

namespace vantor::ui {

namespace {

// A message box no wider than the window it belongs to: Qt sizes one for
// the desktop it is on (up to 500 pixels), which on a narrow window hangs
// over both edges, so its text is wrapped again to the window's width.
class FittedBox final : public QMessageBox {
public:
    FittedBox(Icon icon, const QString& caption, const QString& text, StandardButtons buttons,
              QWidget* parent)
        : QMessageBox(icon, caption, text, buttons, parent) {}

protected:
    // Qt sizes the box again on every layout request, so it is fitted
    // after each.
    bool event(QEvent* event) override {
        const bool handled = QMessageBox::event(event);
        if (event->type() == QEvent::LayoutRequest || event->type() == QEvent::Show) {
            Fit();
        }
        return handled;
    }

private:
    void Fit() {
        const QWidget* owner = parentWidget() != nullptr ? parentWidget()->window() : nullptr;
        if (owner == nullptr || width() <= owner->width() || layout() == nullptr) {
            return;
        }
        const int width = std::max(owner->width(), 1);
        const int height = layout()->hasHeightForWidth() ? layout()->totalHeightForWidth(width)
                                                         : layout()->totalSizeHint().height();
        setFixedSize(width, std::clamp(height, 1, std::max(owner->height(), 1)));
        move(owner->geometry().left(),
             owner->geometry().top() + std::max((owner->height() - this->height()) / 2, 0));
    }
};

}  // namespace

void MessageBoxPrompter::Style(QWidget& box) const {
    if (styled_) {
        box.setPalette(palette_);
        box.setFont(font_);
    }
}

void MessageBoxPrompter::Inform(const std::string& caption, const std::string& text,
                                PromptIcon icon) {
    FittedBox box(icon == PromptIcon::Warning ? QMessageBox::Warning : QMessageBox::Information,
                  Q(caption), Q(text), QMessageBox::Ok, parent_);
    Style(box);
    box.exec();
}

bool MessageBoxPrompter::AskYesNo(const std::string& caption, const std::string& text) {
    FittedBox box(QMessageBox::Question, Q(caption), Q(text), QMessageBox::Yes | QMessageBox::No,
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
