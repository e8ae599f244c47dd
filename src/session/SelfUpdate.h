#pragma once

// The client's self-update. When the server offers a newer client than this
// one, the user is asked; on yes the installer is downloaded over HTTP, its
// MD5 digest compared with the server's checksum, and the file opened, after
// which the client quits so the installer can replace it. A left-over
// installer from an earlier update is deleted when nothing newer is offered:
// only files this client downloaded, which it lists in the install folder.
//
// Threads: Run is the UpdateCheck and runs on the channel's receiver thread,
// blocking it for the whole check, download included; the window keeps
// drawing the progress it is given.

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "session/ConnectionFlow.h"

namespace vantor {

inline constexpr const char* kUpdateAvailableCaption = "Update Available";
inline constexpr const char* kUpdateAvailableText =
    "A new client version is available. Would you like to upgrade now?";
inline constexpr const char* kUpdateErrorCaption = "Error Applying Update";
inline constexpr const char* kUpdateErrorText =
    "There was a problem downloading the update, please try again later or manually install "
    "using ActiveSync.";
inline constexpr const char* kDownloadingText = "Downloading update...";
inline constexpr const char* kDownloadingPercentText = "Downloading update: %d%%";
inline constexpr const char* kVerifyingText = "Verifying update...";
inline constexpr const char* kApplyingText = "Applying update...";

struct ClientVersion {
    std::int32_t major = 0;
    std::int32_t minor = 0;
    std::int32_t build = 0;
    std::int32_t revision = 0;
};

// Digits and dots only ("v1.6" is 1.6.0.0); missing parts are 0.
ClientVersion ParseClientVersion(const std::string& text);
bool IsNewer(const ClientVersion& offered, const ClientVersion& own);

// The download's percentage as the handheld computed it: bytes received
// times 100 over the Content-Length, both cut to 32 bits (so it wraps past
// about 42.9 MB); -1 when there is none to show (no length, or a length
// whose low 32 bits are 0).
int DownloadPercent(std::uint64_t received, std::int64_t length);

// What the update needs from the window. Called on the receiver thread; the
// window hands screen work to its own thread.
class UpdateUi {
public:
    virtual ~UpdateUi() = default;
    virtual bool AskYesNo(const std::string& caption, const std::string& text) = 0;
    virtual void ShowError(const std::string& caption, const std::string& text) = 0;
    virtual bool OnConnectScreen() const = 0;
    // The connect screen's status line.
    virtual void SetStatus(const std::string& text) = 0;
    // The progress bar that stands over the status line while shown.
    virtual void ShowProgressBar(bool shown) = 0;
    virtual void SetProgress(int percent) = 0;
    // The now-playing title: shows a text (keeping the title unless it is
    // kept already) and brings the kept title back.
    virtual void ShowInTitle(const std::string& text) = 0;
    virtual void RestoreTitle() = 0;
    // Ends the message loop (exit code 0).
    virtual void Quit() = 0;
};

// Opens a file as the desktop does (the installer); true when it started.
class Launcher {
public:
    virtual ~Launcher() = default;
    virtual bool Open(const std::string& file, const std::string& parameters) = 0;
};

// Opens files with xdg-open.
class XdgLauncher final : public Launcher {
public:
    bool Open(const std::string& file, const std::string& parameters) override;
};

class SelfUpdate final : public UpdateCheck {
public:
    // `host` gives the connected server's address; `installDir` ends in "/".
    SelfUpdate(UpdateUi& ui, Launcher& launcher, std::function<std::string()> host,
               std::string installDir, std::uint16_t mediaPort = 3569,
               std::string ownVersion = kOwnVersion);

    static constexpr const char* kOwnVersion = "1.5.0.1";

    // Setting the flag gives up a download under way (the window is
    // closing). The flag must outlive this object.
    void SetAbort(const std::atomic<bool>* abort) { abort_ = abort; }

    // UpdateCheck: true when the installer was started (the client quits).
    bool Run(const GetClientVersionResponse& offer) override;

    // Download, verify, apply; true when the installer was started.
    bool RunUpdate(const std::string& url, const std::string& parameters,
                   const std::string& checksum);
    bool Download(const std::string& url, const std::string& localPath);
    // The file's MD5 as lower-case hex equals the checksum, byte for byte.
    static bool Verify(const std::string& localPath, const std::string& checksum);
    bool Apply(const std::string& localPath, const std::string& parameters);

    // The install folder followed by the URL's last segment; empty when the
    // URL has no "/" or its last segment names no file ("", "." or "..").
    std::string LocalPath(const std::string& url) const;

    // Where the names of the installers this client downloaded are kept, so
    // that the clean-up deletes those and never a name a server offers.
    static constexpr const char* kDownloadedList = ".downloaded-updates";

private:
    void Show(const std::string& text);
    // Whether the downloaded list names the file; adds it there.
    bool IsOwnDownload(const std::string& name) const;
    void RememberDownload(const std::string& name) const;
    // Deletes every installer on the downloaded list, and the list.
    void DeleteDownloads() const;

    UpdateUi& ui_;
    Launcher& launcher_;
    std::function<std::string()> host_;
    std::string installDir_;
    std::uint16_t mediaPort_;
    std::string ownVersion_;
    const std::atomic<bool>* abort_ = nullptr;
};

}  // namespace vantor
