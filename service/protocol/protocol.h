// The vocabulary of the playback service, written once for both programs: the socket
// name, the frame's constants, the command words with their members, the numbers they
// carry, and the members and state words of the status file. The front end's client,
// its status monitor and the service itself all take their words from here, so that the
// two programs cannot drift apart.
#pragma once

#include <cstdint>

// The abstract socket name (no file behind it, no device-root prefix). A test build
// sets a name of its own, so that its suites never meet a service the user runs.
#ifndef MP_SERVICE_SOCKET_NAME
#define MP_SERVICE_SOCKET_NAME "musicservice"
#endif

// Frame: a 32-bit magic, a signed 32-bit body length, then the JSON body.
constexpr uint32_t SERVICE_FRAME_MAGIC = 0xABCDEDCBu;
// Largest reply body the front end accepts, 50 MiB.
constexpr int32_t SERVICE_REPLY_MAX = 0x3200000;

// Command words: the value of a request's first member, "cmd".
constexpr const char kMemberCmd[] = "cmd";
constexpr const char kCmdSetPlayMode[] = "set_play_mode";     // + kMemberMode
constexpr const char kCmdSetVolume[] = "set_volume";          // + kMemberVolume
constexpr const char kCmdPause[] = "pause";
constexpr const char kCmdResume[] = "resume";
constexpr const char kCmdStop[] = "stop";
constexpr const char kCmdPrevious[] = "previous";
constexpr const char kCmdNext[] = "next";
constexpr const char kCmdSeek[] = "seek";                     // + kMemberMs
constexpr const char kCmdPlayInDir[] = "play_file_in_dir";    // + kMemberPath, as are the next four
constexpr const char kCmdPlayInRecent[] = "play_file_in_recent_list";
constexpr const char kCmdPlayInPlaylist[] = "play_file_in_playlist";
constexpr const char kCmdPlayInFavorite[] = "play_file_in_favorite";
constexpr const char kCmdSetPlayDir[] = "set_play_dir";       // answered
constexpr const char kCmdGetListType[] = "get_current_list_type"; // answered with kMemberListType
constexpr const char kCmdGetPlayMode[] = "get_play_mode";     // answered with kMemberMode
constexpr const char kCmdGetFavorites[] = "get_favorite_list"; // answered with kMemberList

// The further member of a request, and the members of the answers.
constexpr const char kMemberPath[] = "path";
constexpr const char kMemberMode[] = "mode";
constexpr const char kMemberVolume[] = "volume";
constexpr const char kMemberMs[] = "ms";
constexpr const char kMemberListType[] = "listtype";
// "get_favorite_list": an array of objects, each with a kMemberPath string.
constexpr const char kMemberList[] = "list";
// "set_play_dir": what the service made of the folder (the front end drops the answer).
constexpr const char kMemberResult[] = "result";
constexpr const char kMemberCount[] = "count";

// Play order, as "set_play_mode" and "get_play_mode" carry it.
enum PlayMode {
    PlayModeSequence = 0,
    PlayModeRandom = 1,
    PlayModeSingleCycle = 2,
};

// The list the service plays from; -1 when the query failed.
enum {
    ListTypeDir = 1,
    ListTypeRecent = 2,
    ListTypePlaylist = 3,
    ListTypeFavorite = 4,
};

// Members of the status file.
constexpr const char kStatusFilename[] = "filename";
constexpr const char kStatusState[] = "status";
constexpr const char kStatusDuration[] = "duration";
constexpr const char kStatusPosition[] = "position";
constexpr const char kStatusVolume[] = "volume";
constexpr const char kStatusAudiotrack[] = "audiotrack";

// The tag members of the status file, in the order the file and the record hold them.
enum StatusTag { kTagTitle, kTagArtist, kTagAlbum, kTagYear, kTagComment, kTagTrack, kTagGenre, kTagCount };
constexpr const char* const kStatusTagMembers[kTagCount] = {"title",   "artist", "album", "year",
                                                            "comment", "track",  "genre"};

// State words of kStatusState, compared exactly; any other text means nothing plays.
constexpr const char kStatePlaying[] = "playing";
constexpr const char kStatePaused[] = "paused";
constexpr const char kStateStopped[] = "stopped";
