#include "popups/music_info_window.h"

#include "popups/list_screen.h"

#include "app/shared/language_table.h"
#include "app/shared/screen_state.h"
#include "status/music_status.h"

#include <string>

MusicInfoWindow::MusicInfoWindow() : ZelmorWindow(kLangMusicInformation, -1), mRowA(nullptr), mRowN(nullptr) {}

MusicInfoWindow::~MusicInfoWindow() {
    delete mRowN;
    delete mRowA;
}

int MusicInfoWindow::eventHandling() {
    return mSettingMenu.eventHandling();
}

int MusicInfoWindow::draw() {
    return drawListScreen(this, mSettingMenu);
}

int popup_info_window(void*) {
    std::string filename, status;
    readMusicStatus([&](const MusicPlayingStatus& record) {
        filename = record.filename;
        status = record.status;
    });
    if (filename.empty() || (!isPlayingState(status) && !isPausedState(status)))
        return kWinResultClose; // nothing to show: the popup closes

    auto* window = new MusicInfoWindow();
    window->mRowN = LoadZelmorSurface(gThemePath, "./", "skin/bg-list-long-n.png");
    window->mRowA = LoadZelmorSurface(gThemePath, "./", "skin/bg-list-long-a.png");

    // Again: the track may have changed since the first look.
    std::string artist, album, genre, year;
    readMusicStatus([&](const MusicPlayingStatus& record) {
        filename = record.filename;
        artist = record.artist;
        album = record.album;
        genre = record.genre;
        year = record.year;
    });

    auto addRow = [window](int labelId, const std::string& value) {
        window->mSettingMenu.insertSettingItem(
            new SettingItem(window->mRowA, window->mRowN, labelId, value.c_str(), nullptr));
    };
    // The file's own name, suffix included, even when it is empty.
    size_t slash = filename.rfind('/');
    if (slash != std::string::npos)
        addRow(kLangMusicName, filename.substr(slash + 1));
    const std::pair<int, const std::string*> tags[] = {{kLangArtist, &artist}, {kLangAlbum, &album}, {kLangGenre, &genre}, {kLangYear, &year}};
    for (const auto& tag : tags) {
        if (!tag.second->empty())
            addRow(tag.first, *tag.second);
    }
    add2PopupList(window);
    return kWinResultPopup;
}
