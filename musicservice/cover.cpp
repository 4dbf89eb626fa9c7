#include "musicservice/cover.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace {

constexpr int kCoverLargestSource = 16384;

const AVStream* attachedPicture(AVFormatContext* format) {
    for (unsigned i = 0; i < format->nb_streams; ++i) {
        const AVStream* stream = format->streams[i];
        if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) && stream->attached_pic.size > 0)
            return stream;
    }
    return nullptr;
}

// Decodes the picture's one packet into *frame: 0 or -1.
int decodePicture(const AVStream* stream, AVFrame* frame) {
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    if (!codec)
        return -1;
    AVCodecContext* decoder = avcodec_alloc_context3(codec);
    if (!decoder)
        return -1;
    int result = -1;
    if (avcodec_parameters_to_context(decoder, stream->codecpar) >= 0 && avcodec_open2(decoder, codec, nullptr) >= 0 &&
        avcodec_send_packet(decoder, &stream->attached_pic) >= 0) {
        avcodec_send_packet(decoder, nullptr);
        if (avcodec_receive_frame(decoder, frame) >= 0 && frame->width > 0 && frame->height > 0 &&
            frame->width <= kCoverLargestSource && frame->height <= kCoverLargestSource)
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
            sws_scale(scaler, source->data, source->linesize, 0, source->height, scaled->data, scaled->linesize) <= 0)
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

} // namespace

int extractCoverPng(AVFormatContext* format, std::string* png) {
    png->clear();
    const AVStream* stream = attachedPicture(format);
    if (!stream)
        return -1;
    const AVCodecParameters* parameters = stream->codecpar;
    if (parameters->codec_id == AV_CODEC_ID_PNG && parameters->width > 0 && parameters->width <= kCoverMaxSide &&
        parameters->height > 0 && parameters->height <= kCoverMaxSide) {
        png->assign(reinterpret_cast<const char*>(stream->attached_pic.data),
                    static_cast<size_t>(stream->attached_pic.size));
        return 0;
    }
    AVFrame* frame = av_frame_alloc();
    if (!frame)
        return -1;
    int result = -1;
    if (decodePicture(stream, frame) == 0) {
        if (AVFrame* scaled = scaledForPng(frame)) {
            result = encodePng(scaled, png);
            av_frame_free(&scaled);
        }
    }
    av_frame_free(&frame);
    return result;
}
