// SPDX-License-Identifier: Apache-2.0
/// @file dialin_fixture.hpp
/// Frames of the live tuning protocol, a transport made of prepared pieces, and a client.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "steadywarp/tuning/parameterdialincom.h"
#include "steadywarp/tuning/parameterdialinworker.h"

using Frame = std::vector<uint8_t>;

inline void PutNumber(Frame& frame, uint64_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        frame.push_back(static_cast<uint8_t>(value >> (8 * i)));
    }
}

/// A frame of any command, with the length it has unless another is given.
inline Frame RawFrame(uint16_t command, const std::string& behind_header, int length = -1) {
    Frame frame;
    PutNumber(frame, 0x425A, 2);
    PutNumber(frame, command, 2);
    PutNumber(frame, length >= 0 ? static_cast<uint64_t>(length) : behind_header.size() + 6, 2);
    frame.insert(frame.end(), behind_header.begin(), behind_header.end());
    return frame;
}

/// A request with an ID and a text that ends in a nul.
inline Frame Request(uint16_t command, uint32_t id, const std::string& text) {
    std::string rest;
    for (int i = 0; i < 4; ++i) {
        rest += static_cast<char>(id >> (8 * i));
    }
    return RawFrame(command, rest + text + '\0');
}

inline std::string TextAt(const Frame& frame, size_t offset) {
    return offset < frame.size()
               ? std::string(frame.begin() + static_cast<std::ptrdiff_t>(offset), frame.end() - 1)
               : "";
}

inline uint64_t NumberAt(const Frame& frame, size_t offset, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width && offset + i < frame.size(); ++i) {
        value |= uint64_t{frame[offset + i]} << (8 * i);
    }
    return value;
}

/// Gives prepared pieces, an empty one for a client that leaves, and collects what is written.
class PieceCom : public ParameterDialinComBase {
  public:
    explicit PieceCom(IParameterLoggingAPI* logger) : ParameterDialinComBase(logger) {}
    ~PieceCom() override { Stop(); }
    void StartCom() override {}
    void StopCom() override {}
    int ReadData(unsigned char* buffer, unsigned int size, int, bool& stop) override {
        if (pieces.empty()) {
            stop = true;
            return 0;
        }
        Frame& piece = pieces.front();
        const size_t count = std::min<size_t>(piece.size(), size);
        std::copy_n(piece.begin(), count, buffer);
        piece.erase(piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(count));
        if (piece.empty()) {
            pieces.pop_front();
        }
        // As a socket: nothing to give, or nowhere to put it, means that the client is gone.
        return count > 0 ? static_cast<int>(count) : -1;
    }
    void WriteData(unsigned char* buffer, unsigned int size) override {
        written.push_back(Frame(buffer, buffer + size));
    }
    /// All requests that the pieces make, on this thread.
    std::vector<Frame> ReceiveAll() {
        std::vector<Frame> frames;
        bool stop = false;
        Frame out(65535);
        while (const unsigned int length =
                   ReceiveDialinRequest(out.data(), 65535, kMaxCommand, -1, stop)) {
            frames.push_back(Frame(out.begin(), out.begin() + length));
        }
        return frames;
    }

    std::deque<Frame> pieces;
    std::vector<Frame> written;
};

/// A peer of the service over loopback; every wait ends after some seconds.
class DialinClient {
  public:
    explicit DialinClient(uint16_t port) {
        m_socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        Connect(reinterpret_cast<sockaddr const*>(&address), sizeof address);
    }
    /// An abstract UNIX name, without the character that its first zero byte replaces.
    explicit DialinClient(const std::string& name) {
        m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::copy(name.begin(), name.end(), address.sun_path + 1);
        Connect(reinterpret_cast<sockaddr const*>(&address),
                static_cast<socklen_t>(name.size() + 4));
    }
    ~DialinClient() { Leave(); }
    DialinClient(const DialinClient&) = delete;
    DialinClient& operator=(const DialinClient&) = delete;

    bool Connected() const { return m_connected; }
    void Leave() {
        if (m_socket >= 0) {
            close(m_socket);
            m_socket = -1;
        }
    }
    /// Hang up and wait until the service has done so too. A crowd that does not would fill the
    /// short queue of those who wait to be served.
    void LeaveInTurn() {
        shutdown(m_socket, SHUT_WR);
        char rest[4096];
        while (Wait(POLLIN, 5000) && recv(m_socket, rest, sizeof rest, 0) > 0) {
        }
        Leave();
    }
    /// @return whether all of it was taken.
    bool Send(const Frame& frame) {
        size_t sent = 0;
        while (sent < frame.size() && Wait(POLLOUT, 5000)) {
            const ssize_t count = send(m_socket, frame.data() + sent, frame.size() - sent,
                                       MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count <= 0) {
                return false;
            }
            sent += static_cast<size_t>(count);
        }
        return sent == frame.size();
    }
    /// @return one whole frame, or nothing if none came in time or the service hung up.
    Frame Receive(int milliseconds = 5000) {
        Frame frame;
        while (frame.size() < 6 || frame.size() < NumberAt(frame, 4, 2)) {
            const size_t wanted =
                frame.size() < 6 ? 6 - frame.size() : NumberAt(frame, 4, 2) - frame.size();
            Frame part(wanted);
            const ssize_t count =
                Wait(POLLIN, milliseconds) ? recv(m_socket, part.data(), wanted, 0) : 0;
            if (count <= 0) {
                return {};
            }
            frame.insert(frame.end(), part.begin(), part.begin() + count);
        }
        return frame;
    }
    Frame Ask(const Frame& request) { return Send(request) ? Receive() : Frame(); }

  private:
    void Connect(sockaddr const* address, socklen_t length) {
        m_connected = connect(m_socket, address, length) == 0;
    }
    bool Wait(short events, int milliseconds) {
        pollfd entry = {m_socket, events, 0};
        return poll(&entry, 1, milliseconds) > 0;
    }

    int m_socket = -1;
    bool m_connected = false;
};
