// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parameterdialincom.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>

#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPollMs = 100;
constexpr int kBacklog = 5;

void SetOption(int socketId, int level, int option, int value) {
    setsockopt(socketId, level, option, &value, sizeof value);
}

// A client whose machine went away without a word makes room for the next one in some two minutes.
void SetUpConnection(int connection) {
    SetOption(connection, SOL_SOCKET, SO_KEEPALIVE, 1);
    SetOption(connection, IPPROTO_TCP, TCP_KEEPIDLE, 60);
    SetOption(connection, IPPROTO_TCP, TCP_KEEPINTVL, 15);
    SetOption(connection, IPPROTO_TCP, TCP_KEEPCNT, 4);
    SetOption(connection, IPPROTO_TCP, TCP_NODELAY, 1);
}

// @return whether there is something to do; without a descriptor this only waits.
bool WaitFor(int descriptor, short events) {
    pollfd entry = {descriptor, events, 0};
    return poll(&entry, 1, kPollMs) > 0;
}

bool IsOutOfTime(Clock::time_point start, int timeoutSeconds) {
    return timeoutSeconds >= 0 && Clock::now() - start >= std::chrono::seconds(timeoutSeconds);
}

}  // namespace

bool ParameterDialinCom::UseInternalPort = false;
bool ParameterDialinCom::LoopbackOnly = false;

ParameterDialinCom::ParameterDialinCom(IParameterLoggingAPI* setManager)
    : ParameterDialinComBase(setManager) {}

ParameterDialinCom::~ParameterDialinCom() {
    Stop();
}

// ---- Opening ----

ParameterDialinCom::SocketAddress ParameterDialinCom::SetupSocket(AddrType type, uint16_t port) {
    SocketAddress result;
    result.type = type;
    result.port = port;
    if (type == AddrType::kInet) {
        sockaddr_in inet = {};
        inet.sin_family = AF_INET;
        inet.sin_addr.s_addr = htonl(LoopbackOnly ? INADDR_LOOPBACK : INADDR_ANY);
        inet.sin_port = htons(port);
        result.length = sizeof inet;
        std::memcpy(&result.address, &inet, sizeof inet);
        std::snprintf(result.name, sizeof result.name, "0x%x", port);
        return result;
    }
    std::snprintf(result.name, sizeof result.name, "#Dialin%x", port);
    sockaddr_un local = {};
    local.sun_family = AF_UNIX;
    Zelm::OsUtils::StrLCpy(local.sun_path, result.name, sizeof local.sun_path);
    local.sun_path[0] = '\0';
    // The family's two bytes, the name, and the nul behind it.
    result.length = static_cast<uint32_t>(std::strlen(result.name)) + 3;
    std::memcpy(&result.address, &local, sizeof local);
    return result;
}

void ParameterDialinCom::LogSocket(char const* text, int socketId, int result, bool failure) {
    const int error = failure ? errno : 0;
    ParameterLogging(GetLogger(), failure ? ParameterLogLevel::Warning : ParameterLogLevel::Debug,
                     __FILE__, __LINE__, "%s, Socket: %d, Port: %s: Result: %d, errno: %d\n", text,
                     socketId, m_socket.address.name, result, error);
}

int ParameterDialinCom::CreateSocket(SocketAddress& address) {
    const bool inet = address.type == AddrType::kInet;
    m_socket.address = address;
    const int created =
        socket(inet ? AF_INET : AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (created < 0) {
        LogSocket(inet ? "Dialin Server INET socket create failed"
                       : "Dialin Server UNIX socket create failed",
                  created, created, true);
        return -1;
    }
    LogSocket(inet ? "Dialin Server INET socket created" : "Dialin Server UNIX socket created",
              created, 0, false);
    if (inet) {
        // A port whose last connections are still ending is free; one that is listened on is not.
        SetOption(created, SOL_SOCKET, SO_REUSEADDR, 1);
    }
    return created;
}

bool ParameterDialinCom::BindAndListen(int socketId) {
    const SocketAddress& address = m_socket.address;
    int result = bind(socketId, reinterpret_cast<sockaddr const*>(&address.address),
                      static_cast<socklen_t>(address.length));
    if (result == 0) {
        // Two may bind one port while neither listens; the second to listen is told.
        result = listen(socketId, kBacklog);
    }
    if (result != 0) {
        LogSocket("Dialin Server bind failed", socketId, result, true);
        return false;
    }
    LogSocket("Dialin Server bound", socketId, result, false);
    return true;
}

bool ParameterDialinCom::OpenPort() {
    if (m_socket.listenSocket >= 0) {
        return true;
    }
    AddrType type = AddrType::kInet;
    const uint16_t inetPort = UseInternalPort ? kInternalPort : kPort;
    for (uint16_t i = 0; i < kPortsTried; ++i) {
        SocketAddress address = SetupSocket(
            type, static_cast<uint16_t>((type == AddrType::kInet ? inetPort : kInternalPort) + i));
        int created = CreateSocket(address);
        if (created < 0 && i == 0 && !UseInternalPort) {
            type = AddrType::kUnix;
            address = SetupSocket(type, kInternalPort);
            created = CreateSocket(address);
        }
        if (created < 0) {
            LogSocket("Dialin Server socket create failed", created, created, true);
            return false;
        }
        if (BindAndListen(created)) {
            m_socket.listenSocket = created;
            m_port = address.port;
            return true;
        }
        close(created);
    }
    PARAMETER_LOG_ERROR(GetLogger(), "Dialin Failed to bind any ports\n");
    return false;
}

void ParameterDialinCom::StartCom() {
    OpenPort();
}

void ParameterDialinCom::StopCom() {
    CloseConnection();
    if (m_socket.listenSocket >= 0) {
        close(m_socket.listenSocket);
        m_socket.listenSocket = -1;
    }
    m_port = 0;
}

void ParameterDialinCom::EndConnection() {
    ShutDownConnection();
    if (m_socket.listenSocket >= 0) {
        shutdown(m_socket.listenSocket, SHUT_RDWR);  // wakes who waits for a client
    }
}

void ParameterDialinCom::ShutDownConnection() {
    const std::lock_guard<std::mutex> lock(m_socket.mutex);
    if (m_socket.connection >= 0) {
        shutdown(m_socket.connection, SHUT_RDWR);
    }
}

// ---- Reading ----

bool ParameterDialinCom::AcceptClient() {
    socklen_t length = sizeof m_socket.client.address;
    const int accepted =
        accept4(m_socket.listenSocket, reinterpret_cast<sockaddr*>(&m_socket.client.address),
                &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (accepted < 0) {
        if (!IsStopping()) {
            WaitFor(-1, 0);  // out of descriptors, perhaps; not a reason to spin
        }
        return false;
    }
    m_socket.client.length = length;
    if (m_socket.address.type == AddrType::kInet) {
        SetUpConnection(accepted);
    }
    {
        const std::lock_guard<std::mutex> lock(m_socket.mutex);
        m_socket.connection = accepted;
    }
    PARAMETER_LOG_DEBUG(GetLogger(), "Dialin accepted data connection on port %s\n",
                        m_socket.address.name);
    return true;
}

void ParameterDialinCom::CloseConnection() {
    const std::lock_guard<std::mutex> lock(m_socket.mutex);
    if (m_socket.connection >= 0) {
        close(m_socket.connection);
        m_socket.connection = -1;
    }
}

// @return the bytes received, 0 if there are none yet, -1 if the client has left.
int ParameterDialinCom::ReceiveFrom(unsigned char* buffer, unsigned int size) {
    const ssize_t count = recv(m_socket.connection, buffer, size, 0);
    if (count > 0) {
        return static_cast<int>(count);
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return 0;
    }
    PARAMETER_LOG_DEBUG(GetLogger(), "Dialin client disconnected.  Resetting socket\n");
    CloseConnection();
    return -1;
}

int ParameterDialinCom::ReadData(unsigned char* buffer, unsigned int size, int timeoutSeconds,
                                 bool& stop) {
    const Clock::time_point start = Clock::now();
    while (!std::atomic_ref<bool>(stop).load()) {
        // Only this thread changes the connection, so it may look without the mutex.
        const bool connected = m_socket.connection >= 0;
        const bool ready = WaitFor(connected ? m_socket.connection : m_socket.listenSocket, POLLIN);
        if (ready && (connected || AcceptClient())) {
            const int count = ReceiveFrom(buffer, size);
            if (count != 0) {
                return count;
            }
        }
        if (IsOutOfTime(start, timeoutSeconds)) {
            break;
        }
    }
    return 0;
}

// ---- Writing ----

// @return the bytes sent, 0 if the client takes none now, -1 if it is gone. Never blocks.
int ParameterDialinCom::SendSome(unsigned char const* bytes, size_t count, int* connection) {
    const std::lock_guard<std::mutex> lock(m_socket.mutex);
    if (m_socket.connection < 0 || (*connection >= 0 && m_socket.connection != *connection)) {
        return -1;
    }
    *connection = m_socket.connection;
    const ssize_t sent = send(m_socket.connection, bytes, count, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && (errno == EAGAIN || errno == EINTR)) {
        return 0;
    }
    return sent < 0 ? -1 : static_cast<int>(sent);
}

void ParameterDialinCom::WriteData(unsigned char* buffer, unsigned int size) {
    Clock::time_point progress = Clock::now();
    int connection = -1;
    for (unsigned int sent = 0; sent < size;) {
        const int count = SendSome(buffer + sent, size - sent, &connection);
        if (count > 0) {
            sent += static_cast<unsigned int>(count);
            progress = Clock::now();
            continue;
        }
        if (count < 0 || IsStopping() || IsOutOfTime(progress, GetTimeout())) {
            // Half a reply helps nobody; the read thread closes what is shut down here.
            ShutDownConnection();
            return;
        }
        WaitFor(connection, POLLOUT);
    }
}
