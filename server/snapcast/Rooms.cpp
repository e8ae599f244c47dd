#include "Rooms.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>

namespace vantor::server::snapcast {

namespace {

using nlohmann::json;

std::string Text(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool Flag(const json& object, const char* key, bool otherwise) {
    const auto found = object.find(key);
    return found != object.end() && found->is_boolean() ? found->get<bool>() : otherwise;
}

const json& Member(const json& object, const char* key) {
    static const json kNone;
    const auto found = object.find(key);
    return found != object.end() ? *found : kNone;
}

bool Usable(const std::string& id) {
    return !id.empty() && id.size() <= Rooms::kMaxIdBytes &&
           std::none_of(id.begin(), id.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == '\x7f'; });
}

std::string Lower(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

std::string Dump(const json& value) {
    return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace

Call MuteClient(const std::string& id, bool muted) {
    return {"Client.SetVolume", Dump({{"id", id}, {"volume", {{"muted", muted}}}})};
}

Call MuteGroup(const std::string& id, bool muted) {
    return {"Group.SetMute", Dump({{"id", id}, {"mute", muted}})};
}

Call MoveGroup(const std::string& id, const std::string& stream) {
    return {"Group.SetStream", Dump({{"id", id}, {"stream_id", stream}})};
}

Call SetGroupClients(const std::string& id, const std::vector<std::string>& clients) {
    return {"Group.SetClients", Dump({{"id", id}, {"clients", clients}})};
}

Rooms::Rooms(std::string stream, std::string player, std::chrono::milliseconds hungAfter)
    : wanted_(std::move(stream)), player_(std::move(player)), hungAfter_(hungAfter) {}

std::string Rooms::ChooseStream(const std::vector<std::string>& streams, const std::string& wanted,
                                const std::string& player) {
    const auto named = [&streams](const std::string& name) -> std::string {
        if (std::find(streams.begin(), streams.end(), name) != streams.end()) {
            return name;
        }
        for (const std::string& stream : streams) {
            if (Lower(stream) == Lower(name)) {
                return stream;
            }
        }
        return {};
    };
    if (!wanted.empty()) {
        return named(wanted);
    }
    if (streams.size() == 1) {
        return streams.front();
    }
    return player.empty() ? std::string() : named(player);
}

std::string Rooms::CleanName(std::string_view name) {
    std::string clean;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        if (byte < 0x20 || byte == 0x7f) {
            continue;
        }
        // U+0080 to U+009F, the second set of control characters.
        if (byte == 0xc2 && i + 1 < name.size() &&
            static_cast<unsigned char>(name[i + 1]) >= 0x80 &&
            static_cast<unsigned char>(name[i + 1]) <= 0x9f) {
            ++i;
            continue;
        }
        clean.push_back(name[i]);
        if (clean.size() > kMaxNameBytes) {
            break;
        }
    }
    if (clean.size() > kMaxNameBytes) {
        std::size_t cut = kMaxNameBytes;
        // Not inside a character of several bytes.
        while (cut > 0 && (static_cast<unsigned char>(clean[cut]) & 0xc0) == 0x80) {
            --cut;
        }
        clean.resize(cut);
    }
    const auto first = clean.find_first_not_of(' ');
    if (first == std::string::npos) {
        return {};
    }
    clean.erase(0, first);
    clean.erase(clean.find_last_not_of(' ') + 1);
    return clean;
}

void Rooms::Clear() {
    loaded_ = false;
    streams_.clear();
    stream_.clear();
    clients_.clear();
    groups_.clear();
    groupOrder_.clear();
    seen_.clear();
    hung_.clear();
}

bool Rooms::Load(const json& result) {
    try {
        const json& server = Member(result, "server");
        const json& groups = Member(server, "groups");
        const json& streams = Member(server, "streams");
        if (!groups.is_array() || !streams.is_array()) {
            return false;
        }
        std::vector<std::string> streamIds;
        for (const json& stream : streams) {
            if (const std::string id = Text(stream, "id"); !id.empty()) {
                streamIds.push_back(id);
            }
        }
        std::map<std::string, Client> clients;
        std::map<std::string, Group> groupsById;
        std::vector<std::string> order;
        for (const json& group : groups) {
            const std::string groupId = Text(group, "id");
            if (groupId.empty() || groupsById.count(groupId) != 0) {
                continue;
            }
            Group& into = groupsById[groupId];
            order.push_back(groupId);
            into.stream = Text(group, "stream_id");
            into.muted = Flag(group, "muted", false);
            const json& members = Member(group, "clients");
            if (!members.is_array()) {
                continue;
            }
            for (const json& member : members) {
                const std::string id = Text(member, "id");
                if (!Usable(id) || clients.count(id) != 0) {
                    continue;
                }
                const json& config = Member(member, "config");
                Client client;
                client.name = Text(config, "name");
                client.host = Text(Member(member, "host"), "name");
                client.connected = Flag(member, "connected", false);
                client.muted = Flag(Member(config, "volume"), "muted", false);
                client.group = groupId;
                const json& seen = Member(member, "lastSeen");
                const json& sec = Member(seen, "sec");
                const json& usec = Member(seen, "usec");
                if (sec.is_number_integer() && usec.is_number_integer()) {
                    client.lastSeen.emplace(sec.get<long long>(), usec.get<long long>());
                }
                clients.emplace(id, std::move(client));
                into.clients.push_back(id);
            }
        }
        streams_ = std::move(streamIds);
        stream_ = ChooseStream(streams_, wanted_, player_);
        clients_ = std::move(clients);
        groups_ = std::move(groupsById);
        groupOrder_ = std::move(order);
        loaded_ = true;
        return true;
    } catch (const json::exception&) {
        return false;
    }
}

bool Rooms::Apply(std::string_view method, const json& params) {
    try {
        if (method == "Server.OnUpdate") {
            return Load(params);
        }
        const std::string id = Text(params, "id");
        const auto client = clients_.find(id);
        const auto group = groups_.find(id);
        if (method == "Client.OnVolumeChanged" || method == "Client.SetVolume") {
            if (client == clients_.end()) {
                return false;
            }
            client->second.muted = Flag(Member(params, "volume"), "muted", client->second.muted);
            return true;
        }
        if (method == "Client.OnNameChanged") {
            if (client == clients_.end()) {
                return false;
            }
            client->second.name = Text(params, "name");
            return true;
        }
        if (method == "Client.OnConnect" || method == "Client.OnDisconnect") {
            if (client == clients_.end()) {
                // A client new to us joins a group we do not know of.
                return method == "Client.OnDisconnect";
            }
            // A box that hung and has connected anew is back at once.
            hung_.erase(id);
            const json& about = Member(params, "client");
            client->second.connected = Flag(about, "connected", method == "Client.OnConnect");
            const json& config = Member(about, "config");
            if (config.is_object()) {
                client->second.name = Text(config, "name");
                client->second.muted =
                    Flag(Member(config, "volume"), "muted", client->second.muted);
            }
            if (const std::string host = Text(Member(about, "host"), "name"); !host.empty()) {
                client->second.host = host;
            }
            return true;
        }
        if (method == "Group.OnMute" || method == "Group.SetMute") {
            if (group == groups_.end()) {
                return false;
            }
            group->second.muted = Flag(params, "mute", group->second.muted);
            return true;
        }
        if (method == "Group.OnStreamChanged" || method == "Group.SetStream") {
            if (group == groups_.end()) {
                return false;
            }
            group->second.stream = Text(params, "stream_id");
            return true;
        }
        if (method == "Stream.OnUpdate") {
            // A stream we have not seen may be the one to choose.
            return std::find(streams_.begin(), streams_.end(), id) != streams_.end();
        }
        return true;  // latency, group names, stream properties: not in the list
    } catch (const json::exception&) {
        return false;
    }
}

void Rooms::Watch(std::chrono::steady_clock::time_point now) {
    std::map<std::string, Seen> seen;
    bool anyMoves = false;
    std::set<std::string> still;
    for (const auto& [id, client] : clients_) {
        if (!client.lastSeen) {
            continue;
        }
        const auto before = seen_.find(id);
        if (before == seen_.end() || before->second.lastSeen != *client.lastSeen) {
            // Any change is a sign of life, even one back in time: the
            // server's clock may have been set.
            seen.emplace(id, Seen{*client.lastSeen, now});
            anyMoves = anyMoves || client.connected;
            continue;
        }
        seen.emplace(id, before->second);
        if (!client.connected) {
            continue;
        }
        if (now - before->second.since > hungAfter_) {
            still.insert(id);
        } else {
            anyMoves = true;  // moved lately
        }
    }
    seen_ = std::move(seen);
    hung_ = anyMoves ? std::move(still) : std::set<std::string>();
}

bool Rooms::Listed(const std::string& id) const {
    const auto client = clients_.find(id);
    return client != clients_.end() && client->second.connected && hung_.count(id) == 0;
}

bool Rooms::Plays(const std::string& groupId) const {
    const auto group = groups_.find(groupId);
    return group != groups_.end() && !stream_.empty() && group->second.stream == stream_;
}

std::vector<Speaker> Rooms::Speakers() const {
    std::vector<Speaker> speakers;
    for (const std::string& groupId : groupOrder_) {
        const Group& group = groups_.at(groupId);
        for (const std::string& id : group.clients) {
            const Client& client = clients_.at(id);
            if (!Listed(id)) {
                continue;
            }
            std::string name = CleanName(client.name);
            if (name.empty()) {
                name = CleanName(client.host);
            }
            if (name.empty()) {
                name = id;
            }
            speakers.push_back(
                Speaker{id, std::move(name), !client.muted && !group.muted && Plays(groupId)});
        }
    }
    // Shared names get the id in brackets; a name so made may equal another
    // room's own, which then gets its id too. Names that end in their own
    // id differ, so a few rounds settle it.
    for (int round = 0; round < 4; ++round) {
        std::map<std::string, int> uses;
        for (const Speaker& speaker : speakers) {
            ++uses[speaker.name];
        }
        bool marked = false;
        for (Speaker& speaker : speakers) {
            const std::string mark = " (" + speaker.id + ")";
            if (uses[speaker.name] > 1 && !speaker.name.ends_with(mark)) {
                speaker.name += mark;
                marked = true;
            }
        }
        if (!marked) {
            break;
        }
    }
    // In the order a person reads names, whatever order Snapcast's groups
    // come in.
    std::sort(speakers.begin(), speakers.end(), [](const Speaker& a, const Speaker& b) {
        const std::string left = Lower(a.name);
        const std::string right = Lower(b.name);
        return left != right ? left < right : a.name != b.name ? a.name < b.name : a.id < b.id;
    });
    return speakers;
}

void Rooms::SwitchOn(const std::string& id, std::set<std::string>* muting,
                     std::vector<Call>* calls) const {
    const Client& client = clients_.at(id);
    const Group& group = groups_.at(client.group);
    const bool moves = group.stream != stream_;
    // Rooms of the group that would start playing with it.
    const bool othersWouldPlay =
        group.muted &&
        std::any_of(group.clients.begin(), group.clients.end(), [&](const std::string& other) {
            return other != id && !clients_.at(other).muted && muting->count(other) == 0;
        });
    if (group.clients.size() > 1 && (moves || othersWouldPlay)) {
        // The others of its group stay as they are (playing their stream,
        // or off): the room leaves the group first (snapserver gives it one
        // of its own on the same stream), and is switched on in it once
        // that is done.
        std::vector<std::string> others;
        std::copy_if(group.clients.begin(), group.clients.end(), std::back_inserter(others),
                     [&id](const std::string& other) { return other != id; });
        calls->push_back(SetGroupClients(client.group, others));
        return;
    }
    if (moves) {
        calls->push_back(MoveGroup(client.group, stream_));
    }
    if (group.muted) {
        calls->push_back(MuteGroup(client.group, false));
    }
    if (client.muted) {
        calls->push_back(MuteClient(id, false));
    }
}

ResultCode Rooms::SelectCalls(const std::string& id, std::vector<Call>* calls) const {
    calls->clear();
    if (!Listed(id)) {
        return kNotFound;
    }
    if (stream_.empty()) {
        return kPlayerFailed;
    }
    // Everyone else first, so no room plays a moment too long.
    std::set<std::string> muting;
    for (const std::string& groupId : groupOrder_) {
        if (!Plays(groupId)) {
            continue;
        }
        for (const std::string& other : groups_.at(groupId).clients) {
            if (other != id && !clients_.at(other).muted && muting.insert(other).second) {
                calls->push_back(MuteClient(other, true));
            }
        }
    }
    SwitchOn(id, &muting, calls);
    return kSuccess;
}

ResultCode Rooms::EnableCalls(const std::string& id, bool enabled, std::vector<Call>* calls) const {
    calls->clear();
    const auto client = clients_.find(id);
    if (!Listed(id)) {
        return kNotFound;
    }
    if (!enabled) {
        // A room of another stream is off for us already: muting it would
        // silence what it plays there.
        if (!client->second.muted && Plays(client->second.group)) {
            calls->push_back(MuteClient(id, true));
        }
        return kSuccess;
    }
    if (stream_.empty()) {
        return kPlayerFailed;
    }
    std::set<std::string> muting;
    SwitchOn(id, &muting, calls);
    return kSuccess;
}

}  // namespace vantor::server::snapcast
