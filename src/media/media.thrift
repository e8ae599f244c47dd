// The media service's pages: each HTTP body is one of these structs in the
// binary protocol, without a message envelope. Every field is optional and
// a missing total reads as -1.

namespace cpp vantor.wire

enum MediaItemType {
    MEDIA_UNKNOWN = 0,
    MUSIC = 1,
    PODCAST = 2,
    VIDEO = 3,
    TV = 4,
    PLAYLIST = 5,
    PHOTO = 6,
    RADIO = 7,
    FOLDER = 8,
    GENRE = 9,
    ARTIST = 10,
    ALBUM = 11,
    PODCAST_SHOW = 12,
    TV_SERIES = 13,
    PLAYLIST_FOLDER = 14,
    RADIO_FOLDER = 15,
    INFO = 16,
    MEDIA_COUNT = 17
}

enum PlayingState {
    PLAYING = 1,
    PAUSED = 2,
    STOPPED = 3,
    FAST_FORWARDING = 4,
    REWINDING = 5
}

enum RepeatState {
    REPEAT_OFF = 0,
    REPEAT_ONE = 1,
    REPEAT_ALL = 2
}

struct MediaItem {
    1: optional i32 mediaId,
    2: optional MediaItemType type,
    3: optional bool container,
    4: optional string title,
    5: optional string artist,
    6: optional string album,
    7: optional string genre,
    8: optional i32 length,
    9: optional i32 rating,
    10: optional string path
}

struct MediaIndexEntry {
    1: optional string label,
    2: optional i32 position
}

struct MediaList {
    1: optional string path,
    2: optional i32 start,
    3: optional i32 totalCount = -1,
    4: optional list<MediaItem> items,
    5: optional i32 scrollToIndex = -1,
    6: optional list<MediaIndexEntry> index
}

struct PlaylistPage {
    1: optional i32 start,
    2: optional i32 totalCount = -1,
    3: optional list<MediaItem> items
}
