// What the service tells about a track besides its samples: the tags for the status
// file, FFmpeg's own dump of the file's format for the metadata dump, and the embedded
// picture for the cover.
#pragma once

#include "musicservice/replay_gain.h"
#include "service/protocol/protocol.h"

#include <cstdint>
#include <memory>
#include <string>

struct AVFormatContext;
struct CoverJob;

struct TrackInfo {
    std::string path;
    int64_t durationMs = 0;
    int audioStream = 0;
    // The loudness tags.
    ReplayGain gain;
    // The status file's tags, indexed by StatusTag.
    std::string tags[kTagCount];
    // The text av_dump_format printed for the file.
    std::string dump;
    // The cover on its way to a PNG (see coverReady): the embedded picture, else the
    // folder's image; null when no job could be made.
    std::shared_ptr<CoverJob> cover;
};

// Routes FFmpeg's log through the service's log (errors only, at a bounded rate) and
// lets mediaReadInfo capture the dump. Call once before any other FFmpeg use.
void mediaLogInit();

// Fills the tags and the dump of an opened file, and asks for its cover.
void mediaReadInfo(AVFormatContext* format, int audioStream, TrackInfo* info);

// The year of a date tag: its first four characters when they are digits ("2023-05-01"
// gives "2023"), else the text as it stands.
std::string yearOfDate(const std::string& date);
