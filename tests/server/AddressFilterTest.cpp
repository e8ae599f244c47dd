#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

#include "AddressFilter.h"

namespace vantor::server {
namespace {

TEST(AddressFilterTest, TheDefaultAllowsThisMachineAndPrivateNetworksOnly) {
    const AddressFilter filter;
    struct Case {
        const char* address;
        bool allowed;
    };
    for (const Case& c : {
             Case{"127.0.0.1", true},
             Case{"127.255.0.9", true},
             Case{"10.1.2.3", true},
             Case{"172.16.0.1", true},
             Case{"172.31.255.255", true},
             Case{"172.32.0.1", false},
             Case{"172.15.255.255", false},
             Case{"192.168.1.20", true},
             Case{"192.169.0.1", false},
             Case{"169.254.3.4", true},
             Case{"8.8.8.8", false},
             Case{"0.0.0.0", false},
             Case{"::1", true},
             Case{"::2", false},
             Case{"fd12:3456::1", true},
             Case{"fc00::1", true},
             Case{"fe80::1", true},
             Case{"fec0::1", false},
             Case{"2001:db8::1", false},
             Case{"::ffff:192.168.0.7", true},
             Case{"::ffff:8.8.8.8", false},
             Case{"not an address", false},
         }) {
        EXPECT_EQ(filter.Allows(c.address), c.allowed) << c.address;
    }
}

TEST(AddressFilterTest, ListsNarrowOrWidenAndBadPiecesAreNamed) {
    struct Case {
        const char* list;
        const char* address;
        bool allowed;
    };
    for (const Case& c : {
             Case{"127.0.0.1", "127.0.0.1", true},
             Case{"127.0.0.1", "127.0.0.2", false},
             Case{"0.0.0.0/0,::/0", "203.0.113.9", true},
             Case{"0.0.0.0/0,::/0", "2001:db8::1", true},
             Case{"0.0.0.0/0", "2001:db8::1", false},
             Case{" 10.0.0.0/8 , 192.0.2.0/24 ", "192.0.2.200", true},
             Case{"192.0.2.0/25", "192.0.2.200", false},
             Case{"192.0.2.0/25", "192.0.2.100", true},
             Case{"2001:db8::/32", "2001:db8:ffff::1", true},
             Case{"2001:db8::/33", "2001:db8:ffff::1", false},
             Case{"10.0.0.0/8", "::ffff:10.9.9.9", true},
             Case{"", "127.0.0.1", false},
         }) {
        const auto filter = AddressFilter::Parse(c.list);
        ASSERT_TRUE(filter) << c.list;
        EXPECT_EQ(filter->Allows(c.address), c.allowed) << c.list << " " << c.address;
    }
    for (const char* bad : {"10.0.0.0/33", "::/129", "10.0.0.0/", "10.0.0.0/8x", "10.0.0",
                            "localhost", "10.0.0.0/-1", "1.2.3.4,zz"}) {
        std::string named;
        EXPECT_FALSE(AddressFilter::Parse(bad, &named)) << bad;
        EXPECT_FALSE(named.empty()) << bad;
    }
}

TEST(AddressFilterTest, SocketAddressesOfBothFamiliesAreJudged) {
    const AddressFilter filter;
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    ::inet_pton(AF_INET, "192.168.0.2", &v4.sin_addr);
    v4.sin_port = htons(5000);
    EXPECT_TRUE(filter.Allows(reinterpret_cast<const sockaddr*>(&v4), sizeof v4));
    EXPECT_EQ(DescribePeer(reinterpret_cast<const sockaddr*>(&v4), sizeof v4), "192.168.0.2:5000");
    ::inet_pton(AF_INET, "203.0.113.1", &v4.sin_addr);
    EXPECT_FALSE(filter.Allows(reinterpret_cast<const sockaddr*>(&v4), sizeof v4));

    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    ::inet_pton(AF_INET6, "::ffff:10.0.0.5", &v6.sin6_addr);
    EXPECT_TRUE(filter.Allows(reinterpret_cast<const sockaddr*>(&v6), sizeof v6));
    EXPECT_EQ(PeerHost(reinterpret_cast<const sockaddr*>(&v6), sizeof v6), "10.0.0.5");
    // A length too short for the family is not an address.
    EXPECT_FALSE(filter.Allows(reinterpret_cast<const sockaddr*>(&v6), 8));
    EXPECT_FALSE(filter.Allows(nullptr, 0));
}

}  // namespace
}  // namespace vantor::server
