#include "render/RecordedAudioReader.h"

#include "render/FfmpegCheck.h"
#include "render/RenderError.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace vantile {

namespace {

constexpr const char* failure = "Cannot read the recorded audio";
// Silence is handed on in frames of at most this many samples.
constexpr std::int64_t silenceFrameSamples = 4096;

}  // namespace

// One track's decoder, its conversion to planar float, and how far it has been handed on.
struct RecordedAudioReader::Decoding {
    CodecContextHandle decoder;
    SwrContextHandle converter;
    FrameHandle decoded = allocateFrame();
    FrameHandle converted = allocateFrame();
    std::int64_t nextSample = 0;
};

RecordedAudioReader::RecordedAudioReader(const std::filesystem::path& movie) : movie_(movie)
{
    AVFormatContext* opened = nullptr;
    checkAv(avformat_open_input(&opened, movie.c_str(), nullptr, nullptr), failure);
    input_.reset(opened);
    checkAv(avformat_find_stream_info(input_.get(), nullptr), failure);
    for (unsigned index = 0; index < input_->nb_streams; ++index) {
        const AVStream& stream = *input_->streams[index];
        if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
        if (stream.codecpar->sample_rate < 1 || stream.codecpar->ch_layout.nb_channels < 1) {
            throw RenderError(RenderError::Kind::unreadableMovie, std::string(failure) + ": a track has no sample rate");
        }
        streams_.push_back(static_cast<int>(index));
        tracks_.push_back({stream.codecpar->sample_rate, {}, stream.metadata});
        checkAv(av_channel_layout_copy(&tracks_.back().layout, &stream.codecpar->ch_layout), failure);
        if (tracks_.back().layout.order == AV_CHANNEL_ORDER_UNSPEC) {
            av_channel_layout_default(&tracks_.back().layout, stream.codecpar->ch_layout.nb_channels);
        }
    }
}

RecordedAudioReader::~RecordedAudioReader()
{
    for (Track& track : tracks_) av_channel_layout_uninit(&track.layout);
}

void RecordedAudioReader::readAll(const TakeFrame& take)
{
    checkAv(avformat_seek_file(input_.get(), -1, INT64_MIN, 0, 0, 0), failure);
    std::vector<Decoding> decodings(tracks_.size());
    for (std::size_t track = 0; track < tracks_.size(); ++track) {
        const AVStream& stream = *input_->streams[streams_[track]];
        const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
        if (!codec) throw RenderError(RenderError::Kind::unreadableMovie, std::string(failure) + ": unknown codec");
        Decoding& decoding = decodings[track];
        decoding.decoder.reset(avcodec_alloc_context3(codec));
        if (!decoding.decoder) throw std::bad_alloc();
        checkAv(avcodec_parameters_to_context(decoding.decoder.get(), stream.codecpar), failure);
        checkAv(av_channel_layout_copy(&decoding.decoder->ch_layout, &tracks_[track].layout), failure);
        checkAv(avcodec_open2(decoding.decoder.get(), codec, nullptr), failure);
        SwrContext* converter = nullptr;
        checkAv(swr_alloc_set_opts2(&converter, &tracks_[track].layout, AV_SAMPLE_FMT_FLTP, tracks_[track].sampleRate,
                                    &decoding.decoder->ch_layout, decoding.decoder->sample_fmt,
                                    decoding.decoder->sample_rate, 0, nullptr),
                failure);
        decoding.converter.reset(converter);
        checkAv(swr_init(converter), failure);
    }

    FrameHandle silence = allocateFrame();
    const auto handOnSilence = [&](std::size_t track, std::int64_t until) {
        Decoding& decoding = decodings[track];
        while (decoding.nextSample < until) {
            av_frame_unref(silence.get());
            silence->format = AV_SAMPLE_FMT_FLTP;
            silence->sample_rate = tracks_[track].sampleRate;
            checkAv(av_channel_layout_copy(&silence->ch_layout, &tracks_[track].layout), failure);
            silence->nb_samples = static_cast<int>(std::min(until - decoding.nextSample, silenceFrameSamples));
            checkAv(av_frame_get_buffer(silence.get(), 0), failure);
            for (int channel = 0; channel < silence->ch_layout.nb_channels; ++channel) {
                std::memset(silence->extended_data[channel], 0, sizeof(float) * static_cast<std::size_t>(silence->nb_samples));
            }
            silence->pts = decoding.nextSample;
            decoding.nextSample += silence->nb_samples;
            take(track, *silence);
        }
    };
    const auto receiveFrames = [&](std::size_t track) {
        Decoding& decoding = decodings[track];
        const AVStream& stream = *input_->streams[streams_[track]];
        const int rate = tracks_[track].sampleRate;
        while (true) {
            const int received = avcodec_receive_frame(decoding.decoder.get(), decoding.decoded.get());
            if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
            checkAv(received, failure);
            const std::int64_t stamp = decoding.decoded->best_effort_timestamp;
            const std::int64_t first =
                stamp == AV_NOPTS_VALUE ? decoding.nextSample
                                        : std::llround(static_cast<double>(stamp) * av_q2d(stream.time_base) * rate);
            handOnSilence(track, first);
            av_frame_unref(decoding.converted.get());
            decoding.converted->format = AV_SAMPLE_FMT_FLTP;
            decoding.converted->sample_rate = rate;
            checkAv(av_channel_layout_copy(&decoding.converted->ch_layout, &tracks_[track].layout), failure);
            checkAv(swr_convert_frame(decoding.converter.get(), decoding.converted.get(), decoding.decoded.get()),
                    failure);
            av_frame_unref(decoding.decoded.get());
            // Samples that overlap ones already handed on (a stamp that steps back) are dropped.
            const std::int64_t overlap = std::max<std::int64_t>(decoding.nextSample - first, 0);
            if (overlap >= decoding.converted->nb_samples) continue;
            if (overlap > 0) {
                const int kept = decoding.converted->nb_samples - static_cast<int>(overlap);
                for (int channel = 0; channel < decoding.converted->ch_layout.nb_channels; ++channel) {
                    auto* samples = reinterpret_cast<float*>(decoding.converted->extended_data[channel]);
                    std::memmove(samples, samples + overlap, sizeof(float) * static_cast<std::size_t>(kept));
                }
                decoding.converted->nb_samples = kept;
            }
            decoding.converted->pts = decoding.nextSample;
            decoding.nextSample += decoding.converted->nb_samples;
            take(track, *decoding.converted);
        }
    };

    PacketHandle packet = allocatePacket();
    while (av_read_frame(input_.get(), packet.get()) >= 0) {
        const auto found = std::find(streams_.begin(), streams_.end(), packet->stream_index);
        if (found != streams_.end()) {
            const auto track = static_cast<std::size_t>(found - streams_.begin());
            const int sent = avcodec_send_packet(decodings[track].decoder.get(), packet.get());
            // A damaged packet loses its samples, not the export.
            if (sent < 0 && sent != AVERROR_INVALIDDATA) checkAv(sent, failure);
            receiveFrames(track);
        }
        av_packet_unref(packet.get());
    }
    double end = 0;
    for (std::size_t track = 0; track < tracks_.size(); ++track) {
        checkAv(avcodec_send_packet(decodings[track].decoder.get(), nullptr), failure);
        receiveFrames(track);
        end = std::max(end, static_cast<double>(decodings[track].nextSample) / tracks_[track].sampleRate);
    }
    for (std::size_t track = 0; track < tracks_.size(); ++track) {
        handOnSilence(track, std::llround(end * tracks_[track].sampleRate));
    }
}

}  // namespace vantile
