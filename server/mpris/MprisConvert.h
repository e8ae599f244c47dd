#pragma once

// The rules that turn what MPRIS players say into the protocol's terms and
// back, as pure functions: bus names and which player to drive, the
// Player properties and Metadata (tolerant of players that bend the
// rules: wrong types, missing fields, absurd values), the position between
// readings, and the events a change of the driven player's view makes.
// Nothing here touches the bus; every function may be called on any
// thread.

#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "PlayerBackend.h"
#include "mpris/MprisView.h"

namespace vantor::server::mpris {

inline constexpr char kBusPrefix[] = "org.mpris.MediaPlayer2.";
// Longest text kept from a player's Metadata; the rest is cut off.
inline constexpr std::size_t kMaxText = 1024;

// --- bus names

// A player's bus name that may be driven: an MPRIS name that is neither the
// client's own service (org.mpris.MediaPlayer2.vantor...) nor playerctld, a
// proxy of the other players.
bool IsDrivable(const std::string& busName);

// Whether `busName` is the player a user named: a short name ("vlc") is
// the bus name after "org.mpris.MediaPlayer2.", a long one is taken as it
// is; either matches the whole name or the part before a ".", so "vlc"
// matches "org.mpris.MediaPlayer2.vlc.instance4711" but not "...vlcx". An
// empty `wanted` matches every player.
bool NameMatches(const std::string& wanted, const std::string& busName);

// A player that may be driven, with the last time (a counter) it began to
// play or was chosen by a client (0: never) and the order it appeared in.
struct Candidate {
    std::string busName;
    std::uint64_t activity = 0;
    std::uint64_t order = 0;
};

// The player a person is using: the one that began playing or was chosen
// last; among players never active, the first to appear. Empty for none.
std::string ChooseDriven(const std::vector<Candidate>& candidates);

// --- properties

std::int32_t PlayingStateOf(const QString& playbackStatus);
// "None" / "Track" / "Playlist"; nothing for any other value.
std::optional<std::int32_t> RepeatOf(const QString& loopStatus);
QString LoopStatusOf(std::int32_t repeat);
// Volume 0..1 (players may go above 1) to 0..100; -1 when not a number.
std::int32_t VolumeOf(const QVariant& value);
double MprisVolume(std::int32_t volume);

// Unwraps D-Bus variants and the containers the rules here read (a{sv},
// aa{sv}, ao, as) into plain Qt values, all the way down; anything else is
// left as it is and later read as missing.
QVariant Plain(const QVariant& value);

// The track a Metadata map describes; nothing when the map is empty or
// says nothing a person could recognise.
std::optional<Track> TrackOf(const QVariantMap& metadata);
// A TrackList's GetTracksMetadata answer (aa{sv}, made plain).
std::vector<Track> TracksOf(const QVariant& answer, std::size_t limit);
// A Playlists GetPlaylists answer (a(oss)); nothing when it is not one.
std::vector<Playlist> PlaylistsOf(const QVariant& answer, std::size_t limit);
// An "ao" value (the TrackList's Tracks property) as paths.
std::vector<std::string> ObjectPathsOf(const QVariant& value, std::size_t limit);

// Applies Player properties (GetAll's answer or a PropertiesChanged) to the
// view. A change of state or rate first moves the last reading to `now`, so
// the estimate stays continuous.
void ApplyPlayerProperties(const QVariantMap& properties, Clock::time_point now, PlayerView* view);
// Applies the root interface's properties (Identity, HasTrackList).
void ApplyRootProperties(const QVariantMap& properties, PlayerView* view);

// --- position and queue

// Where the player is now, from its last reading and its rate, within the
// track's length.
std::int64_t EstimatePositionUs(const PlayerView& view, Clock::time_point now);
std::int32_t PositionSeconds(const PlayerView& view, Clock::time_point now);
// The current track's row in the play queue: its place in the track list,
// else 0.
std::int32_t QueuePosition(const PlayerView& view);
// The track list's length, or 1 for the current track alone.
std::int32_t QueueLength(const PlayerView& view);

// --- events

// The events that tell clients how the driven player went from `before` to
// `after` (another player, when the bus names differ: then everything is
// told). `toldPosition` is the position last told, in seconds; a new one is
// told when it differs or the track changed.
void AppendChanges(const PlayerView& before, const PlayerView& after, Clock::time_point now,
                   std::int32_t* toldPosition, Events& events);

}  // namespace vantor::server::mpris
