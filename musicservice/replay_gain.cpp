#include "musicservice/replay_gain.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <strings.h>

namespace {

// No real file asks for more; a larger value is a broken tag.
constexpr double kMaxGainDb = 51;
// R128 gains aim at -23 LUFS, ReplayGain at -18 LUFS.
constexpr double kR128ToReplayGainDb = 5;

// The number text begins with; *rest is what follows it, blanks skipped.
bool leadingNumber(const char* text, double* value, const char** rest) {
    if (!text)
        return false;
    char* end = nullptr;
    errno = 0;
    *value = strtod(text, &end);
    if (end == text || errno != 0 || !std::isfinite(*value))
        return false;
    while (*end == ' ')
        ++end;
    *rest = end;
    return true;
}

// "-6.20 dB", "+1.5", "-6.2dB": the number, which must be all there is but the unit.
bool parseDb(const char* text, double* db) {
    double value = 0;
    const char* rest = nullptr;
    if (!leadingNumber(text, &value, &rest) || std::fabs(value) > kMaxGainDb)
        return false;
    if (strncasecmp(rest, "db", 2) == 0)
        rest += 2;
    if (rest[strspn(rest, " ")] != '\0')
        return false;
    *db = value;
    return true;
}

bool parsePeak(const char* text, double* peak) {
    double value = 0;
    const char* rest = nullptr;
    if (!leadingNumber(text, &value, &rest) || *rest != '\0' || value <= 0 || value > 100)
        return false;
    *peak = value;
    return true;
}

// A signed Q7.8 number of dB relative to -23 LUFS, as Opus tags carry it.
bool parseR128(const char* text, double* db) {
    if (!text)
        return false;
    char* end = nullptr;
    errno = 0;
    long value = strtol(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || value < -32768 || value > 32767)
        return false;
    *db = static_cast<double>(value) / 256.0 + kR128ToReplayGainDb;
    return true;
}

} // namespace

ReplayGain replayGainFromTags(const std::function<const char*(const char*)>& lookup) {
    ReplayGain gain;
    gain.hasTrack = parseDb(lookup("REPLAYGAIN_TRACK_GAIN"), &gain.trackDb) ||
                    parseR128(lookup("R128_TRACK_GAIN"), &gain.trackDb);
    gain.hasAlbum = parseDb(lookup("REPLAYGAIN_ALBUM_GAIN"), &gain.albumDb) ||
                    parseR128(lookup("R128_ALBUM_GAIN"), &gain.albumDb);
    parsePeak(lookup("REPLAYGAIN_TRACK_PEAK"), &gain.trackPeak);
    parsePeak(lookup("REPLAYGAIN_ALBUM_PEAK"), &gain.albumPeak);
    return gain;
}

double replayGainFactor(const ReplayGain& gain, bool album) {
    bool useAlbum = album && gain.hasAlbum;
    if (!useAlbum && !gain.hasTrack)
        return 1.0;
    double factor = std::pow(10.0, (useAlbum ? gain.albumDb : gain.trackDb) / 20.0);
    // The album's peak is that of its loudest track; the track's own, should it be
    // higher (tags written at different times), holds all the same.
    double peak = std::fmax(gain.trackPeak, useAlbum ? gain.albumPeak : 0);
    if (peak > 0 && factor * peak > 1.0)
        factor = 1.0 / peak;
    return factor;
}

void replayGainScale(int16_t* samples, size_t count, int32_t factorQ16) {
    for (size_t i = 0; i < count; ++i) {
        int32_t scaled = static_cast<int32_t>((static_cast<int64_t>(samples[i]) * factorQ16) >> 16);
        samples[i] = static_cast<int16_t>(scaled > 32767 ? 32767 : scaled < -32768 ? -32768 : scaled);
    }
}
