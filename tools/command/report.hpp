// SPDX-License-Identifier: Apache-2.0
/// @file report.hpp
/// The command `steadywarp report`: draw the page of a finished run once more.
#pragma once

#include <string>

namespace steadywarp::tool {

/// Read summary.json and trace.json of a folder and write its report.html.
///
/// @return an exit status, as stabilize() does.
int report_again(const std::string& folder);

}  // namespace steadywarp::tool
