#include "musicservice/cover.h"

#include "musicservice/folder_cover.h"
#include "musicservice/music_folder.h"
#include "zcommon.h"

#include <cstring>
#include <deque>
#include <pthread.h>
#include <sys/stat.h>
#include <time.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

struct CoverJob {
    std::string path;
    // Null for a track without a picture of its own: its folder's image is looked for.
    AVPacket* picture = nullptr;
    AVCodecParameters* parameters = nullptr;
    // Under sCoverLock.
    bool done = false;
    std::string png;

    ~CoverJob() {
        av_packet_free(&picture);
        avcodec_parameters_free(&parameters);
    }
};

namespace {

pthread_mutex_t sCoverLock = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t sCoverWake = PTHREAD_COND_INITIALIZER;
std::deque<std::weak_ptr<CoverJob>> sQueue;
bool sCoverRunning = false;
pthread_t sCoverThread;
bool sCoverStarted = false;

// The cover thread's own: the last folder image made (its path and what stat says of it)
// and its PNG, so that the tracks of an album read and decode their folder's image once.
std::string sFolderImageKey;
std::string sFolderImagePng;

const AVStream* attachedPicture(AVFormatContext* format) {
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) && stream->attached_pic.size > 0)
            return stream;
    }
    return nullptr;
}

// Decodes the picture's one packet into *frame: 0 or -1. The decoder itself refuses a
// picture whose header declares more than kCoverMaxPixels, before it allocates.
int decodePicture(const CoverJob& job, AVFrame* frame) {
    const AVCodec* codec = avcodec_find_decoder(job.parameters->codec_id);
    if (!codec)
        return -1;
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    if (!decoder)
        return -1;
    int result = -1;
    decoder->max_pixels = kCoverMaxPixels;
    decoder->thread_count = 1;
    if (avcodec_parameters_to_context(decoder, job.parameters) >= 0 &&
        avcodec_open2(decoder, codec, nullptr) >= 0 && avcodec_send_packet(decoder, job.picture) >= 0) {
        avcodec_send_packet(decoder, nullptr);
        if (avcodec_receive_frame(decoder, frame) >= 0 && frame->width > 0 && frame->height > 0)
            result = 0;
    }
    avcodec_free_context(&decoder);
    return result;
}

// Scales the picture to fit kCoverMaxSide, keeping its proportions, into RGB24 or RGBA.
AVFrame* scaledForPng(const AVFrame* source) {
    int width = source->width, height = source->height;
    if (width > kCoverMaxSide || height > kCoverMaxSide) {
        if (width >= height) {
            height = static_cast<int>(static_cast<int64_t>(height) * kCoverMaxSide / width);
            width = kCoverMaxSide;
        } else {
            width = static_cast<int>(static_cast<int64_t>(width) * kCoverMaxSide / height);
            height = kCoverMaxSide;
        }
        width = width < 1 ? 1 : width;
        height = height < 1 ? 1 : height;
    }
    auto sourceFormat = static_cast<AVPixelFormat>(source->format);
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(sourceFormat);
    if (!descriptor)
        return nullptr;
    AVPixelFormat target = (descriptor->flags & AV_PIX_FMT_FLAG_ALPHA) ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
    SwsContext* scaler = sws_getContext(source->width, source->height, sourceFormat, width, height, target,
                                        SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (!scaler)
        return nullptr;
    AVFrame* scaled = av_frame_alloc();
    if (scaled) {
        scaled->width = width;
        scaled->height = height;
        scaled->format = target;
        if (av_frame_get_buffer(scaled, 0) < 0 ||
            sws_scale(scaler, source->data, source->linesize, 0, source->height, scaled->data,
                      scaled->linesize) <= 0)
            av_frame_free(&scaled);
    }
    sws_freeContext(scaler);
    return scaled;
}

int encodePng(const AVFrame* frame, std::string* png) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (!codec)
        return -1;
    AVCodecContext* encoder = avcodec_alloc_context3(codec);
    AVPacket* packet = av_packet_alloc();
    int result = -1;
    if (encoder && packet) {
        encoder->width = frame->width;
        encoder->height = frame->height;
        encoder->pix_fmt = static_cast<AVPixelFormat>(frame->format);
        encoder->time_base = AVRational{1, 1};
        if (avcodec_open2(encoder, codec, nullptr) >= 0 && avcodec_send_frame(encoder, frame) >= 0 &&
            avcodec_send_frame(encoder, nullptr) >= 0 && avcodec_receive_packet(encoder, packet) >= 0) {
            png->assign(reinterpret_cast<const char*>(packet->data), static_cast<size_t>(packet->size));
            result = 0;
        }
    }
    av_packet_free(&packet);
    avcodec_free_context(&encoder);
    return result;
}

// The PNG of the job's picture: empty when it has none that can be made.
std::string makePng(const CoverJob& job) {
    const AVCodecParameters* parameters = job.parameters;
    std::string png;
    int width = parameters->width, height = parameters->height;
    if (width <= 0 || height <= 0) {
        // A picture the probe refused to decode: its own header says how large it is.
        ImageKind kind;
        if (readImageHeader(job.picture->data, static_cast<size_t>(job.picture->size), &kind, &width,
                            &height) < 0)
            width = height = 0;
    }
    if (static_cast<long long>(width) * height > kCoverMaxPixels) {
        tprintf("musicservice: the cover of %s (%d x %d) is too large, left out\n", job.path.c_str(), width,
                height);
        return png;
    }
    if (parameters->codec_id == AV_CODEC_ID_PNG && width > 0 && width <= kCoverMaxSide && height > 0 &&
        height <= kCoverMaxSide) {
        png.assign(reinterpret_cast<const char*>(job.picture->data), static_cast<size_t>(job.picture->size));
        return png;
    }
    AVFrame* frame = av_frame_alloc();
    if (frame && decodePicture(job, frame) == 0) {
        if (AVFrame* scaled = scaledForPng(frame)) {
            encodePng(scaled, &png);
            av_frame_free(&scaled);
        }
    }
    av_frame_free(&frame);
    return png;
}

// The PNG of a folder image, refused like an embedded picture: by its header's pixel
// count before it is decoded.
std::string folderImagePng(const std::string& image) {
    CoverJob job;
    job.path = image;
    std::string bytes;
    ImageKind kind;
    int width = 0, height = 0;
    if (readImageFile(image, kCoverMaxFileBytes, &bytes) < 0)
        return "";
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    if (readImageHeader(data, bytes.size(), &kind, &width, &height) < 0) {
        tprintf("musicservice: the cover %s is left out: not a PNG or JPEG picture\n", image.c_str());
        return "";
    }
    job.picture = av_packet_alloc();
    job.parameters = avcodec_parameters_alloc();
    if (!job.picture || !job.parameters || av_new_packet(job.picture, static_cast<int>(bytes.size())) < 0)
        return "";
    memcpy(job.picture->data, bytes.data(), bytes.size());
    job.parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    job.parameters->codec_id = kind == kImagePng ? AV_CODEC_ID_PNG : AV_CODEC_ID_MJPEG;
    job.parameters->width = width;
    job.parameters->height = height;
    return makePng(job);
}

std::string folderCoverPng(const std::string& track) {
    std::string image = findFolderImage(folderOf(track));
    struct stat info;
    if (image.empty() || stat(image.c_str(), &info) < 0)
        return "";
    std::string key = image + "|" + std::to_string(info.st_dev) + "|" + std::to_string(info.st_ino) + "|" +
                      std::to_string(info.st_size) + "|" + std::to_string(info.st_mtim.tv_sec) + "." +
                      std::to_string(info.st_mtim.tv_nsec);
    if (key != sFolderImageKey) {
        sFolderImagePng = folderImagePng(image);
        sFolderImageKey = key;
    }
    return sFolderImagePng;
}

void* coverThread(void*) {
    pthread_mutex_lock(&sCoverLock);
    while (sCoverRunning) {
        if (sQueue.empty()) {
            pthread_cond_wait(&sCoverWake, &sCoverLock);
            continue;
        }
        std::shared_ptr<CoverJob> job = sQueue.front().lock();
        sQueue.pop_front();
        if (!job)
            continue;
        pthread_mutex_unlock(&sCoverLock);
        std::string png = job->picture ? makePng(*job) : folderCoverPng(job->path);
        pthread_mutex_lock(&sCoverLock);
        job->png.swap(png);
        job->done = true;
    }
    pthread_mutex_unlock(&sCoverLock);
    return nullptr;
}

} // namespace

int coverStart() {
    sCoverRunning = true;
    if (pthread_create(&sCoverThread, nullptr, coverThread, nullptr) != 0) {
        sCoverRunning = false;
        return -1;
    }
    sCoverStarted = true;
    return 0;
}

int coverStop() {
    if (!sCoverStarted)
        return 0;
    pthread_mutex_lock(&sCoverLock);
    sCoverRunning = false;
    sQueue.clear();
    pthread_cond_signal(&sCoverWake);
    pthread_mutex_unlock(&sCoverLock);
    struct timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += 1;
    if (pthread_timedjoin_np(sCoverThread, nullptr, &until) != 0)
        return -1;
    sCoverStarted = false;
    return 0;
}

std::shared_ptr<CoverJob> coverRequest(AVFormatContext* format, const std::string& path) {
    auto job = std::make_shared<CoverJob>();
    job->path = path;
    // The folder's image is looked for on the cover thread: a folder on a slow card must
    // not hold up the decode thread.
    if (const AVStream* stream = attachedPicture(format)) {
        job->picture = av_packet_alloc();
        job->parameters = avcodec_parameters_alloc();
        if (!job->picture || !job->parameters || av_packet_ref(job->picture, &stream->attached_pic) < 0 ||
            avcodec_parameters_copy(job->parameters, stream->codecpar) < 0)
            return nullptr;
    }
    pthread_mutex_lock(&sCoverLock);
    sQueue.push_back(job);
    pthread_cond_signal(&sCoverWake);
    pthread_mutex_unlock(&sCoverLock);
    return job;
}

bool coverReady(const std::shared_ptr<CoverJob>& job, std::string* png) {
    png->clear();
    if (!job)
        return true;
    pthread_mutex_lock(&sCoverLock);
    bool done = job->done;
    if (done)
        *png = job->png;
    pthread_mutex_unlock(&sCoverLock);
    return done;
}
