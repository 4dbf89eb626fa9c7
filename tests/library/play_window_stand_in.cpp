// Until the now-playing screen is part of the build: a window of its kind that only
// counts itself and closes on the back key, so that the library can be linked and
// tested. It is not used once playwindow/ provides the real one.
#include "playwindow/music_play_window.h"

#include "zmenu.h"

int gPlayWindowsMade = 0;

MusicPlayWindow::MusicPlayWindow(int listType, bool playing, bool showIdleMessage)
    : ZelmorWindow(8, 1), mListType(listType), mPlaying(playing), mShowIdleMessage(showIdleMessage) {
    ++gPlayWindowsMade;
}
MusicPlayWindow::~MusicPlayWindow() {}
int MusicPlayWindow::eventHandling() {
    int key = wait_event(nullptr);
    return zwIsBackKey(key) ? static_cast<int>(kWinResultClose) : 0;
}
int MusicPlayWindow::draw() {
    return 0;
}
void MusicPlayWindow::quit() {}
void MusicPlayWindow::init() {}
void MusicPlayWindow::saveState(cJSON*) {}
int MusicPlayWindow::restoreState(cJSON*) {
    return 0;
}
void MusicPlayWindow::refresh() {}
void MusicPlayWindow::enterAnim() {}
void MusicPlayWindow::exitAnim() {}
const char* MusicPlayWindow::getTitle() {
    return ZelmorWindow::getTitle();
}
void MusicPlayWindow::loadVis() {}
