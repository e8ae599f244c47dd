// The window's key rules against a fake window and clock: which presses
// and releases fire which functions, which drive the lists, and which go
// on to the focused control.

#include <gtest/gtest.h>

#include <QKeyEvent>
#include <string>
#include <vector>

#include "ui/keys/KeyNames.h"
#include "ui/keys/KeyTranslator.h"

namespace vantor::ui {
namespace {

using namespace std::chrono_literals;

// The screens as far as their keys go: "playlist" has keys of its own (the
// library's) and a search field; "main" takes Up and Down when unbound.
class FakeWindow final : public KeyWindow, private ScreenKeys {
public:
    ScreenKeys& CurrentKeys() override { return *this; }
    void FireFunction(FunctionId id) override {
        done.push_back("fire " + std::to_string(RowOf(id)));
    }
    void NoteUserInput() override { ++inputs; }
    std::chrono::steady_clock::time_point Now() const override { return now; }

    std::string screen = "main";
    bool searchFocused = false;
    bool mainListFocused = false;
    std::vector<std::string> done;
    int inputs = 0;
    std::chrono::steady_clock::time_point now{1h};

private:
    bool Typing() const override { return screen == "playlist" && searchFocused; }
    bool OwnKeyUp(std::int32_t vk) override {
        if (screen != "playlist") {
            return false;
        }
        const char* action = vk == kVkReturn || vk == kVkCenter || vk == kVkRight ? "open"
                             : vk == kVkLeft                                      ? "back"
                             : vk == kVkUp || vk == kVkDown                       ? "focus library"
                                                                                  : nullptr;
        if (action != nullptr) {
            done.push_back(action);
        }
        return action != nullptr;
    }
    bool FreeDirectionKeyUp(std::int32_t /*vk*/) override {
        if (screen != "main") {
            return false;
        }
        if (!mainListFocused) {
            done.push_back("focus current");
        }
        return true;
    }
};

constexpr std::int32_t kKeyA = 'A', kKeyB = 'B', kKeyC = 'C', kKeyU = 'U';

struct Step {
    bool down;
    std::int32_t vk;
    std::chrono::milliseconds after;  // since the step before
    bool consumed;
    const char* done;  // what the window was asked to do, "" for nothing
};

struct Story {
    const char* name;
    const char* screen;
    bool searchFocused;
    bool mainListFocused;
    std::vector<std::pair<FunctionId, std::int32_t>> bindings;
    std::vector<Step> steps;
};

constexpr bool kDown = true, kUp = false;

TEST(KeyTranslatorTest, Stories) {
    const Story stories[] = {
        {"two releases within 100 ms fire the first only; later ones fire again",
         "main",
         false,
         false,
         {{FunctionId::Play, kKeyA}, {FunctionId::Stop, kKeyB}},
         {{kUp, kKeyA, 0ms, true, "fire 0"},
          {kUp, kKeyB, 40ms, false, ""},
          {kUp, kKeyB, 60ms, false, ""},  // 100 ms after "Play": still within
          {kUp, kKeyB, 1ms, true, "fire 3"},
          {kUp, kKeyA, 101ms, true, "fire 0"}}},
        {"a release within 100 ms of a repeating function's press is not held back",
         "main",
         false,
         false,
         {{FunctionId::VolumeUp, kKeyU}, {FunctionId::Play, kKeyA}},
         {{kDown, kKeyU, 0ms, true, "fire 6"}, {kUp, kKeyA, 10ms, true, "fire 0"}}},
        {"keys bound to nothing go on to the control",
         "main",
         false,
         false,
         {{FunctionId::Play, kKeyA}},
         {{kDown, kKeyC, 0ms, false, ""},
          {kUp, kKeyC, 10ms, false, ""},
          {kDown, 0, 10ms, false, ""},
          {kUp, 0, 10ms, false, ""}}},
        {"the play queue's keys drive its list, bound or not",
         "playlist",
         false,
         false,
         {{FunctionId::VolumeUp, kVkUp}, {FunctionId::Play, kVkReturn}},
         {{kUp, kVkReturn, 0ms, true, "open"},
          {kUp, kVkCenter, 0ms, true, "open"},
          {kUp, kVkRight, 0ms, true, "open"},
          {kUp, kVkLeft, 0ms, true, "back"},
          {kDown, kVkUp, 0ms, true, "fire 6"},
          {kUp, kVkUp, 0ms, true, "focus library"},
          {kUp, kVkDown, 0ms, true, "focus library"}}},
        {"the search field keeps every key",
         "playlist",
         true,
         false,
         {{FunctionId::VolumeUp, kKeyU}, {FunctionId::Play, kKeyA}},
         {{kDown, kKeyU, 0ms, false, ""},
          {kDown, kKeyA, 0ms, false, ""},
          {kUp, kKeyA, 0ms, false, ""},
          {kUp, kVkReturn, 0ms, false, ""},
          {kUp, kVkUp, 0ms, false, ""}}},
        {"Up and Down on main bring its list in at the song playing when unbound",
         "main",
         false,
         false,
         {},
         {{kDown, kVkUp, 0ms, false, ""},
          {kUp, kVkUp, 0ms, true, "focus current"},
          {kUp, kVkDown, 0ms, true, "focus current"}}},
        {"... and are only swallowed once the list has the focus",
         "main",
         false,
         true,
         {},
         {{kUp, kVkDown, 0ms, true, ""}}},
        {"Up and Down bound on main fire, but not within 100 ms of another",
         "main",
         false,
         false,
         {{FunctionId::NextSong, kVkDown}, {FunctionId::Play, kKeyA}},
         {{kUp, kVkDown, 0ms, true, "fire 4"},
          {kUp, kKeyA, 50ms, false, ""},
          {kUp, kVkDown, 20ms, false, ""},
          {kUp, kVkUp, 0ms, false, ""},  // unbound, yet within 100 ms: the list's
          {kUp, kVkUp, 100ms, true, "focus current"}}},
        {"Up and Down unbound elsewhere are the control's",
         "nowplaying",
         false,
         false,
         {{FunctionId::VolumeDown, kVkDown}},
         {{kUp, kVkUp, 0ms, false, ""},
          {kDown, kVkDown, 0ms, true, "fire 7"},
          {kUp, kVkDown, 0ms, true, ""}}},
    };
    for (const Story& story : stories) {
        SCOPED_TRACE(story.name);
        FunctionTable table;
        for (const auto& [id, key] : story.bindings) {
            table.Bind(id, key);
        }
        FakeWindow window;
        window.screen = story.screen;
        window.searchFocused = story.searchFocused;
        window.mainListFocused = story.mainListFocused;
        KeyTranslator translator(table, window);
        int index = 0;
        for (const Step& step : story.steps) {
            SCOPED_TRACE("step " + std::to_string(index++));
            window.now += step.after;
            window.done.clear();
            const int inputs = window.inputs;
            const bool consumed =
                step.down ? translator.KeyDown(step.vk) : translator.KeyUp(step.vk);
            EXPECT_EQ(consumed, step.consumed);
            EXPECT_EQ(window.done.empty() ? std::string() : window.done.front(), step.done);
            EXPECT_LE(window.done.size(), 1u);
            EXPECT_EQ(window.inputs, inputs + 1);  // every key message is input
        }
    }
}

}  // namespace
}  // namespace vantor::ui
