// SPDX-License-Identifier: Apache-2.0
#include "web_command.hpp"

#include <chrono>
#include <cstdio>
#include <thread>

#include "command/interrupt.hpp"
#include "tune_connection.hpp"
#include "web_server.hpp"

namespace tune {

int RunWeb(const std::string& address, double timeout_seconds, uint16_t port) {
    try {
        Connection(address, timeout_seconds).Info();
    } catch (const BadAddress&) {
        throw;
    } catch (const std::runtime_error& failure) {
        std::fprintf(stderr, "%s; the page waits for it\n", failure.what());
    }
    steadywarp::tool::note_interrupts();
    WebApi api(address, timeout_seconds);
    WebServer server(api);
    const uint16_t bound = server.Start(port);
    if (bound == 0) {
        std::fprintf(stderr, "--web-port: port %u of this machine is taken\n", port);
        return 2;
    }
    std::printf("page url=http://127.0.0.1:%u/ service=%s\n", bound, address.c_str());
    std::fflush(stdout);
    while (!steadywarp::tool::was_interrupted()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return 0;
}

}  // namespace tune
