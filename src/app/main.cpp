// vantor: the remote control's window.
//
//   vantor [--config FILE] [--geometry WxH | --fullscreen] [--dpi N] [--server HOST]
//          [--port N] [--media-port N] [--broadcast ADDRESS] [--discovery-port N]
//          [--log-level N] [--log FILE] [--tour DIR]
//
// A second start with the same settings file brings the running window to
// the front instead. With --tour the client runs offscreen, pictures every
// screen of a live session into DIR and ends.

#include <malloc.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QSocketNotifier>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "core/Logger.h"
#include "session/Settings.h"
#include "ui/desktop/MprisService.h"
#include "ui/desktop/SingleInstance.h"
#include "ui/view/ChromeLook.h"
#include "ui/window/CMainFrame.h"
#include "ui/window/Prompter.h"
#include "ui/window/Tour.h"

namespace {

using vantor::ui::CMainFrame;
using vantor::ui::FrameOptions;

struct Arguments {
    FrameOptions frame;
    QString tour;
    int tourTimeout = 20;
    int logLevel = vantor::Logger::kDefaultThreshold;
    QString logFile;
};

bool ParsePort(const QString& text, std::uint16_t* port) {
    bool ok = false;
    const uint value = text.toUInt(&ok);
    if (!ok || value > 65535) {
        return false;
    }
    *port = static_cast<std::uint16_t>(value);
    return true;
}

// One to five ASCII digits.
bool ParseDimension(QStringView digits, int* value) {
    if (digits.isEmpty() || digits.size() > 5) {
        return false;
    }
    int result = 0;
    for (const QChar digit : digits) {
        if (digit < u'0' || digit > u'9') {
            return false;
        }
        result = result * 10 + (digit.unicode() - u'0');
    }
    *value = result;
    return true;
}

// Digits, "x", digits and nothing else ("480x640px" is no size). Read by
// hand: a regular expression would bring its engine's code and compiled
// pattern into the program's memory for one look at one word.
bool ParseSize(const QString& text, int* width, int* height) {
    const qsizetype x = text.indexOf(u'x');
    return x >= 0 && ParseDimension(QStringView(text).left(x), width) &&
           ParseDimension(QStringView(text).mid(x + 1), height);
}

// Fails with a message on stderr (exit status 1) for bad values.
// `geometryValue`: the --geometry taken from the command line before Qt saw
// it (none: not given; an empty value given is a bad one).
bool Parse(QCoreApplication& application, Arguments& arguments,
           const std::optional<QString>& geometryValue) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Vantor: the remote control for your desktop media player."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption config(
        QStringLiteral("config"),
        QStringLiteral("The settings file (default: %1).")
            .arg(QString::fromStdString(vantor::RegistryStore::DefaultPath())),
        QStringLiteral("FILE"));
    const QCommandLineOption geometry(
        QStringLiteral("geometry"),
        QStringLiteral("The window's size, menu and command bar inside it (default 480x640)."),
        QStringLiteral("WxH"), QStringLiteral("480x640"));
    const QCommandLineOption fullScreen(
        QStringLiteral("fullscreen"),
        QStringLiteral("The whole screen without a window frame (a panel on the wall)."));
    const QCommandLineOption dpi(QStringLiteral("dpi"),
                                 QStringLiteral("Pixels per inch (default: 96 x the scale)."),
                                 QStringLiteral("N"));
    const QCommandLineOption server(
        QStringLiteral("server"),
        QStringLiteral("The server to connect to in this run; saved settings stay as they are."),
        QStringLiteral("HOST"));
    const QCommandLineOption port(QStringLiteral("port"),
                                  QStringLiteral("The server's message port (default 3567)."),
                                  QStringLiteral("N"), QStringLiteral("3567"));
    const QCommandLineOption mediaPort(QStringLiteral("media-port"),
                                       QStringLiteral("The server's media port (default 3569)."),
                                       QStringLiteral("N"), QStringLiteral("3569"));
    const QCommandLineOption broadcast(
        QStringLiteral("broadcast"),
        QStringLiteral("Where discovery probes go (default 255.255.255.255)."),
        QStringLiteral("ADDRESS"), QStringLiteral("255.255.255.255"));
    const QCommandLineOption discoveryPort(
        QStringLiteral("discovery-port"),
        QStringLiteral("The port discovery probes go to (default 3568)."), QStringLiteral("N"),
        QStringLiteral("3568"));
    const QCommandLineOption logLevel(QStringLiteral("log-level"),
                                      QStringLiteral("Log lines up to this level (default 1)."),
                                      QStringLiteral("N"));
    const QCommandLineOption logFile(QStringLiteral("log"),
                                     QStringLiteral("Also append the log to this file."),
                                     QStringLiteral("FILE"));
    const QCommandLineOption tour(
        QStringLiteral("tour"),
        QStringLiteral("Picture every screen of a live session into DIR offscreen, then end."),
        QStringLiteral("DIR"));
    const QCommandLineOption tourTimeout(
        QStringLiteral("tour-timeout"),
        QStringLiteral("How long the tour waits for a session, in seconds (default 20)."),
        QStringLiteral("SECONDS"), QStringLiteral("20"));
    for (const QCommandLineOption* option :
         {&config, &geometry, &fullScreen, &dpi, &server, &port, &mediaPort, &broadcast,
          &discoveryPort, &logLevel, &logFile, &tour, &tourTimeout}) {
        parser.addOption(*option);
    }
    parser.process(application);

    const auto fail = [](const char* what, const QString& value) {
        std::fprintf(stderr, "vantor: bad %s: %s\n", what, value.toUtf8().constData());
        return false;
    };
    FrameOptions& frame = arguments.frame;
    frame.configPath = parser.value(config).toStdString();
    int width = 0;
    int height = 0;
    const QString size = geometryValue ? *geometryValue : parser.value(geometry);
    if (!ParseSize(size, &width, &height) || width < 64 || height < 64 || width > 8192 ||
        height > 8192) {
        return fail("--geometry (WxH, 64 to 8192 each)", size);
    }
    frame.screen = QSize(width, height);
    frame.screenIsWindow = true;
    frame.fullScreen = parser.isSet(fullScreen);
    if (parser.isSet(dpi)) {
        bool ok = false;
        frame.dpi = parser.value(dpi).toInt(&ok);
        if (!ok || frame.dpi < 24 || frame.dpi > 1200) {
            return fail("--dpi (24 to 1200)", parser.value(dpi));
        }
    }
    frame.server = parser.value(server).trimmed().toStdString();
    if (!ParsePort(parser.value(port), &frame.port) || frame.port == 0) {
        return fail("--port", parser.value(port));
    }
    if (!ParsePort(parser.value(mediaPort), &frame.mediaPort) || frame.mediaPort == 0) {
        return fail("--media-port", parser.value(mediaPort));
    }
    frame.discovery.broadcastAddress = parser.value(broadcast).toStdString();
    if (!ParsePort(parser.value(discoveryPort), &frame.discovery.discoveryPort) ||
        frame.discovery.discoveryPort == 0) {
        return fail("--discovery-port", parser.value(discoveryPort));
    }
    frame.discovery.messagePort = frame.port;
    if (parser.isSet(logLevel)) {
        bool ok = false;
        arguments.logLevel = parser.value(logLevel).toInt(&ok);
        if (!ok) {
            return fail("--log-level", parser.value(logLevel));
        }
    }
    arguments.logFile = parser.value(logFile);
    arguments.tour = parser.value(tour);
    bool ok = false;
    arguments.tourTimeout = parser.value(tourTimeout).toInt(&ok);
    if (!ok || arguments.tourTimeout < 1) {
        return fail("--tour-timeout", parser.value(tourTimeout));
    }
    return true;
}

void NameTheProgram() {
    QCoreApplication::setApplicationName(QStringLiteral("vantor"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(vantor::kClientVersion));
}

// Whether the command line asks for the help or the version, which need
// no window: without a display the window's application would end the
// program before they were printed.
bool AsksHelpOrVersion(int argc, char** argv) {
    QStringList words;
    for (int i = 0; i < argc; ++i) {
        words << QString::fromLocal8Bit(argv[i]);
    }
    // Read as the full parse will, compacted short options ("-hv") included;
    // options this parser does not know are left to that parse.
    QCommandLineParser parser;
    const QCommandLineOption help = parser.addHelpOption();
    const QCommandLineOption version = parser.addVersionOption();
    static_cast<void>(parser.parse(words));
    return parser.isSet(help) || parser.isSet(version);
}

// Milliseconds on the monotonic clock, which a program that starts this
// one can compare with its own.
double MonotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1000.0 + static_cast<double>(now.tv_nsec) / 1e6;
}

// Qt's own diagnostics go to the program's log: warnings (the offscreen
// platform's notes on window sizes, say) are detail, shown from level 2;
// critical and fatal messages are errors.
void QtMessage(QtMsgType type, const QMessageLogContext&, const QString& message) {
    const int level =
        type == QtCriticalMsg || type == QtFatalMsg ? vantor::kLogError : vantor::kLogInfo;
    vantor::Log(level, "Qt: %s", message.toUtf8().constData());
}

// SIGTERM and SIGINT end the program as the Exit command does, settings
// saved: a signal handler may only write to a pipe, which the window's
// thread reads.
int signalPipe[2] = {-1, -1};

void OnSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
}

void ExitOnSignals(CMainFrame& frame, QObject* owner) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0) {
        return;
    }
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, owner);
    QObject::connect(notifier, &QSocketNotifier::activated, owner, [&frame] {
        char byte = 0;
        [[maybe_unused]] const ssize_t read = ::read(signalPipe[0], &byte, 1);
        frame.Command(vantor::ui::WindowCommand::Exit);
    });
    struct sigaction action {};
    action.sa_handler = OnSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    // Skin images and screen buffers are a megabyte or more each and come
    // and go with the screens; allocated on their own they go back to the
    // system when freed instead of staying in the heap (whose threshold
    // would otherwise grow past their size after the first is freed).
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    qInstallMessageHandler(QtMessage);
    // The tour runs without a display; it must say so before Qt starts.
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--tour") == 0 || std::strncmp(argv[i], "--tour=", 7) == 0) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
    }
    Arguments arguments;
    if (AsksHelpOrVersion(argc, argv)) {
        // Parse prints the answer and ends the program; it comes back only
        // when the word was an option's value ("--server -h"), and the
        // window's application then reads the options again.
        QCoreApplication answering(argc, argv);
        NameTheProgram();
        if (!Parse(answering, arguments, {})) {
            return 1;
        }
    }
    // Qt's X11 platform reads "-geometry" (and "--geometry") as its own and
    // sizes the first window by it, menu and command bar included, without
    // telling the window; it is ours, so Qt never sees it.
    std::optional<QString> geometryValue;
    std::vector<char*> qtArguments;
    for (int i = 0; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (i > 0 && (word == "--geometry" || word == "-geometry") && i + 1 < argc) {
            geometryValue = QString::fromLocal8Bit(argv[++i]);
        } else if (i > 0 && (word.starts_with("--geometry=") || word.starts_with("-geometry="))) {
            geometryValue = QString::fromLocal8Bit(word.substr(word.find('=') + 1).data());
        } else {
            qtArguments.push_back(argv[i]);
        }
    }
    int qtCount = static_cast<int>(qtArguments.size());
    qtArguments.push_back(nullptr);
    QApplication application(qtCount, qtArguments.data());
    // One look everywhere, whatever the desktop's theme: the skin sets the
    // colours.
    QApplication::setStyle(vantor::ui::MakeWindowStyle());
    NameTheProgram();

    if (!Parse(application, arguments, geometryValue)) {
        return 1;
    }
    vantor::Logger::Instance().SetThreshold(arguments.logLevel);
    if (!arguments.logFile.isEmpty()) {
        std::shared_ptr<vantor::LogSink> sink =
            vantor::FileSink::Open(arguments.logFile.toStdString());
        if (!sink) {
            std::fprintf(stderr, "vantor: cannot append to %s\n",
                         arguments.logFile.toUtf8().constData());
            return 1;
        }
        vantor::Logger::Instance().SetSink(1, std::move(sink));
    }

    const bool touring = !arguments.tour.isEmpty();
    FrameOptions& options = arguments.frame;
    if (options.configPath.empty()) {
        options.configPath = vantor::RegistryStore::DefaultPath();
    }
    vantor::ui::SingleInstance instance(QString::fromStdString(options.configPath));
    if (!touring && instance.RaiseRunning()) {
        return 0;
    }

    std::unique_ptr<vantor::ui::Prompter> tourBoxes;
    vantor::ui::FrameServices services;
    if (touring) {
        tourBoxes = std::make_unique<vantor::ui::TourPrompter>();
        services.prompter = tourBoxes.get();
    }
    CMainFrame frame(options, services);
    frame.SetMilestoneHandler([](const char* milestone) {
        vantor::Log(vantor::kLogVerbose, "vantor: %s at %.3f ms (monotonic)", milestone,
                    MonotonicMs());
    });
    if (!frame.Create()) {
        // No skin could be loaded; the user was told.
        return touring ? 1 : 0;
    }
    if (!touring) {
        instance.Listen([&frame] {
            vantor::Log(vantor::kLogInfo, "vantor: a later start asked for the window");
            frame.showNormal();
            frame.raise();
            frame.activateWindow();
        });
    }
    ExitOnSignals(frame, &application);
    if (options.fullScreen && !touring) {
        frame.showFullScreen();
    } else {
        frame.show();
    }
    // The desktop's media keys, lock screen and panel applets steer the
    // remote player over the session bus; the tour stays off the bus.
    std::unique_ptr<vantor::ui::MprisService> mpris;
    if (!touring) {
        mpris = vantor::ui::MprisService::Offer(frame.Desktop());
    }

    std::unique_ptr<vantor::ui::Tour> tour;
    if (touring) {
        tour = std::make_unique<vantor::ui::Tour>(frame.ForTour(), arguments.tour,
                                                  std::chrono::seconds(arguments.tourTimeout));
        tour->Start();
    }
    return QApplication::exec();
}
