#pragma once

// What vantor-server knows of the rooms: Snapcast's groups and clients as
// its control API describes them (Server.GetStatus, then its notifications),
// the speaker list made of them, and the calls that switch rooms.
//
// A speaker is a connected client. Its name is the one configured in
// Snapcast, else its host's, else its id, without control characters and
// cut to kMaxNameBytes; names that two speakers share get the id in
// brackets. It is on when neither it nor its group is muted and its group
// plays our stream.
//
// A client that is connected but whose lastSeen has stood still for longer
// than `hungAfter` by our clock, over the status reads (Watch), is not
// listed: its box hangs with its connection up, which snapserver would call
// connected for minutes, while a live snapclient is seen about every second.
// It is listed again once its lastSeen moves, or it connects anew. A client
// seen in one read only is live, and so is every client while none's
// lastSeen moves: then it is snapserver that stands still, not the rooms.
//
// Our stream is the one --snapcast-stream names; without a name the only
// one, or the one named like the player (ChooseStream).
//
// Not thread-safe: the link's thread owns it.

#include <chrono>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ResultCode.h"
#include "protocol/Messages.h"

namespace vantor::server::snapcast {

// One JSON-RPC call: a method and its parameters, as JSON text.
struct Call {
    std::string method;
    std::string params;
};

class Rooms {
public:
    static constexpr std::size_t kMaxNameBytes = 100;
    // Ids longer than this, or with control characters, name no speaker:
    // the protocol could not carry them back.
    static constexpr std::size_t kMaxIdBytes = 200;

    // `stream`: the stream asked for (empty: choose); `player`: the name the
    // player's stream goes by when there are several ("MPD").
    // `hungAfter`: how long a connected client's lastSeen may stand still.
    Rooms(std::string stream, std::string player,
          std::chrono::milliseconds hungAfter = std::chrono::seconds(15));

    // Server.GetStatus's result; false (and nothing changed) when it is not
    // one.
    bool Load(const nlohmann::json& result);
    // A notification, or the call we made that succeeded (Client.SetVolume,
    // Group.SetMute, Group.SetStream); false when it cannot be followed
    // here, so the status must be read again.
    bool Apply(std::string_view method, const nlohmann::json& params);
    // The status was read at `now` (a steady clock): each client's lastSeen
    // is compared with the one of the reads before.
    void Watch(std::chrono::steady_clock::time_point now);
    void Clear();
    bool Loaded() const { return loaded_; }

    std::vector<Speaker> Speakers() const;
    // The id of our stream; empty when none fits.
    const std::string& Stream() const { return stream_; }

    // The calls, in order, that make `id` the one room of our stream that
    // plays, or switch it on or off alone; kNotFound for no such speaker,
    // kPlayerFailed when there is no stream of ours. A room that shares its
    // group with rooms of another stream first leaves the group
    // (Group.SetClients, the last call then): once that is done, the calls
    // asked for again switch it on.
    ResultCode SelectCalls(const std::string& id, std::vector<Call>* calls) const;
    ResultCode EnableCalls(const std::string& id, bool enabled, std::vector<Call>* calls) const;

    // The stream our player plays on: `wanted` when given (its exact id, else
    // the one whose id differs only in case); otherwise the only stream, or
    // the one whose id is `player` in any case. Empty: none.
    static std::string ChooseStream(const std::vector<std::string>& streams,
                                    const std::string& wanted, const std::string& player);
    // A name as the speaker list shows it.
    static std::string CleanName(std::string_view name);

private:
    struct Client {
        std::string name;  // configured; may be empty
        std::string host;
        bool connected = false;
        bool muted = false;
        std::string group;
        // snapserver's clock, seconds and microseconds; none: not told.
        std::optional<std::pair<long long, long long>> lastSeen;
    };
    // A client's lastSeen as the reads saw it, and since when by our clock.
    struct Seen {
        std::pair<long long, long long> lastSeen;
        std::chrono::steady_clock::time_point since;
    };
    struct Group {
        std::string stream;
        bool muted = false;
        std::vector<std::string> clients;
    };

    bool Plays(const std::string& groupId) const;
    // Connected, and its box not hung.
    bool Listed(const std::string& id) const;
    // Unmutes `id` and lets its group play our stream, without switching on
    // anyone else of the group.
    // `muting`: the clients the calls mute already.
    void SwitchOn(const std::string& id, std::set<std::string>* muting,
                  std::vector<Call>* calls) const;

    const std::string wanted_;
    const std::string player_;
    const std::chrono::milliseconds hungAfter_;
    bool loaded_ = false;
    std::vector<std::string> streams_;
    std::string stream_;
    std::map<std::string, Client> clients_;
    std::map<std::string, Group> groups_;
    std::vector<std::string> groupOrder_;
    std::map<std::string, Seen> seen_;
    std::set<std::string> hung_;
};

// Client.SetVolume's parameters that mute or unmute a client, and the like.
Call MuteClient(const std::string& id, bool muted);
Call MuteGroup(const std::string& id, bool muted);
Call MoveGroup(const std::string& id, const std::string& stream);
// Group.SetClients: those clients alone in the group; the others left out
// get a group each. Its result is the whole status.
Call SetGroupClients(const std::string& id, const std::vector<std::string>& clients);

}  // namespace vantor::server::snapcast
