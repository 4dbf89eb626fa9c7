// The parts of the now-playing screen that only a track or a setting changes are drawn
// once and reused: each change must still show in the next frame, pixel for pixel as a
// window opened on the new state draws it, also where a loud waveform reaches the cover
// and the key hints. The frames are saved in the gallery.
#include "player_fixture.h"
#include "playwindow/screen/music_play_window.h"

#include <functional>

using PlayStill = PlayerTest;

TEST_F(PlayStill, EachChangeShowsInTheNextFrameAsInANewWindow) {
    // The screen above the status bar and its clock.
    auto aboveStatusBar = [] { return readTargetPixels(0, 0, 1280, kClockArea.y); };
    const std::string a = scratch.path() + "/a", b = scratch.path() + "/b";
    solidPng(a + ".png", 300, 300, kYellow);
    solidPng(b + ".png", 500, 250, kBlue);
    writeTap({{20.0, 31000.0}});     // bars up to 360 high, over the hints and into the cover
    listEffects({"wave1", "plain"}); // the second has no images: the skin's veil, no canvas
    std::string track = a + ".flac", state = "playing";
    auto show = [&](const std::string& shown) {
        setStatus(track, shown, 83, 241, "Night Drive", "The Quiet Hours");
    };
    show(state);
    auto* window = new MusicPlayWindow(1, true, true);
    frame(*window);
    frame(*window);
    saveScreenshot("still_loud_waveform");

    const Reply repeatOne{ReplyKind::Json, "{\"mode\": 2}"};
    // A new track's blurred background, and the veil of an effect chosen by a key, show
    // from the frame after the change: that frame has drawn the background already.
    const struct {
        const char* shot;
        std::function<void()> make;
        bool secondFrame;
    } changes[] = {
        {"still_new_track", [&] { track = b + ".flac"; }, true},
        {"still_paused", [&] { state = "paused"; }, false},
        {"still_repeat_one", [&] { service.script("get_play_mode", repeatOne); }, false},
        {"still_other_effect", [&] { press(SDLK_2, window); }, true},
        {"still_plain_background", [] { gCoverBackground = false; }, false},
        {"still_no_visualiser", [] { gVisualization = false; }, false},
        {"still_idle", [&] { track.clear(); }, false},
    };
    for (const auto& change : changes) {
        change.make();
        show(state);
        frame(*window);
        if (&change == &changes[0])
            saveScreenshot("still_track_change"); // the new cover shows at once
        if (change.secondFrame)
            frame(*window);
        saveScreenshot(change.shot);
        const std::vector<Uint32> shown = aboveStatusBar();
        delete window;
        // A new window that has seen the track playing, so that its time labels agree.
        window = new MusicPlayWindow(1, true, true);
        show("playing");
        frame(*window);
        show(state);
        frame(*window);
        EXPECT_TRUE(aboveStatusBar() == shown) << change.shot;
    }
    delete window;
}
