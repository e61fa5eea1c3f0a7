#include "render/EditedAudioTrack.h"

#include "render/FfmpegCheck.h"
#include "render/RenderError.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace vantile {

namespace {

constexpr const char* failure = "Cannot re-encode the audio";

// AAC wherever the container takes it; WebM takes Opus.
const AVCodec* audioEncoderFor(const AVFormatContext& output)
{
    if (avformat_query_codec(output.oformat, AV_CODEC_ID_AAC, FF_COMPLIANCE_NORMAL) == 1) {
        return avcodec_find_encoder(AV_CODEC_ID_AAC);
    }
    return avcodec_find_encoder_by_name("libopus");
}

// Float samples, planar where the encoder takes them so (AAC), else interleaved (libopus).
AVSampleFormat floatFormatOf(const AVCodec& codec)
{
    AVSampleFormat found = AV_SAMPLE_FMT_NONE;
    for (const AVSampleFormat* format = codec.sample_fmts; format && *format != AV_SAMPLE_FMT_NONE; ++format) {
        if (*format == AV_SAMPLE_FMT_FLTP) return *format;
        if (*format == AV_SAMPLE_FMT_FLT) found = *format;
    }
    if (found == AV_SAMPLE_FMT_NONE) throw RenderError::cannotAddWriterInput();
    return found;
}

// The track's own rate when the encoder takes it, else 48 kHz (Opus takes 48, 24, 16, 12 and 8 kHz).
int sampleRateFor(const AVCodec& codec, int sourceRate)
{
    if (!codec.supported_samplerates) return sourceRate;
    for (const int* rate = codec.supported_samplerates; *rate; ++rate) {
        if (*rate == sourceRate) return sourceRate;
    }
    return 48000;
}

}  // namespace

EditedAudioTrack::EditedAudioTrack(const std::filesystem::path& rawVideoURL, int streamIndex,
                                   const OutputTimeline& timeline, double outputDuration, AVFormatContext& output)
    : timeline_(timeline), output_(output), streamIndex_(streamIndex)
{
    AVFormatContext* opened = nullptr;
    checkAv(avformat_open_input(&opened, rawVideoURL.c_str(), nullptr, nullptr), failure);
    input_.reset(opened);
    checkAv(avformat_find_stream_info(input_.get(), nullptr), failure);
    for (unsigned index = 0; index < input_->nb_streams; ++index) {
        input_->streams[index]->discard = static_cast<int>(index) == streamIndex ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    const AVStream& source = *input_->streams[streamIndex];
    const AVCodec* decoder = avcodec_find_decoder(source.codecpar->codec_id);
    const AVCodec* encoder = audioEncoderFor(output);
    if (!decoder || !encoder) throw RenderError::cannotAddWriterInput();
    decoder_.reset(avcodec_alloc_context3(decoder));
    if (!decoder_) throw RenderError::cannotAddWriterInput();
    checkAv(avcodec_parameters_to_context(decoder_.get(), source.codecpar), failure);
    // A track stored without its speaker layout (PCM in Matroska) plays in the usual one for its channel count.
    if (decoder_->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&decoder_->ch_layout, decoder_->ch_layout.nb_channels);
    }
    checkAv(avcodec_open2(decoder_.get(), decoder, nullptr), failure);
    channels_ = decoder_->ch_layout.nb_channels;
    if (decoder_->sample_rate < 1 || channels_ < 1) throw RenderError::cannotAddWriterInput();
    // Samples are counted at the encoder's rate from here on.
    sampleRate_ = sampleRateFor(*encoder, decoder_->sample_rate);
    const AVSampleFormat sampleFormat = floatFormatOf(*encoder);
    interleaved_ = !av_sample_fmt_is_planar(sampleFormat);

    encoder_.reset(avcodec_alloc_context3(encoder));
    if (!encoder_) throw RenderError::cannotAddWriterInput();
    encoder_->sample_fmt = sampleFormat;
    encoder_->sample_rate = sampleRate_;
    checkAv(av_channel_layout_copy(&encoder_->ch_layout, &decoder_->ch_layout), failure);
    encoder_->bit_rate = 96000 * std::min(channels_, 2);
    encoder_->time_base = AVRational{1, sampleRate_};
    if (output.oformat->flags & AVFMT_GLOBALHEADER) encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    checkAv(avcodec_open2(encoder_.get(), encoder, nullptr), failure);

    outputStream_ = avformat_new_stream(&output, nullptr);
    if (!outputStream_) throw RenderError::cannotAddWriterInput();
    checkAv(avcodec_parameters_from_context(outputStream_->codecpar, encoder_.get()), failure);
    outputStream_->time_base = encoder_->time_base;
    av_dict_copy(&outputStream_->metadata, source.metadata, 0);

    // A changed rate (a track Opus cannot take as it is) shifts the audio by the resampler's
    // delay, well under a millisecond.
    SwrContext* converter = nullptr;
    checkAv(swr_alloc_set_opts2(&converter, &decoder_->ch_layout, sampleFormat, sampleRate_, &decoder_->ch_layout,
                                decoder_->sample_fmt, decoder_->sample_rate, 0, nullptr),
            failure);
    converter_.reset(converter);
    checkAv(swr_init(converter_.get()), failure);
    pending_.reset(av_audio_fifo_alloc(sampleFormat, channels_, 4096));
    if (!pending_) throw RenderError::pixelBufferCreationFailed();
    samplesLimit_ = static_cast<std::int64_t>(std::llround(outputDuration * sampleRate_));
}

void EditedAudioTrack::queueSamples(const float* const* planes, std::int64_t count)
{
    const std::int64_t wanted = std::min(count, samplesLimit_ - samplesQueued_);
    if (wanted <= 0) return;
    if (av_audio_fifo_write(pending_.get(), const_cast<void**>(reinterpret_cast<const void* const*>(planes)),
                            static_cast<int>(wanted)) < wanted) {
        throw RenderError::pixelBufferCreationFailed();
    }
    samplesQueued_ += wanted;
}

void EditedAudioTrack::finishTempoStage()
{
    if (!tempoStage_) return;
    tempoStage_->finish([this](const float* const* planes, std::int64_t count) { queueSamples(planes, count); });
    tempoStage_.reset();
}

void EditedAudioTrack::keepKeptSamples(std::int64_t firstSample, int count, const float* const* planes)
{
    // Sample n plays at n / rate; it is kept when that instant lies in a kept range.
    const double rate = sampleRate_;
    const auto& played = timeline_.playedRanges();
    const auto queue = [this](const float* const* slice, std::int64_t sliceCount) { queueSamples(slice, sliceCount); };
    for (std::size_t index = 0; index < played.size(); ++index) {
        const PlayedRange& piece = played[index];
        const auto pieceEnd = static_cast<std::int64_t>(std::ceil(piece.range.end * rate));
        const auto from = std::max(firstSample, static_cast<std::int64_t>(std::ceil(piece.range.start * rate)));
        const auto to = std::min(firstSample + count, pieceEnd);
        if (to <= from) continue;
        std::vector<const float*> slice(static_cast<std::size_t>(planeCount()));
        for (int plane = 0; plane < planeCount(); ++plane) {
            slice[static_cast<std::size_t>(plane)] = planes[plane] + (from - firstSample) * samplesPerFrame();
        }
        if (piece.speed == 1) {
            queue(slice.data(), to - from);
            continue;
        }
        if (!tempoStage_ || tempoStageIndex_ != index) {
            finishTempoStage();
            // Owed up to where the range ends in the output, so rounding never adds up along the movie.
            const std::int64_t owed = std::llround(timeline_.outputStart(index + 1) * rate) - samplesQueued_;
            tempoStage_ = std::make_unique<AudioTempoStage>(piece.speed, sampleRate_, encoder_->sample_fmt,
                                                            encoder_->ch_layout, owed);
            tempoStageIndex_ = index;
        }
        tempoStage_->push(slice.data(), to - from, queue);
        if (to == pieceEnd) finishTempoStage();
    }
}

bool EditedAudioTrack::decodeMore()
{
    while (true) {
        const int received = avcodec_receive_frame(decoder_.get(), decoded_.get());
        if (received == 0) {
            const AVStream& stream = *input_->streams[streamIndex_];
            const std::int64_t stamp = decoded_->best_effort_timestamp != AV_NOPTS_VALUE ? decoded_->best_effort_timestamp
                                                                                      : decoded_->pts;
            const std::int64_t first = stamp == AV_NOPTS_VALUE
                                           ? nextSourceSample_
                                           : std::llround(static_cast<double>(stamp) * av_q2d(stream.time_base) *
                                                          sampleRate_);
            // A gap in the raw track plays as silence, so later samples keep their place.
            if (first > nextSourceSample_) {
                const std::vector<float> silence(static_cast<std::size_t>((first - nextSourceSample_) * samplesPerFrame()),
                                                 0.0F);
                const std::vector<const float*> planes(static_cast<std::size_t>(planeCount()), silence.data());
                keepKeptSamples(nextSourceSample_, static_cast<int>(first - nextSourceSample_), planes.data());
            }
            av_frame_unref(converted_.get());
            converted_->format = encoder_->sample_fmt;
            converted_->sample_rate = sampleRate_;
            checkAv(av_channel_layout_copy(&converted_->ch_layout, &decoder_->ch_layout), failure);
            checkAv(swr_convert_frame(converter_.get(), converted_.get(), decoded_.get()), failure);
            std::vector<const float*> planes(static_cast<std::size_t>(planeCount()));
            for (int plane = 0; plane < planeCount(); ++plane) {
                planes[static_cast<std::size_t>(plane)] = reinterpret_cast<const float*>(converted_->extended_data[plane]);
            }
            keepKeptSamples(first, converted_->nb_samples, planes.data());
            nextSourceSample_ = std::max(nextSourceSample_, first + converted_->nb_samples);
            av_frame_unref(decoded_.get());
            return true;
        }
        if (received == AVERROR_EOF) {
            // A track that ends inside a faster or slower stretch still gives the stretch's length.
            finishTempoStage();
            return false;
        }
        if (received != AVERROR(EAGAIN)) checkAv(received, failure);
        const int read = av_read_frame(input_.get(), packet_.get());
        if (read < 0) {
            checkAv(avcodec_send_packet(decoder_.get(), nullptr), failure);
            continue;
        }
        if (packet_->stream_index == streamIndex_) {
            const int sent = avcodec_send_packet(decoder_.get(), packet_.get());
            // A damaged packet loses its samples, not the export.
            if (sent < 0 && sent != AVERROR_INVALIDDATA) checkAv(sent, failure);
        }
        av_packet_unref(packet_.get());
    }
}

void EditedAudioTrack::sendToEncoder(const AVFrame* frame)
{
    checkAv(avcodec_send_frame(encoder_.get(), frame), failure);
    while (true) {
        const int received = avcodec_receive_packet(encoder_.get(), packet_.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
        checkAv(received, failure);
        av_packet_rescale_ts(packet_.get(), encoder_->time_base, outputStream_->time_base);
        packet_->stream_index = outputStream_->index;
        checkAv(av_interleaved_write_frame(&output_, packet_.get()), failure);
    }
}

void EditedAudioTrack::encodeFrame(int count)
{
    const int frameSize = encoder_->frame_size > 0 ? encoder_->frame_size : 1024;
    av_frame_unref(encoded_.get());
    encoded_->format = encoder_->sample_fmt;
    encoded_->sample_rate = sampleRate_;
    checkAv(av_channel_layout_copy(&encoded_->ch_layout, &encoder_->ch_layout), failure);
    encoded_->nb_samples = std::min(count, frameSize);
    checkAv(av_frame_get_buffer(encoded_.get(), 0), failure);
    if (av_audio_fifo_read(pending_.get(), reinterpret_cast<void**>(encoded_->extended_data), encoded_->nb_samples) <
        encoded_->nb_samples) {
        throw RenderError::pixelBufferCreationFailed();
    }
    encoded_->pts = samplesEncoded_;
    samplesEncoded_ += encoded_->nb_samples;
    sendToEncoder(encoded_.get());
}

void EditedAudioTrack::writeUntil(double outputSeconds)
{
    const int frameSize = encoder_->frame_size > 0 ? encoder_->frame_size : 1024;
    while (static_cast<double>(samplesEncoded_) / sampleRate_ < outputSeconds) {
        if (av_audio_fifo_size(pending_.get()) >= frameSize) {
            encodeFrame(frameSize);
        } else if (!inputFinished_ && samplesQueued_ < samplesLimit_) {
            inputFinished_ = !decodeMore();
        } else {
            if (av_audio_fifo_size(pending_.get()) > 0) encodeFrame(av_audio_fifo_size(pending_.get()));
            return;
        }
    }
}

void EditedAudioTrack::finish()
{
    if (encoderFlushed_) return;
    writeUntil(static_cast<double>(samplesLimit_) / sampleRate_ + 1);
    sendToEncoder(nullptr);
    encoderFlushed_ = true;
}

}  // namespace vantile
