// SPDX-License-Identifier: Apache-2.0
// Creating and releasing an instance, and the version.
#include <new>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "interface/eis_context.hpp"
#include "validation/init_validation.hpp"

uint32_t eis_internal_init(eis_context** context, const is_init_common_data* common,
                           const is_init_sensor_data* sensors, uint32_t num_sensors) {
    // What the caller left there may be anything; it must never be taken for an instance.
    if (context != nullptr) {
        *context = nullptr;
    }
    if (steadywarp::is_valid_init_input(context, common, sensors, num_sensors) != EIS_SUCCESS) {
        EIS_ERR("IS0002", "eis3_init() failed");
        eis_internal_destroy(context);
        return EIS_ERROR_INVALID_INPUT;
    }
    uint32_t status = EIS_SUCCESS;
    *context = steadywarp::allocate<eis_context>(*common, sensors, num_sensors, status).release();
    if (*context == nullptr || status != EIS_SUCCESS) {
        EIS_ERR("IS0004", "eis_context() constructor failed");
        EIS_ERR("IS0002", "eis3_init() failed");
        eis_internal_destroy(context);
        return EIS_ERROR_NO_MEMORY;
    }
    return EIS_SUCCESS;
}

uint32_t eis_internal_destroy(eis_context** context) {
    if (context == nullptr) {
        EIS_HIGH("IS1025", "NULL context was passed to destroy");
        return EIS_SUCCESS;
    }
    if (*context == nullptr) {
        EIS_HIGH("IS1025", "Freed context was passed to destroy");
        return EIS_SUCCESS;
    }
    delete *context;
    *context = nullptr;
    return EIS_SUCCESS;
}

uint32_t eis_get_lib_version(uint32_t* major, uint32_t* minor, uint32_t* patch) {
    if (major == nullptr || minor == nullptr || patch == nullptr) {
        EIS_ERR("IS0003", "NULL Input");
        return EIS_ERROR_INVALID_INPUT;
    }
    *major = 1;
    *minor = 3;
    *patch = 2;
    return EIS_SUCCESS;
}
