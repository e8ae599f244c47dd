#include "ui/settings/SkinsPage.h"

#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QPainter>
#include <QSignalBlocker>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "ui/lists/ListTouch.h"
#include "ui/view/QtText.h"

namespace vantor::ui {

namespace {

// Skin file names end in ".xml"; the list and the preview drop those four
// characters whatever they are.
QString WithoutSuffix(const QString& name) {
    return name.left(std::max<qsizetype>(name.size() - 4, 0));
}

}  // namespace

SkinsPage::SkinsPage(QWidget* parent)
    : QWidget(parent),
      help_(new QLabel(QString::fromLatin1(kSkinsHelpText), this)),
      list_(new QTreeWidget(this)) {
    list_->setAccessibleName(QStringLiteral("Skins"));
    help_->setBuddy(list_);
    help_->setWordWrap(true);
    list_->setObjectName(QStringLiteral("Skin List"));
    list_->setColumnCount(1);
    list_->setHeaderLabels({QStringLiteral("Name")});
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->header()->setStretchLastSection(false);
    list_->header()->setSectionResizeMode(QHeaderView::Fixed);
    list_->setColumnWidth(0, kNameColumnWidth);
    EnableTouch(*list_);

    // The preview is painted under the list, in the room left below it;
    // the list gives up height on a small screen so the preview fits.
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(help_);
    layout->addWidget(list_, 3);
    room_ = new QSpacerItem(0, 0, QSizePolicy::Minimum, QSizePolicy::Expanding);
    layout->addSpacerItem(room_);
    layout->setStretch(2, 2);

    QObject::connect(list_, &QTreeWidget::currentItemChanged, this,
                     [this](QTreeWidgetItem* current) { Choose(current); });
}

void SkinsPage::Fill(const std::string& installDir, const std::string& currentSkinPath) {
    const QSignalBlocker quiet(list_);
    list_->clear();
    paths_.clear();
    chosen_ = -1;
    preview_ = QImage();

    const QString skins = Q(installDir) + QStringLiteral("skins/");
    const QStringList folders =
        QDir(skins).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& folder : folders) {
        // The suffix is tested here: a name filter is a pattern Qt compiles
        // into a regular expression, whose engine would stay in memory.
        const QDir files(skins + folder, QString(), QDir::Name, QDir::Files);
        for (const QString& file : files.entryList()) {
            if (!file.endsWith(QStringLiteral(".xml"), Qt::CaseInsensitive)) {
                continue;
            }
            if (static_cast<int>(paths_.size()) == kMaxSkins) {
                break;
            }
            auto* item = new QTreeWidgetItem({WithoutSuffix(file)});
            item->setData(0, Qt::UserRole, static_cast<int>(paths_.size()));
            list_->insertTopLevelItem(0, item);
            paths_.push_back((skins + folder + QLatin1Char('/') + file).toStdString());
        }
    }

    const QString current = Q(currentSkinPath);
    const QString prefix = WithoutSuffix(current.mid(current.lastIndexOf(QLatin1Char('/')) + 1));
    if (prefix.isEmpty()) {
        return;
    }
    for (int row = 0; row < list_->topLevelItemCount(); ++row) {
        QTreeWidgetItem* item = list_->topLevelItem(row);
        if (item->text(0).startsWith(prefix, Qt::CaseInsensitive)) {
            list_->setCurrentItem(item);
            list_->scrollToItem(item);
            Choose(item);
            return;
        }
    }
}

void SkinsPage::Choose(QTreeWidgetItem* item) {
    if (item == nullptr) {
        return;
    }
    chosen_ = item->data(0, Qt::UserRole).toInt();
    const QString path = Q(paths_[static_cast<std::size_t>(chosen_)]);
    // A missing or unreadable preview leaves the place empty.
    preview_ = QImage(path.left(path.size() - 4) + QStringLiteral(".gif"));
    preview_.setDevicePixelRatio(1.0);
    room_->changeSize(0, preview_.isNull() ? 0 : preview_.height() + 3, QSizePolicy::Minimum,
                      QSizePolicy::MinimumExpanding);
    layout()->invalidate();
    list_->scrollToItem(item);
    update();
}

std::optional<std::string> SkinsPage::ChosenPath() const {
    if (chosen_ < 0) {
        return std::nullopt;
    }
    return paths_[static_cast<std::size_t>(chosen_)];
}

std::vector<std::string> SkinsPage::Names() const {
    std::vector<std::string> names;
    for (int row = 0; row < list_->topLevelItemCount(); ++row) {
        names.push_back(list_->topLevelItem(row)->text(0).toStdString());
    }
    return names;
}

// On the handheld a tap drew the preview at (10, 150) and a repaint at
// the list's lower left corner; on its page those were one place. Here the
// page is laid out for the font, so the preview has that one place only.
QPoint SkinsPage::PreviewPosition() const {
    const QRect list = list_->geometry();
    return QPoint(list.left(), list.top() + list.height() + 3);
}

void SkinsPage::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
    if (!preview_.isNull()) {
        QPainter painter(this);
        painter.drawImage(PreviewPosition(), preview_);
    }
}

}  // namespace vantor::ui
