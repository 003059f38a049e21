// SPDX-License-Identifier: Apache-2.0
// Any bytes as what a live tuning service answers to the client of the command: each question is
// answered, or there is an exception with a text.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "module_fields.hpp"
#include "tune_connection.hpp"

namespace {

const std::string kName = "SteadywarpAnswers" + std::to_string(getpid());

// Listens under an abstract name, as the service does: a zero byte in front and one behind.
int Listen() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, kName.data(), kName.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + kName.size() + 2);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
        listen(listener, 1) != 0) {
        std::abort();
    }
    return listener;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const int listener = Listen();
    int service = -1;
    try {
        tune::Connection client("unix:#" + kName, 1.0);
        service = accept(listener, nullptr, nullptr);
        if (send(service, data, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) {
            std::abort();
        }
        // The questions find room beside the answers; then the service hangs up.
        shutdown(service, SHUT_WR);
        client.Info();
        client.Ask(tune::kActiveModes);
        client.Ask(tune::kGet, "0.0:alpha");
        client.Ask(tune::kSet, "0.0:alpha:number=1");
        tune::Place{"0.0", "alpha", ""}.Entries(client);
        client.AskCustom({1});
    } catch (const std::runtime_error& failure) {
        if (std::strlen(failure.what()) == 0) {
            std::abort();
        }
    }
    close(service);
    return 0;
}
