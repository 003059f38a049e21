// SPDX-License-Identifier: Apache-2.0
/// @file tune_connection.hpp
/// A connection to a live tuning service: one question, one answer, and an end to every wait.
///
/// Written from the protocol alone, as the service's peer; see docs/live-tuning.md.
#pragma once

#include <cstdint>
#include <stdexcept>
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
    kCustom = 8,
};

/// What command 0 tells.
struct ServiceInfo {
    unsigned int version = 0;
    uint64_t handle = 0;
    std::string name;
};

/// What the embedding program answers command 8 with.
struct CustomAnswer {
    unsigned int result = 0;
    std::vector<uint8_t> bytes;
};

/// An address that cannot be one of a service.
class BadAddress : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A number of `width` bytes, little-endian, as frames hold them; what lies behind the end is 0.
uint64_t GetNumber(const std::vector<uint8_t>& bytes, size_t at, size_t width);
void PutNumber(std::vector<uint8_t>* bytes, uint64_t value, size_t width);

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
    /// Ask one of the commands 3 to 6. @param payload without a zero byte.
    std::string Ask(Command command, const std::string& payload);
    /// Ask command 8.
    CustomAnswer AskCustom(const std::vector<uint8_t>& payload);

  private:
    using Frame = std::vector<uint8_t>;

    void ConnectTo(int family, const void* address, unsigned int length);
    void Wait(short events);
    void Send(const Frame& frame);
    Frame Receive();
    Frame Exchange(Command command, const Frame& rest, bool has_id, uint32_t id);
    Frame ExchangeWithId(Command command, const Frame& payload);

    std::string m_address;
    int m_timeout_ms;
    int m_socket = -1;
    uint32_t m_next_id = 1;
};

}  // namespace tune
