// SPDX-License-Identifier: Apache-2.0
/// @file module_fields.hpp
/// All fields of a module, however deep: the service lists one structure at a time.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tune_connection.hpp"

namespace tune {

/// A field as command 4 lists it.
struct Entry {
    std::string name;
    std::string value;  ///< empty for arrays and structures, and where there is none
    std::string type;
    std::optional<uint32_t> count;  ///< of an array

    bool IsStructure() const { return type == "Structure"; }
};

/// Read a reply to command 4. A text value may hold the characters that part entries.
std::vector<Entry> ParseEntries(const std::string& text);

/// A module at a mode, and the structure in it where to begin.
struct Place {
    std::string path;    ///< of the mode, by name or number
    std::string module;  ///< its name; may go on with a dotted path of a structure
    std::string at;      ///< dotted path behind that; empty: the module's own fields

    /// The entries here. Empty if there is nothing.
    std::vector<Entry> Entries(Connection& connection) const;
    /// The value of a field here; empty if there is none.
    std::string Value(Connection& connection, const std::string& name) const;
    /// The place of a structure here.
    Place Inside(const std::string& name) const;
    /// "path:module", and the structure behind.
    std::string Text() const;
};

/// Visit the fields of a place in their order, those of structures in the place of the structure,
/// under dotted names behind `place.at`.
///
/// @param longest arrays of structures with more elements are visited as one entry.
/// @return false if nothing is there.
bool VisitFields(Connection& connection, const Place& place, uint32_t longest,
                 const std::function<void(const Entry&)>& visit);

/// Values of an array's elements from `first` up to `end`.
std::vector<std::string> Elements(Connection& connection, const Place& place,
                                  const std::string& name, uint32_t first, uint32_t end);

/// Values of all elements: at once, or where they are too many for a reply, one by one.
std::vector<std::string> Elements(Connection& connection, const Place& place, const Entry& array);

}  // namespace tune
