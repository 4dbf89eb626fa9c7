#include "musicservice/decoder.h"

#include "musicservice/cover.h"
#include "musicservice/replay_gain.h"
#include "zcommon.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/time.h>
#include <libswresample/swresample.h>
}

namespace {

// Packets in a row that fail to decode before the file is given up.
constexpr int kMaxDecodeErrors = 64;
// No step on a file (opening it, one read, one seek) may hold the decode thread longer:
// FFmpeg's reads stop at the interrupt callback once it has passed.
constexpr int64_t kStepLimitUs = 1000000;

std::atomic<bool> sAbort{false};

} // namespace

struct Decoder {
    std::string path;
    // The URL FFmpeg opened: the only file it may open.
    char url[64] = {0};
    int (*defaultOpen)(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) = nullptr;
    int64_t deadline = 0; // av_gettime_relative() microseconds
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    SwrContext* resampler = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    int stream = -1;
    AVRational timeBase{1, 1};

    // The input the resampler was set up for.
    int inRate = 0;
    int inFormat = -1;
    AVChannelLayout inLayout{};

    int16_t* out = nullptr;
    int outCapacity = 0; // frames

    bool demuxDone = false;
    bool drainSent = false;
    bool resamplerFlushed = false;
    int errors = 0;
    // After a seek: output before this time is dropped; -1 for none.
    int64_t skipToMs = -1;
    int32_t gainQ16 = 65536;
};

namespace {

void logOpenError(const std::string& path, int error) {
    char reason[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(error, reason, sizeof(reason));
    tprintf("musicservice: cannot open %s: %s\n", path.c_str(), reason);
}

int interrupted(void* opaque) {
    auto* d = static_cast<Decoder*>(opaque);
    return sAbort.load(std::memory_order_relaxed) || av_gettime_relative() > d->deadline;
}

void startStep(Decoder* d) {
    d->deadline = av_gettime_relative() + kStepLimitUs;
}

// A file may name others (a playlist format, a reference movie): those are not opened,
// since nothing checks them and opening a FIFO cannot be interrupted.
int openOnlyTheFile(AVFormatContext* format, AVIOContext** io, const char* url, int flags,
                    AVDictionary** options) {
    auto* d = static_cast<Decoder*>(format->interrupt_callback.opaque);
    if (strcmp(url, d->url) != 0) {
        tprintf("musicservice: %s names %s, which is not opened\n", d->path.c_str(), url);
        return AVERROR(EPERM);
    }
    return d->defaultOpen(format, io, url, flags, options);
}

// Opens the file for FFmpeg: a regular file only (a FIFO or a device can block an open
// or a read for good). The file is opened without blocking and checked, and FFmpeg then
// opens that very file through /proc, so that nothing can be swapped in between.
int openInput(Decoder* d) {
    int fd = open(d->path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) < 0 || !S_ISREG(info.st_mode)) {
        tprintf("musicservice: cannot open %s: %s\n", d->path.c_str(),
                fd < 0 ? strerror(errno) : "not a regular file");
        if (fd >= 0)
            close(fd);
        return -1;
    }
    snprintf(d->url, sizeof(d->url), "file:/proc/self/fd/%d", fd);
    int result = AVERROR(ENOMEM);
    if ((d->format = avformat_alloc_context())) {
        d->format->interrupt_callback = AVIOInterruptCB{interrupted, d};
        d->defaultOpen = d->format->io_open;
        d->format->io_open = openOnlyTheFile;
        AVDictionary* options = nullptr;
        av_dict_set(&options, "protocol_whitelist", "file", 0);
        startStep(d);
        result = avformat_open_input(&d->format, d->url, nullptr, &options);
        av_dict_free(&options);
    }
    close(fd);
    if (result < 0)
        logOpenError(d->path, result);
    return result < 0 ? -1 : 0;
}

int ensureOutput(Decoder* d, int frames) {
    if (frames <= d->outCapacity)
        return 0;
    auto* grown = static_cast<int16_t*>(
        realloc(d->out, static_cast<size_t>(frames) * kOutputChannels * sizeof(int16_t)));
    if (!grown)
        return -1;
    d->out = grown;
    d->outCapacity = frames;
    return 0;
}

// Sets the resampler up for the frame's format when it differs from the last one.
int prepareResampler(Decoder* d, const AVFrame* frame) {
    AVChannelLayout layout{};
    if (frame->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC || frame->ch_layout.nb_channels <= 0)
        av_channel_layout_default(&layout,
                                  frame->ch_layout.nb_channels > 0 ? frame->ch_layout.nb_channels : 2);
    else if (av_channel_layout_copy(&layout, &frame->ch_layout) < 0)
        return -1;
    if (d->resampler && d->inRate == frame->sample_rate && d->inFormat == frame->format &&
        av_channel_layout_compare(&d->inLayout, &layout) == 0) {
        av_channel_layout_uninit(&layout);
        return 0;
    }
    swr_free(&d->resampler);
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    int result =
        swr_alloc_set_opts2(&d->resampler, &stereo, AV_SAMPLE_FMT_S16, kOutputRate, &layout,
                            static_cast<AVSampleFormat>(frame->format), frame->sample_rate, 0, nullptr);
    // A mono file plays at its own level on both sides, not 3 dB down as a centre
    // channel spread over two would be.
    if (result >= 0 && layout.nb_channels == 1) {
        const double both[2] = {1.0, 1.0};
        result = swr_set_matrix(d->resampler, both, 1);
    }
    if (result >= 0)
        result = swr_init(d->resampler);
    if (result < 0) {
        swr_free(&d->resampler);
        av_channel_layout_uninit(&layout);
        return -1;
    }
    av_channel_layout_uninit(&d->inLayout);
    d->inLayout = layout;
    d->inRate = frame->sample_rate;
    d->inFormat = frame->format;
    return 0;
}

// Converts the decoded frame: the output frame count, or negative.
int convertFrame(Decoder* d, const AVFrame* frame) {
    if (frame->sample_rate <= 0 || frame->nb_samples <= 0)
        return 0;
    if (prepareResampler(d, frame) < 0)
        return -1;
    int room = swr_get_out_samples(d->resampler, frame->nb_samples);
    if (room < 0 || ensureOutput(d, room + 16) < 0)
        return -1;
    auto* out = reinterpret_cast<uint8_t*>(d->out);
    int frames = swr_convert(d->resampler, &out, d->outCapacity,
                             const_cast<const uint8_t**>(frame->extended_data), frame->nb_samples);
    if (frames <= 0 || d->skipToMs < 0)
        return frames;
    // After a seek the demuxer lands on a packet at or before the target: drop what lies
    // before it.
    if (frame->best_effort_timestamp == AV_NOPTS_VALUE) {
        d->skipToMs = -1;
        return frames;
    }
    int64_t startMs = av_rescale_q(frame->best_effort_timestamp, d->timeBase, AVRational{1, 1000});
    int64_t drop = (d->skipToMs - startMs) * kOutputRate / 1000;
    if (drop <= 0) {
        d->skipToMs = -1;
        return frames;
    }
    if (drop >= frames)
        return 0;
    d->skipToMs = -1;
    int kept = frames - static_cast<int>(drop);
    memmove(d->out, d->out + drop * kOutputChannels,
            static_cast<size_t>(kept) * kOutputChannels * sizeof(int16_t));
    return kept;
}

// The frames about to be handed out, scaled by the loudness gain.
int handOut(Decoder* d, int count, const int16_t** frames) {
    if (d->gainQ16 != 65536)
        replayGainScale(d->out, static_cast<size_t>(count) * kOutputChannels, d->gainQ16);
    *frames = d->out;
    return count;
}

// Reads the streams' parameters. Probing decodes a PNG picture whole, so the picture
// streams get the cover's pixel limit: an 8000 x 8000 picture would take 256 MB here.
int findStreamInfo(AVFormatContext* format) {
    unsigned count = format->nb_streams;
    std::vector<AVDictionary*> options(count, nullptr);
    for (unsigned i = 0; i < count; ++i) {
        if (format->streams[i]->codecpar->codec_type == AVMEDIA_TYPE_VIDEO)
            av_dict_set_int(&options[i], "max_pixels", kCoverMaxPixels, 0);
    }
    int result = avformat_find_stream_info(format, count ? options.data() : nullptr);
    for (AVDictionary*& option : options)
        av_dict_free(&option);
    return result;
}

} // namespace

int decoderOpen(const char* path, Decoder** decoder, TrackInfo* info) {
    *decoder = nullptr;
    auto* d = new Decoder();
    d->path = path;
    if (openInput(d) < 0) {
        decoderClose(d);
        return -1;
    }
    int result = findStreamInfo(d->format);
    const AVCodec* codec = nullptr;
    if (result >= 0)
        result = d->stream = av_find_best_stream(d->format, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (result >= 0 && !(d->codec = avcodec_alloc_context3(codec)))
        result = AVERROR(ENOMEM);
    if (result >= 0) {
        AVStream* stream = d->format->streams[d->stream];
        result = avcodec_parameters_to_context(d->codec, stream->codecpar);
        d->codec->thread_count = 1;
        d->timeBase = stream->time_base;
    }
    if (result >= 0)
        result = avcodec_open2(d->codec, codec, nullptr);
    if (result >= 0 && (!(d->packet = av_packet_alloc()) || !(d->frame = av_frame_alloc())))
        result = AVERROR(ENOMEM);
    if (result < 0) {
        logOpenError(d->path, result);
        decoderClose(d);
        return -1;
    }
    // Only the audio is read; pictures and other streams are skipped by the demuxer.
    for (unsigned i = 0; i < d->format->nb_streams; ++i) {
        if (static_cast<int>(i) != d->stream)
            d->format->streams[i]->discard = AVDISCARD_ALL;
    }
    info->path = path;
    info->audioStream = d->stream;
    AVStream* stream = d->format->streams[d->stream];
    if (d->format->duration > 0)
        info->durationMs = d->format->duration / (AV_TIME_BASE / 1000);
    else if (stream->duration > 0)
        info->durationMs = av_rescale_q(stream->duration, stream->time_base, AVRational{1, 1000});
    else
        info->durationMs = 0;
    mediaReadInfo(d->format, d->stream, info);
    *decoder = d;
    return 0;
}

int decoderRead(Decoder* d, const int16_t** frames) {
    startStep(d);
    for (;;) {
        int result = avcodec_receive_frame(d->codec, d->frame);
        if (result == 0) {
            int count = convertFrame(d, d->frame);
            av_frame_unref(d->frame);
            if (count < 0)
                return -1;
            d->errors = 0;
            if (count > 0)
                return handOut(d, count, frames);
            continue;
        }
        if (result == AVERROR_EOF) {
            // The codec is drained: what the resampler still holds is the very end.
            if (!d->resamplerFlushed && d->resampler) {
                d->resamplerFlushed = true;
                auto* out = reinterpret_cast<uint8_t*>(d->out);
                int count = d->out ? swr_convert(d->resampler, &out, d->outCapacity, nullptr, 0) : 0;
                if (count > 0)
                    return handOut(d, count, frames);
            }
            return 0;
        }
        if (result != AVERROR(EAGAIN) && ++d->errors > kMaxDecodeErrors)
            return -1;
        if (d->demuxDone) {
            if (d->drainSent)
                return 0;
            d->drainSent = true;
            avcodec_send_packet(d->codec, nullptr);
            continue;
        }
        result = av_read_frame(d->format, d->packet);
        if (result < 0) {
            if (result != AVERROR_EOF)
                tprintf("musicservice: read error in %s, treated as its end\n", d->path.c_str());
            d->demuxDone = true;
            continue;
        }
        if (d->packet->stream_index == d->stream) {
            result = avcodec_send_packet(d->codec, d->packet);
            if (result < 0 && result != AVERROR(EAGAIN) && ++d->errors > kMaxDecodeErrors) {
                av_packet_unref(d->packet);
                return -1;
            }
        }
        av_packet_unref(d->packet);
    }
}

int decoderSeek(Decoder* d, int64_t ms) {
    if (ms < 0)
        ms = 0;
    int64_t target = ms * (AV_TIME_BASE / 1000);
    startStep(d);
    if (av_seek_frame(d->format, -1, target, AVSEEK_FLAG_BACKWARD) < 0 &&
        avformat_seek_file(d->format, -1, INT64_MIN, target, INT64_MAX, 0) < 0)
        return -1;
    avcodec_flush_buffers(d->codec);
    // The resampler's delay line holds samples from before the seek.
    if (d->resampler)
        swr_init(d->resampler);
    d->demuxDone = false;
    d->drainSent = false;
    d->resamplerFlushed = false;
    d->errors = 0;
    d->skipToMs = ms;
    return 0;
}

void decoderSetGain(Decoder* d, double factor) {
    double q16 = factor * 65536.0 + 0.5;
    d->gainQ16 = q16 < 1 ? 1 : q16 > 2147483647.0 ? 2147483647 : static_cast<int32_t>(q16);
}

void decoderClose(Decoder* d) {
    if (!d)
        return;
    av_frame_free(&d->frame);
    av_packet_free(&d->packet);
    avcodec_free_context(&d->codec);
    avformat_close_input(&d->format);
    swr_free(&d->resampler);
    av_channel_layout_uninit(&d->inLayout);
    free(d->out);
    delete d;
}

void decoderAbortAll() {
    sAbort.store(true);
}
