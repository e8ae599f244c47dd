#pragma once

// When and to which server the client connects: the connection attempt
// (discovery when no server is given, waits while the device has no
// network, the connect loop), the network watch, reconnection after a loss,
// and the start of a session once connected. It is the main window's
// logic, kept free of any toolkit: the window implements ConnectionFrame,
// delivers the flow's posted messages and timer expiries back to it on its
// own thread, and hands the connection manager's listener calls through it
// (the flow listens to the manager and passes every call on).
//
// Threads: the methods marked "UI thread" run on the window's thread. The
// attempt thread, the network watch thread and the channel's receiver
// thread call the frame's thread-safe operations and post messages; they
// never touch the screen themselves. The frame, its listener and the
// manager must outlive the flow; the flow's threads and a listener call
// still under way (the update check) own the rest of what they use, and stop
// calling the frame, its listener and the manager once the flow is
// destroyed.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "net/LocalAddressSource.h"
#include "session/ConnectionManager.h"
#include "session/PlayerListener.h"

namespace vantor {

// What the flow posts to itself through the window's queue, so that it is
// handled on the window's thread. The values are the window's event types.
enum class FlowMessage {
    SessionReady = 1030,
    Reconnect = 1031,
    NetworkLost = 1032,
    NetworkBack = 1033,
};

// The flow's timers, run by the window: Reconnect repeats every 2000 ms
// while the connection is down, AutoConnect fires once, 10 ms after start.
enum class FlowTimer { Reconnect, AutoConnect };

// Texts the flow shows.
inline constexpr const char* kDiscoveringText = "Discovering Vantor server...";
inline constexpr const char* kDiscoveryFailedText = "Unable to discover Vantor server";
inline constexpr const char* kConnectingText = "Connecting...";
inline constexpr const char* kReconnectingText = "Reconnecting...";
inline constexpr const char* kNetworkDisconnectedText = "Network Disconnected";
inline constexpr const char* kDiscoveryFailureCaption = "Auto-discovery Failure";
inline constexpr const char* kDiscoveryFailureMessage =
    "Unable to auto-discover Vantor server. Either the server is not running or "
    "auto-discovery is not possible with your current network configuration. If the server "
    "is running, please enter the IP address you wish to connect to.";

// The screens the flow tells apart; the window has more, all "Other" here.
enum class FlowScreen { Connect, Main, Other };

// What the flow needs from the main window.
class ConnectionFrame {
public:
    virtual ~ConnectionFrame() = default;

    // Any thread. ----------------------------------------------------------
    // The screen shown.
    virtual FlowScreen CurrentScreen() const = 0;
    // Queues a message for the window's thread, which hands it to
    // ConnectionFlow::Handle.
    virtual void Post(FlowMessage message) = 0;
    // The connect screen's status line.
    virtual void SetStatus(const std::string& text) = 0;
    // The connect screen ready for input again (after a failed discovery).
    virtual void SetConnectReady() = 0;
    // A message box with an OK button; it may return before it is closed.
    virtual void ShowMessage(const std::string& caption, const std::string& text) = 0;
    // The now-playing title and whether it is shown.
    virtual std::pair<std::string, bool> Title() const = 0;
    virtual void SetTitle(const std::string& text, bool shown) = 0;

    // UI thread only. -------------------------------------------------------
    // The text of the connect screen's server list box.
    virtual std::string ServerListText() const = 0;
    virtual void SwitchScreen(FlowScreen screen) = 0;
    // Window timers; an expiry comes back through ConnectionFlow::OnTimer.
    virtual void StartTimer(FlowTimer timer, std::chrono::milliseconds period) = 0;
    virtual void KillTimer(FlowTimer timer) = 0;
    virtual void SaveSettings() = 0;
    // After a reconnection: show the position and progress again.
    virtual void RefreshNowPlaying() = 0;
    virtual void Redraw() = 0;
};

// The self-update check that runs when the server has said which client
// version it offers. Runs on the channel's receiver thread.
class UpdateCheck {
public:
    virtual ~UpdateCheck() = default;
    // True when an update is being applied and the client is quitting: the
    // session must not start.
    virtual bool Run(const GetClientVersionResponse& offer) = 0;
};

struct FlowOptions {
    // The server's message port: 0 for 3567. Tests give their server's.
    std::uint16_t port = 0;
    std::chrono::milliseconds watchPeriod{1000};
    std::chrono::milliseconds networkDownStep{500};
    // Between failed connects to the same server. A refused connect returns
    // at once; without a pause the loop would spin a core and flood the
    // server with connects until it comes back.
    std::chrono::milliseconds retryPause{250};
    // A connection that ends before its server answered the version request,
    // or within `shortLived`, was likely taken by something in between (a
    // tunnel or port proxy whose server is away) that accepts and closes at
    // once. Reconnecting after such a drop first waits `dropPause`, doubled
    // for each such drop in a row up to `dropPauseCap`, so the client
    // neither spins nor gives up.
    std::chrono::milliseconds shortLived{3000};
    std::chrono::milliseconds dropPause{250};
    std::chrono::milliseconds dropPauseCap{4000};
    std::string platform = "ppc";
};

class ConnectionFlow final {
public:
    // `frameListener` receives every listener call the flow passes on (may
    // be null); `update` may be null for no update check.
    ConnectionFlow(ConnectionManager& manager, ConnectionFrame& frame,
                   PlayerListener* frameListener, std::shared_ptr<LocalAddressSource> addresses,
                   UpdateCheck* update, FlowOptions options = {});
    ~ConnectionFlow();
    ConnectionFlow(const ConnectionFlow&) = delete;
    ConnectionFlow& operator=(const ConnectionFlow&) = delete;

    // UI thread: the start of the program. Starts the network watch and,
    // unless this is the first run, with auto connect on, timer 102.
    void Start(bool firstRun, bool autoConnect);
    // UI thread: the Connect button. Nothing when an attempt is running;
    // otherwise saves the settings and starts an attempt (never a
    // reconnection) to the server in the list box ("(Find Automatically)":
    // discovery).
    void ConnectPressed();
    // UI thread: the disconnect command. Ends a running attempt (waiting for
    // it, bounded) and the connection; no reconnection follows.
    void Disconnect();
    // UI thread: a message posted by the flow. A reconnection asked for
    // while an attempt runs is kept for when it ends.
    void Handle(FlowMessage message);
    // UI thread: a timer expired.
    void OnTimer(FlowTimer timer);
    // UI thread: the "Exit" command, before the window quits: aborts a
    // running attempt, saves the settings, and ends the flow's threads.
    void Exit();

    // Any thread: shows a text in the now-playing title, keeping the title
    // (unless kept already), and brings the kept title back. The update
    // shares these with the connection's status texts.
    void ShowInTitle(const std::string& text);
    void RestoreTitleNow();

    bool AttemptRunning() const;
    bool NetworkDown() const;
    std::string TargetServer() const;

private:
    // Everything the flow's threads use, shared with them, and the
    // manager's listener: a thread that outlives its stop time-out, or a
    // listener call still under way (the update check), keeps it alive and,
    // once the flow is gone, calls neither the frame nor the manager again.
    class Core;

    std::shared_ptr<Core> core_;
    ConnectionManager& manager_;
};

}  // namespace vantor
