// SPDX-License-Identifier: Apache-2.0
#include <zlib.h>

#include <memory>
#include <string_view>
#include <unordered_map>

#include "bench/support/tuning_file.hpp"
#include "jobs.hpp"
#include "support/tuning_fixture.hpp"
#include "tuning_records.pb.h"

namespace compare {
namespace {

constexpr uint32_t kRecords = 5000;

// The same records as a user would keep them without this format.
std::string AsMessage() {
    pb::TuningRecords all;
    for (uint32_t id = 1; id <= kRecords; ++id) {
        pb::TuningRecord* record = all.add_records();
        record->set_id(id);
        record->set_type("alpha");
        record->set_version(0x0001000200000003);
        record->set_mode_id(id % 64);
        record->set_text("txt");
        for (uint32_t i = 0; i < 4; ++i) {
            record->add_numbers(id + i);
        }
    }
    return all.SerializeAsString();
}

void AddLoad(std::vector<Job>& jobs) {
    const auto bytes = std::make_shared<tuning::Bytes>(bench::MakeFile(kRecords));
    const auto message = std::make_shared<std::string>(AsMessage());
    jobs.push_back({"load 5000 tuning records",
                    {"set manager",
                     [bytes] {
                         SampleManager manager;
                         manager.LoadBinaryParameters(bytes->data(), bytes->size());
                     }},
                    {"protobuf and a map",
                     [message] {
                         pb::TuningRecords all;
                         all.ParseFromString(*message);
                         std::unordered_map<uint32_t, const pb::TuningRecord*> map;
                         for (const pb::TuningRecord& record : all.records()) {
                             map[record.id()] = &record;
                         }
                     }},
                    2.0});
}

void AddLookUp(std::vector<Job>& jobs) {
    struct State {
        tuning::Bytes bytes = bench::MakeFile(1000);
        SampleManager manager;
        std::unordered_map<std::string_view, const char*> map;
        ParameterModule* module = nullptr;

        State() {
            manager.LoadBinaryParameters(bytes.data(), bytes.size());
            for (const char* name : {"alpha", "beta", "gamma", "delta"}) {
                map[name] = name;
            }
        }
        ~State() { manager.ReleaseModule(module); }
    };
    const auto s = std::make_shared<State>();
    jobs.push_back({"look-up of a loaded module",
                    {"GetModule",
                     [s] {
                         constexpr TuningMode kBranch[] = {{0, 0, 0}, {2, 5, 0}};
                         s->module = s->manager.GetModule("alpha", kBranch, 2, s->module);
                     }},
                    {"std::unordered_map",
                     [s] {
                         const volatile auto found = s->map.find("alpha")->second;
                         static_cast<void>(found);
                     }},
                    1.0 / 1.5});
}

template <typename Theirs>
Job CrcJob(const char* name, Theirs theirs, double goal) {
    const auto bytes = std::make_shared<tuning::Bytes>(bench::MakeFile(10000));
    return {"CRC of 10000 tuning records",
            {"ComputeCRC",
             [bytes] {
                 const volatile uint32_t crc =
                     ParameterBinaryFile::ComputeCRC(bytes->data(), bytes->size());
                 static_cast<void>(crc);
             }},
            {name,
             [bytes, theirs] {
                 const volatile uint32_t crc = theirs(bytes->data(), bytes->size());
                 static_cast<void>(crc);
             }},
            goal};
}

uint32_t ZlibCrc(unsigned char const* bytes, size_t count) {
    return static_cast<uint32_t>(crc32(0, bytes, static_cast<uInt>(count)));
}

}  // namespace

void AddTuningJobs(std::vector<Job>& jobs) {
    AddLoad(jobs);
    AddLookUp(jobs);
    jobs.push_back(CrcJob("byte table", ParameterBinaryFile::ComputeCRCByTable, 4.0));
    jobs.push_back(CrcJob("zlib", ZlibCrc, 1.0));
}

}  // namespace compare
