// SPDX-License-Identifier: Apache-2.0
/// @file page.hpp
/// The report: one HTML page that holds everything it shows and needs no network.
#pragma once

#include <string>

namespace steadywarp::tool {

/// Put a run's summary and trace, both JSON texts, into the page.
std::string report_page(const std::string& summary_json, const std::string& trace_json);

}  // namespace steadywarp::tool
