#include "session/RegistryStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/Logger.h"
#include "core/Text.h"

namespace vantor {

namespace {

std::string Trim(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// Reads a quoted string starting at text[pos] (a '"'); the position after
// its closing quote, or npos when it is malformed.
std::size_t ReadQuoted(const std::string& text, std::size_t pos, std::string* out) {
    if (pos >= text.size() || text[pos] != '"') {
        return std::string::npos;
    }
    out->clear();
    for (std::size_t i = pos + 1; i < text.size(); ++i) {
        if (text[i] == '\\') {
            if (i + 1 >= text.size()) {
                return std::string::npos;
            }
            const char escaped = text[++i];
            if (escaped == 'n') {
                *out += '\n';
            } else if (escaped == 'r') {
                *out += '\r';
            } else if (escaped == '\\' || escaped == '"') {
                *out += escaped;
            } else {
                return std::string::npos;
            }
        } else if (text[i] == '"') {
            return i + 1;
        } else {
            *out += text[i];
        }
    }
    return std::string::npos;
}

std::string Quote(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '\n') {
            quoted += "\\n";
        } else if (c == '\r') {
            quoted += "\\r";
        } else {
            if (c == '\\' || c == '"') {
                quoted += '\\';
            }
            quoted += c;
        }
    }
    return quoted + '"';
}

bool WriteAll(int fd, const std::string& bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t result = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (result < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        written += static_cast<std::size_t>(result);
    }
    return true;
}

}  // namespace

RegistryStore::RegistryStore(std::string path) : path_(std::move(path)) {}

std::string RegistryStore::DefaultPath() {
    const char* config = std::getenv("XDG_CONFIG_HOME");
    std::string base;
    if (config != nullptr && config[0] == '/') {
        base = config;
    } else {
        const char* home = std::getenv("HOME");
        base = std::string(home != nullptr ? home : ".") + "/.config";
    }
    return base + "/vantor/settings.reg";
}

int RegistryStore::Load() {
    keys_.clear();
    std::ifstream in(path_, std::ios::binary);
    if (!in) {
        if (errno == ENOENT || !std::filesystem::exists(path_)) {
            return 0;  // nothing saved yet
        }
        Log(kLogError, "Settings file %s cannot be read: %s", path_.c_str(), std::strerror(errno));
        return -1;
    }
    std::stringstream content;
    content << in.rdbuf();
    if (in.bad() || !Parse(content.str())) {
        keys_.clear();
        const std::string aside = path_ + ".corrupt";
        std::error_code error;
        std::filesystem::rename(path_, aside, error);
        if (error) {
            Log(kLogError,
                "Settings file %s is damaged and cannot be moved aside (%s); "
                "defaults are used",
                path_.c_str(), error.message().c_str());
        } else {
            Log(kLogError, "Settings file %s is damaged; it was kept as %s and defaults are used",
                path_.c_str(), aside.c_str());
        }
        return -1;
    }
    return 0;
}

bool RegistryStore::Parse(const std::string& content) {
    std::istringstream lines(content);
    std::string line;
    std::map<std::string, Value>* key = nullptr;
    const std::string rootPrefix = std::string(kRoot) + "\\";
    while (std::getline(lines, line)) {
        line = Trim(line);
        if (line.empty() || line[0] == ';' || line[0] == '#') {
            continue;
        }
        if (line.front() == '[') {
            if (line.back() != ']' || line.compare(1, rootPrefix.size(), rootPrefix) != 0) {
                return false;
            }
            const std::string path =
                line.substr(1 + rootPrefix.size(), line.size() - 2 - rootPrefix.size());
            if (path.empty()) {
                return false;
            }
            key = &keys_[path];
            continue;
        }
        std::string name;
        std::size_t pos = ReadQuoted(line, 0, &name);
        if (key == nullptr || pos == std::string::npos || pos >= line.size() || line[pos] != '=') {
            return false;
        }
        const std::string value = line.substr(pos + 1);
        Value parsed;
        if (value.rfind("dword:", 0) == 0) {
            const std::string digits = value.substr(6);
            if (digits.empty() || digits.size() > 8 ||
                digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
                return false;
            }
            parsed.dword = static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16));
        } else {
            parsed.isText = true;
            if (ReadQuoted(value, 0, &parsed.text) != value.size()) {
                return false;
            }
        }
        (*key)[name] = parsed;
    }
    return true;
}

std::string RegistryStore::Serialise() const {
    std::string out =
        "; Vantor settings. Text values are \"Name\"=\"text\" (\\\\, \\\", \\n inside),\n"
        "; numbers \"Name\"=dword:<eight hexadecimal digits>.\n";
    for (const auto& [path, values] : keys_) {
        out += "\n[" + std::string(kRoot) + "\\" + path + "]\n";
        for (const auto& [name, value] : values) {
            out += Quote(name) + "=";
            out += value.isText ? Quote(value.text) : Format("dword:%08x", value.dword);
            out += '\n';
        }
    }
    return out;
}

int RegistryStore::Save(const std::function<void()>& beforeRename) const {
    const std::filesystem::path target(path_);
    std::error_code error;
    if (target.has_parent_path()) {
        std::filesystem::create_directories(target.parent_path(), error);
    }
    const std::string temporary = path_ + ".new";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        Log(kLogError, "Settings cannot be written to %s: %s", temporary.c_str(),
            std::strerror(errno));
        return -1;
    }
    const bool written = WriteAll(fd, Serialise()) && ::fsync(fd) == 0;
    const int savedErrno = errno;
    ::close(fd);
    if (!written) {
        Log(kLogError, "Settings cannot be written to %s: %s", temporary.c_str(),
            std::strerror(savedErrno));
        ::unlink(temporary.c_str());
        return -1;
    }
    if (beforeRename) {
        beforeRename();
    }
    if (::rename(temporary.c_str(), path_.c_str()) != 0) {
        Log(kLogError, "Settings cannot replace %s: %s", path_.c_str(), std::strerror(errno));
        ::unlink(temporary.c_str());
        return -1;
    }
    // The rename itself is durable only once its folder is.
    const std::string folder = target.has_parent_path() ? target.parent_path().string() : ".";
    const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return 0;
}

std::optional<std::string> RegistryStore::QueryString(const std::string& key,
                                                      const std::string& name,
                                                      std::size_t bufferBytes) const {
    const auto found = keys_.find(key);
    if (found == keys_.end()) {
        return std::nullopt;
    }
    const auto value = found->second.find(name);
    if (value == found->second.end() || !value->second.isText) {
        return std::nullopt;
    }
    if ((Utf16Length(value->second.text) + 1) * 2 > bufferBytes) {
        return std::nullopt;
    }
    return value->second.text;
}

std::optional<std::uint32_t> RegistryStore::QueryDword(const std::string& key,
                                                       const std::string& name) const {
    const auto found = keys_.find(key);
    if (found == keys_.end()) {
        return std::nullopt;
    }
    const auto value = found->second.find(name);
    if (value == found->second.end() || value->second.isText) {
        return std::nullopt;
    }
    return value->second.dword;
}

bool RegistryStore::SetString(const std::string& key, const std::string& name,
                              const std::string& text) {
    const auto found = keys_.find(key);
    if (found == keys_.end()) {
        return false;
    }
    Value value;
    value.isText = true;
    value.text = text;
    found->second[name] = value;
    return true;
}

bool RegistryStore::SetDword(const std::string& key, const std::string& name, std::uint32_t value) {
    const auto found = keys_.find(key);
    if (found == keys_.end()) {
        return false;
    }
    Value stored;
    stored.dword = value;
    found->second[name] = stored;
    return true;
}

}  // namespace vantor
