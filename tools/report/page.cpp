// SPDX-License-Identifier: Apache-2.0
#include "report/page.hpp"

#include <string_view>

namespace steadywarp::tool {

/// The page without its data; the build makes it from the files page.html, page.css and page.js.
extern const std::string_view kPageTemplate;

namespace {

/// JSON as it may stand inside a script element: no tag can begin in it.
std::string for_script(const std::string& json) {
    std::string out;
    out.reserve(json.size());
    for (const char c : json) {
        out += c == '<' ? std::string("\\u003c") : std::string(1, c);
    }
    return out;
}

void fill(std::string& page, std::string_view slot, const std::string& text) {
    const size_t at = page.find(slot);
    if (at != std::string::npos) {
        page.replace(at, slot.size(), text);
    }
}

}  // namespace

std::string report_page(const std::string& summary_json, const std::string& trace_json) {
    std::string page(kPageTemplate);
    fill(page, "@TRACE@", for_script(trace_json));
    fill(page, "@SUMMARY@", for_script(summary_json));
    return page;
}

}  // namespace steadywarp::tool
