// SPDX-License-Identifier: Apache-2.0
/// @file parameterdialincom.h
/// The socket of the live tuning service: TCP, or an abstract UNIX socket where there is no TCP.
///
/// The protocol has no authentication. Whoever can connect can read and write every tuning value.
#pragma once

#include <sys/socket.h>

#include "steadywarp/tuning/parameterdialincombase.h"

/// Serves one client at a time; others wait in the listening socket's backlog.
class STEADYWARP_API ParameterDialinCom : public ParameterDialinComBase {
  public:
    /// First ports of the search, and how many ports it tries.
    static constexpr uint16_t kPort = 20803;
    static constexpr uint16_t kInternalPort = 33127;
    static constexpr uint16_t kPortsTried = 64;

    /// Listen from port 33127 on, and on TCP only. Before Start().
    static bool UseInternalPort;
    /// Listen on 127.0.0.1 instead of every interface. Off, as the protocol stands. Before Start().
    static bool LoopbackOnly;

    /// Kind of socket.
    enum class AddrType : uint32_t { kInet = 0, kUnix = 1 };

    /// An address with its readable form.
    struct SocketAddress {
        sockaddr_storage address = {};
        AddrType type = AddrType::kInet;
        uint32_t length = 0;
        uint16_t port = 0;
        char name[108] = {};  ///< "0x5143" or "#Dialin8167"
    };

    /// @param setManager logs; may be NULL.
    explicit ParameterDialinCom(IParameterLoggingAPI* setManager);
    ~ParameterDialinCom() override;

    void StartCom() override;
    void StopCom() override;
    int ReadData(unsigned char* buffer, unsigned int size, int timeoutSeconds, bool& stop) override;
    void WriteData(unsigned char* buffer, unsigned int size) override;
    void EndConnection() override;

    /// Describe an address of this service. UNIX names are abstract: no file stands for them.
    static SocketAddress SetupSocket(AddrType type, uint16_t port);
    /// Port on which the service listens, or 0. Any thread.
    uint16_t GetPort() const { return m_port; }

  private:
    struct SocketID {
        SocketAddress address;
        SocketAddress client;
        int listenSocket = -1;
        int connection = -1;  // changed by the read thread only, under the mutex
        std::mutex mutex;
    };

    bool OpenPort();
    int CreateSocket(SocketAddress& address);
    bool BindAndListen(int socketId);
    void LogSocket(char const* text, int socketId, int result, bool failure);
    bool AcceptClient();
    int ReceiveFrom(unsigned char* buffer, unsigned int size);
    void CloseConnection();
    void ShutDownConnection();
    int SendSome(unsigned char const* bytes, size_t count, int* connection);

    SocketID m_socket;
    std::atomic<uint16_t> m_port{0};
};
