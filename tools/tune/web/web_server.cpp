// SPDX-License-Identifier: Apache-2.0
// The only source that sees the HTTP library's heavy header.
#include "web_server.hpp"

#include <httplib.h>

#include <chrono>
#include <string_view>
#include <thread>

namespace tune {

/// The page; the build makes it from the files page.html, page.css and page.js.
extern const std::string_view kPageTemplate;

namespace {

constexpr const char* kHost = "127.0.0.1";
constexpr const char* kJson = "application/json";
constexpr size_t kLongestBody = 8192;
constexpr time_t kKeepAliveSeconds = 1;
constexpr size_t kKeepAliveRequests = 1000;

constexpr int kForbidden = 403;
constexpr int kNotFound = 404;
constexpr int kLengthNeeded = 411;
constexpr int kTooLong = 413;
constexpr int kWrongType = 415;
constexpr int kNoAnswer = 502;

void SetError(httplib::Response& response, int status, const std::string& text) {
    response.status = status;
    response.set_content(ErrorJson(text), kJson);
}

// What the library itself turns away, among it what has no handler.
void ExplainStatus(const httplib::Request&, httplib::Response& response) {
    if (response.body.empty()) {
        SetError(response, response.status,
                 response.status == kNotFound  ? "nothing is here"
                 : response.status == kTooLong ? "the request is too long"
                                               : "not a request that this page makes");
    }
}

bool IsOwnHost(const std::string& host, uint16_t port) {
    const std::string behind = ":" + std::to_string(port);
    for (const char* name : {"127.0.0.1", "localhost", "[::1]"}) {
        if (host == name + behind || (port == 80 && host == name)) {
            return true;
        }
    }
    return false;
}

// Whether a page that this server gave asks, or a program that is no browser.
bool IsOwnPage(const httplib::Request& request) {
    const std::string site = request.get_header_value("Sec-Fetch-Site");
    return (!request.has_header("Origin") ||
            request.get_header_value("Origin") == "http://" + request.get_header_value("Host")) &&
           (site.empty() || site == "same-origin" || site == "none");
}

httplib::Server::HandlerResponse Guard(const httplib::Request& request, httplib::Response& response,
                                       uint16_t port) {
    using Answer = httplib::Server::HandlerResponse;
    if (request.get_header_value_count("Host") != 1 ||
        !IsOwnHost(request.get_header_value("Host"), port)) {
        SetError(response, kForbidden, "not the name of this page");
        return Answer::Handled;
    }
    // Anybody may link to the page itself.
    if (request.path != "/" && !IsOwnPage(request)) {
        SetError(response, kForbidden, "not from this page");
        return Answer::Handled;
    }
    if (request.has_header("Transfer-Encoding")) {
        SetError(response, kLengthNeeded, "a body needs a length");
        return Answer::Handled;
    }
    if (request.method == "POST" && request.get_header_value("Content-Type") != kJson) {
        SetError(response, kWrongType, "expected application/json");
        return Answer::Handled;
    }
    return Answer::Unhandled;
}

// A program that comes first must not share the port.
void SetSocketOptions(socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

}  // namespace

struct WebServer::Running {
    explicit Running(WebApi& tuning_api) : api(tuning_api) {}

    using Question = std::string (*)(WebApi& api, const httplib::Request& request);

    httplib::Server::Handler Answer(Question question) {
        return [this, question](const httplib::Request& request, httplib::Response& response) {
            try {
                response.set_content(question(api, request), kJson);
            } catch (const Refusal& refusal) {
                SetError(response, refusal.Status(), refusal.what());
            } catch (const std::exception& failure) {
                SetError(response, kNoAnswer, failure.what());
            }
        };
    }

    void SetUp() {
        server.set_socket_options(SetSocketOptions);
        server.set_payload_max_length(kLongestBody);
        server.set_keep_alive_timeout(kKeepAliveSeconds);
        server.set_keep_alive_max_count(kKeepAliveRequests);
        server.set_default_headers(
            {{"Cache-Control", "no-store"},
             {"X-Content-Type-Options", "nosniff"},
             {"Referrer-Policy", "no-referrer"},
             {"Cross-Origin-Resource-Policy", "same-origin"},
             {"Content-Security-Policy",
              "default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; "
              "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"}});
        server.set_pre_routing_handler(
            [this](const auto& request, auto& response) { return Guard(request, response, port); });
        server.set_error_handler(
            static_cast<void (*)(const httplib::Request&, httplib::Response&)>(ExplainStatus));
        server.Get("/", [](const httplib::Request&, httplib::Response& response) {
            response.set_content(kPageTemplate.data(), kPageTemplate.size(),
                                 "text/html; charset=utf-8");
        });
        server.Get("/api/service",
                   Answer([](WebApi& a, const httplib::Request&) { return a.Service(); }));
        server.Get("/api/module", Answer([](WebApi& a, const httplib::Request& r) {
                       return a.Module(r.get_param_value("path"), r.get_param_value("module"),
                                       r.get_param_value("at"));
                   }));
        server.Get("/api/elements", Answer([](WebApi& a, const httplib::Request& r) {
                       return a.Elements(r.get_param_value("path"), r.get_param_value("module"),
                                         r.get_param_value("name"), r.get_param_value("first"));
                   }));
        server.Get("/api/stream", Answer([](WebApi& a, const httplib::Request& r) {
                       return a.Stream(r.get_param_value("since"));
                   }));
        server.Post("/api/set",
                    Answer([](WebApi& a, const httplib::Request& r) { return a.Set(r.body); }));
    }

    WebApi& api;
    uint16_t port = 0;
    httplib::Server server;
    std::thread thread;
};

WebServer::WebServer(WebApi& api) : m_running(std::make_unique<Running>(api)) {
    m_running->SetUp();
}

WebServer::~WebServer() {
    m_running->server.stop();
    if (m_running->thread.joinable()) {
        m_running->thread.join();
    }
}

uint16_t WebServer::Start(uint16_t port) {
    httplib::Server& server = m_running->server;
    const int bound = port == 0                          ? server.bind_to_any_port(kHost)
                      : server.bind_to_port(kHost, port) ? port
                                                         : 0;
    m_running->port = bound > 0 ? static_cast<uint16_t>(bound) : 0;
    if (m_running->port != 0) {
        m_running->thread = std::thread([&server] { server.listen_after_bind(); });
        // A stop before it listens would be lost.
        while (!server.is_running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    return m_running->port;
}

}  // namespace tune
