#include "ui/screens/EqScreen.h"

#include <QAbstractItemView>
#include <QFontMetrics>
#include <algorithm>

#include "protocol/Messages.h"
#include "ui/lists/ListTouch.h"

namespace vantor::ui {

namespace {

// Where the presets box goes when the skin does not say (skin units).
constexpr int kPresetsX = 10, kPresetsY = 274, kPresetsWidth = 220, kPresetsHeight = 20;
// The height of the screen skins are drawn for, and the line under which a
// box keeps its distance from the bottom (the bands' names and the presets'
// box below them follow the bands, which stretch to the screen's bottom).
constexpr int kSkinScreenHeight = 320, kLowerHalf = kSkinScreenHeight / 2;

// The presets' box lies at the screen's bottom: the list it opens is moved
// up to stay inside the window (Qt keeps it inside the screen alone, which
// on a desktop or a panel runs below the window), scrolling when it is
// longer than the window.
class PresetsCombo final : public QComboBox {
public:
    using QComboBox::QComboBox;

    void showPopup() override {
        QComboBox::showPopup();
        QWidget* list = view()->window();
        const QWidget* top = window();
        if (list == nullptr || top == nullptr || list == top) {
            return;
        }
        const QRect inside(top->mapToGlobal(QPoint(0, 0)), top->size());
        QRect at = list->geometry();
        if (at.bottom() > inside.bottom()) {
            at.moveBottom(inside.bottom());
        }
        if (at.top() < inside.top()) {
            at.setTop(inside.top());
        }
        if (at != list->geometry()) {
            list->setGeometry(at);
        }
    }
};

std::int32_t& Track(EqSettings& eq, int track) {
    return track < EqSettings::kBands ? eq.bands[static_cast<std::size_t>(track)] : eq.preamp;
}

}  // namespace

EqScreen::EqScreen(QWidget* screen, RequestSink& requests,
                   std::function<void(const EqSettings&)> changed)
    : requests_(requests),
      changed_(std::move(changed)),
      presets_(new PresetsCombo(screen)),
      drag_(screen, [this](std::int32_t gain) {
          if (track_ >= 0) {
              Track(eq_, track_) = gain;
              Send();
          }
      }) {
    presets_->setObjectName(QStringLiteral("Equalizer Presets"));
    presets_->setPlaceholderText(QStringLiteral("Presets"));
    EnableTouch(*presets_->view());
    presets_->setAccessibleName(QStringLiteral("Presets"));
    QObject::connect(presets_, &QComboBox::activated, presets_, [this](int index) {
        if (!filling_ && index >= 0) {
            ChoosePreset(presets_->itemText(index).toStdString());
        }
    });
    presets_->hide();
}

void EqScreen::Place(const CSkin& skin, QSize screen, const QFont& fallback) {
    const SkinScale& scale = skin.Scale();
    const SkinWinComponent* box = skin.FindWinComponent("eq.presets");
    QRect rect;
    if (box != nullptr) {
        const SkinRect placed = box->Place(screen.width(), screen.height());
        rect =
            QRect(placed.left, placed.top, SkinClamp(placed.Width()), SkinClamp(placed.Height()));
    } else {
        rect = QRect(scale.X(kPresetsX), scale.Y(kPresetsY), scale.Width(kPresetsWidth),
                     scale.Height(kPresetsHeight));
    }
    if ((box == nullptr || !box->bottomAnchored) && rect.top() > scale.Y(kLowerHalf)) {
        rect.translate(0, screen.height() - scale.Y(kSkinScreenHeight));
    }
    presets_->setGeometry(rect);
    const SkinFont* font = skin.FindFont("medialib");
    presets_->setFont(font ? font->font : fallback);
    presets_->view()->setFont(presets_->font());
    if (box != nullptr) {
        QPalette colours = presets_->palette();
        if (box->backColor) {
            colours.setColor(QPalette::Button, box->backColor->ToQColor());
            colours.setColor(QPalette::Base, box->backColor->ToQColor());
        }
        if (box->foreColor) {
            colours.setColor(QPalette::ButtonText, box->foreColor->ToQColor());
            colours.setColor(QPalette::Text, box->foreColor->ToQColor());
            // "Presets" until one is chosen, dimmed but readable on the box.
            QColor hint = box->foreColor->ToQColor();
            hint.setAlpha(150);
            colours.setColor(QPalette::PlaceholderText, hint);
        }
        if (box->selectColor) {
            colours.setColor(QPalette::Highlight, box->selectColor->ToQColor());
        }
        presets_->setPalette(colours);
        // The list in the box's colours.
        presets_->view()->setPalette(colours);
        presets_->view()->window()->setPalette(colours);
    }
    // The list opens over the screen, moved up inside the window (the box
    // is at the bottom): it may take the screen's height, and scrolls when
    // it is longer.
    const int row = std::max(QFontMetrics(presets_->font()).height() + 4, 1);
    presets_->setMaxVisibleItems(std::max(screen.height() / row - 1, 3));
}

void EqScreen::SetShown(bool shown) {
    presets_->setVisible(shown);
    presets_->setEnabled(shown && presets_->count() > 0);
}

void EqScreen::SetEq(const EqSettings& eq) {
    if (drag_.Dragging()) {
        // The band under the stylus keeps the stylus's value.
        const std::int32_t held = Track(eq_, track_);
        eq_ = eq;
        Track(eq_, track_) = held;
        return;
    }
    eq_ = eq;
}

void EqScreen::SetPresets(const std::vector<std::string>& presets) {
    filling_ = true;
    presets_->clear();
    for (const std::string& preset : presets) {
        presets_->addItem(QString::fromStdString(preset));
    }
    presets_->setCurrentIndex(-1);
    filling_ = false;
    presets_->setEnabled(presets_->isVisible() && !presets.empty());
}

std::vector<std::string> EqScreen::Presets() const {
    std::vector<std::string> names;
    for (int i = 0; i < presets_->count(); ++i) {
        names.push_back(presets_->itemText(i).toStdString());
    }
    return names;
}

void EqScreen::TrackDragged(int track, std::int32_t gain, bool finished) {
    if (track < 0 || track > EqSettings::kBands) {
        return;
    }
    gain = std::clamp(gain, -100, 100);
    if (track != track_ && drag_.Dragging()) {
        drag_.Finish(Track(eq_, track_));
    }
    track_ = track;
    if (finished) {
        Track(eq_, track) = gain;
        drag_.Finish(gain);
        changed_(eq_);
    } else {
        drag_.Update(gain);
    }
}

bool EqScreen::Toggle(std::string_view component) {
    if (component == "eq.enabled") {
        eq_.enabled = !eq_.enabled;
    } else if (component == "eq.autoload") {
        eq_.autoLoad = !eq_.autoLoad;
    } else {
        return false;
    }
    changed_(eq_);
    Send();
    return true;
}

void EqScreen::ChoosePreset(const std::string& name) {
    auto request = std::make_unique<SetEqPresetRequest>();
    request->preset = name;
    requests_.Send(std::move(request));
}

void EqScreen::Send() {
    auto request = std::make_unique<SetEqRequest>();
    request->eq = eq_;
    requests_.Send(std::move(request));
}

}  // namespace vantor::ui
