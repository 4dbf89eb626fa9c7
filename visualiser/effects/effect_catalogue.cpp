#include "visualiser/effects/effect_catalogue.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <strings.h>

char s_visEffects[kVisEffectsMax][kVisNameBytes];
int s_visEffectsCount = 0;
int s_curEffectIndex = 0;
const char* s_curVis = "fft1";
int s_visType = kVisTypeNone;
int s_triggerVisLoad = 0;

namespace {

// Points s_curVis at the selected entry when the index names one; otherwise the
// earlier name stands (the literal "fft1" or an entry of the table).
void pointAtSelection() {
    if (s_curEffectIndex >= 0 && s_curEffectIndex < s_visEffectsCount)
        s_curVis = s_visEffects[s_curEffectIndex];
}

} // namespace

int scanVisEffects(const char* dir) {
    memset(s_visEffects, 0, sizeof(s_visEffects));
    int count = 0;
    if (DIR* folder = dir ? opendir(dir) : nullptr) {
        while (struct dirent* entry = readdir(folder)) {
            if (entry->d_name[0] == '.' || !(entry->d_type & DT_DIR))
                continue;
            if (count >= kVisEffectsMax)
                continue;
            snprintf(s_visEffects[count], kVisNameBytes, "%s", entry->d_name);
            printf("list add:%s\n", entry->d_name);
            ++count;
        }
        closedir(folder);
    }
    s_visEffectsCount = count;
    if (s_curEffectIndex < 0)
        s_curEffectIndex = 0;
    if (s_curEffectIndex >= count)
        s_curEffectIndex = count - 1;
    pointAtSelection();
    return count;
}

void stepVisEffect(int delta) {
    if (delta > 0) {
        ++s_curEffectIndex;
        if (s_curEffectIndex >= s_visEffectsCount)
            s_curEffectIndex = 0;
    } else {
        --s_curEffectIndex;
        if (s_curEffectIndex < 0)
            s_curEffectIndex = s_visEffectsCount - 1;
    }
    pointAtSelection();
    s_triggerVisLoad = 1;
}

int visTypeOf(const char* name) {
    if (!name)
        return kVisTypeNone;
    if (strncasecmp(name, "fft", 3) == 0)
        return kVisTypeSpectrum;
    if (strncasecmp(name, "wave", 4) == 0)
        return kVisTypeWave;
    return kVisTypeNone;
}
