#include "ui/settings/GeneralPage.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>

namespace vantor::ui {

namespace {

// A check box's text that wraps, as the handheld's did, so a long label
// fits a narrow screen at a large font; a tap on it toggles the box.
class BoxLabel final : public QLabel {
public:
    BoxLabel(const QString& text, QCheckBox* box, QWidget* parent)
        : QLabel(text, parent), box_(box) {
        setWordWrap(true);
        setTextFormat(Qt::PlainText);
        setBuddy(box);
    }

protected:
    void mouseReleaseEvent(QMouseEvent* event) override {
        if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint()) &&
            box_->isEnabled()) {
            box_->toggle();
        }
        QLabel::mouseReleaseEvent(event);
    }

private:
    QCheckBox* box_;
};

QCheckBox* AddBox(QGridLayout* layout, int row, const char* text, QWidget* page) {
    auto* box = new QCheckBox(page);
    box->setAccessibleName(QString::fromLatin1(text));
    box->setToolTip(QString::fromLatin1(text));
    layout->addWidget(box, row, 0, Qt::AlignTop);
    layout->addWidget(new BoxLabel(QString::fromLatin1(text), box, page), row, 1);
    return box;
}

}  // namespace

GeneralPage::GeneralPage(QWidget* parent) : QWidget(parent) {
    auto* layout = new QGridLayout(this);
    layout->setColumnStretch(1, 1);
    autoConnectBox_ = AddBox(layout, 0, kAutoConnectLabel, this);
    nowPlayingOnIdleBox_ = AddBox(layout, 1, kNowPlayingOnIdleLabel, this);
    layout->setRowStretch(2, 1);
}

void GeneralPage::SetValues(bool autoConnect, bool nowPlayingOnIdle) {
    autoConnect_ = autoConnect;
    nowPlayingOnIdle_ = nowPlayingOnIdle;
}

void GeneralPage::ShowValues() {
    autoConnectBox_->setChecked(autoConnect_);
    nowPlayingOnIdleBox_->setChecked(nowPlayingOnIdle_);
}

void GeneralPage::TakeValues() {
    autoConnect_ = autoConnectBox_->isChecked();
    nowPlayingOnIdle_ = nowPlayingOnIdleBox_->isChecked();
}

}  // namespace vantor::ui
