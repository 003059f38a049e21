// SPDX-License-Identifier: Apache-2.0
// Which of the managers can be tuned live.
#include <gtest/gtest.h>

#include "steadywarp/tuning/fdsetmanager.h"
#include "steadywarp/tuning/imagesensormodulesetmanager.h"
#include "steadywarp/tuning/tuningsetmanager.h"

TEST(Service, OnlyTheTuningManagerHasOne) {
    EXPECT_NE(TuningSetManager().GetWorker(), nullptr);
    EXPECT_EQ(ImageSensorModuleSetManager().GetWorker(), nullptr);
    EXPECT_EQ(fdSetManager().GetWorker(), nullptr);
}
