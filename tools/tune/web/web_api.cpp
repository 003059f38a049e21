// SPDX-License-Identifier: Apache-2.0
#include "web_api.hpp"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "module_fields.hpp"
#include "stream_frames.hpp"

namespace tune {
namespace {

using Json = nlohmann::json;

constexpr size_t kLongestField = 511;  // of a request to the service
constexpr int kDeepestMode = 16;
constexpr size_t kMostModes = 4096;
constexpr int kBadRequest = 400;
constexpr int kNotThere = 404;
constexpr int kRefused = 422;

// A text that is one field of a request: none of the characters that part fields.
const std::string& Field(const std::string& text, const char* name, std::string_view parting) {
    const bool bad = std::any_of(text.begin(), text.end(), [&](char c) {
        return static_cast<unsigned char>(c) < ' ' || parting.find(c) != std::string_view::npos;
    });
    if (bad || text.size() > kLongestField) {
        throw Refusal(kBadRequest, std::string("bad ") + name);
    }
    return text;
}

const std::string& Needed(const std::string& text, const char* name, std::string_view parting) {
    if (text.empty()) {
        throw Refusal(kBadRequest, std::string("no ") + name);
    }
    return Field(text, name, parting);
}

Place PlaceOf(const std::string& path, const std::string& module, const std::string& at) {
    return {Needed(path, "path", ":;"), Needed(module, "module", ":;"), Field(at, "at", ":;=")};
}

uint64_t Number(const std::string& text, const char* name) {
    uint64_t value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (read.ec != std::errc() || read.ptr != text.data() + text.size()) {
        throw Refusal(kBadRequest, std::string("bad ") + name);
    }
    return value;
}

std::string MemberText(const Json& json, const char* name) {
    const auto member = json.find(name);
    if (member == json.end() || !member->is_string()) {
        throw Refusal(kBadRequest, std::string("expected a text ") + name);
    }
    return member->get<std::string>();
}

// A tuning file's texts need not be UTF-8.
std::string Dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::vector<std::string> Split(const std::string& text, char delimiter) {
    std::vector<std::string> parts;
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find(delimiter, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

// Modes below a path, each before its children.
void AddModes(Connection& connection, const std::string& path, const std::string& name, int depth,
              Json& modes) {
    if (depth > kDeepestMode || modes.size() >= kMostModes) {
        return;
    }
    modes.push_back({{"path", path}, {"name", name}, {"depth", depth}});
    for (const std::string& child : Split(connection.Ask(kModes, path), ',')) {
        AddModes(connection, path + "|" + child, child, depth + 1, modes);
    }
}

Json Modules(Connection& connection) {
    Json modules = Json::array();
    for (const Entry& entry : ParseEntries(connection.Ask(kEntries, "Default:"))) {
        modules.push_back(entry.name);
    }
    return modules;
}

Json FieldJson(Connection& connection, const Place& place, const Entry& entry) {
    Json field = {{"name", entry.name}, {"type", entry.type}};
    if (!entry.count) {
        field["value"] = entry.value;
        return field;
    }
    field["count"] = *entry.count;
    if (!entry.IsStructure() && *entry.count <= WebApi::kAtOnce) {
        field["values"] = Elements(connection, place, entry);
    }
    return field;
}

Json FrameJson(const StreamFrame& frame) {
    return {{"id", frame.id},
            {"valid", frame.valid},
            {"restarted", frame.restarted},
            {"t_us", frame.t_us},
            {"before", frame.before},
            {"after", frame.after},
            {"margin_use", frame.margin_use},
            {"scene", frame.scene},
            {"margin", frame.margin}};
}

}  // namespace

std::string ErrorJson(const std::string& text) {
    return Dump({{"error", text}});
}

WebApi::WebApi(std::string address, double timeout_seconds)
    : m_address(std::move(address)), m_timeout(timeout_seconds) {}

template <typename Question>
std::string WebApi::Ask(Question question) {
    const std::lock_guard<std::mutex> turn(m_turn);
    Connection connection(m_address, m_timeout);
    return Dump(question(connection));
}

std::string WebApi::Service() {
    return Ask([&](Connection& connection) {
        const ServiceInfo info = connection.Info();
        Json modes = Json::array();
        AddModes(connection, "Default", "Default", 0, modes);
        return Json{{"address", m_address},
                    {"name", info.name},
                    {"active", Split(connection.Ask(kActiveModes), ';')},
                    {"modes", std::move(modes)},
                    {"modules", Modules(connection)}};
    });
}

std::string WebApi::Module(const std::string& path, const std::string& module,
                           const std::string& at) {
    const Place place = PlaceOf(path, module, at);
    return Ask([&](Connection& connection) {
        Json fields = Json::array();
        const auto add = [&](const Entry& entry) {
            fields.push_back(FieldJson(connection, place, entry));
        };
        if (!VisitFields(connection, place, kAtOnce, add)) {
            throw Refusal(kNotThere, place.Text() + ": nothing is there");
        }
        return Json{{"fields", std::move(fields)}};
    });
}

std::string WebApi::Elements(const std::string& path, const std::string& module,
                             const std::string& name, const std::string& first) {
    const Place place = PlaceOf(path, module, "");
    Needed(name, "name", ":;=");
    const uint64_t begin = std::min<uint64_t>(Number(first, "first"), UINT32_MAX - kAtOnce);
    return Ask([&](Connection& connection) {
        const auto from = static_cast<uint32_t>(begin);
        std::vector<std::string> values =
            tune::Elements(connection, place, name, from, from + kAtOnce);
        while (!values.empty() && values.back().empty()) {
            values.pop_back();
        }
        return Json{{"values", std::move(values)}};
    });
}

std::string WebApi::Set(const std::string& body) {
    const Json json = Json::parse(body, nullptr, false);
    if (!json.is_object()) {
        throw Refusal(kBadRequest, "expected a JSON object");
    }
    const Place place = PlaceOf(MemberText(json, "path"), MemberText(json, "module"), "");
    const std::string name = MemberText(json, "name");
    const std::string value = MemberText(json, "value");
    const std::string pair = Needed(name, "name", ":;=") + "=" + Needed(value, "value", ";");
    return Ask([&](Connection& connection) {
        const std::string held = connection.Ask(kSet, place.Text() + ":" + pair);
        if (held.empty()) {
            throw Refusal(kRefused, "the service refused " + value);
        }
        return Json{{"value", held}};
    });
}

std::string WebApi::Stream(const std::string& since) {
    const uint64_t number = Number(since, "since");
    return Ask([&](Connection& connection) {
        const std::optional<StreamFigures> figures = AskFigures(connection, number);
        if (!figures) {
            return Json{{"stream", nullptr}};
        }
        Json frames = Json::array();
        for (const StreamFrame& frame : figures->frames) {
            frames.push_back(FrameJson(frame));
        }
        return Json{{"stream", std::to_string(figures->stream)},
                    {"first", figures->first},
                    {"period_us", figures->period_us},
                    {"frames", std::move(frames)}};
    });
}

}  // namespace tune
