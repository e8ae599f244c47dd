#include "ui/window/Tour.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QMessageBox>
#include <QPixmap>
#include <QPushButton>
#include <QTabWidget>
#include <cstdio>

#include "ui/lists/LibraryList.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/screens/EqScreen.h"
#include "ui/settings/SettingsSheet.h"
#include "ui/view/ScreenView.h"

namespace vantor::ui {

namespace {

constexpr std::chrono::milliseconds kStep{50};

}  // namespace

void TourPrompter::Inform(const std::string& caption, const std::string& text, PromptIcon icon) {
    if (caption == kWelcomeCaption) {
        shown_.Inform(caption, text, icon);
    } else {
        unseen_.Inform(caption, text, icon);
    }
}

bool TourPrompter::AskYesNo(const std::string& caption, const std::string& text) {
    return unseen_.AskYesNo(caption, text);
}

void TourPrompter::SetLook(const QPalette& palette, const QFont& font) {
    shown_.SetLook(palette, font);
}

Tour::Tour(TourHost host, QString folder, std::chrono::milliseconds sessionTimeout)
    : host_(std::move(host)), folder_(std::move(folder)), sessionTimeout_(sessionTimeout) {
    timer_.setInterval(kStep);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { Step(); });
    // The session's own screen comes first, once the song and the queue
    // are there to be seen.
    stops_.push_back(Stop{std::string(kScreenMain), nullptr, [this] {
                              return host_.screen() == kScreenMain &&
                                     !host_.view.Content().songTitle.empty() &&
                                     host_.queue.RowCount() > 0;
                          }});
    stops_.push_back(Stop{
        std::string(kScreenNowPlaying), [this] { host_.command(WindowCommand::NowPlaying); },
        [this] {
            return host_.screen() == kScreenNowPlaying && !host_.view.Content().albumArt.isNull();
        }});
    stops_.push_back(
        Stop{std::string(kScreenPlaylist), [this] { host_.command(WindowCommand::Library); },
             [this] {
                 // Once the first row's page has come, not just the count.
                 return host_.screen() == kScreenPlaylist && host_.library.Count() > 0 &&
                        !host_.library.model()->index(0, 0).data().toString().isEmpty();
             }});
    stops_.push_back(
        Stop{std::string(kScreenEq), [this] { host_.command(WindowCommand::Equalizer); },
             [this] { return host_.screen() == kScreenEq && !host_.equalizer.Presets().empty(); },
             std::chrono::milliseconds(3000), [this] { return host_.player().supportsEq; }});

    // The settings sheet, a page at a time. The sheet runs modally inside
    // the command that opens it; the tour's timer goes on in its loop.
    const auto sheet = [] {
        return dynamic_cast<SettingsSheet*>(QApplication::activeModalWidget());
    };
    const char* pages[] = {"general", "buttons", "about", "skins"};
    for (int page = 0; page < 4; ++page) {
        Stop stop{"settings-" + std::string(pages[page]),
                  [this, sheet, page] {
                      if (page == 0) {
                          // From the loop, not this timer's step: Qt holds a
                          // timer back while its own step runs.
                          QTimer::singleShot(0, &host_.window,
                                             [this] { host_.command(WindowCommand::Options); });
                      } else if (sheet() != nullptr) {
                          sheet()->Tabs()->setCurrentIndex(page);
                      }
                  },
                  [sheet, page] {
                      return sheet() != nullptr && sheet()->isVisible() &&
                             sheet()->Tabs()->currentIndex() == page;
                  }};
        if (page == 3) {
            stop.after = [sheet] {
                if (sheet() != nullptr) {
                    sheet()->reject();
                }
            };
        }
        stops_.push_back(std::move(stop));
    }
}

void Tour::Start() {
    if (!QDir().mkpath(folder_)) {
        Finish(1, "cannot make the folder " + folder_.toStdString());
        return;
    }
    started_ = std::chrono::steady_clock::now();
    // The connect screen is pictured as the program starts, before the
    // automatic connection has left it.
    if (!Capture(std::string(kScreenConnect))) {
        return;
    }
    timer_.start();
}

void Tour::Step() {
    const auto now = std::chrono::steady_clock::now();
    if (next_ == 0 && host_.screen() != kScreenMain) {
        if (FirstStartStep()) {
            return;
        }
        if (now - started_ > sessionTimeout_) {
            Finish(1, "no session with the server within " +
                          std::to_string(sessionTimeout_.count() / 1000) + " s");
        }
        return;
    }
    if (next_ >= stops_.size()) {
        Finish(0);
        return;
    }
    Stop& stop = stops_[next_];
    if (stop.wanted && !stop.wanted()) {
        ++next_;
        return;
    }
    if (!arrived_) {
        arrived_ = true;
        stopStarted_ = now;
        if (stop.go) {
            stop.go();
        }
        return;
    }
    if (!stop.ready() && now - stopStarted_ < stop.patience) {
        return;
    }
    if (!Capture(stop.screen)) {
        return;
    }
    ++next_;
    arrived_ = false;
    if (stop.after) {
        stop.after();
    }
}

bool Tour::FirstStartStep() {
    // Both run modally inside the window's own calls; this timer goes on in
    // their loops, and a click on OK ends them as the user's would.
    QWidget* modal = QApplication::activeModalWidget();
    if (auto* box = qobject_cast<QMessageBox*>(modal); box != nullptr && box->isVisible()) {
        if (Capture("welcome")) {
            box->button(QMessageBox::Ok)->click();
        }
        return true;
    }
    if (auto* sheet = dynamic_cast<SettingsSheet*>(modal);
        sheet != nullptr && sheet->isVisible() && !configured_) {
        if (Capture("first-start-settings")) {
            configured_ = true;
            connectPending_ = true;
            sheet->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
        }
        return true;
    }
    if (connectPending_ && modal == nullptr && host_.screen() == kScreenConnect) {
        connectPending_ = false;
        host_.command(WindowCommand::Connect);
        return true;
    }
    return false;
}

bool Tour::Capture(const std::string& screen) {
    const QString file =
        folder_ + QLatin1Char('/') + QString::fromStdString(screen) + QStringLiteral(".png");
    // A dialog over the window is what the user sees.
    QWidget* shown = QApplication::activeModalWidget();
    if (!(shown != nullptr ? shown : &host_.window)->grab().save(file, "PNG")) {
        Finish(1, "cannot write " + file.toStdString());
        return false;
    }
    std::printf("vantor: wrote %s\n", file.toUtf8().constData());
    std::fflush(stdout);
    return true;
}

void Tour::Finish(int code, const std::string& message) {
    timer_.stop();
    if (!message.empty()) {
        std::fprintf(stderr, "vantor --tour: %s\n", message.c_str());
    }
    // The program ends through the Exit command, which saves and stops the
    // threads, with the tour's result.
    host_.command(WindowCommand::Exit);
    QCoreApplication::exit(code);
}

}  // namespace vantor::ui
