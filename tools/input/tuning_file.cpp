// SPDX-License-Identifier: Apache-2.0
#include "input/tuning_file.hpp"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "steadywarp/eis.h"
#include "steadywarp/tuning/modules/eis_1_1_0.h"
#include "steadywarp/tuning/modules/eis_1_2_0.h"
#include "steadywarp/tuning/modules/eis_1_3_0.h"
#include "steadywarp/tuning/parameterdialincom.h"
#include "steadywarp/tuning/parameterdialinworker.h"
#include "steadywarp/tuning/tuningsetmanager.h"

namespace steadywarp::tool {
namespace {

constexpr unsigned int kLongestPath = 256;

/// One numeric step by the library's names, back again: an unknown name does not come back.
bool is_mode_step(ParameterSetManager& manager, const std::string& step) {
    char numbers[kLongestPath];
    char names[kLongestPath];
    if (!manager.GetModeShorthand(step.c_str(), numbers, sizeof numbers) ||
        !manager.GetDialinModesString(numbers, names, sizeof names)) {
        return false;
    }
    PList<TuningMode> branch;
    if (!manager.GetModeBranchFromPath(numbers, branch)) {
        return false;
    }
    const std::string name = names;
    const std::string number = numbers;
    const std::string mixed = name.substr(0, name.find('.')) + number.substr(number.find('.'));
    return step == number || strcasecmp(step.c_str(), names) == 0 ||
           strcasecmp(step.c_str(), mixed.c_str()) == 0;
}

std::optional<Fault> read_mode(ParameterSetManager& manager, const std::string& mode,
                               PList<TuningMode>& branch) {
    for (size_t at = 0; at <= mode.size();) {
        const size_t end = std::min(mode.find('|', at), mode.size());
        const std::string step = mode.substr(at, end - at);
        if (!is_mode_step(manager, step)) {
            return Fault{"--mode", 0, "no mode is called \"" + step + "\""};
        }
        at = end + 1;
    }
    char numbers[kLongestPath];
    if (!manager.GetModeShorthand(mode.c_str(), numbers, sizeof numbers) ||
        !manager.GetModeBranchFromPath(numbers, branch) || branch[0].mode != 0) {
        return Fault{"--mode", 0, "expected a path that begins with Default"};
    }
    return std::nullopt;
}

/// A module that is held, as the conversion to the stabilizer's record takes it.
struct HeldModule {
    const char* name = nullptr;
    void* values = nullptr;
    unsigned long size = 0;
    uint32_t (*convert)(void*, unsigned long, is_tessaline_info_s*) = nullptr;
    void (*release)(void*) = nullptr;
};

template <typename Values>
bool hold(const char* name, Values* values,
          uint32_t (*convert)(void*, unsigned long, is_tessaline_info_s*), HeldModule& out) {
    if (values != nullptr) {
        out = {name, values, sizeof *values, convert,
               [](void* held) { static_cast<Values*>(held)->Release(); }};
    }
    return values != nullptr;
}

}  // namespace

/// Holds the module for as long as the file is open, so that what a client writes is seen.
struct TuningFile::Loaded {
    Loaded() = default;
    Loaded(const Loaded&) = delete;
    Loaded& operator=(const Loaded&) = delete;
    ~Loaded() {
        if (module.values != nullptr) {
            module.release(module.values);
        }
    }

    bool hold_newest(const PList<TuningMode>& branch) {
        const TuningMode* const steps = branch.begin();
        const unsigned int count = branch.Count();
        return hold("eis13_sw", manager.GetModule_eis13_sw(steps, count, nullptr),
                    eis_zelm_utility_v1_3_0_to_is_tessaline_info, module) ||
               hold("eis12_sw", manager.GetModule_eis12_sw(steps, count, nullptr),
                    eis_zelm_utility_v1_2_0_to_is_tessaline_info, module) ||
               hold("eis11_sw", manager.GetModule_eis11_sw(steps, count, nullptr),
                    eis_zelm_utility_v1_1_0_to_is_tessaline_info, module);
    }

    std::shared_ptr<IParameterDialinCustom> handler;  // outlives the manager's threads
    TuningSetManager manager;
    HeldModule module;
};

TuningFile::TuningFile()
    : loaded_(std::make_unique<Loaded>()),
      record_(std::make_unique<is_tessaline_info_s>()),
      fresh_(std::make_unique<is_tessaline_info_s>()) {}

TuningFile::~TuningFile() = default;

Result<std::unique_ptr<TuningFile>> TuningFile::open(const std::string& path,
                                                     const std::string& mode,
                                                     TuningService service) {
    std::unique_ptr<TuningFile> out(new TuningFile);
    TuningSetManager& manager = out->loaded_->manager;
    manager.SetStartService(service != TuningService::kOff);
    ParameterDialinCom::LoopbackOnly = service != TuningService::kNetwork;
    PList<TuningMode> branch;
    if (auto fault = read_mode(manager, mode, branch)) {
        return *fault;
    }
    if (!manager.LoadBinaryParameters(path.c_str())) {
        return Fault{path, 0,
                     "expected a tuning file that the library loads; its log lines above tell what "
                     "it refused"};
    }
    if (!out->loaded_->hold_newest(branch)) {
        return Fault{path, 0,
                     "expected a module eis13_sw, eis12_sw or eis11_sw for the mode " + mode};
    }
    out->mode_ = mode;
    out->take_changes();
    if (service != TuningService::kOff && out->address().empty()) {
        return Fault{"--serve", 0, "expected a free port among the 64 from 20803 on"};
    }
    return out;
}

bool TuningFile::take_changes() {
    const HeldModule& module = loaded_->module;
    // A client may be in the middle of writing a value.
    ParameterScopedLock reading(loaded_->manager.ModuleLock(), true);
    // Every field is 32 bits wide, so the records have no padding that could differ.
    if (module.convert(module.values, module.size, fresh_.get()) != EIS_SUCCESS ||
        std::memcmp(fresh_.get(), record_.get(), sizeof *fresh_) == 0) {
        return false;
    }
    std::swap(fresh_, record_);
    return true;
}

void TuningFile::answer_with(std::shared_ptr<IParameterDialinCustom> handler) {
    ParameterDialinWorker* const worker = loaded_->manager.GetWorker();
    if (worker != nullptr) {
        loaded_->handler = std::move(handler);
        worker->SetCustomHandler(loaded_->handler.get());
    }
}

std::string TuningFile::address() const {
    ParameterDialinWorker* const worker = loaded_->manager.GetWorker();
    const uint16_t port =
        worker != nullptr ? static_cast<ParameterDialinCom*>(worker->GetCom())->GetPort() : 0;
    if (port == 0) {
        return {};
    }
    // Without TCP the service falls back to abstract names, which count from another port.
    if (port >= ParameterDialinCom::kInternalPort) {
        char name[32];
        std::snprintf(name, sizeof name, "unix:#Dialin%x", port);
        return name;
    }
    return (ParameterDialinCom::LoopbackOnly ? "127.0.0.1:" : "0.0.0.0:") + std::to_string(port);
}

const char* TuningFile::module() const {
    return loaded_->module.name;
}

}  // namespace steadywarp::tool
