#include "musicservice/media_info.h"

#include "musicservice/cover.h"
#include "zcommon.h"

#include <atomic>
#include <cctype>
#include <cstdarg>
#include <cstdlib>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/log.h>
}

namespace {

// Where the calling thread's FFmpeg output goes while a dump is being captured.
thread_local std::string* tCapture = nullptr;
thread_local int tCapturePrefix = 1;

// A corrupt file can make the decoder complain on every packet: at most this many of
// its lines reach the log per window.
constexpr int kLogLinesPerWindow = 20;
constexpr long kLogWindowMs = 10000;
std::atomic<long> sLogWindowStart{0};
std::atomic<int> sLogLines{0};

// One formatted FFmpeg line, whatever its length.
std::string formatLine(void* context, int level, const char* format, va_list args, int* printPrefix) {
    char line[1024];
    va_list copy;
    va_copy(copy, args);
    int length = av_log_format_line2(context, level, format, args, line, sizeof(line), printPrefix);
    std::string text;
    if (length >= static_cast<int>(sizeof(line))) {
        text.resize(static_cast<size_t>(length) + 1);
        int prefix = 1;
        av_log_format_line2(context, level, format, copy, &text[0], length + 1, &prefix);
        text.resize(static_cast<size_t>(length));
    } else if (length > 0) {
        text.assign(line, static_cast<size_t>(length));
    }
    va_end(copy);
    return text;
}

void logCallback(void* context, int level, const char* format, va_list args) {
    if (tCapture) {
        if (level <= AV_LOG_INFO)
            tCapture->append(formatLine(context, level, format, args, &tCapturePrefix));
        return;
    }
    if (level > AV_LOG_ERROR)
        return;
    long now = systemms();
    long start = sLogWindowStart.load(std::memory_order_relaxed);
    if (now - start > kLogWindowMs && sLogWindowStart.compare_exchange_strong(start, now))
        sLogLines.store(0, std::memory_order_relaxed);
    if (sLogLines.fetch_add(1, std::memory_order_relaxed) >= kLogLinesPerWindow)
        return;
    int prefix = 1;
    std::string text = formatLine(context, level, format, args, &prefix);
    if (text.empty())
        return;
    if (text.back() != '\n')
        text += '\n';
    tprintf("ffmpeg: %s", text.c_str());
}

const char* tag(AVFormatContext* format, int audioStream, const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(format->metadata, key, nullptr, 0);
    if (!entry && audioStream >= 0 && audioStream < static_cast<int>(format->nb_streams))
        entry = av_dict_get(format->streams[audioStream]->metadata, key, nullptr, 0);
    return entry ? entry->value : nullptr;
}

std::string tagText(AVFormatContext* format, int audioStream, const char* key, const char* fallback = nullptr) {
    const char* value = tag(format, audioStream, key);
    if (!value && fallback)
        value = tag(format, audioStream, fallback);
    return value ? value : "";
}

} // namespace

void mediaLogInit() {
    av_log_set_callback(logCallback);
}

std::string yearOfDate(const std::string& date) {
    if (date.size() >= 4 && isdigit(static_cast<unsigned char>(date[0])) &&
        isdigit(static_cast<unsigned char>(date[1])) && isdigit(static_cast<unsigned char>(date[2])) &&
        isdigit(static_cast<unsigned char>(date[3])))
        return date.substr(0, 4);
    return date;
}

void mediaReadInfo(AVFormatContext* format, int audioStream, TrackInfo* info) {
    // FFmpeg's own tag keys, which happen to share most of the status file's names.
    info->tags[kTagTitle] = tagText(format, audioStream, "title");
    info->tags[kTagArtist] = tagText(format, audioStream, "artist", "album_artist");
    info->tags[kTagAlbum] = tagText(format, audioStream, "album");
    info->tags[kTagYear] = yearOfDate(tagText(format, audioStream, "date", "year"));
    info->tags[kTagComment] = tagText(format, audioStream, "comment");
    info->tags[kTagTrack] = tagText(format, audioStream, "track");
    info->tags[kTagGenre] = tagText(format, audioStream, "genre");
    info->gain = replayGainFromTags([&](const char* key) { return tag(format, audioStream, key); });

    info->dump.clear();
    tCapture = &info->dump;
    tCapturePrefix = 1;
    av_dump_format(format, 0, info->path.c_str(), 0);
    tCapture = nullptr;

    info->cover = coverRequest(format, info->path);
}
