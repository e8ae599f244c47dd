#pragma once

// The list screen ("playlist"): the tab row, the search box, and below them
// either the media library (folders to open, search results) or the play
// queue. The library's rules (paths, history, the search box, the item
// commands) are the media layer's LibraryBrowser; this is its face.
//
// The tab row holds the library's title (with "‹" in front while there is
// a list to go back to: a tap goes back) and "Queue". Typing in the search
// box searches the library; the box asks for the on-screen keyboard as it
// takes the focus, the list ends above the keyboard while it shows, and
// leaving the screen puts the keyboard down.
//
// Threads: the window's thread only.

#include <QLineEdit>
#include <QTimer>
#include <QWidget>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "media/LibraryBrowser.h"
#include "skin/CSkin.h"
#include "ui/lists/LibraryList.h"
#include "ui/lists/PlayQueueList.h"
#include "ui/remote/PageFetcher.h"
#include "ui/screens/HeaderBarWidget.h"
#include "ui/screens/Screens.h"

namespace vantor::ui {

inline constexpr const char* kQueueTab = "Queue";

class LibraryScreen final : public Screen, private LibraryView, private LibraryFetcher {
public:
    struct Hooks {
        std::function<void(bool start)> searchTimer;  // timer 105: start (1500 ms) or stop
        std::function<void(bool open)> menuOpen;      // a row's menu opens and closes
    };
    enum class Mode { Library, Queue };

    LibraryScreen(QWidget* screen, PageFetcher& fetcher, RequestSink& requests,
                  PlayQueueList& queue, Hooks hooks);
    ~LibraryScreen() override;

    // Screen
    ScreenId Id() const override { return ScreenId::Library; }
    QString CommandLabel() const override { return QStringLiteral("Controls"); }
    WindowCommand Command() const override { return WindowCommand::Controls; }
    void Open() override { SetShown(true); }
    void Close() override { SetShown(false); }
    // The library's root the first time.
    void Entered() override;
    void Place(const CSkin& skin, QSize screen, const QFont& fallback) override;
    // Enter, Center and Right open the selected entry, Left goes back, Up
    // and Down bring the list into play; while the search field has the
    // focus every key is the field's.
    bool Typing() const override { return SearchFocused(); }
    bool OwnKeyUp(std::int32_t vk) override;

    void SetShown(bool shown);
    void ShowMode(Mode mode);

    void SearchTimerFired();
    // The screen's keys: back, open the selected row, select the first.
    bool Back();
    void OpenSelected();
    void SelectFirstAndFocus();
    bool SearchFocused() const;
    // The session ended: the box empty (showing "Search"), the lists
    // forgotten.
    void Reset();
    // The session came back: rows whose pages were lost are asked again.
    void Refresh();
    // The server's library changed: the folder shown is read again.
    void LibraryChanged();

    const LibraryBrowser& Browser() const { return browser_; }
    LibraryList& List() { return *list_; }
    QLineEdit& SearchField() { return *search_; }
    HeaderBarWidget& Header() { return *header_; }

private:
    // LibraryView
    void SetItemCount(int count, bool keepPlace) override;
    void ClearRows() override;
    void EnsureVisible(int row) override;
    void SelectRow(int row) override;
    int SelectedRow() const override;
    int TopRow() const override;
    void SetHeaderTitle(const std::string& title) override;
    void SetSearchText(const std::string& text) override;
    void StartSearchTimer() override;
    void StopSearchTimer() override;
    void StartRetryTimer(std::chrono::milliseconds pause) override;
    // LibraryFetcher
    void FetchFolder(const std::string& path, int start, int count, bool withTotal) override;
    void Search(const std::string& text, int start, int count) override;

    void Tapped(int row);
    void HeaderTapped(int button);
    void UpdateHeader();
    void PagesArrived(int first, int count);
    void Fetching(int change);             // a fetch went out (+1) or came back (-1)
    void SetBoxText(const QString& text);  // the program's change, not the user's
    // Where the lists go: the skin's place, ending above the on-screen
    // keyboard while it shows; `placed` lays them out even when unchanged.
    QRect ListArea() const;
    void FitAboveKeyboard(bool placed = false);

    struct FocusWatch final : QObject {
        bool eventFilter(QObject* watched, QEvent* event) override;
        std::function<void()> focusIn;
    };

    PageFetcher& fetcher_;
    RequestSink& requests_;
    PlayQueueList& queue_;
    Hooks hooks_;
    // The list reads its rows from the browser, so it lives as long as the
    // screen; a disconnect resets it.
    LibraryBrowser browser_;
    HeaderBarWidget* header_;
    QLineEdit* search_;
    LibraryList* list_;
    QTimer* retry_;  // a failed page's pause
    FocusWatch focusWatch_;
    Mode mode_ = Mode::Library;
    bool shown_ = false;
    int fetching_ = 0;  // the library's fetches on their way
    bool settingText_ = false;
    std::string title_ = kLibraryRootTitle;
    const CSkin* skin_ = nullptr;  // as last placed: the frame's, which outlives the screen
    QFont fallback_;
    QRect skinListArea_;
    QRectF keyboard_;  // the on-screen keyboard while it shows, in the window
    QRect listArea_;
    QRect queueArea_;
    QColor text_;
    QColor muted_;
};

}  // namespace vantor::ui
