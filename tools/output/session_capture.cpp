// SPDX-License-Identifier: Apache-2.0
#include "output/session_capture.hpp"

#include <filesystem>

namespace steadywarp::tool {

Result<std::unique_ptr<SessionCapture>> SessionCapture::open(const Camera& camera,
                                                             const std::string& prefix) {
    const std::string start = "./data/vendor/camera/" + prefix;
    const std::string folder = start.substr(0, start.rfind('/'));
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        return Fault{folder, 0, "cannot be made: " + error.message()};
    }
    const eis_utils_log_config config = {&camera.common, camera.sensors.data(),
                                         static_cast<uint32_t>(camera.sensors.size()),
                                         IS_UTILS_FLAG_ALL, prefix.c_str()};
    eis_utils_log* log = nullptr;
    std::unique_ptr<SessionCapture> capture(new SessionCapture);
    if (eis_utils_log_init(&log, &config) == EIS_SUCCESS) {
        capture->log_.reset(log);
        if (eis_utils_log_open(log, nullptr) == EIS_SUCCESS) {
            return capture;
        }
    }
    return Fault{start, 0,
                 "expected a place where the files of a capture can be written; the log lines "
                 "above tell what failed"};
}

void SessionCapture::write(const eis_utils_log_data& data) {
    is_whole_ &= eis_utils_log_write(log_.get(), &data) == EIS_SUCCESS;
}

bool SessionCapture::close() {
    is_whole_ &= eis_utils_log_close(log_.get()) == EIS_SUCCESS;
    return is_whole_;
}

}  // namespace steadywarp::tool
