#pragma once

// The settings sheet's "Skins" page: every skin file found below the
// install folder's skins/ folder (skins/<folder>/<name>.xml), listed by
// name, the skin in use selected, and a preview of the selected one (the
// skin file's path ending in ".gif" instead of ".xml") drawn at its own
// size below the list. Choosing a skin only records it; the window loads
// it after OK.
//
// Choices of ours: folders and files are enumerated in name order (a
// Linux directory has no order of its own), each inserted at the top, so
// the list reads in reverse name order. The search for the skin in use is
// a prefix match on its file name without ".xml", ignoring case as the
// handheld's list did. Choosing by the keyboard chooses as a tap does.
//
// Threads: the window's thread only.

#include <QImage>
#include <QWidget>
#include <optional>
#include <string>
#include <vector>

class QLabel;
class QSpacerItem;
class QTreeWidget;
class QTreeWidgetItem;

namespace vantor::ui {

inline constexpr const char* kSkinsHelpText =
    "Tap within the list below to select the skin you'd like Vantor to use.";

class SkinsPage final : public QWidget {
public:
    static constexpr int kMaxSkins = 100;  // more are not listed
    static constexpr int kNameColumnWidth = 200;

    explicit SkinsPage(QWidget* parent = nullptr);

    // Lists the skins below `installDir` (ending in "/") and selects the
    // one at `currentSkinPath` (none when it is empty or not found). The
    // choice starts over at none.
    void Fill(const std::string& installDir, const std::string& currentSkinPath);

    // The index into Paths() of the skin the user chose, or -1.
    int ChosenIndex() const { return chosen_; }
    std::optional<std::string> ChosenPath() const;
    // The skin files found, in the order found.
    const std::vector<std::string>& Paths() const { return paths_; }

    QTreeWidget* List() const { return list_; }
    // The names as the list shows them, top to bottom.
    std::vector<std::string> Names() const;
    // The preview drawn now (null when none).
    const QImage& Preview() const { return preview_; }
    QPoint PreviewPosition() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void Choose(QTreeWidgetItem* item);

    QLabel* help_;
    QTreeWidget* list_;
    std::vector<std::string> paths_;
    int chosen_ = -1;
    QImage preview_;
    QSpacerItem* room_;  // below the list: at least the preview's height
};

}  // namespace vantor::ui
