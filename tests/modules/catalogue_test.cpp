// SPDX-License-Identifier: Apache-2.0
// Every module of the three catalogues, by name.
#include <gtest/gtest.h>

#include <set>

#include "modules/module_payload.hpp"
#include "steadywarp/tuning/fdsetmanager.h"
#include "steadywarp/tuning/imagesensormodulesetmanager.h"
#include "steadywarp/tuning/modules/Zelm.h"
#include "steadywarp/tuning/modules/aecDepth.h"
#include "steadywarp/tuning/modules/bds_1_0.h"
#include "steadywarp/tuning/modules/ds4to1_1_0_0.h"
#include "steadywarp/tuning/modules/modspecilluv1.h"
#include "steadywarp/tuning/modules/zelmfdconfig.h"
#include "steadywarp/tuning/tuningsetmanager.h"

namespace {

struct Row {
    ParameterCatalogueRow const* row;
    ParameterSetManager* (*make)();
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.row->name;
}

template <typename Manager>
void AddRows(std::vector<Row>& rows) {
    ParameterCatalogue const& catalogue = Manager::Catalogue();
    for (uint32_t f = 0; f < catalogue.count; ++f) {
        for (uint32_t i = 0; i < catalogue.families[f]->count; ++i) {
            rows.push_back({&catalogue.families[f]->rows[i],
                            []() -> ParameterSetManager* { return new Manager(); }});
        }
    }
}

std::vector<Row> AllRows() {
    std::vector<Row> rows;
    AddRows<TuningSetManager>(rows);
    AddRows<ImageSensorModuleSetManager>(rows);
    AddRows<fdSetManager>(rows);
    return rows;
}

class EveryModule : public testing::TestWithParam<Row> {};

// In Default as one instance, in Usecase.Video as another with other numbers.
TEST_P(EveryModule, LoadsListsItselfAndUnloads) {
    ParameterCatalogueRow const& row = *GetParam().row;
    ParameterModuleDescriptor const& module = *row.module;
    char type[ModuleData::kTypeSize];
    ModuleData::GetType(type, row.name);
    PayloadMaker maker;
    const ModulePayload first = maker.Make(*module.values);
    const ModulePayload second = maker.Make(*module.values);
    SampleFile disk;
    disk.Write(SampleBytes(
        ModesText() + ModuleText(type, module.version, "Default", first.values) +
        ModuleText(type, module.version, "Default|Sensor.0|Usecase.Video", second.values)));
    const std::unique_ptr<ParameterSetManager> manager(GetParam().make());
    ASSERT_TRUE(manager->LoadBinaryParameters(disk.Name())) << manager->GetLastError();
    const TuningMode video[] = {{0, 0, 0}, {1, 0, 0}, {2, 2, 0}};
    ParameterModule* other = manager->GetModule(row.name, video, 3, nullptr);
    ParameterModule* found = manager->GetModule(row.name, video, 1, nullptr);
    ASSERT_NE(found, nullptr);
    ASSERT_NE(other, nullptr);
    EXPECT_NE(other, found);
    EXPECT_STREQ(found->GetModuleName(), row.name);
    PList<ParameterParserInfo> list;
    ASSERT_EQ(found->GetInfo("", list), module.hasPaths);
    EXPECT_EQ(list.Count(), module.hasPaths ? module.values->fieldCount : 0u);
    char value[64];
    for (size_t i = 0; i < first.texts.size() && module.hasPaths; ++i) {
        const auto& [path, text] = first.texts[i];
        ASSERT_TRUE(found->GetValue(path.c_str(), value, sizeof value)) << path;
        EXPECT_EQ(value, text) << path;
        ASSERT_TRUE(other->GetValue(path.c_str(), value, sizeof value)) << path;
        EXPECT_EQ(value, second.texts[i].second) << path;
    }
    manager->ReleaseModule(other);
    EXPECT_TRUE(manager->UnloadMode(video, 3));
    EXPECT_FALSE(other->IsLoaded());
    EXPECT_TRUE(found->IsLoaded());
    found->UnloadModule();
    EXPECT_FALSE(found->IsLoaded());
}

INSTANTIATE_TEST_SUITE_P(Catalogue, EveryModule, testing::ValuesIn(AllRows()),
                         [](const auto& test) { return std::string(test.param.row->name); });

TEST(Catalogues, HaveTheirNumberOfModules) {
    const auto count = [](ParameterCatalogue const& catalogue) {
        std::set<std::string> names;
        for (uint32_t f = 0; f < catalogue.count; ++f) {
            for (uint32_t i = 0; i < catalogue.families[f]->count; ++i) {
                names.insert(catalogue.families[f]->rows[i].name);
            }
        }
        return names.size();
    };
    EXPECT_EQ(count(TuningSetManager::Catalogue()), 269u);
    EXPECT_EQ(count(ImageSensorModuleSetManager::Catalogue()), 11u);
    EXPECT_EQ(count(fdSetManager::Catalogue()), 1u);
}

TEST(Catalogues, VersionsAndTypesFollowTheNamespace) {
    const struct {
        ParameterModuleDescriptor const& module;
        const char* name;
        VersionUnion version;
        const char* className;
    } rows[] = {
        {bds_1_0::tessaline_bds10Type::kModule, "bds10_tfe", {1, 0, 0}, "tessaline_bds10TypeClass"},
        {ds4to1_1_0_0::tessaline_ds4to1v10Type::kModule,
         "ds4to1v10_ipe",
         {1, 0, 0},
         "tessaline_ds4to1v10TypeClass"},
        {aecDepth::aecDepthType::kModule, "aecDepth", {1, 0, 0}, "aecDepthTypeClass"},
        {modspecilluv1::ledTorchV1Type::kModule, "lcdFlashV1", {1, 0, 0}, "ledTorchV1TypeClass"},
        {Zelm::OISDriverData::kModule, "OISDriver", {1, 0, 0}, "OISDriverDataClass"},
        {zelmfdconfig::FaceDetectionCtrlType::kModule,
         "fdconfigdata",
         {1, 0, 0},
         "FaceDetectionCtrlTypeClass"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.module.version, row.version) << row.name;
        EXPECT_STREQ(row.module.className, row.className);
        EXPECT_STREQ(ParameterDescribedModule::FindName(row.module, row.name), row.name);
    }
    EXPECT_STREQ(modspecilluv1::ledTorchV1TypeClass::GetName("lcdFlashV1"), "lcdFlashV1");
}

// A class adds nothing behind its values.
static_assert(sizeof(Zelm::ActuatorDriverDataClass) <=
              sizeof(ParameterModule) + sizeof(Zelm::ActuatorDriverData));

TEST(DriverRecords, KeepTheirEnumerationsAndArrays) {
    static_assert(sizeof(Zelm::ActuatorRegParam) == 36);
    static_assert(offsetof(Zelm::ActuatorRegConfig, registerParamID) == 4);
    static_assert(offsetof(Zelm::ActuatorRegConfig, registerParam) == 8);
    EXPECT_TRUE(Zelm::kEnum_SensorCapability.Contains(13));
    EXPECT_FALSE(Zelm::kEnum_SensorCapability.Contains(14));
    EXPECT_TRUE(zelmfdconfig::kEnum_FDSearchDensity.Contains(150));
    EXPECT_FALSE(zelmfdconfig::kEnum_FDSearchDensity.Contains(0));
}

}  // namespace
