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
#include <string_view>

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
    unread_.clear();
    keptCopy_.clear();
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
    if (in.bad()) {
        keys_.clear();
        Log(kLogError, "Settings file %s cannot be read", path_.c_str());
        return -1;
    }
    Parse(content.str());
    if (unread_.empty()) {
        return 0;
    }
    // What could not be read stays in a copy of its own; an earlier copy
    // is never overwritten. The file itself is written again on the next
    // save, with what was read.
    std::error_code error;
    for (int number = 1; number < 1000 && keptCopy_.empty(); ++number) {
        const std::string aside =
            number == 1 ? path_ + ".corrupt" : Format("%s.corrupt.%d", path_.c_str(), number);
        if (!std::filesystem::exists(aside, error) &&
            std::filesystem::copy_file(path_, aside, error)) {
            keptCopy_ = aside;
        }
    }
    Log(kLogError, "Settings file %s is damaged: %zu line(s) could not be read (first: %s); %s",
        path_.c_str(), unread_.size(), unread_.front().c_str(),
        keptCopy_.empty() ? "no copy could be kept"
                          : ("the file as it was is kept as " + keptCopy_).c_str());
    return 1;
}

// Reads line by line: a line that cannot be read is set aside, and the
// values below a key line that cannot be read belong to no key.
void RegistryStore::Parse(const std::string& content) {
    // An editor may begin the file with a UTF-8 byte order mark.
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    std::istringstream lines(std::string_view(content).starts_with(kByteOrderMark)
                                 ? content.substr(kByteOrderMark.size())
                                 : content);
    std::string raw;
    std::map<std::string, Value>* key = nullptr;
    const std::string rootPrefix = std::string(kRoot) + "\\";
    int number = 0;
    const auto unread = [&](const std::string& line) {
        unread_.push_back(Format("line %d: %.60s", number, line.c_str()));
    };
    while (std::getline(lines, raw)) {
        ++number;
        const std::string line = Trim(raw);
        if (line.empty() || line[0] == ';' || line[0] == '#') {
            continue;
        }
        if (line.front() == '[') {
            key = nullptr;
            if (line.back() != ']' || line.compare(1, rootPrefix.size(), rootPrefix) != 0 ||
                line.size() == rootPrefix.size() + 2) {
                unread(line);
                continue;
            }
            key = &keys_[line.substr(1 + rootPrefix.size(), line.size() - 2 - rootPrefix.size())];
            continue;
        }
        std::string name;
        std::size_t pos = ReadQuoted(line, 0, &name);
        if (pos != std::string::npos) {
            pos = line.find_first_not_of(" \t", pos);
        }
        if (key == nullptr || pos == std::string::npos || line[pos] != '=') {
            unread(line);
            continue;
        }
        const std::string value = Trim(line.substr(pos + 1));
        Value parsed;
        if (value.rfind("dword:", 0) == 0) {
            const std::string digits = value.substr(6);
            if (digits.empty() || digits.size() > 8 ||
                digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
                unread(line);
                continue;
            }
            parsed.dword = static_cast<std::uint32_t>(std::stoul(digits, nullptr, 16));
        } else {
            parsed.isText = true;
            if (ReadQuoted(value, 0, &parsed.text) != value.size()) {
                unread(line);
                continue;
            }
        }
        (*key)[name] = parsed;
    }
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

int RegistryStore::Save(const std::function<void()>& beforeRename) {
    saveError_.clear();
    // A settings file that is a link (into a dotfiles folder, say) stays
    // one: the file it points to is replaced, not the link.
    std::error_code error;
    std::filesystem::path target(path_);
    for (int hops = 0; hops < 40 && std::filesystem::is_symlink(target, error); ++hops) {
        const std::filesystem::path link = std::filesystem::read_symlink(target, error);
        if (error) {
            break;
        }
        target = link.is_absolute() ? link : target.parent_path() / link;
    }
    if (target.has_parent_path()) {
        std::filesystem::create_directories(target.parent_path(), error);
    }
    const std::string file = target.string();
    const std::string temporary = file + ".new";
    const auto fail = [&](const char* what, const std::string& where, int number) {
        saveError_ = std::strerror(number);
        Log(kLogError, "Settings cannot %s %s: %s", what, where.c_str(), saveError_.c_str());
        return -1;
    };
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) {
        return fail("be written to", temporary, errno);
    }
    bool written = WriteAll(fd, Serialise()) && ::fsync(fd) == 0;
    int savedErrno = errno;
    if (::close(fd) != 0 && written) {
        written = false;
        savedErrno = errno;
    }
    if (!written) {
        ::unlink(temporary.c_str());
        return fail("be written to", temporary, savedErrno);
    }
    if (beforeRename) {
        beforeRename();
    }
    if (::rename(temporary.c_str(), file.c_str()) != 0) {
        savedErrno = errno;
        ::unlink(temporary.c_str());
        return fail("replace", file, savedErrno);
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
