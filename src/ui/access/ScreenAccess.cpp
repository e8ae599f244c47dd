#include "ui/access/ScreenAccess.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>
#include <QWindow>
#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ui/access/ReadableText.h"
#include "ui/screens/HeaderBarWidget.h"
#include "ui/view/ScreenView.h"

namespace vantor::ui {

namespace {

// A control a widget draws rather than holds, as a reader is told of it.
struct Part {
    std::string key;
    QAccessible::Role role = QAccessible::StaticText;
    QString name;
    QString description;
    QRect rect;  // in the widget
    bool pressable = false;
    bool checkable = false;
    bool checked = false;
    bool focused = false;
    bool slider = false;
    std::int32_t minimum = 0, maximum = 0, value = 0, step = 1;
};

// The widget that draws the parts: asked afresh on every question, so a
// part of a screen that has gone is simply not found.
class PartHost {
public:
    virtual ~PartHost() = default;
    virtual QWidget* Widget() const = 0;
    virtual std::vector<Part> Parts() const = 0;
    virtual bool Press(const std::string& /*key*/) { return false; }
    virtual bool SetValue(const std::string& /*key*/, std::int32_t /*value*/) { return false; }
    virtual void Focus(const std::string& /*key*/) {}
    // The widget's own name, when it has one of its own making.
    virtual QString Name() const { return {}; }
};

// How the tab row marks the button that goes back a folder.
constexpr std::string_view kBackMark = "\u2039 ";

class ScreenHost final : public PartHost {
public:
    explicit ScreenHost(ScreenView* view) : view_(view) {}
    QWidget* Widget() const override { return view_; }
    std::vector<Part> Parts() const override {
        std::vector<Part> parts;
        if (view_ == nullptr) {
            return parts;
        }
        using Kind = ScreenView::AccessControl::Kind;
        const bool hasFocus = view_->hasFocus();
        for (const ScreenView::AccessControl& control : view_->AccessControls()) {
            Part part;
            part.key = control.key;
            part.name = control.name;
            part.description = control.description;
            part.rect = control.rect;
            part.focused = hasFocus && control.key == view_->FocusedControl();
            part.pressable = control.pressable;
            switch (control.kind) {
                case Kind::Button:
                    part.role = QAccessible::PushButton;
                    break;
                case Kind::Toggle:
                    part.role = QAccessible::PushButton;
                    part.checkable = true;
                    part.checked = control.checked;
                    break;
                case Kind::Slider:
                    part.role = QAccessible::Slider;
                    part.slider = true;
                    part.minimum = control.minimum;
                    part.maximum = control.maximum;
                    part.value = control.value;
                    part.step = control.step;
                    break;
                case Kind::Label:
                    part.role = QAccessible::StaticText;
                    break;
                case Kind::Image:
                    part.role = QAccessible::Graphic;
                    break;
            }
            parts.push_back(std::move(part));
        }
        return parts;
    }
    bool Press(const std::string& key) override {
        return view_ != nullptr && view_->PressControl(key);
    }
    bool SetValue(const std::string& key, std::int32_t value) override {
        return view_ != nullptr && view_->SetControlValue(key, value);
    }
    void Focus(const std::string& key) override {
        if (view_ != nullptr) {
            view_->setFocus(Qt::OtherFocusReason);
            view_->FocusControl(key);
        }
    }
    // The screen's title as the window shows it: what the menu or the
    // command bar calls it, and on the list screen the tab that is on. A
    // reader hears it when the screen switches.
    QString Name() const override {
        if (view_ == nullptr || view_->Landscape()) {
            return {};
        }
        const std::string_view screen = view_->ShownScreen();
        if (screen == kScreenPlaylist) {
            // (The row is no QObject type of its own: qobject_cast would take any widget.)
            for (const QObject* child : view_->children()) {
                const auto* header = dynamic_cast<const HeaderBarWidget*>(child);
                if (header == nullptr) {
                    continue;
                }
                const std::vector<std::string> texts = header->Texts();
                const int on = header->On();
                if (header->isHidden() || on < 0 || on >= static_cast<int>(texts.size())) {
                    continue;
                }
                std::string text = texts[static_cast<std::size_t>(on)];
                if (text.rfind(kBackMark, 0) == 0) {
                    text.erase(0, kBackMark.size());
                }
                return ReadableText(text);
            }
            return QStringLiteral("Library");
        }
        static constexpr std::pair<std::string_view, const char*> kTitles[] = {
            {kScreenConnect, "Connect"},
            {kScreenMain, "Controls"},
            {kScreenNowPlaying, "Now Playing"},
            {kScreenEq, "Equalizer"},
        };
        for (const auto& [key, title] : kTitles) {
            if (screen == key) {
                return QString::fromLatin1(title);
            }
        }
        return {};
    }

private:
    QPointer<ScreenView> view_;
};

// The list screen's tab row: "Back" while there is a way back, the
// library's title and "Queue" as tabs.
class HeaderHost final : public PartHost {
public:
    explicit HeaderHost(HeaderBarWidget* header) : header_(header) {}
    QWidget* Widget() const override { return header_; }
    std::vector<Part> Parts() const override {
        std::vector<Part> parts;
        // Another screen's tab row: nothing of it is on screen to read or press.
        if (header_ == nullptr || !header_->isVisible()) {
            return parts;
        }
        const std::vector<std::string> texts = header_->Texts();
        const int focused =
            header_->hasFocus() ? TabRowPartOfButton(texts, header_->FocusedButton()) : -1;
        for (std::size_t i = 0; i < texts.size(); ++i) {
            const int button = static_cast<int>(i);
            std::string text = texts[i];
            if (text.rfind(kBackMark, 0) == 0) {
                text.erase(0, kBackMark.size());
                Part back;
                back.key = "back";
                back.role = QAccessible::PushButton;
                back.name = QStringLiteral("Back");
                back.pressable = true;
                const QRect rect = header_->ButtonRect(button);
                back.rect = QRect(rect.topLeft(),
                                  QSize(std::min(rect.width(), rect.height()), rect.height()));
                back.focused = static_cast<int>(parts.size()) == focused;
                parts.push_back(std::move(back));
            }
            Part tab;
            tab.key = std::to_string(i);
            tab.role = QAccessible::PageTab;
            tab.name = ReadableText(text);  // a folder's name, as the server sent it
            tab.rect = header_->ButtonRect(button);
            tab.pressable = true;
            tab.checkable = true;
            tab.checked = button == header_->On();
            tab.focused = static_cast<int>(parts.size()) == focused;
            parts.push_back(std::move(tab));
        }
        return parts;
    }
    bool Press(const std::string& key) override {
        if (header_ == nullptr) {
            return false;
        }
        const int button = key == "back" ? 0 : std::stoi(key);
        if (button < 0 || button >= static_cast<int>(header_->Texts().size())) {
            return false;
        }
        header_->Tap(button);
        return true;
    }

private:
    QPointer<HeaderBarWidget> header_;
};

// Letters, or any buttons a widget paints itself.
class DrawnButtonsHost final : public PartHost {
public:
    DrawnButtonsHost(QWidget* widget, DrawnButtons* buttons) : widget_(widget), buttons_(buttons) {}
    QWidget* Widget() const override { return widget_; }
    std::vector<Part> Parts() const override {
        std::vector<Part> parts;
        if (widget_ == nullptr || !widget_->isVisible()) {
            return parts;
        }
        for (int i = 0; i < buttons_->DrawnButtonCount(); ++i) {
            Part part;
            part.key = std::to_string(i) + " " + buttons_->DrawnButtonText(i).toStdString();
            part.role = QAccessible::PushButton;
            part.name = buttons_->DrawnButtonText(i);
            part.rect = buttons_->DrawnButtonRect(i);
            part.pressable = true;
            parts.push_back(std::move(part));
        }
        return parts;
    }
    bool Press(const std::string& key) override {
        // Pressed by its place and letter, so a strip refilled since finds
        // no stale letter to press.
        for (const Part& part : Parts()) {
            if (part.key == key) {
                buttons_->PressDrawnButton(std::stoi(key));
                return true;
            }
        }
        return false;
    }

private:
    QPointer<QWidget> widget_;
    DrawnButtons* buttons_;  // the widget itself: used only while it lives
};

class HostAccessible;

class PartAccessible final : public QAccessibleInterface,
                             public QAccessibleActionInterface,
                             public QAccessibleValueInterface {
public:
    PartAccessible(HostAccessible& host, std::string key) : host_(host), key_(std::move(key)) {}

    bool isValid() const override;
    QObject* object() const override { return nullptr; }
    QWindow* window() const override;
    QList<std::pair<QAccessibleInterface*, QAccessible::Relation>> relations(
        QAccessible::Relation /*match*/) const override {
        return {};
    }
    QAccessibleInterface* focusChild() const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessibleInterface* parent() const override;
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }

    QString text(QAccessible::Text t) const override {
        const std::optional<Part> part = Find();
        if (!part) {
            return {};
        }
        switch (t) {
            case QAccessible::Name:
                return part->name;
            case QAccessible::Description:
                return part->description;
            case QAccessible::Value:
                return part->slider ? QString::number(part->value) : QString();
            default:
                return {};
        }
    }
    void setText(QAccessible::Text, const QString&) override {}
    QRect rect() const override;
    QAccessible::Role role() const override {
        const std::optional<Part> part = Find();
        return part ? part->role : QAccessible::NoRole;
    }
    QAccessible::State state() const override {
        QAccessible::State state;
        const std::optional<Part> part = Find();
        if (!part) {
            state.invisible = true;
            state.offscreen = true;
            return state;
        }
        state.focusable = true;
        state.focused = part->focused;
        state.checkable = part->checkable;
        state.checked = part->checked;
        return state;
    }
    void* interface_cast(QAccessible::InterfaceType type) override {
        const std::optional<Part> part = Find();
        if (type == QAccessible::ActionInterface) {
            return static_cast<QAccessibleActionInterface*>(this);
        }
        if (type == QAccessible::ValueInterface && part && part->slider) {
            return static_cast<QAccessibleValueInterface*>(this);
        }
        return nullptr;
    }

    // Actions.
    QStringList actionNames() const override {
        const std::optional<Part> part = Find();
        if (!part) {
            return {};
        }
        QStringList names;
        if (part->pressable) {
            names << (part->checkable ? toggleAction() : pressAction());
        }
        if (part->slider) {
            names << increaseAction() << decreaseAction();
        }
        names << setFocusAction();
        return names;
    }
    void doAction(const QString& name) override;
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

    // Value.
    QVariant currentValue() const override {
        const std::optional<Part> part = Find();
        return part ? QVariant(part->value) : QVariant();
    }
    void setCurrentValue(const QVariant& value) override;
    QVariant maximumValue() const override {
        const std::optional<Part> part = Find();
        return part ? QVariant(part->maximum) : QVariant();
    }
    QVariant minimumValue() const override {
        const std::optional<Part> part = Find();
        return part ? QVariant(part->minimum) : QVariant();
    }
    QVariant minimumStepSize() const override {
        const std::optional<Part> part = Find();
        return part ? QVariant(part->step) : QVariant();
    }

    const std::string& Key() const { return key_; }
    const HostAccessible* Host() const { return &host_; }

private:
    std::optional<Part> Find() const;

    HostAccessible& host_;
    const std::string key_;
};

// A widget that draws parts: the parts first, in reading order, then the
// widget's own child controls that show.
class HostAccessible final : public QAccessibleWidget {
public:
    HostAccessible(QWidget* widget, QAccessible::Role role, std::unique_ptr<PartHost> host)
        : QAccessibleWidget(widget, role), host_(std::move(host)) {}
    ~HostAccessible() override {
        for (const auto& [key, id] : ids_) {
            QAccessible::deleteAccessibleInterface(id);
        }
    }

    PartHost& Parts() const { return *host_; }

    QString text(QAccessible::Text t) const override {
        if (t == QAccessible::Name) {
            if (QString name = host_->Name(); !name.isEmpty()) {
                return name;
            }
        }
        return QAccessibleWidget::text(t);
    }

    int childCount() const override {
        return static_cast<int>(host_->Parts().size() + ChildWidgets().size());
    }
    QAccessibleInterface* child(int index) const override {
        if (index < 0) {
            return nullptr;
        }
        const std::vector<Part> parts = host_->Parts();
        if (index < static_cast<int>(parts.size())) {
            return PartInterface(parts[static_cast<std::size_t>(index)].key);
        }
        const std::vector<QWidget*> children = ChildWidgets();
        const auto at = static_cast<std::size_t>(index) - parts.size();
        return at < children.size() ? QAccessible::queryAccessibleInterface(children[at]) : nullptr;
    }
    int indexOfChild(const QAccessibleInterface* child) const override {
        if (child == nullptr) {
            return -1;
        }
        const std::vector<Part> parts = host_->Parts();
        if (const auto* part = dynamic_cast<const PartAccessible*>(child)) {
            if (part->Host() != this) {
                return -1;
            }
            for (std::size_t i = 0; i < parts.size(); ++i) {
                if (parts[i].key == part->Key()) {
                    return static_cast<int>(i);
                }
            }
            return -1;
        }
        const std::vector<QWidget*> children = ChildWidgets();
        for (std::size_t i = 0; i < children.size(); ++i) {
            if (children[i] == child->object()) {
                return static_cast<int>(parts.size() + i);
            }
        }
        return -1;
    }
    QAccessibleInterface* childAt(int x, int y) const override {
        QWidget* w = widget();
        const QPoint local = w->mapFromGlobal(QPoint(x, y));
        for (QWidget* childWidget : ChildWidgets()) {
            if (childWidget->geometry().contains(local)) {
                return QAccessible::queryAccessibleInterface(childWidget);
            }
        }
        for (const Part& part : host_->Parts()) {
            if (part.rect.contains(local)) {
                return PartInterface(part.key);
            }
        }
        return nullptr;
    }
    QAccessibleInterface* focusChild() const override {
        for (const Part& part : host_->Parts()) {
            if (part.focused) {
                return PartInterface(part.key);
            }
        }
        return QAccessibleWidget::focusChild();
    }

    QAccessibleInterface* PartInterface(const std::string& key) const {
        if (const auto found = ids_.find(key); found != ids_.end()) {
            if (QAccessibleInterface* known = QAccessible::accessibleInterface(found->second)) {
                return known;
            }
        }
        auto* part = new PartAccessible(const_cast<HostAccessible&>(*this), key);
        ids_[key] = QAccessible::registerAccessibleInterface(part);
        return part;
    }

private:
    // The child controls that show: the screen's others are hidden, and not
    // in the tree.
    std::vector<QWidget*> ChildWidgets() const {
        std::vector<QWidget*> result;
        for (QObject* object : widget()->children()) {
            auto* childWidget = qobject_cast<QWidget*>(object);
            if (childWidget != nullptr && !childWidget->isWindow() && !childWidget->isHidden()) {
                result.push_back(childWidget);
            }
        }
        return result;
    }

    std::unique_ptr<PartHost> host_;
    // One interface per part for the widget's life, so a reader's handle
    // keeps its meaning while the part comes and goes with its screen.
    mutable std::map<std::string, QAccessible::Id> ids_;
};

bool PartAccessible::isValid() const {
    return host_.Parts().Widget() != nullptr;
}

QWindow* PartAccessible::window() const {
    return host_.window();
}

QAccessibleInterface* PartAccessible::parent() const {
    return &host_;
}

std::optional<Part> PartAccessible::Find() const {
    for (Part& part : host_.Parts().Parts()) {
        if (part.key == key_) {
            return std::move(part);
        }
    }
    return std::nullopt;
}

QRect PartAccessible::rect() const {
    const std::optional<Part> part = Find();
    QWidget* widget = host_.Parts().Widget();
    if (!part || widget == nullptr) {
        return {};
    }
    return QRect(widget->mapToGlobal(part->rect.topLeft()), part->rect.size());
}

void PartAccessible::doAction(const QString& name) {
    const std::optional<Part> part = Find();
    if (!part) {
        return;  // its screen has gone
    }
    if (name == pressAction() || name == toggleAction()) {
        host_.Parts().Press(key_);
    } else if (part->slider && (name == increaseAction() || name == decreaseAction())) {
        const std::int32_t step = name == increaseAction() ? part->step : -part->step;
        const std::int32_t target = std::clamp(part->value + step, part->minimum, part->maximum);
        if (target != part->value) {
            host_.Parts().SetValue(key_, target);
        }
    } else if (name == setFocusAction()) {
        host_.Parts().Focus(key_);
    }
}

void PartAccessible::setCurrentValue(const QVariant& value) {
    const std::optional<Part> part = Find();
    bool ok = false;
    const double number = value.toDouble(&ok);
    if (!part || !part->slider || !ok || !std::isfinite(number)) {
        return;
    }
    const auto target = static_cast<std::int32_t>(
        std::lround(std::clamp(number, double(part->minimum), double(part->maximum))));
    host_.Parts().SetValue(key_, target);
}

QAccessibleInterface* Factory(const QString& /*className*/, QObject* object) {
    if (auto* view = dynamic_cast<ScreenView*>(object)) {
        return new HostAccessible(view, QAccessible::Client, std::make_unique<ScreenHost>(view));
    }
    if (auto* header = dynamic_cast<HeaderBarWidget*>(object)) {
        return new HostAccessible(header, QAccessible::PageTabList,
                                  std::make_unique<HeaderHost>(header));
    }
    if (auto* buttons = dynamic_cast<DrawnButtons*>(object)) {
        if (auto* widget = qobject_cast<QWidget*>(object)) {
            return new HostAccessible(widget, QAccessible::ToolBar,
                                      std::make_unique<DrawnButtonsHost>(widget, buttons));
        }
    }
    return nullptr;
}

}  // namespace

int TabRowPartOfButton(const std::vector<std::string>& texts, int button) {
    if (button < 0 || button >= static_cast<int>(texts.size())) {
        return -1;
    }
    // Each button before it that goes back is read as two parts.
    int part = button;
    for (int i = 0; i < button; ++i) {
        if (texts[static_cast<std::size_t>(i)].rfind(kBackMark, 0) == 0) {
            ++part;
        }
    }
    return part;
}

void InstallAccessibleFactory() {
    static const bool installed = [] {
        QAccessible::installFactory(&Factory);
        return true;
    }();
    (void)installed;
}

}  // namespace vantor::ui
