// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// peer-bare: the limit. libavformat reads and libavcodec decodes, one thread per stream, with the
// flags of the library; the pictures go nowhere. Commands as of peer-planes.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <sys/prctl.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

namespace {

std::atomic<long> pictures{0};

void decode(const char *address)
{
    AVDictionary *options = nullptr;
    av_dict_set(&options, "rtsp_transport", "tcp", 0);
    AVFormatContext *input = nullptr;
    if (avformat_open_input(&input, address, nullptr, &options) < 0 ||
        avformat_find_stream_info(input, nullptr) < 0)
        return;
    const AVCodecParameters *parameters = input->streams[0]->codecpar;
    const AVCodec *codec = avcodec_find_decoder(parameters->codec_id);
    AVCodecContext *context = avcodec_alloc_context3(codec);
    avcodec_parameters_to_context(context, parameters);
    context->flags |= AV_CODEC_FLAG_LOW_DELAY;
    context->flags2 |= AV_CODEC_FLAG2_FAST;
    context->thread_count = 1;
    avcodec_open2(context, codec, nullptr);
    AVPacket *packet = av_packet_alloc();
    AVFrame *frame = av_frame_alloc();
    while (av_read_frame(input, packet) >= 0) {
        if (packet->stream_index == 0 && avcodec_send_packet(context, packet) >= 0 &&
            avcodec_receive_frame(context, frame) >= 0)
            ++pictures;
        av_packet_unref(packet);
    }
}

} // namespace

int main(int argc, char **argv)
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    av_log_set_level(AV_LOG_QUIET);
    std::puts("READY");
    std::fflush(stdout);
    std::string command;
    while (std::getline(std::cin, command) && command != "quit") {
        if (command == "start") {
            for (int i = 2; i < argc; ++i)
                std::thread(decode, argv[i]).detach();
        } else if (command == "count") {
            command += " " + std::to_string(pictures);
        }
        std::printf("%s\n", command.c_str());
        std::fflush(stdout);
    }
    std::_Exit(0); // the threads read for ever
}
