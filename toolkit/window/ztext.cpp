// Fonts, skin globals, cached text rendering and the two bars of a full screen.
#include "zinternal.h"

#include <SDL2/SDL_ttf.h>
#include <ctime>
#include <list>
#include <string>
#include <unordered_map>

ZelmorSurface* gBackground = nullptr;
ZelmorSurface* gIconFolder = nullptr;
_TTF_Font* gListFontTxt = nullptr;
_TTF_Font* gNavFont = nullptr;
_TTF_Font* gStatFont = nullptr;
_TTF_Font* gPopupFontTitle = nullptr;
SDL_Color gListColorTxt = {255, 255, 255, 255};

int zwTextRenders = 0;

namespace {

// Latin and Simplified Chinese in one face, then a Latin fallback.
const char* const kFontFiles[] = {
    "/usr/share/fonts/truetype/wqy/wqy-microhei.ttc",
    "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
};

TTF_Font* openFont(int size) {
    for (const char* file : kFontFiles) {
        if (TTF_Font* font = TTF_OpenFont(file, size))
            return font;
    }
    return nullptr;
}

struct CachedText {
    SDL_Texture* texture;
    int width;
    int height;
    std::list<std::string>::iterator age;
};

// Rendered lines by font, colour, width limit and text, least recently used dropped
// first, so that a frame showing the same texts renders no glyphs.
constexpr size_t kTextCacheSize = 256;
ZelmorSurface* sNavBar = nullptr;
ZelmorSurface* sStatBar = nullptr;
std::unordered_map<std::string, CachedText> sTextCache;
std::list<std::string> sTextAges;

std::string cacheKey(TTF_Font* font, SDL_Color color, int limit, const char* text) {
    char head[64];
    snprintf(head, sizeof(head), "%p/%02x%02x%02x%02x/%d/", static_cast<void*>(font), color.r, color.g,
             color.b, color.a, limit);
    return std::string(head) + text;
}

// The longest prefix of text, cut at a UTF-8 character boundary, that fits in limit
// pixels with an ellipsis behind it.
std::string ellipsize(TTF_Font* font, const std::string& text, int limit) {
    int width = 0;
    if (TTF_SizeUTF8(font, text.c_str(), &width, nullptr) == 0 && width <= limit)
        return text;
    size_t cut = text.size();
    while (cut > 0) {
        do {
            --cut;
        } while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80);
        std::string candidate = text.substr(0, cut) + "\xE2\x80\xA6";
        if (TTF_SizeUTF8(font, candidate.c_str(), &width, nullptr) == 0 && width <= limit)
            return candidate;
    }
    return "\xE2\x80\xA6";
}

CachedText* renderText(TTF_Font* font, const char* text, SDL_Color color, int limit) {
    std::string key = cacheKey(font, color, limit, text);
    auto found = sTextCache.find(key);
    if (found != sTextCache.end()) {
        sTextAges.splice(sTextAges.begin(), sTextAges, found->second.age);
        return &found->second;
    }
    ++zwTextRenders;
    std::string shown = ellipsize(font, text, limit);
    SDL_Surface* surface = TTF_RenderUTF8_Blended(font, shown.c_str(), color);
    if (!surface)
        return nullptr;
    SDL_Texture* texture = SDL_CreateTextureFromSurface(gZwRenderer, surface);
    int width = surface->w, height = surface->h;
    SDL_FreeSurface(surface);
    if (!texture)
        return nullptr;
    if (sTextCache.size() >= kTextCacheSize) {
        auto oldest = sTextCache.find(sTextAges.back());
        SDL_DestroyTexture(oldest->second.texture);
        sTextCache.erase(oldest);
        sTextAges.pop_back();
    }
    sTextAges.push_front(key);
    CachedText& entry = sTextCache[key];
    entry = {texture, width, height, sTextAges.begin()};
    return &entry;
}

} // namespace

void zwReleaseTextCache() {
    for (auto& entry : sTextCache)
        SDL_DestroyTexture(entry.second.texture);
    sTextCache.clear();
    sTextAges.clear();
}

void DrawString(_TTF_Font* font, SDL_Rect rect, const char* text, SDL_Color color, int alignment, bool,
                bool) {
    if (!font || !text || !*text || !gZwRenderer || rect.w <= 0)
        return;
    if (zwRecordText(font, rect, text, color, alignment))
        return;
    CachedText* line = renderText(font, text, color, rect.w);
    if (!line)
        return;
    SDL_Rect destination = {rect.x, rect.y + (rect.h - line->height) / 2, line->width, line->height};
    if (alignment == 1)
        destination.x = rect.x + (rect.w - line->width) / 2;
    // Clip to the rectangle so that nothing spills over its edges.
    SDL_Rect source = {0, 0, line->width, line->height};
    if (destination.y < rect.y) {
        source.y = rect.y - destination.y;
        source.h -= source.y;
        destination.y = rect.y;
    }
    if (destination.y + source.h > rect.y + rect.h)
        source.h = rect.y + rect.h - destination.y;
    destination.h = source.h;
    if (source.h > 0)
        zwRenderCopy(line->texture, source, destination);
}

void init_shared_skin() {
    zwInvalidateFrame(); // new fonts may come to the addresses of the old ones
    gBackground = LoadZelmorSurface(gThemePath, "./", "skin/background.png");
    gIconFolder = LoadZelmorSurface(gThemePath, "./", "skin/ic-folder.png");
    sNavBar = LoadZelmorSurface(gThemePath, "./", "skin/bg-navbar.png");
    sStatBar = LoadZelmorSurface(gThemePath, "./", "skin/bg-statbar.png");
    gListFontTxt = openFont(30);
    gNavFont = openFont(28);
    gStatFont = openFont(22);
    gPopupFontTitle = openFont(40);
    gListColorTxt = {255, 255, 255, 255};
}

void uninit_shared_skin() {
    zwReleaseTextCache();
    delete gBackground;
    delete gIconFolder;
    delete sNavBar;
    delete sStatBar;
    gBackground = gIconFolder = sNavBar = sStatBar = nullptr;
    for (_TTF_Font** font : {&gListFontTxt, &gNavFont, &gStatFont, &gPopupFontTitle}) {
        if (*font)
            TTF_CloseFont(*font);
        *font = nullptr;
    }
}

namespace {

void fillBar(ZelmorSurface* image, int y) {
    if (image) {
        zwBlitAt(image, 0, y);
        return;
    }
    SDL_Rect bar = {0, y, kZwScreenWidth, 80};
    zwRenderFill(&bar, SDL_Color{12, 14, 20, 200}, SDL_BLENDMODE_BLEND);
}

} // namespace

int ZelmorWindow::drawNavBar(int) {
    if (!gZwRenderer)
        return 0;
    fillBar(sNavBar, 0);
    DrawString(gNavFont, SDL_Rect{40, 0, 900, 80}, getTitle(), gListColorTxt, 0, false, false);
    zwDrawNavTrail(this);
    return 0;
}

int ZelmorWindow::drawStatBar(int) {
    if (!gZwRenderer)
        return 0;
    fillBar(sStatBar, 640);
    char clock[16];
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    strftime(clock, sizeof(clock), "%H:%M", &local);
    DrawString(gStatFont, SDL_Rect{1100, 640, 140, 80}, clock, gListColorTxt, 1, false, false);
    return 40;
}

int draw_stat_icon_item_left(ZelmorSurface* icon, int x, int y, const char* label) {
    int textX = x;
    if (icon) {
        zwBlitAt(icon, x, y + (60 - icon->getHeight()) / 2);
        textX += icon->getWidth() + 12;
    }
    if (label)
        DrawString(gStatFont, SDL_Rect{textX, y, 400, 60}, label, gListColorTxt, 0, false, false);
    return 0;
}
