// SPDX-License-Identifier: Apache-2.0
/// @file parameterlogging.hpp
/// The one place that formats log lines of the tuning machinery.
#pragma once

#include "steadywarp/tuning/parametertypes.h"

/// Write "<tag> ParameterParser: <logger> (<name>): <file>:<line>: <message>" to the log.
///
/// A line end that closes the message is left out, as the log takes whole lines. Without a logger
/// only warnings and errors are written, and the name is empty. Any thread.
void ParameterLogging(IParameterLoggingAPI const* logger, ParameterLogLevel level, char const* file,
                      int line, char const* format, ...) __attribute__((format(printf, 5, 6)));

#define PARAMETER_LOG_ERROR(logger, ...) \
    ParameterLogging(logger, ParameterLogLevel::Error, __FILE__, __LINE__, __VA_ARGS__)
#define PARAMETER_LOG_WARNING(logger, ...) \
    ParameterLogging(logger, ParameterLogLevel::Warning, __FILE__, __LINE__, __VA_ARGS__)
#define PARAMETER_LOG_DEBUG(logger, ...) \
    ParameterLogging(logger, ParameterLogLevel::Debug, __FILE__, __LINE__, __VA_ARGS__)
