#include "media/LibraryBrowser.h"

#include "core/Text.h"
#include "protocol/Messages.h"

namespace vantor {

namespace {

using wire::MediaItemType;

std::string EscapeTitle(const std::string& title) {
    std::string escaped;
    for (const char c : title) {
        escaped += c == '/' ? std::string("%2F") : std::string(1, c);
    }
    return escaped;
}

std::string CollapseSlashes(std::string path) {
    for (std::size_t at; (at = path.find("//")) != std::string::npos;) {
        path.replace(at, 2, "/");
    }
    return path;
}

// The last name of a path, as a header.
std::string Title(const std::string& path) {
    std::string trimmed = path;
    while (trimmed.size() > 1 && trimmed.back() == '/') {
        trimmed.pop_back();
    }
    const std::size_t slash = trimmed.find_last_of('/');
    std::string name = slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
    for (std::size_t at; (at = name.find("%2F")) != std::string::npos;) {
        name.replace(at, 3, "/");
    }
    return name;
}

}  // namespace

int LibraryIcon(const wire::MediaItem& item) {
    switch (item.type) {
        case MediaItemType::PLAYLIST:
            return 9;
        case MediaItemType::GENRE:
            return 4;
        case MediaItemType::ARTIST:
        case MediaItemType::TV_SERIES:
            return 5;
        case MediaItemType::ALBUM:
            return 6;
        case MediaItemType::PODCAST_SHOW:
            return 8;
        case MediaItemType::PLAYLIST_FOLDER:
        case MediaItemType::RADIO_FOLDER:
            return 10;
        case MediaItemType::INFO:
            return 11;
        case MediaItemType::FOLDER: {
            // In this order; the first that matches wins.
            const std::string& title = item.title;
            if (title == "Music")
                return 0;
            if (title == "Radio")
                return 8;
            if (title.find("Video") != std::string::npos)
                return 1;
            if (title == "TV")
                return 2;
            if (title == "Pictures")
                return 3;
            if (title == "Artists")
                return 5;
            if (title == "Albums")
                return 6;
            if (title == "Genres")
                return 4;
            if (title == "Songs")
                return 7;
            if (title == "Podcasts")
                return 8;
            if (title == "Playlists")
                return 9;
            return -1;
        }
        default:
            return 7;
    }
}

std::string LibraryItemPath(const wire::MediaItem& item, const std::string& currentPath,
                            bool searchMode) {
    const std::string title = EscapeTitle(item.title);
    std::string path;
    if (searchMode) {
        std::string prefix = "/Music/";
        switch (item.type) {
            case MediaItemType::GENRE:
                prefix += "Genres/";
                break;
            case MediaItemType::ARTIST:
                prefix += "Artists/";
                break;
            case MediaItemType::ALBUM:
                prefix += "Albums/";
                break;
            case MediaItemType::PLAYLIST_FOLDER:
                prefix += "Playlists/";
                break;
            case MediaItemType::RADIO_FOLDER:
                prefix += "Radio/";
                break;
            case MediaItemType::PODCAST_SHOW:
                prefix = "/Podcasts/";
                break;
            default:
                break;
        }
        path = prefix + title;
    } else if (item.container) {
        path = currentPath + "/" + title;
    } else {
        path = currentPath + "/" + std::to_string(item.mediaId);
    }
    return CollapseSlashes(path);
}

LibraryBrowser::LibraryBrowser(LibraryView& view, LibraryFetcher& fetcher, RequestSink& requests)
    : view_(view), fetcher_(fetcher), requests_(requests) {}

void LibraryBrowser::Reset() {
    rows_.Forget();
    history_.clear();
    path_.clear();
    searchText_.clear();
    searchCount_ = -1;
    searchWanted_ = false;
    searchSent_.reset();
    searchMode_ = false;
    suppressNextChange_ = false;
    pendingSelected_ = -1;
    pendingTop_ = -1;
}

void LibraryBrowser::Show() {
    if (!path_.empty()) {
        return;
    }
    path_ = "/";
    rows_.Open(0);
}

std::string LibraryBrowser::RowText(int row) const {
    const wire::MediaItem* item = rows_.Item(row);
    return item ? item->title : std::string();
}

int LibraryBrowser::RowIcon(int row) const {
    const wire::MediaItem* item = rows_.Item(row);
    return item ? LibraryIcon(*item) : -1;
}

std::vector<std::pair<std::string, int>> LibraryBrowser::JumpLabels() const {
    std::vector<std::pair<std::string, int>> labels;
    const PageCache<wire::MediaList>& pages = rows_.Pages();
    for (std::size_t slot = 0; slot < pages.Slots() && labels.empty(); ++slot) {
        if (const auto page = pages.Slot(slot); page && page->__isset.index) {
            for (const wire::MediaIndexEntry& entry : page->index) {
                labels.emplace_back(entry.label, entry.position);
            }
        }
    }
    return labels;
}

void LibraryBrowser::FetchPage(int start, bool withTotal) {
    fetcher_.FetchFolder(path_, start, kPageSize, withTotal);
}

void LibraryBrowser::SetRowCount(int count, bool sameList) {
    view_.SetItemCount(count, sameList);
}

void LibraryBrowser::StartRetryTimer(std::chrono::milliseconds pause) {
    view_.StartRetryTimer(pause);
}

void LibraryBrowser::CacheHint(int first, int last) {
    if (searchMode_) {
        return;  // search results are one page
    }
    rows_.Hint(first, last);
}

void LibraryBrowser::RetryDue() {
    if (!searchMode_) {
        rows_.RetryDue();
    }
}

void LibraryBrowser::Changed() {
    if (!searchMode_) {
        rows_.Changed();
    }
}

void LibraryBrowser::PushHistory() {
    history_.push_back(
        HistoryEntry{path_, view_.SelectedRow(), view_.TopRow(), searchMode_, searchText_});
}

bool LibraryBrowser::Open(int row) {
    const wire::MediaItem* item = rows_.Item(row);
    if (item == nullptr || !item->container) {
        return false;
    }
    const std::string path = LibraryItemPath(*item, path_, searchMode_);
    if (searchWanted_ && !searchMode_ && !history_.empty()) {
        // The search left before its results came was never shown: its
        // step back (to this very folder) goes with it.
        history_.pop_back();
    }
    PushHistory();
    path_ = path;
    searchMode_ = false;
    searchWanted_ = false;  // results still on their way are for a list left
    rows_.Open(0);
    return true;
}

bool LibraryBrowser::Back() {
    if (history_.empty()) {
        return false;
    }
    const HistoryEntry entry = history_.back();
    history_.pop_back();
    if (Searching() && !entry.searchMode) {
        suppressNextChange_ = true;
        view_.SetSearchText(kSearchPlaceholder);
    }
    searchWanted_ = false;
    path_ = entry.path;
    searchMode_ = entry.searchMode;
    searchText_ = entry.searchText;
    pendingSelected_ = entry.selectedRow;
    pendingTop_ = entry.topRow;
    if (searchMode_) {
        rows_.Forget();  // the results come again
        Search(-1);
    } else {
        rows_.Open(std::max(entry.topRow, 0));
    }
    return true;
}

void LibraryBrowser::Search(int count) {
    searchCount_ = count;
    searchWanted_ = true;
    SendSearch();
}

void LibraryBrowser::SendSearch() {
    if (searchSent_) {
        return;  // one at a time; its answer asks for this one
    }
    searchSent_ = std::pair(searchText_, searchCount_);
    fetcher_.Search(searchText_, 0, searchCount_);
}

void LibraryBrowser::SearchTextChanged(const std::string& text) {
    view_.StopSearchTimer();
    requests_.CancelRequests(MessageType::MediaSearchRequest);
    if (suppressNextChange_) {
        suppressNextChange_ = false;
        return;
    }
    if (text.empty()) {
        searchWanted_ = false;
        if (searchMode_) {
            view_.ClearRows();
        }
        return;
    }
    if (text == kSearchPlaceholder) {
        return;
    }
    int count = -1;
    if (Utf16Length(text) < 3) {  // characters, as the box counts them
        count = kShortSearchCount;
        view_.StartSearchTimer();
    }
    // One way back from a search, however many keys it took.
    if (!Searching()) {
        PushHistory();
    }
    searchText_ = text;
    Search(count);
}

void LibraryBrowser::SearchTimerFired() {
    view_.StopSearchTimer();
    if (searchText_.empty()) {
        if (searchMode_) {
            view_.ClearRows();
        }
        return;
    }
    if (searchText_ == kSearchPlaceholder) {
        return;
    }
    if (!Searching()) {
        PushHistory();
    }
    Search(-1);
}

bool LibraryBrowser::Command(LibraryCommand command) {
    const wire::MediaItem* item = rows_.Item(view_.SelectedRow());
    if (item == nullptr) {
        return false;
    }
    MediaSelector selector;
    if (item->container) {
        selector.libPath = LibraryItemPath(*item, path_, searchMode_);
    } else {
        selector.id = item->mediaId;
    }
    if (command == LibraryCommand::PlayNow) {
        auto request = std::make_unique<PlayMediaRequest>();
        request->selector = selector;
        requests_.Send(std::move(request));
    } else {
        auto request = std::make_unique<PlaylistAddRequest>();
        request->selector = selector;
        requests_.Send(std::move(request));
    }
    return true;
}

// The place kept for a list gone back to, once its rows are there.
void LibraryBrowser::Shown() {
    if (pendingTop_ >= 0) {
        view_.EnsureVisible(pendingTop_);
        pendingTop_ = -1;
    }
    if (pendingSelected_ >= 0) {
        view_.SelectRow(pendingSelected_);
        pendingSelected_ = -1;
    }
}

void LibraryBrowser::OnFolderPage(const std::string& path, int epoch, int start,
                                  std::shared_ptr<const wire::MediaList> page) {
    if (path != path_ || searchMode_) {
        return;  // an answer for a list no longer shown
    }
    if (rows_.Answer(epoch, start, std::move(page))) {
        view_.SetHeaderTitle(path_ == "/" ? kLibraryRootTitle : Title(path_));
        if (rows_.Count() >= 0) {
            Shown();
        }
    }
}

void LibraryBrowser::OnSearchPage(const std::string& text,
                                  std::shared_ptr<const wire::MediaList> page) {
    if (!searchSent_ || searchSent_->first != text) {
        return;  // asked for before the browser was reset
    }
    const std::pair<std::string, int> sent = *searchSent_;
    searchSent_.reset();
    if (!searchWanted_) {
        return;  // the user opened a folder or went back meanwhile
    }
    if (sent != std::pair(searchText_, searchCount_)) {
        // The box moved on while this search was under way: ask for what it
        // says now.
        SendSearch();
        return;
    }
    if (!page) {
        searchWanted_ = false;
        return;
    }
    searchWanted_ = false;
    path_ = "/Music/Search/" + text;
    searchMode_ = true;
    view_.SetHeaderTitle(kSearchResultsTitle);
    const int count = static_cast<int>(page->items.size());
    rows_.Hold(std::move(page), count);
    Shown();
}

}  // namespace vantor
