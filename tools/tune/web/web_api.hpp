// SPDX-License-Identifier: Apache-2.0
/// @file web_api.hpp
/// What the page asks, answered by the live tuning service, as JSON texts.
#pragma once

#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>

namespace tune {

/// A question that gets no answer, with the HTTP status that says so.
class Refusal : public std::runtime_error {
  public:
    Refusal(int status, const std::string& text) : std::runtime_error(text), m_status(status) {}
    int Status() const { return m_status; }

  private:
    int m_status;
};

/// What a question that failed is answered with, as JSON.
std::string ErrorJson(const std::string& text);

/// Any thread may ask. The service serves one client at a time, so each question connects, asks
/// and leaves, one question after the other; between two of them others get their turn. Failures
/// are exceptions: Refusal, or std::runtime_error if the service does not answer.
class WebApi {
  public:
    WebApi(std::string address, double timeout_seconds);

    /// Who answers, the tree of modes with their paths, the modes in use and the root's modules.
    std::string Service();
    /// The fields of a module at a mode, or of the structure `at` in it. Arrays with more than
    /// kAtOnce elements come without values, structures of such arrays without fields.
    std::string Module(const std::string& path, const std::string& module, const std::string& at);
    /// Up to kAtOnce values of an array from element `first` on.
    std::string Elements(const std::string& path, const std::string& module,
                         const std::string& name, const std::string& first);
    /// Change a value. @param body JSON with the texts path, module, name and value.
    /// @return what the module holds then.
    std::string Set(const std::string& body);
    /// The stream's frames from number `since` on; see StreamFigures.
    std::string Stream(const std::string& since);

    static constexpr uint32_t kAtOnce = 64;

  private:
    template <typename Question>
    std::string Ask(Question question);

    std::string m_address;
    double m_timeout;
    std::mutex m_turn;
};

}  // namespace tune
