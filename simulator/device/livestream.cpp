// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/device/livestream.h"

#include "simulator/scene/counterrow.h"
#include "simulator/scene/sceneid.h"

#include <algorithm>
#include <utility>

namespace vantrasim {

namespace {

constexpr auto kEncoderPoll = Milliseconds(5); // while the first pictures are being encoded
constexpr int kNoPictures = 98;                // answer where they cannot be encoded
constexpr int kLongestEcho = 8000 * 10;        // bytes

/// What a stream of that form is like: a clip brings its own.
StreamConfig actual(StreamConfig form)
{
    if (form.clip.isEmpty())
        return form;
    const auto footage = ClipFootage::forFile(form.clip.toStdString());
    const Clip &clip = footage->clip();
    form.video.codec = clip.video == VideoForm::H264 ? HCodecH264 : HCodecH265;
    form.video.width = clip.width;
    form.video.height = clip.height;
    form.video.fps = footage->fps();
    form.video.gop = footage->gop();
    form.audio = AudioFormat();
    form.audio.codec = clip.sound.empty()              ? 0
                       : clip.audio == AudioForm::Pcmu ? HCodecG711U
                                                       : HCodecG711A;
    return form;
}

} // namespace

LiveStream::LiveStream(const Place &place, const StreamConfig &form, DeviceFaults *faults,
                       int queueMs)
    : m_place(place), m_queueMs(queueMs), m_form(actual(form)),
      m_mangler(faults, FaultRoad::Live, place.channel, place.stream), m_video(m_form.video.para()),
      m_audio(m_form.audio.para())
{
}

std::shared_ptr<const Footage> LiveStream::footageOf(const StreamConfig &form) const
{
    if (!form.clip.isEmpty())
        return ClipFootage::forFile(form.clip.toStdString());
    LoopForm loop;
    loop.picture = form.video.picture();
    loop.name = m_place.name.toStdString();
    loop.rgb = m_place.colour;
    loop.id = sceneIdOf(m_place.device, m_place.channel, m_place.stream);
    return Loop::forForm(loop);
}

std::shared_ptr<const Sound> LiveStream::soundOf(const StreamConfig &form) const
{
    if (form.audio.codec == 0)
        return nullptr;
    if (form.clip.isEmpty())
        return std::make_shared<const Sound>(form.audio);
    const Clip &clip = ClipFootage::forFile(form.clip.toStdString())->clip();
    return std::make_shared<const Sound>(
        form.audio,
        QByteArray(reinterpret_cast<const char *>(clip.sound.data()), int(clip.sound.size())));
}

bool LiveStream::open()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_open)
        return false;
    m_open = true;
    m_started = false;
    m_mangler.reset();
    if (!m_footage) {
        m_footage = footageOf(m_form);
        m_sound = soundOf(m_form);
    }
    m_changed.notify_all();
    return true;
}

void LiveStream::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_open = false;
    m_echo.clear();
    m_changed.notify_all();
}

bool LiveStream::isOpen() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_open;
}

void LiveStream::requestKeyFrame()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_keyWanted = true;
}

void LiveStream::setStalled(bool stalled)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stalled = stalled;
    m_started = m_started && !stalled;
    m_changed.notify_all();
}

void LiveStream::setForm(const StreamConfig &form)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_footage) { // it has never been open
        m_form = actual(form);
        setCodec(m_form.video.para(), m_form.audio.para());
        return;
    }
    m_pendingForm = actual(form);
    m_pendingFootage = footageOf(m_pendingForm);
}

StreamConfig LiveStream::form() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_form;
}

void LiveStream::addSound(const QByteArray &sound)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_open && m_echo.size() + sound.size() <= kLongestEcho)
        m_echo.append(sound);
}

/// The numbers of what is due next at the time `now`.
void LiveStream::restart(qint64 now)
{
    m_started = true;
    m_frame = frameAt(now, m_form.video.fps);
    if (m_sound)
        m_packet = (now + m_form.audio.packetMs - 1) / m_form.audio.packetMs;
    nextGroup();
}

void LiveStream::nextGroup()
{
    m_index = m_footage->nextKey(m_index);
    m_keyWanted = false;
}

/// Whether there is anything to send.
bool LiveStream::prepare(qint64 now)
{
    if (m_pendingFootage && m_pendingFootage->size() > 0)
        takePendingForm();
    if (m_footage->size() == 0)
        return false;
    if (!m_started) {
        restart(now);
    } else if (now - due() > m_queueMs) {
        const qint64 before = m_frame;
        restart(now);
        m_counts.skipped += m_frame - before;
    }
    return true;
}

void LiveStream::takePendingForm()
{
    const qint64 next = stampOfFrame(m_frame, m_form.video.fps);
    m_form = m_pendingForm;
    m_footage = std::exchange(m_pendingFootage, nullptr);
    m_sound = soundOf(m_form);
    m_index = 0;
    if (m_started)
        restart(next);
    setCodec(m_form.video.para(), m_form.audio.para());
}

/// When the next frame is due.
qint64 LiveStream::due() const
{
    const qint64 picture = stampOfFrame(m_frame, m_form.video.fps);
    return m_sound ? std::min(picture, m_packet * m_form.audio.packetMs) : picture;
}

HRetError LiveStream::read(HFrameHeader *frame, int timeoutMs)
{
    const auto deadline = SteadyClock::now() + Milliseconds(std::max(timeoutMs, 0));
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        auto wake = deadline;
        if (m_open && !m_stalled) {
            Frame ready;
            if (m_mangler.next(&ready)) {
                ready.write(frame);
                return HRetOk;
            }
            const qint64 now = deviceNow();
            if (m_footage->isBroken())
                return HRetError(kNoPictures);
            if (!prepare(now)) {
                wake = std::min(deadline, SteadyClock::now() + kEncoderPoll);
            } else if (due() <= now) {
                const HRetError answer = produce();
                if (answer != HRetOk)
                    return answer;
                continue;
            } else {
                wake = std::min(deadline, steadyTimeOf(due()));
            }
        }
        if (SteadyClock::now() >= deadline)
            return HRetTimeout;
        m_changed.wait_until(lock, wake);
    }
}

HRetError LiveStream::produce()
{
    const bool picture =
        !m_sound || stampOfFrame(m_frame, m_form.video.fps) <= m_packet * m_form.audio.packetMs;
    return picture ? producePicture() : produceSound();
}

HRetError LiveStream::producePicture()
{
    if (m_keyWanted)
        nextGroup();
    const bool key = m_footage->isKey(m_index);
    const HRetError answer = m_mangler.begin(key, false);
    if (answer != HRetOk)
        return answer;
    const qint64 pts = stampOfFrame(m_frame, m_form.video.fps);
    Bytes payload;
    if (!m_footage->compose(m_index, quint32(m_frame & kCounterMask), clockText(pts),
                            m_mangler.wantsSets(), &payload))
        return HRetError(kNoPictures);
    m_mangler.put(Frame::video(m_form.video, key, pts, std::move(payload)));
    ++m_frame;
    m_index = (m_index + 1) % m_footage->size();
    ++m_counts.pictures;
    m_counts.keyPictures += key ? 1 : 0;
    return HRetOk;
}

HRetError LiveStream::produceSound()
{
    const HRetError answer = m_mangler.begin(false, true);
    if (answer != HRetOk)
        return answer;
    m_mangler.put(Frame::audio(m_form.audio, m_packet * m_form.audio.packetMs, packet(m_packet)));
    ++m_packet;
    ++m_counts.sounds;
    return HRetOk;
}

QByteArray LiveStream::packet(qint64 number)
{
    const QByteArray tone = m_sound->packet(number);
    if (m_echo.size() < tone.size())
        return tone;
    const QByteArray echo = m_echo.left(tone.size());
    m_echo.remove(0, tone.size());
    return echo;
}

void LiveStream::codec(HVideoEncPara *video, HAudioEncPara *audio) const
{
    const std::lock_guard<std::mutex> lock(m_codecMutex);
    *video = m_video;
    *audio = m_audio;
}

void LiveStream::setCodec(const HVideoEncPara &video, const HAudioEncPara &audio)
{
    const std::lock_guard<std::mutex> lock(m_codecMutex);
    m_video = video;
    m_audio = audio;
}

QString LiveStream::problem() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_form.clip.isEmpty()) {
        const auto clip = ClipFootage::forFile(m_form.clip.toStdString());
        if (clip->isBroken())
            return m_form.clip + QLatin1Char(' ') + QString::fromStdString(clip->problem());
    } else if (m_footage && m_footage->isBroken()) {
        return QStringLiteral("FFmpeg lacks an encoder for the scene");
    }
    return QString();
}

StreamCounts LiveStream::counts() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_counts;
}

} // namespace vantrasim
