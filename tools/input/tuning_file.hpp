// SPDX-License-Identifier: Apache-2.0
/// @file tuning_file.hpp
/// A sensor's tuning out of a tuning file, on request with the live tuning service up.
#pragma once

#include <memory>
#include <string>

#include "input/result.hpp"
#include "steadywarp/eis_tuning.h"

class IParameterDialinCustom;

namespace steadywarp::tool {

/// Who may change the values while the file is open.
enum class TuningService {
    kOff,
    kLoopback,  ///< programs on this machine
    kNetwork,   ///< whoever reaches the port: the protocol asks nobody who they are
};

/// A loaded tuning file and the stabilizer's record that it holds for a mode, of the newest module
/// version that the mode has. One at a time in a process may have a service.
class TuningFile {
  public:
    /// @param mode steps from Default inwards, by name or number: "Default|Sensor.0|Usecase.Video".
    static Result<std::unique_ptr<TuningFile>> open(const std::string& path,
                                                    const std::string& mode, TuningService service);
    ~TuningFile();
    TuningFile(const TuningFile&) = delete;
    TuningFile& operator=(const TuningFile&) = delete;

    /// The values as they were when open() or take_changes() read them last.
    const is_tessaline_info_s& record() const { return *record_; }

    /// Read the values anew. @return whether any differs.
    ///
    /// Several values that a client sets at once may come in two pieces, one now and one next time.
    bool take_changes();

    /// Let an object answer command 8 of the service; it is held for as long as the file is open.
    void answer_with(std::shared_ptr<IParameterDialinCustom> handler);

    /// Where the service listens, as `steadywarp tune` takes it; empty if there is none.
    std::string address() const;
    const std::string& mode() const { return mode_; }
    /// Name of the module that has the values.
    const char* module() const;

  private:
    struct Loaded;

    TuningFile();

    std::unique_ptr<Loaded> loaded_;
    std::unique_ptr<is_tessaline_info_s> record_;
    std::unique_ptr<is_tessaline_info_s> fresh_;
    std::string mode_;
};

}  // namespace steadywarp::tool
