// The cover of a track, made into a PNG for the front end on a thread of its own, so that
// a large picture never holds up the decode thread: the track's embedded picture, else
// its folder's image (folder_cover.h). A picture of more than kCoverMaxPixels is refused
// before it is decoded.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

struct AVFormatContext;
struct CoverJob;

// Covers are scaled down to fit this square; the front end shows them at 400 pixels.
constexpr int kCoverMaxSide = 600;
// The largest picture decoded: a 4096 x 4096 picture takes about 50 MB to decode.
constexpr long long kCoverMaxPixels = 4096LL * 4096;
// A folder image file larger than this is refused unread.
constexpr size_t kCoverMaxFileBytes = 16u << 20;

// Starts and ends the thread that makes the covers. coverStop returns -1 when the thread
// did not end within a second (the process must then end without cleanup).
int coverStart();
int coverStop();

// Queues the cover of the opened file for making into a PNG: its attached picture (a
// reference to it is kept), or for a file without one its folder's image. The job, or
// null when it cannot be made. A job that nobody holds any more is dropped.
std::shared_ptr<CoverJob> coverRequest(AVFormatContext* format, const std::string& path);

// True once the job is done, with the PNG bytes in *png (empty when the picture could
// not be made or was refused); a null job is done and empty.
bool coverReady(const std::shared_ptr<CoverJob>& job, std::string* png);
