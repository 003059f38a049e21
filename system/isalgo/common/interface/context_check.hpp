// SPDX-License-Identifier: Apache-2.0
/// @file context_check.hpp
/// The two tests with which every entry that takes an instance begins.
#pragma once

#include "base/eis_log.hpp"
#include "interface/eis_context.hpp"

/// Refuse the call if any of the pointers is NULL, then if `context` is no intact instance. The
/// lines carry the name of the entry itself.
#define EIS_CHECK_ENTRY(context, pointers_exist)         \
    do {                                                 \
        if ((context) == nullptr || !(pointers_exist)) { \
            EIS_ERR("IS0003", "NULL input");             \
            return EIS_ERROR_INVALID_INPUT;              \
        }                                                \
        if (!(context)->is_intact()) {                   \
            EIS_ERR("IS0003", "Invalid context");        \
            return EIS_ERROR_INVALID_INPUT;              \
        }                                                \
    } while (false)
