#include "mpris/MprisConvert.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QStringList>
#include <QUrl>
#include <algorithm>
#include <climits>
#include <cmath>

namespace vantor::server::mpris {

namespace {

constexpr char kNoTrack[] = "/org/mpris/MediaPlayer2/TrackList/NoTrack";
// Longer than a week is no track length but a broken value.
constexpr double kMaxLengthUs = 7.0 * 24 * 3600 * 1e6;

template <class M>
std::unique_ptr<M> Make() {
    return std::make_unique<M>();
}

// UTF-8 of the text, cut at a character boundary so it fits kMaxText.
std::string Text(const QString& text) {
    std::string bytes = text.toStdString();
    if (bytes.size() > kMaxText) {
        std::size_t end = kMaxText;
        while (end > 0 && (static_cast<unsigned char>(bytes[end]) & 0xc0) == 0x80) {
            --end;
        }
        bytes.resize(end);
    }
    return bytes;
}

// A text value, or the texts of a list joined by ", "; empty for any other
// type.
std::string TextOf(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QString>()) {
        return Text(value.toString());
    }
    if (value.metaType() == QMetaType::fromType<QStringList>()) {
        return Text(value.toStringList().join(QStringLiteral(", ")));
    }
    return {};
}

std::string PathOf(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>()) {
        return value.value<QDBusObjectPath>().path().toStdString();
    }
    if (value.metaType() == QMetaType::fromType<QString>()) {
        return Text(value.toString());
    }
    return {};
}

bool IsNumber(const QVariant& value) {
    switch (value.metaType().id()) {
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Double:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::UChar:
            return true;
        default:
            return false;
    }
}

std::optional<bool> BoolOf(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<bool>()) {
        return value.toBool();
    }
    return std::nullopt;
}

std::int32_t LengthOf(const QVariant& value) {
    if (!IsNumber(value)) {
        return -1;
    }
    const double us = value.toDouble();
    if (!std::isfinite(us) || us <= 0 || us > kMaxLengthUs) {
        return -1;
    }
    return static_cast<std::int32_t>(std::llround(us / 1e6));
}

// The row of the current track in the track list; -1 when it is not there.
std::int32_t RowOfCurrent(const PlayerView& view) {
    if (!view.tracks || !view.track || view.track->id.empty()) {
        return -1;
    }
    const auto found = std::find_if(view.tracks->begin(), view.tracks->end(),
                                    [&](const Track& t) { return t.id == view.track->id; });
    return found == view.tracks->end() ? -1
                                       : static_cast<std::int32_t>(found - view.tracks->begin());
}

bool SameList(const auto& a, const auto& b) {
    if (a == b) {
        return true;
    }
    const bool aEmpty = !a || a->empty();
    const bool bEmpty = !b || b->empty();
    if (aEmpty || bEmpty) {
        return aEmpty && bEmpty;
    }
    return *a == *b;
}

}  // namespace

bool IsDrivable(const std::string& busName) {
    const std::string prefix = kBusPrefix;
    if (busName.size() <= prefix.size() || busName.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    const std::string rest = busName.substr(prefix.size());
    const auto is = [&](const std::string& name) {
        return rest == name || rest.rfind(name + ".", 0) == 0;
    };
    return rest.rfind("vantor", 0) != 0 && !is("playerctld");
}

bool NameMatches(const std::string& wanted, const std::string& busName) {
    if (wanted.empty()) {
        return true;
    }
    const std::string full = wanted.rfind(kBusPrefix, 0) == 0 ? wanted : kBusPrefix + wanted;
    return busName == full || busName.rfind(full + ".", 0) == 0;
}

std::string ChooseDriven(const std::vector<Candidate>& candidates) {
    const Candidate* best = nullptr;
    for (const Candidate& candidate : candidates) {
        if (best == nullptr || candidate.activity > best->activity ||
            (candidate.activity == best->activity && candidate.order < best->order)) {
            best = &candidate;
        }
    }
    return best ? best->busName : std::string();
}

std::int32_t PlayingStateOf(const QString& playbackStatus) {
    if (playbackStatus == QStringLiteral("Playing")) {
        return PlayingState::Playing;
    }
    if (playbackStatus == QStringLiteral("Paused")) {
        return PlayingState::Paused;
    }
    return PlayingState::Stopped;
}

std::optional<std::int32_t> RepeatOf(const QString& loopStatus) {
    if (loopStatus == QStringLiteral("None")) {
        return RepeatState::Off;
    }
    if (loopStatus == QStringLiteral("Track")) {
        return RepeatState::One;
    }
    if (loopStatus == QStringLiteral("Playlist")) {
        return RepeatState::All;
    }
    return std::nullopt;
}

QString LoopStatusOf(std::int32_t repeat) {
    switch (repeat) {
        case RepeatState::One:
            return QStringLiteral("Track");
        case RepeatState::Off:
            return QStringLiteral("None");
        default:
            return QStringLiteral("Playlist");
    }
}

std::int32_t VolumeOf(const QVariant& value) {
    if (!IsNumber(value)) {
        return -1;
    }
    const double volume = value.toDouble();
    if (!std::isfinite(volume)) {
        return -1;
    }
    return static_cast<std::int32_t>(std::lround(std::clamp(volume, 0.0, 1.0) * 100));
}

double MprisVolume(std::int32_t volume) {
    return std::clamp(volume, 0, 100) / 100.0;
}

QVariant Plain(const QVariant& value) {
    if (value.metaType() == QMetaType::fromType<QDBusVariant>()) {
        return Plain(value.value<QDBusVariant>().variant());
    }
    if (value.metaType() != QMetaType::fromType<QDBusArgument>()) {
        return value;
    }
    const auto argument = value.value<QDBusArgument>();
    const QString signature = argument.currentSignature();
    const auto plainMap = [](QVariantMap map) {
        for (QVariant& entry : map) {
            entry = Plain(entry);
        }
        return map;
    };
    if (signature == QStringLiteral("a{sv}")) {
        QVariantMap map;
        argument >> map;
        return plainMap(std::move(map));
    }
    if (signature == QStringLiteral("aa{sv}")) {
        QVariantList list;
        argument.beginArray();
        while (!argument.atEnd()) {
            QVariantMap map;
            argument >> map;
            list.push_back(plainMap(std::move(map)));
        }
        argument.endArray();
        return list;
    }
    if (signature == QStringLiteral("ao")) {
        QVariantList list;
        argument.beginArray();
        while (!argument.atEnd()) {
            QDBusObjectPath path;
            argument >> path;
            list.push_back(QVariant::fromValue(path));
        }
        argument.endArray();
        return list;
    }
    if (signature == QStringLiteral("as")) {
        QStringList list;
        argument >> list;
        return list;
    }
    return value;
}

std::optional<Track> TrackOf(const QVariantMap& metadata) {
    Track track;
    track.id = PathOf(Plain(metadata.value(QStringLiteral("mpris:trackid"))));
    if (track.id == kNoTrack) {
        track.id.clear();
    }
    track.title = TextOf(Plain(metadata.value(QStringLiteral("xesam:title"))));
    track.artist = TextOf(Plain(metadata.value(QStringLiteral("xesam:artist"))));
    track.album = TextOf(Plain(metadata.value(QStringLiteral("xesam:album"))));
    track.url = TextOf(Plain(metadata.value(QStringLiteral("xesam:url"))));
    track.length = LengthOf(Plain(metadata.value(QStringLiteral("mpris:length"))));
    // A URL is used whole or not at all.
    const QVariant art = Plain(metadata.value(QStringLiteral("mpris:artUrl")));
    if (art.metaType() == QMetaType::fromType<QString>() &&
        art.toString().size() <= 16 * 1024 * 1024) {
        track.artUrl = art.toString().toStdString();
    }
    if (track.title.empty() && !track.url.empty()) {
        // Players that know no title: the file's name says most.
        const std::string name = track.url.substr(track.url.rfind('/') + 1);
        track.title = QUrl::fromPercentEncoding(QByteArray::fromStdString(name)).toStdString();
        track.title = Text(QString::fromStdString(track.title));
        track.untitled = true;
    }
    // An id alone (mpv's "/noplaylist" once stopped) names no track.
    if (track.title.empty() && track.artist.empty() && track.album.empty()) {
        return std::nullopt;
    }
    return track;
}

std::vector<Track> TracksOf(const QVariant& answer, std::size_t limit) {
    std::vector<Track> tracks;
    const QVariant plain = Plain(answer);
    if (plain.metaType() != QMetaType::fromType<QVariantList>()) {
        return tracks;
    }
    for (const QVariant& entry : plain.toList()) {
        if (tracks.size() == limit) {
            break;
        }
        if (entry.metaType() == QMetaType::fromType<QVariantMap>()) {
            if (auto track = TrackOf(entry.toMap())) {
                tracks.push_back(std::move(*track));
            }
        }
    }
    return tracks;
}

std::vector<Playlist> PlaylistsOf(const QVariant& answer, std::size_t limit) {
    std::vector<Playlist> playlists;
    if (answer.metaType() != QMetaType::fromType<QDBusArgument>()) {
        return playlists;
    }
    const auto argument = answer.value<QDBusArgument>();
    if (argument.currentSignature() != QStringLiteral("a(oss)")) {
        return playlists;
    }
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusObjectPath path;
        QString name;
        QString icon;
        argument.beginStructure();
        argument >> path >> name >> icon;
        argument.endStructure();
        if (playlists.size() < limit) {
            playlists.push_back(Playlist{path.path().toStdString(), Text(name)});
        }
    }
    argument.endArray();
    return playlists;
}

std::vector<std::string> ObjectPathsOf(const QVariant& value, std::size_t limit) {
    std::vector<std::string> paths;
    const QVariant plain = Plain(value);
    if (plain.metaType() != QMetaType::fromType<QVariantList>()) {
        return paths;
    }
    for (const QVariant& entry : plain.toList()) {
        if (paths.size() == limit) {
            break;
        }
        const std::string path = PathOf(entry);
        if (!path.empty()) {
            paths.push_back(path);
        }
    }
    return paths;
}

void ApplyPlayerProperties(const QVariantMap& properties, Clock::time_point now, PlayerView* view) {
    const auto has = [&](const char* name) {
        return properties.contains(QString::fromLatin1(name));
    };
    const auto get = [&](const char* name) {
        return Plain(properties.value(QString::fromLatin1(name)));
    };
    const auto rebase = [&] {
        view->positionUs = EstimatePositionUs(*view, now);
        view->positionAt = now;
    };
    if (has("PlaybackStatus")) {
        const QVariant status = get("PlaybackStatus");
        if (status.metaType() == QMetaType::fromType<QString>()) {
            const std::int32_t state = PlayingStateOf(status.toString());
            if (state != view->playingState) {
                rebase();
                view->playingState = state;
            }
        }
    }
    if (has("Rate")) {
        const QVariant rate = get("Rate");
        if (IsNumber(rate) && std::isfinite(rate.toDouble()) && rate.toDouble() >= 0 &&
            rate.toDouble() <= 100) {
            rebase();
            view->rate = rate.toDouble();
        }
    }
    if (has("Metadata")) {
        const QVariant metadata = get("Metadata");
        std::optional<Track> track;
        if (metadata.metaType() == QMetaType::fromType<QVariantMap>()) {
            track = TrackOf(metadata.toMap());
        }
        const bool other = !track || !view->track || track->id != view->track->id ||
                           (track->id.empty() &&
                            (track->url != view->track->url || track->title != view->track->title));
        if (other) {
            // A new track starts at its beginning until the player says more.
            view->positionUs = 0;
            view->positionAt = now;
        }
        view->track = std::move(track);
    }
    if (has("Position")) {
        const QVariant position = get("Position");
        if (IsNumber(position)) {
            view->positionUs = std::max<std::int64_t>(0, position.toLongLong());
            view->positionAt = now;
        }
    }
    if (has("Volume")) {
        view->volume = VolumeOf(get("Volume"));
    }
    if (has("Shuffle")) {
        view->shuffle = BoolOf(get("Shuffle"));
    }
    if (has("LoopStatus")) {
        const QVariant loop = get("LoopStatus");
        view->repeat = loop.metaType() == QMetaType::fromType<QString>() ? RepeatOf(loop.toString())
                                                                         : std::nullopt;
    }
    const std::pair<const char*, bool Abilities::*> abilities[] = {
        {"CanControl", &Abilities::control},     {"CanPlay", &Abilities::play},
        {"CanPause", &Abilities::pause},         {"CanGoNext", &Abilities::next},
        {"CanGoPrevious", &Abilities::previous}, {"CanSeek", &Abilities::seek},
    };
    for (const auto& [name, field] : abilities) {
        if (has(name)) {
            view->can.*field = BoolOf(get(name)).value_or(false);
        }
    }
}

void ApplyRootProperties(const QVariantMap& properties, PlayerView* view) {
    const QVariant identity = Plain(properties.value(QStringLiteral("Identity")));
    if (identity.metaType() == QMetaType::fromType<QString>()) {
        view->identity = Text(identity.toString());
    }
    const QVariant trackList = Plain(properties.value(QStringLiteral("HasTrackList")));
    if (trackList.metaType() == QMetaType::fromType<bool>()) {
        view->hasTrackList = trackList.toBool();
    }
    if (properties.contains(QStringLiteral("SupportedUriSchemes"))) {
        const QVariant schemes = Plain(properties.value(QStringLiteral("SupportedUriSchemes")));
        view->uriSchemes.clear();
        if (schemes.metaType() == QMetaType::fromType<QStringList>()) {
            // Only "file" is ever looked for; a player listing thousands
            // is not kept to the last.
            constexpr qsizetype kMostSchemes = 64;
            for (const QString& scheme : schemes.toStringList().mid(0, kMostSchemes)) {
                view->uriSchemes.push_back(Text(scheme.toLower()));
            }
        }
    }
}

std::int64_t EstimatePositionUs(const PlayerView& view, Clock::time_point now) {
    std::int64_t position = view.positionUs;
    if (view.playingState == PlayingState::Playing && now > view.positionAt) {
        const auto elapsed =
            std::chrono::duration_cast<std::chrono::microseconds>(now - view.positionAt).count();
        position += static_cast<std::int64_t>(static_cast<double>(elapsed) * view.rate);
    }
    if (view.track && view.track->length > 0) {
        position = std::min<std::int64_t>(position, std::int64_t{view.track->length} * 1'000'000);
    }
    return std::max<std::int64_t>(position, 0);
}

std::int32_t PositionSeconds(const PlayerView& view, Clock::time_point now) {
    return static_cast<std::int32_t>(
        std::min<std::int64_t>(EstimatePositionUs(view, now) / 1'000'000, INT32_MAX));
}

std::int32_t QueuePosition(const PlayerView& view) {
    return std::max(RowOfCurrent(view), 0);
}

std::int32_t QueueLength(const PlayerView& view) {
    if (view.hasTrackList && view.tracks && !view.tracks->empty()) {
        return static_cast<std::int32_t>(view.tracks->size());
    }
    return view.track ? 1 : 0;
}

void AppendChanges(const PlayerView& before, const PlayerView& after, Clock::time_point now,
                   std::int32_t* toldPosition, Events& events) {
    const bool other = before.busName != after.busName;
    if (other || before.playingState != after.playingState) {
        auto event = Make<PlayingStateChangedEvent>();
        event->playingState = after.playingState;
        events.push_back(std::move(event));
    }
    const bool trackChanged = other || before.track != after.track;
    const bool queueChanged =
        other || before.hasTrackList != after.hasTrackList ||
        !SameList(before.tracks, after.tracks) ||
        (!after.hasTrackList &&
         (before.track.has_value() != after.track.has_value() || (trackChanged && after.track)));
    if (queueChanged) {
        events.push_back(Make<PlaylistChangedEvent>());
    }
    if (trackChanged || queueChanged || QueuePosition(before) != QueuePosition(after)) {
        auto event = Make<PlaylistPositionChangedEvent>();
        event->playlistPosition = QueuePosition(after);
        events.push_back(std::move(event));
    }
    if (trackChanged) {
        auto media = Make<CurrentMediaChangedEvent>();
        if (after.track) {
            media->type = MediaType::Music;
            media->artist = after.track->artist;
            media->album = after.track->album;
            media->title = after.track->title;
            media->length = after.track->length;
        }
        events.push_back(std::move(media));
        events.push_back(Make<AlbumArtChangedEvent>());
    }
    const std::int32_t position = PositionSeconds(after, now);
    if (trackChanged || position != *toldPosition) {
        auto event = Make<PlayPositionChangedEvent>();
        event->playbackPosition = position;
        events.push_back(std::move(event));
        *toldPosition = position;
    }
    if ((other || before.volume != after.volume) && after.volume >= 0) {
        auto event = Make<VolumeChangedEvent>();
        event->volume = after.volume;
        events.push_back(std::move(event));
    }
    if ((other && after.shuffle) || before.shuffle != after.shuffle) {
        auto event = Make<ShuffleStateChangedEvent>();
        event->shuffleState = after.shuffle.value_or(false);
        events.push_back(std::move(event));
    }
    if ((other && after.repeat) || before.repeat != after.repeat) {
        auto event = Make<RepeatStateChangedEvent>();
        event->repeatState = after.repeat.value_or(RepeatState::Off);
        events.push_back(std::move(event));
    }
    if (before.players != after.players) {
        auto event = Make<SpeakerListChangedEvent>();
        event->speakers = after.players;
        events.push_back(std::move(event));
    }
    // The library is the playlists, or the current track where there are none.
    if (other || before.hasPlaylists != after.hasPlaylists ||
        !SameList(before.playlists, after.playlists) || (!after.hasPlaylists && trackChanged)) {
        events.push_back(Make<MediaLibraryChangedEvent>());
    }
}

}  // namespace vantor::server::mpris
