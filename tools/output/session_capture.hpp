// SPDX-License-Identifier: Apache-2.0
/// @file session_capture.hpp
/// Recording what the command does with the library, by the library's own capture.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "input/camera.hpp"
#include "steadywarp/eis_capture.h"

namespace steadywarp::tool {

/// An open capture under ./data/vendor/camera/. A failure while it runs is kept, not raised: what
/// it records goes on.
class SessionCapture {
  public:
    /// Make the folder and open all files.
    ///
    /// @param prefix start of the files' names; it may begin with folders below the capture's.
    /// @return the capture; the fault that names the file that could not be made.
    static Result<std::unique_ptr<SessionCapture>> open(const Camera& camera,
                                                        const std::string& prefix);

    /// Record a frame.
    void write(const eis_utils_log_data& data);

    /// Close the files. @return whether every row reached them.
    bool close();

  private:
    struct Destroy {
        void operator()(eis_utils_log* log) const { eis_utils_log_destroy(&log); }
    };

    std::unique_ptr<eis_utils_log, Destroy> log_;
    bool is_whole_ = true;
};

}  // namespace steadywarp::tool
