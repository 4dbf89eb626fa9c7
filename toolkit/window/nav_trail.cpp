// The folder trail of the title bar: where a window's file browser stands below its
// root, as "› Sub › Folder" after the window's title. A browser belongs to the window
// whose draw draws it; the title bar of that window shows the folder whose rows the
// browser shows (not one still being read). Window thread only.
#include "zinternal.h"
#include "zmenu.h"

#include <algorithm>
#include <vector>

ZelmorWindow* gZwDrawingWindow = nullptr;

namespace {

struct TrailOwner {
    FileBrowserMenu* browser;
    ZelmorWindow* window;
};
// How a browser tells its trail; set by the browsers, so that the title bar does not
// drag the whole browser into programs that have none.
std::string (*sTrailOf)(FileBrowserMenu* browser) = nullptr;
std::vector<TrailOwner> sOwners;
// The window whose title bar was drawn in this draw before its browser was known.
ZelmorWindow* sBarWithoutTrail = nullptr;

const char kStep[] = "\xE2\x80\xBA  "; // a single right-pointing angle quotation mark
const char kBetween[] = "  \xE2\x80\xBA  ";

TrailOwner* ownerOf(ZelmorWindow* window) {
    for (TrailOwner& owner : sOwners) {
        if (owner.window == window)
            return &owner;
    }
    return nullptr;
}

void drawTrail(const std::string& trail) {
    if (trail.empty())
        return;
    SDL_Color dim = {gListColorTxt.r, gListColorTxt.g, gListColorTxt.b, 170};
    DrawString(gNavFont, SDL_Rect{150, 0, 1090, 80}, trail.c_str(), dim, 0, false, false);
}

} // namespace

std::string zwNavTrail(const std::string& root, const std::string& dir) {
    if (dir.empty() || dir == root)
        return std::string();
    std::string steps;
    if (root == "/" || (dir.size() > root.size() && dir.compare(0, root.size(), root) == 0 && dir[root.size()] == '/'))
        steps = dir.substr(root == "/" ? 1 : root.size() + 1);
    else
        steps = dir.substr(std::min(dir.find_first_not_of('/'), dir.size())); // outside the root: its whole path
    if (steps.empty())
        return std::string(kStep) + "/"; // the file system's root, outside the library
    std::string trail = kStep;
    for (char c : steps) {
        if (c == '/')
            trail += kBetween;
        else
            trail += c;
    }
    return trail;
}

void zwDrawNavTrail(ZelmorWindow* window) {
    if (TrailOwner* owner = ownerOf(window))
        drawTrail(sTrailOf(owner->browser));
    else if (window == gZwDrawingWindow)
        sBarWithoutTrail = window;
}

void zwNoteBrowserDrawn(FileBrowserMenu* browser, std::string (*trailOf)(FileBrowserMenu* browser)) {
    ZelmorWindow* window = gZwDrawingWindow;
    if (!window)
        return;
    sTrailOf = trailOf;
    for (const TrailOwner& owner : sOwners) {
        if (owner.browser == browser)
            return;
    }
    sOwners.push_back(TrailOwner{browser, window});
    // The first frame of this window drew its title bar before the browser was known.
    if (sBarWithoutTrail == window) {
        sBarWithoutTrail = nullptr;
        drawTrail(trailOf(browser));
    }
}

void zwForgetTrailOwner(FileBrowserMenu* browser, ZelmorWindow* window) {
    sOwners.erase(std::remove_if(sOwners.begin(), sOwners.end(),
                                 [=](const TrailOwner& owner) {
                                     return owner.browser == browser || owner.window == window;
                                 }),
                  sOwners.end());
    if (sBarWithoutTrail == window)
        sBarWithoutTrail = nullptr;
}
