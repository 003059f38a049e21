// SPDX-License-Identifier: Apache-2.0
/// @file result.hpp
/// What is wrong with an input, and a value that may be such a fault instead.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace steadywarp::tool {

/// Bad input: where, and what was expected there.
struct Fault {
    std::string file;      ///< path as the user gave it; empty: no file is at fault
    uint64_t line = 0;     ///< counted from 1; 0: the file as a whole
    std::string expected;  ///< one sentence without a line end

    /// "FILE:LINE: expected ..."
    std::string text() const {
        std::string where = file;
        if (line != 0) {
            where += ":" + std::to_string(line);
        }
        return where.empty() ? expected : where + ": " + expected;
    }
};

/// A value or the fault that kept it from coming about.
template <class T>
class Result {
  public:
    Result(T value) : content_(std::move(value)) {}      // NOLINT(google-explicit-constructor)
    Result(Fault fault) : content_(std::move(fault)) {}  // NOLINT(google-explicit-constructor)

    bool ok() const { return content_.index() == 0; }
    T& value() { return *std::get_if<0>(&content_); }
    const T& value() const { return *std::get_if<0>(&content_); }
    const Fault& fault() const { return *std::get_if<1>(&content_); }

  private:
    std::variant<T, Fault> content_;
};

}  // namespace steadywarp::tool
