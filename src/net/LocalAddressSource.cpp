#include "net/LocalAddressSource.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace vantor {

std::vector<std::string> InterfaceAddressSource::LocalAddresses() {
    std::vector<std::string> addresses;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) == 0) {
        for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
            if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
                (entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) {
                continue;
            }
            char text[INET_ADDRSTRLEN] = {};
            const auto* address = reinterpret_cast<const sockaddr_in*>(entry->ifa_addr);
            if (::inet_ntop(AF_INET, &address->sin_addr, text, sizeof text) != nullptr) {
                addresses.emplace_back(text);
            }
        }
        ::freeifaddrs(list);
    }
    if (addresses.empty()) {
        addresses.emplace_back("127.0.0.1");
    }
    return addresses;
}

}  // namespace vantor
