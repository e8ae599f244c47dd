#pragma once

// The client's settings as it keeps them between runs, and the rules by
// which they are read from and written to the settings store.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "session/RegistryStore.h"

namespace vantor {

inline constexpr const char* kSettingsKey = "SOFTWARE\\Corvane\\Vantor";
inline constexpr const char* kClientVersion = "1.5.0.1";
inline constexpr const char* kDefaultSkinFile = "skins/default/default.xml";
inline constexpr const char* kDefaultPort = "3567";
inline constexpr const char* kFindAutomatically = "(Find Automatically)";
inline constexpr int kFunctionCount = 13;
inline constexpr int kServerHistory = 3;

struct Settings {
    std::string installDir;  // ends in "/" once loaded from an existing key
    std::string skinFilePath;
    std::array<std::string, kServerHistory> servers;  // most recent first; empty = free
    std::string connectionPort;
    bool autoConnect = false;
    bool nowPlayingOnIdle = false;
    bool useMultipleSpeakers = false;
    std::array<std::int32_t, kFunctionCount> functionKeys{-1, -1, -1, -1, -1, -1, -1,
                                                          -1, -1, -1, -1, -1, -1};
    bool showRemainingTime = false;

    // The install folder's default skin.
    std::string DefaultSkinPath() const { return installDir + kDefaultSkinFile; }
};

// The folder the program was installed to, built in: where the installed
// data lives (skins included).
std::string BuiltInInstallDir();

// Reads the settings. When the settings key cannot be opened only the flags
// get their defaults (auto connect on, the others off); every text and
// binding keeps the value it had. Otherwise missing values get the defaults
// ("3567" for an empty port, the built-in folder for an empty install
// folder, -1 bindings); texts of 100 UTF-16 units or more read as empty.
void LoadSettings(const RegistryStore& store, Settings& settings);

// Writes every setting but the install folder (the installer's), texts cut
// to 100 UTF-16 units. Creates the key when needed. Does not save the file.
void SaveSettings(RegistryStore& store, const Settings& settings);

// The server history from the connect screen: the text shown first (unless
// it is "(Find Automatically)"), then the list's other entries from its
// second on, skipping "(Find Automatically)", the text shown and entries
// already taken, until three are held.
std::array<std::string, kServerHistory> RebuildServerHistory(
    std::string_view shown, const std::vector<std::string>& listItems);

// The installer's part: makes the settings key and records where the
// program's data is, so that a first start finds the default skin wherever
// it is started from. Saves the store. 0 or -1.
int Install(RegistryStore& store, const std::string& installDir);

// Where this program's data is: the first of these that holds the default
// skin: share/vantor/ beside the program's own bin/ folder (an installed
// tree, whatever its prefix), the data folder of the prefix it was built
// for, the source tree it was built from (a run from the build tree). Ends
// in "/"; empty when none holds the default skin.
std::string LocateInstallDir();

// Runs the installer's part at start when no install folder is recorded
// yet (the first run of a new user). 0 when one is recorded, or -1.
int EnsureInstalled(RegistryStore& store);

}  // namespace vantor
