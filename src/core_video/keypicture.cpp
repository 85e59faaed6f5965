// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/keypicture_p.h"

#include "core_videosave/annexb_p.h"

#include <cstring>
#include <limits>

namespace {

bool beginsWithStartCode(const quint8 *data, int size)
{
    return data && size > 4 && data[0] == 0 && data[1] == 0 &&
           (data[2] == 1 || (data[2] == 0 && data[3] == 1));
}

} // namespace

AVPacketPtr withParameterSets(const AVPacket *packet, const AVCodecParameters *description)
{
    if (!packet || !packet->data || packet->size <= 0 || !description)
        return nullptr;
    if (description->codec_id != AV_CODEC_ID_H264 && description->codec_id != AV_CODEC_ID_HEVC)
        return nullptr;
    const int setBytes = description->extradata_size;
    if (!beginsWithStartCode(description->extradata, setBytes) ||
        !beginsWithStartCode(packet->data, packet->size) ||
        setBytes > std::numeric_limits<int>::max() - packet->size)
        return nullptr;
    if (lookIntoAnnexB(description->codec_id, packet->data, packet->size).hasParameterSets)
        return nullptr;

    AVPacketPtr completed(av_packet_alloc());
    if (!completed || av_new_packet(completed.get(), setBytes + packet->size) < 0 ||
        av_packet_copy_props(completed.get(), packet) < 0)
        return nullptr;
    memcpy(completed->data, description->extradata, static_cast<size_t>(setBytes));
    memcpy(completed->data + setBytes, packet->data, static_cast<size_t>(packet->size));
    return completed;
}
