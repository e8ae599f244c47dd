// Painting the default skin at 480 x 640: a full paint of each screen
// against one memcpy of a 480 x 640 frame (the least any full redraw can
// cost), and one redraw of the volume bar, which the screens repeat while
// the stylus drags it.

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <cstring>
#include <string>
#include <vector>

#include "skin/CSkin.h"
#include "skin/SkinBar.h"
#include "skin/SkinScreen.h"
#include "support/BenchReport.h"

namespace vantor {
namespace {

constexpr int kWidth = 480;
constexpr int kHeight = 640;
const char* const kScreens[] = {"main", "nowplaying", "playlist", "connect", "eq"};

// Fonts are made when the skin is read, and fonts need an application.
void EnsureApplication() {
    if (QGuiApplication::instance() == nullptr) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
        static int argc = 1;
        static char name[] = "skin_bench";
        static char* argv[] = {name, nullptr};
        new QGuiApplication(argc, argv);
    }
}

const CSkin& DefaultSkin() {
    static const CSkin* skin = [] {
        EnsureApplication();
        auto* loaded = new CSkin;
        loaded->SetScale(SkinScale{192, 192});
        if (!loaded->LoadSkin(VANTOR_DEFAULT_SKIN, SkinRect{0, 0, kWidth, kHeight})) {
            std::fprintf(stderr, "cannot load %s\n", VANTOR_DEFAULT_SKIN);
            std::abort();
        }
        // Load every image before anything is timed.
        QImage warm(kWidth, kHeight, QImage::Format_RGB32);
        const SkinDrawGuard lock;
        for (const char* screen : kScreens) {
            PaintScreen(lock, *loaded, warm, screen);
        }
        return loaded;
    }();
    return *skin;
}

void BM_Memcpy(benchmark::State& state) {
    const std::size_t bytes = std::size_t{kWidth} * kHeight * 4;
    std::vector<char> from(bytes, 1);
    std::vector<char> to(bytes);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}

void BM_Paint(benchmark::State& state, const char* screen) {
    const CSkin& skin = DefaultSkin();
    QImage target(kWidth, kHeight, QImage::Format_RGB32);
    for (auto _ : state) {
        const SkinDrawGuard lock;
        PaintScreen(lock, skin, target, screen);
        benchmark::DoNotOptimize(target.constBits());
    }
}

void BM_VolumeBarRedraw(benchmark::State& state) {
    const CSkin& skin = DefaultSkin();
    QImage target(kWidth, kHeight, QImage::Format_RGB32);
    {
        const SkinDrawGuard lock;
        PaintScreen(lock, skin, target, kScreenMain);
    }
    const std::int32_t width =
        static_cast<std::int32_t>(skin.FindComponent("volumebar")->norm.destination.Width());
    std::int32_t percent = 0;
    for (auto _ : state) {
        const SkinDrawGuard lock;
        DrawBar(lock, skin, target, kVolumeBar, VolumeToPixels(percent, width), false, kScreenMain);
        percent = (percent + 7) % 101;
        benchmark::DoNotOptimize(target.constBits());
    }
}

BENCHMARK(BM_Memcpy)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Paint, main, "main")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Paint, nowplaying, "nowplaying")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Paint, playlist, "playlist")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Paint, connect, "connect")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Paint, eq, "eq")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_VolumeBarRedraw)->Unit(benchmark::kMicrosecond);

const int kComparisons = [] {
    for (const char* screen : kScreens) {
        bench::CompareTo(std::string("BM_Paint/") + screen, "BM_Memcpy");
    }
    return 0;
}();

}  // namespace
}  // namespace vantor

VANTOR_BENCHMARK_MAIN()
