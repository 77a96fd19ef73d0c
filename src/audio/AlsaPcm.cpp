#include "audio/AlsaPcm.h"

#include <alsa/asoundlib.h>

#include <cerrno>

namespace tw {

namespace {

snd_pcm_format_t FormatOf(int32_t bits) {
    switch (bits) {
    case 8:
        return SND_PCM_FORMAT_U8;
    case 16:
        return SND_PCM_FORMAT_S16_LE;
    case 24:
        return SND_PCM_FORMAT_S24_3LE;
    case 32:
        return SND_PCM_FORMAT_S32_LE;
    default:
        return SND_PCM_FORMAT_UNKNOWN;
    }
}

} // namespace

int CAlsaPcm::Open(const Request& r) {
    Close();
    const snd_pcm_format_t format = FormatOf(r.bits);
    if (format == SND_PCM_FORMAT_UNKNOWN || r.rate <= 0 || r.channels <= 0)
        return -EINVAL;
    snd_pcm_t* pcm = nullptr;
    int err = snd_pcm_open(&pcm, r.name.c_str(), r.capture ? SND_PCM_STREAM_CAPTURE : SND_PCM_STREAM_PLAYBACK,
                           SND_PCM_NONBLOCK);
    if (err < 0)
        return err;

    snd_pcm_hw_params_t* hw = nullptr;
    snd_pcm_hw_params_alloca(&hw);
    snd_pcm_uframes_t period = static_cast<snd_pcm_uframes_t>(r.periodFrames > 0 ? r.periodFrames : 1);
    snd_pcm_uframes_t buffer =
        static_cast<snd_pcm_uframes_t>(r.bufferFrames > 0 ? r.bufferFrames : period * 4);
    int dir = 0;
    if ((err = snd_pcm_hw_params_any(pcm, hw)) < 0 ||
        (err = snd_pcm_hw_params_set_access(pcm, hw, SND_PCM_ACCESS_RW_INTERLEAVED)) < 0 ||
        (err = snd_pcm_hw_params_set_format(pcm, hw, format)) < 0 ||
        (err = snd_pcm_hw_params_set_channels(pcm, hw, static_cast<unsigned>(r.channels))) < 0 ||
        (err = snd_pcm_hw_params_set_rate_resample(pcm, hw, r.resample ? 1 : 0)) < 0 ||
        (err = snd_pcm_hw_params_set_rate(pcm, hw, static_cast<unsigned>(r.rate), 0)) < 0 ||
        (err = snd_pcm_hw_params_set_buffer_size_near(pcm, hw, &buffer)) < 0 ||
        (err = snd_pcm_hw_params_set_period_size_near(pcm, hw, &period, &dir)) < 0 ||
        (err = snd_pcm_hw_params(pcm, hw)) < 0) {
        snd_pcm_close(pcm);
        return err;
    }
    snd_pcm_hw_params_get_period_size(hw, &period, &dir);
    snd_pcm_hw_params_get_buffer_size(hw, &buffer);
    m_canPause = snd_pcm_hw_params_can_pause(hw) != 0;

    // Playback starts with the first frame written; capture is started by its owner. The device
    // wakes a waiter once a period can be moved.
    snd_pcm_sw_params_t* sw = nullptr;
    snd_pcm_sw_params_alloca(&sw);
    if ((err = snd_pcm_sw_params_current(pcm, sw)) < 0 ||
        (err = snd_pcm_sw_params_set_start_threshold(pcm, sw, r.capture ? buffer + 1 : 1)) < 0 ||
        (err = snd_pcm_sw_params_set_avail_min(pcm, sw, period)) < 0 ||
        (err = snd_pcm_sw_params(pcm, sw)) < 0 || (err = snd_pcm_prepare(pcm)) < 0) {
        snd_pcm_close(pcm);
        return err;
    }
    m_pcm = pcm;
    m_periodFrames = static_cast<int64_t>(period);
    m_bufferFrames = static_cast<int64_t>(buffer);
    m_frameBytes = r.channels * r.bits / 8;
    return 0;
}

void CAlsaPcm::Close() {
    if (m_pcm == nullptr)
        return;
    snd_pcm_drop(m_pcm);
    snd_pcm_close(m_pcm);
    m_pcm = nullptr;
    m_canPause = false;
    m_periodFrames = 0;
    m_bufferFrames = 0;
    m_frameBytes = 0;
}

int CAlsaPcm::Wait(int32_t timeoutMs) {
    if (m_pcm == nullptr)
        return -EBADFD;
    return snd_pcm_wait(m_pcm, timeoutMs);
}

bool CAlsaPcm::IsRecoverable(int error) {
    return error == -EPIPE || error == -ESTRPIPE || error == -EINTR;
}

} // namespace tw
