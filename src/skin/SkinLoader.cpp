// CSkin::LoadSkin: reads a skin file into the skin's records.

#include <QByteArrayView>
#include <QString>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "core/Logger.h"
#include "skin/CSkin.h"
#include "skin/SkinDrawLock.h"
#include "skin/SkinFonts.h"
#include "skin/SkinXmlReader.h"

namespace vantor {

namespace {

// A skin file is a few kilobytes; reading at most this much keeps a wrong
// path (a disc image, say) from costing memory without bound.
constexpr std::streamsize kMaxSkinFileBytes = 4 * 1024 * 1024;
// The pixels per inch the "@1.3x" images are drawn for.
constexpr std::int32_t kVariantDpi = 125;

bool IsFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(std::filesystem::path(path), error);
}

// Skin files are UTF-8; one that is not is taken as Latin-1, the other
// encoding skin authors have used.
std::string ToUtf8(std::string bytes) {
    if (bytes.starts_with("\xEF\xBB\xBF")) {
        bytes.erase(0, 3);
    }
    const auto size = static_cast<qsizetype>(bytes.size());
    // Invalid sequences decode to U+FFFD, so only valid UTF-8 comes back unchanged.
    if (QString::fromUtf8(bytes.data(), size).toUtf8() == QByteArrayView(bytes.data(), size)) {
        return bytes;
    }
    return QString::fromLatin1(bytes.data(), size).toStdString();
}

std::optional<SkinColor> OptionalColor(const SkinXmlElement& element, std::string_view name) {
    const std::string text = element.Text(name);
    if (text.empty()) {
        return std::nullopt;
    }
    return ParseSkinColor(text);
}

class Loader {
public:
    Loader(const SkinXmlDocument& document, const SkinScale& scale, const SkinRect& screen,
           std::string folder, std::string_view suffix)
        : document_(document),
          scale_(scale),
          screen_(screen),
          folder_(std::move(folder)),
          suffix_(suffix) {}

    void Run(std::vector<SkinBitmap>& bitmaps, std::vector<SkinWinComponent>& winComponents,
             std::vector<SkinFont>& fonts, std::vector<SkinComponent>& components) const {
        ForEach("bitmap", [&](const SkinXmlElement& e) { bitmaps.push_back(ReadBitmap(e)); });
        ForEach("font", [&](const SkinXmlElement& e) { fonts.push_back(ReadFont(e)); });
        Place(winComponents, components);
    }
    // What depends on the screen's size: the windows and the components.
    void Place(std::vector<SkinWinComponent>& winComponents,
               std::vector<SkinComponent>& components) const {
        ForEach("wincomponent",
                [&](const SkinXmlElement& e) { winComponents.push_back(ReadWinComponent(e)); });
        ForEach("component",
                [&](const SkinXmlElement& e) { components.push_back(ReadComponent(e)); });
    }

private:
    template <typename Function>
    void ForEach(std::string_view name, Function&& function) const {
        for (const SkinXmlElement& element : document_.Elements()) {
            if (element.name == name) {
                function(element);
            }
        }
    }

    SkinBitmap ReadBitmap(const SkinXmlElement& element) const {
        SkinBitmap bitmap;
        bitmap.name = element.Text("name");
        const std::string file = element.Text("file");
        bitmap.filePath = folder_ + file;
        std::int32_t fileDpi = kSkinUnitsDpi;
        const std::size_t dot = file.rfind('.');
        if (!suffix_.empty() && dot != std::string::npos) {
            std::string variant = folder_ + file.substr(0, dot);
            variant.append(suffix_).append(file, dot, std::string::npos);
            if (IsFile(variant)) {
                bitmap.filePath = std::move(variant);
                fileDpi = suffix_ == "@2x" ? 2 * kSkinUnitsDpi : kVariantDpi;
            }
        }
        if (std::abs(scale_.dpiX - fileDpi) > 1) {
            bitmap.stretch = static_cast<double>(scale_.dpiX) / fileDpi;
        }
        const std::string transparency = element.Text("transparency");
        if (!transparency.empty()) {
            bitmap.transparent = true;
            bitmap.transparencyColor = ParseSkinColor(transparency);
        }
        return bitmap;
    }

    SkinWinComponent ReadWinComponent(const SkinXmlElement& element) const {
        SkinWinComponent window;
        window.name = element.Text("name");
        ReadWindowAxis(element, kHorizontal, window.left, window.right, window.rightAnchored);
        ReadWindowAxis(element, kVertical, window.top, window.bottom, window.bottomAnchored);
        window.backColor = OptionalColor(element, "backcolor");
        window.foreColor = OptionalColor(element, "forecolor");
        window.selectColor = OptionalColor(element, "selectcolor");
        return window;
    }

    SkinFont ReadFont(const SkinXmlElement& element) const {
        SkinFont font;
        font.name = element.Text("name");
        font.face = element.Text("face");
        if (std::string weight = element.Text("weight"); !weight.empty()) {
            font.weight = std::move(weight);
        }
        if (std::string quality = element.Text("quality"); !quality.empty()) {
            font.quality = std::move(quality);
        }
        font.italic = element.Flag("italic");
        font.underline = element.Flag("underline");
        font.color = OptionalColor(element, "color").value_or(SkinColor());
        font.height = SkinFontHeight(element.Number("size"), scale_.dpiY);
        font.font = CreateSkinFont(font);
        return font;
    }

    SkinComponent ReadComponent(const SkinXmlElement& element) const {
        SkinComponent component;
        component.name = element.Text("name");
        component.mode = element.Text("mode");
        component.ignoreInput = element.Flag("ignoreinput");
        for (const std::size_t index : element.children) {
            const SkinXmlElement& child = document_.At(index);
            const std::string type = child.Text("type");
            SkinImageState* state = type == "norm"    ? &component.norm
                                    : type == "hover" ? &component.hover
                                    : type == "push"  ? &component.push
                                                      : nullptr;
            if (state != nullptr) {
                *state = ReadState(child, component.norm);
            }
        }
        return component;
    }

    // `norm` is the component's norm state as read so far: other states
    // (and a norm "source" without "width") fall back to it.
    SkinImageState ReadState(const SkinXmlElement& element, const SkinImageState& norm) const {
        SkinImageState state;
        state.present = true;
        // The source's own "width" and "height", which "rect" falls back to.
        std::int32_t sourceWidth = -1;
        std::int32_t sourceHeight = -1;
        if (const SkinXmlElement* source = document_.FirstChild(element, "source")) {
            state.sourceBitmap = source->Text("name");
            const std::int32_t x = scale_.X(source->Number("x"));
            const std::int32_t y = scale_.Y(source->Number("y"));
            const std::int32_t width = source->Number("width");
            sourceWidth = scale_.Width(width);
            sourceHeight = scale_.Height(source->Number("height"));
            // Keyed on "width" alone: a "width" without "height" leaves the
            // height at -1 rather than taking the norm's.
            const std::int64_t w = width != -1 ? sourceWidth : norm.source.Width();
            const std::int64_t h = width != -1 ? sourceHeight : norm.source.Height();
            state.source = SkinRect{x, y, SkinAdd(x, w), SkinAdd(y, h)};
        }
        const SkinXmlElement* rect = document_.FirstChild(element, "rect");
        if (rect == nullptr) {
            state.destination = norm.destination;
            return state;
        }
        SkinRect& d = state.destination;
        ReadRectAxis(*rect, kHorizontal, screen_.right, sourceWidth, d.left, d.right);
        ReadRectAxis(*rect, kVertical, screen_.bottom, sourceHeight, d.top, d.bottom);
        return state;
    }

    // The attributes that place a rectangle along one axis.
    struct Axis {
        const char* position;  // "x"
        const char* size;      // "width"
        const char* distance;  // "right": from the far edge
        bool vertical;
    };
    static constexpr Axis kHorizontal{"x", "width", "right", false};
    static constexpr Axis kVertical{"y", "height", "bottom", true};

    std::int32_t Position(const Axis& axis, std::int32_t value) const {
        return axis.vertical ? scale_.Y(value) : scale_.X(value);
    }
    std::int32_t Size(const Axis& axis, std::int32_t value) const {
        return axis.vertical ? scale_.Height(value) : scale_.Width(value);
    }

    // A window's far edge is its start plus the size, or a raw distance from
    // the parent's far edge (anchored), or its start.
    void ReadWindowAxis(const SkinXmlElement& element, const Axis& axis, std::int32_t& begin,
                        std::int32_t& end, bool& anchored) const {
        begin = Position(axis, element.Number(axis.position));
        if (const std::int32_t size = element.Number(axis.size); size != -1) {
            end = SkinAdd(begin, Size(axis, size));
        } else if (const std::int32_t distance = element.Number(axis.distance); distance != -1) {
            end = distance;
            anchored = true;
        } else {
            end = begin;
        }
    }

    // A "rect"'s far edge is its start plus the size, or the screen's far edge
    // less the scaled distance (then a missing start is the far edge less the
    // source's size), or its start plus the source's size.
    // A far edge given by a size is scaled from the skin's units, so two
    // rectangles that meet there meet on the screen too (the size scaled on
    // its own can round one pixel into the next); the @1.3x step keeps the
    // handheld's own rounding, which its layouts are pinned to.
    void ReadRectAxis(const SkinXmlElement& rect, const Axis& axis, std::int32_t screenEnd,
                      std::int32_t sourceSize, std::int32_t& begin, std::int32_t& end) const {
        const std::int32_t position = rect.Number(axis.position);
        begin = Position(axis, position);
        if (const std::int32_t size = rect.Number(axis.size); size != -1) {
            const std::int32_t dpi = axis.vertical ? scale_.dpiY : scale_.dpiX;
            end = size > 0 && position >= 0 && dpi != kVariantDpi
                      ? Position(axis, SkinClamp(std::int64_t{position} + size))
                      : SkinAdd(begin, Size(axis, size));
        } else if (const std::int32_t distance = rect.Number(axis.distance); distance != -1) {
            end = SkinAdd(screenEnd, -std::int64_t{Position(axis, distance)});
            if (begin < 0) {
                begin = SkinAdd(end, -std::int64_t{sourceSize});
            }
        } else {
            end = SkinAdd(begin, sourceSize);
        }
    }

    const SkinXmlDocument& document_;
    const SkinScale& scale_;
    const SkinRect& screen_;
    const std::string folder_;
    const std::string_view suffix_;
};

}  // namespace

bool CSkin::LoadSkin(const std::string& path, const SkinRect& screen) {
    suffix_ = ResolutionSuffixFor(SkinClamp(screen.Width()));
    const std::size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    if (!IsFile(path)) {
        return false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        Log(kLogError, "Skin file \"%s\" cannot be opened", path.c_str());
        return false;
    }
    std::string bytes(static_cast<std::size_t>(kMaxSkinFileBytes), '\0');
    in.read(bytes.data(), kMaxSkinFileBytes);
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    if (in && in.peek() != std::ifstream::traits_type::eof()) {
        Log(kLogError, "Skin file \"%s\" is larger than %ld bytes; the rest is ignored",
            path.c_str(), static_cast<long>(kMaxSkinFileBytes));
    }

    auto document =
        std::make_shared<const SkinXmlDocument>(SkinXmlDocument::Parse(ToUtf8(std::move(bytes))));
    if (const SkinXmlProblems& problems = document->Problems(); problems.count > 0) {
        Log(kLogError,
            "Skin file \"%s\": %s at byte %zu (%zu problem%s in all); using what could be read",
            path.c_str(), problems.first.c_str(), problems.firstOffset, problems.count,
            problems.count == 1 ? "" : "s");
    }

    std::vector<SkinBitmap> bitmaps;
    std::vector<SkinWinComponent> winComponents;
    std::vector<SkinFont> fonts;
    std::vector<SkinComponent> components;
    Loader(*document, scale_, screen, folder, suffix_)
        .Run(bitmaps, winComponents, fonts, components);
    for (SkinBitmap& bitmap : bitmaps) {
        if (bitmap.stretch == 1.0) {
            continue;
        }
        for (const SkinComponent& component : components) {
            for (const SkinImageState* state :
                 {&component.norm, &component.hover, &component.push}) {
                if (state->present && state->sourceBitmap == bitmap.name &&
                    state->source.Width() > 0 && state->source.Height() > 0 &&
                    std::find(bitmap.cells.begin(), bitmap.cells.end(), state->source) ==
                        bitmap.cells.end()) {
                    bitmap.cells.push_back(state->source);
                }
            }
        }
    }

    const SkinDrawGuard lock;
    bitmaps_ = std::move(bitmaps);
    winComponents_ = std::move(winComponents);
    fonts_ = std::move(fonts);
    components_ = std::move(components);
    document_ = std::move(document);
    folder_ = std::move(folder);
    loadedScale_ = scale_;
    return true;
}

bool CSkin::Fit(const SkinRect& screen) {
    if (!document_ || ResolutionSuffixFor(SkinClamp(screen.Width())) != suffix_ ||
        scale_.dpiX != loadedScale_.dpiX || scale_.dpiY != loadedScale_.dpiY) {
        return false;
    }
    std::vector<SkinWinComponent> winComponents;
    std::vector<SkinComponent> components;
    Loader(*document_, scale_, screen, folder_, suffix_).Place(winComponents, components);

    // The same file gives the same records in the same order: each takes
    // its own slot, so whatever points at one (a button under the pointer)
    // points at it still.
    const SkinDrawGuard lock;
    std::move(winComponents.begin(), winComponents.end(), winComponents_.begin());
    std::move(components.begin(), components.end(), components_.begin());
    return true;
}

}  // namespace vantor
