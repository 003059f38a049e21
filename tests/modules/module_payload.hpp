// SPDX-License-Identifier: Apache-2.0
/// @file module_payload.hpp
/// A payload for any module, made of numbers that tell fields apart, and what each field must read.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "steadywarp/tuning/parametertypeclass.h"
#include "support/tuning_fixture.hpp"
#include "support/tuning_sample.hpp"

/// A payload as a description has it, and the text at each path.
struct ModulePayload {
    std::string values;
    std::vector<std::pair<std::string, std::string>> texts;
};

/// Fills structures with a running number; arrays through pointers get two elements.
class PayloadMaker {
  public:
    explicit PayloadMaker(unsigned int first = 1) : m_next(first) {}

    ModulePayload Make(ParameterStructureDescriptor const& descriptor) {
        m_payload = {};
        m_payload.values = "[" + Structure(descriptor, "") + "]";
        return m_payload;
    }

  private:
    using Field = ParameterFieldDescriptor;

    std::string Structure(ParameterStructureDescriptor const& descriptor, const std::string& path) {
        std::string text;
        for (uint32_t i = 0; i < descriptor.fieldCount; ++i) {
            Field const& field = descriptor.fields[i];
            const std::string at = path + (path.empty() ? "" : ".") + field.name;
            text += (i > 0 ? ", " : "") + FieldText(field, at);
        }
        return text;
    }

    std::string FieldText(Field const& field, const std::string& path) {
        if (field.shape == ParameterShape::Array) {
            const std::string first = Element(field, path + "[0]");
            return "{ array = [[" + first + "], [" + Element(field, path + "[1]") + "]] }";
        }
        if (field.shape == ParameterShape::Single) {
            return Element(field, path);
        }
        const bool extent =
            field.kind != ParameterKind::Structure && field.kind != ParameterKind::Enum;
        std::string text = extent ? std::string("{ ") + Word(field.kind) + " = [" : "";
        for (uint32_t i = 0; i < field.elements; ++i) {
            const std::string at = path + "[" + std::to_string(i) + "]";
            text += (i > 0 ? ", " : "") + (extent ? Number(field, at) : Element(field, at));
        }
        return text + (extent ? "] }" : "");
    }

    std::string Element(Field const& field, const std::string& path) {
        if (field.kind == ParameterKind::Structure) {
            return Structure(*field.structure, path);
        }
        if (field.kind == ParameterKind::String) {
            const std::string text = "text " + std::to_string(m_next++);
            m_payload.texts.emplace_back(path, text);
            return "{ text = \"" + text + "\" }";
        }
        return std::string("{ ") + Word(field.kind) + " = " + Number(field, path) + " }";
    }

    static const char* Word(ParameterKind kind) {
        switch (kind) {
            case ParameterKind::Int32:
                return "i32";
            case ParameterKind::Float:
                return "f32";
            case ParameterKind::UInt16:
                return "u16";
            case ParameterKind::UInt8:
                return "u8";
            case ParameterKind::Int64:
            case ParameterKind::UInt64:
                return "i64";
            default:
                return "u32";
        }
    }

    std::string Number(Field const& field, const std::string& path) {
        const unsigned int n = m_next++;
        std::string text = std::to_string(n);
        if (field.kind == ParameterKind::Float) {
            static constexpr const char* kQuarters[] = {".0", ".25", ".5", ".75"};
            text = std::to_string(n / 4) + kQuarters[n % 4];
        } else if (field.kind == ParameterKind::UInt8) {
            text = std::to_string(n % 251);
        } else if (field.kind == ParameterKind::Int32) {
            text = "-" + text;
        } else if (field.kind == ParameterKind::Int64) {
            text = "-" + text + "000000000";  // needs more than 32 bits
        } else if (field.kind == ParameterKind::UInt64) {
            text += "000000000";
        } else if (field.kind == ParameterKind::Boolean) {
            text = "1";
        } else if (field.kind == ParameterKind::Enum) {
            text = std::to_string(field.enumeration->values[n % field.enumeration->count]);
        }
        m_payload.texts.emplace_back(path, text);
        return text;
    }

    ModulePayload m_payload;
    unsigned int m_next;
};

inline std::string VersionText(const VersionUnion& version) {
    return std::to_string(version.major) + "." + std::to_string(version.minor) + "." +
           std::to_string(version.patch);
}

/// A [[module]] of a description.
inline std::string ModuleText(const std::string& type, const VersionUnion& version,
                              const std::string& mode, const std::string& values) {
    return "[[module]]\ntype = \"" + type + "\"\nversion = \"" + VersionText(version) +
           "\"\nmode = \"" + mode + "\"\nvalues = " + values + "\n";
}

/// The modes that tests of modules use: Default and Sensor.0 stay, Usecase.Video loads on demand.
inline const char* ModesText() {
    return "[[mode]]\npath = \"Default\"\n[[mode]]\npath = \"Default|Sensor.0\"\n"
           "[[mode]]\npath = \"Default|Sensor.0|Usecase.Video\"\n";
}

/// Load an image from a buffer of exactly its size, so that a read past it is seen.
inline bool LoadImageBytes(ParameterSetManager& manager, const tuning::Bytes& bytes) {
    std::unique_ptr<unsigned char[]> image(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), image.get());
    return manager.LoadBinaryParameters(image.get(), bytes.size());
}
