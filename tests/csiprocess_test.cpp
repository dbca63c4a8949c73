#include "morvex/csiprocess.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace MorvexA106;

TEST(CSIProcess, SleepsNoLessThanItWasAsked)
{
    EXPECT_NE(CSIProcess::GetCurrentProcessID(), 0u);
    CSIProcess::SecSleep(-1);
    const auto start = std::chrono::steady_clock::now();
    CSIProcess::SecSleep(1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(990));
}
