#include "ui/window/CommandMenu.h"

#include <QActionGroup>
#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>
#include <QToolBar>
#include <QToolButton>

#include "media/LibraryBrowser.h"
#include "protocol/Messages.h"
#include "ui/view/QtText.h"
#include "ui/window/MenuTouch.h"

namespace vantor::ui {

CommandMenu::CommandMenu(QMainWindow& window, RequestSink& requests, Hooks hooks)
    : window_(window), requests_(requests), hooks_(std::move(hooks)) {
    menu_ = window.menuBar()->addMenu(QStringLiteral("Menu"));
    menu_->setObjectName(QStringLiteral("Menu"));
    EnableMenuTouch(*menu_);
    QObject::connect(menu_, &QMenu::aboutToShow, &window, [this] {
        hooks_.busy(1);
        Rebuild();
    });
    QObject::connect(menu_, &QMenu::aboutToHide, &window, [this] { hooks_.busy(-1); });

    bar_ = new QToolBar(QStringLiteral("Command Bar"), &window);
    bar_->setObjectName(QStringLiteral("Command Bar"));
    bar_->setMovable(false);
    bar_->setFloatable(false);
    bar_->setContextMenuPolicy(Qt::PreventContextMenu);
    button_ = new QToolButton(bar_);
    button_->setObjectName(QStringLiteral("Command Button"));
    button_->setToolButtonStyle(Qt::ToolButtonTextOnly);
    button_->setAutoRaise(false);
    QObject::connect(button_, &QToolButton::clicked, &window,
                     [this] { hooks_.command(buttonCommand_); });
    bar_->addWidget(button_);
    window.addToolBar(Qt::BottomToolBarArea, bar_);
    Rebuild();
}

void CommandMenu::Rebuild() {
    menu_->clear();
    const auto add = [this](QMenu& menu, const QString& label, WindowCommand command) {
        QAction* action = menu.addAction(label);
        QObject::connect(action, &QAction::triggered, &window_,
                         [this, command] { hooks_.command(command); });
        return action;
    };
    for (std::size_t index = 0; index < items_.size(); ++index) {
        const MenuItemSpec& item = items_[index];
        if (item.shown && !item.shown()) {
            continue;
        }
        if (item.fill) {
            menu_->addMenu(&Refilled(index));
            continue;
        }
        QAction* action = add(*menu_, item.label, item.command);
        if (item.checked) {
            action->setCheckable(true);
            action->setChecked(item.checked());
        }
    }
    if (!menu_->isEmpty()) {
        menu_->addSeparator();
    }
    add(*menu_, QStringLiteral("Options..."), WindowCommand::Options);
    add(*menu_, QStringLiteral("Exit"), WindowCommand::Exit);
}

// The menu is rebuilt on every screen switch, every opening and every
// flow message, and clear() deletes its actions but not the menus added to
// it: a submenu made afresh each time would stay behind, a child of the
// menu, for as long as the window runs. So each item's submenu is made
// once and filled again.
QMenu& CommandMenu::Refilled(std::size_t index) {
    const MenuItemSpec& item = items_[index];
    QMenu*& submenu = submenus_[index];
    if (submenu == nullptr) {
        submenu = new QMenu(menu_);
        EnableMenuTouch(*submenu);
    }
    submenu->clear();
    // The fill's action groups go with the actions they grouped.
    qDeleteAll(submenu->findChildren<QActionGroup*>(Qt::FindDirectChildrenOnly));
    submenu->setTitle(item.label);
    submenu->setPalette(menu_->palette());
    submenu->setFont(menu_->font());
    item.fill(*submenu);
    return *submenu;
}

std::vector<QString> CommandMenu::Texts() {
    Rebuild();
    std::vector<QString> texts;
    for (const QAction* action : menu_->actions()) {
        if (!action->isSeparator()) {
            texts.push_back(action->text());
        }
    }
    return texts;
}

void CommandMenu::SetButton(const QString& label, WindowCommand command) {
    buttonCommand_ = command;
    button_->setText(label);
}

int CommandMenu::BarHeight() const {
    return bar_->sizeHint().height();
}

void CommandMenu::SetLook(const QPalette& palette, const QFont& font) {
    // Menus are windows of their own, which take nothing from the window
    // unless given it.
    menu_->setPalette(palette);
    for (QWidget* widget : {static_cast<QWidget*>(window_.menuBar()), static_cast<QWidget*>(menu_),
                            static_cast<QWidget*>(bar_), static_cast<QWidget*>(button_)}) {
        widget->setFont(font);
    }
}

// The speakers: one chosen at a time, or (with "Use Multiple Speakers")
// each switched on and off.
void CommandMenu::FillSpeakers(QMenu& menu) {
    QActionGroup* one = nullptr;
    if (!hooks_.multipleSpeakers()) {
        one = new QActionGroup(&menu);
        one->setExclusive(true);
    }
    for (const Speaker& speaker : speakers_) {
        QAction* action = menu.addAction(Q(speaker.name.empty() ? speaker.id : speaker.name));
        action->setObjectName(Q("speaker " + speaker.id));
        action->setCheckable(true);
        action->setChecked(speaker.enabled);
        if (one != nullptr) {
            one->addAction(action);
        }
        QObject::connect(action, &QAction::triggered, &window_,
                         [this, id = speaker.id](bool checked) { ChooseSpeaker(id, checked); });
    }
}

void CommandMenu::ChooseSpeaker(const std::string& id, bool enabled) {
    if (hooks_.multipleSpeakers()) {
        auto request = std::make_unique<EnableSpeakerRequest>();
        request->id = id;
        request->enabled = enabled;
        requests_.Send(std::move(request));
    } else {
        auto request = std::make_unique<SelectSpeakerRequest>();
        request->id = id;
        requests_.Send(std::move(request));
    }
}

}  // namespace vantor::ui
