// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/feeder.h"

#include <gst/app/gstappsrc.h>

namespace vantrasim {

namespace {

/// A feeder that is later than this gives up catching up, and the stream has a pause.
constexpr std::chrono::seconds kMostLate(1);

} // namespace

Feeder::Feeder(GstElement *media, std::unique_ptr<Source> source, bool audio,
               std::shared_ptr<FeedCount> count)
    : m_source(std::move(source)), m_count(std::move(count))
{
    m_videoSource = gst_bin_get_by_name(GST_BIN(media), "vsrc");
    if (audio)
        m_audioSource = gst_bin_get_by_name(GST_BIN(media), "asrc");
}

Feeder::~Feeder()
{
    stop();
    if (m_thread.joinable())
        m_thread.join();
    if (m_videoSource != nullptr)
        gst_object_unref(m_videoSource);
    if (m_audioSource != nullptr)
        gst_object_unref(m_audioSource);
}

void Feeder::setPictureObserver(std::function<void(std::uint64_t)> observer)
{
    m_pictureObserver = std::move(observer);
}

void Feeder::start()
{
    m_thread = std::thread([this] { run(); });
}

void Feeder::setPlaying(bool playing)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_playing = playing;
    m_changed.notify_all();
}

void Feeder::setStalled(bool stalled)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stalled = stalled;
    m_changed.notify_all();
}

void Feeder::finish()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_finish = true;
    m_changed.notify_all();
}

void Feeder::stop()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_stop = true;
    m_changed.notify_all();
}

/// True when the unit is due; false when there is nothing more to send.
bool Feeder::waitUntilDue(GstClockTime due)
{
    const auto sourceTime = std::chrono::nanoseconds(due);
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        if (m_stop || m_finish)
            return false;
        if (!m_playing || m_stalled) {
            const auto pausedAt = Clock::now();
            m_changed.wait(lock,
                           [this] { return m_stop || m_finish || (m_playing && !m_stalled); });
            // Before the first start there is no clock that could have stood still.
            if (m_anchored) {
                const auto pause = Clock::now() - pausedAt;
                m_anchor += pause;
                m_shift += static_cast<GstClockTime>(
                    std::chrono::duration_cast<std::chrono::nanoseconds>(pause).count());
            }
            continue;
        }
        const auto now = Clock::now();
        if (!m_anchored) {
            // What was sent before is of the source's time 0. Anything earlier than this would only
            // wait in the pipeline, which lets nothing out before its stamp.
            m_anchored = true;
            m_anchor = now;
        }
        const auto late = now - (m_anchor + sourceTime);
        if (late >= Clock::duration::zero()) {
            if (late > kMostLate) {
                m_anchor += late;
                m_shift += static_cast<GstClockTime>(
                    std::chrono::duration_cast<std::chrono::nanoseconds>(late).count());
            }
            return true;
        }
        m_changed.wait_until(lock, m_anchor + sourceTime);
    }
}

bool Feeder::push(Unit unit)
{
    GstElement *element = unit.audio ? m_audioSource : m_videoSource;
    if (element == nullptr)
        return true;
    GstSample *sample = unit.sample.get();
    GstBuffer *buffer = gst_buffer_copy(gst_sample_get_buffer(sample));
    if (GST_BUFFER_PTS_IS_VALID(buffer))
        GST_BUFFER_PTS(buffer) += m_shift;
    if (GST_BUFFER_DTS_IS_VALID(buffer))
        GST_BUFFER_DTS(buffer) += m_shift;
    GstSample *stamped = gst_sample_new(buffer, gst_sample_get_caps(sample), nullptr, nullptr);
    gst_buffer_unref(buffer);
    if (!unit.audio) {
        if (m_pictureObserver)
            m_pictureObserver(m_pictures);
        ++m_pictures;
    }
    const GstFlowReturn flow = gst_app_src_push_sample(GST_APP_SRC(element), stamped);
    gst_sample_unref(stamped);
    ++(unit.audio ? m_count->sounds : m_count->pictures);
    return flow == GST_FLOW_OK;
}

void Feeder::run()
{
    bool videoPrimed = false;
    bool audioPrimed = m_audioSource == nullptr;
    for (;;) {
        Unit unit = m_source->next();
        if (unit.sample.get() == nullptr)
            break;
        bool &primed = unit.audio ? audioPrimed : videoPrimed;
        if ((primed || (videoPrimed && audioPrimed)) && !waitUntilDue(unit.due))
            break;
        primed = true;
        if (!push(std::move(unit)))
            return; // the media has gone
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_stop)
            return;
    }
    gst_app_src_end_of_stream(GST_APP_SRC(m_videoSource));
    if (m_audioSource != nullptr)
        gst_app_src_end_of_stream(GST_APP_SRC(m_audioSource));
}

} // namespace vantrasim
