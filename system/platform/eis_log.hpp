// SPDX-License-Identifier: Apache-2.0
/// @file eis_log.hpp
/// The stabilizer's log lines, for the stabilizer itself and for what fills its records. Nothing
/// else writes to standard error there.
///
/// A line is: severity, tag, "V2", function(line), message. No switch suppresses it; the severity
/// "[ERR] " keeps its trailing blank, so two blanks stand between it and the tag.
#pragma once

namespace steadywarp {

/// Write one line. The pieces are written one after the other, so lines of two threads can mix.
void eis_log(const char* severity, const char* tag, const char* function, int line,
             const char* format, ...) __attribute__((format(printf, 5, 6)));

}  // namespace steadywarp

/// Log an error: EIS_ERR("IS0003", "NULL input").
#define EIS_ERR(tag, ...) ::steadywarp::eis_log("[ERR] ", tag, __func__, __LINE__, __VA_ARGS__)
/// Log what a caller should know but need not mend.
#define EIS_HIGH(tag, ...) ::steadywarp::eis_log("[HIGH]", tag, __func__, __LINE__, __VA_ARGS__)
