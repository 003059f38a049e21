// SPDX-License-Identifier: Apache-2.0
/// @file web_server.hpp
/// The page and its questions over HTTP, for browsers on this machine.
#pragma once

#include <memory>

#include "web_api.hpp"

namespace tune {

/// Listens on 127.0.0.1. Whoever may write values is on this machine and meant to: a request by
/// another host name (a name of somebody else that leads here) or out of another site's page is
/// turned away.
class WebServer {
  public:
    /// @param api must outlive this object.
    explicit WebServer(WebApi& api);
    /// Stops.
    ~WebServer();

    /// Listen and serve, on threads of its own. @param port 0: a free one.
    /// @return the port; 0 if it cannot be had.
    uint16_t Start(uint16_t port);

  private:
    struct Running;

    std::unique_ptr<Running> m_running;
};

}  // namespace tune
