#include "ui/settings/SettingsSheet.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QEvent>
#include <QLayout>
#include <QProxyStyle>
#include <QPushButton>
#include <QStyleFactory>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/settings/AboutPage.h"
#include "ui/settings/ButtonsPage.h"
#include "ui/settings/GeneralPage.h"
#include "ui/settings/SkinsPage.h"

namespace vantor::ui {

namespace {

// The application's style with the few sizes it keeps in pixels made to
// follow the sheet's font instead: the window's font is large on a 2x
// screen, and four tabs must share a screen 240 pixels wide at 1x.
class SheetStyle final : public QProxyStyle {
public:
    SheetStyle() : QProxyStyle(QStyleFactory::create(QApplication::style()->name())) {}

    int pixelMetric(PixelMetric metric, const QStyleOption* option,
                    const QWidget* widget) const override {
        const int base = QProxyStyle::pixelMetric(metric, option, widget);
        if (widget == nullptr) {
            return base;
        }
        const int line = widget->fontMetrics().height();
        switch (metric) {
            case PM_TabBarTabHSpace:
                return line * 4 / 5;
            case PM_IndicatorWidth:
            case PM_IndicatorHeight:
                return std::max(base, line * 3 / 4);
            case PM_ButtonMargin:
                return std::max(base, line / 2);
            default:
                return base;
        }
    }
};

}  // namespace

SettingsSheet::SettingsSheet(FunctionTable& functions, Prompter& prompter,
                             const RegistryStore* shellKeys, QWidget* parent)
    : QDialog(parent),
      tabs_(new QTabWidget(this)),
      general_(new GeneralPage),
      buttons_(new ButtonsPage(functions, prompter, shellKeys)),
      about_(new AboutPage),
      skins_(new SkinsPage),
      buttonBox_(new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this)) {
    setWindowTitle(QString::fromLatin1(kSettingsTitle));
    setModal(true);
    // A top-level window takes its parent's palette and font only when
    // asked to: the sheet should look like the window it belongs to.
    setAttribute(Qt::WA_WindowPropagation);
    tabs_->addTab(general_, QStringLiteral("General"));
    tabs_->addTab(buttons_, QStringLiteral("Buttons"));
    tabs_->addTab(about_, QStringLiteral("About"));
    tabs_->addTab(skins_, QStringLiteral("Skins"));
    // Titles that do not fit shorten rather than hide behind scroll arrows.
    tabs_->setUsesScrollButtons(false);
    tabs_->setElideMode(Qt::ElideRight);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(tabs_, 1);
    layout->addWidget(buttonBox_);
    style_ = new SheetStyle;
    style_->setParent(this);
    for (QWidget* control :
         {static_cast<QWidget*>(tabs_->tabBar()), static_cast<QWidget*>(general_->AutoConnectBox()),
          static_cast<QWidget*>(general_->NowPlayingOnIdleBox()),
          static_cast<QWidget*>(buttonBox_->button(QDialogButtonBox::Ok)),
          static_cast<QWidget*>(buttonBox_->button(QDialogButtonBox::Cancel))}) {
        control->setStyle(style_);
    }
    FitToFont();
    QObject::connect(buttonBox_, &QDialogButtonBox::accepted, this, [this] {
        general_->TakeValues();
        accept();
    });
    QObject::connect(buttonBox_, &QDialogButtonBox::rejected, this, [this] { reject(); });
}

SettingsSheet::~SettingsSheet() = default;

void SettingsSheet::changeEvent(QEvent* event) {
    QDialog::changeEvent(event);
    if (event->type() == QEvent::FontChange) {
        FitToFont();
    }
}

// Margins in proportion to the font: a quarter line around the sheet and
// its pages, rather than the style's fixed pixels, which waste a 240
// pixel screen and crowd nothing at 480. The Buttons page keeps its own
// bottom margin.
void SettingsSheet::FitToFont() {
    const int pad = std::max(fontMetrics().height() / 4, 2);
    layout()->setContentsMargins(pad, pad, pad, pad);
    for (int i = 0; i < tabs_->count(); ++i) {
        QLayout* page = tabs_->widget(i)->layout();
        const int bottom = tabs_->widget(i) == buttons_ ? page->contentsMargins().bottom() : pad;
        page->setContentsMargins(pad, pad, pad, bottom);
        page->setSpacing(pad);
    }
}

void SettingsSheet::SetGeneral(bool autoConnect, bool nowPlayingOnIdle) {
    general_->SetValues(autoConnect, nowPlayingOnIdle);
}

void SettingsSheet::SetServerVersion(const std::string& version) {
    about_->SetServerVersion(version);
}

void SettingsSheet::SetSkins(const std::string& installDir, const std::string& currentSkinPath) {
    installDir_ = installDir;
    currentSkinPath_ = currentSkinPath;
}

void SettingsSheet::SetProductIcon(const QImage& icon) {
    about_->SetIcon(icon);
}

void SettingsSheet::Prepare() {
    general_->ShowValues();
    buttons_->Refresh();
    about_->ShowTexts();
    skins_->Fill(installDir_, currentSkinPath_);
}

bool SettingsSheet::Run() {
    Prepare();
    if (parentWidget() != nullptr) {
        resize(parentWidget()->window()->size());
    }
    return exec() == QDialog::Accepted;
}

bool SettingsSheet::AutoConnect() const {
    return general_->AutoConnect();
}

bool SettingsSheet::NowPlayingOnIdle() const {
    return general_->NowPlayingOnIdle();
}

std::optional<std::string> SettingsSheet::NewSkin() const {
    std::optional<std::string> chosen = skins_->ChosenPath();
    if (chosen && *chosen == currentSkinPath_) {
        return std::nullopt;
    }
    return chosen;
}

}  // namespace vantor::ui
