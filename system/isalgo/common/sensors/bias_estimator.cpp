// SPDX-License-Identifier: Apache-2.0
#include "sensors/bias_estimator.hpp"

namespace steadywarp {

BiasEstimatorSingleton& BiasEstimatorSingleton::instance(const AxisMap* rotate) {
    static BiasEstimatorSingleton estimator;
    if (rotate != nullptr) {
        estimator.rotate.store(rotate, std::memory_order_relaxed);
    }
    return estimator;
}

}  // namespace steadywarp
