#include <gtest/gtest.h>
#include <thrift/protocol/TBinaryProtocol.h>
#include <thrift/transport/TBufferTransports.h>

#include "core/Text.h"
#include "media/MediaPages.h"
#include "support/LogCapture.h"

namespace vantor {
namespace {

using apache::thrift::protocol::TBinaryProtocol;
using apache::thrift::protocol::TType;
using apache::thrift::transport::TMemoryBuffer;

wire::MediaList SampleList(int start, int items) {
    wire::MediaList list;
    list.__set_path("/Music/Artists");
    list.__set_start(start);
    list.__set_totalCount(4321);
    std::vector<wire::MediaItem> entries;
    for (int i = 0; i < items; ++i) {
        wire::MediaItem item;
        item.__set_mediaId(start + i);
        item.__set_type(wire::MediaItemType::ARTIST);
        item.__set_container(true);
        item.__set_title("Artist " + std::to_string(start + i));
        entries.push_back(item);
    }
    list.__set_items(entries);
    return list;
}

bool Decode(const std::string& bytes, wire::MediaList* list) {
    return DecodeMediaList(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), list);
}

// Writes a struct by hand, field by field, for what the generated writer
// never produces.
class Writer {
public:
    Writer() : buffer_(std::make_shared<TMemoryBuffer>()), protocol_(buffer_) {}
    TBinaryProtocol& operator*() { return protocol_; }
    TBinaryProtocol* operator->() { return &protocol_; }
    std::string Bytes() { return buffer_->getBufferAsString(); }

private:
    std::shared_ptr<TMemoryBuffer> buffer_;
    TBinaryProtocol protocol_;
};

TEST(MediaPagesTest, PagesSurviveTheirEncoding) {
    const wire::MediaList list = SampleList(2000, 3);
    wire::MediaList decoded;
    ASSERT_TRUE(Decode(EncodeMediaList(list), &decoded));
    EXPECT_EQ(decoded, list);

    wire::PlaylistPage page;
    page.__set_start(0);
    const std::string bytes = EncodePlaylistPage(page);
    wire::PlaylistPage back;
    ASSERT_TRUE(DecodePlaylistPage(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size(), &back));
    EXPECT_EQ(back.totalCount, -1) << "a total not sent reads as -1";
}

// Every text of a page is kept capped, as the message channel's are.
TEST(MediaPagesTest, TextsOfMegabytesAreCapped) {
    const std::string huge(1 << 20, 'x');
    const std::string capped(kMaxPeerText, 'x');
    wire::MediaList list = SampleList(0, 1);
    list.__set_path(huge);
    list.items[0].__set_title(huge);
    list.items[0].__set_artist(huge);
    list.items[0].__set_album(huge);
    list.items[0].__set_genre(huge);
    list.items[0].__set_path(huge);
    wire::MediaIndexEntry entry;
    entry.__set_label(huge);
    list.__set_index({entry});
    wire::MediaList decoded;
    ASSERT_TRUE(Decode(EncodeMediaList(list), &decoded));
    EXPECT_EQ(decoded.path, capped);
    ASSERT_EQ(decoded.items.size(), 1u);
    for (const std::string& text :
         {decoded.items[0].title, decoded.items[0].artist, decoded.items[0].album,
          decoded.items[0].genre, decoded.items[0].path, decoded.index.at(0).label}) {
        EXPECT_EQ(text, capped);
    }

    wire::PlaylistPage page;
    page.__set_items(list.items);
    const std::string bytes = EncodePlaylistPage(page);
    wire::PlaylistPage back;
    ASSERT_TRUE(DecodePlaylistPage(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                   bytes.size(), &back));
    ASSERT_EQ(back.items.size(), 1u);
    EXPECT_EQ(back.items[0].title, capped);
}

TEST(MediaPagesTest, EveryTruncationFailsWithoutHarm) {
    const std::string whole = EncodeMediaList(SampleList(0, 20));
    testing::LogCapture capture(kLogError);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        // An exact-size copy, so any read past the end is caught.
        const std::vector<std::uint8_t> part(whole.begin(),
                                             whole.begin() + static_cast<long>(length));
        wire::MediaList list;
        EXPECT_FALSE(DecodeMediaList(length == 0 ? nullptr : part.data(), part.size(), &list))
            << length;
    }
    EXPECT_EQ(capture.Lines().size(), whole.size() - 1) << "an empty body is no error";
}

TEST(MediaPagesTest, AListClaimingBillionsOfItemsFailsAtOnce) {
    for (const std::int32_t claimed : {-1, 100001, 2'000'000'000}) {
        Writer out;
        out->writeStructBegin("MediaList");
        out->writeFieldBegin("items", TType::T_LIST, 4);
        out->writeListBegin(TType::T_STRUCT, static_cast<std::uint32_t>(claimed));
        const std::string bytes = out.Bytes();
        wire::MediaList list;
        testing::LogCapture capture(kLogError);
        EXPECT_FALSE(Decode(bytes, &list)) << claimed;
        EXPECT_TRUE(list.items.empty());
    }
    Writer out;  // a string claiming two gigabytes
    out->writeStructBegin("MediaList");
    out->writeFieldBegin("path", TType::T_STRING, 1);
    out->writeI32(2'000'000'000);
    wire::MediaList list;
    testing::LogCapture capture(kLogError);
    EXPECT_FALSE(Decode(out.Bytes(), &list));
}

TEST(MediaPagesTest, UnknownFieldsAndWrongTypesAreSkipped) {
    Writer out;
    out->writeStructBegin("MediaList");
    out->writeFieldBegin("future", TType::T_STRING, 99);
    out->writeString(std::string("from a newer server"));
    out->writeFieldBegin("start", TType::T_STRING, 2);  // i32 expected
    out->writeString(std::string("not a number"));
    out->writeFieldBegin("totalCount", TType::T_I32, 3);
    out->writeI32(17);
    out->writeFieldStop();
    wire::MediaList list;
    ASSERT_TRUE(Decode(out.Bytes(), &list));
    EXPECT_EQ(list.start, 0);
    EXPECT_FALSE(list.__isset.start);
    EXPECT_EQ(list.totalCount, 17);
}

TEST(PageCacheTest, PagesLandInTheirSlots) {
    PageCache<wire::MediaList> cache;
    cache.Store(std::make_shared<wire::MediaList>(SampleList(2500, 10)));
    ASSERT_EQ(cache.Slots(), 3u);
    EXPECT_EQ(cache.Slot(0), nullptr);
    EXPECT_EQ(cache.Slot(1), nullptr);
    ASSERT_NE(cache.Slot(2), nullptr);
    EXPECT_EQ(cache.Item(2000), nullptr) << "rows before the page's start are not in it";
    ASSERT_NE(cache.Item(2500), nullptr);
    EXPECT_EQ(cache.Item(2509)->title, "Artist 2509");
    EXPECT_EQ(cache.Item(2510), nullptr);
    EXPECT_EQ(cache.Item(-1), nullptr);
    EXPECT_EQ(cache.Item(99999), nullptr);

    cache.Store(std::make_shared<wire::MediaList>(SampleList(2000, 2)));
    EXPECT_EQ(cache.Item(2500), nullptr) << "a new page replaces its slot";
    EXPECT_NE(cache.Item(2001), nullptr);
}

// Totals and starts come from the server: whatever they claim, what a list
// holds stays within the rows it shows, and nothing is asked in a loop.
TEST(MediaPagesTest, ClaimedTotalsAndStartsAreTrustedForNothing) {
    struct Owner final : PagedListOwner {
        void FetchPage(int start, bool withTotal) override { asked.emplace_back(start, withTotal); }
        void SetRowCount(int count, bool) override { rows = count; }
        void StartRetryTimer(std::chrono::milliseconds) override { ++retries; }
        std::vector<std::pair<int, bool>> asked;
        int rows = -1;
        int retries = 0;
    };
    struct Case {
        int total;  // -1: none given
        int start;  // where the answer says it is
        int items;
        int rows;  // the count shown after
        bool kept;
    };
    const Case cases[] = {
        {5000, 0, 1000, 5000, true},
        {-7, 0, 1000, -1, true},
        {-1, 0, 10, -1, true},
        {0, 0, 0, 0, true},
        {2'000'000'000, 0, 2, 2'000'000'000, true},
        {5000, -3, 1000, 5000, false},
        {5000, 2'000'000'000, 1000, 5000, false},
        {5000, 1000, 1000, 5000, false},
    };
    for (const Case& c : cases) {
        Owner owner;
        PagedList<wire::MediaList> list(owner);
        list.Open(0);
        wire::MediaList page = SampleList(c.start, c.items);
        page.__set_totalCount(c.total);
        EXPECT_EQ(list.Answer(list.Epoch(), 0, std::make_shared<wire::MediaList>(page)), c.kept)
            << c.total << " " << c.start;
        EXPECT_EQ(owner.rows, c.rows) << c.total << " " << c.start;
        EXPECT_LE(list.Pages().Slots(), 1u);
        // Rows in view far down: only their pages are asked for, once, and
        // a page that cannot be had waits for the retry.
        for (int round = 0; round < 3; ++round) {
            list.Hint(999'000, 999'010);
            for (const auto& [start, withTotal] : std::vector(owner.asked)) {
                list.Answer(list.Epoch(), start, std::make_shared<wire::MediaList>(page));
            }
        }
        EXPECT_LE(owner.asked.size(), 4u) << c.total << " " << c.start;
        EXPECT_LE(list.Pages().Slots(), 1000u);
    }
}

}  // namespace
}  // namespace vantor
