#include "session/SelfUpdate.h"

#include <openssl/evp.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

#include "core/Logger.h"
#include "core/Text.h"
#include "media/HttpClient.h"

extern char** environ;

namespace vantor {

ClientVersion ParseClientVersion(const std::string& text) {
    std::string kept;
    for (const char c : text) {
        if ((c >= '0' && c <= '9') || c == '.') {
            kept += c;
        }
    }
    std::int32_t parts[4] = {0, 0, 0, 0};
    std::size_t start = 0;
    for (int i = 0; i < 4 && start <= kept.size(); ++i) {
        std::size_t dot = kept.find('.', start);
        if (dot == std::string::npos) {
            dot = kept.size();
        }
        long value = 0;
        for (std::size_t j = start; j < dot && value < 0x7FFFFFFF; ++j) {
            value = std::min<long>(value * 10 + (kept[j] - '0'), 0x7FFFFFFF);
        }
        parts[i] = static_cast<std::int32_t>(value);
        start = dot + 1;
    }
    return ClientVersion{parts[0], parts[1], parts[2], parts[3]};
}

bool IsNewer(const ClientVersion& offered, const ClientVersion& own) {
    if (offered.major != own.major) {
        return offered.major > own.major;
    }
    if (offered.minor != own.minor) {
        return offered.minor > own.minor;
    }
    if (offered.build != own.build) {
        return offered.build > own.build;
    }
    return offered.revision > own.revision;
}

int DownloadPercent(std::uint64_t received, std::int64_t length) {
    const auto divisor = static_cast<std::uint32_t>(length);
    if (length <= 0 || divisor == 0) {
        return -1;  // a server's 4 GiB would otherwise divide by zero
    }
    return static_cast<int>(static_cast<std::uint32_t>(received) * 100u / divisor);
}

bool XdgLauncher::Open(const std::string& file, const std::string& /*parameters*/) {
    // xdg-open takes no parameters for the program it starts.
    std::vector<char*> argv = {const_cast<char*>("xdg-open"), const_cast<char*>(file.c_str()),
                               nullptr};
    pid_t child = 0;
    if (posix_spawnp(&child, "xdg-open", nullptr, nullptr, argv.data(), environ) != 0) {
        return false;
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

SelfUpdate::SelfUpdate(UpdateUi& ui, Launcher& launcher, std::function<std::string()> host,
                       std::string installDir, std::uint16_t mediaPort, std::string ownVersion)
    : ui_(ui),
      launcher_(launcher),
      host_(std::move(host)),
      installDir_(std::move(installDir)),
      mediaPort_(mediaPort),
      ownVersion_(std::move(ownVersion)) {}

namespace {

// A name of a file of its own in the install folder; the list of this
// client's downloads is never one a server may name.
bool IsFileName(const std::string& name) {
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name != SelfUpdate::kDownloadedList;
}

}  // namespace

std::string SelfUpdate::LocalPath(const std::string& url) const {
    const std::size_t slash = url.rfind('/');
    if (slash == std::string::npos || !IsFileName(url.substr(slash + 1))) {
        return {};
    }
    return installDir_ + url.substr(slash + 1);
}

bool SelfUpdate::IsOwnDownload(const std::string& name) const {
    std::ifstream in(installDir_ + kDownloadedList);
    for (std::string line; std::getline(in, line);) {
        if (line == name) {
            return true;
        }
    }
    return false;
}

void SelfUpdate::RememberDownload(const std::string& name) const {
    if (!IsOwnDownload(name)) {
        std::ofstream(installDir_ + kDownloadedList, std::ios::app) << name << '\n';
    }
}

void SelfUpdate::DeleteDownloads() const {
    const std::string list = installDir_ + kDownloadedList;
    std::ifstream in(list);
    if (!in) {
        return;
    }
    // Failing to delete is of no consequence; the names come from this
    // client's own downloads, and anything else on the list is skipped.
    for (std::string line; std::getline(in, line);) {
        if (IsFileName(line)) {
            std::remove((installDir_ + line).c_str());
        }
    }
    in.close();
    std::remove(list.c_str());
}

bool SelfUpdate::Run(const GetClientVersionResponse& offer) {
    const bool newer = IsNewer(ParseClientVersion(offer.version), ParseClientVersion(ownVersion_));
    if (newer && ui_.AskYesNo(kUpdateAvailableCaption, kUpdateAvailableText)) {
        if (RunUpdate(offer.url, offer.parameters, offer.checksum)) {
            return true;  // the installer runs; the client is quitting
        }
        ui_.RestoreTitle();
        ui_.ShowError(kUpdateErrorCaption, kUpdateErrorText);
    }
    if (!newer && offer.url.find('/') != std::string::npos) {
        // Installers left from earlier updates: the ones this client
        // downloaded, never the file the offered URL happens to name.
        DeleteDownloads();
    }
    return false;
}

void SelfUpdate::Show(const std::string& text) {
    if (ui_.OnConnectScreen()) {
        ui_.ShowProgressBar(false);
        ui_.SetStatus(text);
    } else {
        ui_.ShowInTitle(text);
    }
}

bool SelfUpdate::RunUpdate(const std::string& url, const std::string& parameters,
                           const std::string& checksum) {
    if (url.empty()) {
        return false;
    }
    const std::string local = LocalPath(url);
    if (local.empty()) {
        return false;
    }
    const bool connectScreen = ui_.OnConnectScreen();
    if (connectScreen) {
        ui_.SetStatus(kDownloadingText);
        ui_.SetProgress(0);
        ui_.ShowProgressBar(true);
    } else {
        ui_.ShowInTitle(kDownloadingText);
    }
    if (!Download(url, local)) {
        if (connectScreen) {
            ui_.SetStatus("");
            ui_.ShowProgressBar(false);
        } else {
            ui_.RestoreTitle();
        }
        return false;
    }
    Show(kVerifyingText);
    if (!Verify(local, checksum)) {
        if (connectScreen) {
            ui_.SetStatus("");
        }
        return false;
    }
    Show(kApplyingText);
    return Apply(local, parameters);
}

bool SelfUpdate::Download(const std::string& url, const std::string& localPath) {
    // A path on the server is fetched from the connected server's media port;
    // an absolute URL is used as it stands.
    const std::string full = url.rfind("http", 0) == 0 ? url
                                                       : Format("http://%s:%d%s", host_().c_str(),
                                                                mediaPort_, url.c_str());
    const bool connectScreen = ui_.OnConnectScreen();
    int shown = -1;
    const auto progress = [&](std::uint64_t received, std::int64_t length) {
        const int percent = DownloadPercent(received, length);
        if (percent == -1 || percent == shown) {
            return;
        }
        shown = percent;
        if (connectScreen) {
            ui_.SetProgress(percent);
        } else {
            ui_.ShowInTitle(Format(kDownloadingPercentText, percent));
        }
    };
    // A file in the install folder that this client did not download is the
    // installation's or the user's: a server's name never replaces it.
    const bool inFolder = localPath.rfind(installDir_, 0) == 0;
    if (inFolder && std::filesystem::exists(localPath) &&
        !IsOwnDownload(localPath.substr(installDir_.size()))) {
        Log(kLogError, "The offered update would replace %s, which this client did not download",
            localPath.c_str());
        return false;
    }
    HttpOptions options;
    options.abort = abort_;
    bool created = false;
    const int result = HttpSaveToFile(full, localPath, progress, options, &created);
    if (created && inFolder) {
        RememberDownload(localPath.substr(installDir_.size()));
    }
    return result == 0;
}

bool SelfUpdate::Verify(const std::string& localPath, const std::string& checksum) {
    std::FILE* file = std::fopen(localPath.c_str(), "rb");
    if (file == nullptr) {
        return false;
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> closer(file, std::fclose);
    const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> md5(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!md5 || EVP_DigestInit_ex(md5.get(), EVP_md5(), nullptr) != 1) {
        return false;
    }
    unsigned char block[1024];
    std::size_t read;
    while ((read = std::fread(block, 1, sizeof block, file)) > 0) {
        EVP_DigestUpdate(md5.get(), block, read);
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(md5.get(), digest, &size);
    std::string hex;
    for (unsigned int i = 0; i < size; ++i) {
        hex += Format("%02x", digest[i]);
    }
    return hex == checksum;
}

bool SelfUpdate::Apply(const std::string& localPath, const std::string& parameters) {
    const bool started = launcher_.Open(localPath, parameters);
    if (ui_.OnConnectScreen()) {
        ui_.SetStatus("");
    } else {
        ui_.RestoreTitle();
    }
    if (!started) {
        return false;
    }
    ui_.Quit();
    return true;
}

}  // namespace vantor
