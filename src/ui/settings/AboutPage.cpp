#include "ui/settings/AboutPage.h"

#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>

#include "session/Settings.h"

namespace vantor::ui {

AboutPage::AboutPage(QWidget* parent)
    : QWidget(parent),
      icon_(new QLabel(this)),
      productVersion_(new QLabel(this)),
      clientVersion_(new QLabel(this)) {
    for (QLabel* text : {productVersion_, clientVersion_}) {
        text->setTextFormat(Qt::PlainText);
        text->setWordWrap(true);
    }
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(icon_);
    layout->addWidget(productVersion_);
    layout->addWidget(clientVersion_);
    layout->addStretch(1);
}

void AboutPage::SetIcon(const QImage& icon) {
    QImage pixels = icon;
    pixels.setDevicePixelRatio(1.0);
    icon_->setPixmap(QPixmap::fromImage(pixels));
}

void AboutPage::ShowTexts() {
    productVersion_->setText(serverVersion_.empty() ? QStringLiteral("Vantor")
                                                    : QStringLiteral("Vantor Version ") +
                                                          QString::fromStdString(serverVersion_));
    clientVersion_->setText(QStringLiteral("Client Version ") +
                            QString::fromLatin1(kClientVersion));
}

QString AboutPage::ProductVersionText() const {
    return productVersion_->text();
}

QString AboutPage::ClientVersionText() const {
    return clientVersion_->text();
}

}  // namespace vantor::ui
