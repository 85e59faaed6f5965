// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#include "simulator/rtsp/server.h"

#include <cstdio>

namespace vantrasim {

namespace {

constexpr guint kCleanupSeconds = 5;
/// Connections that wait to be accepted. A wall of views opens all at once, with a probe before
/// each connection; of more than this the system drops the first packet, and the client comes again
/// only after a second.
constexpr gint kWaitingClients = 256;

/// Whom a walk over the clients looks for, and what it does to them.
struct Search
{
    const Mount *mount = nullptr; ///< none: every client
    bool remove = false;
    int found = 0;
};

bool sessionUses(GstRTSPSession *session, const Mount &mount)
{
    struct Question
    {
        const Mount &mount;
        bool answer;
    } question = {mount, false};
    GList *kept = gst_rtsp_session_filter(
        session,
        [](GstRTSPSession *, GstRTSPSessionMedia *media, gpointer data) {
            auto *q = static_cast<Question *>(data);
            q->answer = q->answer || q->mount.owns(gst_rtsp_session_media_get_media(media));
            return GST_RTSP_FILTER_KEEP;
        },
        &question);
    g_list_free_full(kept, g_object_unref);
    return question.answer;
}

bool clientUses(GstRTSPClient *client, const Mount &mount)
{
    bool uses = false;
    GList *sessions = gst_rtsp_client_session_filter(client, nullptr, nullptr);
    for (GList *item = sessions; item != nullptr; item = item->next)
        uses = uses || sessionUses(static_cast<GstRTSPSession *>(item->data), mount);
    g_list_free_full(sessions, g_object_unref);
    return uses;
}

GstRTSPFilterResult visit(GstRTSPServer *, GstRTSPClient *client, gpointer data)
{
    auto *search = static_cast<Search *>(data);
    if (search->mount != nullptr && !clientUses(client, *search->mount))
        return GST_RTSP_FILTER_KEEP;
    ++search->found;
    return search->remove ? GST_RTSP_FILTER_REMOVE : GST_RTSP_FILTER_KEEP;
}

int walk(GstRTSPServer *server, Search search)
{
    g_list_free_full(gst_rtsp_server_client_filter(server, visit, &search), g_object_unref);
    return search.found;
}

GstRTSPStatusCode onBeforePlay(GstRTSPClient *, GstRTSPContext *context, gpointer)
{
    if (context->media != nullptr)
        Mount::openRoads(context->media);
    return GST_RTSP_STS_OK;
}

void onPlay(GstRTSPClient *, GstRTSPContext *context, gpointer)
{
    if (context->media != nullptr)
        Mount::addViewer(context->media);
}

/// After a TEARDOWN, gst-rtsp-server (1.22) closes the client by an idle source that holds no
/// reference. A client that hangs up at once, as FFmpeg does, is freed before; so it is kept until
/// all other idle sources have run.
void onClosed(GstRTSPClient *client, gpointer)
{
    std::fputs("client closed\n", stderr);
    g_idle_add_full(
        G_PRIORITY_LOW,
        [](gpointer closed) -> gboolean {
            g_object_unref(closed);
            return G_SOURCE_REMOVE;
        },
        g_object_ref(client), nullptr);
}

void onClient(GstRTSPServer *, GstRTSPClient *client, gpointer)
{
    std::fputs("client connected\n", stderr);
    g_signal_connect(client, "pre-play-request", G_CALLBACK(onBeforePlay), nullptr);
    g_signal_connect(client, "play-request", G_CALLBACK(onPlay), nullptr);
    g_signal_connect(client, "closed", G_CALLBACK(onClosed), nullptr);
}

} // namespace

Server::~Server()
{
    stopMute();
    if (m_server == nullptr)
        return;
    if (m_cleanup != 0)
        g_source_remove(m_cleanup);
    drop(nullptr);
    if (m_source != 0)
        g_source_remove(m_source);
    g_object_unref(m_mountPoints);
    g_object_unref(m_server);
}

bool Server::start(const Options &options, std::string *error)
{
    for (const CameraOptions &camera : options.cameras)
        m_mounts.push_back(std::make_unique<Mount>(camera));
    for (const ClipOptions &named : options.clips) {
        auto clip = std::make_shared<Clip>();
        std::string reason;
        if (!loadClip(named.file, clip.get(), &reason)) {
            *error = "clip " + named.name + ": " + named.file + " " + reason;
            return false;
        }
        if (!clip->note.empty())
            std::fprintf(stderr, "clip %s: %s\n", named.name.c_str(), clip->note.c_str());
        m_mounts.push_back(std::make_unique<Mount>(named, std::move(clip)));
    }

    if (!options.sendLog.empty()) {
        const std::shared_ptr<SendLog> log = SendLog::open(options.sendLog);
        if (!log) {
            *error = "cannot write " + options.sendLog;
            return false;
        }
        for (const auto &mount : m_mounts)
            mount->setSendLog(log);
    }

    m_address = options.address;
    m_server = gst_rtsp_server_new();
    m_mountPoints = gst_rtsp_server_get_mount_points(m_server);
    gst_rtsp_server_set_address(m_server, options.address.c_str());
    gst_rtsp_server_set_service(m_server, std::to_string(options.port).c_str());
    gst_rtsp_server_set_backlog(m_server, kWaitingClients);
    // Requests are answered on the main loop, where commands are too: they never cross.
    GstRTSPThreadPool *pool = gst_rtsp_server_get_thread_pool(m_server);
    gst_rtsp_thread_pool_set_max_threads(pool, 0);
    g_object_unref(pool);
    if (!options.user.empty())
        requireUser(options);
    for (const auto &mount : m_mounts)
        mount->publish(m_mountPoints);
    g_signal_connect(m_server, "client-connected", G_CALLBACK(onClient), nullptr);
    m_source = gst_rtsp_server_attach(m_server, nullptr);
    if (m_source == 0) {
        *error = "cannot listen on " + options.address + ":" + std::to_string(options.port);
        return false;
    }
    m_cleanup = g_timeout_add_seconds(
        kCleanupSeconds,
        [](gpointer server) -> gboolean {
            GstRTSPSessionPool *sessions =
                gst_rtsp_server_get_session_pool(static_cast<GstRTSPServer *>(server));
            gst_rtsp_session_pool_cleanup(sessions);
            g_object_unref(sessions);
            return G_SOURCE_CONTINUE;
        },
        m_server);
    return true;
}

void Server::requireUser(const Options &options)
{
    GstRTSPAuth *auth = gst_rtsp_auth_new();
    GstRTSPToken *token =
        gst_rtsp_token_new(GST_RTSP_TOKEN_MEDIA_FACTORY_ROLE, G_TYPE_STRING, kViewerRole, nullptr);
    int methods = 0;
    if (options.authMethod != AuthMethod::Digest) {
        gchar *basic = gst_rtsp_auth_make_basic(options.user.c_str(), options.password.c_str());
        gst_rtsp_auth_add_basic(auth, basic, token);
        g_free(basic);
        methods |= GST_RTSP_AUTH_BASIC;
    }
    if (options.authMethod != AuthMethod::Basic) {
        gst_rtsp_auth_add_digest(auth, options.user.c_str(), options.password.c_str(), token);
        methods |= GST_RTSP_AUTH_DIGEST;
    }
    gst_rtsp_auth_set_supported_methods(auth, static_cast<GstRTSPAuthMethod>(methods));
    gst_rtsp_token_unref(token);
    gst_rtsp_server_set_auth(m_server, auth);
    g_object_unref(auth);
}

int Server::port() const
{
    return gst_rtsp_server_get_bound_port(m_server);
}

std::string Server::url(const Mount &mount) const
{
    return "rtsp://" + m_address + ":" + std::to_string(port()) + mount.path();
}

Mount *Server::find(const std::string &name) const
{
    for (const auto &mount : m_mounts) {
        if (mount->name() == name)
            return mount.get();
    }
    return nullptr;
}

int Server::drop(const Mount *mount)
{
    return walk(m_server, {mount, true, 0});
}

int Server::clients(const Mount *mount) const
{
    return walk(m_server, {mount, false, 0});
}

void Server::renew(Mount *mount)
{
    mount->publish(m_mountPoints);
}

int Server::startMute()
{
    if (m_mute != nullptr)
        return m_mutePort;
    m_mute = g_socket_service_new();
    m_mutePort = g_socket_listener_add_any_inet_port(G_SOCKET_LISTENER(m_mute), nullptr, nullptr);
    if (m_mutePort == 0) {
        stopMute();
        return 0;
    }
    g_signal_connect(m_mute, "incoming",
                     G_CALLBACK(+[](GSocketService *, GSocketConnection *connection, GObject *,
                                    gpointer self) -> gboolean {
                         g_object_ref(connection);
                         static_cast<Server *>(self)->m_muted.push_back(connection);
                         return TRUE;
                     }),
                     this);
    g_socket_service_start(m_mute);
    return m_mutePort;
}

void Server::stopMute()
{
    if (m_mute != nullptr) {
        g_socket_service_stop(m_mute);
        g_socket_listener_close(G_SOCKET_LISTENER(m_mute));
        g_object_unref(m_mute);
    }
    m_mute = nullptr;
    m_mutePort = 0;
    for (GSocketConnection *connection : m_muted) {
        g_io_stream_close(G_IO_STREAM(connection), nullptr, nullptr);
        g_object_unref(connection);
    }
    m_muted.clear();
}

} // namespace vantrasim
