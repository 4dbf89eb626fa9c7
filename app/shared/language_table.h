// The program's own texts in the toolkit's language table: their ids and their default
// (English) texts. Their translations are in the language files under lang/, which the
// toolkit reads in initLang.
#pragma once

// Language ids. 0 to 7 are the toolkit's; the program uses one of them.
enum LangId {
    kLangQuitting = 3, // the toolkit's "Quitting...", shown during shutdown
    kLangMusic = 8,    // title of the library, the now-playing screen and the quit dialog
    kLangEmptyLibrary = 9,
    kLangSettings = 10,
    kLangQuitQuestion = 11,
    kLangQuit = 12,
    kLangAudioTrack = 13,
    kLangPlaylist = 14,
    kLangFavorite = 15,
    kLangLibrary = 16,
    kLangRecentList = 17,
    kLangNothingPlaying = 18,
    kLangUnknownArtist = 19,
    kLangPlayPause = 20,
    kLangMusicInformation = 21,
    kLangMusicName = 22,
    kLangArtist = 23,
    kLangAlbum = 24,
    kLangGenre = 25,
    kLangYear = 26,
    kLangPlaying = 27,
    kLangVolume = 28,
    kLangCoverBackground = 29,
    kLangVisualization = 30,
    kLangBackgroundPlay = 31,
    kLangStopAndQuit = 32,
};

// Appends the program's 25 default texts behind the toolkit's eight, so that they take
// ids 8 to 32. Called once during start-up, before initLang.
void appendDefaultStrings();
