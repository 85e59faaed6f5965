// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/roads.h"

#include <cstdio>

namespace vantrasim {

namespace {

constexpr char kGatedKey[] = "vantra-gated";

bool isTcp(GstRTSPStreamTransport *viewer)
{
    return gst_rtsp_stream_transport_get_transport(viewer)->lower_transport ==
           GST_RTSP_LOWER_TRANS_TCP;
}

bool hasTcpViewer(GstRTSPStream *stream)
{
    bool found = false;
    g_list_free_full(gst_rtsp_stream_transport_filter(
                         stream,
                         [](GstRTSPStream *, GstRTSPStreamTransport *viewer, gpointer answer) {
                             *static_cast<bool *>(answer) |= isTcp(viewer);
                             return GST_RTSP_FILTER_KEEP;
                         },
                         &found),
                     g_object_unref);
    return found;
}

/// By its type, where a packet of RTP has its payload type (RFC 5761, section 4).
bool isRtcp(GstBuffer *packet)
{
    guint8 type = 0;
    return packet != nullptr && gst_buffer_extract(packet, 1, &type, 1) == 1 && type >= 192 &&
           type <= 223;
}

/// gst-rtsp-server (1.22) sends by TCP on a thread of its own, which takes one packet each time it
/// is woken: by a new packet, or by a client that has got one. RTCP goes first. So if two packets
/// wake it once and there is no client, that of RTP stays, no further one fits behind it, and the
/// pipeline stands: for the viewers by UDP, too. Where nobody would get it, it gets no RTCP.
GstPadProbeReturn dropForNobody(GstPad *, GstPadProbeInfo *info, gpointer stream)
{
    return isRtcp(GST_PAD_PROBE_INFO_BUFFER(info)) && !hasTcpViewer(GST_RTSP_STREAM(stream))
               ? GST_PAD_PROBE_DROP
               : GST_PAD_PROBE_OK;
}

/// The ends of TCP roads that have no gate yet are those of `stream`.
void gateTcp(GstElement *pipeline, GstRTSPStream *stream)
{
    GstIterator *ends = gst_bin_iterate_all_by_element_factory_name(GST_BIN(pipeline), "appsink");
    gst_iterator_foreach(
        ends,
        [](const GValue *item, gpointer owner) {
            GObject *end = G_OBJECT(g_value_get_object(item));
            if (g_object_get_data(end, kGatedKey) != nullptr)
                return;
            g_object_set_data(end, kGatedKey, owner);
            GstPad *pad = gst_element_get_static_pad(GST_ELEMENT(end), "sink");
            // The stream outlives its pipeline.
            gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, dropForNobody, owner, nullptr);
            gst_object_unref(pad);
        },
        stream);
    gst_iterator_free(ends);
}

bool openRoad(GstRTSPStream *stream, GstRTSPLowerTrans road)
{
    GstRTSPTransport *transport = nullptr;
    gst_rtsp_transport_new(&transport);
    transport->trans = GST_RTSP_TRANS_RTP;
    transport->profile = GST_RTSP_PROFILE_AVP;
    transport->lower_transport = road;
    const bool ready = road == GST_RTSP_LOWER_TRANS_TCP ||
                       gst_rtsp_stream_allocate_udp_sockets(stream, G_SOCKET_FAMILY_IPV4, transport,
                                                            FALSE) != FALSE;
    const bool opened = ready && gst_rtsp_stream_complete_stream(stream, transport) != FALSE;
    gst_rtsp_transport_free(transport);
    return opened;
}

} // namespace

GstElement *pipelineOf(GstRTSPMedia *media)
{
    GstElement *element = gst_rtsp_media_get_element(media);
    GstObject *pipeline = gst_object_get_parent(GST_OBJECT(element));
    gst_object_unref(element);
    return pipeline == nullptr ? nullptr : GST_ELEMENT(pipeline);
}

/// gst-rtsp-server (1.22) adds what sends by TCP, or by UDP, to a pipeline when the first client of
/// that kind plays. If the first one of the other kind comes in those milliseconds in which the
/// pipeline is on its way to play, the new part may never get there, and its clients wait for good.
/// So both parts are put in before there is anything that could be on its way.
void openRoads(GstRTSPMedia *media)
{
    GstElement *pipeline = pipelineOf(media);
    for (guint i = 0; i < gst_rtsp_media_n_streams(media); ++i) {
        GstRTSPStream *stream = gst_rtsp_media_get_stream(media, i);
        if (!openRoad(stream, GST_RTSP_LOWER_TRANS_TCP))
            std::fputs("cannot ready TCP\n", stderr);
        if (pipeline != nullptr)
            gateTcp(pipeline, stream);
        if (!openRoad(stream, GST_RTSP_LOWER_TRANS_UDP))
            std::fputs("cannot ready UDP\n", stderr);
    }
    if (pipeline != nullptr)
        gst_object_unref(pipeline);
}

} // namespace vantrasim
