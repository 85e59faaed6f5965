// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "devicelink/hframeheader.h"
#include "devicelink/hretcodes.h"
#include "devicelink/vodrecords.h"

#include <cstddef>
#include <type_traits>

// Device links fill these records byte by byte, and some are built apart from this library.
static_assert(Q_BYTE_ORDER == Q_LITTLE_ENDIAN, "frames arrive little-endian");

static_assert(sizeof(HRetError) == 4 && std::is_signed<std::underlying_type_t<HRetError>>::value);
static_assert(sizeof(HChannelStatus) == 2 &&
              std::is_signed<std::underlying_type_t<HChannelStatus>>::value);
static_assert(sizeof(HTransportProtocol) == 4);

static_assert(std::is_standard_layout<HFrameHeader>::value && std::is_trivial<HFrameHeader>::value);
static_assert(offsetof(HFrameHeader, reserved0) == 0 && offsetof(HFrameHeader, frameType) == 4 &&
              offsetof(HFrameHeader, frameSize) == 8 && offsetof(HFrameHeader, codecId) == 12 &&
              offsetof(HFrameHeader, widthOrSampleRate) == 16 &&
              offsetof(HFrameHeader, heightOrBits) == 20 &&
              offsetof(HFrameHeader, frameRateOrChannels) == 24 &&
              offsetof(HFrameHeader, bitRate) == 28 && offsetof(HFrameHeader, pts) == 32 &&
              offsetof(HFrameHeader, reserved1) == 40);
static_assert(offsetof(HFrameHeader, data) == kHFramePayloadOffset);
static_assert(std::is_unsigned<decltype(HFrameHeader::frameType)>::value &&
              std::is_unsigned<decltype(HFrameHeader::frameSize)>::value &&
              std::is_unsigned<decltype(HFrameHeader::codecId)>::value &&
              std::is_signed<decltype(HFrameHeader::pts)>::value);
static_assert(kHFrameBufferSize == sizeof(HFrameHeader) + 1024 * 1024 &&
              kHFrameMaxPayload == 1024 * 1024 + 8);

static_assert(std::is_standard_layout<VodSdp>::value && std::is_trivially_copyable<VodSdp>::value);
static_assert(sizeof(bool) == 1);
static_assert(offsetof(VodSdp, sdpReserved) == 0 && offsetof(VodSdp, hasVideo) == 4 &&
              offsetof(VodSdp, hasAudio) == 5 && offsetof(VodSdp, sdpMark) == 8 &&
              offsetof(VodSdp, video) == 12 && offsetof(VodSdp, audio) == 36);

// 24 and 16 bytes where pointers have 64 bits; a QDateTime is smaller elsewhere.
static_assert(sizeof(void *) != 8 || sizeof(QDateTime) == 8);
static_assert(std::is_standard_layout<VodStartPara>::value &&
              std::is_standard_layout<VodDownloadPara>::value);
static_assert(sizeof(VodStartPara) == 3 * sizeof(QDateTime) && offsetof(VodStartPara, time0) == 0 &&
              offsetof(VodStartPara, time1) == sizeof(QDateTime) &&
              offsetof(VodStartPara, time2) == 2 * sizeof(QDateTime));
static_assert(sizeof(VodDownloadPara) == 2 * sizeof(QDateTime) &&
              offsetof(VodDownloadPara, beginTime) == 0 &&
              offsetof(VodDownloadPara, endTime) == sizeof(QDateTime));
