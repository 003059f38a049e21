// SPDX-License-Identifier: Apache-2.0
// The exported functions of the capture.
#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "capture/is_log_buffered.hpp"
#include "steadywarp/eis_capture.h"

struct eis_utils_log {
    eis_utils_log(const eis_utils_log_config& config, uint32_t& status) : log(config, status) {}

    steadywarp::IsLogBuffered log;
};

uint32_t eis_utils_log_init(eis_utils_log** handle, const eis_utils_log_config* config) {
    // What the caller left there may be anything; it must never be taken for a capture.
    if (handle != nullptr) {
        *handle = nullptr;
    }
    uint32_t status = EIS_SUCCESS;
    if (handle == nullptr || config == nullptr || config->common == nullptr ||
        config->sensors == nullptr || config->num_sensors == 0) {
        EIS_ERR("IS0003", "NULL Input");
        status = EIS_ERROR_INVALID_INPUT;
    } else if ((config->flags & IS_UTILS_FLAG_ALL) == IS_UTILS_FLAG_NONE) {
        EIS_ERR("IS0003",
                "IS_UTILS_FLAG_NONE is set, no output is defined. eis_utils_log_init() should not "
                "have being called");
        status = EIS_ERROR_INVALID_INPUT;
    } else {
        *handle = steadywarp::allocate<eis_utils_log>(*config, status).release();
        if (*handle == nullptr) {
            EIS_ERR("IS0004", "Out of memory");
            status = EIS_ERROR_NO_MEMORY;
        }
    }
    if (status != EIS_SUCCESS) {
        EIS_ERR("IS0002", "eis_utils_log_init() failed");
        eis_utils_log_destroy(handle);
    }
    return status;
}

uint32_t eis_utils_log_open(eis_utils_log* handle, const char* prefix) {
    if (handle == nullptr) {
        EIS_ERR("IS0003", "NULL Input");
        return EIS_ERROR_INVALID_INPUT;
    }
    return handle->log.openlogs(prefix);
}

uint32_t eis_utils_log_is_opened(const eis_utils_log* handle, bool* is_opened) {
    if (handle == nullptr || is_opened == nullptr) {
        EIS_ERR("IS0003", "NULL Input");
        return EIS_ERROR_INVALID_INPUT;
    }
    *is_opened = handle->log.is_opened();
    return EIS_SUCCESS;
}

uint32_t eis_utils_log_write(eis_utils_log* handle, const eis_utils_log_data* data) {
    if (handle == nullptr || data == nullptr) {
        EIS_ERR("IS0003", "NULL Input");
        return EIS_ERROR_INVALID_INPUT;
    }
    return handle->log.write(*data);
}

uint32_t eis_utils_log_flush(eis_utils_log* handle) {
    if (handle == nullptr) {
        EIS_ERR("IS0003", "NULL Input");
        return EIS_ERROR_INVALID_INPUT;
    }
    return handle->log.flush();
}

uint32_t eis_utils_log_close(eis_utils_log* handle) {
    if (handle == nullptr) {
        EIS_ERR("IS0003", "NULL Input");
        return EIS_ERROR_INVALID_INPUT;
    }
    return handle->log.close_logs();
}

uint32_t eis_utils_log_destroy(eis_utils_log** handle) {
    if (handle == nullptr || *handle == nullptr) {
        return EIS_SUCCESS;
    }
    delete *handle;
    *handle = nullptr;
    return EIS_SUCCESS;
}
