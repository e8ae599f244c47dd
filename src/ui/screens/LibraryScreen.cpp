#include "ui/screens/LibraryScreen.h"

#include <QEvent>
#include <QFocusEvent>
#include <QGuiApplication>
#include <QInputDevice>
#include <QInputMethod>
#include <QTimer>
#include <algorithm>

#include "ui/keys/KeyNames.h"

namespace vantor::ui {

namespace {

// Qt 6.4's Wayland platform crashes on any call of the input method while
// the compositor offers no seat (a headless one, a panel booting without
// its touch screen): there is no keyboard to ask for then.
bool InputPanelReachable() {
    return QGuiApplication::platformName() != QLatin1String("wayland") ||
           !QInputDevice::devices().isEmpty();
}

constexpr const char* kBackMark = "\u2039 ";

QRect ToQRect(const SkinRect& rect) {
    return QRect(rect.left, rect.top, SkinClamp(rect.Width()), SkinClamp(rect.Height()));
}

}  // namespace

LibraryScreen::LibraryScreen(QWidget* screen, PageFetcher& fetcher, RequestSink& requests,
                             PlayQueueList& queue, Hooks hooks)
    : fetcher_(fetcher),
      requests_(requests),
      queue_(queue),
      hooks_(std::move(hooks)),
      browser_(static_cast<LibraryView&>(*this), static_cast<LibraryFetcher&>(*this), requests),
      header_(new HeaderBarWidget(screen, [this](int button) { HeaderTapped(button); })),
      search_(new QLineEdit(screen)) {
    search_->setObjectName(QStringLiteral("Search Field"));
    // Named as its empty look says, whatever has been typed into it.
    search_->setAccessibleName(QString::fromLatin1(kSearchPlaceholder));
    search_->setFrame(false);
    // "Search" is the empty box's hint, never text: the first key typed
    // into the box is the first letter searched for.
    search_->setPlaceholderText(QString::fromLatin1(kSearchPlaceholder));
    search_->installEventFilter(&focusWatch_);
    QObject::connect(search_, &QLineEdit::textChanged, search_, [this](const QString& text) {
        if (mode_ != Mode::Library && !settingText_) {
            ShowMode(Mode::Library);
        }
        browser_.SearchTextChanged(text.toStdString());
        UpdateHeader();
    });
    // Qt's line edit asks for the on-screen keyboard on a click alone; the
    // box asks however it is given the focus (a key, or the screen itself),
    // but not when the focus merely comes back to it.
    focusWatch_.focusIn = [] {
        if (InputPanelReachable()) {
            QGuiApplication::inputMethod()->show();
        }
    };
    QInputMethod* input = QGuiApplication::inputMethod();
    // The keyboard's rectangle is read only when the platform says it
    // changed, and never without a seat (see InputPanelReachable).
    const auto keyboardMoved = [this] {
        const QInputMethod* method = QGuiApplication::inputMethod();
        keyboard_ =
            InputPanelReachable() && method->isVisible() ? method->keyboardRectangle() : QRectF();
        FitAboveKeyboard();
    };
    // The screen's own object carries the connections: the box outlives
    // the screen (the window deletes it later), and a platform may move its
    // keyboard while the window is taken down.
    QObject::connect(input, &QInputMethod::keyboardRectangleChanged, &focusWatch_, keyboardMoved);
    QObject::connect(input, &QInputMethod::visibleChanged, &focusWatch_, keyboardMoved);
    LibraryList::Handlers handlers;
    handlers.tapped = [this](int row) { Tapped(row); };
    handlers.activated = [this](int row) {
        // A double tap opens a folder (the tap did) and plays anything else.
        if (const wire::MediaItem* item = browser_.Item(row); item && !item->container) {
            // The row Enter was pressed on, which the keyboard made current
            // without selecting it.
            list_->SelectRow(row);
            browser_.Command(LibraryCommand::PlayNow);
        }
    };
    handlers.command = [this](LibraryCommand command) { browser_.Command(command); };
    handlers.menuOpen = hooks_.menuOpen;
    handlers.rowsWanted = [this] {
        const auto [first, last] = list_->RowsInView();
        if (first >= 0) {
            browser_.CacheHint(first, last);
        }
    };
    list_ = new LibraryList(screen, browser_, std::move(handlers));
    retry_ = new QTimer(list_);
    retry_->setSingleShot(true);
    QObject::connect(retry_, &QTimer::timeout, list_, [this] { browser_.RetryDue(); });
    SetShown(false);
    UpdateHeader();
}

LibraryScreen::~LibraryScreen() = default;

bool LibraryScreen::FocusWatch::eventFilter(QObject* watched, QEvent* event) {
    // The focus coming back to the box (a popup menu closed, the window
    // active again) is nobody asking for the keyboard: one the user put
    // down stays down.
    if (event->type() == QEvent::FocusIn && focusIn) {
        const Qt::FocusReason reason = static_cast<const QFocusEvent*>(event)->reason();
        if (reason != Qt::PopupFocusReason && reason != Qt::ActiveWindowFocusReason) {
            focusIn();
        }
    }
    return QObject::eventFilter(watched, event);
}

void LibraryScreen::Place(const CSkin& skin, QSize screen, const QFont& fallback) {
    header_->Place(skin, screen, fallback);
    const SkinWinComponent* field = skin.FindWinComponent("playlist.search");
    search_->setGeometry(field ? ToQRect(field->Place(screen.width(), screen.height())) : QRect());
    const SkinFont* font = skin.FindFont("medialib");
    search_->setFont(font ? font->font : fallback);
    QPalette colours = search_->palette();
    const QColor back =
        field && field->backColor ? field->backColor->ToQColor() : QColor(Qt::white);
    text_ = field && field->foreColor ? field->foreColor->ToQColor() : QColor(Qt::black);
    muted_ = text_;
    muted_.setAlpha(140);
    colours.setColor(QPalette::Base, back);
    colours.setColor(QPalette::Window, back);
    colours.setColor(QPalette::Text, text_);
    colours.setColor(QPalette::PlaceholderText, muted_);
    colours.setColor(QPalette::Highlight,
                     field && field->selectColor ? field->selectColor->ToQColor() : text_);
    colours.setColor(QPalette::HighlightedText, back);
    search_->setPalette(colours);

    const SkinWinComponent* library = skin.FindWinComponent("medialib.tagview");
    skinListArea_ = library ? ToQRect(library->Place(screen.width(), screen.height())) : QRect();
    skin_ = &skin;
    fallback_ = fallback;
    FitAboveKeyboard(true);
}

QRect LibraryScreen::ListArea() const {
    // While the on-screen keyboard is up, the list ends where it begins, so
    // the rows being searched stay in sight above it. The keyboard's
    // rectangle is in the window's coordinates.
    QRect area = skinListArea_;
    if (!shown_ || keyboard_.isEmpty() || area.isEmpty()) {
        return area;
    }
    const int top = static_cast<int>(keyboard_.top()) -
                    search_->parentWidget()->mapTo(search_->window(), QPoint()).y();
    if (top < area.bottom() + 1) {
        area.setBottom(std::max(top, area.top()) - 1);
    }
    return area;
}

void LibraryScreen::FitAboveKeyboard(bool placed) {
    const QRect area = ListArea();
    if (!placed && area == listArea_) {
        return;
    }
    listArea_ = area;
    queueArea_ = area;
    if (skin_ != nullptr) {
        list_->Place(*skin_, "medialib.tagview", "medialib", listArea_, fallback_);
    }
    if (shown_ && mode_ == Mode::Queue) {
        queue_.setGeometry(queueArea_);
    }
}

void LibraryScreen::SetShown(bool shown) {
    if (!shown && shown_) {
        // Leaving the screen puts the on-screen keyboard down, as the
        // handheld did with its input panel.
        if (InputPanelReachable()) {
            QGuiApplication::inputMethod()->hide();
        }
    }
    shown_ = shown;
    if (shown) {
        // A keyboard already up (another field's, or raised by the user)
        // covers the lists as much as one the box asked for.
        FitAboveKeyboard();
    }
    header_->setVisible(shown);
    search_->setVisible(shown);
    search_->setEnabled(shown);
    list_->SetShown(shown && mode_ == Mode::Library);
    if (mode_ == Mode::Queue) {
        queue_.setVisible(shown);
        queue_.setEnabled(shown);
        if (shown) {
            queue_.setGeometry(queueArea_);
        }
    }
}

void LibraryScreen::Entered() {
    browser_.Show();
    UpdateHeader();
}

bool LibraryScreen::OwnKeyUp(std::int32_t vk) {
    switch (vk) {
        case kVkReturn:
        case kVkCenter:
        case kVkRight:
            OpenSelected();
            return true;
        case kVkLeft:
            Back();
            return true;
        case kVkUp:
        case kVkDown:
            SelectFirstAndFocus();
            return true;
        default:
            return false;
    }
}

void LibraryScreen::ShowMode(Mode mode) {
    mode_ = mode;
    if (!shown_) {
        UpdateHeader();
        return;
    }
    list_->SetShown(mode == Mode::Library);
    queue_.setVisible(mode == Mode::Queue);
    queue_.setEnabled(mode == Mode::Queue);
    if (mode == Mode::Queue) {
        queue_.setGeometry(queueArea_);
        queue_.raise();
    }
    UpdateHeader();
}

void LibraryScreen::UpdateHeader() {
    const std::string library = (browser_.HistoryDepth() > 0 ? kBackMark : "") + title_;
    header_->SetButtons({library, kQueueTab}, mode_ == Mode::Library ? 0 : 1);
}

void LibraryScreen::HeaderTapped(int button) {
    if (button == 1) {
        ShowMode(Mode::Queue);
        return;
    }
    // The library's tab goes back a list when there is one to go back to,
    // and otherwise shows the library.
    if (mode_ == Mode::Library) {
        Back();
    } else {
        ShowMode(Mode::Library);
    }
}

void LibraryScreen::Tapped(int row) {
    if (browser_.Open(row)) {
        list_->SetJumpLabels({});
        UpdateHeader();
    }
}

bool LibraryScreen::Back() {
    if (mode_ == Mode::Queue) {
        ShowMode(Mode::Library);
        return true;
    }
    const bool back = browser_.Back();
    if (back) {
        list_->SetJumpLabels({});
        UpdateHeader();
    }
    return back;
}

void LibraryScreen::OpenSelected() {
    if (mode_ == Mode::Queue) {
        queue_.PlaySelected();
        return;
    }
    const int row = list_->SelectedRow();
    if (row >= 0) {
        Tapped(row);
    }
}

void LibraryScreen::SelectFirstAndFocus() {
    QListView* list = mode_ == Mode::Library ? static_cast<QListView*>(list_) : &queue_;
    if (!list->selectionModel()->hasSelection() && list->model()->rowCount() > 0) {
        list->setCurrentIndex(list->model()->index(0, 0));
    }
    list->setFocus();
}

bool LibraryScreen::SearchFocused() const {
    return search_->hasFocus();
}

void LibraryScreen::SearchTimerFired() {
    browser_.SearchTimerFired();
    UpdateHeader();
}

void LibraryScreen::Reset() {
    // An empty box is no search.
    retry_->stop();
    browser_.Reset();
    title_ = kLibraryRootTitle;
    ClearRows();
    mode_ = Mode::Library;
    SetBoxText(QString());
    UpdateHeader();
}

void LibraryScreen::Refresh() {
    QTimer::singleShot(0, list_, [this] {
        const auto [first, last] = list_->RowsInView();
        if (first >= 0) {
            browser_.CacheHint(first, last);
        }
    });
}

void LibraryScreen::LibraryChanged() {
    browser_.Changed();
    list_->RowsChanged();
}

// --- LibraryView ----------------------------------------------------------------------

void LibraryScreen::SetItemCount(int count, bool keepPlace) {
    list_->SetCount(count, keepPlace);
}

void LibraryScreen::ClearRows() {
    list_->SetCount(0);
    list_->SetJumpLabels({});
}

void LibraryScreen::EnsureVisible(int row) {
    list_->EnsureVisible(row);
}

void LibraryScreen::SelectRow(int row) {
    list_->SelectRow(row);
}

int LibraryScreen::SelectedRow() const {
    return list_->SelectedRow();
}

int LibraryScreen::TopRow() const {
    return list_->TopRow();
}

void LibraryScreen::SetHeaderTitle(const std::string& title) {
    title_ = title;
    UpdateHeader();
}

void LibraryScreen::SetSearchText(const std::string& text) {
    // "Search" back in the box is the empty box showing its hint.
    const QString wanted = text == kSearchPlaceholder ? QString() : QString::fromStdString(text);
    if (search_->text() == wanted) {
        // No change for the box to report; the browser expects one.
        browser_.SearchTextChanged(text);
    } else {
        SetBoxText(wanted);
    }
}

void LibraryScreen::SetBoxText(const QString& text) {
    settingText_ = true;
    search_->setText(text);
    settingText_ = false;
}

void LibraryScreen::StartSearchTimer() {
    if (hooks_.searchTimer) {
        hooks_.searchTimer(true);
    }
}

void LibraryScreen::StopSearchTimer() {
    if (hooks_.searchTimer) {
        hooks_.searchTimer(false);
    }
}

void LibraryScreen::StartRetryTimer(std::chrono::milliseconds pause) {
    retry_->start(pause);
}

// --- LibraryFetcher ------------------------------------------------------------------------

void LibraryScreen::PagesArrived(int first, int count) {
    list_->RowsArrived(first, count);
    std::vector<std::pair<QString, int>> labels;
    for (const auto& [label, row] : browser_.JumpLabels()) {
        labels.emplace_back(QString::fromStdString(label), row);
    }
    list_->SetJumpLabels(std::move(labels));
    UpdateHeader();
}

void LibraryScreen::Fetching(int change) {
    fetching_ += change;
    list_->SetLoading(fetching_ > 0);
}

void LibraryScreen::FetchFolder(const std::string& path, int start, int count, bool withTotal) {
    Fetching(+1);
    fetcher_.FetchFolder(path, start, count, withTotal,
                         [this, path, start, epoch = browser_.FolderEpoch()](
                             std::shared_ptr<const wire::MediaList> page) {
                             Fetching(-1);
                             const int items = page ? static_cast<int>(page->items.size()) : 0;
                             browser_.OnFolderPage(path, epoch, start, std::move(page));
                             PagesArrived(start, items);
                         });
}

void LibraryScreen::Search(const std::string& text, int start, int count) {
    Fetching(+1);
    fetcher_.Search(text, start, count, [this, text](std::shared_ptr<const wire::MediaList> page) {
        Fetching(-1);
        const int items = page ? static_cast<int>(page->items.size()) : 0;
        browser_.OnSearchPage(text, std::move(page));
        PagesArrived(0, items);
    });
}

}  // namespace vantor::ui
