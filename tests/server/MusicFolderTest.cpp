#include <gtest/gtest.h>
#include <taglib/wavfile.h>

#include <filesystem>
#include <fstream>

#include "MusicFolder.h"
#include "support/LogCapture.h"
#include "support/Wav.h"

namespace vantor::server {
namespace {

namespace fs = std::filesystem;

// A second of silence as a WAV file, tagged when a title is given.
void WriteSong(const fs::path& path, const char* title, const char* artist, const char* album) {
    fs::create_directories(path.parent_path());
    testing::WriteSilentWav(path, 1);
    if (title != nullptr) {
        TagLib::RIFF::WAV::File file(path.c_str());
        file.tag()->setTitle(title);
        file.tag()->setArtist(artist);
        file.tag()->setAlbum(album);
        file.tag()->setGenre("Folk");
        ASSERT_TRUE(file.save());
    }
}

class MusicFolderTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/vantor-music-XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        folder_ = pattern;
    }
    void TearDown() override { fs::remove_all(folder_); }

    fs::path folder_;
};

TEST_F(MusicFolderTest, TagsMakeTheLibraryAndBadFilesAreNamedInTheLog) {
    WriteSong(folder_ / "b/2.wav", "Second", "Edda Arden", "Hollow Lights");
    WriteSong(folder_ / "b/1.wav", "First", "Edda Arden", "Hollow Lights");
    WriteSong(folder_ / "loose/untitled take.wav", nullptr, nullptr, nullptr);
    std::ofstream(folder_ / "broken.mp3") << "this is not audio";
    std::ofstream(folder_ / "notes.txt") << "not even tried";
    fs::create_symlink(folder_ / "gone.flac", folder_ / "dangling.flac");

    testing::LogCapture log(kLogInfo);
    const MediaLibrary library = ReadMusicFolder(folder_.string());

    ASSERT_EQ(library.SongCount(), 3);
    const auto artists = library.Browse("/Music/Artists");
    ASSERT_TRUE(artists.has_value());
    ASSERT_EQ(artists->size(), 2u);
    EXPECT_EQ((*artists)[0].title, "Edda Arden");
    EXPECT_EQ((*artists)[1].title, "Unknown Artist");
    const auto album = library.Browse("/Music/Artists/Edda Arden/Hollow Lights");
    ASSERT_TRUE(album.has_value());
    ASSERT_EQ(album->size(), 2u);
    EXPECT_EQ((*album)[0].title, "First") << "in file order within the album";
    EXPECT_EQ((*album)[0].length, 1);
    EXPECT_EQ((*album)[0].genre, "Folk");
    const auto loose = library.Browse("/Music/Artists/Unknown Artist/Unknown Album");
    ASSERT_TRUE(loose.has_value());
    EXPECT_EQ((*loose)[0].title, "untitled take");

    std::string all;
    for (const std::string& line : log.Lines()) {
        all += line;
    }
    EXPECT_NE(all.find("broken.mp3 is not an audio file TagLib can read"), std::string::npos)
        << all;
    EXPECT_NE(all.find("untitled take.wav has no title tag"), std::string::npos) << all;
    EXPECT_NE(all.find("3 songs from"), std::string::npos) << all;
    EXPECT_EQ(all.find("notes.txt"), std::string::npos) << all;
}

TEST_F(MusicFolderTest, AMissingFolderIsAnEmptyLibrary) {
    testing::LogCapture log(kLogError);
    const MediaLibrary library = ReadMusicFolder((folder_ / "nowhere").string());
    EXPECT_EQ(library.SongCount(), 0);
    EXPECT_TRUE(library.Browse("/Music/Songs").has_value());
    ASSERT_FALSE(log.Lines().empty());
    EXPECT_NE(log.Lines()[0].find("cannot read the music folder"), std::string::npos);
}

}  // namespace
}  // namespace vantor::server
