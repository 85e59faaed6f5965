// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "core_video/keypicture_p.h"

#include <QtGlobal>

#include <cstring>
#include <limits>

namespace {

bool beginsWithStartCode(const quint8 *data, int size)
{
    return data && size > 4 && data[0] == 0 && data[1] == 0 &&
           (data[2] == 1 || (data[2] == 0 && data[3] == 1));
}

bool hasParameterSets(const AVPacket *packet, const AVCodecParameters *description)
{
    AVBSFContext *made = nullptr;
    const AVBitStreamFilter *filter = av_bsf_get_by_name("extract_extradata");
    if (!filter || av_bsf_alloc(filter, &made) < 0)
        return false;
    const AVBSFContextPtr finder(made);
    const AVPacketPtr looked(av_packet_clone(packet));
    if (!looked || avcodec_parameters_copy(finder->par_in, description) < 0 ||
        av_bsf_init(finder.get()) < 0 || av_bsf_send_packet(finder.get(), looked.get()) < 0 ||
        av_bsf_receive_packet(finder.get(), looked.get()) < 0)
        return false;
    return av_packet_get_side_data(looked.get(), AV_PKT_DATA_NEW_EXTRADATA, nullptr) != nullptr;
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
    if (hasParameterSets(packet, description))
        return nullptr;

    AVPacketPtr completed(av_packet_alloc());
    if (!completed || av_new_packet(completed.get(), setBytes + packet->size) < 0 ||
        av_packet_copy_props(completed.get(), packet) < 0)
        return nullptr;
    memcpy(completed->data, description->extradata, static_cast<size_t>(setBytes));
    memcpy(completed->data + setBytes, packet->data, static_cast<size_t>(packet->size));
    return completed;
}
