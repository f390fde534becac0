#pragma once

#include <string>

namespace Qv {

/// The system's configuration, as it is printed. What the system doesn't report is 0.
struct MtSystemFacts {
    int processorArchitecture = 0;
    int pageSize = 0;
    long long minimumApplicationAddress = 0;
    long long maximumApplicationAddress = 0;
    long long activeProcessorMask = 0;
    int numberOfProcessors = 0;
    int processorType = 0;
    int allocationGranularity = 0;
    int processorLevel = 0;
    int processorRevision = 0;
    int majorVersion = 0;
    int minorVersion = 0;
    int buildNumber = 0;
    int platformId = 0;
    std::string version;
    int nbThreadLocalSlots = 0;
    int clocksPerSecond = 0;

    static MtSystemFacts get();
};

} // namespace Qv
