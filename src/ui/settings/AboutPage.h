#pragma once

// The settings sheet's "About" page: the product icon, the version of the
// server the remote is connected to ("Vantor" alone when none is known)
// and the client's own version.
//
// Threads: the window's thread only.

#include <QImage>
#include <QWidget>
#include <string>

class QLabel;

namespace vantor::ui {

class AboutPage final : public QWidget {
public:
    explicit AboutPage(QWidget* parent = nullptr);

    // The server's product version; empty when none is known.
    void SetServerVersion(std::string version) { serverVersion_ = std::move(version); }
    // Drawn pixel for pixel, like the window's own icon.
    void SetIcon(const QImage& icon);

    // Writes the version texts (each time the sheet opens).
    void ShowTexts();

    QString ProductVersionText() const;
    QString ClientVersionText() const;

private:
    std::string serverVersion_;
    QLabel* icon_;
    QLabel* productVersion_;
    QLabel* clientVersion_;
};

}  // namespace vantor::ui
