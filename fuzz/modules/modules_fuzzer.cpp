// SPDX-License-Identifier: Apache-2.0
// Payloads of every shape of module, with pointers and claims of equality wherever the input wants
// them: byte 0 chooses the module, the file's version, and memory or disk; byte 1 the number of
// records behind pointers; each of those is a length, a DuplicateID and its bytes; the rest is the
// module's own payload. Two modules of two modes read it, so that they share what they can.
#include <algorithm>

#include "input.hpp"
#include "steadywarp/tuning/shapessetmanager.h"
#include "support/tuning_fixture.hpp"

namespace {

using steadywarp::fuzz::Input;

void Append(tuning::Image& image, const tuning::Bytes& bytes) {
    image.data.insert(image.data.end(), bytes.begin(), bytes.end());
}

tuning::Image MakeImage(Input& input, uint8_t choice, ParameterCatalogueRow const& row) {
    tuning::Image image;
    image.version = (choice & 0x40) != 0 ? tuning::FileVersion{2, 0, 0} : tuning::FileVersion{};
    image.has_data_table = (choice & 0x40) == 0;
    image.modes = {{}, {1, 1, 0, 0}};
    image.modes[1].parent = 0;
    image.data = {0, 0, 0, 0};
    const uint8_t rows = input.Get<uint8_t>() % 32;
    for (uint8_t i = 1; i <= rows; ++i) {
        const size_t wanted = input.Get<uint8_t>();
        const uint32_t duplicate = input.Get<uint8_t>();
        const tuning::Bytes bytes = input.Take(wanted);
        image.data_rows.push_back({i, static_cast<uint32_t>(image.data.size()),
                                   static_cast<uint32_t>(bytes.size()), duplicate % (rows + 2u)});
        Append(image, bytes);
    }
    const tuning::Bytes payload = input.Take(input.Left());
    char type[ModuleData::kTypeSize];
    ModuleData::GetType(type, row.name);
    const VersionUnion& version = row.module->version;
    for (uint32_t i = 0; i < 2; ++i) {
        image.symbols.push_back({i + 1,
                                 type,
                                 {version.major, version.minor, version.patch},
                                 i,
                                 static_cast<uint32_t>(image.data.size()),
                                 static_cast<uint32_t>(payload.size()),
                                 i + 1});
    }
    Append(image, payload);
    return image;
}

// Walk every path that the module lists, and set what can be set.
void Visit(ParameterModule& module, const std::string& path, int depth) {
    PList<ParameterParserInfo> list(8);
    if (depth > 6 || !module.GetInfo(path.c_str(), list)) {
        return;
    }
    for (ParameterParserInfo const& info : list) {
        const std::string at = (path.empty() ? "" : path + ".") + info.name;
        const uint32_t elements = info.isArray ? std::min(info.elementCount, 2u) : 1;
        char value[64];
        module.GetValue(at.c_str(), value, sizeof value);
        for (uint32_t i = 0; i < elements; ++i) {
            const std::string element = info.isArray ? at + "[" + std::to_string(i) + "]" : at;
            if (std::strcmp(info.type, "Structure") == 0) {
                Visit(module, element, depth + 1);
            } else if (module.GetValue(element.c_str(), value, sizeof value)) {
                module.SetValue(element.c_str(), value);
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    LogLines lines;
    Input input(data, size);
    const uint8_t choice = input.Get<uint8_t>();
    ParameterCatalogueFamily const& family = *ShapesSetManager::Catalogue().families[0];
    ParameterCatalogueRow const& row = family.rows[(choice & 0x3F) % family.count];
    tuning::Bytes bytes = tuning::Encode(MakeImage(input, choice, row));
    ShapesSetManager manager;
    SampleFile disk;
    if ((choice & 0x80) != 0) {
        disk.Write(bytes);
        manager.LoadBinaryParameters(disk.Name());
    } else {
        manager.LoadBinaryParameters(bytes.data(), bytes.size());
        bytes = tuning::Bytes();
    }
    const TuningMode path[] = {{0, 0, 0}, {1, 0, 0}};
    ParameterModule* root = manager.GetModule(row.name, path, 1, nullptr);
    ParameterModule* sensor = manager.GetModule(row.name, path, 2, nullptr);
    if (root != nullptr) {
        Visit(*root, "", 0);
        root->UnloadModule();
    }
    if (sensor != nullptr && sensor != root) {
        Visit(*sensor, "", 0);
    }
    return 0;
}
