#pragma once

// A loaded skin: the images, bitmap-drawn components, native window
// placements and fonts that one skin file describes, looked up by name.
//
// Threads: the user-interface thread loads the skin (LoadSkin) while no
// other thread draws with it (the main frame suspends its refresh thread
// around a skin change), and any thread may then look records up and draw.
// The one mutable part, each bitmap's lazily loaded image, is guarded by the
// process-wide drawing lock (SkinDrawLock.h); LoadSkin also swaps the new
// records in under that lock. Pointers returned by the Find functions stay
// valid until the next LoadSkin.

#include <QFont>
#include <QImage>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "skin/SkinColor.h"
#include "skin/SkinRect.h"
#include "skin/SkinScale.h"

namespace vantor {

class SkinXmlDocument;

// An image file's pixels once loaded. QImage owns them, so there is no
// separate "owned" flag: loading another image into the record frees the
// old one.
struct SkinImage {
    // An image drawn from memory rather than a file (a composed buffer, say).
    static SkinImage Of(QImage image) {
        SkinImage result;
        result.pixels = image.convertToFormat(QImage::Format_RGB32);
        result.width = result.pixels.width();
        result.height = result.pixels.height();
        return result;
    }

    QImage pixels;  // Format_RGB32, or null until loaded
    // An image read for another scale whose components copy parts of it:
    // the file as read, kept until each of those parts (the bitmap's cells)
    // has been scaled into `pixels` on its first draw, so a screen pays for
    // its own parts only. Null once every cell is scaled, and for others.
    QImage file;
    std::vector<bool> cellsScaled;  // one per cell of the bitmap
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool failureLogged = false;  // a missing file is retried on every draw but logged once

    // For a keyed image, the runs of pixels that are not the key colour, row
    // by row, found once at load: a keyed draw then copies whole runs instead
    // of testing every pixel. Empty when the image has no key, or when it is
    // so fragmented that runs would not pay.
    struct Run {
        std::int32_t begin;
        std::int32_t end;
    };
    std::uint32_t runsKey = 0;               // the key colour (0xRRGGBB) the runs were found for
    std::vector<Run> runs;                   // every row's runs, left to right, row after row
    std::vector<std::uint32_t> rowFirstRun;  // height + 1 entries: row y's runs are
                                             // runs[rowFirstRun[y] .. rowFirstRun[y + 1])
};

struct SkinBitmap {
    std::string name;
    std::string filePath;  // the skin folder + "file", or its resolution variant
    bool transparent = false;
    SkinColor transparencyColor;
    // The screen's pixels per inch over the file's (96, or 125 and 192 for
    // the "@1.3x" and "@2x" files): an image read for another scale than
    // its own is scaled once as it loads, smoothly unless it is keyed.
    double stretch = 1.0;
    // With a stretch, the parts the components copy (in scaled pixels):
    // each is scaled on its own, so no smoothing reaches across its edges.
    std::vector<SkinRect> cells;
    // Loaded on first draw. Guarded by the drawing lock.
    mutable SkinImage image;
};

struct SkinImageState {
    bool present = false;
    std::string sourceBitmap;
    SkinRect destination;  // device pixels of the screen
    SkinRect source;       // device pixels of the image
};

struct SkinComponent {
    std::string name;
    std::string mode;  // the screens it shows on
    bool ignoreInput = false;
    SkinImageState norm;
    SkinImageState hover;
    SkinImageState push;
};

// A native child window's placement. right and bottom are either absolute
// device pixels or, when anchored, a distance from the parent's right or
// bottom edge kept in raw device pixels (never scaled).
struct SkinWinComponent {
    std::string name;
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;
    bool rightAnchored = false;
    bool bottomAnchored = false;
    std::optional<SkinColor> foreColor;
    std::optional<SkinColor> backColor;
    std::optional<SkinColor> selectColor;

    // The window's rectangle inside a parent of the given client size.
    SkinRect Place(std::int32_t parentWidth, std::int32_t parentHeight) const;
};

struct SkinFont {
    std::string name;
    std::string face;
    std::string weight = "normal";
    std::string quality = "default";
    std::int32_t height = 0;  // negative: character height in pixels; 0: default size
    bool italic = false;
    bool underline = false;
    SkinColor color;
    QFont font;  // created when the skin is read
};

// Screen names the components' modes refer to.
inline constexpr std::string_view kScreenMain = "main";
inline constexpr std::string_view kScreenNowPlaying = "nowplaying";
inline constexpr std::string_view kScreenPlaylist = "playlist";
inline constexpr std::string_view kScreenConnect = "connect";
inline constexpr std::string_view kScreenEq = "eq";
inline constexpr std::string_view kScreenDialog = "dialog";

// False for an empty mode, true for "all", else whether the screen name
// occurs anywhere in the mode (a plain substring test, so "main,nowplaying"
// shows on both and "nowplaying" also matches "playing").
bool IsShownIn(const SkinComponent& component, std::string_view screen);

// The resolution variant suffix for a screen of this width in pixels:
// "" below 320, "@1.3x" up to 479, "@2x" from 480.
std::string_view ResolutionSuffixFor(std::int32_t screenWidth);

class CSkin {
public:
    // The device's pixels per inch; set before LoadSkin (the vertical figure
    // also sizes the fonts).
    void SetScale(SkinScale scale) { scale_ = scale; }
    const SkinScale& Scale() const { return scale_; }
    std::int32_t VerticalDpi() const { return scale_.dpiY; }

    // Reads one skin file. `screen` is the main window's client area: its
    // width picks the image variants, and its right and bottom are what
    // "right" and "bottom" distances of components count from. Returns
    // false, leaving the skin as it was, when the file does not exist or
    // cannot be read; a malformed file loads whatever could be read and
    // logs what was skipped.
    bool LoadSkin(const std::string& path, const SkinRect& screen);
    // Places the components and windows again for a screen of another
    // size, from the file as the last LoadSkin read it; the images, and
    // what has been decoded of them, stay, and so do the records' places
    // (what Find returned still holds). False, changing nothing, when
    // that screen takes other images (another resolution suffix), the
    // scale changed since, or nothing was loaded: LoadSkin then.
    bool Fit(const SkinRect& screen);

    const std::string& ResolutionSuffix() const { return suffix_; }

    // The first record of that exact name, in document order, or null.
    const SkinBitmap* FindBitmap(std::string_view name) const;
    const SkinComponent* FindComponent(std::string_view name) const;
    const SkinWinComponent* FindWinComponent(std::string_view name) const;
    const SkinFont* FindFont(std::string_view name) const;

    const std::vector<SkinBitmap>& Bitmaps() const { return bitmaps_; }
    const std::vector<SkinComponent>& Components() const { return components_; }
    const std::vector<SkinWinComponent>& WinComponents() const { return winComponents_; }
    const std::vector<SkinFont>& Fonts() const { return fonts_; }

private:
    std::vector<SkinBitmap> bitmaps_;
    std::vector<SkinComponent> components_;
    std::vector<SkinWinComponent> winComponents_;
    std::vector<SkinFont> fonts_;
    SkinScale scale_;
    std::string suffix_;
    // The last file read, kept for Fit, and the scale it was read at.
    std::shared_ptr<const SkinXmlDocument> document_;
    std::string folder_;
    SkinScale loadedScale_;
};

}  // namespace vantor
