// SPDX-License-Identifier: Apache-2.0
/// @file tune_connection.hpp
/// A connection to a live tuning service: one question, one answer, and an end to every wait.
///
/// Written from the protocol alone, as the service's peer; see docs/live-tuning.md.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tune {

enum Command : uint16_t {
    kInfo = 0,
    kActiveModes = 1,
    kControlValues = 2,
    kModes = 3,
    kEntries = 4,
    kGet = 5,
    kSet = 6,
    kTriggerValues = 7,
};

/// What command 0 tells.
struct ServiceInfo {
    unsigned int version = 0;
    uint64_t handle = 0;
    std::string name;
};

/// Failures are exceptions of type std::runtime_error with a text for people.
class Connection {
  public:
    /// @param address "HOST:PORT", "[IPV6]:PORT" or "unix:#Dialin8167".
    /// @param timeout_seconds for the connect and for each answer.
    Connection(const std::string& address, double timeout_seconds);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    ServiceInfo Info();
    /// Ask one of the commands 1, 2 and 7.
    std::string Ask(Command command);
    /// Ask one of the commands 3 to 6.
    std::string Ask(Command command, const std::string& payload);

  private:
    using Frame = std::vector<uint8_t>;

    void ConnectTo(int family, const void* address, unsigned int length);
    void Wait(short events);
    void Send(const Frame& frame);
    Frame Receive();
    Frame Exchange(Command command, const Frame& rest, bool has_id, uint32_t id);

    std::string m_address;
    int m_timeout_ms;
    int m_socket = -1;
    uint32_t m_next_id = 1;
};

}  // namespace tune
