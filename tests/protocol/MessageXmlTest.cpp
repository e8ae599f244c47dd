// The exact wire form of every message class that has fields, and what the
// client reads back from it.

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "core/Text.h"
#include "protocol/Messages.h"

namespace vantor {
namespace {

using Builder = std::function<std::unique_ptr<Message>()>;

template <class M, class Fill>
Builder Build(Fill fill) {
    return [fill] {
        auto message = std::make_unique<M>();
        fill(*message);
        return std::unique_ptr<Message>(std::move(message));
    };
}

struct WireCase {
    const char* label;
    Builder build;
    std::string xml;
    // What writing the message read back from `xml` gives, when a field does
    // not survive the trip; empty when it is `xml` again.
    std::string reread = {};
};

EqSettings SampleEq() {
    EqSettings eq;
    eq.enabled = true;
    eq.autoLoad = false;
    eq.preamp = 3;
    eq.bands = {-12, -8, -4, 0, 2, 4, 6, 8, 10, 12};
    return eq;
}

const char* const kSampleEqXml =
    "\n<enabled>true</enabled>\n<autoLoad>false</autoLoad>\n<preamp>3</preamp>"
    "\n<band1>-12</band1>\n<band2>-8</band2>\n<band3>-4</band3>\n<band4>0</band4>"
    "\n<band5>2</band5>\n<band6>4</band6>\n<band7>6</band7>\n<band8>8</band8>"
    "\n<band9>10</band9>\n<band10>12</band10>";

std::vector<WireCase> PlayerCases() {
    return {
        {"GetErrorDetailsRequest", Build<GetErrorDetailsRequest>([](auto& m) {
             m.requestId = 3;
             m.returnCode = 42;
         }),
         "<GetErrorDetailsRequest>\n<requestId>3</requestId>\n<returnCode>42</returnCode>"
         "\n</GetErrorDetailsRequest>"},
        {"GetErrorDetailsResponse writes no returnCode",
         Build<GetErrorDetailsResponse>([](auto& m) {
             m.requestId = 3;
             m.returnCode = 5;
             m.description = "Bad & wrong";
         }),
         "<GetErrorDetailsResponse>\n<requestId>3</requestId>"
         "\n<description>Bad &amp; wrong</description>\n</GetErrorDetailsResponse>"},
        {"GetClientVersionRequest", Build<GetClientVersionRequest>([](auto& m) {
             m.requestId = 0;
             m.type = "ppc";
         }),
         "<GetClientVersionRequest>\n<requestId>0</requestId>\n<type>ppc</type>"
         "\n</GetClientVersionRequest>"},
        {"GetClientVersionResponse", Build<GetClientVersionResponse>([](auto& m) {
             m.requestId = 1;
             m.version = "1.6.0.0";
             m.url = "/update/vantor.cab";
             m.parameters = "/quiet";
             m.checksum = "0123456789abcdef0123456789abcdef";
             m.serverVersion = "2.0";
         }),
         "<GetClientVersionResponse>\n<requestId>1</requestId>\n<returnCode>0</returnCode>"
         "\n<version>1.6.0.0</version>\n<url>/update/vantor.cab</url>"
         "\n<parameters>/quiet</parameters>"
         "\n<checksum>0123456789abcdef0123456789abcdef</checksum>"
         "\n<serverVersion>2.0</serverVersion>\n</GetClientVersionResponse>"},
        {"GetServerInfoResponse without icon", Build<GetServerInfoResponse>([](auto& m) {
             m.requestId = 2;
             m.name = "Den";
             m.version = "2.0";
             m.playerType = "simulated";
         }),
         "<GetServerInfoResponse>\n<requestId>2</requestId>\n<returnCode>0</returnCode>"
         "\n<name>Den</name>\n<version>2.0</version>\n<playerType>simulated</playerType>"
         "\n</GetServerInfoResponse>"},
        {"GetServerInfoResponse with icon", Build<GetServerInfoResponse>([](auto& m) {
             m.requestId = 2;
             m.returnCode = 0;
             m.name = "";
             m.version = "2.0";
             m.playerType = "simulated";
             m.playerIcon = "icon.png";
         }),
         "<GetServerInfoResponse>\n<requestId>2</requestId>\n<returnCode>0</returnCode>"
         "\n<name/>\n<version>2.0</version>\n<playerType>simulated</playerType>"
         "\n<playerIcon>icon.png</playerIcon>\n</GetServerInfoResponse>"},
        {"VersionInformation", Build<VersionInformation>([](auto& m) {
             m.Name = "Vantor";
             m.Version = "1.6.0.0";
             m.Action = "install";
             m.Parameters = "/q";
             m.UpdateURL = "/vantor.cab";
             m.InfoURL = "http://127.0.0.1/info";
             m.Checksum = "abc";
             m.DSASignature = "sig";
             m.MinimumAutoUpdateVersion = "1.0.0.0";
             m.Description = "Fixes";
         }),
         "<VersionInformation>\n<Name>Vantor</Name>\n<Version>1.6.0.0</Version>"
         "\n<Action>install</Action>\n<Parameters>/q</Parameters>"
         "\n<UpdateURL>/vantor.cab</UpdateURL>\n<InfoURL>http://127.0.0.1/info</InfoURL>"
         "\n<Checksum>abc</Checksum>\n<DSASignature>sig</DSASignature>"
         "\n<MinimumAutoUpdateVersion>1.0.0.0</MinimumAutoUpdateVersion>"
         "\n<Description>Fixes</Description>\n</VersionInformation>"},
        {"GetPlayPositionResponse", Build<GetPlayPositionResponse>([](auto& m) {
             m.requestId = 5;
             m.returnCode = 1;
             m.position = 95;
         }),
         "<GetPlayPositionResponse>\n<requestId>5</requestId>\n<returnCode>1</returnCode>"
         "\n<position>95</position>\n</GetPlayPositionResponse>"},
        {"SetPlayPositionRequest", Build<SetPlayPositionRequest>([](auto& m) { m.position = 30; }),
         "<SetPlayPositionRequest>\n<position>30</position>\n</SetPlayPositionRequest>"},
        {"PlaylistMoveRequest", Build<PlaylistMoveRequest>([](auto& m) {
             m.requestId = 8;
             m.position = 1;
             m.newPosition = 5;
         }),
         "<PlaylistMoveRequest>\n<requestId>8</requestId>\n<position>1</position>"
         "\n<newPosition>5</newPosition>\n</PlaylistMoveRequest>"},
        {"GetCurrentStateRequest", Build<GetCurrentStateRequest>([](auto& m) {
             m.requestId = 9;
             m.revision = 12;
         }),
         "<GetCurrentStateRequest>\n<requestId>9</requestId>\n<revision>12</revision>"
         "\n</GetCurrentStateRequest>"},
        {"GetCurrentStateResponse", Build<GetCurrentStateResponse>([](auto& m) {
             m.requestId = 10;
             m.playingState = PlayingState::Playing;
             m.volume = 50;
             m.playlistPosition = 3;
             m.playbackPosition = 61;
             m.shuffleState = true;
             m.repeatState = RepeatState::All;
             m.artist = "Ana";
             m.album = "Cielo";
             m.title = "S\xC3\xAD";
             m.length = 245;
             m.rating = 80;
         }),
         "<GetCurrentStateResponse>\n<requestId>10</requestId>\n<returnCode>0</returnCode>"
         "\n<playingState>playing</playingState>\n<volume>50</volume>"
         "\n<playlistPosition>3</playlistPosition>\n<playbackPosition>61</playbackPosition>"
         "\n<shuffleState>true</shuffleState>\n<repeatState>true</repeatState>"
         "\n<artist>Ana</artist>\n<album>Cielo</album>\n<title>S\xC3\xAD</title>"
         "\n<length>245</length>\n<rating>80</rating>\n</GetCurrentStateResponse>"},
        {"GetCurrentStateResponse with unknown length and rating",
         Build<GetCurrentStateResponse>([](auto& m) {
             m.requestId = 10;
             m.playingState = PlayingState::Stopped;
             m.volume = 0;
             m.playlistPosition = -1;
             m.playbackPosition = 0;
         }),
         "<GetCurrentStateResponse>\n<requestId>10</requestId>\n<returnCode>0</returnCode>"
         "\n<playingState>stopped</playingState>\n<volume>0</volume>"
         "\n<playlistPosition>-1</playlistPosition>\n<playbackPosition>0</playbackPosition>"
         "\n<shuffleState>false</shuffleState>\n<repeatState>false</repeatState>"
         "\n<artist/>\n<album/>\n<title/>\n</GetCurrentStateResponse>"},
        {"SetVolumeRequest", Build<SetVolumeRequest>([](auto& m) {
             m.requestId = 12;
             m.volume = 60;
         }),
         "<SetVolumeRequest>\n<requestId>12</requestId>\n<volume>60</volume>"
         "\n</SetVolumeRequest>"},
        {"GetPlaylistLengthResponse", Build<GetPlaylistLengthResponse>([](auto& m) {
             m.requestId = 14;
             m.length = 250;
         }),
         "<GetPlaylistLengthResponse>\n<requestId>14</requestId>\n<returnCode>0</returnCode>"
         "\n<length>250</length>\n</GetPlaylistLengthResponse>"},
        {"GetPlaylistItemsRequest", Build<GetPlaylistItemsRequest>([](auto& m) {
             m.requestId = 15;
             m.start = 1000;
             m.count = 1000;
             m.includeTotalCount = true;
         }),
         "<GetPlaylistItemsRequest>\n<requestId>15</requestId>\n<start>1000</start>"
         "\n<count>1000</count>\n<includeTotalCount>true</includeTotalCount>"
         "\n</GetPlaylistItemsRequest>"},
        {"GetPlaylistItemsRequest with nothing set", Build<GetPlaylistItemsRequest>([](auto&) {}),
         "<GetPlaylistItemsRequest>\n</GetPlaylistItemsRequest>"},
        {"GetPlaylistItemsResponse reads names, not titles, and no start",
         Build<GetPlaylistItemsResponse>([](auto& m) {
             m.requestId = 16;
             m.start = 0;
             m.totalCount = 2;
             m.items.push_back(PlaylistItem{17, false, "One", "A", MediaType::Music});
             m.items.push_back(PlaylistItem{0, true, "Folder", "", MediaType::Music});
         }),
         "<GetPlaylistItemsResponse>\n<requestId>16</requestId>\n<returnCode>0</returnCode>"
         "\n<start>0</start>\n<totalCount>2</totalCount>"
         "\n<item>\n<mediaId>17</mediaId>\n<title>One</title>\n<artist>A</artist>\n</item>"
         "\n<item>\n<container>true</container>\n<title>Folder</title>\n</item>"
         "\n</GetPlaylistItemsResponse>",
         "<GetPlaylistItemsResponse>\n<requestId>16</requestId>\n<returnCode>0</returnCode>"
         "\n<totalCount>2</totalCount>"
         "\n<item>\n<mediaId>17</mediaId>\n<title/>\n<artist>A</artist>\n</item>"
         "\n<item>\n<container>true</container>\n<title/>\n</item>"
         "\n</GetPlaylistItemsResponse>"},
        {"SetShuffleStateRequest", Build<SetShuffleStateRequest>([](auto& m) {
             m.requestId = 18;
             m.shuffleState = false;
         }),
         "<SetShuffleStateRequest>\n<requestId>18</requestId>"
         "\n<shuffleState>false</shuffleState>\n</SetShuffleStateRequest>"},
        {"SetRepeatStateRequest with repeat one", Build<SetRepeatStateRequest>([](auto& m) {
             m.requestId = 20;
             m.repeatState = RepeatState::One;
         }),
         "<SetRepeatStateRequest>\n<requestId>20</requestId>"
         "\n<repeatState>true</repeatState>\n</SetRepeatStateRequest>"},
        {"GetAlbumArtRequest writes both sizes as width", Build<GetAlbumArtRequest>([](auto& m) {
             m.requestId = 21;
             m.width = 100;
             m.height = 80;
         }),
         "<GetAlbumArtRequest>\n<requestId>21</requestId>\n<width>100</width>"
         "\n<width>80</width>\n</GetAlbumArtRequest>",
         "<GetAlbumArtRequest>\n<requestId>21</requestId>\n<width>100</width>"
         "\n</GetAlbumArtRequest>"},
        {"GetAlbumArtResponse", Build<GetAlbumArtResponse>([](auto& m) {
             m.requestId = 22;
             m.artURL = "http://127.0.0.1:3569/art/1.jpg?size=big&x='1'";
         }),
         "<GetAlbumArtResponse>\n<requestId>22</requestId>\n<returnCode>0</returnCode>"
         "\n<artURL>http://127.0.0.1:3569/art/1.jpg?size=big&amp;x=&apos;1&apos;</artURL>"
         "\n</GetAlbumArtResponse>"},
        {"SetTrackRatingRequest", Build<SetTrackRatingRequest>([](auto& m) {
             m.requestId = 24;
             m.rating = 80;
         }),
         "<SetTrackRatingRequest>\n<requestId>24</requestId>\n<rating>80</rating>"
         "\n</SetTrackRatingRequest>"},
        {"GetEqPresetsResponse", Build<GetEqPresetsResponse>([](auto& m) {
             m.requestId = 25;
             m.presets = {"Rock", "Jazz & Blues", "Flat"};
         }),
         "<GetEqPresetsResponse>\n<requestId>25</requestId>\n<returnCode>0</returnCode>"
         "\n<preset>Rock</preset>\n<preset>Jazz &amp; Blues</preset>\n<preset>Flat</preset>"
         "\n</GetEqPresetsResponse>"},
        {"SetEqPresetRequest", Build<SetEqPresetRequest>([](auto& m) {
             m.requestId = 26;
             m.preset = "Rock";
         }),
         "<SetEqPresetRequest>\n<requestId>26</requestId>\n<preset>Rock</preset>"
         "\n</SetEqPresetRequest>"},
        {"SetEqRequest", Build<SetEqRequest>([](auto& m) {
             m.requestId = 28;
             m.eq = SampleEq();
         }),
         std::string("<SetEqRequest>\n<requestId>28</requestId>") + kSampleEqXml +
             "\n</SetEqRequest>"},
        {"SetVideoModeRequest", Build<SetVideoModeRequest>([](auto& m) {
             m.requestId = 30;
             m.fullScreenEnabled = false;
         }),
         "<SetVideoModeRequest>\n<requestId>30</requestId>"
         "\n<fullScreenEnabled>false</fullScreenEnabled>\n</SetVideoModeRequest>"},
        {"GetSpeakerListResponse", Build<GetSpeakerListResponse>([](auto& m) {
             m.requestId = 31;
             m.speakers = {{"sp-1", "Kitchen", true}, {"sp-2", "Den & Hall", false}};
         }),
         "<GetSpeakerListResponse>\n<requestId>31</requestId>\n<returnCode>0</returnCode>"
         "\n<speakers>"
         "\n<speaker>\n<id>sp-1</id>\n<name>Kitchen</name>\n<enabled>true</enabled>\n</speaker>"
         "\n<speaker>\n<id>sp-2</id>\n<name>Den &amp; Hall</name>\n<enabled>false</enabled>"
         "\n</speaker>"
         "\n</speakers>\n</GetSpeakerListResponse>"},
        {"SpeakerListChangedEvent with no speakers", Build<SpeakerListChangedEvent>([](auto&) {}),
         "<SpeakerListChangedEvent>\n<speakers>\n</speakers>\n</SpeakerListChangedEvent>"},
        {"SelectSpeakerRequest", Build<SelectSpeakerRequest>([](auto& m) {
             m.requestId = 32;
             m.id = "sp-1";
         }),
         "<SelectSpeakerRequest>\n<requestId>32</requestId>\n<id>sp-1</id>"
         "\n</SelectSpeakerRequest>"},
        {"EnableSpeakerRequest", Build<EnableSpeakerRequest>([](auto& m) {
             m.requestId = 33;
             m.id = "sp-2";
             m.enabled = true;
         }),
         "<EnableSpeakerRequest>\n<requestId>33</requestId>\n<id>sp-2</id>"
         "\n<enabled>true</enabled>\n</EnableSpeakerRequest>"},
        {"GetPlayerCapabilitiesResponse", Build<GetPlayerCapabilitiesResponse>([](auto& m) {
             m.requestId = 34;
             m.supportsEQ = true;
             m.supportsMultipleSpeakers = false;
         }),
         "<GetPlayerCapabilitiesResponse>\n<requestId>34</requestId>"
         "\n<returnCode>0</returnCode>\n<supportsEQ>true</supportsEQ>"
         "\n<supportsMultipleSpeakers>false</supportsMultipleSpeakers>"
         "\n</GetPlayerCapabilitiesResponse>"},
        {"CurrentMediaChangedEvent", Build<CurrentMediaChangedEvent>([](auto& m) {
             m.type = MediaType::Video;
             m.artist = "Ana";
             m.album = "Live <2024>";
             m.title = "Intro";
             m.length = 245;
             m.rating = 80;
         }),
         "<CurrentMediaChangedEvent>\n<type>video</type>\n<artist>Ana</artist>"
         "\n<album>Live &lt;2024&gt;</album>\n<title>Intro</title>\n<length>245</length>"
         "\n<rating>80</rating>\n</CurrentMediaChangedEvent>"},
        {"CurrentMediaChangedEvent with unknown length",
         Build<CurrentMediaChangedEvent>([](auto& m) {
             m.type = MediaType::Music;
             m.title = "Intro";
         }),
         "<CurrentMediaChangedEvent>\n<type>music</type>\n<artist/>\n<album/>"
         "\n<title>Intro</title>\n</CurrentMediaChangedEvent>"},
        {"PlayingStateChangedEvent", Build<PlayingStateChangedEvent>([](auto& m) {
             m.playingState = PlayingState::FastForwarding;
         }),
         "<PlayingStateChangedEvent>\n<playingState>fast-forwarding</playingState>"
         "\n</PlayingStateChangedEvent>"},
        {"VolumeChangedEvent", Build<VolumeChangedEvent>([](auto& m) { m.volume = 52; }),
         "<VolumeChangedEvent>\n<volume>52</volume>\n</VolumeChangedEvent>"},
        {"PlaylistPositionChangedEvent",
         Build<PlaylistPositionChangedEvent>([](auto& m) { m.playlistPosition = 3; }),
         "<PlaylistPositionChangedEvent>\n<playlistPosition>3</playlistPosition>"
         "\n</PlaylistPositionChangedEvent>"},
        {"PlayPositionChangedEvent",
         Build<PlayPositionChangedEvent>([](auto& m) { m.playbackPosition = 61; }),
         "<PlayPositionChangedEvent>\n<playbackPosition>61</playbackPosition>"
         "\n</PlayPositionChangedEvent>"},
        {"ShuffleStateChangedEvent",
         Build<ShuffleStateChangedEvent>([](auto& m) { m.shuffleState = true; }),
         "<ShuffleStateChangedEvent>\n<shuffleState>true</shuffleState>"
         "\n</ShuffleStateChangedEvent>"},
        {"RepeatStateChangedEvent",
         Build<RepeatStateChangedEvent>([](auto& m) { m.repeatState = RepeatState::Off; }),
         "<RepeatStateChangedEvent>\n<repeatState>false</repeatState>"
         "\n</RepeatStateChangedEvent>"},
        {"PlayMediaRequest by id writes only the id", Build<PlayMediaRequest>([](auto& m) {
             m.requestId = 35;
             m.selector.id = 42;
             m.selector.path = "/ignored";
             m.selector.genre = "ignored";
         }),
         "<PlayMediaRequest>\n<requestId>35</requestId>\n<id>42</id>\n</PlayMediaRequest>"},
        {"PlayMediaRequest by path", Build<PlayMediaRequest>([](auto& m) {
             m.requestId = 36;
             m.selector.path = "/music/a & b.mp3";
             m.selector.libPath = "ignored";
             m.startingItem = 0;
         }),
         "<PlayMediaRequest>\n<requestId>36</requestId>\n<path>/music/a &amp; b.mp3</path>"
         "\n<startingItem>0</startingItem>\n</PlayMediaRequest>"},
        {"PlayMediaRequest by query reads its type from type, not mediaType",
         Build<PlayMediaRequest>([](auto& m) {
             m.requestId = 37;
             m.selector.mediaType = MediaType::Album;
             m.selector.genre = "Jazz";
             m.selector.artist = "Miles";
             m.startingItem = 3;
             m.groupByAlpha = true;
         }),
         "<PlayMediaRequest>\n<requestId>37</requestId>\n<mediaType>album</mediaType>"
         "\n<genre>Jazz</genre>\n<artist>Miles</artist>\n<startingItem>3</startingItem>"
         "\n<groupByAlpha>true</groupByAlpha>\n</PlayMediaRequest>",
         "<PlayMediaRequest>\n<requestId>37</requestId>\n<mediaType>music</mediaType>"
         "\n<genre>Jazz</genre>\n<artist>Miles</artist>\n<startingItem>3</startingItem>"
         "\n<groupByAlpha>true</groupByAlpha>\n</PlayMediaRequest>"},
        {"PlayMediaRequest by library path", Build<PlayMediaRequest>([](auto& m) {
             m.requestId = 38;
             m.selector.libPath = "/Artists/Miles";
             m.selector.any = "ignored";
         }),
         "<PlayMediaRequest>\n<requestId>38</requestId>\n<libPath>/Artists/Miles</libPath>"
         "\n</PlayMediaRequest>"},
        {"PlaylistAddRequest by library path", Build<PlaylistAddRequest>([](auto& m) {
             m.requestId = 39;
             m.selector.libPath = "/Albums/Kind of Blue";
             m.position = 5;
         }),
         "<PlaylistAddRequest>\n<requestId>39</requestId>"
         "\n<libPath>/Albums/Kind of Blue</libPath>\n<position>5</position>"
         "\n</PlaylistAddRequest>"},
        {"PlaylistAddRequest by a full query, of music unless told",
         Build<PlaylistAddRequest>([](auto& m) {
             m.selector.any = "a";
             m.selector.genre = "g";
             m.selector.artist = "r";
             m.selector.album = "l";
             m.selector.title = "t";
         }),
         "<PlaylistAddRequest>\n<mediaType>music</mediaType>\n<any>a</any>\n<genre>g</genre>"
         "\n<artist>r</artist>\n<album>l</album>\n<title>t</title>\n</PlaylistAddRequest>"},
    };
}

std::vector<WireCase> LibraryCases() {
    return {
        {"BrowseGenresRequest", Build<BrowseGenresRequest>([](auto& m) {
             m.requestId = 50;
             m.start = 0;
             m.count = 50;
             m.includeTotalCount = true;
             m.groupByAlpha = true;
             m.name = "J";
         }),
         "<BrowseGenresRequest>\n<requestId>50</requestId>\n<start>0</start>\n<count>50</count>"
         "\n<includeTotalCount>true</includeTotalCount>\n<groupByAlpha>true</groupByAlpha>"
         "\n<name>J</name>\n</BrowseGenresRequest>"},
        {"BrowseGenresResponse", Build<BrowseGenresResponse>([](auto& m) {
             m.requestId = 52;
             m.start = 0;
             m.count = 2;
             m.totalCount = 2;
             m.genres = {"Jazz", "Rock & Roll"};
         }),
         "<BrowseGenresResponse>\n<requestId>52</requestId>\n<returnCode>0</returnCode>"
         "\n<start>0</start>\n<count>2</count>\n<totalCount>2</totalCount>"
         "\n<genre>Jazz</genre>\n<genre>Rock &amp; Roll</genre>\n</BrowseGenresResponse>"},
        {"BrowseArtistsRequest", Build<BrowseArtistsRequest>([](auto& m) {
             m.requestId = 53;
             m.genre = "7";
             m.genreName = "Jazz";
         }),
         "<BrowseArtistsRequest>\n<requestId>53</requestId>\n<genre>7</genre>"
         "\n<genreName>Jazz</genreName>\n<name/>\n</BrowseArtistsRequest>"},
        {"BrowseArtistsResponse", Build<BrowseArtistsResponse>([](auto& m) {
             m.requestId = 54;
             m.totalCount = 120;
             m.scrollToIndex = 40;
             m.artists = {"Ana", "Miles"};
         }),
         "<BrowseArtistsResponse>\n<requestId>54</requestId>\n<returnCode>0</returnCode>"
         "\n<totalCount>120</totalCount>\n<scrollToIndex>40</scrollToIndex>"
         "\n<artist>Ana</artist>\n<artist>Miles</artist>\n</BrowseArtistsResponse>"},
        {"BrowseAlbumsRequest", Build<BrowseAlbumsRequest>([](auto& m) {
             m.requestId = 55;
             m.genre = "Jazz";
             m.artist = "Miles";
             m.name = "K";
             m.includeTracks = true;
         }),
         "<BrowseAlbumsRequest>\n<requestId>55</requestId>\n<genre>Jazz</genre>"
         "\n<artist>Miles</artist>\n<name>K</name>\n<includeTracks>true</includeTracks>"
         "\n</BrowseAlbumsRequest>"},
        {"BrowseTracksRequest", Build<BrowseTracksRequest>([](auto& m) {
             m.requestId = 56;
             m.artist = "Miles";
             m.album = "Kind of Blue";
         }),
         "<BrowseTracksRequest>\n<requestId>56</requestId>\n<genre/>\n<artist>Miles</artist>"
         "\n<album>Kind of Blue</album>\n<title/>\n</BrowseTracksRequest>"},
        {"BrowseFoldersRequest", Build<BrowseFoldersRequest>([](auto& m) {
             m.requestId = 57;
             m.parentPath = "/Music";
         }),
         "<BrowseFoldersRequest>\n<requestId>57</requestId>\n<parentPath>/Music</parentPath>"
         "\n</BrowseFoldersRequest>"},
        {"BrowseTVSeriesResponse", Build<BrowseTVSeriesResponse>([](auto& m) {
             m.requestId = 58;
             m.series = {"News"};
         }),
         "<BrowseTVSeriesResponse>\n<requestId>58</requestId>\n<returnCode>0</returnCode>"
         "\n<series>News</series>\n</BrowseTVSeriesResponse>"},
        {"BrowseTVRequest", Build<BrowseTVRequest>([](auto& m) {
             m.requestId = 59;
             m.series = "News";
         }),
         "<BrowseTVRequest>\n<requestId>59</requestId>\n<genre/>\n<series>News</series>"
         "\n<title/>\n</BrowseTVRequest>"},
        {"BrowseVideoRequest", Build<BrowseVideoRequest>([](auto& m) {
             m.requestId = 60;
             m.genre = "Docs";
             m.title = "Sea";
         }),
         "<BrowseVideoRequest>\n<requestId>60</requestId>\n<genre>Docs</genre>"
         "\n<title>Sea</title>\n</BrowseVideoRequest>"},
        {"MediaSearchRequest", Build<MediaSearchRequest>([](auto& m) {
             m.requestId = 61;
             m.count = 20;
             m.type = MediaType::Music;
             m.any = "mi";
             m.isExplicit = false;
         }),
         "<MediaSearchRequest>\n<requestId>61</requestId>\n<count>20</count>"
         "\n<type>music</type>\n<any>mi</any>\n<genre/>\n<artist/>\n<album/>\n<title/>"
         "\n<path/>\n<isExplicit>false</isExplicit>\n</MediaSearchRequest>"},
        {"MediaSearchResponse", Build<MediaSearchResponse>([](auto& m) {
             m.requestId = 62;
             m.totalCount = 2;
             m.results.push_back(MediaResult{9, MediaType::Artist, true, "Miles", ""});
             m.results.push_back(MediaResult{10, MediaType::Music, false, "So What", ""});
         }),
         "<MediaSearchResponse>\n<requestId>62</requestId>\n<returnCode>0</returnCode>"
         "\n<totalCount>2</totalCount>"
         "\n<result>\n<id>9</id>\n<type>artist</type>\n<container>true</container>"
         "\n<name>Miles</name>\n</result>"
         "\n<result>\n<id>10</id>\n<type>music</type>\n<container>false</container>"
         "\n<name>So What</name>\n</result>\n</MediaSearchResponse>"},
        {"BrowseLibraryRequest", Build<BrowseLibraryRequest>([](auto& m) {
             m.requestId = 63;
             m.start = 1000;
             m.count = 1000;
             m.path = "/Artists";
             m.returnAllMediaItems = true;
         }),
         "<BrowseLibraryRequest>\n<requestId>63</requestId>\n<start>1000</start>"
         "\n<count>1000</count>\n<path>/Artists</path>"
         "\n<returnAllMediaItems>true</returnAllMediaItems>\n</BrowseLibraryRequest>"},
        {"BrowseLibraryResponse", Build<BrowseLibraryResponse>([](auto& m) {
             m.requestId = 64;
             m.start = 0;
             m.totalCount = 2;
             m.path = "/Artists";
             m.results.push_back(MediaResult{1, MediaType::Artist, true, "Ana", "/Artists/Ana"});
             m.results.push_back(
                 MediaResult{2, MediaType::Podcast, false, "Talk", "/Podcasts/Talk"});
         }),
         "<BrowseLibraryResponse>\n<requestId>64</requestId>\n<returnCode>0</returnCode>"
         "\n<start>0</start>\n<totalCount>2</totalCount>\n<path>/Artists</path>"
         "\n<result>\n<id>1</id>\n<type>artist</type>\n<container>true</container>"
         "\n<name>Ana</name>\n<path>/Artists/Ana</path>\n</result>"
         "\n<result>\n<id>2</id>\n<type>podcast</type>\n<container>false</container>"
         "\n<name>Talk</name>\n<path>/Podcasts/Talk</path>\n</result>"
         "\n</BrowseLibraryResponse>"},
        {"BrowseLibraryResponse of an empty folder", Build<BrowseLibraryResponse>([](auto& m) {
             m.requestId = 65;
             m.path = "/Empty";
         }),
         "<BrowseLibraryResponse>\n<requestId>65</requestId>\n<returnCode>0</returnCode>"
         "\n<path>/Empty</path>\n</BrowseLibraryResponse>"},
        {"GetMediaItemRequest", Build<GetMediaItemRequest>([](auto& m) {
             m.requestId = 66;
             m.id = 7;
         }),
         "<GetMediaItemRequest>\n<requestId>66</requestId>\n<id>7</id>\n<path/>"
         "\n</GetMediaItemRequest>"},
        {"GetMediaItemResponse", Build<GetMediaItemResponse>([](auto& m) {
             m.requestId = 67;
             m.id = 7;
             m.type = MediaType::Music;
             m.artist = "Ana";
             m.album = "Cielo";
             m.title = "Intro";
             m.libraryId = "L1";
             m.path = "/Music/intro.ogg";
         }),
         "<GetMediaItemResponse>\n<requestId>67</requestId>\n<returnCode>0</returnCode>"
         "\n<id>7</id>\n<type>music</type>\n<artist>Ana</artist>\n<album>Cielo</album>"
         "\n<title>Intro</title>\n<libraryId>L1</libraryId>\n<path>/Music/intro.ogg</path>"
         "\n</GetMediaItemResponse>"},
    };
}

std::vector<WireCase> AllCases() {
    auto cases = PlayerCases();
    auto library = LibraryCases();
    cases.insert(cases.end(), library.begin(), library.end());
    return cases;
}

TEST(MessageXmlTest, WritesTheExactWireFormAndReadsItBack) {
    for (const WireCase& c : AllCases()) {
        const auto original = c.build();
        EXPECT_EQ(original->ToXml(), c.xml) << c.label;
        const auto copy = MessageFactory::Create(original->Type());
        ASSERT_NE(copy, nullptr) << c.label;
        copy->FromXml(c.xml);
        EXPECT_EQ(copy->ToXml(), c.reread.empty() ? c.xml : c.reread) << c.label;
    }
}

// A message's fields as written at their defaults, without its root and the
// header its kind adds: classes that share a layout write the same.
std::string Shape(const Message& message) {
    const std::string name(message.TypeName());
    std::string xml = message.ToXml();
    xml = xml.substr(name.size() + 2, xml.size() - 2 * name.size() - 5);
    const std::string header = "\n<returnCode>0</returnCode>";
    if (xml.rfind(header, 0) == 0) {
        xml.erase(0, header.size());
    }
    return xml;
}

// Every class the factory makes has a row above, or a row of its shape
// (the others of its family: Get...Response, Set...Request, ...ChangedEvent),
// or no fields of its own, so no message escapes the pinned wire forms.
TEST(MessageXmlTest, EveryClassWithFieldsIsPinned) {
    std::set<MessageType> pinned;
    std::set<std::string> shapes;
    for (const WireCase& c : AllCases()) {
        pinned.insert(c.build()->Type());
        shapes.insert(Shape(*MessageFactory::Create(c.build()->Type())));
    }
    for (std::uint32_t id = 0; id < kMessageTypeCount; ++id) {
        const auto message = MessageFactory::Create(id);
        if (message == nullptr || pinned.contains(message->Type())) {
            continue;
        }
        const std::string shape = Shape(*message);
        EXPECT_TRUE(shape == "\n" || shapes.contains(shape))
            << message->TypeName() << " has fields no row pins: " << shape;
    }
}

// --- What the reader makes of texts the server writes ----------------------

template <class M>
M Read(std::string_view xml) {
    M message;
    message.FromXml(xml);
    return message;
}

TEST(MessageReadTest, ErrorDetailsResponseReadsItsReturnCode) {
    const auto m = Read<GetErrorDetailsResponse>(
        "<GetErrorDetailsResponse>\n<requestId>4</requestId>\n<returnCode>7</returnCode>"
        "\n<description>Busy</description>\n</GetErrorDetailsResponse>");
    EXPECT_EQ(m.requestId, 4);
    EXPECT_EQ(m.returnCode, 7);
    EXPECT_EQ(m.description, "Busy");
}

TEST(MessageReadTest, PlayingStateWordsInAnyCase) {
    struct Case {
        const char* word;
        std::int32_t state;
    };
    const Case cases[] = {{"playing", PlayingState::Playing},
                          {"Paused", PlayingState::Paused},
                          {"STOPPED", PlayingState::Stopped},
                          {"fast-forwarding", PlayingState::FastForwarding},
                          {"Rewinding", PlayingState::Rewinding}};
    for (const Case& c : cases) {
        const auto m =
            Read<GetCurrentStateResponse>(std::string("<GetCurrentStateResponse><playingState>") +
                                          c.word + "</playingState></GetCurrentStateResponse>");
        EXPECT_EQ(m.playingState, c.state) << c.word;
    }
    // A word that names no state leaves the field as it was.
    PlayingStateChangedEvent event;
    event.playingState = PlayingState::Paused;
    event.FromXml(
        "<PlayingStateChangedEvent><playingState>buffering</playingState>"
        "</PlayingStateChangedEvent>");
    EXPECT_EQ(event.playingState, PlayingState::Paused);
    EXPECT_EQ(PlayingStateName(PlayingState::Stopped), "stopped");
    EXPECT_EQ(PlayingStateName(0), "stopped");
    EXPECT_EQ(PlayingStateName(99), "stopped");
}

TEST(MessageReadTest, RepeatOneComesBackAsRepeatAll) {
    SetRepeatStateRequest sent;
    sent.repeatState = RepeatState::One;
    EXPECT_EQ(Read<SetRepeatStateRequest>(sent.ToXml()).repeatState, RepeatState::All);
    EXPECT_EQ(Read<RepeatStateChangedEvent>("<RepeatStateChangedEvent><repeatState>TRUE"
                                            "</repeatState></RepeatStateChangedEvent>")
                  .repeatState,
              RepeatState::All);
    EXPECT_EQ(Read<RepeatStateChangedEvent>("<RepeatStateChangedEvent><repeatState>1"
                                            "</repeatState></RepeatStateChangedEvent>")
                  .repeatState,
              RepeatState::Off);
}

TEST(MessageReadTest, EqualiserHasTenBandsAndMissingOnesReadAsMinusOne) {
    const auto m = Read<EqChangedEvent>(
        "<EqChangedEvent>\n<enabled>true</enabled>\n<preamp>2</preamp>\n<band1>5</band1>"
        "\n<band10>-3</band10>\n<band11>9</band11>\n</EqChangedEvent>");
    EXPECT_TRUE(m.eq.enabled);
    EXPECT_FALSE(m.eq.autoLoad);
    EXPECT_EQ(m.eq.preamp, 2);
    EXPECT_EQ(m.eq.bands, (std::array<std::int32_t, 10>{5, -1, -1, -1, -1, -1, -1, -1, -1, -3}));
}

TEST(MessageReadTest, AlbumArtRequestReadsHeightFromItsOwnName) {
    const auto m = Read<GetAlbumArtRequest>(
        "<GetAlbumArtRequest><width>100</width><height>80</height></GetAlbumArtRequest>");
    EXPECT_EQ(m.width, 100);
    EXPECT_EQ(m.height, 80);
}

TEST(MessageReadTest, PlaylistItemsTakeTheirTitleFromName) {
    const auto m = Read<GetPlaylistItemsResponse>(
        "<GetPlaylistItemsResponse>\n<requestId>1</requestId>\n<returnCode>0</returnCode>"
        "\n<start>5</start>\n<totalCount>40</totalCount>"
        "\n<item>\n<mediaId>3</mediaId>\n<name>Intro</name>\n<artist>Ana</artist>"
        "\n<type>podcast</type>\n</item>"
        "\n<item>\n<name>Folder</name>\n<container>TRUE</container>\n</item>"
        "\n</GetPlaylistItemsResponse>");
    EXPECT_EQ(m.start, -1) << "start is not read";
    EXPECT_EQ(m.totalCount, 40);
    ASSERT_EQ(m.items.size(), 2u);
    EXPECT_EQ(m.items[0], (PlaylistItem{3, false, "Intro", "Ana", MediaType::Podcast}));
    EXPECT_EQ(m.items[1], (PlaylistItem{-1, true, "Folder", "", MediaType::Music}));
}

// The play rows above read back every selector field but the media type,
// which is read from "type" and never written there.
TEST(MessageReadTest, PlayMediaReadsItsMediaTypeFromType) {
    const auto m = Read<PlayMediaRequest>(
        "<PlayMediaRequest>\n<type>video</type>\n<mediaType>photo</mediaType>"
        "\n</PlayMediaRequest>");
    EXPECT_EQ(m.selector.mediaType, MediaType::Video);
}

TEST(MessageReadTest, SearchResultsWithoutContainerAreNotFolders) {
    const auto m = Read<MediaSearchResponse>(
        "<MediaSearchResponse>\n<result>\n<id>1</id>\n<name>a</name>\n</result>"
        "\n<result>\n<id>2</id>\n<type>album</type>\n<container>true</container>"
        "\n<name>b</name>\n</result>\n</MediaSearchResponse>");
    ASSERT_EQ(m.results.size(), 2u);
    EXPECT_FALSE(m.results[0].container);
    EXPECT_EQ(m.results[0].type, MediaType::Music) << "a missing type reads as music";
    EXPECT_TRUE(m.results[1].container);
    EXPECT_EQ(m.results[1].type, MediaType::Album);
}

// A server may send a title as long as a whole frame; what is kept of any
// text, alone or in a list, is capped (and "&amp;" counts once decoded).
TEST(MessageReadTest, TextsOfMegabytesAreCapped) {
    const std::string huge(1 << 20, 'T');
    const auto media = Read<CurrentMediaChangedEvent>(
        "<CurrentMediaChangedEvent><title>" + huge + "</title><artist>" +
        std::string(kMaxPeerText - 1, 'a') + "&amp;&amp;</artist><album>Al</album>" +
        "<length>90</length></CurrentMediaChangedEvent>");
    EXPECT_EQ(media.title, std::string(kMaxPeerText, 'T'));
    EXPECT_EQ(media.artist, std::string(kMaxPeerText - 1, 'a') + "&");
    EXPECT_EQ(media.album, "Al");
    EXPECT_EQ(media.length, 90);
    const auto presets =
        Read<GetEqPresetsResponse>("<GetEqPresetsResponse><preset>Rock</preset><preset>" + huge +
                                   "</preset></GetEqPresetsResponse>");
    EXPECT_EQ(presets.presets, (std::vector<std::string>{"Rock", std::string(kMaxPeerText, 'T')}));
}

TEST(MessageReadTest, ResponseHeaderFieldsMissingReadAsMinusOne) {
    const auto m = Read<GetVolumeResponse>("<GetVolumeResponse><volume>12abc</volume>");
    EXPECT_EQ(m.requestId, -1);
    EXPECT_EQ(m.returnCode, -1);
    EXPECT_EQ(m.volume, 12);
}

std::set<std::string> Lines(const std::string& text) {
    std::set<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        lines.insert(text.substr(start, end - start));
    }
    lines.insert(text.substr(start));
    return lines;
}

// A field of a list entry that was cut off: what a missing element reads as.
bool IsEmptyValue(const std::string& line) {
    if (line.size() > 3 && line.front() == '<' && line.ends_with("/>")) {
        return true;
    }
    const std::size_t close = line.find('>');
    const std::size_t end = line.rfind("</");
    if (close == std::string::npos || end == std::string::npos || end < close) {
        return false;
    }
    const std::string value = line.substr(close + 1, end - close - 1);
    return value == "-1" || value == "false" || value == "music";
}

TEST(MessageReadTest, ATruncatedTextReadsEachFieldWholeOrNotAtAll) {
    // Any prefix of a valid text reads every field as its value in the whole
    // text or as its empty value: a field cut short is missing, never a
    // shorter value (and nothing is read past the end, which
    // AddressSanitizer watches).
    for (const WireCase& c : AllCases()) {
        const auto original = c.build();
        std::set<std::string> allowed = Lines(original->ToXml());
        allowed.merge(Lines(c.reread));
        const auto empty = MessageFactory::Create(original->Type());
        empty->FromXml("");
        allowed.merge(Lines(empty->ToXml()));
        for (std::size_t length = 0; length <= c.xml.size(); ++length) {
            // An exact-size heap copy, so any read past the end is caught.
            const std::vector<char> prefix(c.xml.begin(),
                                           c.xml.begin() + static_cast<std::ptrdiff_t>(length));
            auto copy = MessageFactory::Create(original->Type());
            copy->FromXml(std::string_view(prefix.data(), prefix.size()));
            for (const std::string& line : Lines(copy->ToXml())) {
                EXPECT_TRUE(allowed.contains(line) || IsEmptyValue(line))
                    << c.label << " cut at " << length << " reads " << line;
            }
        }
    }
}

}  // namespace
}  // namespace vantor
