// SPDX-License-Identifier: Apache-2.0
#include "tune_connection.hpp"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <stdexcept>

namespace tune {
namespace {

constexpr uint64_t kStartTag = 0x425A;
constexpr size_t kHeader = 6;
constexpr size_t kPayload = 10;
constexpr size_t kLongest = 65534;
// A peer that never comes to the point is no service; one request leads to one reply.
constexpr int kMostStrangeReplies = 64;

std::string Text(const std::vector<uint8_t>& frame, size_t at) {
    std::string text;
    while (at < frame.size() && frame[at] != 0) {
        text += static_cast<char>(frame[at++]);
    }
    return text;
}

}  // namespace

void PutNumber(std::vector<uint8_t>* bytes, uint64_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        bytes->push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
}

uint64_t GetNumber(const std::vector<uint8_t>& bytes, size_t at, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width && at + i < bytes.size(); ++i) {
        value |= uint64_t{bytes[at + i]} << (8 * i);
    }
    return value;
}

Connection::Connection(const std::string& address, double timeout_seconds)
    : m_address(address), m_timeout_ms(static_cast<int>(timeout_seconds * 1000)) {
    if (address.rfind("unix:#", 0) == 0) {
        // An abstract name: the first byte is zero, and the zero byte behind it belongs to it.
        sockaddr_un local = {};
        const std::string name = address.substr(6);
        if (name.size() + 2 > sizeof local.sun_path) {
            throw BadAddress(address + ": the name is too long");
        }
        local.sun_family = AF_UNIX;
        std::memcpy(local.sun_path + 1, name.data(), name.size());
        ConnectTo(AF_UNIX, &local,
                  static_cast<unsigned int>(offsetof(sockaddr_un, sun_path) + name.size() + 2));
        return;
    }
    const size_t colon = address.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == address.size()) {
        throw BadAddress(address + ": expected HOST:PORT or unix:#NAME");
    }
    std::string host = address.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int status =
        getaddrinfo(host.c_str(), address.substr(colon + 1).c_str(), &wanted, &found);
    if (status != 0) {
        throw std::runtime_error(address + ": " + gai_strerror(status));
    }
    std::string reason;
    for (addrinfo const* entry = found; entry != nullptr && m_socket < 0; entry = entry->ai_next) {
        try {
            ConnectTo(entry->ai_family, entry->ai_addr, entry->ai_addrlen);
        } catch (const std::runtime_error& failure) {
            reason = failure.what();
        }
    }
    freeaddrinfo(found);
    if (m_socket < 0) {
        throw std::runtime_error(reason);
    }
}

Connection::~Connection() {
    if (m_socket >= 0) {
        close(m_socket);
    }
}

void Connection::ConnectTo(int family, const void* address, unsigned int length) {
    m_socket = socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    int error = m_socket < 0 ? errno : 0;
    if (error == 0 && connect(m_socket, static_cast<sockaddr const*>(address), length) != 0) {
        error = errno;
    }
    if (error == EINPROGRESS) {
        pollfd entry = {m_socket, POLLOUT, 0};
        socklen_t size = sizeof error;
        if (poll(&entry, 1, m_timeout_ms) <= 0) {
            error = ETIMEDOUT;
        } else {
            getsockopt(m_socket, SOL_SOCKET, SO_ERROR, &error, &size);
        }
    }
    if (error != 0) {
        if (m_socket >= 0) {
            close(m_socket);
            m_socket = -1;
        }
        throw std::runtime_error(m_address + ": " + std::strerror(error));
    }
}

void Connection::Wait(short events) {
    pollfd entry = {m_socket, events, 0};
    if (poll(&entry, 1, m_timeout_ms) <= 0) {
        throw std::runtime_error(m_address +
                                 ": no answer; another client may be connected, or the port may "
                                 "belong to something else");
    }
}

void Connection::Send(const Frame& frame) {
    for (size_t sent = 0; sent < frame.size();) {
        Wait(POLLOUT);
        const ssize_t count =
            send(m_socket, frame.data() + sent, frame.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            throw std::runtime_error(m_address + ": " + std::strerror(errno));
        }
        sent += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

Connection::Frame Connection::Receive() {
    Frame frame;
    size_t wanted = kHeader;
    while (frame.size() < wanted) {
        Wait(POLLIN);
        Frame part(wanted - frame.size());
        const ssize_t count = recv(m_socket, part.data(), part.size(), 0);
        if (count == 0) {
            throw std::runtime_error(m_address + ": the service hung up");
        }
        if (count < 0 && errno != EAGAIN && errno != EINTR) {
            throw std::runtime_error(m_address + ": " + std::strerror(errno));
        }
        frame.insert(frame.end(), part.begin(), part.begin() + std::max<ssize_t>(count, 0));
        if (frame.size() == kHeader) {
            if (GetNumber(frame, 0, 2) != kStartTag || GetNumber(frame, 4, 2) < kHeader) {
                throw std::runtime_error(m_address + ": this is no live tuning service");
            }
            wanted = GetNumber(frame, 4, 2);
        }
    }
    return frame;
}

Connection::Frame Connection::Exchange(Command command, const Frame& rest, bool has_id,
                                       uint32_t id) {
    Frame frame;
    PutNumber(&frame, kStartTag, 2);
    PutNumber(&frame, command, 2);
    PutNumber(&frame, kHeader + rest.size(), 2);
    frame.insert(frame.end(), rest.begin(), rest.end());
    if (frame.size() > kLongest) {
        throw std::runtime_error("the request is too long");
    }
    Send(frame);
    // What the half of a request of an earlier client led to may come first.
    for (int i = 0; i < kMostStrangeReplies; ++i) {
        Frame reply = Receive();
        if (GetNumber(reply, 2, 2) == command && (!has_id || GetNumber(reply, 6, 4) == id)) {
            return reply;
        }
    }
    throw std::runtime_error(m_address + ": answers to other questions only");
}

ServiceInfo Connection::Info() {
    const Frame reply = Exchange(kInfo, {}, false, 0);
    return {static_cast<unsigned int>(GetNumber(reply, 6, 2)), GetNumber(reply, 8, 8),
            Text(reply, 16)};
}

std::string Connection::Ask(Command command) {
    return Text(Exchange(command, {}, false, 0), kHeader);
}

Connection::Frame Connection::ExchangeWithId(Command command, const Frame& payload) {
    const uint32_t id = m_next_id++;
    Frame rest;
    PutNumber(&rest, id, 4);
    rest.insert(rest.end(), payload.begin(), payload.end());
    return Exchange(command, rest, true, id);
}

std::string Connection::Ask(Command command, const std::string& payload) {
    Frame text(payload.begin(), payload.end());
    text.push_back(0);
    return Text(ExchangeWithId(command, text), kPayload);
}

CustomAnswer Connection::AskCustom(const std::vector<uint8_t>& payload) {
    const Frame reply = ExchangeWithId(kCustom, payload);
    const size_t output = std::min(kPayload + 2, reply.size());
    return {static_cast<unsigned int>(GetNumber(reply, kPayload, 2)),
            Frame(reply.begin() + static_cast<std::ptrdiff_t>(output), reply.end())};
}

}  // namespace tune
