// SPDX-License-Identifier: Apache-2.0
/// @file bias_estimator.hpp
/// The gyroscope's estimated bias, one for the process.
#pragma once

#include <atomic>
#include <cstdint>

#include "sensors/axis_map.hpp"

namespace steadywarp {

/// Holds the bias that ingestion subtracts. Nothing here estimates one: an estimator would write
/// `bias` and `ts`; until then both stay 0.
///
/// Threads: the first creation is guarded and `rotate` is atomic; `bias` and `ts` are not.
class BiasEstimatorSingleton {
  public:
    /// The object; a mapping that is not NULL replaces the stored one. It must live on.
    static BiasEstimatorSingleton& instance(const AxisMap* rotate);

    double bias[3] = {};  ///< rad/s about the camera's x, y, z
    uint64_t ts = 0;      ///< when the bias was estimated, microseconds
    /// Maps device axes to camera axes, for readers of the bias; of the instance created last.
    std::atomic<const AxisMap*> rotate{nullptr};

  private:
    BiasEstimatorSingleton() = default;
};

}  // namespace steadywarp
