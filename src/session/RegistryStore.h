#pragma once

// The stand-in for the system registry: keys named by path, each holding
// text (REG_SZ) and 32-bit (REG_DWORD) values, kept in one plain-text file
// that a person can read and edit:
//
//   ; comment
//   [HKEY_LOCAL_MACHINE\SOFTWARE\Corvane\Vantor]
//   "Server1"="192.168.1.20"
//   "AutoConnect"=dword:00000001
//
// In a text value, backslash, double quote and line breaks are written \\,
// \", \n and \r. Saving
// writes a new file beside the old one, flushes it to disk and renames it
// over the old one, so a crash or a full disk leaves either the old settings
// or the new ones, never a mix. Saving through a symbolic link replaces the
// file it points to and keeps the link.
//
// Reading takes every line it can. Lines it cannot read (a header of
// another tool, a value of unknown form, values under such a key line) are
// logged and left out, and the file as it was is copied to
// "<file>.corrupt", or ".corrupt.2", ".3" and so on when that exists: an
// earlier copy is never overwritten.
//
// Not thread-safe: the user-interface thread owns it.

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vantor {

class RegistryStore {
public:
    // Keys live under HKEY_LOCAL_MACHINE; paths are given without it.
    static constexpr const char* kRoot = "HKEY_LOCAL_MACHINE";

    explicit RegistryStore(std::string path);

    // Where settings live without --config: $XDG_CONFIG_HOME/vantor/
    // settings.reg, or ~/.config/vantor/settings.reg.
    static std::string DefaultPath();

    const std::string& Path() const { return path_; }

    // Reads the file. 0 when it was read whole or does not exist yet (no
    // keys); 1 when some lines could not be read (see Unread() and
    // KeptCopy()); -1 when the file could not be read at all (logged, no
    // keys).
    int Load();
    // The lines the last Load could not read ("line 3: ..."), and the copy
    // of the file it kept (empty when none could be made).
    const std::vector<std::string>& Unread() const { return unread_; }
    const std::string& KeptCopy() const { return keptCopy_; }

    // Writes every key atomically. 0, or -1 (logged, and the reason kept in
    // SaveError()) with the file on disk unchanged. `beforeRename` runs once
    // the new file is complete and synced, just before it replaces the old
    // one.
    int Save(const std::function<void()>& beforeRename = nullptr);
    const std::string& SaveError() const { return saveError_; }

    bool HasKey(const std::string& key) const { return keys_.contains(key); }
    void CreateKey(const std::string& key) { keys_[key]; }

    // A text value, or nothing when the key or value is missing, is not text,
    // or needs more than `bufferBytes` as UTF-16 with its terminator (the
    // reader's buffer is too small for it).
    std::optional<std::string> QueryString(const std::string& key, const std::string& name,
                                           std::size_t bufferBytes) const;
    std::optional<std::uint32_t> QueryDword(const std::string& key, const std::string& name) const;

    // False when the key does not exist.
    bool SetString(const std::string& key, const std::string& name, const std::string& text);
    bool SetDword(const std::string& key, const std::string& name, std::uint32_t value);

private:
    struct Value {
        bool isText = false;
        std::string text;
        std::uint32_t dword = 0;
    };

    void Parse(const std::string& content);
    std::string Serialise() const;

    std::string path_;
    std::map<std::string, std::map<std::string, Value>> keys_;
    std::vector<std::string> unread_;
    std::string keptCopy_;
    std::string saveError_;
};

}  // namespace vantor
